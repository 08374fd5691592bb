// The element transformation: volumes of distorted elements against closed forms and an
// independent integration, the volume check's two messages, real-space gradients, and the
// agreement of the serial and the scratch forms.
#include "mesh/element_transform.hpp"

#include "job/report.hpp"
#include "mesh/element_test_support.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

// Exact quadrature of a polynomial det J: rounding of a few dozen terms.
constexpr double quadrature_tol = 1e-13;

double determinant(const double (*m)[3]) {
  return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
         m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
         m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

// det(dx/dxi) by central differences of element_point: exact where x is at most quadratic
// along each reference direction, as for the 8-node hexahedron and the 6-node prism.
double det_by_differences(const V_ELEMENT_TYPE &type, const NODE_TABLE &xyz, const double *p) {
  const double h = 0.25;
  double j[3][3];
  TRANSFORM_SCRATCH scratch;
  for (int c = 0; c < 3; ++c) {
    double q[3] = {p[0], p[1], p[2]}, plus[3], minus[3];
    q[c] += h;
    element_point(type, rows(xyz), q[0], q[1], q[2], plus, scratch);
    q[c] -= 2 * h;
    element_point(type, rows(xyz), q[0], q[1], q[2], minus, scratch);
    for (int r = 0; r < 3; ++r) j[r][c] = (plus[r] - minus[r]) / (2 * h);
  }
  return determinant(j);
}

struct Gauss {
  GAUSS *record = make_gauss(3, 7, 5);
  ~Gauss() { free_gauss(record); }
};

} // namespace

TEST(ElementVolume, DistortedHexahedronMatchesSimpsonIntegration) {
  Gauss gauss;
  const V_ELEMENT_TYPE &type = *find_v_element_type(0);
  std::mt19937 rng(41);
  const NODE_TABLE xyz = distorted_nodes(type, rng, 0.1);
  // det J of a trilinear map has degree <= 2 in each reference coordinate, so Simpson's
  // 3-point rule per direction (weights 1/3, 4/3, 1/3 on [-1, 1]) is exact.
  const double node[3] = {-1, 0, 1}, weight[3] = {1.0 / 3, 4.0 / 3, 1.0 / 3};
  double simpson = 0.0;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      for (int k = 0; k < 3; ++k) {
        const double p[3] = {node[i], node[j], node[k]};
        simpson += weight[i] * weight[j] * weight[k] * det_by_differences(type, xyz, p);
      }
  TRANSFORM_SCRATCH scratch;
  expect_close(element_volume(type, rows(xyz), gauss_points(type.gauss), scratch), simpson, quadrature_tol,
               0.0);
  // A parallelepiped spanned by the affine map's columns: 8 |det A| with det A = 1.3*(0.88
  // + 0.025) - 0.4*(-0.33 - 0.05) - 0.2*(0.03 - 0.16) = 1.1765 + 0.152 + 0.026 = 1.3545.
  expect_close(element_volume(type, rows(affine_nodes(type)), gauss_points(type.gauss), scratch), 8 * 1.3545,
               quadrature_tol, 0.0);
}

TEST(ElementVolume, DistortedPrismMatchesIndependentIntegration) {
  Gauss gauss;
  const V_ELEMENT_TYPE &type = *find_v_element_type(4);
  std::mt19937 rng(43);
  const NODE_TABLE xyz = distorted_nodes(type, rng, 0.1);
  // det J has degree <= 2 in zeta and <= 2 in (xi, eta): the triangle's edge-midpoint rule
  // (weights 1/6) times Simpson in zeta is exact.
  const double mids[3][2] = {{0.5, 0.0}, {0.5, 0.5}, {0.0, 0.5}};
  const double node[3] = {-1, 0, 1}, weight[3] = {1.0 / 3, 4.0 / 3, 1.0 / 3};
  double reference = 0.0;
  for (const auto &m : mids)
    for (int k = 0; k < 3; ++k) {
      const double p[3] = {m[0], m[1], node[k]};
      reference += weight[k] / 6.0 * det_by_differences(type, xyz, p);
    }
  TRANSFORM_SCRATCH scratch;
  expect_close(element_volume(type, rows(xyz), gauss_points(type.gauss), scratch), reference, quadrature_tol,
               0.0);
}

TEST(ElementVolume, TetrahedronAndPyramidMatchClosedForms) {
  Gauss gauss;
  TRANSFORM_SCRATCH scratch;
  // Tetrahedron: |det(p2 - p1, p3 - p1, p4 - p1)|/6; also with straight-sided mid nodes.
  const NODE_TABLE corners = {{0.1, 0.2, 0.0}, {1.3, -0.1, 0.2}, {0.4, 1.1, -0.1}, {0.2, 0.3, 0.9}};
  double edges[3][3];
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) edges[r][c] = corners[r + 1][c] - corners[0][c];
  const double tetra_volume = determinant(edges) / 6.0;
  const V_ELEMENT_TYPE &tetra4 = *find_v_element_type(6);
  expect_close(element_volume(tetra4, rows(corners), gauss_points(tetra4.gauss), scratch), tetra_volume,
               quadrature_tol, 0.0);
  const int pairs[6][2] = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {2, 3}, {3, 1}};
  NODE_TABLE ten = corners;
  for (const auto &p : pairs)
    ten.push_back({(corners[p[0]][0] + corners[p[1]][0]) / 2, (corners[p[0]][1] + corners[p[1]][1]) / 2,
                   (corners[p[0]][2] + corners[p[1]][2]) / 2});
  const V_ELEMENT_TYPE &tetra10 = *find_v_element_type(7);
  expect_close(element_volume(tetra10, rows(ten), gauss_points(tetra10.gauss), scratch), tetra_volume,
               quadrature_tol, 0.0);
  // Pyramid over a planar trapezoid at z = 0 (corners (-1,-1), (1.5,-1), (0.8,1), (-1,1): area
  // (2.5 + 1.8)/2 * 2 = 4.3) with a leaning apex at height 1.5: volume 4.3 * 1.5 / 3 = 2.15.
  const NODE_TABLE pyramid = {{0.3, -0.2, 1.5}, {-1, -1, 0}, {1.5, -1, 0}, {0.8, 1, 0}, {-1, 1, 0}};
  const V_ELEMENT_TYPE &pyramid5 = *find_v_element_type(10);
  expect_close(element_volume(pyramid5, rows(pyramid), gauss_points(pyramid5.gauss), scratch), 2.15,
               quadrature_tol, 0.0);
}

TEST(ElementVolume, InvertedAndFlatElementsStopTheJob) {
  const V_ELEMENT_TYPE &type = *find_v_element_type(0);
  const int ids[8] = {11, 12, 13, 14, 15, 16, 17, 18};
  // The unit cube with top and bottom exchanged: negative det J everywhere.
  const NODE_TABLE inverted = {{0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1},
                               {0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
  CHILD_JOB child = run_job_in_child([&] {
    make_gauss(3, 7, 5);
    TRANSFORM_SCRATCH scratch;
    check_element_volume(7, 3, type, rows(inverted), ids, scratch);
  });
  const std::string negative =
      "**** Volume of the element No. 7:(0.500000, 0.500000, 0.500000) is negative in "
      "Material ID = 3. ****\n Node IDs =   11   12   13   14   15   16   17   18\n";
  EXPECT_EQ(child.exit_status, 1);
  EXPECT_NE(child.check.find(negative), std::string::npos) << child.check;
  EXPECT_NE(child.error.find(negative), std::string::npos) << child.error;
  // All nodes in the plane z = 0: det J is exactly 0.
  const NODE_TABLE flat = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                           {0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
  child = run_job_in_child([&] {
    make_gauss(3, 7, 5);
    TRANSFORM_SCRATCH scratch;
    check_element_volume(9, 1, type, rows(flat), ids, scratch);
  });
  EXPECT_EQ(child.exit_status, 1);
  EXPECT_NE(
      child.check.find("**** Volume of the element No. 9:(0.500000, 0.500000, 0.000000) is zero in Material "
                       "ID = 1. ****\n Node IDs =   11"),
      std::string::npos)
      << child.check;
}

TEST(ElementVolume, PositiveVolumePassesTheCheck) {
  Gauss gauss;
  const V_ELEMENT_TYPE &type = *find_v_element_type(0);
  const int ids[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  TRANSFORM_SCRATCH scratch;
  expect_close(check_element_volume(1, 1, type, rows(reference_nodes(type)), ids, scratch), 8.0,
               quadrature_tol, 0.0);
}

// Real-space gradients of the shape functions on bent elements: the change of N_i between two
// nearby reference points equals grad N_i . (x(p + h d) - x(p - h d)) to second order in h.
TEST(ElementTransform, NodeGradientsMatchDifferencesInRealSpace) {
  std::mt19937 rng(47);
  for (const V_ELEMENT_TYPE &type : v_element_types()) {
    SCOPED_TRACE(type_label(type));
    const NODE_TABLE xyz = distorted_nodes(type, rng, 0.05);
    TRANSFORM_SCRATCH scratch;
    double inverse[3][3], gradients[max_element_nodes][3], plus[max_element_nodes], minus[max_element_nodes];
    for (int k = 0; k < 4; ++k) {
      const POINT_3D p = random_reference_point(type, rng);
      element_transform_nodes(type, rows(xyz), p[0], p[1], p[2], inverse, gradients, scratch);
      const double h = 1e-5, d[3] = {0.3, -0.5, 0.7};
      double xp[3], xm[3];
      element_point(type, rows(xyz), p[0] + h * d[0], p[1] + h * d[1], p[2] + h * d[2], xp, scratch);
      type.shape_function(p[0] + h * d[0], p[1] + h * d[1], p[2] + h * d[2], plus);
      element_point(type, rows(xyz), p[0] - h * d[0], p[1] - h * d[1], p[2] - h * d[2], xm, scratch);
      type.shape_function(p[0] - h * d[0], p[1] - h * d[1], p[2] - h * d[2], minus);
      for (int i = 0; i < type.no_nodes; ++i) {
        const double predicted = gradients[i][0] * (xp[0] - xm[0]) + gradients[i][1] * (xp[1] - xm[1]) +
                                 gradients[i][2] * (xp[2] - xm[2]);
        // Second-order differences over 2h = 2e-5: errors ~h^2 and rounding ~1e-16.
        expect_close(predicted, plus[i] - minus[i], 1e-7, 1e-11);
      }
    }
  }
}

// A scratch carries nothing from one call to the next: a fresh one and one just used on another
// element give the same transform, which is what lets each thread of a loop keep its own.
TEST(ElementTransform, AScratchCarriesNothingBetweenCalls) {
  const V_ELEMENT_TYPE &type = *find_v_element_type(2);
  std::mt19937 rng(53);
  const NODE_TABLE xyz = distorted_nodes(type, rng, 0.05);
  const NODE_TABLE other = distorted_nodes(type, rng, 0.05);
  TRANSFORM_SCRATCH fresh, used;
  double a[3][3], b[3][3];
  element_transform(type, rows(other), -0.2, 0.5, 0.1, b, used);
  const double det_fresh = element_transform(type, rows(xyz), 0.1, -0.3, 0.4, a, fresh);
  const double det_used = element_transform(type, rows(xyz), 0.1, -0.3, 0.4, b, used);
  EXPECT_EQ(det_fresh, det_used);
  EXPECT_EQ(used.jacobian, det_used);
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) EXPECT_EQ(a[r][c], b[r][c]);
  // inverse times J is the identity (rounding).
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) {
      double sum = 0.0;
      for (int k = 0; k < 3; ++k) sum += a[r][k] * fresh.jacobian_matrix[k][c];
      expect_close(sum, r == c ? 1.0 : 0.0, 0.0, 1e-14);
    }
}

TEST(ElementTransform, RealVectorAtMultipliesRowsByTheMatrix) {
  const double v[2][3] = {{1, 2, 3}, {0, -1, 0.5}};
  const double m[3][3] = {{1, 0, 2}, {0, 1, 0}, {1, 1, 1}};
  double out[2][3];
  real_vector_at(2, v, m, out);
  // (1,2,3) M = (1 + 3, 2 + 3, 2 + 3); (0,-1,0.5) M = (0.5, -1 + 0.5, 0.5).
  EXPECT_EQ(out[0][0], 4.0);
  EXPECT_EQ(out[0][1], 5.0);
  EXPECT_EQ(out[0][2], 5.0);
  EXPECT_EQ(out[1][0], 0.5);
  EXPECT_EQ(out[1][1], -0.5);
  EXPECT_EQ(out[1][2], 0.5);
}
