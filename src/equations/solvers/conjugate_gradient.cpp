// Conjugate gradients (incomplete Cholesky, symmetric Gauss-Seidel or no preconditioner) and the
// two-term minimal residual method for real systems.
#include "equations/solvers/solver_internal.hpp"

#include "job/tagged_array.hpp"

#include <cmath>

namespace tesmora::solver_detail {

namespace {

constexpr const char *works_tag = "sparse_matrix->works";

// r = b - A x into r, using q as scratch.
void residual(const SYSTEM_VIEW &s, const double *b, const double *x, double *r, double *q) {
  apply_matrix(s, x, q);
  for (int i = 0; i < s.n; ++i) r[i] = b[i] - q[i];
}

} // namespace

namespace {

// The vectors and scalars of one CG solve.
struct CG_LOOP {
  double *r = nullptr, *z = nullptr, *p = nullptr, *q = nullptr;
  double rho = 0.0;
  double err = 0.0;
};

// One iteration with any preconditioner: each vector operation in its own pass.
int plain_cg_step(const SYSTEM_VIEW &s, ITERATION_TRACK &track, int k, double *x, CG_LOOP &v) {
  const int n = s.n;
  double *r = v.r, *z = v.z, *p = v.p, *q = v.q;
  apply_matrix(s, p, q);
  const double alpha = v.rho / dot(n, p, q);
  for (int i = 0; i < n; ++i) x[i] += alpha * p[i], r[i] -= alpha * q[i];
  apply_preconditioner(s, r, z);
  double new_rho = 0.0, rr = 0.0;
  for (int i = 0; i < n; ++i) new_rho += r[i] * z[i], rr += r[i] * r[i];
  v.err = std::sqrt(rr / track.b2);
  const int outcome = track_step(track, k, v.err, x);
  if (outcome != 0) return outcome;
  const double beta = new_rho / v.rho;
  for (int i = 0; i < n; ++i) p[i] = z[i] + beta * p[i];
  v.rho = new_rho;
  return 0;
}

// One iteration with the incomplete factor in three passes over the rows (product, forward and
// backward sweeps) that carry all vector work; x receives its step in the backward sweep.
int fused_iccg_step(const SYSTEM_VIEW &s, ITERATION_TRACK &track, int k, double *x, CG_LOOP &v) {
  const double alpha = v.rho / apply_matrix_quadratic(s, v.p, v.q);
  const RESIDUAL_SUMS sums = update_residual_forward(s, alpha, v.r, v.q, v.z);
  v.err = std::sqrt(sums.rr / track.b2);
  const int outcome = track_step_before_update(track, k, v.err, x);
  if (outcome != 0) {
    for (int i = 0; i < s.n; ++i) x[i] += alpha * v.p[i];
    return outcome;
  }
  update_directions_backward(s, alpha, sums.rz / v.rho, v.z, x, v.p);
  v.rho = sums.rz;
  return 0;
}

} // namespace

SOLVE_RESULT solve_cg(const SYSTEM_VIEW &s, const SOLVE_CONTEXT &context, const double *b, double *x,
                      SOLVE_FIGURES &figures) {
  const int n = s.n;
  ITERATION_TRACK track = make_track(context, figures, n);
  if (!take_rhs_norm(track, b, x)) return track.result;
  TaggedArray<double> work(4LL * n, works_tag);
  CG_LOOP v{.r = work.data(), .z = work.data() + n, .p = work.data() + 2LL * n, .q = work.data() + 3LL * n};
  residual(s, b, x, v.r, v.q);
  apply_preconditioner(s, v.r, v.z);
  double rr = 0.0;
  for (int i = 0; i < n; ++i) v.p[i] = v.z[i], v.rho += v.r[i] * v.z[i], rr += v.r[i] * v.r[i];
  v.err = std::sqrt(rr / track.b2);
  if (!start_track(track, v.err, x)) return end_track(track);
  const bool fused = s.preconditioner == PRECONDITIONER::incomplete_factor && !s.upper;
  const int limit = iteration_limit(context, n);
  int k = 1, outcome = 0;
  for (; k <= limit; ++k) {
    outcome = fused ? fused_iccg_step(s, track, k, x, v) : plain_cg_step(s, track, k, x, v);
    if (outcome != 0) break;
  }
  return close_track(track, outcome, k, limit, v.err, x);
}

SOLVE_RESULT solve_minimal_residual(const SYSTEM_VIEW &s, const SOLVE_CONTEXT &context, const double *b,
                                    double *x, SOLVE_FIGURES &figures) {
  const int n = s.n;
  ITERATION_TRACK track = make_track(context, figures, n);
  if (!take_rhs_norm(track, b, x)) return track.result;
  TaggedArray<double> work(5LL * n, works_tag);
  double *r = work.data(), *u = r + n, *w = u + n, *p = w + n, *y = p + n;
  residual(s, b, x, r, w);
  double err = std::sqrt(dot(n, r, r) / track.b2);
  if (!start_track(track, err, x)) return end_track(track);
  const int limit = iteration_limit(context, n);
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
    outcome = track_step(track, k, err, x);
    if (outcome != 0) break;
  }
  return close_track(track, outcome, k, limit, err, x);
}

} // namespace tesmora::solver_detail
