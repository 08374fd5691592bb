// Helpers of the element tests: random reference points, distorted elements, independent
// quadrature along edges and a least-squares residual.
#pragma once

#include "mesh/element_catalogue.hpp"
#include "mesh/element_transform.hpp"

#include <array>
#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace tesmora::testing {

using NODE_TABLE = std::vector<std::array<double, 3>>;

// A random point inside the reference shape of `type`, kept a little away from its boundary.
inline POINT_3D random_reference_point(const V_ELEMENT_TYPE &type, std::mt19937 &rng) {
  std::uniform_real_distribution<double> unit(0.02, 0.98);
  switch (type.gauss) {
  case GAUSS_HEXAHEDRON:
    return {2 * unit(rng) - 1, 2 * unit(rng) - 1, 2 * unit(rng) - 1};
  case GAUSS_PRISM: {
    double a = unit(rng), b = unit(rng);
    if (a + b > 1.0) a = 1.0 - a, b = 1.0 - b;
    return {a, b, 2 * unit(rng) - 1};
  }
  case GAUSS_TETRAHEDRON:
    for (;;) {
      const double a = unit(rng), b = unit(rng), c = unit(rng);
      if (a + b + c < 0.98) return {a, b, c};
    }
  default: {
    const double zeta = 0.95 * unit(rng);
    const double q = 1.0 - zeta;
    return {q * (2 * unit(rng) - 1), q * (2 * unit(rng) - 1), zeta};
  }
  }
}

// A smooth, orientation-keeping map of space used to bend elements.
inline std::array<double, 3> bend(const std::array<double, 3> &x) {
  return {1.1 * x[0] + 0.2 * x[1] + 0.1 * x[2] + 0.08 * std::sin(2.0 * x[1] + 1.0),
          0.1 * x[0] + 0.9 * x[1] + 0.15 * x[2] + 0.08 * std::sin(1.5 * x[2] + 0.3),
          -0.1 * x[0] + 0.05 * x[1] + 1.2 * x[2] + 0.08 * std::sin(1.7 * x[0] + 0.2)};
}

// Reference nodes of the type carried by `bend`, each moved by a random offset of `jitter`.
inline NODE_TABLE distorted_nodes(const V_ELEMENT_TYPE &type, std::mt19937 &rng, double jitter) {
  std::uniform_real_distribution<double> offset(-jitter, jitter);
  NODE_TABLE xyz;
  for (const POINT_3D &p : type.node_coordinates) {
    std::array<double, 3> x = bend({p[0], p[1], p[2]});
    for (double &v : x) v += offset(rng);
    xyz.push_back(x);
  }
  return xyz;
}

// Reference nodes under a fixed general affine map (straight-sided, skewed element).
inline NODE_TABLE affine_nodes(const V_ELEMENT_TYPE &type) {
  const double a[3][3] = {{1.3, 0.4, -0.2}, {-0.3, 0.8, 0.25}, {0.2, -0.1, 1.1}};
  const double b[3] = {0.5, -1.0, 2.0};
  NODE_TABLE xyz;
  for (const POINT_3D &p : type.node_coordinates) {
    std::array<double, 3> x{};
    for (int i = 0; i < 3; ++i) x[i] = b[i] + a[i][0] * p[0] + a[i][1] * p[1] + a[i][2] * p[2];
    xyz.push_back(x);
  }
  return xyz;
}

inline NODE_TABLE reference_nodes(const V_ELEMENT_TYPE &type) {
  NODE_TABLE xyz;
  for (const POINT_3D &p : type.node_coordinates) xyz.push_back({p[0], p[1], p[2]});
  return xyz;
}

inline const double (*rows(const NODE_TABLE &xyz))[3] {
  return reinterpret_cast<const double(*)[3]>(xyz.data());
}

// Line integral of the tangential component of every edge function along the straight
// reference segment from a to b, mapped into the element: composite 2-point Gauss-Legendre on
// 200 panels (exact for cubics), written here independently of the element's own Gauss
// tables. It is an open rule, so a function that jumps at an end point (the pyramid's apex)
// does not disturb it.
inline std::vector<double> edge_line_integrals(const V_ELEMENT_TYPE &type, const NODE_TABLE &xyz,
                                               const POINT_3D &a, const POINT_3D &b) {
  std::vector<double> sums(static_cast<std::size_t>(type.no_edges), 0.0);
  const int panels = 200;
  const double offset = 0.5 / std::sqrt(3.0);
  TRANSFORM_SCRATCH scratch;
  double values[max_element_edges][3], inverse[3][3];
  for (int k = 0; k < 2 * panels; ++k) {
    const double s = (k / 2 + 0.5 + (k % 2 ? offset : -offset)) / panels;
    const double p[3] = {a[0] + s * (b[0] - a[0]), a[1] + s * (b[1] - a[1]), a[2] + s * (b[2] - a[2])};
    element_transform(type, rows(xyz), p[0], p[1], p[2], inverse, scratch);
    type.edge_function(p[0], p[1], p[2], inverse, values);
    double tangent[3];
    for (int i = 0; i < 3; ++i)
      tangent[i] = scratch.jacobian_matrix[i][0] * (b[0] - a[0]) +
                   scratch.jacobian_matrix[i][1] * (b[1] - a[1]) +
                   scratch.jacobian_matrix[i][2] * (b[2] - a[2]);
    for (int e = 0; e < type.no_edges; ++e)
      sums[static_cast<std::size_t>(e)] +=
          (values[e][0] * tangent[0] + values[e][1] * tangent[1] + values[e][2] * tangent[2]) /
          (2.0 * panels);
  }
  return sums;
}

// Relative residual |A c - y| / |y| of the least-squares solution of A c = y (A is m x n,
// row-major): y minus its projection on the span of the columns, formed by Gram-Schmidt run
// twice per column; columns dependent on earlier ones are dropped.
inline double least_squares_residual(const std::vector<double> &a, std::vector<double> y, int m, int n) {
  double norm_y = 0.0;
  for (double v : y) norm_y += v * v;
  std::vector<std::vector<double>> basis;
  for (int k = 0; k < n; ++k) {
    std::vector<double> q(static_cast<std::size_t>(m));
    double initial = 0.0;
    for (int i = 0; i < m; ++i) q[i] = a[static_cast<std::size_t>(i * n + k)], initial += q[i] * q[i];
    for (int pass = 0; pass < 2; ++pass)
      for (const auto &b : basis) {
        double dot = 0.0;
        for (int i = 0; i < m; ++i) dot += b[i] * q[i];
        for (int i = 0; i < m; ++i) q[i] -= dot * b[i];
      }
    double norm = 0.0;
    for (double v : q) norm += v * v;
    if (norm <= 1e-20 * initial || norm == 0.0) continue;
    for (double &v : q) v /= std::sqrt(norm);
    basis.push_back(q);
  }
  for (int pass = 0; pass < 2; ++pass)
    for (const auto &b : basis) {
      double dot = 0.0;
      for (int i = 0; i < m; ++i) dot += b[i] * y[i];
      for (int i = 0; i < m; ++i) y[i] -= dot * b[i];
    }
  double residual = 0.0;
  for (double v : y) residual += v * v;
  return std::sqrt(residual / norm_y);
}

inline std::string type_label(const V_ELEMENT_TYPE &type) {
  return std::string(type.name) + " id " + std::to_string(type.id);
}

} // namespace tesmora::testing
