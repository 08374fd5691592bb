// The solve stage: the system equation of a run, the time-control loop (a static run is a run of
// steps whose count alone differs), the right-hand side of the sources and the solutions file.
#pragma once

#include "equations/iccg.hpp"
#include "equations/sparse_matrix.hpp"

namespace tesmora {

struct MESHED_MODEL;

// The equation of the solve stage ("system_equation").
struct SYSTEM_EQUATION {
  int no_unknowns = 0;
  int solver = 0;     // solver code after the rewrite for asymmetric systems
  int asymmetric = 0; // matrix_asymmetric
  int complex = 0;    // 1 in AC
  int r_shares_t = 0; // r_matrix arrays share those of t_matrix
  int no_nonzeros = 0;
  SPARSE_MATRIX *t_matrix = nullptr; // the matrix of the solve
  SPARSE_MATRIX *r_matrix = nullptr; // right-hand matrix of a transient step
  double *solution = nullptr;        // "system_equation->solution"
  double *RHS = nullptr;             // "system_equation->RHS"
  int t_matrix_loaded = 0;           // the values in t_matrix are those of the file
};

SYSTEM_EQUATION *make_system_equation(int no_unknowns, int no_nonzeros);
void free_system_equation(SYSTEM_EQUATION **equation);

// Brings the matrix of the step into t_matrix from the t_matrix file unless it may stay (loaded
// before, linear, no motion). Returns the matrix to use.
SPARSE_MATRIX *load_matrix(SYSTEM_EQUATION &equation);

// rhs (no_unknowns) = the sum of the sources' load columns times their amplitudes now.
void load_vector(double *rhs, int no_unknowns);

// A NaN in the system (a material or source value that isn't a number) makes every figure
// meaningless: with a NaN residual the job stops with "Residual have NaN" rather than write a
// solution of NaNs.
void stop_at_nan(double residual);

// The start of a linear step's iteration: the previous solution unless it is a bad guess, that
// is unless |b - A x|^2 / |b|^2 (in the scaled system when the matrix is scaled) exceeds the
// threshold, in which case it starts from zero. A right-hand side of squared norm below 1e-20
// leaves the start as it is. With a periodic start (the solution one period before, kept by the
// TP_STEP option) the two are compared instead: the periodic one is taken when its relative
// residual is below half the previous solution's.
inline constexpr double linear_start_threshold = 1000.0;
inline constexpr double nonlinear_start_threshold = 100000.0;
void choose_initial_value(const SPARSE_MATRIX &matrix, const double *rhs, double *solution, int n,
                          double threshold, const double *periodic = nullptr);

// One solve's entry in the JSON results under "ICCG": converged flag, iteration of the solution
// returned and its relative residual. A solve in which no method ran has none.
void record_solve_result(const SOLVE_RESULT &result);

// The stage.
void solve_equation_stage(MESHED_MODEL &first_part);

// Brings the variable lists of the model back from the potentials file when the matrix stage
// didn't run in this run; returns the number of unknowns.
int restore_model_variables(MESHED_MODEL &first_part);

} // namespace tesmora
