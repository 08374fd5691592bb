// Complex symmetric systems: conjugate orthogonal CG and its residual-minimising sibling, both
// with the complex incomplete Cholesky factor. Inner products in the recurrences are the
// bilinear x^T y; the residual norm is the Hermitian one.
#include "equations/solvers/solver_internal.hpp"

#include "job/tagged_array.hpp"

#include <cmath>
#include <cstring>

namespace tesmora::solver_detail {

namespace {

constexpr const char *works_tag = "sparse_matrix->works";

void residual(const SYSTEM_VIEW &s, const complex *b, const complex *x, complex *r, complex *q) {
  apply_matrix_complex(s, x, q);
  for (int i = 0; i < s.n; ++i) r[i] = b[i] - q[i];
}

} // namespace

SOLVE_RESULT solve_cocg(const SYSTEM_VIEW &s, const SOLVE_CONTEXT &context, const double *b_pairs,
                        double *x_pairs, SOLVE_FIGURES &figures) {
  const int n = s.n;
  // The Hermitian norm is the real dot over the pairs: the track works on 2n doubles.
  ITERATION_TRACK track = make_track(context, figures, 2 * n);
  if (!take_rhs_norm(track, b_pairs, x_pairs)) return track.result;
  const auto *b = reinterpret_cast<const complex *>(b_pairs);
  auto *x = reinterpret_cast<complex *>(x_pairs);
  TaggedArray<complex> work(4LL * n, works_tag);
  complex *r = work.data(), *z = r + n, *p = z + n, *q = p + n;
  residual(s, b, x, r, q);
  apply_preconditioner_complex(s, r, z);
  std::memcpy(static_cast<void *>(p), z, sizeof(complex) * static_cast<std::size_t>(n));
  complex rho = dot_bilinear(n, r, z);
  double err = std::sqrt(norm2(n, r) / track.b2);
  if (!start_track(track, err, x_pairs)) return end_track(track);
  const int limit = iteration_limit(context, n);
  int k = 1, outcome = 0;
  for (; k <= limit; ++k) {
    apply_matrix_complex(s, p, q);
    const complex alpha = rho / dot_bilinear(n, p, q);
    for (int i = 0; i < n; ++i) x[i] += alpha * p[i], r[i] -= alpha * q[i];
    apply_preconditioner_complex(s, r, z);
    const complex new_rho = dot_bilinear(n, r, z);
    err = std::sqrt(norm2(n, r) / track.b2);
    outcome = track_step(track, k, err, x_pairs);
    if (outcome != 0) break;
    const complex beta = new_rho / rho;
    for (int i = 0; i < n; ++i) p[i] = z[i] + beta * p[i];
    rho = new_rho;
  }
  return close_track(track, outcome, k, limit, err, x_pairs);
}

SOLVE_RESULT solve_cocr(const SYSTEM_VIEW &s, const SOLVE_CONTEXT &context, const double *b_pairs,
                        double *x_pairs, SOLVE_FIGURES &figures) {
  const int n = s.n;
  // The Hermitian norm is the real dot over the pairs: the track works on 2n doubles.
  ITERATION_TRACK track = make_track(context, figures, 2 * n);
  if (!take_rhs_norm(track, b_pairs, x_pairs)) return track.result;
  const auto *b = reinterpret_cast<const complex *>(b_pairs);
  auto *x = reinterpret_cast<complex *>(x_pairs);
  TaggedArray<complex> work(6LL * n, works_tag);
  complex *r = work.data(), *z = r + n, *p = z + n, *az = p + n, *ap = az + n, *q = ap + n;
  residual(s, b, x, r, q);
  apply_preconditioner_complex(s, r, z);
  apply_matrix_complex(s, z, az);
  std::memcpy(static_cast<void *>(p), z, sizeof(complex) * static_cast<std::size_t>(n));
  std::memcpy(static_cast<void *>(ap), az, sizeof(complex) * static_cast<std::size_t>(n));
  complex rho = dot_bilinear(n, z, az);
  double err = std::sqrt(norm2(n, r) / track.b2);
  if (!start_track(track, err, x_pairs)) return end_track(track);
  const int limit = iteration_limit(context, n);
  int k = 1, outcome = 0;
  for (; k <= limit; ++k) {
    apply_preconditioner_complex(s, ap, q);
    const complex alpha = rho / dot_bilinear(n, ap, q);
    for (int i = 0; i < n; ++i) x[i] += alpha * p[i], r[i] -= alpha * ap[i], z[i] -= alpha * q[i];
    err = std::sqrt(norm2(n, r) / track.b2);
    outcome = track_step(track, k, err, x_pairs);
    if (outcome != 0) break;
    apply_matrix_complex(s, z, az);
    const complex new_rho = dot_bilinear(n, z, az);
    const complex beta = new_rho / rho;
    for (int i = 0; i < n; ++i) p[i] = z[i] + beta * p[i], ap[i] = az[i] + beta * ap[i];
    rho = new_rho;
  }
  return close_track(track, outcome, k, limit, err, x_pairs);
}

} // namespace tesmora::solver_detail
