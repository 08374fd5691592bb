// Conjugate gradients (incomplete Cholesky, symmetric Gauss-Seidel or no preconditioner) and the
// two-term minimal residual method for real systems.
#include "equations/solvers/solver_internal.hpp"

#include "job/tagged_array.hpp"

#include <cmath>

namespace tesmora::solver_detail {

namespace {

constexpr const char *works_tag = "sparse_matrix->works";

ITERATION_TRACK make_track(const CG_SOLVE_STATE &cg, int length) {
  ITERATION_TRACK track;
  track.streams = report_streams();
  track.length = length;
  if (cg.solver == 2 || cg.solver == 4) track.line_format = "     %5d%12.5e\n";
  return track;
}

// r = b - A x into r, using q as scratch.
void residual(const SYSTEM_VIEW &s, const double *b, const double *x, double *r, double *q) {
  apply_matrix(s, x, q);
  for (int i = 0; i < s.n; ++i) r[i] = b[i] - q[i];
}

} // namespace

void solve_cg(const SYSTEM_VIEW &s, const double *b, double *x, CG_SOLVE_STATE &cg) {
  const int n = s.n;
  ITERATION_TRACK track = make_track(cg, n);
  if (!take_rhs_norm(cg, track, b, x)) return;
  TaggedArray<double> work(4LL * n, works_tag);
  double *r = work.data(), *z = r + n, *p = z + n, *q = p + n;
  residual(s, b, x, r, q);
  apply_preconditioner(s, r, z);
  double rho = 0.0, rr = 0.0;
  for (int i = 0; i < n; ++i) p[i] = z[i], rho += r[i] * z[i], rr += r[i] * r[i];
  double err = std::sqrt(rr / track.b2);
  if (!start_track(cg, track, TOLERANCE_RULE::cg, err, x)) return free_track(track);
  const int limit = iteration_limit(cg, n);
  int k = 1, outcome = 0;
  for (; k <= limit; ++k) {
    apply_matrix(s, p, q);
    const double alpha = rho / dot(n, p, q);
    for (int i = 0; i < n; ++i) x[i] += alpha * p[i], r[i] -= alpha * q[i];
    apply_preconditioner(s, r, z);
    double new_rho = 0.0;
    rr = 0.0;
    for (int i = 0; i < n; ++i) new_rho += r[i] * z[i], rr += r[i] * r[i];
    err = std::sqrt(rr / track.b2);
    outcome = track_step(cg, track, k, err, x);
    if (outcome != 0) break;
    const double beta = new_rho / rho;
    for (int i = 0; i < n; ++i) p[i] = z[i] + beta * p[i];
    rho = new_rho;
  }
  if (outcome == 0) cg.status = 0, k = limit;
  finish_track(cg, track, k, x);
  if (cg.solver != 0) report_loop_end(track, outcome == 0, err);
  free_track(track);
}

void solve_minimal_residual(const SYSTEM_VIEW &s, const double *b, double *x, CG_SOLVE_STATE &cg) {
  const int n = s.n;
  ITERATION_TRACK track = make_track(cg, n);
  if (!take_rhs_norm(cg, track, b, x)) return;
  TaggedArray<double> work(5LL * n, works_tag);
  double *r = work.data(), *u = r + n, *w = u + n, *p = w + n, *y = p + n;
  residual(s, b, x, r, w);
  double err = std::sqrt(dot(n, r, r) / track.b2);
  const TOLERANCE_RULE rule = cg.solver == 8 ? TOLERANCE_RULE::bicg : TOLERANCE_RULE::cg;
  if (!start_track(cg, track, rule, err, x)) return free_track(track);
  const int limit = iteration_limit(cg, n);
  double nu = 0.0, zeta_old = 1.0;
  int k = 1, outcome = 0;
  for (; k <= limit; ++k) {
    apply_preconditioner(s, r, u);
    apply_matrix(s, u, w);
    double rw = 0.0, ww = 0.0, yw = 0.0;
    for (int i = 0; i < n; ++i) rw += r[i] * w[i], ww += w[i] * w[i], yw += y[i] * w[i];
    double zeta = 0.0, eta = 0.0;
    if (k == 1) {
      zeta = rw / ww;
    } else {
      const double denominator = nu * ww - yw * yw;
      zeta = nu * rw / denominator;
      eta = -yw * rw / denominator;
    }
    nu = zeta * rw;
    const double p_factor = k == 1 ? 0.0 : eta * zeta_old / zeta;
    double rr = 0.0;
    for (int i = 0; i < n; ++i) {
      p[i] = u[i] + p_factor * p[i];
      x[i] += zeta * p[i];
      y[i] = eta * y[i] + zeta * w[i];
      r[i] -= y[i];
      rr += r[i] * r[i];
    }
    zeta_old = zeta;
    err = std::sqrt(rr / track.b2);
    outcome = track_step(cg, track, k, err, x);
    if (outcome != 0) break;
  }
  if (outcome == 0) cg.status = 0, k = limit;
  finish_track(cg, track, k, x);
  report_loop_end(track, outcome == 0, err);
  free_track(track);
}

} // namespace tesmora::solver_detail
