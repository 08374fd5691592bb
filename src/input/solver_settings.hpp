// SOLVER_SETTINGS: linear-solver, nonlinear-iteration and time-integration settings of the job.
#pragma once

namespace tesmora {

// Linear solver settings ("cg_iteration"), filled once by the control-card readers and read
// only afterwards. What the solves of a run produce and carry from one to the next (figures,
// iteration count, the raised shift) is not kept here but in SOLVE_FIGURES (equations/iccg.hpp).
// The defaults are those a deck of a release before 2.5 leaves in effect: its one solver card
// gives only SOLVER and ICCG_CONV.
struct CG_ITERATION {
  double convergence = 0.0;  // ICCG_CONV: relative residual ||b - A x|| / ||b|| that ends a solve
  double accel_factor = 0.0; // |ACCEL_FACTOR|: shift of the diagonal the first incomplete
                             // factorisation starts from; below 1 it acts as 1
  int fixed_accel = 0;       // 1 when ACCEL_FACTOR was negative: the shift stays fixed (no automatic
                             // raising), and a zero pivot stops the job
  double div_factor = 0.0;   // DIV_FACTOR: a step whose error is at least this times the best one
                             // counts towards divergence
  int div_iterations = 0;    // DIV_ITERATIONS: a solve stops when more steps than this count in a row
  int solver = 0;            // SOLVER code as stored: 10 and 11 exchanged, 12 for 1 in an AC job
                             // (equations/solvers/solver_methods.hpp)
  int regularization = 0;    // REGULARIZATION
  int scaling = 1;           // 1: diagonal scaling before factorisation; 0 for SCALING -1
  int renumbering = 1;       // RENUMBERING + 1: 2 orders the unknowns by reverse levels in the
                             // matrix stage; 0 and 1 keep the model's numbering
  int max_iterations = 0;    // MAX_ITERATIONS; 0: dimension + 10
};

// Nonlinear iteration settings ("non_linear_iteration").
struct NON_LINEAR_ITERATION {
  double conv = 0.0; // NON_LINEAR_CONV; also scales the tolerance of solver 4 in a nonlinear loop
  double relaxation = 0.0;
  int no_iterations = 0;
  int method = 0; // 0 Newton-Raphson, 1 fixed point, 2 stored tensor
  int init_option = 0;
  double iccg_conv_ratio = 0.0; // ICCG_CONV_RATIO: in a nonlinear loop a solve's tolerance is at most
                                // this times its first error (ICCG_CONV / NON_LINEAR_CONV if 0)
  double check_b = 0.0;         // magnitude of CHECK_B, T
  int check_b_relative = 0;     // CHECK_B was negative; a solve in a nonlinear loop then neither skips
                                // its iterations (but in a type-3 restart) nor floors its tolerance
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
