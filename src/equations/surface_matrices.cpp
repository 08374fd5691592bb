// The conductance matrix of a surface element from its tangential edge functions and surface
// gradients.
#include "equations/surface_matrices.hpp"

#include "equations/element_matrices.hpp"
#include "mesh/gauss.hpp"

#include <cmath>

namespace tesmora {
namespace {

double dot(const double a[3], const double b[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

// The dual basis of the two tangents t_a, t_b at a point (a^1 . t_a = 1, a^1 . t_b = 0, and so
// on): it carries reference components to real tangential vectors. Returns the area element
// |t_a x t_b|.
double dual_basis(const double t[2][3], double dual[2][3]) {
  const double g11 = dot(t[0], t[0]), g12 = dot(t[0], t[1]), g22 = dot(t[1], t[1]);
  const double det = g11 * g22 - g12 * g12;
  const double inverse[2][2] = {{g22 / det, -g12 / det}, {-g12 / det, g11 / det}};
  for (int r = 0; r < 2; ++r)
    for (int d = 0; d < 3; ++d) dual[r][d] = inverse[r][0] * t[0][d] + inverse[r][1] * t[1][d];
  return std::sqrt(det);
}

// Real vector of reference components c: c_a a^1 + c_b a^2.
void to_real(const double c[2], const double dual[2][3], double out[3]) {
  for (int d = 0; d < 3; ++d) out[d] = c[0] * dual[0][d] + c[1] * dual[1][d];
}

} // namespace

int surface_element_matrix(const S_ELEMENT &element, bool with_nodes, double *packed) {
  const S_ELEMENT_TYPE &type = *element.type;
  const int E = type.no_edges, N = type.no_nodes;
  const int rows = with_nodes ? E + N : E;
  const int count = rows * (rows + 1) / 2;
  for (int k = 0; k < count; ++k) packed[k] = 0.0;
  const GAUSS_POINTS &points = gauss_points(type.gauss);
  double derivatives[max_element_nodes][2], edge_reference[max_element_edges][2];
  double values[max_element_edges][3], gradients[max_element_nodes][3];
  for (int q = 0; q < points.no_points; ++q) {
    const double a = points.p[0][q], b = points.p[1][q];
    type.shape_derivatives(a, b, derivatives);
    double t[2][3] = {};
    for (int k = 0; k < N; ++k) {
      const double xyz[3] = {element.nodes[k]->x, element.nodes[k]->y, element.nodes[k]->z};
      for (int d = 0; d < 3; ++d)
        t[0][d] += derivatives[k][0] * xyz[d], t[1][d] += derivatives[k][1] * xyz[d];
    }
    double dual[2][3];
    const double weight = dual_basis(t, dual) * points.w[q];
    type.edge_function(a, b, edge_reference);
    for (int i = 0; i < E; ++i) to_real(edge_reference[i], dual, values[i]);
    for (int i = 0; i < E; ++i)
      for (int j = 0; j <= i; ++j) packed[packed_index(i, j)] += weight * dot(values[i], values[j]);
    if (!with_nodes) continue;
    for (int k = 0; k < N; ++k) to_real(derivatives[k], dual, gradients[k]);
    for (int k = 0; k < N; ++k) {
      for (int j = 0; j < E; ++j) packed[packed_index(E + k, j)] += weight * dot(values[j], gradients[k]);
      for (int l = 0; l <= k; ++l)
        packed[packed_index(E + k, E + l)] += weight * dot(gradients[l], gradients[k]);
    }
  }
  return count;
}

} // namespace tesmora
