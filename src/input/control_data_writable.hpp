// Write access to the control data and solver settings: for the input readers, and for test
// guards only.
#pragma once

#include "input/control_data.hpp"
#include "input/solver_settings.hpp"

namespace tesmora {

CONTROL_DATA &writable_control_data();
SOLVER_SETTINGS &writable_solver_settings();

} // namespace tesmora
