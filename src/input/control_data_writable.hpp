// Write access to the control data: for the input readers, and for test guards only.
#pragma once

#include "input/control_data.hpp"

namespace tesmora {

CONTROL_DATA &writable_control_data();

} // namespace tesmora
