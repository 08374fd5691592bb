// The biconjugate family: BiCGStab (symmetric with incomplete Cholesky, or asymmetric with
// incomplete LU), BiCG with transposed products, and the generalised product method GPBiCG.
#include "equations/solvers/solver_internal.hpp"

#include "job/tagged_array.hpp"

#include <cmath>
#include <cstring>

namespace tesmora::solver_detail {

namespace {

constexpr const char *works_tag = "sparse_matrix->works";

void residual(const SYSTEM_VIEW &s, const double *b, const double *x, double *r, double *q) {
  apply_matrix(s, x, q);
  for (int i = 0; i < s.n; ++i) r[i] = b[i] - q[i];
}

} // namespace

SOLVE_RESULT solve_bicgstab(const SYSTEM_VIEW &s, const SOLVE_CONTEXT &context, const double *b, double *x,
                            SOLVE_FIGURES &figures) {
  const int n = s.n;
  ITERATION_TRACK track = make_track(context, figures, n);
  if (!take_rhs_norm(track, b, x)) return track.result;
  TaggedArray<double> work(8LL * n, works_tag);
  double *r = work.data(), *r0 = r + n, *p = r0 + n, *v = p + n, *p_hat = v + n, *sv = p_hat + n,
         *s_hat = sv + n, *t = s_hat + n;
  residual(s, b, x, r, v);
  std::memcpy(r0, r, sizeof(double) * static_cast<std::size_t>(n));
  std::memset(v, 0, sizeof(double) * static_cast<std::size_t>(n));
  double err = std::sqrt(dot(n, r, r) / track.b2);
  if (!start_track(track, err, x)) return end_track(track);
  const int limit = iteration_limit(context, n);
  double rho_old = 1.0, alpha = 1.0, omega = 1.0;
  int k = 1, outcome = 0;
  for (; k <= limit; ++k) {
    const double rho = dot(n, r0, r);
    const double beta = (rho / rho_old) * (alpha / omega);
    for (int i = 0; i < n; ++i) p[i] = r[i] + beta * (p[i] - omega * v[i]);
    apply_preconditioner(s, p, p_hat);
    apply_matrix(s, p_hat, v);
    alpha = rho / dot(n, r0, v);
    for (int i = 0; i < n; ++i) sv[i] = r[i] - alpha * v[i];
    apply_preconditioner(s, sv, s_hat);
    apply_matrix(s, s_hat, t);
    double ts = 0.0, tt = 0.0;
    for (int i = 0; i < n; ++i) ts += t[i] * sv[i], tt += t[i] * t[i];
    omega = ts / tt;
    double rr = 0.0;
    for (int i = 0; i < n; ++i) {
      x[i] += alpha * p_hat[i] + omega * s_hat[i];
      r[i] = sv[i] - omega * t[i];
      rr += r[i] * r[i];
    }
    rho_old = rho;
    err = std::sqrt(rr / track.b2);
    outcome = track_step(track, k, err, x);
    if (outcome != 0) break;
  }
  return close_track(track, outcome, k, limit, err, x);
}

SOLVE_RESULT solve_bicg(const SYSTEM_VIEW &s, const SOLVE_CONTEXT &context, const double *b, double *x,
                        SOLVE_FIGURES &figures) {
  const int n = s.n;
  ITERATION_TRACK track = make_track(context, figures, n);
  if (!take_rhs_norm(track, b, x)) return track.result;
  TaggedArray<double> work(8LL * n, works_tag);
  double *r = work.data(), *rt = r + n, *z = rt + n, *zt = z + n, *p = zt + n, *pt = p + n, *q = pt + n,
         *qt = q + n;
  residual(s, b, x, r, q);
  std::memcpy(rt, r, sizeof(double) * static_cast<std::size_t>(n));
  apply_preconditioner(s, r, z);
  apply_preconditioner_transposed(s, rt, zt);
  std::memcpy(p, z, sizeof(double) * static_cast<std::size_t>(n));
  std::memcpy(pt, zt, sizeof(double) * static_cast<std::size_t>(n));
  double rho = dot(n, z, rt);
  double err = std::sqrt(dot(n, r, r) / track.b2);
  if (!start_track(track, err, x)) return end_track(track);
  const int limit = iteration_limit(context, n);
  int k = 1, outcome = 0;
  for (; k <= limit; ++k) {
    apply_matrix(s, p, q);
    apply_transpose(s, pt, qt);
    const double alpha = rho / dot(n, pt, q);
    double rr = 0.0;
    for (int i = 0; i < n; ++i) {
      x[i] += alpha * p[i];
      r[i] -= alpha * q[i];
      rt[i] -= alpha * qt[i];
      rr += r[i] * r[i];
    }
    err = std::sqrt(rr / track.b2);
    outcome = track_step(track, k, err, x);
    if (outcome != 0) break;
    apply_preconditioner(s, r, z);
    apply_preconditioner_transposed(s, rt, zt);
    const double new_rho = dot(n, z, rt);
    const double beta = new_rho / rho;
    for (int i = 0; i < n; ++i) p[i] = z[i] + beta * p[i], pt[i] = zt[i] + beta * pt[i];
    rho = new_rho;
  }
  return close_track(track, outcome, k, limit, err, x);
}

namespace {

// The vectors of the generalised product method, right-preconditioned: the method runs on
// A M^-1, and x = x0 + M^-1 e with e the accumulated update, so the best e is what is kept.
struct GPBICG_VECTORS {
  double *r, *r0, *p, *ap, *t, *at, *t_old, *w, *y, *u, *z, *e, *scratch;
};

// y = A M^-1 x.
void apply_right_preconditioned(const SYSTEM_VIEW &s, const double *x, double *y, double *scratch) {
  apply_preconditioner(s, x, scratch);
  apply_matrix(s, scratch, y);
}

// The two parameters from the five inner products; the first iteration is a steepest step.
void gpbicg_parameters(int n, int first, const GPBICG_VECTORS &v, double &zeta, double &eta) {
  double yy = 0.0, atat = 0.0, yat = 0.0, att = 0.0, yt = 0.0;
  for (int i = 0; i < n; ++i) {
    yy += v.y[i] * v.y[i], atat += v.at[i] * v.at[i], yat += v.y[i] * v.at[i];
    att += v.at[i] * v.t[i], yt += v.y[i] * v.t[i];
  }
  if (first) {
    zeta = att / atat;
    eta = 0.0;
    return;
  }
  const double denominator = atat * yy - yat * yat;
  zeta = (yy * att - yt * yat) / denominator;
  eta = (atat * yt - yat * att) / denominator;
}

} // namespace

SOLVE_RESULT solve_gpbicg(const SYSTEM_VIEW &s, const SOLVE_CONTEXT &context, const double *b, double *x,
                          SOLVE_FIGURES &figures) {
  const int n = s.n;
  ITERATION_TRACK track = make_track(context, figures, n);
  if (!take_rhs_norm(track, b, x)) return track.result;
  TaggedArray<double> work(13LL * n, works_tag);
  double *base = work.data();
  GPBICG_VECTORS v{};
  double **slots[] = {&v.r, &v.r0, &v.p, &v.ap, &v.t, &v.at,     &v.t_old,
                      &v.w, &v.y,  &v.u, &v.z,  &v.e, &v.scratch};
  for (double **slot : slots) *slot = base, base += n;
  residual(s, b, x, v.r, v.ap);
  std::memcpy(v.r0, v.r, sizeof(double) * static_cast<std::size_t>(n));
  double err = std::sqrt(dot(n, v.r, v.r) / track.b2);
  if (!start_track(track, err, v.e)) return end_track(track);
  const int limit = iteration_limit(context, n);
  double beta = 0.0, rho = dot(n, v.r0, v.r);
  int k = 1, outcome = 0;
  for (; k <= limit; ++k) {
    for (int i = 0; i < n; ++i) v.p[i] = v.r[i] + beta * (v.p[i] - v.u[i]);
    apply_right_preconditioned(s, v.p, v.ap, v.scratch);
    const double alpha = rho / dot(n, v.r0, v.ap);
    for (int i = 0; i < n; ++i) {
      v.y[i] = v.t_old[i] - v.r[i] - alpha * v.w[i] + alpha * v.ap[i];
      v.t[i] = v.r[i] - alpha * v.ap[i];
    }
    apply_right_preconditioned(s, v.t, v.at, v.scratch);
    double zeta = 0.0, eta = 0.0;
    gpbicg_parameters(n, k == 1, v, zeta, eta);
    double rr = 0.0, new_rho = 0.0;
    for (int i = 0; i < n; ++i) {
      v.u[i] = zeta * v.ap[i] + eta * (v.t_old[i] - v.r[i] + beta * v.u[i]);
      v.z[i] = zeta * v.r[i] + eta * v.z[i] - alpha * v.u[i];
      v.e[i] += alpha * v.p[i] + v.z[i];
      v.r[i] = v.t[i] - eta * v.y[i] - zeta * v.at[i];
      rr += v.r[i] * v.r[i];
      new_rho += v.r0[i] * v.r[i];
    }
    beta = alpha / zeta * new_rho / rho;
    rho = new_rho;
    for (int i = 0; i < n; ++i) v.w[i] = v.at[i] + beta * v.ap[i], v.t_old[i] = v.t[i];
    err = std::sqrt(rr / track.b2);
    outcome = track_step(track, k, err, v.e);
    if (outcome != 0) break;
  }
  const SOLVE_RESULT result = close_track(track, outcome, k, limit, err, v.e);
  // x = x0 + M^-1 e_best.
  apply_preconditioner(s, v.e, v.scratch);
  for (int i = 0; i < n; ++i) x[i] += v.scratch[i];
  return result;
}

} // namespace tesmora::solver_detail
