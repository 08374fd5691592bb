// Gauss point sets: point counts and weight sums of the default set, and exact integration of
// every monomial up to the degree each rule claims, against closed-form integrals.
#include "mesh/gauss.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

using namespace tesmora;
using tesmora::testing::expect_close;

namespace {

double factorial(int n) { return n <= 1 ? 1.0 : n * factorial(n - 1); }

// Integral of x^a over [-1, 1], and of x^a over [-q, q] divided by q^(a+1).
double line_integral(int a) { return a % 2 ? 0.0 : 2.0 / (a + 1); }
// Integral of x^a y^b over the unit triangle and of x^a y^b z^c over the unit tetrahedron.
double triangle_integral(int a, int b) { return factorial(a) * factorial(b) / factorial(a + b + 2); }
double tetra_integral(int a, int b, int c) {
  return factorial(a) * factorial(b) * factorial(c) / factorial(a + b + c + 3);
}
// Integral over the pyramid with base [-1, 1]^2 at zeta = 0 and apex (0, 0, 1): the square at
// height zeta has half side q = 1 - zeta, giving integral of zeta^c q^(a+b+2) I(a) I(b).
double pyramid_integral(int a, int b, int c) {
  const int p = a + b + 2;
  return line_integral(a) * line_integral(b) * factorial(c) * factorial(p) / factorial(c + p + 1);
}

double sum_monomial(const GAUSS_POINTS &set, int a, int b, int c) {
  double sum = 0.0;
  for (int k = 0; k < set.no_points; ++k) {
    double v = set.w[k] * std::pow(set.p[0][k], a);
    if (set.no_dimensions > 1) v *= std::pow(set.p[1][k], b);
    if (set.no_dimensions > 2) v *= std::pow(set.p[2][k], c);
    sum += v;
  }
  return sum;
}

double weight_sum(const GAUSS_POINTS &set) { return sum_monomial(set, 0, 0, 0); }

} // namespace

TEST(GaussPoints, DefaultSetHasTheListedCountsAndWeights) {
  GAUSS *g = make_gauss(3, 7, 5);
  EXPECT_EQ(g->line.no_points, 3);
  EXPECT_EQ(g->quadrilateral.no_points, 9);
  EXPECT_EQ(g->triangle.no_points, 7);
  EXPECT_EQ(g->hexahedron.no_points, 27);
  EXPECT_EQ(g->prism.no_points, 21);
  EXPECT_EQ(g->tetrahedron.no_points, 5);
  EXPECT_EQ(g->pyramid.no_points, 27);
  // Weight sums are the measures 2, 4, 1/2, 8, 1, 1/6, 4/3; the triangle weights are given to
  // 16 digits, so a few units of 1e-16 times the sum.
  expect_close(weight_sum(g->line), 2.0, 1e-14, 0.0);
  expect_close(weight_sum(g->quadrilateral), 4.0, 1e-14, 0.0);
  expect_close(weight_sum(g->triangle), 0.5, 1e-14, 0.0);
  expect_close(weight_sum(g->hexahedron), 8.0, 1e-14, 0.0);
  expect_close(weight_sum(g->prism), 1.0, 1e-14, 0.0);
  expect_close(weight_sum(g->tetrahedron), 1.0 / 6.0, 1e-14, 0.0);
  expect_close(weight_sum(g->pyramid), 4.0 / 3.0, 1e-14, 0.0);
  // The slots point at the active record's sets, in their own order.
  EXPECT_EQ(active_gauss(), g);
  EXPECT_EQ(gauus_pointer()[GAUSS_HEXAHEDRON], &g->hexahedron);
  EXPECT_EQ(gauus_pointer()[GAUSS_TRIANGLE], &g->triangle);
  EXPECT_EQ(&gauss_points(GAUSS_PYRAMID), &g->pyramid);
  free_gauss(g);
  EXPECT_EQ(gauus_pointer()[GAUSS_LINE], nullptr);
}

TEST(GaussPoints, MidpointTriangleRuleGivesPrismThreePointsPerLinePoint) {
  GAUSS *g = make_gauss(4, -3, 1);
  EXPECT_EQ(g->triangle.no_points, 3);
  EXPECT_EQ(g->prism.no_points, 12);
  free_gauss(g);
}

// Rounding of sums of up to 12^3 products of 16-digit values; the published triangle data of
// rules 6 and 12 carry 15 digits, hence 1e-13.
constexpr double exact_rel = 1e-13;
constexpr double exact_abs = 1e-13;

TEST(GaussPoints, TensorAndCollapsedRulesAreExactToTheirDegree) {
  for (int n = 1; n <= 12; ++n) {
    SCOPED_TRACE("line order " + std::to_string(n));
    GAUSS *g = make_gauss(n, 1, 1);
    const int degree = 2 * n - 1;
    for (int a = 0; a <= degree; ++a) {
      expect_close(sum_monomial(g->line, a, 0, 0), line_integral(a), exact_rel, exact_abs);
      for (int b = 0; b <= degree; b += 3) {
        expect_close(sum_monomial(g->quadrilateral, a, b, 0), line_integral(a) * line_integral(b), exact_rel,
                     exact_abs);
        expect_close(sum_monomial(g->hexahedron, a, b, degree - a),
                     line_integral(a) * line_integral(b) * line_integral(degree - a), exact_rel, exact_abs);
      }
    }
    // The collapse raises the degree in zeta by 2, so total degree 2n - 3 is exact.
    for (int a = 0; a <= degree - 2; ++a)
      for (int b = 0; a + b <= degree - 2; ++b)
        for (int c = 0; a + b + c <= degree - 2; ++c)
          expect_close(sum_monomial(g->pyramid, a, b, c), pyramid_integral(a, b, c), exact_rel, exact_abs);
    free_gauss(g);
  }
}

TEST(GaussPoints, TriangleTetrahedronAndPrismRulesAreExactToTheirDegree) {
  const int triangle_rules[7][2] = {{-3, 2}, {1, 1}, {3, 2}, {4, 3}, {6, 4}, {7, 5}, {12, 6}};
  const int tetra_rules[3][2] = {{1, 1}, {4, 2}, {5, 3}};
  for (const auto &rule : triangle_rules) {
    SCOPED_TRACE("triangle rule " + std::to_string(rule[0]));
    GAUSS *g = make_gauss(3, rule[0], 1);
    for (int a = 0; a <= rule[1]; ++a)
      for (int b = 0; a + b <= rule[1]; ++b) {
        expect_close(sum_monomial(g->triangle, a, b, 0), triangle_integral(a, b), exact_rel, exact_abs);
        for (int c = 0; c <= 5; ++c) // 3 line points: exact to degree 5 in zeta
          expect_close(sum_monomial(g->prism, a, b, c), triangle_integral(a, b) * line_integral(c), exact_rel,
                       exact_abs);
      }
    free_gauss(g);
  }
  for (const auto &rule : tetra_rules) {
    SCOPED_TRACE("tetrahedron rule " + std::to_string(rule[0]));
    GAUSS *g = make_gauss(3, 7, rule[0]);
    for (int a = 0; a <= rule[1]; ++a)
      for (int b = 0; a + b <= rule[1]; ++b)
        for (int c = 0; a + b + c <= rule[1]; ++c)
          expect_close(sum_monomial(g->tetrahedron, a, b, c), tetra_integral(a, b, c), exact_rel, exact_abs);
    free_gauss(g);
  }
}

TEST(GaussPoints, LineSetForLineIntegrals) {
  GAUSS_POINTS *set = make_line_gauss(5);
  ASSERT_EQ(set->no_points, 5);
  EXPECT_EQ(set->no_dimensions, 1);
  // Exact for degree 9: the integral of x^8 over [-1, 1] is 2/9.
  expect_close(sum_monomial(*set, 8, 0, 0), 2.0 / 9.0, exact_rel, exact_abs);
  free_gauss_points(set);
}
