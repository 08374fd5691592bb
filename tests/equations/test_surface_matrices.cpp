// Surface element matrices of thin conducting sheets against the integrals of a square worked by
// hand, their scatter into c, and the scatter of far-boundary records into h.
#include "equations/assembly.hpp"
#include "equations/element_matrices.hpp"
#include "equations/surface_matrices.hpp"
#include "job/block_io.hpp"
#include "job/ffile.hpp"
#include "job/memory.hpp"
#include "mesh/element_catalogue.hpp"
#include "mesh/gauss.hpp"
#include "mesh/potentials.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

using VECTOR = std::array<double, 3>;

double dot(const VECTOR &a, const VECTOR &b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

// One first-order quadrilateral sheet: a square of side `side` spanned by the orthonormal u and v
// from `origin`, with its nodes, edges and potential terms held here.
struct SQUARE_SHEET {
  std::array<NODE, 4> nodes;
  std::array<EDGE, 4> edges;
  std::array<NODE *, 4> node_pointers{};
  std::array<EDGE *, 4> edge_pointers{};
  S_ELEMENT element;
  const S_ELEMENT_TYPE &type = *find_s_element_type(0); // QUAD_N4E4

  SQUARE_SHEET(double side, const VECTOR &origin, const VECTOR &u, const VECTOR &v) {
    for (int k = 0; k < 4; ++k) {
      const double s = (1.0 + type.node_coordinates[k][0]) / 2, t = (1.0 + type.node_coordinates[k][1]) / 2;
      nodes[k].x = origin[0] + side * (s * u[0] + t * v[0]);
      nodes[k].y = origin[1] + side * (s * u[1] + t * v[1]);
      nodes[k].z = origin[2] + side * (s * u[2] + t * v[2]);
      node_pointers[k] = &nodes[k];
      edge_pointers[k] = &edges[k];
    }
    element.type = &type;
    element.kind = s_thin_5;
    element.nodes = node_pointers.data();
    element.edges = edge_pointers.data();
  }
  VECTOR position(int local_node) const { // 0-based
    return {nodes[local_node].x, nodes[local_node].y, nodes[local_node].z};
  }
  // Start and end (0-based local nodes) of local edge i.
  int start(int i) const { return type.edge_nodes[i][0] - 1; }
  int end(int i) const { return type.edge_nodes[i][1] - 1; }
  VECTOR direction(int i) const {
    const VECTOR a = position(start(i)), b = position(end(i));
    return {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
  }
};

// The integrals of the square worked by hand with bilinear nodal functions and the edge
// functions N = (1 - distance from the edge / side) / side along the edge (unit circulation):
//   N_i . N_j: 1/3 for i = j, +-1/6 for the opposite parallel edge (the sign of the directions),
//              0 for perpendicular edges;
//   N_j . grad L_k: 1/3 for the ends of edge j, 1/6 for the nodes of the opposite edge, negative
//              for the nodes level with the edge's start, positive for those level with its end;
//   grad L_l . grad L_k: 2/3 on the diagonal, -1/6 between neighbours, -1/3 across the diagonal.
// None depends on the side or the orientation.
double edge_edge(const SQUARE_SHEET &q, int i, int j) {
  if (i == j) return 1.0 / 3;
  const double c = dot(q.direction(i), q.direction(j)) /
                   std::sqrt(dot(q.direction(i), q.direction(i)) * dot(q.direction(j), q.direction(j)));
  return std::fabs(c) < 1e-12 ? 0.0 : c / 6;
}
double node_edge(const SQUARE_SHEET &q, int k, int j) {
  const VECTOR d = q.direction(j), p = q.position(k), s = q.position(q.start(j));
  const double along = dot({p[0] - s[0], p[1] - s[1], p[2] - s[2]}, d) / dot(d, d); // 0 or 1
  const bool on_edge = k == q.start(j) || k == q.end(j);
  return (along > 0.5 ? 1.0 : -1.0) * (on_edge ? 1.0 / 3 : 1.0 / 6);
}
double node_node(const SQUARE_SHEET &q, int k, int l) {
  if (k == l) return 2.0 / 3;
  const VECTOR a = q.position(k), b = q.position(l);
  const VECTOR d = {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
  const double side2 = dot(q.direction(0), q.direction(0));
  return dot(d, d) > 1.5 * side2 ? -1.0 / 3 : -1.0 / 6;
}

class SurfaceMatrices : public ::testing::Test {
protected:
  void SetUp() override { make_gauss(3, 7, 5); }
  void TearDown() override {
    free_gauss(active_gauss());
    free_potential_store();
  }
  ScopedJobFiles files;
};

} // namespace

TEST_F(SurfaceMatrices, SquareSheetOfAnySizeAndOrientation) {
  const double r = 1.0 / std::sqrt(2.0);
  struct CASE {
    double side;
    VECTOR origin, u, v;
  } cases[] = {{1.0, {0, 0, 0}, {1, 0, 0}, {0, 1, 0}},
               {0.3, {0.2, -1.0, 0.5}, {r, r, 0}, {0, 0, 1}}, // upright, turned 45 degrees
               {2.5, {0, 0, 0}, {0, 1, 0}, {r, 0, -r}}};      // tilted
  for (const CASE &c : cases) {
    SCOPED_TRACE(c.side);
    const SQUARE_SHEET q(c.side, c.origin, c.u, c.v);
    double packed[max_ce_entries];
    ASSERT_EQ(surface_element_matrix(q.element, true, packed), 36); // 8 rows
    for (int i = 0; i < 4; ++i)
      for (int j = 0; j <= i; ++j)
        EXPECT_NEAR(packed[packed_index(i, j)], edge_edge(q, i, j), 1e-14) << i << j;
    for (int k = 0; k < 4; ++k) {
      for (int j = 0; j < 4; ++j)
        EXPECT_NEAR(packed[packed_index(4 + k, j)], node_edge(q, k, j), 1e-14) << k << j;
      for (int l = 0; l <= k; ++l)
        EXPECT_NEAR(packed[packed_index(4 + k, 4 + l)], node_node(q, k, l), 1e-14) << k << l;
    }
    // Without nodes: the edge block alone. (Tolerances: rounding of a 3x3-point rule on products
    // of bilinear functions, which it integrates exactly.)
    double edges_only[max_ce_entries];
    ASSERT_EQ(surface_element_matrix(q.element, false, edges_only), 10);
    for (int k = 0; k < 10; ++k) EXPECT_EQ(edges_only[k], packed[k]);
  }
}

TEST_F(SurfaceMatrices, ThinSheetAddsItsConductanceTimesTheSignedMatrixToC) {
  // One sheet, edges 0 and 2 running as their global edges, 1 and 3 against; edge i holds unknown
  // i + 1, node k the surface-current potential k + 5 (kind 13).
  SQUARE_SHEET q(0.2, {0, 0, 0}, {1, 0, 0}, {0, 1, 0});
  q.element.edge_direction = 0b0101;
  for (int i = 0; i < 4; ++i) add_potential_term(q.edges[i].potentials, A_EDGE, i + 1, 1.0);
  for (int k = 0; k < 4; ++k) add_potential_term(q.nodes[k].potentials, PHI_NODE_SUFCUR, k + 5, 1.0);
  MESHED_MODEL model;
  model.no_input_s_elements = 1;
  model.input_s_elements = &q.element;
  MATRIX_PROFILE *profile = build_model_profile(model, 8, profile_lower_with_diagonal, false);
  EXPECT_EQ(profile->size, 36); // the sheet couples all eight unknowns
  std::vector<double> c(static_cast<std::size_t>(profile->size), 0.0);
  const double conductance = 5.8e7 * 1e-4; // sigma times thickness
  add_thin_surface_c_matrix(c.data(), *profile, model, false, &conductance);
  auto sign = [](int i) { return i % 2 == 0 ? 1.0 : -1.0; };
  auto at = [&](int i, int j) {
    return c[location_in_matrix(i, j, profile->row_head_pointers, profile->index)];
  };
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j <= i; ++j)
      expect_close(at(i + 1, j + 1), conductance * sign(i) * sign(j) * edge_edge(q, i, j), 1e-13,
                   1e-9); // rounding
    for (int k = 0; k < 4; ++k)
      expect_close(at(k + 5, i + 1), conductance * sign(i) * node_edge(q, k, i), 1e-13, 0.0);
  }
  for (int k = 0; k < 4; ++k)
    for (int l = 0; l <= k; ++l) expect_close(at(k + 5, l + 5), conductance * node_node(q, k, l), 1e-13, 0.0);
  // A sheet of another kind, or with no node rows wanted, adds only what it should.
  std::fill(c.begin(), c.end(), 0.0);
  add_thin_surface_c_matrix(c.data(), *profile, model, true, &conductance);
  expect_close(at(1, 1), conductance / 3, 1e-13, 0.0);
  EXPECT_EQ(at(5, 5), 0.0);
  q.element.kind = s_impedance;
  std::fill(c.begin(), c.end(), 0.0);
  add_thin_surface_c_matrix(c.data(), *profile, model, false, &conductance);
  EXPECT_EQ(at(1, 1), 0.0);
  free_matrix_profile(&profile);
}

TEST_F(SurfaceMatrices, BoundaryRecordsGoIntoHByTheRulesOfTheHScatter) {
  // Two boundary faces; record 2 is the second face, whose edges 1 and 3 share unknown 2 (as a
  // periodic image does): its diagonal there is K11 + K33 + 2 s1 s3 K31. Record 1 is fixed out
  // (no terms) and adds nothing.
  SQUARE_SHEET fixed(1.0, {0, 0, 0}, {1, 0, 0}, {0, 1, 0}), face(1.0, {0, 0, 1}, {1, 0, 0}, {0, 1, 0});
  face.element.edge_direction = 0b0011;
  const int unknown[4] = {1, 2, 3, 2};
  for (int i = 0; i < 4; ++i) add_potential_term(face.edges[i].potentials, A_EDGE, unknown[i], 1.0);
  S_ELEMENT elements[2] = {fixed.element, face.element};
  PROFILE_LISTS *lists = make_profile_lists(3);
  for (int i = 1; i <= 3; ++i)
    for (int j = 1; j < i; ++j) add_connection(lists, i, j);
  MATRIX_PROFILE *profile = make_matrix_profile(3, profile_lower_with_diagonal);
  build_profile(profile, lists);
  free_profile_lists(&lists);
  double k[10];
  for (int n = 0; n < 10; ++n) k[n] = 1.0 + n; // K_ij = packed position + 1
  FFILE *file = create_ffile("boundary_matrix", 1);
  open_ffile(file, "w");
  for (const std::int32_t number : {1, 2}) {
    const std::int32_t head[2] = {number, 10};
    write_blocks(head, sizeof(std::int32_t), 2, file);
    write_blocks(k, sizeof(double), 10, file);
  }
  const std::int32_t end = -1;
  write_blocks(&end, sizeof end, 1, file);
  close_ffile(file);
  open_ffile(file, "r");
  std::vector<double> h(static_cast<std::size_t>(profile->size), 0.5);
  assemble_boundary_h_matrix(h.data(), *profile, elements, file);
  close_ffile(file);
  free_ffile(file, "ffile");
  auto at = [&](int i, int j) {
    return h[location_in_matrix(i, j, profile->row_head_pointers, profile->index)];
  };
  auto K = [&](int i, int j) { return k[i >= j ? packed_index(i, j) : packed_index(j, i)]; };
  const double s[4] = {1, 1, -1, -1};
  // Sums of a few exact products of small integers: exact.
  EXPECT_EQ(at(1, 1), 0.5 + K(0, 0));
  EXPECT_EQ(at(2, 2), 0.5 + K(1, 1) + K(3, 3) + 2 * s[1] * s[3] * K(3, 1));
  EXPECT_EQ(at(3, 3), 0.5 + K(2, 2));
  EXPECT_EQ(at(2, 1), 0.5 + s[1] * s[0] * K(1, 0) + s[3] * s[0] * K(3, 0));
  EXPECT_EQ(at(3, 2), 0.5 + s[2] * s[1] * K(2, 1) + s[3] * s[2] * K(3, 2));
  EXPECT_EQ(at(3, 1), 0.5 + s[2] * s[0] * K(2, 0));
  free_matrix_profile(&profile);
}

TEST_F(SurfaceMatrices, ParallelogramSheetEdgeBlock) {
  // x = origin + s P + t Q with s, t in [0, 1] and P, Q at 53 degrees. By hand: N_0 = (1 - t) grad s,
  // N_1 = t grad s, N_2 = (1 - s) grad t, N_3 = s grad t, with grad s = (|Q|^2 P - (P.Q) Q) / g,
  // grad t = (|P|^2 Q - (P.Q) P) / g, g = |P|^2 |Q|^2 - (P.Q)^2, and dS = sqrt(g) ds dt. So
  // N_i . N_j integrates to sqrt(g) (grad_i . grad_j) times 1/3 (i = j), 1/6 (the parallel pair) or
  // 1/4 (crossing pairs: 1/2 from each direction).
  const double side = 0.5;
  const VECTOR u = {1, 0, 0}, v = {0.6, 0.8, 0};
  const SQUARE_SHEET q(side, {0.1, 0.2, 0.3}, u, v);
  const VECTOR P = {side * u[0], side * u[1], side * u[2]}, Q = {side * v[0], side * v[1], side * v[2]};
  const double pp = dot(P, P), qq = dot(Q, Q), pq = dot(P, Q), g = pp * qq - pq * pq;
  VECTOR grad_s, grad_t;
  for (int d = 0; d < 3; ++d)
    grad_s[d] = (qq * P[d] - pq * Q[d]) / g, grad_t[d] = (pp * Q[d] - pq * P[d]) / g;
  const VECTOR gradient[4] = {grad_s, grad_s, grad_t, grad_t};
  double packed[max_ce_entries];
  surface_element_matrix(q.element, false, packed);
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j <= i; ++j) {
      const double share = i == j ? 1.0 / 3 : (i / 2 == j / 2 ? 1.0 / 6 : 1.0 / 4);
      // Rounding of the exact 3x3-point rule.
      expect_close(packed[packed_index(i, j)], std::sqrt(g) * dot(gradient[i], gradient[j]) * share, 1e-13,
                   0.0);
    }
}
