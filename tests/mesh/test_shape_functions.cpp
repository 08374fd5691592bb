// Shape functions of every volume and surface type: the Kronecker property at the nodes, the
// partition of unity, the 13-node pyramid's constant N1, and analytic derivatives against
// central differences.
#include "mesh/element_catalogue.hpp"

#include "mesh/element_test_support.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <random>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

bool is_pyramid13(const V_ELEMENT_TYPE &type) { return type.no_nodes == 13; }

// Node values are products of a few exact binary fractions: rounding only.
constexpr double node_tol = 1e-14;
// Central differences with step h = 1e-5 on quadratics and rationals: error ~h^2 times third
// derivatives of order 1, plus rounding ~1e-16/h.
constexpr double fd_step = 1e-5;
constexpr double fd_tol = 1e-8;

class VolumeTypes : public ::testing::TestWithParam<int> {};
class SurfaceTypes : public ::testing::TestWithParam<int> {};

} // namespace

TEST_P(VolumeTypes, KroneckerAtNodesAndPartitionOfUnity) {
  const V_ELEMENT_TYPE &type = *find_v_element_type(GetParam());
  SCOPED_TRACE(type_label(type));
  double n[max_element_nodes];
  if (!is_pyramid13(type)) {
    for (int i = 0; i < type.no_nodes; ++i) {
      const POINT_3D &p = type.node_coordinates[i];
      type.shape_function(p[0], p[1], p[2], n);
      for (int j = 0; j < type.no_nodes; ++j) expect_close(n[j], i == j ? 1.0 : 0.0, 0.0, node_tol);
    }
  }
  std::mt19937 rng(11);
  for (int k = 0; k < 20; ++k) {
    const POINT_3D p = random_reference_point(type, rng);
    type.shape_function(p[0], p[1], p[2], n);
    double sum = 0.0;
    for (int j = 0; j < type.no_nodes; ++j) sum += n[j];
    if (is_pyramid13(type)) {
      // N1 is the constant 1 at every point; the rest are not a partition of unity.
      EXPECT_EQ(n[0], 1.0);
    } else {
      expect_close(sum, 1.0, 0.0, node_tol);
    }
  }
}

TEST(ShapeFunctions, Pyramid13KeepsItsConstantApexFunction) {
  const V_ELEMENT_TYPE &type = *find_v_element_type(12);
  double n[13];
  // N1 is 1 everywhere, also at the apex and on the base; N2 to N13 vanish at the apex.
  type.shape_function(0.0, 0.0, 1.0, n);
  EXPECT_EQ(n[0], 1.0);
  for (int j = 1; j < 13; ++j) EXPECT_EQ(n[j], 0.0);
  // On the base N2 to N9 are the serendipity functions of the 8-node square and N10 to N13 vanish,
  // so N2 to N13 are Kronecker at the base nodes.
  for (int i = 1; i < 9; ++i) {
    const POINT_3D &p = type.node_coordinates[i];
    type.shape_function(p[0], p[1], p[2], n);
    EXPECT_EQ(n[0], 1.0);
    for (int j = 1; j < 13; ++j) expect_close(n[j], i == j ? 1.0 : 0.0, 0.0, node_tol);
  }
  // The linear pyramid has no division at the apex either.
  const V_ELEMENT_TYPE &linear = *find_v_element_type(10);
  linear.shape_function(0.0, 0.0, 1.0, n);
  EXPECT_EQ(n[0], 1.0);
  for (int j = 1; j < 5; ++j) EXPECT_EQ(n[j], 0.0);
}

TEST(ShapeFunctions, Hexa8AtCentreIsOneEighth) {
  double n[8];
  find_v_element_type(0)->shape_function(0.0, 0.0, 0.0, n);
  for (double v : n) EXPECT_EQ(v, 0.125);
}

TEST_P(VolumeTypes, DerivativesMatchCentralDifferences) {
  const V_ELEMENT_TYPE &type = *find_v_element_type(GetParam());
  SCOPED_TRACE(type_label(type));
  std::mt19937 rng(5);
  double analytic[max_element_nodes][3], plus[max_element_nodes], minus[max_element_nodes];
  for (int k = 0; k < 10; ++k) {
    const POINT_3D p = random_reference_point(type, rng);
    type.shape_derivatives(p[0], p[1], p[2], analytic);
    for (int d = 0; d < 3; ++d) {
      POINT_3D a = p, b = p;
      a[d] += fd_step;
      b[d] -= fd_step;
      type.shape_function(a[0], a[1], a[2], plus);
      type.shape_function(b[0], b[1], b[2], minus);
      for (int i = 0; i < type.no_nodes; ++i)
        expect_close(analytic[i][d], (plus[i] - minus[i]) / (2 * fd_step), fd_tol, fd_tol);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllVolumeTypes, VolumeTypes, ::testing::Range(0, no_v_element_types));

TEST_P(SurfaceTypes, KroneckerPartitionAndDerivatives) {
  const S_ELEMENT_TYPE &type = *find_s_element_type(GetParam());
  SCOPED_TRACE(type.name);
  double n[max_face_nodes], plus[max_face_nodes], minus[max_face_nodes], analytic[max_face_nodes][2];
  for (int i = 0; i < type.no_nodes; ++i) {
    type.shape_function(type.node_coordinates[i][0], type.node_coordinates[i][1], n);
    for (int j = 0; j < type.no_nodes; ++j) expect_close(n[j], i == j ? 1.0 : 0.0, 0.0, node_tol);
  }
  const bool quad = type.no_corners == 4;
  std::mt19937 rng(3);
  std::uniform_real_distribution<double> unit(0.02, 0.98);
  for (int k = 0; k < 10; ++k) {
    double a = unit(rng), b = unit(rng);
    if (quad)
      a = 2 * a - 1, b = 2 * b - 1;
    else if (a + b > 1.0)
      a = 1.0 - a, b = 1.0 - b;
    type.shape_function(a, b, n);
    double sum = 0.0;
    for (int j = 0; j < type.no_nodes; ++j) sum += n[j];
    expect_close(sum, 1.0, 0.0, node_tol);
    type.shape_derivatives(a, b, analytic);
    for (int d = 0; d < 2; ++d) {
      type.shape_function(a + (d == 0 ? fd_step : 0), b + (d == 1 ? fd_step : 0), plus);
      type.shape_function(a - (d == 0 ? fd_step : 0), b - (d == 1 ? fd_step : 0), minus);
      for (int i = 0; i < type.no_nodes; ++i)
        expect_close(analytic[i][d], (plus[i] - minus[i]) / (2 * fd_step), fd_tol, fd_tol);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllSurfaceTypes, SurfaceTypes, ::testing::Range(0, no_s_element_types));
