// PYRAMID_N5E8: shape functions of the 5-node pyramid (apex first), its eight edge functions
// and the pyramid face points.
//
// The base functions are written in the collapsed coordinates x = xi/(1 - zeta),
// y = eta/(1 - zeta). At the apex (zeta = 1 exactly) x = y = 0 is taken, so nothing divides
// by zero; every formula below is finite there.
#include "mesh/elements/edge_support.hpp"
#include "mesh/elements/element_functions.hpp"
#include "mesh/elements/volume_tables.hpp"

namespace tesmora::element_functions {

using element_tables::pyramid13_nodes;

namespace {

struct COLLAPSED {
  double x, y, q; // x = xi/q, y = eta/q, q = 1 - zeta
};

COLLAPSED collapse(double xi, double eta, double zeta) {
  const double q = 1.0 - zeta;
  if (zeta == 1.0) return {0.0, 0.0, 0.0};
  return {xi / q, eta / q, q};
}

} // namespace

// N1 = zeta; base corner with signs (s, t): (1 + s x)(1 + t y)(1 - zeta)/4.
void pyramid5_shape(double xi, double eta, double zeta, double *out) {
  const COLLAPSED c = collapse(xi, eta, zeta);
  out[0] = zeta;
  for (int i = 1; i < 5; ++i) {
    const double s = pyramid13_nodes[i][0];
    const double t = pyramid13_nodes[i][1];
    out[i] = (1.0 + s * c.x) * (1.0 + t * c.y) * c.q / 4.0;
  }
}

// d/dxi = s(1 + t y)/4, d/deta = t(1 + s x)/4, d/dzeta = (s t x y - 1)/4: the q of the
// function cancels against the 1/q of the collapsed coordinates.
void pyramid5_derivatives(double xi, double eta, double zeta, double (*out)[3]) {
  const COLLAPSED c = collapse(xi, eta, zeta);
  out[0][0] = 0.0;
  out[0][1] = 0.0;
  out[0][2] = 1.0;
  for (int i = 1; i < 5; ++i) {
    const double s = pyramid13_nodes[i][0];
    const double t = pyramid13_nodes[i][1];
    out[i][0] = s * (1.0 + t * c.y) / 4.0;
    out[i][1] = t * (1.0 + s * c.x) / 4.0;
    out[i][2] = (s * t * c.x * c.y - 1.0) / 4.0;
  }
}

namespace {

// With A = x g3 + g1, B = y g3 + g2: the slant edge from the apex to the base corner (s, t) is
// ((s(1 + t y) A + t(1 + s x) B) zeta - (1 + s x)(1 + t y) g3)/4, whose reference curl is
// (-t(1 + s x)/2, s(1 + t y)/2, 0). The base edge along xi at y = t is (1 + t y) q A/4 with
// curl (t x/4, -(2 + t y)/4, -t/4); along eta at x = s it is (1 + s x) q B/4 with curl
// ((2 + s x)/4, -s y/4, s/4).
void pyramid_e8_reference(double xi, double eta, double zeta, double (*c)[3], double (*r)[3]) {
  const COLLAPSED p = collapse(xi, eta, zeta);
  const double x = p.x;
  const double y = p.y;
  for (int e = 0; e < 4; ++e) {
    const double s = pyramid13_nodes[e + 1][0];
    const double t = pyramid13_nodes[e + 1][1];
    const double alpha = s * (1.0 + t * y);
    const double beta = t * (1.0 + s * x);
    c[e][0] = alpha * zeta / 4.0;
    c[e][1] = beta * zeta / 4.0;
    c[e][2] = ((alpha * x + beta * y) * zeta - (1.0 + s * x) * (1.0 + t * y)) / 4.0;
    r[e][0] = -beta / 2.0;
    r[e][1] = alpha / 2.0;
    r[e][2] = 0.0;
  }
  for (int k = 0; k < 2; ++k) { // edges 5 (y = -1) and 6 (y = 1), along xi
    const double t = k == 0 ? -1.0 : 1.0;
    const double f = (1.0 + t * y) * p.q / 4.0;
    c[4 + k][0] = f;
    c[4 + k][1] = 0.0;
    c[4 + k][2] = f * x;
    r[4 + k][0] = t * x / 4.0;
    r[4 + k][1] = -(2.0 + t * y) / 4.0;
    r[4 + k][2] = -t / 4.0;
  }
  for (int k = 0; k < 2; ++k) { // edges 7 (x = -1) and 8 (x = 1), along eta
    const double s = k == 0 ? -1.0 : 1.0;
    const double f = (1.0 + s * x) * p.q / 4.0;
    c[6 + k][0] = 0.0;
    c[6 + k][1] = f;
    c[6 + k][2] = f * y;
    r[6 + k][0] = (2.0 + s * x) / 4.0;
    r[6 + k][1] = -s * y / 4.0;
    r[6 + k][2] = s / 4.0;
  }
}

} // namespace

void pyramid_e8_edge_function(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]) {
  double c[8][3], r[8][3];
  pyramid_e8_reference(xi, eta, zeta, c, r);
  element_support::map_edge_values(8, c, g, out);
}

void pyramid_e8_edge_curl(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]) {
  double c[8][3], r[8][3];
  pyramid_e8_reference(xi, eta, zeta, c, r);
  element_support::map_edge_curls(8, r, g, out);
}

// Face 0 (the base) takes (u, v) in [-1, 1]^2; the triangles take triangle coordinates, with
// s = u + v and w = 1 - s. A triangle is parametrised in the collapsed coordinates, where it
// is a side x = +/-1 or y = +/-1 of the square, with the ratio (u - v)/s taken as 0 at s = 0;
// the point returned is carried back to (xi, eta, zeta) = (x q, y q, w) with q = 1 - w = s,
// so that it can go straight into the shape and edge functions.
void pyramid_face_point(int face, double u, double v, double *out) {
  const double s = u + v;
  const double w = 1.0 - u - v;
  switch (face) {
  case 0:
    out[0] = v, out[1] = u, out[2] = 0.0;
    break;
  case 1:
    out[0] = -(u - v), out[1] = -s, out[2] = w;
    break;
  case 2:
    out[0] = s, out[1] = -(u - v), out[2] = w;
    break;
  case 3:
    out[0] = u - v, out[1] = s, out[2] = w;
    break;
  default:
    out[0] = -s, out[1] = u - v, out[2] = w;
    break;
  }
}

} // namespace tesmora::element_functions
