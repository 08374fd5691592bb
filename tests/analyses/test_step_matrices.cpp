// The theta-method pair and the complex matrix made from a system-matrices file, checked by
// solving one-dimensional diffusion problems with them against closed forms: the decay of a
// mode of the heat equation, and the skin effect in a conducting slab.
#include "analyses/step_matrices.hpp"
#include "equations/matrix_profile.hpp"
#include "job/block_io.hpp"
#include "job/run_files.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

namespace tesmora::testing {
namespace {

using complex = std::complex<double>;

// Linear elements on a uniform grid of `nodes` points with spacing h: the stiffness K (factor
// k) and the mass M (factor m) of a tridiagonal system, stored by its lower part in the order of
// a lower-with-diagonal profile: row 0 its diagonal, each later row its left neighbour and then
// its diagonal.
struct TRIDIAGONAL {
  int nodes = 0;
  std::vector<double> K, M;
};

TRIDIAGONAL linear_elements(int nodes, double h, bool ends_fixed) {
  TRIDIAGONAL s;
  s.nodes = nodes;
  for (int i = 0; i < nodes; ++i) {
    // With free ends the two end nodes have one element each.
    const double share = !ends_fixed && (i == 0 || i == nodes - 1) ? 0.5 : 1.0;
    if (i > 0) {
      s.K.push_back(-1.0 / h);
      s.M.push_back(h / 6.0);
    }
    s.K.push_back(share * 2.0 / h);
    s.M.push_back(share * 4.0 * h / 6.0);
  }
  return s;
}

// Writes "system_matrices": the tridiagonal profile, then the given matrices in order.
void write_system_matrices(int nodes, const std::vector<const std::vector<double> *> &matrices) {
  std::vector<std::int64_t> starts(static_cast<std::size_t>(nodes));
  std::vector<int> lengths(static_cast<std::size_t>(nodes)), columns;
  for (int i = 0; i < nodes; ++i) {
    starts[static_cast<std::size_t>(i)] = static_cast<std::int64_t>(columns.size());
    lengths[static_cast<std::size_t>(i)] = i > 0 ? 1 : 0;
    if (i > 0) columns.push_back(i); // 1-based: the row before
  }
  MATRIX_PROFILE *profile = make_matrix_profile(nodes, profile_lower_with_diagonal);
  build_profile_from_rows(profile, starts.data(), lengths.data(), columns.data());
  ASSERT_EQ(profile->size, 2 * nodes - 1);
  FFILE *file = run_files().system_matrices;
  open_ffile(file, "w");
  write_matrix_profile(file, profile);
  for (const std::vector<double> *values : matrices)
    write_blocks(values->data(), sizeof(double), values->size(), file);
  close_ffile(file);
  free_matrix_profile(&profile);
}

// y = A x for the tridiagonal lower storage.
template <typename T> std::vector<T> multiply(const std::vector<T> &A, const std::vector<T> &x) {
  const std::size_t n = x.size();
  std::vector<T> y(n, T(0));
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t d = i == 0 ? 0 : 2 * i;
    y[i] += A[d] * x[i];
    if (i > 0) {
      y[i] += A[d - 1] * x[i - 1];
      y[i - 1] += A[d - 1] * x[i];
    }
  }
  return y;
}

// Solves A x = b for the symmetric tridiagonal lower storage (Thomas' algorithm).
template <typename T> std::vector<T> solve(const std::vector<T> &A, std::vector<T> b) {
  const std::size_t n = b.size();
  std::vector<T> diagonal(n), x(n);
  for (std::size_t i = 0; i < n; ++i) {
    diagonal[i] = A[i == 0 ? 0 : 2 * i];
    if (i > 0) {
      const T l = A[2 * i - 1] / diagonal[i - 1];
      diagonal[i] -= l * A[2 * i - 1];
      b[i] -= l * b[i - 1];
    }
  }
  for (std::size_t i = n; i-- > 0;)
    x[i] = (b[i] - (i + 1 < n ? A[2 * i + 1] * x[i + 1] : T(0))) / diagonal[i];
  return x;
}

// The heat equation on (0, 1) with fixed ends, M x' + K x = 0, from the first mode sin(pi z):
// on a uniform grid that mode is an eigenvector of both matrices, so the semi-discrete solution
// is exp(-lambda t) times it with lambda the ratio of their eigenvalues, a closed form. Stepped
// to lambda t = 1 with r and t, the amplitude's error falls as delta_t^2 with theta = 0.5 and as
// delta_t with theta = 1.
TEST(StepMatrices, TheThetaPairIntegratesADecayingModeToItsOrder) {
  ScopedJobFiles files;
  const int nodes = 15;
  const double h = 1.0 / (nodes + 1);
  const TRIDIAGONAL s = linear_elements(nodes, h, true);
  write_system_matrices(nodes, {&s.K, &s.M});
  const double c = std::cos(M_PI * h);
  const double lambda = (2.0 / h) * (1.0 - c) / ((h / 6.0) * (4.0 + 2.0 * c));
  std::vector<double> mode(static_cast<std::size_t>(nodes));
  for (int i = 0; i < nodes; ++i) mode[static_cast<std::size_t>(i)] = std::sin(M_PI * (i + 1) * h);
  for (const double theta : {0.5, 1.0}) {
    SCOPED_TRACE(theta);
    std::vector<double> errors;
    for (const int steps : {8, 16, 32}) {
      const double delta_t = 1.0 / lambda / steps;
      std::vector<double> r(s.K.size()), t(s.K.size());
      make_r_t_matrices(run_files().system_matrices, theta, delta_t, r.data(), t.data());
      std::vector<double> x = mode;
      for (int n = 0; n < steps; ++n) x = solve(t, multiply(r, x));
      // The amplitude of the mode (x stays along it) against exp(-1).
      errors.push_back(std::fabs(x[7] / mode[7] - std::exp(-1.0)));
    }
    const double order = theta == 0.5 ? 4.0 : 2.0; // the error's ratio per halving of delta_t
    for (std::size_t k = 0; k + 1 < errors.size(); ++k)
      EXPECT_NEAR(errors[k] / errors[k + 1], order, 0.35 * order / 2);
    EXPECT_LT(errors.back(), theta == 0.5 ? 2e-4 : 1e-2);
  }
  // The t matrix file holds the profile and the last t made.
  FFILE *file = run_files().system_t_matrix;
  open_ffile(file, "r");
  MATRIX_PROFILE *profile = read_matrix_profile(file, nullptr);
  std::vector<double> stored(static_cast<std::size_t>(profile->size));
  ASSERT_EQ(read_blocks(stored.data(), sizeof(double), stored.size(), file), 1);
  close_ffile(file);
  const double delta_t = 1.0 / lambda / 32;
  for (std::size_t k = 0; k < stored.size(); ++k) EXPECT_DOUBLE_EQ(stored[k], s.K[k] + s.M[k] / delta_t);
  free_matrix_profile(&profile);
}

// A conducting slab -d < z < d in a tangential field B0 along x on both faces: A along y obeys
// -(1/mu0) A'' + j omega sigma A = 0 with -A' = B0 at both faces, and B_x = -A' is
// B0 cosh(k z) / cosh(k d), k = (1 + j) / delta. Solved with the complex matrix (H the stiffness
// 1/mu0, C the mass sigma), B_x at the element middles meets the closed form in amplitude and
// phase at d / delta = 0.5, 1 and 3.
TEST(StepMatrices, TheComplexMatrixGivesTheSkinEffectOfASlab) {
  ScopedJobFiles files;
  constexpr double mu0 = 4e-7 * M_PI, sigma = 3.526e7, B0 = 0.01, d = 0.01;
  const int elements = 400, nodes = elements + 1;
  const double h = 2.0 * d / elements;
  TRIDIAGONAL s = linear_elements(nodes, h, false);
  for (double &v : s.K) v /= mu0;
  for (double &v : s.M) v *= sigma;
  write_system_matrices(nodes, {&s.K, &s.M});
  for (const double ratio : {0.5, 1.0, 3.0}) {
    SCOPED_TRACE(ratio);
    const double delta = d / ratio, omega = 2.0 / (mu0 * sigma * delta * delta);
    std::vector<double> a(2 * s.K.size());
    make_complex_matrix(run_files().system_matrices, omega, 1, a.data());
    std::vector<complex> A(s.K.size());
    for (std::size_t k = 0; k < A.size(); ++k) A[k] = {a[2 * k], a[2 * k + 1]};
    std::vector<complex> load(static_cast<std::size_t>(nodes), 0.0);
    load.front() = B0 / mu0; // (1/mu0) [A' v] at the faces, with -A' = B0
    load.back() = -B0 / mu0;
    const std::vector<complex> x = solve(A, load);
    const complex k(1.0 / delta, 1.0 / delta);
    double worst = 0.0;
    for (int e = 0; e < elements; ++e) {
      const double z = -d + (e + 0.5) * h;
      const complex B = -(x[static_cast<std::size_t>(e) + 1] - x[static_cast<std::size_t>(e)]) / h;
      worst = std::max(worst, std::abs(B - B0 * std::cosh(k * z) / std::cosh(k * d)) / B0);
    }
    EXPECT_LT(worst, 1e-4); // 5e-7, 2e-6 and 2e-5 on these 400 elements
  }
}

} // namespace
} // namespace tesmora::testing
