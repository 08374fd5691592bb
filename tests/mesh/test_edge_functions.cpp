// Edge functions of every volume and surface type: exact curls against central differences
// (reference and bent elements), the Kronecker property of the line integrals, tangential
// continuity across a shared face, and exact representation of constant and linear fields.
#include "mesh/element_catalogue.hpp"
#include "mesh/element_transform.hpp"

#include "mesh/element_test_support.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <random>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

// Central differences, step 1e-5: truncation ~h^2 = 1e-10 times third derivatives of order
// 1-10 on the bent elements, plus rounding 1e-16/h; 1e-7 leaves a margin of 100.
constexpr double fd_step = 1e-5;
constexpr double fd_tol = 1e-7;
// Composite Gauss on integrands that are polynomials of degree <= 3 along a straight reference
// edge (exact), or smooth rationals on bent elements: error far below 1e-9.
constexpr double line_tol = 1e-9;
// Quantities formed by a few dozen products of order-1 numbers: rounding.
constexpr double rounding_tol = 1e-12;

const double identity[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};

class EdgeTypes : public ::testing::TestWithParam<int> {};

void curl_by_differences(const V_ELEMENT_TYPE &type, const NODE_TABLE *xyz, const POINT_3D &p,
                         double (*out)[3]) {
  // dE/dx_m = sum_k dE/dxi_k (J^-1)[k][m]; on the reference element J = I.
  double values[2][max_element_edges][3], inverse[3][3], g[3][3];
  double derivative[max_element_edges][3][3] = {}; // [edge][component][x_m]
  TRANSFORM_SCRATCH scratch;
  if (xyz) element_transform(type, rows(*xyz), p[0], p[1], p[2], g, scratch);
  for (int k = 0; k < 3; ++k) {
    for (int side = 0; side < 2; ++side) {
      POINT_3D q = p;
      q[k] += side == 0 ? fd_step : -fd_step;
      if (xyz) element_transform(type, rows(*xyz), q[0], q[1], q[2], inverse, scratch);
      type.edge_function(q[0], q[1], q[2], xyz ? inverse : identity, values[side]);
    }
    for (int e = 0; e < type.no_edges; ++e)
      for (int c = 0; c < 3; ++c)
        for (int m = 0; m < 3; ++m)
          derivative[e][c][m] +=
              (values[0][e][c] - values[1][e][c]) / (2 * fd_step) * (xyz ? g[k][m] : identity[k][m]);
  }
  for (int e = 0; e < type.no_edges; ++e) {
    out[e][0] = derivative[e][2][1] - derivative[e][1][2];
    out[e][1] = derivative[e][0][2] - derivative[e][2][0];
    out[e][2] = derivative[e][1][0] - derivative[e][0][1];
  }
}

} // namespace

TEST_P(EdgeTypes, CurlsMatchCentralDifferencesOnReferenceAndBentElements) {
  const V_ELEMENT_TYPE &type = *find_v_element_type(GetParam());
  SCOPED_TRACE(type_label(type));
  std::mt19937 rng(17);
  const NODE_TABLE bent = distorted_nodes(type, rng, 0.03);
  double analytic[max_element_edges][3], numeric[max_element_edges][3], g[3][3];
  TRANSFORM_SCRATCH scratch;
  for (int k = 0; k < 6; ++k) {
    const POINT_3D p = random_reference_point(type, rng);
    type.edge_curl(p[0], p[1], p[2], identity, analytic);
    curl_by_differences(type, nullptr, p, numeric);
    for (int e = 0; e < type.no_edges; ++e)
      for (int c = 0; c < 3; ++c) expect_close(analytic[e][c], numeric[e][c], fd_tol, fd_tol);
    // The 13-node pyramid's geometry is not an interpolant of its nodes (constant N1), and a
    // bent one is too close to singular for differences; its reference curls are checked above.
    if (type.no_nodes == 13 && type.gauss == GAUSS_PYRAMID) continue;
    element_transform(type, rows(bent), p[0], p[1], p[2], g, scratch);
    type.edge_curl(p[0], p[1], p[2], g, analytic);
    curl_by_differences(type, &bent, p, numeric);
    for (int e = 0; e < type.no_edges; ++e)
      for (int c = 0; c < 3; ++c) expect_close(analytic[e][c], numeric[e][c], fd_tol, fd_tol);
  }
}

// The line integral of function e along edge f is 1 for e = f and 0 otherwise (first order);
// for the second-order families the integral along the function's own edge is 1, except for
// the simplex edges between two mid nodes: 4 l_c W_ab from mid(a, c) to mid(c, b) has l_c = 1/2
// and W_ab . t = (l_a + l_b)/2 = 1/4 along it, so its integral is 4 * 1/2 * 1/4 = 1/2.
TEST_P(EdgeTypes, LineIntegralsAlongTheEdges) {
  const V_ELEMENT_TYPE &type = *find_v_element_type(GetParam());
  SCOPED_TRACE(type_label(type));
  std::mt19937 rng(23);
  const NODE_TABLE elements[2] = {reference_nodes(type), distorted_nodes(type, rng, 0.05)};
  for (const NODE_TABLE &xyz : elements) {
    for (int f = 0; f < type.no_edges; ++f) {
      const POINT_3D &a = type.node_coordinates[type.edge_nodes[f][0] - 1];
      const POINT_3D &b = type.node_coordinates[type.edge_nodes[f][1] - 1];
      const std::vector<double> integrals = edge_line_integrals(type, xyz, a, b);
      if (type.edge_order == 1) {
        for (int e = 0; e < type.no_edges; ++e) expect_close(integrals[e], e == f ? 1.0 : 0.0, 0.0, line_tol);
      } else {
        const bool simplex = type.gauss == GAUSS_TETRAHEDRON;
        const bool between_mid_nodes = type.edge_nodes[f][0] > 4 && type.edge_nodes[f][1] > 4;
        expect_close(integrals[f], simplex && between_mid_nodes ? 0.5 : 1.0, 0.0, line_tol);
      }
    }
  }
}

namespace {

// The reflection of reference space through the plane of a face that lies on a coordinate
// plane: zeta = -1 for hexahedra and prisms (face 0), zeta = 0 for tetrahedra (face 3) and
// pyramids (face 0). It fixes the face's nodes, so the mirrored element shares the face with
// the same local numbers.
double face_plane(const V_ELEMENT_TYPE &type) {
  return type.gauss == GAUSS_HEXAHEDRON || type.gauss == GAUSS_PRISM ? -1.0 : 0.0;
}

} // namespace

// Two bent elements on either side of a face: the tangential components of the functions of
// the face's edges agree, those of the other edges vanish, and so do the normal curls.
TEST_P(EdgeTypes, TangentialTraceAndNormalCurlAreContinuousAcrossAFace) {
  const V_ELEMENT_TYPE &type = *find_v_element_type(GetParam());
  SCOPED_TRACE(type_label(type));
  // The 13-node pyramid's constant N1 puts the apex into every point of the base, so two
  // pyramids with different apexes never share a base: nothing to compare.
  if (type.no_nodes == 13 && type.gauss == GAUSS_PYRAMID) GTEST_SKIP();
  const double plane = face_plane(type);
  NODE_TABLE a, b;
  for (const POINT_3D &p : type.node_coordinates) {
    a.push_back(bend({p[0], p[1], p[2]}));
    b.push_back(bend({p[0], p[1], 2 * plane - p[2]}));
  }
  std::vector<bool> on_face;
  for (const EDGE_ENDS &ends : type.edge_nodes)
    on_face.push_back(type.node_coordinates[ends[0] - 1][2] == plane &&
                      type.node_coordinates[ends[1] - 1][2] == plane);
  std::mt19937 rng(29);
  TRANSFORM_SCRATCH sa, sb;
  double ga[3][3], gb[3][3], fa[max_element_edges][3], fb[max_element_edges][3];
  double ca[max_element_edges][3], cb[max_element_edges][3];
  for (int k = 0; k < 8; ++k) {
    POINT_3D p = random_reference_point(type, rng);
    p[2] = plane;
    element_transform_edges(type, rows(a), p[0], p[1], p[2], ga, fa, ca, sa);
    element_transform_edges(type, rows(b), p[0], p[1], p[2], gb, fb, cb, sb);
    double xa[3], xb[3];
    element_point(type, rows(a), p[0], p[1], p[2], xa, sa);
    element_point(type, rows(b), p[0], p[1], p[2], xb, sb);
    for (int d = 0; d < 3; ++d) expect_close(xa[d], xb[d], 0.0, rounding_tol);
    double t[2][3], n[3];
    for (int d = 0; d < 3; ++d) t[0][d] = sa.jacobian_matrix[d][0], t[1][d] = sa.jacobian_matrix[d][1];
    n[0] = t[0][1] * t[1][2] - t[0][2] * t[1][1];
    n[1] = t[0][2] * t[1][0] - t[0][0] * t[1][2];
    n[2] = t[0][0] * t[1][1] - t[0][1] * t[1][0];
    const auto dot = [](const double *u, const double *v) { return u[0] * v[0] + u[1] * v[1] + u[2] * v[2]; };
    for (int e = 0; e < type.no_edges; ++e) {
      SCOPED_TRACE("edge " + std::to_string(e + 1));
      for (const auto &tangent : t) {
        expect_close(dot(fa[e], tangent), dot(fb[e], tangent), 0.0, rounding_tol);
        if (!on_face[static_cast<std::size_t>(e)]) expect_close(dot(fa[e], tangent), 0.0, 0.0, rounding_tol);
      }
      expect_close(dot(ca[e], n), dot(cb[e], n), 0.0, rounding_tol);
      if (!on_face[static_cast<std::size_t>(e)]) expect_close(dot(ca[e], n), 0.0, 0.0, rounding_tol);
    }
  }
}

// Some combination of the element's functions reproduces constant fields (all families) and
// linear fields x_i e_j (second order) exactly, on the reference element and on a skewed
// straight-sided element: the least-squares fit at 40 points leaves no residual.
TEST_P(EdgeTypes, ConstantAndLinearFieldsAreRepresented) {
  const V_ELEMENT_TYPE &type = *find_v_element_type(GetParam());
  SCOPED_TRACE(type_label(type));
  if (type.no_nodes == 13 && type.gauss == GAUSS_PYRAMID) GTEST_SKIP(); // its geometry is no interpolant
  const NODE_TABLE elements[2] = {reference_nodes(type), affine_nodes(type)};
  const int points = 40;
  const int rows_count = 3 * points;
  const int n = type.no_edges;
  for (int shape = 0; shape < 2; ++shape) {
    SCOPED_TRACE(shape == 0 ? "reference element" : "skewed element");
    std::mt19937 rng(31);
    std::vector<double> matrix(static_cast<std::size_t>(rows_count * n));
    std::vector<std::array<double, 3>> where;
    double g[3][3], values[max_element_edges][3];
    TRANSFORM_SCRATCH scratch;
    for (int k = 0; k < points; ++k) {
      const POINT_3D p = random_reference_point(type, rng);
      element_transform(type, rows(elements[shape]), p[0], p[1], p[2], g, scratch);
      type.edge_function(p[0], p[1], p[2], g, values);
      std::array<double, 3> x{};
      element_point(type, rows(elements[shape]), p[0], p[1], p[2], x.data(), scratch);
      where.push_back(x);
      for (int c = 0; c < 3; ++c)
        for (int e = 0; e < n; ++e) matrix[static_cast<std::size_t>((3 * k + c) * n + e)] = values[e][c];
    }
    // Fields: the three constants; for second order also the nine x_i e_j. TETRA_N10E18 as
    // defined holds no gradient of a quadratic (its functions are (l_a + l_b) W_ab-like and
    // l_c W_ab only), so it gets the rotations e_i x x instead, and x e_x must stay out of reach.
    const bool e18 = type.gauss == GAUSS_TETRAHEDRON && type.no_edges == 18;
    struct FIELD {
      int kind, i, j; // 0 constant e_j; 1 x_i e_j; 2 e_i x x
    };
    std::vector<FIELD> fields;
    for (int j = 0; j < 3; ++j) fields.push_back({0, 0, j});
    for (int i = 0; i < 3 && type.edge_order == 2; ++i) {
      if (e18) {
        fields.push_back({2, i, 0});
      } else {
        for (int j = 0; j < 3; ++j) fields.push_back({1, i, j});
      }
    }
    const auto sample = [&](const FIELD &field) {
      std::vector<double> values(static_cast<std::size_t>(rows_count), 0.0);
      for (int k = 0; k < points; ++k) {
        const auto &x = where[static_cast<std::size_t>(k)];
        double v[3] = {0, 0, 0};
        if (field.kind == 0) v[field.j] = 1.0;
        if (field.kind == 1) v[field.j] = x[field.i];
        if (field.kind == 2) { // e_i x x
          const int a = (field.i + 1) % 3, b = (field.i + 2) % 3;
          v[a] = -x[b];
          v[b] = x[a];
        }
        for (int c = 0; c < 3; ++c) values[static_cast<std::size_t>(3 * k + c)] = v[c];
      }
      return values;
    };
    for (const FIELD &field : fields) {
      SCOPED_TRACE("field kind " + std::to_string(field.kind) + " i " + std::to_string(field.i) + " j " +
                   std::to_string(field.j));
      // Orthogonal projection of order-1 data: rounding of ~1e-15 amplified by the
      // conditioning of the function set.
      EXPECT_LT(least_squares_residual(matrix, sample(field), rows_count, n), 1e-9);
    }
    if (e18) {
      EXPECT_GT(least_squares_residual(matrix, sample({1, 0, 0}), rows_count, n), 1e-3);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllVolumeTypes, EdgeTypes, ::testing::Range(0, no_v_element_types));

class SurfaceEdgeTypes : public ::testing::TestWithParam<int> {};

// Surface edge curls against differences, and the tangential line integral of each function
// along its own edge (1), and along every other edge of a first-order type (0).
TEST_P(SurfaceEdgeTypes, CurlsAndLineIntegrals) {
  const S_ELEMENT_TYPE &type = *find_s_element_type(GetParam());
  SCOPED_TRACE(type.name);
  double v[2][max_face_edges][2], curl[max_face_edges];
  std::mt19937 rng(37);
  std::uniform_real_distribution<double> unit(0.05, 0.45);
  for (int k = 0; k < 6; ++k) {
    const double a = unit(rng), b = unit(rng);
    type.edge_curl(a, b, curl);
    type.edge_function(a + fd_step, b, v[0]);
    type.edge_function(a - fd_step, b, v[1]);
    double d_a[max_face_edges];
    for (int e = 0; e < type.no_edges; ++e) d_a[e] = (v[0][e][1] - v[1][e][1]) / (2 * fd_step);
    type.edge_function(a, b + fd_step, v[0]);
    type.edge_function(a, b - fd_step, v[1]);
    for (int e = 0; e < type.no_edges; ++e)
      expect_close(curl[e], d_a[e] - (v[0][e][0] - v[1][e][0]) / (2 * fd_step), fd_tol, fd_tol);
  }
  const bool first_order = type.no_edges == type.no_corners;
  for (int f = 0; f < type.no_edges; ++f) {
    const POINT_2D &p = type.node_coordinates[type.edge_nodes[f][0] - 1];
    const POINT_2D &q = type.node_coordinates[type.edge_nodes[f][1] - 1];
    std::vector<double> sums(static_cast<std::size_t>(type.no_edges), 0.0);
    const int panels = 200; // Simpson, exact for these polynomials of degree <= 3
    for (int k = 0; k <= 2 * panels; ++k) {
      const double s = static_cast<double>(k) / (2 * panels);
      const double w = (k == 0 || k == 2 * panels) ? 1.0 : (k % 2 ? 4.0 : 2.0);
      type.edge_function(p[0] + s * (q[0] - p[0]), p[1] + s * (q[1] - p[1]), v[0]);
      for (int e = 0; e < type.no_edges; ++e)
        sums[e] += w * (v[0][e][0] * (q[0] - p[0]) + v[0][e][1] * (q[1] - p[1])) / (6.0 * panels);
    }
    const bool between_mid_nodes =
        type.no_corners == 3 && type.edge_nodes[f][0] > 3 && type.edge_nodes[f][1] > 3;
    if (first_order)
      for (int e = 0; e < type.no_edges; ++e) expect_close(sums[e], e == f ? 1.0 : 0.0, 0.0, line_tol);
    else
      expect_close(sums[f], between_mid_nodes ? 0.5 : 1.0, 0.0, line_tol); // 1/2 as on the tetrahedron
  }
}

INSTANTIATE_TEST_SUITE_P(AllSurfaceTypes, SurfaceEdgeTypes, ::testing::Range(0, no_s_element_types));

TEST(EdgeFunctions, Hexa8EdgeOneAtCentreIsAnEighthOfGradXi) {
  const double g[3][3] = {{2.0, 0.5, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 3.0}};
  double values[12][3];
  find_v_element_type(0)->edge_function(0.0, 0.0, 0.0, g, values);
  for (int c = 0; c < 3; ++c) expect_close(values[0][c], g[0][c] / 8.0, 0.0, rounding_tol);
}

TEST(EdgeFunctions, PyramidAtTheApexIsFinite) {
  double values[8][3], curls[8][3];
  const V_ELEMENT_TYPE &type = *find_v_element_type(10);
  type.edge_function(0.0, 0.0, 1.0, identity, values);
  type.edge_curl(0.0, 0.0, 1.0, identity, curls);
  for (int e = 0; e < 8; ++e)
    for (int c = 0; c < 3; ++c) EXPECT_TRUE(std::isfinite(values[e][c]) && std::isfinite(curls[e][c]));
  // Edge 1 at the apex, with x = y = 0: (-(A + B) - g3)/4 = (-1/4, -1/4, -1/4) + (0, 0, 0).
  expect_close(values[0][0], -0.25, 0.0, rounding_tol);
  expect_close(values[0][2], -0.25, 0.0, rounding_tol);
}
