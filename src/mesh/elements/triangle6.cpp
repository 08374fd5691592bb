// TRIANGLE_N6E3, TRIANGLE_N6E6 and TRIANGLE_N6E9: the 6-node triangle and its two
// second-order edge families, the traces of the TETRA_N10E18 and TETRA_N10E24 functions.
#include "mesh/elements/element_functions.hpp"
#include "mesh/elements/surface_tables.hpp"

#include <span>

namespace tesmora::element_functions {

namespace {

// Corner pairs of the mid nodes 4, 5, 6 (0-based): (1,2), (2,3), (3,1).
constexpr int mid_pairs[3][2] = {{0, 1}, {1, 2}, {2, 0}};
constexpr double gradients[3][2] = {{-1.0, -1.0}, {1.0, 0.0}, {0.0, 1.0}};

} // namespace

void triangle6_shape(double a, double b, double *out) {
  const double l[3] = {1.0 - a - b, a, b};
  for (int i = 0; i < 3; ++i) out[i] = (2.0 * l[i] - 1.0) * l[i];
  for (int m = 0; m < 3; ++m) out[3 + m] = 4.0 * l[mid_pairs[m][0]] * l[mid_pairs[m][1]];
}

void triangle6_derivatives(double a, double b, double (*out)[2]) {
  const double l[3] = {1.0 - a - b, a, b};
  for (int i = 0; i < 3; ++i)
    for (int d = 0; d < 2; ++d) out[i][d] = (4.0 * l[i] - 1.0) * gradients[i][d];
  for (int m = 0; m < 3; ++m) {
    const int p = mid_pairs[m][0];
    const int q = mid_pairs[m][1];
    for (int d = 0; d < 2; ++d) out[3 + m][d] = 4.0 * (gradients[p][d] * l[q] + l[p] * gradients[q][d]);
  }
}

namespace {

void node_corners(int node, int *pair) {
  if (node < 3) {
    pair[0] = pair[1] = node;
  } else {
    pair[0] = mid_pairs[node - 3][0];
    pair[1] = mid_pairs[node - 3][1];
  }
}

// The same three rules as on the tetrahedron, in two dimensions: phi W_ab with
// W_ab = l_a grad l_b - l_b grad l_a and curl(phi W) = grad phi x W + 2 phi grad l_a x grad l_b.
void second_order_values(std::span<const EDGE_ENDS> edges, double a, double b, double (*out)[2],
                         double *curl) {
  const double l[3] = {1.0 - a - b, a, b};
  for (std::size_t e = 0; e < edges.size(); ++e) {
    const int p = edges[e][0] - 1;
    const int q = edges[e][1] - 1;
    int pp[2], qq[2];
    node_corners(p, pp);
    node_corners(q, qq);
    int i = 0, j = 0, c = 0;
    double phi = 0.0;
    double dphi[2] = {0.0, 0.0};
    if (p < 3 && q < 3) {
      i = p, j = q;
      phi = 2.0 * (l[i] + l[j]) - 1.0;
      for (int d = 0; d < 2; ++d) dphi[d] = 2.0 * (gradients[i][d] + gradients[j][d]);
    } else if (p < 3) {
      i = p, j = qq[0] == p ? qq[1] : qq[0];
      phi = 4.0 * l[i] - 1.0;
      for (int d = 0; d < 2; ++d) dphi[d] = 4.0 * gradients[i][d];
    } else {
      c = (pp[0] == qq[0] || pp[0] == qq[1]) ? pp[0] : pp[1];
      i = pp[0] == c ? pp[1] : pp[0];
      j = qq[0] == c ? qq[1] : qq[0];
      phi = 4.0 * l[c];
      for (int d = 0; d < 2; ++d) dphi[d] = 4.0 * gradients[c][d];
    }
    double w[2];
    for (int d = 0; d < 2; ++d) w[d] = l[i] * gradients[j][d] - l[j] * gradients[i][d];
    const double curl_w = 2.0 * (gradients[i][0] * gradients[j][1] - gradients[i][1] * gradients[j][0]);
    out[e][0] = phi * w[0];
    out[e][1] = phi * w[1];
    curl[e] = dphi[0] * w[1] - dphi[1] * w[0] + phi * curl_w;
  }
}

} // namespace

void triangle_e6_edge_function(double a, double b, double (*out)[2]) {
  double curl[6];
  second_order_values(element_tables::triangle_e6_edges, a, b, out, curl);
}

void triangle_e6_edge_curl(double a, double b, double *out) {
  double values[6][2];
  second_order_values(element_tables::triangle_e6_edges, a, b, values, out);
}

void triangle_e9_edge_function(double a, double b, double (*out)[2]) {
  double curl[9];
  second_order_values(element_tables::triangle_e9_edges, a, b, out, curl);
}

void triangle_e9_edge_curl(double a, double b, double *out) {
  double values[9][2];
  second_order_values(element_tables::triangle_e9_edges, a, b, values, out);
}

} // namespace tesmora::element_functions
