// TRIANGLE_N3E3: linear shape functions, the three Whitney edge functions and the rotation of
// the triangles.
#include "mesh/elements/element_functions.hpp"

namespace tesmora::element_functions {

void triangle3_shape(double a, double b, double *out) {
  out[0] = 1.0 - a - b;
  out[1] = a;
  out[2] = b;
}

void triangle3_derivatives(double /*a*/, double /*b*/, double (*out)[2]) {
  out[0][0] = -1.0, out[0][1] = -1.0;
  out[1][0] = 1.0, out[1][1] = 0.0;
  out[2][0] = 0.0, out[2][1] = 1.0;
}

// W12 = (1 - b, a), W23 = (-b, a), W31 = (-b, a - 1); each has curl 2.
void triangle_e3_edge_function(double a, double b, double (*out)[2]) {
  out[0][0] = 1.0 - b, out[0][1] = a;
  out[1][0] = -b, out[1][1] = a;
  out[2][0] = -b, out[2][1] = a - 1.0;
}

void triangle_e3_edge_curl(double /*a*/, double /*b*/, double *out) { out[0] = out[1] = out[2] = 2.0; }

void rotate_triangle_point(int rotation, double a, double b, double *out) {
  switch (rotation) {
  case 0:
    out[0] = a, out[1] = b;
    break;
  case 1:
    out[0] = b, out[1] = 1.0 - a - b;
    break;
  default:
    out[0] = 1.0 - a - b, out[1] = a;
    break;
  }
}

} // namespace tesmora::element_functions
