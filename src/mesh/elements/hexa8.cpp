// HEXA_N8E12: trilinear shape functions, the twelve first-order edge functions of the
// hexahedra, the hexahedral face points and edge coefficients.
#include "mesh/elements/edge_support.hpp"
#include "mesh/elements/element_functions.hpp"
#include "mesh/elements/volume_tables.hpp"

namespace tesmora::element_functions {

using element_tables::hexa27_nodes;

// N = (1 + s xi)(1 + t eta)(1 + u zeta)/8 with (s, t, u) the corner's coordinates.
void hexa8_shape(double xi, double eta, double zeta, double *out) {
  for (int i = 0; i < 8; ++i) {
    const POINT_3D &p = hexa27_nodes[i];
    out[i] = (1.0 + p[0] * xi) * (1.0 + p[1] * eta) * (1.0 + p[2] * zeta) / 8.0;
  }
}

void hexa8_derivatives(double xi, double eta, double zeta, double (*out)[3]) {
  for (int i = 0; i < 8; ++i) {
    const POINT_3D &p = hexa27_nodes[i];
    const double a = 1.0 + p[0] * xi;
    const double b = 1.0 + p[1] * eta;
    const double c = 1.0 + p[2] * zeta;
    out[i][0] = p[0] * b * c / 8.0;
    out[i][1] = p[1] * a * c / 8.0;
    out[i][2] = p[2] * a * b / 8.0;
  }
}

namespace {

// Edge e along direction d is the product of (1 + s x) over the two other directions, over 8,
// times grad xi_d; (s) are the coordinates of the edge's start node. The line integral along
// the edge is 1 and the direction runs from the lower to the higher coordinate.
void hexa_e12_reference(double xi, double eta, double zeta, double (*c)[3], double (*r)[3]) {
  const double x[3] = {xi, eta, zeta};
  for (int e = 0; e < 12; ++e) {
    const POINT_3D &a = hexa27_nodes[element_tables::hexa_e12_edges[e][0] - 1];
    const POINT_3D &b = hexa27_nodes[element_tables::hexa_e12_edges[e][1] - 1];
    const int d = a[0] != b[0] ? 0 : a[1] != b[1] ? 1 : 2;
    const int j = (d + 1) % 3;
    const int k = (d + 2) % 3;
    const double fj = 1.0 + a[j] * x[j];
    const double fk = 1.0 + a[k] * x[k];
    double df[3] = {0.0, 0.0, 0.0};
    df[j] = a[j] * fk / 8.0;
    df[k] = a[k] * fj / 8.0;
    element_support::set_directional(fj * fk / 8.0, df, d, c[e], r[e]);
  }
}

} // namespace

void hexa_e12_edge_function(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]) {
  double c[12][3], r[12][3];
  hexa_e12_reference(xi, eta, zeta, c, r);
  element_support::map_edge_values(12, c, g, out);
}

void hexa_e12_edge_curl(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]) {
  double c[12][3], r[12][3];
  hexa_e12_reference(xi, eta, zeta, c, r);
  element_support::map_edge_curls(12, r, g, out);
}

namespace {

// Code 2 touches entries 1 and 4, code 3 entry 1, code 4 entry 8; codes 5 and 6 touch
// entries 2 and 5 with the opposite sign.
void add_hexa_code(int code, double sign, double *out) {
  switch (code) {
  case 2:
    out[0] += sign;
    out[3] += sign;
    break;
  case 3:
    out[0] += sign;
    break;
  case 4:
    out[7] += sign;
    break;
  case 5:
  case 6:
    out[1] -= sign;
    out[4] -= sign;
    break;
  default:
    break;
  }
}

} // namespace

double hexa_edge_coefficients(int from, int to, double *out) {
  for (int e = 0; e < 12; ++e) out[e] = 0.0;
  add_hexa_code(to, 1.0, out);
  add_hexa_code(from, -1.0, out);
  return -1.0;
}

double no_edge_coefficients(int /*from*/, int /*to*/, double * /*out*/) { return 0.0; }

// The face's (u, v) run along the corners of face_nodes_out: its node 2 lies at u = 1, v = -1.
void hexa_face_point(int face, double u, double v, double *out) {
  switch (face) {
  case 0:
    out[0] = v, out[1] = u, out[2] = -1.0;
    break;
  case 1:
    out[0] = u, out[1] = v, out[2] = 1.0;
    break;
  case 2:
    out[0] = u, out[1] = -1.0, out[2] = v;
    break;
  case 3:
    out[0] = 1.0, out[1] = u, out[2] = v;
    break;
  case 4:
    out[0] = v, out[1] = 1.0, out[2] = u;
    break;
  default:
    out[0] = -1.0, out[1] = v, out[2] = u;
    break;
  }
}

} // namespace tesmora::element_functions
