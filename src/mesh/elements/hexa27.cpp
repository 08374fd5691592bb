// HEXA_N27E54: the 27-node Lagrange shape functions and the 54 second-order edge functions.
#include "mesh/elements/edge_support.hpp"
#include "mesh/elements/element_functions.hpp"
#include "mesh/elements/volume_tables.hpp"

namespace tesmora::element_functions {

using element_tables::hexa27_nodes;

namespace {

// One-dimensional quadratic Lagrange functions of the nodes -1, 0, 1 and their derivatives.
double lagrange(double node, double x) {
  return node < 0.0 ? x * (x - 1.0) / 2.0 : node > 0.0 ? x * (1.0 + x) / 2.0 : 1.0 - x * x;
}
double lagrange_derivative(double node, double x) {
  return node < 0.0 ? x - 0.5 : node > 0.0 ? x + 0.5 : -2.0 * x;
}

} // namespace

void hexa27_shape(double xi, double eta, double zeta, double *out) {
  for (int i = 0; i < 27; ++i) {
    const POINT_3D &p = hexa27_nodes[i];
    out[i] = lagrange(p[0], xi) * lagrange(p[1], eta) * lagrange(p[2], zeta);
  }
}

void hexa27_derivatives(double xi, double eta, double zeta, double (*out)[3]) {
  for (int i = 0; i < 27; ++i) {
    const POINT_3D &p = hexa27_nodes[i];
    const double l[3] = {lagrange(p[0], xi), lagrange(p[1], eta), lagrange(p[2], zeta)};
    out[i][0] = lagrange_derivative(p[0], xi) * l[1] * l[2];
    out[i][1] = l[0] * lagrange_derivative(p[1], eta) * l[2];
    out[i][2] = l[0] * l[1] * lagrange_derivative(p[2], zeta);
  }
}

namespace {

// The half-edge factor of direction d, 1/2 - x_d on the half from -1 to 0 and x_d + 1/2 on the
// half from 0 to 1, times the Lagrange functions of the other two directions that are 1 on the
// edge's line, times g_d. Each has line integral 1 along its own half edge and 0 along the
// other half of the same line.
void hexa_e54_reference(double xi, double eta, double zeta, double (*c)[3], double (*r)[3]) {
  const double x[3] = {xi, eta, zeta};
  for (int e = 0; e < 54; ++e) {
    const POINT_3D &a = hexa27_nodes[element_tables::hexa_e54_edges[e][0] - 1];
    const POINT_3D &b = hexa27_nodes[element_tables::hexa_e54_edges[e][1] - 1];
    const int d = a[0] != b[0] ? 0 : a[1] != b[1] ? 1 : 2;
    const int j = (d + 1) % 3;
    const int k = (d + 2) % 3;
    const bool lower_half = a[d] < 0.0;
    const double h = lower_half ? 0.5 - x[d] : x[d] + 0.5;
    const double lj = lagrange(a[j], x[j]);
    const double lk = lagrange(a[k], x[k]);
    double df[3];
    df[d] = (lower_half ? -1.0 : 1.0) * lj * lk;
    df[j] = h * lagrange_derivative(a[j], x[j]) * lk;
    df[k] = h * lj * lagrange_derivative(a[k], x[k]);
    element_support::set_directional(h * lj * lk, df, d, c[e], r[e]);
  }
}

} // namespace

void hexa_e54_edge_function(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]) {
  double c[54][3], r[54][3];
  hexa_e54_reference(xi, eta, zeta, c, r);
  element_support::map_edge_values(54, c, g, out);
}

void hexa_e54_edge_curl(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]) {
  double c[54][3], r[54][3];
  hexa_e54_reference(xi, eta, zeta, c, r);
  element_support::map_edge_curls(54, r, g, out);
}

} // namespace tesmora::element_functions
