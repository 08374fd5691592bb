// Write access to the command-line record: for the driver, and for test guards only.
#pragma once

#include "job/job_options.hpp"

namespace tesmora {

JOB_OPTIONS &writable_job_options();

} // namespace tesmora
