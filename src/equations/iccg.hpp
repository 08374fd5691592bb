// The linear solver family: the solve entry with its convergence bookkeeping, the incomplete
// factorisations, and the matrix and preconditioner kernels the methods share.
//
// What each solver code does is the table of solver methods (solvers/solver_methods.hpp).
#pragma once

#include "equations/sparse_matrix.hpp"
#include "input/solver_settings.hpp"

namespace tesmora {

// The figures the linear solves of a run produce: what the last solve found, the iteration count
// over all solves and the shift the factorisations have reached. The stage that solves owns one
// record for its run and hands it to every solve; apart from the factor a matrix keeps, nothing
// else carries from one solve to the next.
struct SOLVE_FIGURES {
  double rhs_norm2 = 0.0;    // squared norm of the right-hand side of the last solve; a request
                             // with recompute_norm 0 reuses it
  double first_error = 0.0;  // relative residual at the start of the last solve
  double error = 0.0;        // relative residual of the solution returned
  int iterations = 0;        // iteration at which the returned solution was found
  int status = 0;            // 1 converged, 0 not converged, -1 no iteration was needed
  int total_iterations = 0;  // iterations of all solves of the run
  double accel_factor = 0.0; // shift the last factorisation used, 0 before the first; the next one
                             // starts from the larger of it and the setting, so a raised shift stays
};

// How a caller asks for one solve; the defaults are a plain linear solve.
struct SOLVE_REQUEST {
  int in_nonlinear = 0;             // 1 when a nonlinear loop calls: its tolerance rules apply
  int restart_type3 = 0;            // 1 when the run is a restart of type 3 (nonlinear rule)
  int recompute_norm = 1;           // 1: norm of the right-hand side anew; 0: use rhs_norm2
  double *norm_vector = nullptr;    // when set (and recompute_norm) the norm is taken of it instead;
                                    // dimension entries, multiplied by D in place with scaling
  double *initial_vector = nullptr; // stored starting solution of the periodic scheme, or null;
                                    // permuted in place with per-solve renumbering
};

// What one solve gives its caller for the JSON results. judged is 0 when no method ran its
// bookkeeping (an empty system, or a code that selects no method): such a solve has no entry.
struct SOLVE_RESULT {
  int judged = 0;     // 1 when the fields below are the solve's
  int converged = 0;  // 1 when the tolerance was reached (a zero right-hand side counts)
  int iterations = 0; // iteration of the solution returned
  double error = 0.0; // its relative residual
};

// Solves matrix x = rhs with the settings of the job, by the routine of the row of the code the
// matrix was made for (the equation's: the asymmetric sibling of the card's code when the system
// is asymmetric), so that the method and the preconditioner the matrix holds agree. rhs and solution have
// no_unknowns entries (pairs when complex) in the model's numbering; solution holds the start on entry and
// the best solution found on return. With scaling the right-hand side is left multiplied by D. Reports go to
// output and check; figures receives what the solve found, and the result what the JSON results take of it
// (the caller records it).
SOLVE_RESULT solve_sparse_matrix(SPARSE_MATRIX *matrix, double *rhs, double *solution, int no_unknowns,
                                 const SOLVER_SETTINGS &settings, SOLVE_FIGURES &figures,
                                 const SOLVE_REQUEST &request = {});

// Scaling and incomplete factorisation of the present values; nothing when is_factorised. The
// shift starts from the larger of settings.accel_factor and figures.accel_factor, and the one
// used is left in figures.accel_factor.
void sparse_matrix_preconditioning(SPARSE_MATRIX *matrix, const CG_ITERATION &settings,
                                   SOLVE_FIGURES &figures);

// Incomplete factorisations without fill on the type-1 pattern (0-based columns). alpha is the
// starting shift (values below 1 act as 1) and returns the one used; with fixed_accel it is not
// raised and a zero pivot stops the job. Returns the number of restarts.
int incomplete_cholesky(int n, const int *row_head_pointers, const int *index, const double *lower, double *L,
                        double *Diag, double &alpha, int fixed_accel);
int incomplete_lu(int n, const int *row_head_pointers, const int *index, const double *lower,
                  const double *upper, double *L, double *U, double *Diag, double &alpha, int fixed_accel);
int incomplete_cholesky_complex(int n, const int *row_head_pointers, const int *index, const double *lower,
                                double *L, double *Diag, double &alpha, int fixed_accel);

// y = A x for a symmetric matrix stored by its lower triangle (0-based columns). no_elements is
// not needed by the compressed form and may be null.
void matrix_vector_product(int n, const int *row_head_pointers, const int *no_elements, const int *index,
                           const double *matrix_lower, const double *x, double *y);
// y += factor A x for an asymmetric matrix; lower and upper swapped give the transpose.
void asymmetric_vector_product(int n, const int *row_head_pointers, const int *index, const double *lower,
                               const double *upper, double factor, const double *x, double *y);
// z = M^-1 r with M = L S U, L unit lower from `L`, U unit upper from `U` (U = L when symmetric),
// S^-1 = Diag. Swapping L and U gives the transposed preconditioner.
void forward_backward_substitution(int n, const int *row_head_pointers, const int *index, const double *L,
                                   const double *U, const double *Diag, const double *r, double *z);

} // namespace tesmora
