// PRISM_N6E9: shape functions of the 6-node prism, its nine edge functions, face points and
// edge coefficients. The triangle coordinate l = 1 - xi - eta goes with xi and eta.
#include "mesh/elements/edge_support.hpp"
#include "mesh/elements/element_functions.hpp"

namespace tesmora::element_functions {

void prism6_shape(double xi, double eta, double zeta, double *out) {
  const double l = 1.0 - xi - eta;
  const double lower = (1.0 - zeta) / 2.0;
  const double upper = (1.0 + zeta) / 2.0;
  out[0] = l * lower;
  out[1] = xi * lower;
  out[2] = eta * lower;
  out[3] = l * upper;
  out[4] = xi * upper;
  out[5] = eta * upper;
}

void prism6_derivatives(double xi, double eta, double zeta, double (*out)[3]) {
  const double l = 1.0 - xi - eta;
  const double lower = (1.0 - zeta) / 2.0;
  const double upper = (1.0 + zeta) / 2.0;
  const double rows[6][3] = {{-lower, -lower, -l / 2.0}, {lower, 0.0, -xi / 2.0}, {0.0, lower, -eta / 2.0},
                             {-upper, -upper, l / 2.0},  {upper, 0.0, xi / 2.0},  {0.0, upper, eta / 2.0}};
  for (int i = 0; i < 6; ++i)
    for (int d = 0; d < 3; ++d) out[i][d] = rows[i][d];
}

namespace {

// Lower and upper edges are the triangle's Whitney functions T12 = g1 + xi g2 - eta g1,
// T23 = xi g2 - eta g1, T31 = T23 - g2 (each with reference curl 2 g1 x g2) times
// (1 -/+ zeta)/2; the vertical edges are l g3/2, xi g3/2, eta g3/2.
void prism_e9_reference(double xi, double eta, double zeta, double (*c)[3], double (*r)[3]) {
  const double t[3][3] = {{1.0 - eta, xi, 0.0}, {-eta, xi, 0.0}, {-eta, xi - 1.0, 0.0}};
  for (int level = 0; level < 2; ++level) {
    const double dh = level == 0 ? -0.5 : 0.5; // derivative of h = (1 -/+ zeta)/2
    const double h = level == 0 ? (1.0 - zeta) / 2.0 : (1.0 + zeta) / 2.0;
    for (int k = 0; k < 3; ++k) {
      const int e = 3 * level + k;
      c[e][0] = h * t[k][0];
      c[e][1] = h * t[k][1];
      c[e][2] = 0.0;
      r[e][0] = -dh * t[k][1];
      r[e][1] = dh * t[k][0];
      r[e][2] = 2.0 * h;
    }
  }
  const double l = 1.0 - xi - eta;
  const double lambda[3] = {l, xi, eta};
  const double grad[3][2] = {{-1.0, -1.0}, {1.0, 0.0}, {0.0, 1.0}};
  for (int k = 0; k < 3; ++k) {
    const double df[3] = {grad[k][0] / 2.0, grad[k][1] / 2.0, 0.0};
    element_support::set_directional(lambda[k] / 2.0, df, 2, c[6 + k], r[6 + k]);
  }
}

// Code 2 touches entries 1 and 4, code 3 entry 1, code 4 entry 2, code 5 entry 3.
void add_prism_code(int code, double sign, double *out) {
  switch (code) {
  case 2:
    out[0] += sign;
    out[3] += sign;
    break;
  case 3:
    out[0] += sign;
    break;
  case 4:
    out[1] += sign;
    break;
  case 5:
    out[2] += sign;
    break;
  default:
    break;
  }
}

} // namespace

void prism_e9_edge_function(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]) {
  double c[9][3], r[9][3];
  prism_e9_reference(xi, eta, zeta, c, r);
  element_support::map_edge_values(9, c, g, out);
}

void prism_e9_edge_curl(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]) {
  double c[9][3], r[9][3];
  prism_e9_reference(xi, eta, zeta, c, r);
  element_support::map_edge_curls(9, r, g, out);
}

double prism_edge_coefficients(int from, int to, double *out) {
  for (int e = 0; e < 9; ++e) out[e] = 0.0;
  add_prism_code(to, 1.0, out);
  add_prism_code(from, -1.0, out);
  return -1.0;
}

// Triangle faces take (u, v) as triangle coordinates, the side faces u along the base edge
// in [-1, 1] and v = zeta; the parametrisation follows face_nodes_out.
void prism_face_point(int face, double u, double v, double *out) {
  switch (face) {
  case 0:
    out[0] = v, out[1] = u, out[2] = -1.0;
    break;
  case 1:
    out[0] = u, out[1] = v, out[2] = 1.0;
    break;
  case 2:
    out[0] = (1.0 + u) / 2.0, out[1] = 0.0, out[2] = v;
    break;
  case 3:
    out[0] = (1.0 - u) / 2.0, out[1] = (1.0 + u) / 2.0, out[2] = v;
    break;
  default:
    out[0] = 0.0, out[1] = (1.0 - u) / 2.0, out[2] = v;
    break;
  }
}

} // namespace tesmora::element_functions
