// CONTROL_DATA: the process-wide settings decoded from the control cards of the input file.
//
// Written once by read_control_data, read everywhere through control_data().
#pragma once

namespace tesmora {

struct CONTROL_DATA {
  // Stage switches of the second and third control cards.
  int PRE_PROCESSING = 1;       // 1 build the model from the mesh; 0 model from files; -1 read only
  int MAKE_SYSTEM_MATRICES = 1; // 1 run the matrix stage
  int SOLVE_EQUATION = 1;       // 1 run the solve stage
  int POST_PROCESSING = 1;      // 1 run the post stage
};

const CONTROL_DATA &control_data();

// Reads the whole input file: the control cards and then each section in its fixed order.
// A missing input file ends the job with "****  file %s cannot be opened **** ".
void read_control_data();

} // namespace tesmora
