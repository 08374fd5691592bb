// The solve entry: renumbering, scaling and factorisation, the choice of method by the solver
// code, and the reports of each solve.
#include "equations/iccg.hpp"

#include "equations/renumbering.hpp"
#include "equations/solvers/solver_internal.hpp"
#include "job/report.hpp"
#include "job/tagged_array.hpp"

#include <cstring>

namespace tesmora {

using namespace solver_detail;

CG_SOLVE_STATE make_cg_solve_state(const SOLVER_SETTINGS &settings) {
  const CG_ITERATION &c = settings.cg_iteration;
  const NON_LINEAR_ITERATION &nl = settings.non_linear_iteration;
  CG_SOLVE_STATE cg;
  cg.convergence = c.conv;
  cg.accel_factor = c.accel_factor;
  cg.fixed_accel = c.accel_auto; // set when ACCEL_FACTOR was given negative
  cg.div_factor = c.div_factor;
  cg.div_iterations = c.div_iterations;
  cg.solver = c.solver;
  cg.restart = c.solver == 9 ? 10 : 0;
  cg.max_iterations = c.max_iterations;
  cg.scaling = c.scaling;
  cg.renumbering = c.renumbering;
  cg.conv_ratio = nl.iccg_conv_ratio;
  cg.non_linear_conv = nl.conv;
  cg.check_flag = nl.check_b_relative;
  cg.total_iterations = c.total_iterations;
  return cg;
}

namespace {

// Incomplete factor of the present (scaled) values on 0-based columns.
void factorise(SPARSE_MATRIX *m, const SOLVER_PATTERN &p, CG_SOLVE_STATE &cg) {
  const int n = m->dimension;
  double alpha = cg.accel_factor;
  if (m->is_complex)
    incomplete_cholesky_complex(n, p.row_head_pointers, p.index, p.lower, m->L, m->Diag, alpha,
                                cg.fixed_accel);
  else if (m->asymmetric)
    incomplete_lu(n, p.row_head_pointers, p.index, p.lower, p.upper, m->L, m->U, m->Diag, alpha,
                  cg.fixed_accel);
  else
    incomplete_cholesky(n, p.row_head_pointers, p.index, p.lower, m->L, m->Diag, alpha, cg.fixed_accel);
  write_check("shift =%lf\n", alpha);
  cg.accel_factor = alpha;
}

} // namespace

void sparse_matrix_preconditioning(SPARSE_MATRIX *m, CG_SOLVE_STATE &cg) {
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
    toggle_index_base(p.size, p.index, 0);
    factorise(m, p, cg);
    toggle_index_base(p.size, p.index, 1);
  } else if (cg.solver == 1) {
    for (int i = 0; i < n; ++i) m->Diag[i] = p.lower[p.row_head_pointers[i + 1] - 1];
  }
  m->is_factorised = 1;
}

namespace {

SYSTEM_VIEW make_view(SPARSE_MATRIX *m, const SOLVER_PATTERN &p, int solver) {
  SYSTEM_VIEW s;
  s.n = m->dimension;
  s.row_head_pointers = p.row_head_pointers;
  s.index = p.index;
  s.lower = p.lower;
  s.upper = m->asymmetric ? p.upper : nullptr;
  s.L = m->L;
  s.U = m->asymmetric ? m->U : m->L;
  s.Diag = m->Diag;
  if (solver == 1)
    s.preconditioner = precondition_gauss_seidel;
  else if (m->use_factor && solver != 2)
    s.preconditioner = precondition_factor;
  return s;
}

// Runs the method of the solver code on 0-based columns. Codes without a method leave x.
void run_method(const SYSTEM_VIEW &s, int is_complex, const double *b, double *x, CG_SOLVE_STATE &cg) {
  if (is_complex) {
    if (cg.solver == 12)
      solve_cocr(s, b, x, cg);
    else
      solve_cocg(s, b, x, cg);
    return;
  }
  switch (cg.solver) {
  case 0:
  case 1:
  case 2:
    solve_cg(s, b, x, cg);
    break;
  case 3:
  case 8:
    solve_minimal_residual(s, b, x, cg);
    break;
  case 4:
  case 6:
    solve_bicgstab(s, b, x, cg);
    break;
  case 5:
    solve_bicg(s, b, x, cg);
    break;
  case 7:
    solve_gpbicg(s, b, x, cg);
    break;
  default:
    break; // 9, 10, 11: reserved, the start is returned
  }
}

void write_headers(const REPORT_STREAMS &streams) {
  write_report(streams.check, "*** Start ICCG iteration **\n");
  write_report(streams.check, "       No.       Error\n");
  write_report(streams.output, "*** ICCG iteration ***\n");
  write_report(streams.output, "       No.       Error\n");
}

void write_outcome(const REPORT_STREAMS &streams, const CG_SOLVE_STATE &cg) {
  std::FILE *targets[] = {streams.output, streams.check};
  for (std::FILE *stream : targets) {
    if (!stream) continue;
    if (cg.status == 1 || cg.status == 0) {
      write_report(stream, cg.status == 1 ? "*** ICCG converges ***\n" : "*** ICCG doesn't converge ***\n");
      write_report(stream, "     %5d  %12.5e\n", cg.iterations, cg.error);
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

void solve_sparse_matrix(SPARSE_MATRIX *m, double *rhs, double *solution, int no_unknowns, CG_SOLVE_STATE &cg,
                         SOLVE_RESULT *result) {
  if (no_unknowns == 0) return;
  const int n = m->dimension, width = m->is_complex ? 2 : 1;
  double *b = rhs, *x = solution;
  TaggedArray<double> permuted;
  if (m->renumber_option) {
    permuted = TaggedArray<double>(2LL * width * n, "sparse_matrix->works");
    b = permuted.data(), x = permuted.data() + width * n;
    sparse_matrix_renumbering(n, m, rhs, solution, b, x);
    if (cg.initial_vector) permute_vector(n, width, m->renumbering_index, cg.initial_vector);
  }
  sparse_matrix_preconditioning(m, cg);
  const REPORT_STREAMS streams = report_streams();
  write_headers(streams);
  if (m->is_complex && all_zero(2 * n, b)) {
    write_fault(" RHS of equation=0, No source term is given. Job stops! \n");
    stop_job(1);
  }
  if (m->scaled_option) {
    for (int i = 0; i < n; ++i)
      for (int w = 0; w < width; ++w) x[width * i + w] /= m->D[i], b[width * i + w] *= m->D[i];
    if (!m->is_complex && cg.norm_vector)
      for (int i = 0; i < n; ++i) cg.norm_vector[i] *= m->D[i];
  }
  const SOLVER_PATTERN p = solver_pattern(m);
  toggle_index_base(p.size, p.index, 0);
  run_method(make_view(m, p, cg.solver), m->is_complex, b, x, cg);
  toggle_index_base(p.size, p.index, 1);
  if (m->scaled_option)
    for (int i = 0; i < n; ++i)
      for (int w = 0; w < width; ++w) x[width * i + w] *= m->D[i];
  sparse_matrix_restore_numbering(n, m, x, solution);
  write_outcome(streams, cg);
  if (result)
    result->iterations = cg.iterations, result->error = cg.error, result->converged = cg.status == 1;
}

} // namespace tesmora
