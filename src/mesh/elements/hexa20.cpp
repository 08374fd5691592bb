// HEXA_N20E12 and HEXA_N20E36 geometry: the 20-node serendipity shape functions.
#include "mesh/elements/element_functions.hpp"
#include "mesh/elements/volume_tables.hpp"

namespace tesmora::element_functions {

using element_tables::hexa27_nodes;

// Corners: (1 + s xi)(1 + t eta)(1 + u zeta)(s xi + t eta + u zeta - 2)/8. A mid node with
// coordinate 0 in direction d: (1 - x_d^2)(1 + a_j x_j)(1 + a_k x_k)/4.
void hexa20_shape(double xi, double eta, double zeta, double *out) {
  const double x[3] = {xi, eta, zeta};
  for (int i = 0; i < 8; ++i) {
    const POINT_3D &p = hexa27_nodes[i];
    out[i] = (1.0 + p[0] * xi) * (1.0 + p[1] * eta) * (1.0 + p[2] * zeta) *
             (p[0] * xi + p[1] * eta + p[2] * zeta - 2.0) / 8.0;
  }
  for (int i = 8; i < 20; ++i) {
    const POINT_3D &p = hexa27_nodes[i];
    const int d = p[0] == 0.0 ? 0 : p[1] == 0.0 ? 1 : 2;
    const int j = (d + 1) % 3;
    const int k = (d + 2) % 3;
    out[i] = (1.0 - x[d] * x[d]) * (1.0 + p[j] * x[j]) * (1.0 + p[k] * x[k]) / 4.0;
  }
}

void hexa20_derivatives(double xi, double eta, double zeta, double (*out)[3]) {
  const double x[3] = {xi, eta, zeta};
  for (int i = 0; i < 8; ++i) {
    const POINT_3D &p = hexa27_nodes[i];
    const double f[3] = {1.0 + p[0] * xi, 1.0 + p[1] * eta, 1.0 + p[2] * zeta};
    const double s = p[0] * xi + p[1] * eta + p[2] * zeta - 2.0;
    for (int d = 0; d < 3; ++d) {
      const int j = (d + 1) % 3;
      const int k = (d + 2) % 3;
      out[i][d] = p[d] * f[j] * f[k] * (s + f[d]) / 8.0;
    }
  }
  for (int i = 8; i < 20; ++i) {
    const POINT_3D &p = hexa27_nodes[i];
    const int d = p[0] == 0.0 ? 0 : p[1] == 0.0 ? 1 : 2;
    const int j = (d + 1) % 3;
    const int k = (d + 2) % 3;
    const double bubble = 1.0 - x[d] * x[d];
    const double fj = 1.0 + p[j] * x[j];
    const double fk = 1.0 + p[k] * x[k];
    out[i][d] = -2.0 * x[d] * fj * fk / 4.0;
    out[i][j] = bubble * p[j] * fk / 4.0;
    out[i][k] = bubble * fj * p[k] / 4.0;
  }
}

} // namespace tesmora::element_functions
