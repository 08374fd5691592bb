// QUAD_N8E4 and QUAD_N8E10: the 8-node serendipity quadrilateral and its ten second-order
// edge functions, the traces of the HEXA_N20E36 functions on a face.
#include "mesh/elements/element_functions.hpp"
#include "mesh/elements/surface_tables.hpp"

namespace tesmora::element_functions {

using element_tables::quad9_nodes;

// Corners (1 + s a)(1 + t b)(s a + t b - 1)/4; mid nodes (1 - a^2)(1 + t b)/2 on b = t and
// (1 + s a)(1 - b^2)/2 on a = s.
void quad8_shape(double a, double b, double *out) {
  for (int i = 0; i < 4; ++i) {
    const double s = quad9_nodes[i][0];
    const double t = quad9_nodes[i][1];
    out[i] = (1.0 + s * a) * (1.0 + t * b) * (s * a + t * b - 1.0) / 4.0;
  }
  for (int i = 4; i < 8; ++i) {
    const double s = quad9_nodes[i][0];
    const double t = quad9_nodes[i][1];
    out[i] = s == 0.0 ? (1.0 - a * a) * (1.0 + t * b) / 2.0 : (1.0 + s * a) * (1.0 - b * b) / 2.0;
  }
}

void quad8_derivatives(double a, double b, double (*out)[2]) {
  for (int i = 0; i < 4; ++i) {
    const double s = quad9_nodes[i][0];
    const double t = quad9_nodes[i][1];
    out[i][0] = s * (1.0 + t * b) * (2.0 * s * a + t * b) / 4.0;
    out[i][1] = t * (1.0 + s * a) * (s * a + 2.0 * t * b) / 4.0;
  }
  for (int i = 4; i < 8; ++i) {
    const double s = quad9_nodes[i][0];
    const double t = quad9_nodes[i][1];
    if (s == 0.0) {
      out[i][0] = -a * (1.0 + t * b);
      out[i][1] = t * (1.0 - a * a) / 2.0;
    } else {
      out[i][0] = s * (1.0 - b * b) / 2.0;
      out[i][1] = -b * (1.0 + s * a);
    }
  }
}

namespace {

// Along direction d, other axis j: a half edge at x_j = t is (sigma x_d + t x_j)(1 + t x_j)/4
// with sigma = -2 on the half from -1 and +2 on the half to +1; the middle line x_j = 0 is
// (1 - x_j^2)/2. Writes the function value f, the direction d and the curl about the normal.
void quad_e10_values(double a, double b, double (*out)[2], double *curl) {
  const double x[2] = {a, b};
  for (int e = 0; e < 10; ++e) {
    const POINT_2D &p = quad9_nodes[element_tables::quad_e10_edges[e][0] - 1];
    const POINT_2D &q = quad9_nodes[element_tables::quad_e10_edges[e][1] - 1];
    const int d = p[0] != q[0] ? 0 : 1;
    const int j = 1 - d;
    double f = 0.0;
    double df_j = 0.0;
    if (p[j] != 0.0) {
      const double sigma = p[d] < 0.0 ? -2.0 : 2.0;
      const double t = p[j];
      const double lead = sigma * x[d] + t * x[j];
      f = lead * (1.0 + t * x[j]) / 4.0;
      df_j = t * ((1.0 + t * x[j]) + lead) / 4.0;
    } else {
      f = (1.0 - x[j] * x[j]) / 2.0;
      df_j = -x[j];
    }
    out[e][d] = f;
    out[e][j] = 0.0;
    curl[e] = d == 0 ? -df_j : df_j; // curl = d/da F_b - d/db F_a
  }
}

} // namespace

void quad_e10_edge_function(double a, double b, double (*out)[2]) {
  double curl[10];
  quad_e10_values(a, b, out, curl);
}

void quad_e10_edge_curl(double a, double b, double *out) {
  double values[10][2];
  quad_e10_values(a, b, values, out);
}

} // namespace tesmora::element_functions
