// Shared pieces of the Krylov methods: the view of one system, the operator and preconditioner
// applications, vector helpers, and the convergence bookkeeping every method runs.
#pragma once

#include "equations/iccg.hpp"

#include <complex>
#include <cstdio>

namespace tesmora::solver_detail {

using complex = std::complex<double>;

inline constexpr int precondition_none = 0;
inline constexpr int precondition_factor = 1;       // incomplete Cholesky or LU
inline constexpr int precondition_gauss_seidel = 2; // symmetric Gauss-Seidel on the matrix

// One system as a method sees it: pattern with 0-based columns, values, factor.
struct SYSTEM_VIEW {
  int n = 0;
  const int *row_head_pointers = nullptr; // n+1 offsets
  const int *index = nullptr;             // 0-based columns
  const double *lower = nullptr;          // values (pairs when complex)
  const double *upper = nullptr;          // null for a symmetric matrix
  const double *L = nullptr;              // factor or null
  const double *U = nullptr;              // upper factor; L when symmetric
  const double *Diag = nullptr;           // inverse pivots, or the diagonal for Gauss-Seidel
  int preconditioner = precondition_none;
};

// y = A x and y = A^T x (the same for a symmetric matrix).
void apply_matrix(const SYSTEM_VIEW &s, const double *x, double *y);
void apply_transpose(const SYSTEM_VIEW &s, const double *x, double *y);
// z = M^-1 r and z = M^-T r.
void apply_preconditioner(const SYSTEM_VIEW &s, const double *r, double *z);
void apply_preconditioner_transposed(const SYSTEM_VIEW &s, const double *r, double *z);
// Complex symmetric forms.
void apply_matrix_complex(const SYSTEM_VIEW &s, const complex *x, complex *y);
void apply_preconditioner_complex(const SYSTEM_VIEW &s, const complex *r, complex *z);

// The three passes of one ICCG iteration on a symmetric matrix with its incomplete factor, each
// fused with the vector work that reads the same rows:
// q = A p, returning p . q;
double apply_matrix_quadratic(const SYSTEM_VIEW &s, const double *p, double *q);
// r -= alpha q and the forward half of z = M^-1 r (q is overwritten), returning r . r and r . z;
struct RESIDUAL_SUMS {
  double rr = 0.0;
  double rz = 0.0;
};
RESIDUAL_SUMS update_residual_forward(const SYSTEM_VIEW &s, double alpha, double *r, double *q, double *z);
// the backward half of z = M^-1 r, then x += alpha p and p = z + beta p.
void update_directions_backward(const SYSTEM_VIEW &s, double alpha, double beta, double *z, double *x,
                                double *p);

double dot(int n, const double *x, const double *y);
complex dot_bilinear(int n, const complex *x, const complex *y); // x^T y, no conjugation
double norm2(int n, const complex *x);                           // sum |x_i|^2

// Where the report lines go.
struct REPORT_STREAMS {
  std::FILE *output = nullptr;
  std::FILE *check = nullptr;
};
REPORT_STREAMS report_streams();

// What a method reads during one solve: the job's settings and the caller's request.
struct SOLVE_CONTEXT {
  const SOLVER_SETTINGS &settings;
  const SOLVE_REQUEST &request;
};

// Nonlinear tightening of the tolerance: which factor the method uses.
enum class TOLERANCE_RULE { cg, bicg, bicgstab_symmetric, complex };

// Best-solution store and divergence counter of one solve. Vectors are `length` doubles.
struct ITERATION_TRACK {
  const SOLVE_CONTEXT *context = nullptr; // read only
  SOLVE_FIGURES *figures = nullptr;       // receives the figures of the solve
  REPORT_STREAMS streams;
  const char *line_format = "     %5d  %12.5e\n";
  int length = 0;
  double b2 = 0.0;
  double tol = 0.0;
  double best = 0.0;
  int best_iteration = 0;
  int counter = 0;
  double *x_best = nullptr;  // tag "x_best in solve_sparse_matrix"
  bool x_holds_best = false; // the solution vector itself is the best iterate (deferred store)
  SOLVE_RESULT result;       // what the solve gives for the JSON results, set once on every way out
};

// A track for one solve of `length` doubles, writing to the job's report streams.
ITERATION_TRACK make_track(const SOLVE_CONTEXT &context, SOLVE_FIGURES &figures, int length);
// The norm step: b2 from rhs (or the norm vector, or the cached value). Returns false after a
// zero right-hand side has been answered (solution 0, status 1).
bool take_rhs_norm(ITERATION_TRACK &track, const double *rhs, double *x);
// The start checks with the first error: NaN, exact start, tolerance. Returns false when the
// method is to return without iterating; otherwise the best store holds x and line 0 is written.
bool start_track(ITERATION_TRACK &track, TOLERANCE_RULE rule, double err, const double *x);
// One iteration's bookkeeping. Returns 1 converged, -1 diverged (status 0 set), 0 go on.
int track_step(ITERATION_TRACK &track, int k, double err, const double *x);
// The same for a method that adds step k to x only after this call (fused with other work):
// x_previous is iterate k-1. The best store is written only when x leaves the best iterate.
int track_step_before_update(ITERATION_TRACK &track, int k, double err, const double *x_previous);
// Leaves with the best solution: x = x_best, error, iterations, total_iterations += k.
void finish_track(ITERATION_TRACK &track, int k, double *x);
// The messages of the methods other than plain ICCG at the end of their loop.
void report_loop_end(const ITERATION_TRACK &track, int limit_ran_out, double err);
// Frees the best store; returns the result the method hands back.
SOLVE_RESULT end_track(ITERATION_TRACK &track);

// Iteration limit of the solve.
int iteration_limit(const SOLVE_CONTEXT &context, int n);

// The methods. b and x have n entries (pairs when complex); figures receives what they find.
// Each returns what the JSON results take of the solve.
SOLVE_RESULT solve_cg(const SYSTEM_VIEW &s, const SOLVE_CONTEXT &context, const double *b, double *x,
                      SOLVE_FIGURES &figures);
SOLVE_RESULT solve_minimal_residual(const SYSTEM_VIEW &s, const SOLVE_CONTEXT &context, const double *b,
                                    double *x, SOLVE_FIGURES &figures);
SOLVE_RESULT solve_bicgstab(const SYSTEM_VIEW &s, const SOLVE_CONTEXT &context, const double *b, double *x,
                            SOLVE_FIGURES &figures);
SOLVE_RESULT solve_bicg(const SYSTEM_VIEW &s, const SOLVE_CONTEXT &context, const double *b, double *x,
                        SOLVE_FIGURES &figures);
SOLVE_RESULT solve_gpbicg(const SYSTEM_VIEW &s, const SOLVE_CONTEXT &context, const double *b, double *x,
                          SOLVE_FIGURES &figures);
SOLVE_RESULT solve_cocg(const SYSTEM_VIEW &s, const SOLVE_CONTEXT &context, const double *b, double *x,
                        SOLVE_FIGURES &figures);
SOLVE_RESULT solve_cocr(const SYSTEM_VIEW &s, const SOLVE_CONTEXT &context, const double *b, double *x,
                        SOLVE_FIGURES &figures);

} // namespace tesmora::solver_detail
