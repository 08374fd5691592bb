// HEXA_N20E36: the 36 second-order edge functions of the 20-node hexahedron.
#include "mesh/elements/edge_support.hpp"
#include "mesh/elements/element_functions.hpp"
#include "mesh/elements/volume_tables.hpp"

namespace tesmora::element_functions {

namespace {

// Three groups of twelve, one per direction d. A half edge at (t, u) on the two other axes
// j, k is (sigma x_d + t x_j + u x_k - 1)(1 + t x_j)(1 + u x_k)/8 g_d, with sigma = -2 for the
// half from the corner at -1 and +2 for the half ending at the corner at +1; a line through
// the middle of a face, at x_n = v and x_m = 0, is (1 + v x_n)(1 - x_m^2)/4 g_d. Each has line
// integral 1 along its own edge, which runs from the lower to the higher coordinate.
void hexa_e36_reference(double xi, double eta, double zeta, double (*c)[3], double (*r)[3]) {
  const double x[3] = {xi, eta, zeta};
  for (int e = 0; e < 36; ++e) {
    const POINT_3D &a = element_tables::hexa27_nodes[element_tables::hexa_e36_edges[e][0] - 1];
    const POINT_3D &b = element_tables::hexa27_nodes[element_tables::hexa_e36_edges[e][1] - 1];
    const int d = a[0] != b[0] ? 0 : a[1] != b[1] ? 1 : 2;
    const int j = (d + 1) % 3;
    const int k = (d + 2) % 3;
    double df[3] = {0.0, 0.0, 0.0};
    double f = 0.0;
    if (a[j] != 0.0 && a[k] != 0.0) {
      const double sigma = a[d] < 0.0 ? -2.0 : 2.0;
      const double fj = 1.0 + a[j] * x[j];
      const double fk = 1.0 + a[k] * x[k];
      const double p = sigma * x[d] + a[j] * x[j] + a[k] * x[k] - 1.0;
      f = p * fj * fk / 8.0;
      df[d] = sigma * fj * fk / 8.0;
      df[j] = a[j] * fk * (fj + p) / 8.0;
      df[k] = a[k] * fj * (fk + p) / 8.0;
    } else {
      const int n = a[j] != 0.0 ? j : k; // the axis on which the line sits at +/-1
      const int m = n == j ? k : j;      // the axis on which it sits at 0
      const double fn = 1.0 + a[n] * x[n];
      const double bubble = 1.0 - x[m] * x[m];
      f = fn * bubble / 4.0;
      df[n] = a[n] * bubble / 4.0;
      df[m] = -2.0 * x[m] * fn / 4.0;
    }
    element_support::set_directional(f, df, d, c[e], r[e]);
  }
}

} // namespace

void hexa_e36_edge_function(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]) {
  double c[36][3], r[36][3];
  hexa_e36_reference(xi, eta, zeta, c, r);
  element_support::map_edge_values(36, c, g, out);
}

void hexa_e36_edge_curl(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]) {
  double c[36][3], r[36][3];
  hexa_e36_reference(xi, eta, zeta, c, r);
  element_support::map_edge_curls(36, r, g, out);
}

} // namespace tesmora::element_functions
