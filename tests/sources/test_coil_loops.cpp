// Circular coils and arcs against closed forms and Biot-Savart sums written here: the axial
// field, filament and rectangular-section loops off the axis, arcs that make up a loop.
#include "coil_test_helpers.hpp"
#include "sources/coil_element.hpp"
#include "sources/coil_kernels.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>

using namespace tesmora;
using namespace tesmora::testing;
using namespace coil_test;

namespace {

const COIL_OPTIONS options;

void expect_vector(const double *actual, const double *expected, double rel, double abs_scale) {
  for (int i = 0; i < 3; ++i) expect_close(actual[i], expected[i], rel, abs_scale);
}

} // namespace

TEST(CoilLoops, EllipticIntegralsByMeanAndPolynomials) {
  // K(1/2) = 1.8540746773013719, E(1/2) = 1.3506438810476755 (A&S table 17.1); the test's own
  // mean agrees to rounding, the polynomials to their stated 2e-8.
  double K = 0.0, E = 0.0;
  elliptic_KE_exact(0.5, K, E);
  expect_close(K, 1.8540746773013719, 1e-14, 0.0);
  expect_close(E, 1.3506438810476755, 1e-14, 0.0);
  for (double m : {0.01, 0.3, 0.7, 0.99, 0.999999}) {
    SCOPED_TRACE(m);
    double Kr = 0.0, Er = 0.0;
    agm_KE(m, Kr, Er);
    ASSERT_TRUE(elliptic_KE_approx(m, K, E));
    expect_close(K, Kr, 0.0, 2e-8);
    expect_close(E, Er, 0.0, 2e-8);
  }
  EXPECT_FALSE(elliptic_KE_approx(1.0, K, E));
}

TEST(CoilLoops, AxialFieldOfFilamentAndSection) {
  // mu0 I a^2 / (2 (a^2 + z^2)^(3/2)) on the axis; 1e-10 relative holds: pi is taken to 13
  // digits in the closed form.
  const double a = 0.3, I = 250.0;
  auto loop = make_coil_element(element_data(COIL_KIND::LOOP, I, {a, 0.1, 0.0, 0.0}));
  for (double z : {-1.0, 0.1, 0.25, 3.0}) {
    const double p[3] = {0.0, 0.0, z};
    double B[3];
    loop->B(p, options, B);
    const double dz = z - 0.1;
    const double expected = 4e-7 * M_PI * I * a * a / (2.0 * std::pow(a * a + dz * dz, 1.5));
    expect_close(B[2], expected, 1e-10, 0.0);
    EXPECT_EQ(B[0], 0.0);
  }
  // A thin section: the solenoid formula, against the sum of filaments of the section by a
  // 24-point Gauss rule in each direction (smooth integrand, rounding-level accuracy).
  const double w = 0.02, h = 0.04;
  auto section = make_coil_element(element_data(COIL_KIND::LOOP, I, {a, 0.0, w, h}));
  const double p[3] = {0.0, 0.0, 0.07};
  double B[3];
  section->B(p, options, B);
  std::vector<double> x, g;
  legendre_rule(24, x, g);
  double sum = 0.0;
  for (int i = 0; i < 24; ++i)
    for (int j = 0; j < 24; ++j) {
      const double r = a + 0.5 * w * x[i], dz = 0.07 - 0.5 * h * x[j];
      sum += 0.25 * g[i] * g[j] * 4e-7 * M_PI * I * r * r / (2.0 * std::pow(r * r + dz * dz, 1.5));
    }
  expect_close(B[2], sum, 1e-12, 0.0);
}

TEST(CoilLoops, FilamentOffAxisAgreesWithBiotSavart) {
  const double a = 0.5, z0 = 0.2, I = 1000.0;
  auto loop = make_coil_element(element_data(COIL_KIND::LOOP, I, {a, z0, 0.0, 0.0}));
  // Near the wire, at its radius in its plane, near the axis, and far away.
  const double points[][3] = {{0.51, 0.0, 0.2}, {0.3, 0.4, 0.201}, {0.01, 0.02, -0.3},
                              {0.2, -0.1, 0.9}, {12.0, 5.0, 7.0},  {0.35, 0.35, 0.2}};
  for (const auto &p : points) {
    SCOPED_TRACE(p[0]);
    const std::vector<double> ref = loop_biot_savart(a, z0, I, p, 1e-13);
    double A[3], B[3];
    loop->A(p, options, A);
    loop->B(p, options, B);
    // The elliptic integrals come from the mean (rounding) or their series; the reference sum
    // converges to 1e-13, so 1e-9 relative to the vector's size covers both.
    const double A_size = std::hypot(ref[0], ref[1], ref[2]);
    const double B_size = std::hypot(ref[3], ref[4], ref[5]);
    expect_vector(A, ref.data(), 1e-9, 1e-9 * A_size);
    expect_vector(B, ref.data() + 3, 1e-9, 1e-9 * B_size);
  }
}

TEST(CoilLoops, RectangularSectionAgreesWithVolumeIntegral) {
  const double a = 0.4, z0 = 0.0, I = 500.0, w = 0.05, h = 0.08;
  auto loop = make_coil_element(element_data(COIL_KIND::LOOP, I, {a, z0, w, h}));
  // Beside the section, close to a corner, above it, inside the bore and far away.
  const double points[][3] = {
      {0.45, 0.0, 0.0}, {0.3, 0.2, 0.05}, {0.1, 0.05, 0.06}, {0.0, 0.3, -0.2}, {3.0, 1.0, 2.0}};
  std::vector<double> x, g;
  legendre_rule(16, x, g);
  for (const auto &p : points) {
    SCOPED_TRACE(p[0]);
    // The section as 16 x 16 Gauss filaments, each summed round the circle.
    double ref[6] = {};
    for (int i = 0; i < 16; ++i)
      for (int j = 0; j < 16; ++j) {
        const std::vector<double> f =
            loop_biot_savart(a + 0.5 * w * x[i], z0 + 0.5 * h * x[j], I * 0.25 * g[i] * g[j], p, 1e-12);
        for (int c = 0; c < 6; ++c) ref[c] += f[c];
      }
    double A[3], B[3];
    loop->A(p, options, A);
    loop->B(p, options, B);
    // The adaptive rule works to 1e-6 of the largest component; 16 Gauss points resolve the
    // section to about 1e-8 at these distances (nearest is 0.025 m off, a half width).
    expect_vector(A, ref, 2e-6, 2e-6 * std::hypot(ref[0], ref[1], ref[2]));
    expect_vector(B, ref + 3, 2e-6, 2e-6 * std::hypot(ref[3], ref[4], ref[5]));
  }
}

TEST(CoilLoops, FourArcsMakeTheLoop) {
  // Four quarter arcs (filament and section) add up to the loop of the same shape; the arcs
  // turned by ALPHA about z still give it. Adaptive tolerance 1e-6.
  const double a = 0.4, w = 0.05, h = 0.08, I = 300.0;
  for (bool section : {false, true}) {
    SCOPED_TRACE(section);
    auto loop =
        make_coil_element(element_data(COIL_KIND::LOOP, I, {a, 0.1, section ? w : 0.0, section ? h : 0.0}));
    const double p[3] = {0.2, 0.5, 0.3};
    double A_sum[3] = {}, B_sum[3] = {};
    for (int k = 0; k < 4; ++k) {
      const double alpha = 30.0;
      const double phi1 = 90.0 * k - alpha;
      auto arc = section ? make_coil_element(element_data(COIL_KIND::ARC, I,
                                                          {0, 0, 0.1, a, h, w, alpha, 0, phi1, phi1 + 90.0}))
                         : make_coil_element(
                               element_data(COIL_KIND::FARC, I, {0, 0, 0.1, a, alpha, 0, phi1, phi1 + 90.0}));
      double A[3], B[3];
      arc->A(p, options, A);
      arc->B(p, options, B);
      for (int i = 0; i < 3; ++i) {
        A_sum[i] += A[i];
        B_sum[i] += B[i];
      }
    }
    double A[3], B[3];
    loop->A(p, options, A);
    loop->B(p, options, B);
    expect_vector(A_sum, A, 3e-6, 3e-6 * std::hypot(A[0], A[1], A[2]));
    expect_vector(B_sum, B, 3e-6, 3e-6 * std::hypot(B[0], B[1], B[2]));
  }
}

TEST(CoilLoops, TiltedArcIsTheTurnedArc) {
  // An arc with its axis along x (BETA = 90) is the arc about z seen in turned axes:
  // (x, y, z) of the tilted frame is (z', y', -x') of the plain one.
  const double I = 100.0;
  auto plain = make_coil_element(element_data(COIL_KIND::FARC, I, {0, 0, 0, 0.5, 0, 0, 10, 200}));
  auto tilted = make_coil_element(element_data(COIL_KIND::FARC, I, {0, 0, 0, 0.5, 0, 90, 10, 200}));
  const double p[3] = {0.3, -0.2, 0.4};
  const double q[3] = {-p[2], p[1], p[0]}; // the point in the plain arc's axes
  double Bt[3], Bp[3];
  tilted->B(p, options, Bt);
  plain->B(q, options, Bp);
  const double back[3] = {Bp[2], Bp[1], -Bp[0]};
  expect_vector(Bt, back, 1e-9, 1e-9 * std::hypot(Bp[0], Bp[1], Bp[2]));
}
