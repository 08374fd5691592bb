// Whole jobs for the tests (static, and the eddy-current analyses): a deck made from a few
// settings, for a run of the real TesmoraBatch. The readers of what the job leaves are in
// support/job_results.hpp.
#pragma once

#include <string>
#include <vector>

namespace tesmora::testing {

struct STATIC_DECK {
  std::string stages = "1 1\n1 1"; // PRE_PROCESSING MAKE_SYSTEM_MATRICES / SOLVE_EQUATION POST_PROCESSING
  int tree_gauge = 0;
  int regularization = 0; // REGULARIZATION
  int line_search = 0;    // LINE_SEARCH
  int non_linear = 0;     // NON_LINEAR
  // NON_LINEAR_CONV RELAXATION NO_ITERATIONS INIT_OPTION ICCG_CONV_RATIO CHECK_B DELTA_A METHOD
  std::string non_linear_card = "1.0e-4 1.0 50 0 0 -0.01 0 0";
  int mat_points = 0;                  // MAT_POINTS
  std::string bh_curves;               // the B-H curve section after the time evolutions (NON_LINEAR jobs)
  int far_boundary = 0;                // 0 fixed, 1 natural
  std::vector<std::string> bn0_planes; // "CX CY CZ C"
  std::vector<std::string> ht0_planes; // "CX CY CZ C"
  std::vector<std::string>
      materials; // "MAT_ID POTENTIAL B_H_CURVE_ID SIGMA MU PACKING ANISOTROPY IRON_LOSS SIGMA_DEPEND_ID"
  std::string coil_elements; // the element cards of one COIL source
  int no_coil_elements = 1;
  int no_steps = 1;
  int cycle = 0, tp_step = 0; // CYCLE and TP_STEP of the time card
  int post_data_file = 1;
  int mesh_post = 0;                        // MESH of the post selection: the geometry file
  int magnetization = 0;                    // MAGNETIZATION of the post selection: M = B/mu0 - H after B
  std::string coordinates = "COORDINATE 0"; // the COORDINATE section
  int post_coordinate = 0;                  // POST_COORDINATE
  int last_output_step = 0;                 // LAST_STEP of the output range; 0: no_steps
  std::string output_materials;             // NUMBER_OUTPUT_MATS, then its list card when not 0
  double iccg_conv = 1e-9;
  // The analysis: "static", "ac" (FREQUENCY and output phases instead of the step cards) or
  // "transient" (no_steps of delta_time, THETA).
  std::string analysis = "static";
  double theta = 0.8;
  double delta_time = 1.0;
  std::string frequency_card = "50.0 0.0 0.0 0"; // FREQUENCY LAST_FREQUENCY INTERVAL COUNT
  std::string phase_card = "0.0 90.0 90.0";      // INITIAL_PHASE LAST_PHASE PHASE_INTERVAL
  int current = 0, heat = 0, electric = 0;       // CURRENT, HEAT, E of the post selection
  int print_heat = 0;                            // HEAT of the print tables: the Joule totals
  int node_out = 1;                              // NODE_OUT
  // The time evolution section; the default is evolution 1, the constant 1.
  std::string time_evolutions = "1 0\n1 0\n1 0 0 0 0 0 0\n0 0 0\n";
  int input_mesh_file = 3; // INPUT_MESH_FILE: 3 NASTRAN "pre_geom.nas", 1 ".unv", 7 ".inp"
};

// The deck text.
std::string static_deck(const STATIC_DECK &deck);

} // namespace tesmora::testing
