// QUAD_N4E4: bilinear shape functions, the four first-order edge functions and the rotation
// of the quadrilaterals.
#include "mesh/elements/element_functions.hpp"
#include "mesh/elements/surface_tables.hpp"

namespace tesmora::element_functions {

using element_tables::quad9_nodes;

void quad4_shape(double a, double b, double *out) {
  for (int i = 0; i < 4; ++i) out[i] = (1.0 + quad9_nodes[i][0] * a) * (1.0 + quad9_nodes[i][1] * b) / 4.0;
}

void quad4_derivatives(double a, double b, double (*out)[2]) {
  for (int i = 0; i < 4; ++i) {
    const double s = quad9_nodes[i][0];
    const double t = quad9_nodes[i][1];
    out[i][0] = s * (1.0 + t * b) / 4.0;
    out[i][1] = t * (1.0 + s * a) / 4.0;
  }
}

// Edges 1-2, 4-3 along a: (1 -/+ b)/4; edges 1-4, 2-3 along b: (1 -/+ a)/4.
void quad_e4_edge_function(double a, double b, double (*out)[2]) {
  out[0][0] = (1.0 - b) / 4.0, out[0][1] = 0.0;
  out[1][0] = (1.0 + b) / 4.0, out[1][1] = 0.0;
  out[2][0] = 0.0, out[2][1] = (1.0 - a) / 4.0;
  out[3][0] = 0.0, out[3][1] = (1.0 + a) / 4.0;
}

void quad_e4_edge_curl(double /*a*/, double /*b*/, double *out) {
  out[0] = 0.25;
  out[1] = -0.25;
  out[2] = -0.25;
  out[3] = 0.25;
}

void rotate_quad_point(int rotation, double a, double b, double *out) {
  switch (rotation) {
  case 0:
    out[0] = a, out[1] = b;
    break;
  case 1:
    out[0] = b, out[1] = -a;
    break;
  case 2:
    out[0] = -a, out[1] = -b;
    break;
  default:
    out[0] = -b, out[1] = a;
    break;
  }
}

} // namespace tesmora::element_functions
