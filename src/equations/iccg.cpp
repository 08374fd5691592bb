// The solve entry: renumbering, scaling and factorisation, the routine of the solver code's row
// in the table of solver methods, and the reports of each solve.
#include "equations/iccg.hpp"

#include "equations/renumbering.hpp"
#include "equations/solvers/solver_internal.hpp"
#include "job/report.hpp"
#include "job/tagged_array.hpp"

#include <algorithm>
#include <cstring>

namespace tesmora {

using namespace solver_detail;

namespace {

// Incomplete factor of the present (scaled) values on 0-based columns.
// The shift starts from the one the last factorisation of the run reached, or from the setting
// when that is larger (always so at the first).
void factorise(SPARSE_MATRIX *m, const SOLVER_PATTERN &p, const CG_ITERATION &settings,
               SOLVE_FIGURES &figures) {
  const int n = m->dimension;
  const int fixed = settings.fixed_accel;
  double alpha = std::max(settings.accel_factor, figures.accel_factor);
  if (m->is_complex)
    incomplete_cholesky_complex(n, p.row_head_pointers, p.columns, p.lower, m->L, m->Diag, alpha, fixed);
  else if (m->asymmetric)
    incomplete_lu(n, p.row_head_pointers, p.columns, p.lower, p.upper, m->L, m->U, m->Diag, alpha, fixed);
  else
    incomplete_cholesky(n, p.row_head_pointers, p.columns, p.lower, m->L, m->Diag, alpha, fixed);
  write_check("shift =%lf\n", alpha);
  figures.accel_factor = alpha;
}

} // namespace

void sparse_matrix_preconditioning(SPARSE_MATRIX *m, const CG_ITERATION &settings, SOLVE_FIGURES &figures) {
  if (m->is_factorised) return;
  const int n = m->dimension;
  if (m->scaled_option && !m->is_scaled) {
    if (m->asymmetric)
      scale_matrix_asymmetric(n, m);
    else if (m->is_complex)
      scale_matrix_complex(n, m);
    else
      scale_matrix(n, m);
  }
  const SOLVER_PATTERN p = solver_pattern(m);
  if (m->use_factor) {
    factorise(m, p, settings, figures);
  } else if (find_solver_method(settings.solver).preconditioner == PRECONDITIONER::gauss_seidel) {
    for (int i = 0; i < n; ++i) m->Diag[i] = p.lower[p.row_head_pointers[i + 1] - 1];
  }
  m->is_factorised = 1;
}

namespace {

// The system as the method of `method` sees it. Its preconditioner is the row's, but a factor only
// where the matrix has one (it was made for the equation's code).
SYSTEM_VIEW make_view(SPARSE_MATRIX *m, const SOLVER_PATTERN &p, const SOLVER_METHOD &method) {
  SYSTEM_VIEW s;
  s.n = m->dimension;
  s.row_head_pointers = p.row_head_pointers;
  s.index = p.columns;
  s.lower = p.lower;
  s.upper = m->asymmetric ? p.upper : nullptr;
  s.L = m->L;
  s.U = m->asymmetric ? m->U : m->L;
  s.Diag = m->Diag;
  if (method.preconditioner == PRECONDITIONER::gauss_seidel)
    s.preconditioner = PRECONDITIONER::gauss_seidel;
  else if (method.preconditioner == PRECONDITIONER::incomplete_factor && m->use_factor)
    s.preconditioner = PRECONDITIONER::incomplete_factor;
  return s;
}

void write_headers(const REPORT_STREAMS &streams) {
  write_report(streams.check, "*** Start ICCG iteration **\n");
  write_report(streams.check, "       No.       Error\n");
  write_report(streams.output, "*** ICCG iteration ***\n");
  write_report(streams.output, "       No.       Error\n");
}

void write_outcome(const REPORT_STREAMS &streams, const SOLVE_FIGURES &figures) {
  std::FILE *targets[] = {streams.output, streams.check};
  for (std::FILE *stream : targets) {
    if (!stream) continue;
    if (figures.status == 1 || figures.status == 0) {
      write_report(stream,
                   figures.status == 1 ? "*** ICCG converges ***\n" : "*** ICCG doesn't converge ***\n");
      write_report(stream, "     %5d  %12.5e\n", figures.iterations, figures.error);
    } else {
      write_report(stream, stream == streams.output ? "*** No ICCG iteration ***\n\n"
                                                    : "*** No ICCG iteration ***\n");
    }
    std::fflush(stream);
  }
}

// v[new] = v[old] in place, through a copy.
void permute_vector(int n, int width, const int *new_number, double *v) {
  TaggedArray<double> copy(static_cast<std::int64_t>(width) * n, "sparse_matrix->works");
  for (int i = 0; i < n; ++i)
    for (int w = 0; w < width; ++w) copy[width * (new_number[i] - 1) + w] = v[width * i + w];
  std::memcpy(v, copy.data(), sizeof(double) * static_cast<std::size_t>(width) * n);
}

bool all_zero(int count, const double *values) {
  for (int i = 0; i < count; ++i)
    if (values[i] != 0.0) return false;
  return true;
}

} // namespace

SOLVE_RESULT solve_sparse_matrix(SPARSE_MATRIX *m, double *rhs, double *solution, int no_unknowns,
                                 const SOLVER_SETTINGS &settings, SOLVE_FIGURES &figures,
                                 const SOLVE_REQUEST &request) {
  if (no_unknowns == 0) return {};
  const int n = m->dimension, width = m->is_complex ? 2 : 1;
  double *b = rhs, *x = solution;
  TaggedArray<double> permuted;
  if (m->renumber_option) {
    permuted = TaggedArray<double>(2LL * width * n, "sparse_matrix->works");
    b = permuted.data(), x = permuted.data() + width * n;
    sparse_matrix_renumbering(n, m, rhs, solution, b, x);
    if (request.initial_vector) permute_vector(n, width, m->renumbering_index, request.initial_vector);
  }
  sparse_matrix_preconditioning(m, settings.cg_iteration, figures);
  const REPORT_STREAMS streams = report_streams();
  write_headers(streams);
  if (m->is_complex && all_zero(2 * n, b)) {
    write_fault(" RHS of equation=0, No source term is given. Job stops! \n");
    stop_job(1);
  }
  if (m->scaled_option) {
    for (int i = 0; i < n; ++i)
      for (int w = 0; w < width; ++w) x[width * i + w] /= m->D[i], b[width * i + w] *= m->D[i];
    if (!m->is_complex && request.norm_vector)
      for (int i = 0; i < n; ++i) request.norm_vector[i] *= m->D[i];
  }
  const SOLVER_PATTERN p = solver_pattern(m);
  const SOLVER_METHOD &method = find_solver_method(m->solver);
  const SOLVE_ROUTINE &routine = m->is_complex ? method.on_complex : method.on_real;
  const SOLVE_CONTEXT context{.settings = settings, .request = request, .method = method, .routine = routine};
  const SOLVE_RESULT result = routine.solve(make_view(m, p, method), context, b, x, figures);
  if (m->scaled_option)
    for (int i = 0; i < n; ++i)
      for (int w = 0; w < width; ++w) x[width * i + w] *= m->D[i];
  sparse_matrix_restore_numbering(n, m, x, solution);
  write_outcome(streams, figures);
  return result;
}

} // namespace tesmora
