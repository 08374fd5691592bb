// PYRAMID_N13E8 geometry: the 13-node pyramid's functions as this system defines them.
//
// N1 is the constant 1 at every point, and nodes 10 to 13 carry (1 + s x)(1 + t y) q zeta;
// both are kept as they are because stored models and matrices were made with them. With
// x = xi/q, y = eta/q, q = 1 - zeta, every derivative below is free of 1/q; at the apex
// (zeta = 1 exactly) x = y = 0 is taken and all functions but N1 vanish.
#include "mesh/elements/element_functions.hpp"
#include "mesh/elements/volume_tables.hpp"

namespace tesmora::element_functions {

using element_tables::pyramid13_nodes;

namespace {

struct COLLAPSED13 {
  double x, y, q;
};

COLLAPSED13 collapse13(double xi, double eta, double zeta) {
  if (zeta == 1.0) return {0.0, 0.0, 0.0};
  const double q = 1.0 - zeta;
  return {xi / q, eta / q, q};
}

} // namespace

// Corners (s, t): (1 + s x)(1 + t y) q (s x + t y - 2 zeta - 1)/4. Base mid nodes on the lines
// y = t: (1 + t y)(1 - x^2) q/2; on x = s: (1 + s x)(1 - y^2) q/2. Nodes 10 to 13, over the
// corners 2 to 5: (1 + s x)(1 + t y) q zeta.
void pyramid13_shape(double xi, double eta, double zeta, double *out) {
  out[0] = 1.0;
  if (zeta == 1.0) {
    for (int i = 1; i < 13; ++i) out[i] = 0.0;
    return;
  }
  const COLLAPSED13 c = collapse13(xi, eta, zeta);
  for (int i = 1; i < 5; ++i) {
    const double s = pyramid13_nodes[i][0];
    const double t = pyramid13_nodes[i][1];
    const double corner = (1.0 + s * c.x) * (1.0 + t * c.y) * c.q;
    out[i] = corner * (s * c.x + t * c.y - 2.0 * zeta - 1.0) / 4.0;
    out[8 + i] = corner * zeta;
  }
  out[5] = (1.0 - c.y) * (1.0 - c.x * c.x) * c.q / 2.0;
  out[6] = (1.0 + c.y) * (1.0 - c.x * c.x) * c.q / 2.0;
  out[7] = (1.0 - c.x) * (1.0 - c.y * c.y) * c.q / 2.0;
  out[8] = (1.0 + c.x) * (1.0 - c.y * c.y) * c.q / 2.0;
}

// For f(x, y, zeta) = q g(x, y, zeta): d/dxi = g_x, d/deta = g_y and
// d/dzeta = f_zeta + x g_x + y g_y, where f_zeta is taken at fixed x, y.
void pyramid13_derivatives(double xi, double eta, double zeta, double (*out)[3]) {
  const COLLAPSED13 c = collapse13(xi, eta, zeta);
  const double x = c.x;
  const double y = c.y;
  out[0][0] = out[0][1] = out[0][2] = 0.0;
  for (int i = 1; i < 5; ++i) {
    const double s = pyramid13_nodes[i][0];
    const double t = pyramid13_nodes[i][1];
    const double fx = 1.0 + s * x;
    const double fy = 1.0 + t * y;
    const double gx = s * fy * (2.0 * s * x + t * y - 2.0 * zeta) / 4.0;
    const double gy = t * fx * (s * x + 2.0 * t * y - 2.0 * zeta) / 4.0;
    const double f_zeta = fx * fy * (4.0 * zeta - 1.0 - s * x - t * y) / 4.0;
    out[i][0] = gx;
    out[i][1] = gy;
    out[i][2] = f_zeta + x * gx + y * gy;
    const double hx = s * fy * zeta;
    const double hy = t * fx * zeta;
    out[8 + i][0] = hx;
    out[8 + i][1] = hy;
    out[8 + i][2] = fx * fy * (1.0 - 2.0 * zeta) + x * hx + y * hy;
  }
  for (int k = 0; k < 2; ++k) {
    const double t = k == 0 ? -1.0 : 1.0; // nodes 6 and 7, on y = -1 and y = 1
    const double fy = 1.0 + t * y;
    const double gx = -x * fy;
    const double gy = t * (1.0 - x * x) / 2.0;
    out[5 + k][0] = gx;
    out[5 + k][1] = gy;
    out[5 + k][2] = -fy * (1.0 - x * x) / 2.0 + x * gx + y * gy;
    const double s = t; // nodes 8 and 9, on x = -1 and x = 1
    const double fx = 1.0 + s * x;
    const double hx = s * (1.0 - y * y) / 2.0;
    const double hy = -y * fx;
    out[7 + k][0] = hx;
    out[7 + k][1] = hy;
    out[7 + k][2] = -fx * (1.0 - y * y) / 2.0 + x * hx + y * hy;
  }
}

} // namespace tesmora::element_functions
