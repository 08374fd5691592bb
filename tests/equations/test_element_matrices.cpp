// Element matrices of every volume type on an affinely distorted element: the curl-curl
// energy of a uniform field, the gradient kernel, and the conductivity form of a linear field
// against exact integrals computed here by rules of their own.
#include "equations/element_matrices.hpp"
#include "job/memory.hpp"
#include "materials/bh_curve.hpp"
#include "materials/material_tables.hpp"
#include "mesh/gauss.hpp"
#include <functional>

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

using VEC = std::array<double, 3>;

struct AFFINE {
  double m[3][3];
  VEC t;
  VEC apply(const POINT_3D &r) const {
    VEC x;
    for (int i = 0; i < 3; ++i) x[i] = m[i][0] * r[0] + m[i][1] * r[1] + m[i][2] * r[2] + t[i];
    return x;
  }
  double det() const {
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
           m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
  }
};

// The reference domain's volume of each family.
double reference_volume(const V_ELEMENT_TYPE &type) {
  switch (type.no_faces) {
  case 6:
    return 8.0; // [-1,1]^3
  case 5:
    return type.node_coordinates[0][2] == 1.0 && type.node_coordinates[0][0] == 0.0 ? 4.0 / 3.0 : 1.0;
  default:
    return 1.0 / 6.0; // unit tetrahedron
  }
}
bool is_pyramid(const V_ELEMENT_TYPE &t) {
  return t.no_faces == 5 && t.node_coordinates[0][2] == 1.0 && t.node_coordinates[0][0] == 0.0;
}

// Exact integral over the reference domain of a quadratic f, by rules exact for quadratics.
template <class F> double reference_integral(const V_ELEMENT_TYPE &type, F f) {
  auto tetra = [&](const VEC &a, const VEC &b, const VEC &c, const VEC &d) {
    // V (-1/20 sum of vertex values + 1/5 sum of edge-midpoint values)
    const VEC v[4] = {a, b, c, d};
    const VEC e1 = {b[0] - a[0], b[1] - a[1], b[2] - a[2]}, e2 = {c[0] - a[0], c[1] - a[1], c[2] - a[2]},
              e3 = {d[0] - a[0], d[1] - a[1], d[2] - a[2]};
    const double volume =
        std::fabs(e1[0] * (e2[1] * e3[2] - e2[2] * e3[1]) - e1[1] * (e2[0] * e3[2] - e2[2] * e3[0]) +
                  e1[2] * (e2[0] * e3[1] - e2[1] * e3[0])) /
        6.0;
    double vertices = 0.0, mids = 0.0;
    for (int i = 0; i < 4; ++i) {
      vertices += f(v[i]);
      for (int j = i + 1; j < 4; ++j)
        mids += f(VEC{(v[i][0] + v[j][0]) / 2, (v[i][1] + v[j][1]) / 2, (v[i][2] + v[j][2]) / 2});
    }
    return volume * (-vertices / 20.0 + mids / 5.0);
  };
  const double simpson[3] = {1.0 / 3.0, 4.0 / 3.0, 1.0 / 3.0}; // on [-1, 1], exact for cubics
  if (type.no_faces == 6) {
    double sum = 0.0;
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j)
        for (int k = 0; k < 3; ++k)
          sum += simpson[i] * simpson[j] * simpson[k] * f(VEC{i - 1.0, j - 1.0, k - 1.0});
    return sum;
  }
  if (is_pyramid(type)) {
    const VEC b0{-1, -1, 0}, b1{1, -1, 0}, b2{1, 1, 0}, b3{-1, 1, 0}, apex{0, 0, 1};
    return tetra(b0, b1, b2, apex) + tetra(b0, b2, b3, apex);
  }
  if (type.no_faces == 5) { // prism: triangle edge midpoints (area 1/2) times Simpson in zeta
    const VEC mids[3] = {{0.5, 0, 0}, {0.5, 0.5, 0}, {0, 0.5, 0}};
    double sum = 0.0;
    for (int k = 0; k < 3; ++k)
      for (const VEC &m : mids) sum += simpson[k] * (0.5 / 3.0) * f(VEC{m[0], m[1], k - 1.0});
    return sum;
  }
  return tetra(VEC{0, 0, 0}, VEC{1, 0, 0}, VEC{0, 1, 0}, VEC{0, 0, 1});
}

// Solves the normal equations of a least-squares fit (Gaussian elimination with pivoting).
std::vector<double> least_squares(const std::vector<std::vector<double>> &rows,
                                  const std::vector<double> &rhs, int n) {
  std::vector<std::vector<double>> a(static_cast<std::size_t>(n),
                                     std::vector<double>(static_cast<std::size_t>(n) + 1, 0.0));
  for (std::size_t r = 0; r < rows.size(); ++r)
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j)
        a[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)] +=
            rows[r][static_cast<std::size_t>(i)] * rows[r][static_cast<std::size_t>(j)];
      a[static_cast<std::size_t>(i)][static_cast<std::size_t>(n)] +=
          rows[r][static_cast<std::size_t>(i)] * rhs[r];
    }
  // A whisper of regularisation keeps the solve defined where the element's functions are
  // linearly dependent (some second-order sets are); it leaves a field in their span exact to
  // far below the tolerances used.
  double trace = 0.0;
  for (int i = 0; i < n; ++i) trace += a[static_cast<std::size_t>(i)][static_cast<std::size_t>(i)];
  for (int i = 0; i < n; ++i)
    a[static_cast<std::size_t>(i)][static_cast<std::size_t>(i)] += 1e-13 * trace / n;
  for (int c = 0; c < n; ++c) {
    int pivot = c;
    for (int r = c + 1; r < n; ++r)
      if (std::fabs(a[static_cast<std::size_t>(r)][static_cast<std::size_t>(c)]) >
          std::fabs(a[static_cast<std::size_t>(pivot)][static_cast<std::size_t>(c)]))
        pivot = r;
    std::swap(a[static_cast<std::size_t>(c)], a[static_cast<std::size_t>(pivot)]);
    for (int r = 0; r < n; ++r) {
      if (r == c) continue;
      const double factor = a[static_cast<std::size_t>(r)][static_cast<std::size_t>(c)] /
                            a[static_cast<std::size_t>(c)][static_cast<std::size_t>(c)];
      for (int k = c; k <= n; ++k)
        a[static_cast<std::size_t>(r)][static_cast<std::size_t>(k)] -=
            factor * a[static_cast<std::size_t>(c)][static_cast<std::size_t>(k)];
    }
  }
  std::vector<double> x(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i)
    x[static_cast<std::size_t>(i)] = a[static_cast<std::size_t>(i)][static_cast<std::size_t>(n)] /
                                     a[static_cast<std::size_t>(i)][static_cast<std::size_t>(i)];
  return x;
}

class ElementMatrices : public ::testing::TestWithParam<int> {
protected:
  void SetUp() override {
    make_gauss(3, 7, 5);
    type = find_v_element_type(GetParam());
    std::mt19937 random(static_cast<unsigned>(17 + GetParam()));
    std::uniform_real_distribution<double> jitter(-0.2, 0.2);
    for (int i = 0; i < 3; ++i) {
      for (int j = 0; j < 3; ++j) map.m[i][j] = (i == j ? 0.05 : 0.0) + 0.01 * jitter(random);
      map.t[i] = 0.1 * jitter(random);
    }
    nodes.resize(static_cast<std::size_t>(type->no_nodes));
    pointers.resize(nodes.size());
    for (int i = 0; i < type->no_nodes; ++i) {
      const VEC x = map.apply(type->node_coordinates[static_cast<std::size_t>(i)]);
      nodes[static_cast<std::size_t>(i)] = NODE{};
      nodes[static_cast<std::size_t>(i)].x = x[0];
      nodes[static_cast<std::size_t>(i)].y = x[1];
      nodes[static_cast<std::size_t>(i)].z = x[2];
      nodes[static_cast<std::size_t>(i)].id = i + 1;
      pointers[static_cast<std::size_t>(i)] = &nodes[static_cast<std::size_t>(i)];
    }
    mu.value = 200 * mu0;
    sigma.value = 3.0e6;
    magnetic = create_magnetic_property(linear_property);
    magnetic->linear = &mu;
    material.magnetic = magnetic;
    material.sigma = &sigma;
    element.type = type;
    element.nodes = pointers.data();
    element.material = &material;
    element.id = 1;
  }
  void TearDown() override {
    free_named(magnetic, "MagneticProperty");
    free_gauss(active_gauss());
  }
  // Coefficients of the element's edge functions that represent the field `field` (a
  // least-squares fit over points inside the element), and the fit's largest residual.
  std::vector<double> fit(const std::function<VEC(const VEC &)> &field, double *residual) {
    double xyz[max_element_nodes][3];
    for (int i = 0; i < type->no_nodes; ++i)
      xyz[i][0] = nodes[static_cast<std::size_t>(i)].x, xyz[i][1] = nodes[static_cast<std::size_t>(i)].y,
      xyz[i][2] = nodes[static_cast<std::size_t>(i)].z;
    std::vector<std::vector<double>> rows;
    std::vector<double> rhs;
    std::vector<std::array<std::array<double, 3>, 54>> samples;
    std::vector<VEC> targets;
    TRANSFORM_SCRATCH scratch;
    for (const VEC &p : sample_points()) {
      double inverse[3][3], values[max_element_edges][3], curls[max_element_edges][3];
      element_transform_edges(*type, xyz, p[0], p[1], p[2], inverse, values, curls, scratch);
      VEC x{};
      element_point(*type, xyz, p[0], p[1], p[2], x.data(), scratch);
      const VEC target = field(x);
      for (int d = 0; d < 3; ++d) {
        std::vector<double> row(static_cast<std::size_t>(type->no_edges));
        for (int e = 0; e < type->no_edges; ++e) row[static_cast<std::size_t>(e)] = values[e][d];
        rows.push_back(row);
        rhs.push_back(target[static_cast<std::size_t>(d)]);
      }
    }
    std::vector<double> a = least_squares(rows, rhs, type->no_edges);
    *residual = 0.0;
    for (std::size_t r = 0; r < rows.size(); ++r) {
      double value = 0.0;
      for (int e = 0; e < type->no_edges; ++e)
        value += rows[r][static_cast<std::size_t>(e)] * a[static_cast<std::size_t>(e)];
      *residual = std::max(*residual, std::fabs(value - rhs[r]));
    }
    return a;
  }
  // Points strictly inside the reference domain, many more than the element has edges.
  std::vector<VEC> sample_points() const {
    std::vector<VEC> points;
    const bool cube = type->no_faces == 6, pyramid = is_pyramid(*type),
               prism = type->no_faces == 5 && !pyramid;
    for (int i = 0; i < 7; ++i)
      for (int j = 0; j < 7; ++j)
        for (int k = 0; k < 7; ++k) {
          const double u = (i + 0.5) / 7, v = (j + 0.5) / 7, w = (k + 0.5) / 7;
          if (cube)
            points.push_back({2 * u - 1, 2 * v - 1, 2 * w - 1});
          else if (prism && u + v < 1)
            points.push_back({u, v, 2 * w - 1});
          else if (pyramid && std::fabs(2 * u - 1) < 1 - w && std::fabs(2 * v - 1) < 1 - w)
            points.push_back({2 * u - 1, 2 * v - 1, w});
          else if (!cube && !prism && !pyramid && u + v + w < 1)
            points.push_back({u, v, w});
        }
    return points;
  }
  const V_ELEMENT_TYPE *type = nullptr;
  AFFINE map{};
  std::vector<NODE> nodes;
  std::vector<NODE *> pointers;
  ConductivityProperty mu, sigma;
  MagneticProperty *magnetic = nullptr;
  MAT_PROPERTY material;
  V_ELEMENT element;
};

} // namespace

TEST_P(ElementMatrices, EnergyOfAUniformFieldAndTheGradientKernel) {
  SCOPED_TRACE(type->name);
  if (type->no_nodes == 13)
    GTEST_SKIP() << "the 13-node pyramid's constant N1 leaves linear fields unrepresented";
  ELEMENT_MATRICES matrices;
  TRANSFORM_SCRATCH scratch;
  ELEMENT_MATRIX_OPTIONS options;
  element_matrices(element, options, matrices, scratch);
  const double volume = std::fabs(map.det()) * reference_volume(*type);
  expect_close(matrices.volume, volume, 1e-12, 0.0); // exact quadrature of a constant Jacobian

  // A = B0 x r / 2 has curl B0 everywhere: a^T h a = nu |B0|^2 V.
  const VEC B0 = {0.3, -1.1, 0.7};
  double residual = 0.0;
  const std::vector<double> a = fit(
      [&](const VEC &r) {
        return VEC{(B0[1] * r[2] - B0[2] * r[1]) / 2, (B0[2] * r[0] - B0[0] * r[2]) / 2,
                   (B0[0] * r[1] - B0[1] * r[0]) / 2};
      },
      &residual);
  EXPECT_LT(residual, 1e-9); // the field lies in the element's span
  const double nu = 1.0 / (200 * mu0);
  const double b2 = B0[0] * B0[0] + B0[1] * B0[1] + B0[2] * B0[2];
  expect_close(element_energy_real(matrices.h, type->no_edges, a.data(), nullptr), nu * b2 * volume, 1e-9,
               0.0);

  // A gradient (a constant field) has no curl: h a = 0 against the size of h and a.
  const std::vector<double> g = fit([](const VEC &) { return VEC{1.0, -2.0, 0.5}; }, &residual);
  EXPECT_LT(residual, 1e-9);
  double h_norm = 0.0, a_norm = 0.0, worst = 0.0;
  for (int i = 0; i < matrices.h_count; ++i) h_norm = std::max(h_norm, std::fabs(matrices.h[i]));
  for (double value : g) a_norm = std::max(a_norm, std::fabs(value));
  for (int i = 0; i < type->no_edges; ++i) {
    double row = 0.0;
    for (int j = 0; j < type->no_edges; ++j)
      row += matrices.h[i >= j ? packed_index(i, j) : packed_index(j, i)] * g[static_cast<std::size_t>(j)];
    worst = std::max(worst, std::fabs(row));
  }
  EXPECT_LT(worst, 1e-9 * h_norm * a_norm * type->no_edges);
}

TEST_P(ElementMatrices, ConductivityFormOfALinearField) {
  SCOPED_TRACE(type->name);
  if (type->no_nodes == 13)
    GTEST_SKIP() << "the 13-node pyramid's constant N1 leaves linear fields unrepresented";
  ELEMENT_MATRICES matrices;
  TRANSFORM_SCRATCH scratch;
  ELEMENT_MATRIX_OPTIONS options;
  element_matrices(element, options, matrices, scratch);
  const VEC B0 = {0.5, 0.2, -0.4};
  const VEC A0 = {1.0, -0.5, 2.0};
  auto field = [&](const VEC &r) {
    return VEC{A0[0] + (B0[1] * r[2] - B0[2] * r[1]) / 2, A0[1] + (B0[2] * r[0] - B0[0] * r[2]) / 2,
               A0[2] + (B0[0] * r[1] - B0[1] * r[0]) / 2};
  };
  double residual = 0.0;
  const std::vector<double> a = fit(field, &residual);
  EXPECT_LT(residual, 1e-9);
  // sigma times the integral of |A|^2 over the element, by exact rules in reference space.
  const double reference = 3.0e6 * std::fabs(map.det()) * reference_integral(*type, [&](const VEC &r) {
                             const VEC A = field(map.apply(POINT_3D{r[0], r[1], r[2]}));
                             return A[0] * A[0] + A[1] * A[1] + A[2] * A[2];
                           });
  expect_close(element_energy_real(matrices.c, type->no_edges, a.data(), nullptr), reference, 1e-9, 0.0);
  // With phi unknowns the node block follows: grad L sums to zero over the nodes, so the edge
  // column sums of the node rows vanish.
  options.a_only = false;
  element_matrices(element, options, matrices, scratch);
  const int E = type->no_edges, N = type->no_nodes;
  ASSERT_EQ(matrices.c_count, (E + N) * (E + N + 1) / 2);
  for (int j = 0; j < E; ++j) {
    double sum = 0.0, size = 0.0;
    for (int k = 0; k < N; ++k) {
      sum += matrices.c[packed_index(E + k, j)];
      size = std::max(size, std::fabs(matrices.c[packed_index(E + k, j)]));
    }
    EXPECT_LT(std::fabs(sum), 1e-9 * size * N) << j;
  }
}

INSTANTIATE_TEST_SUITE_P(EveryVolumeType, ElementMatrices, ::testing::Range(0, no_v_element_types));
