// Shared pieces of the Krylov methods: the view of one system, the operator and preconditioner
// applications, vector helpers, and the convergence bookkeeping every method runs.
#pragma once

#include "equations/iccg.hpp"
#include "equations/solvers/solver_methods.hpp"

#include <complex>
#include <cstdio>

namespace tesmora::solver_detail {

using complex = std::complex<double>;

// One system as a method sees it: pattern with 0-based columns, values, factor.
struct SYSTEM_VIEW {
  int n = 0;
  const int *row_head_pointers = nullptr;               // n+1 offsets
  const int *index = nullptr;                           // 0-based columns
  const double *lower = nullptr;                        // values (pairs when complex)
  const double *upper = nullptr;                        // null for a symmetric matrix
  const double *L = nullptr;                            // factor or null
  const double *U = nullptr;                            // upper factor; L when symmetric
  const double *Diag = nullptr;                         // inverse pivots, or the diagonal for Gauss-Seidel
  PRECONDITIONER preconditioner = PRECONDITIONER::none; // none when the matrix has no factor
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

// What a method reads during one solve: the job's settings, the caller's request, the row of the
// solver code and the routine of that row that runs (real or complex).
struct SOLVE_CONTEXT {
  const SOLVER_SETTINGS &settings;
  const SOLVE_REQUEST &request;
  const SOLVER_METHOD &method;
  const SOLVE_ROUTINE &routine;
};

// Best-solution store and divergence counter of one solve. Vectors are `length` doubles.
struct ITERATION_TRACK {
  const SOLVE_CONTEXT *context = nullptr; // read only
  SOLVE_FIGURES *figures = nullptr;       // receives the figures of the solve
  REPORT_STREAMS streams;
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

// A track for one solve of `length` doubles, writing to the job's report streams in the line
// format of the context's routine.
ITERATION_TRACK make_track(const SOLVE_CONTEXT &context, SOLVE_FIGURES &figures, int length);
// The norm step: b2 from rhs (or the norm vector, or the cached value). Returns false after a
// zero right-hand side has been answered (solution 0, status 1).
bool take_rhs_norm(ITERATION_TRACK &track, const double *rhs, double *x);
// The start checks with the first error: NaN, exact start, tolerance. Returns false when the
// method is to return without iterating; otherwise the best store holds x and line 0 is written.
// The tolerance under a nonlinear loop follows the routine's rule.
bool start_track(ITERATION_TRACK &track, double err, const double *x);
// One iteration's bookkeeping. Returns 1 converged, -1 diverged (status 0 set), 0 go on.
int track_step(ITERATION_TRACK &track, int k, double err, const double *x);
// The same for a method that adds step k to x only after this call (fused with other work):
// x_previous is iterate k-1. The best store is written only when x leaves the best iterate.
int track_step_before_update(ITERATION_TRACK &track, int k, double err, const double *x_previous);
// The end of every loop that ran: outcome 0 (the limit ran out) sets status 0 and counts `limit`
// iterations; then the best solution goes to x (error, iterations, total_iterations), the
// routine's end-of-loop messages are written when it has them, and the track ends.
SOLVE_RESULT close_track(ITERATION_TRACK &track, int outcome, int k, int limit, double err, double *x);
// Frees the best store; returns the result the method hands back.
SOLVE_RESULT end_track(ITERATION_TRACK &track);

// Iteration limit of the solve: the row's rule on n unknowns.
int iteration_limit(const SOLVE_CONTEXT &context, int n);

// The routines of the table (solver_methods.cpp). b and x have n entries (pairs when complex);
// figures receives what they find. Each returns what the JSON results take of the solve.
// keep_start is the routine of the codes without a method: it returns the start unchanged.
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
SOLVE_RESULT keep_start(const SYSTEM_VIEW &s, const SOLVE_CONTEXT &context, const double *b, double *x,
                        SOLVE_FIGURES &figures);

} // namespace tesmora::solver_detail
