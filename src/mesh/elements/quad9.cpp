// QUAD_N9E12: the 9-node Lagrange quadrilateral and its twelve half-edge functions, the
// traces of the HEXA_N27E54 functions on a face.
#include "mesh/elements/element_functions.hpp"
#include "mesh/elements/surface_tables.hpp"

namespace tesmora::element_functions {

using element_tables::quad9_nodes;

namespace {

double lagrange(double node, double x) {
  return node < 0.0 ? x * (x - 1.0) / 2.0 : node > 0.0 ? x * (1.0 + x) / 2.0 : 1.0 - x * x;
}
double lagrange_derivative(double node, double x) {
  return node < 0.0 ? x - 0.5 : node > 0.0 ? x + 0.5 : -2.0 * x;
}

} // namespace

void quad9_shape(double a, double b, double *out) {
  for (int i = 0; i < 9; ++i) out[i] = lagrange(quad9_nodes[i][0], a) * lagrange(quad9_nodes[i][1], b);
}

void quad9_derivatives(double a, double b, double (*out)[2]) {
  for (int i = 0; i < 9; ++i) {
    out[i][0] = lagrange_derivative(quad9_nodes[i][0], a) * lagrange(quad9_nodes[i][1], b);
    out[i][1] = lagrange(quad9_nodes[i][0], a) * lagrange_derivative(quad9_nodes[i][1], b);
  }
}

namespace {

// Half-edge factor (1/2 - x_d below 0, x_d + 1/2 above) times the Lagrange function of the
// other axis that is 1 on the edge's line.
void quad_e12_values(double a, double b, double (*out)[2], double *curl) {
  const double x[2] = {a, b};
  for (int e = 0; e < 12; ++e) {
    const POINT_2D &p = quad9_nodes[element_tables::quad_e12_edges[e][0] - 1];
    const POINT_2D &q = quad9_nodes[element_tables::quad_e12_edges[e][1] - 1];
    const int d = p[0] != q[0] ? 0 : 1;
    const int j = 1 - d;
    const double h = p[d] < 0.0 ? 0.5 - x[d] : x[d] + 0.5;
    out[e][d] = h * lagrange(p[j], x[j]);
    out[e][j] = 0.0;
    const double df_j = h * lagrange_derivative(p[j], x[j]);
    curl[e] = d == 0 ? -df_j : df_j;
  }
}

} // namespace

void quad_e12_edge_function(double a, double b, double (*out)[2]) {
  double curl[12];
  quad_e12_values(a, b, out, curl);
}

void quad_e12_edge_curl(double a, double b, double *out) {
  double values[12][2];
  quad_e12_values(a, b, values, out);
}

} // namespace tesmora::element_functions
