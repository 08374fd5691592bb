// TETRA_N4E6: linear shape functions, the six Whitney edge functions and the face points of
// the tetrahedra.
#include "mesh/elements/edge_support.hpp"
#include "mesh/elements/element_functions.hpp"
#include "mesh/elements/volume_tables.hpp"

namespace tesmora::element_functions {

void tetra4_shape(double xi, double eta, double zeta, double *out) {
  out[0] = 1.0 - xi - eta - zeta;
  out[1] = xi;
  out[2] = eta;
  out[3] = zeta;
}

void tetra4_derivatives(double /*xi*/, double /*eta*/, double /*zeta*/, double (*out)[3]) {
  const element_support::TETRA_BARYCENTRIC t = element_support::tetra_barycentric(0.0, 0.0, 0.0);
  for (int i = 0; i < 4; ++i)
    for (int d = 0; d < 3; ++d) out[i][d] = t.dl[i][d];
}

namespace {

// W_ab for the six pairs of edge_nodes.
void tetra_e6_reference(double xi, double eta, double zeta, double (*c)[3], double (*r)[3]) {
  const element_support::TETRA_BARYCENTRIC t = element_support::tetra_barycentric(xi, eta, zeta);
  for (int e = 0; e < 6; ++e) {
    const EDGE_ENDS &ends = element_tables::tetra_e6_edges[e];
    element_support::whitney(t, ends[0] - 1, ends[1] - 1, c[e], r[e]);
  }
}

} // namespace

void tetra_e6_edge_function(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]) {
  double c[6][3], r[6][3];
  tetra_e6_reference(xi, eta, zeta, c, r);
  element_support::map_edge_values(6, c, g, out);
}

void tetra_e6_edge_curl(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]) {
  double c[6][3], r[6][3];
  tetra_e6_reference(xi, eta, zeta, c, r);
  element_support::map_edge_curls(6, r, g, out);
}

// (u, v) are triangle coordinates along face_nodes_out.
void tetra_face_point(int face, double u, double v, double *out) {
  switch (face) {
  case 0:
    out[0] = 1.0 - u - v, out[1] = u, out[2] = v;
    break;
  case 1:
    out[0] = 0.0, out[1] = v, out[2] = u;
    break;
  case 2:
    out[0] = u, out[1] = 0.0, out[2] = v;
    break;
  default:
    out[0] = v, out[1] = u, out[2] = 0.0;
    break;
  }
}

} // namespace tesmora::element_functions
