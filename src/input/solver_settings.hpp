// SOLVER_SETTINGS: linear-solver, nonlinear-iteration and time-integration settings of the job.
#pragma once

namespace tesmora {

// Linear solver settings and counters ("cg_iteration").
struct CG_ITERATION {
  double conv = 0.0;         // ICCG_CONV, relative residual
  double accel_factor = 0.0; // magnitude of ACCEL_FACTOR
  int accel_auto = 0;        // ACCEL_FACTOR was negative: the shift is found automatically
  double div_factor = 0.0;   // divergence detection factor
  int div_iterations = 0;
  int solver = 0; // solver code, 10 and 11 exchanged from the card, 12 for 1 in AC
  int no_solver_calls = 0;
  int regularization = 0; // REGULARIZATION
  int scaling = 1;        // 0 for SCALING -1
  int renumbering = 1;    // RENUMBERING + 1
  int option_1 = 1;
  int max_iterations = 0;
  int total_iterations = 0; // zeroed by the solve stage
};

// Nonlinear iteration settings ("non_linear_iteration").
struct NON_LINEAR_ITERATION {
  double conv = 0.0;
  double relaxation = 0.0;
  int no_iterations = 0;
  int method = 0;
  int init_option = 0;
  double iccg_conv_ratio = 0.0;
  double check_b = 0.0;     // magnitude of CHECK_B, T
  int check_b_relative = 0; // CHECK_B was negative
  int line_search = 0;
  int delta_a = 0;
  int total_iterations = 0;
};

struct SOLVER_SETTINGS {
  CG_ITERATION cg_iteration;
  NON_LINEAR_ITERATION non_linear_iteration;
  double theta = 2.0 / 3.0; // time-integration weight; 1.0 in a static job
  double theta_network = 0.5;
  double theta_motion = 0.5;
  // Coefficients of the theta scheme with id 0; entries 1, 3, 5, 7 are set, 0-based array.
  double integration_coefficients[8] = {};
};

const SOLVER_SETTINGS &solver_settings();

} // namespace tesmora
