// TETRA_N10E6, TETRA_N10E18 and TETRA_N10E24: the 10-node tetrahedron's shape functions and
// the two second-order edge families.
#include "mesh/elements/edge_support.hpp"
#include "mesh/elements/element_functions.hpp"
#include "mesh/elements/volume_tables.hpp"

namespace tesmora::element_functions {

namespace {

// Corner pairs of the mid nodes 5 to 10, 0-based: (1,2), (1,3), (1,4), (2,3), (3,4), (4,2).
constexpr int mid_pairs[6][2] = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {2, 3}, {3, 1}};

} // namespace

// Corners (2 l - 1) l; mid nodes 4 l_a l_b.
void tetra10_shape(double xi, double eta, double zeta, double *out) {
  const element_support::TETRA_BARYCENTRIC t = element_support::tetra_barycentric(xi, eta, zeta);
  for (int i = 0; i < 4; ++i) out[i] = (2.0 * t.l[i] - 1.0) * t.l[i];
  for (int m = 0; m < 6; ++m) out[4 + m] = 4.0 * t.l[mid_pairs[m][0]] * t.l[mid_pairs[m][1]];
}

void tetra10_derivatives(double xi, double eta, double zeta, double (*out)[3]) {
  const element_support::TETRA_BARYCENTRIC t = element_support::tetra_barycentric(xi, eta, zeta);
  for (int i = 0; i < 4; ++i)
    for (int d = 0; d < 3; ++d) out[i][d] = (4.0 * t.l[i] - 1.0) * t.dl[i][d];
  for (int m = 0; m < 6; ++m) {
    const int a = mid_pairs[m][0];
    const int b = mid_pairs[m][1];
    for (int d = 0; d < 3; ++d) out[4 + m][d] = 4.0 * (t.dl[a][d] * t.l[b] + t.l[a] * t.dl[b][d]);
  }
}

namespace {

// Corners of a node, 0-based: a corner is itself, a mid node its pair.
void node_corners(int node, int *pair) {
  if (node < 4) {
    pair[0] = pair[1] = node;
  } else {
    pair[0] = mid_pairs[node - 4][0];
    pair[1] = mid_pairs[node - 4][1];
  }
}

// The second-order functions of one edge from node p to node q (0-based):
// corner to corner: (2(l_a + l_b) - 1) W_ab;
// corner a to the mid node of a-b: (4 l_a - 1) W_ab;
// mid node of (a, c) to mid node of (c, b): 4 l_c W_ab.
void second_order_edge(const element_support::TETRA_BARYCENTRIC &t, int p, int q, double *c, double *r) {
  int pp[2], qq[2];
  node_corners(p, pp);
  node_corners(q, qq);
  double phi = 0.0;
  double dphi[3] = {0.0, 0.0, 0.0};
  int a = 0, b = 0;
  if (p < 4 && q < 4) {
    a = p, b = q;
    phi = 2.0 * (t.l[a] + t.l[b]) - 1.0;
    for (int d = 0; d < 3; ++d) dphi[d] = 2.0 * (t.dl[a][d] + t.dl[b][d]);
  } else if (p < 4) {
    a = p, b = qq[0] == p ? qq[1] : qq[0];
    phi = 4.0 * t.l[a] - 1.0;
    for (int d = 0; d < 3; ++d) dphi[d] = 4.0 * t.dl[a][d];
  } else {
    const int common = (pp[0] == qq[0] || pp[0] == qq[1]) ? pp[0] : pp[1];
    a = pp[0] == common ? pp[1] : pp[0];
    b = qq[0] == common ? qq[1] : qq[0];
    phi = 4.0 * t.l[common];
    for (int d = 0; d < 3; ++d) dphi[d] = 4.0 * t.dl[common][d];
  }
  element_support::whitney(t, a, b, c, r);
  element_support::scale_edge_function(phi, dphi, c, r);
}

void second_order_reference(std::span<const EDGE_ENDS> edges, double xi, double eta, double zeta,
                            double (*c)[3], double (*r)[3]) {
  const element_support::TETRA_BARYCENTRIC t = element_support::tetra_barycentric(xi, eta, zeta);
  for (std::size_t e = 0; e < edges.size(); ++e)
    second_order_edge(t, edges[e][0] - 1, edges[e][1] - 1, c[e], r[e]);
}

} // namespace

void tetra_e18_edge_function(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]) {
  double c[18][3], r[18][3];
  second_order_reference(element_tables::tetra_e18_edges, xi, eta, zeta, c, r);
  element_support::map_edge_values(18, c, g, out);
}

void tetra_e18_edge_curl(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]) {
  double c[18][3], r[18][3];
  second_order_reference(element_tables::tetra_e18_edges, xi, eta, zeta, c, r);
  element_support::map_edge_curls(18, r, g, out);
}

void tetra_e24_edge_function(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]) {
  double c[24][3], r[24][3];
  second_order_reference(element_tables::tetra_e24_edges, xi, eta, zeta, c, r);
  element_support::map_edge_values(24, c, g, out);
}

void tetra_e24_edge_curl(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]) {
  double c[24][3], r[24][3];
  second_order_reference(element_tables::tetra_e24_edges, xi, eta, zeta, c, r);
  element_support::map_edge_curls(24, r, g, out);
}

} // namespace tesmora::element_functions
