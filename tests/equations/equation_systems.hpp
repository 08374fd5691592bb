// Test systems with known structure, built from their stencils independently of the solver:
// a 3-D Laplacian, a discrete curl-curl plus mass on a structured edge grid, its complex AC form,
// and an upwind convection-diffusion operator. Each keeps its full rows for reference products.
#pragma once

#include "equations/matrix_profile.hpp"
#include "equations/sparse_matrix.hpp"

#include <array>
#include <complex>
#include <cstdint>
#include <map>
#include <random>
#include <vector>

namespace tesmora::testing {

using complex = std::complex<double>;

// Full rows, 0-based: rows[i][j] = a_ij.
struct TEST_SYSTEM {
  int n = 0;
  std::vector<std::map<int, complex>> rows;
  bool is_complex = false;
  bool asymmetric = false;
};

// -laplace on an nx*ny*nz grid of interior nodes with Dirichlet walls: 6 on the diagonal, -1 to
// each neighbour. numbering[k] gives the unknown of grid node k (identity when empty).
inline TEST_SYSTEM make_laplacian(int nx, int ny, int nz, const std::vector<int> &numbering = {}) {
  TEST_SYSTEM s;
  s.n = nx * ny * nz;
  s.rows.resize(s.n);
  auto id = [&](int i, int j, int k) {
    const int node = i + nx * (j + ny * k);
    return numbering.empty() ? node : numbering[node];
  };
  for (int k = 0; k < nz; ++k)
    for (int j = 0; j < ny; ++j)
      for (int i = 0; i < nx; ++i) {
        const int row = id(i, j, k);
        s.rows[row][row] = 6.0;
        if (i > 0) s.rows[row][id(i - 1, j, k)] = -1.0;
        if (i + 1 < nx) s.rows[row][id(i + 1, j, k)] = -1.0;
        if (j > 0) s.rows[row][id(i, j - 1, k)] = -1.0;
        if (j + 1 < ny) s.rows[row][id(i, j + 1, k)] = -1.0;
        if (k > 0) s.rows[row][id(i, j, k - 1)] = -1.0;
        if (k + 1 < nz) s.rows[row][id(i, j, k + 1)] = -1.0;
      }
  return s;
}

// Convection-diffusion -laplace u + c . grad u with first-order upwind differences (c > 0):
// row gets 6 + cx + cy + cz on the diagonal, -1 - c_d to the upstream and -1 downstream.
inline TEST_SYSTEM make_convection_diffusion(int nx, int ny, int nz, double cx, double cy, double cz) {
  TEST_SYSTEM s = make_laplacian(nx, ny, nz);
  s.asymmetric = true;
  const double c[3] = {cx, cy, cz};
  const int stride[3] = {1, nx, nx * ny};
  const int extent[3] = {nx, ny, nz};
  for (int row = 0; row < s.n; ++row) {
    const int coordinate[3] = {row % nx, (row / nx) % ny, row / (nx * ny)};
    s.rows[row][row] += cx + cy + cz;
    for (int d = 0; d < 3; ++d)
      if (coordinate[d] > 0) s.rows[row][row - stride[d]] -= c[d];
    (void)extent;
  }
  return s;
}

// Edges of a structured grid of cells, and the discrete curl: each face lists its 4 edges with
// orientation signs. K = C^T C + mass I is the lowest-order edge curl-curl with a lumped mass.
struct EDGE_GRID {
  int no_edges = 0;
  std::vector<std::array<std::pair<int, double>, 4>> faces;
};

inline EDGE_GRID make_edge_grid(int nc) {
  const int np = nc + 1;
  EDGE_GRID g;
  // Edge numbering: direction d, then the node it starts from.
  auto edge = [&](int d, int i, int j, int k) { return d * np * np * np + i + np * (j + np * k); };
  g.no_edges = 3 * np * np * np; // includes edges that leave the grid; they couple to no face
  for (int k = 0; k < np; ++k)
    for (int j = 0; j < np; ++j)
      for (int i = 0; i < np; ++i) {
        // Face normal z at (i,j,k): edges x(i,j), y(i+1,j), -x(i,j+1), -y(i,j).
        if (i < nc && j < nc)
          g.faces.push_back({{{edge(0, i, j, k), 1.0},
                              {edge(1, i + 1, j, k), 1.0},
                              {edge(0, i, j + 1, k), -1.0},
                              {edge(1, i, j, k), -1.0}}});
        if (j < nc && k < nc)
          g.faces.push_back({{{edge(1, i, j, k), 1.0},
                              {edge(2, i, j + 1, k), 1.0},
                              {edge(1, i, j, k + 1), -1.0},
                              {edge(2, i, j, k), -1.0}}});
        if (k < nc && i < nc)
          g.faces.push_back({{{edge(2, i, j, k), 1.0},
                              {edge(0, i, j, k + 1), 1.0},
                              {edge(2, i + 1, j, k), -1.0},
                              {edge(0, i, j, k), -1.0}}});
      }
  return g;
}

// curl-curl + mass; with omega_sigma nonzero the complex AC form K + i omega sigma I.
inline TEST_SYSTEM make_curl_curl(int nc, double mass, double omega_sigma = 0.0) {
  const EDGE_GRID g = make_edge_grid(nc);
  TEST_SYSTEM s;
  s.n = g.no_edges;
  s.is_complex = omega_sigma != 0.0;
  s.rows.resize(s.n);
  for (const auto &face : g.faces)
    for (const auto &[a, sa] : face)
      for (const auto &[b, sb] : face) s.rows[a][b] += sa * sb;
  for (int e = 0; e < s.n; ++e) s.rows[e][e] += complex(mass, omega_sigma);
  return s;
}

// y = A x from the full rows (real or complex pairs).
inline std::vector<complex> reference_product(const TEST_SYSTEM &s, const std::vector<complex> &x) {
  std::vector<complex> y(s.n);
  for (int i = 0; i < s.n; ++i)
    for (const auto &[j, a] : s.rows[i]) y[i] += a * x[j];
  return y;
}

// The profile (type 1) and the values of the system in a matrix made with `options`.
inline SPARSE_MATRIX *to_sparse_matrix(const TEST_SYSTEM &s, SPARSE_MATRIX_OPTIONS options) {
  PROFILE_LISTS *lists = make_profile_lists(s.n);
  for (int i = 0; i < s.n; ++i)
    for (const auto &entry : s.rows[i]) add_connection(lists, i + 1, entry.first + 1);
  MATRIX_PROFILE *profile = make_matrix_profile(s.n, profile_lower_with_diagonal);
  build_profile(profile, lists);
  free_profile_lists(&lists);
  options.is_complex = s.is_complex ? 1 : 0;
  options.asymmetric = s.asymmetric ? 1 : 0;
  SPARSE_MATRIX *m = make_sparse_matrix(s.n, profile->size, options);
  set_sparse_matrix_profile(m, profile);
  const int width = s.is_complex ? 2 : 1;
  for (int i = 0; i < s.n; ++i)
    for (const auto &[j, a] : s.rows[i]) {
      const int location = location_in_matrix(i + 1, j + 1, profile->row_head_pointers, profile->index);
      double *target = i >= j ? m->matrix_lower : m->matrix_upper;
      if (i == j && m->matrix_upper) m->matrix_upper[width * location] = a.real();
      if (!target) continue; // symmetric: the upper entry is the lower one
      target[width * location] = a.real();
      if (width == 2) target[width * location + 1] = a.imag();
    }
  free_matrix_profile(&profile);
  return m;
}

// A smooth-ish random solution with a fixed seed.
inline std::vector<complex> random_solution(int n, bool is_complex, unsigned seed = 7) {
  std::mt19937 generator(seed);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  std::vector<complex> x(n);
  for (auto &v : x) v = is_complex ? complex(u(generator), u(generator)) : complex(u(generator), 0.0);
  return x;
}

// Interleaves complex values as the solver stores them (pairs), or takes the real parts.
inline std::vector<double> to_doubles(const std::vector<complex> &v, bool is_complex) {
  std::vector<double> out;
  for (const auto &z : v) {
    out.push_back(z.real());
    if (is_complex) out.push_back(z.imag());
  }
  return out;
}
inline std::vector<complex> to_complex(const std::vector<double> &v, bool is_complex) {
  std::vector<complex> out;
  const std::size_t width = is_complex ? 2 : 1;
  for (std::size_t i = 0; i < v.size(); i += width) out.emplace_back(v[i], is_complex ? v[i + 1] : 0.0);
  return out;
}

} // namespace tesmora::testing
