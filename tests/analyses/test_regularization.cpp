// Regularization of a source column: what is left is orthogonal to the gradient of every nodal
// function the boundary allows, a second pass changes nothing, and an ungauged curl-curl system
// that stalls on an inconsistent right-hand side converges once the column is regularized.
#include "analyses/regularization.hpp"
#include "equations/element_matrices.hpp"
#include "equations/iccg.hpp"
#include "input/control_data_writable.hpp"
#include "job/run_files.hpp"
#include "materials/material_tables.hpp"
#include "mesh/gauss.hpp"
#include "mesh/mesh_builder.hpp"
#include "mesh/model_building.hpp"
#include "mesh/potentials.hpp"

#include "equations/equation_systems.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

enum class FAMILY { tetrahedra, hexahedra, prisms };

struct CASE {
  FAMILY family;
  int far_boundary; // 0 outer faces fixed, 1 natural
};

std::string case_name(const ::testing::TestParamInfo<CASE> &info) {
  const char *family[] = {"Tetrahedra", "Hexahedra", "Prisms"};
  return std::string(family[static_cast<int>(info.param.family)]) +
         (info.param.far_boundary == 0 ? "FixedFaces" : "NaturalFaces");
}

double dot(const std::vector<double> &a, const std::vector<double> &b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

class Regularization : public ::testing::TestWithParam<CASE> {
protected:
  void SetUp() override {
    writable_control_data() = CONTROL_DATA{};
    writable_control_data().release = 12.0;
    writable_control_data().is_static = 1;
    SOLVER_SETTINGS &settings = writable_solver_settings();
    settings = SOLVER_SETTINGS{};
    settings.cg_iteration.convergence = 1e-12;
    settings.cg_iteration.div_factor = 10.0;
    settings.cg_iteration.div_iterations = 1000;
    settings.cg_iteration.regularization = 1;
    make_gauss(3, 7, 5);
    open_ffile(run_files().print_out, "w");
    // The hexahedra come in two materials, a checkerboard of ids 1 and 2; both are air.
    read_material_cards(
        files.open_card_text("materials", "2 0 0\n1 1 0 0 1.0 0 0 0 0\n2 1 0 0 1.0 0 0 0 0\n"), 1);
    const FAMILY family = GetParam().family;
    // A unit cube of 3 x 3 x 3 cells, jiggled so that no two cells are alike.
    MESH_BUILDER builder = family == FAMILY::tetrahedra  ? MESH_BUILDER::tetrahedra(3, 1.0 / 3)
                           : family == FAMILY::hexahedra ? MESH_BUILDER::hexahedra(3, 1.0 / 3)
                                                         : MESH_BUILDER::prisms(3, 1.0 / 3);
    model = builder.build();
    std::mt19937 generator(11);
    std::uniform_real_distribution<double> shift(-0.04, 0.04);
    for (int n = 0; n < model.no_nodes; ++n) {
      NODE &node = model.nodes[n];
      for (double *c : {&node.x, &node.y, &node.z})
        if (*c > 1e-9 && *c < 1.0 - 1e-9) *c += shift(generator);
    }
    no_unknowns = number_model(model, GetParam().far_boundary);
    work = make_regularization_work(model, no_unknowns);
  }
  void TearDown() override {
    free_regularization_work(&work);
    free_gauss(active_gauss());
    free_model_arrays(model);
    free_potential_store();
  }

  // The edge vector of the gradient of nodal values phi: phi(end) - phi(start) on each edge,
  // carried to the edge's unknown with the sign of its term.
  std::vector<double> gradient_of(const std::vector<double> &phi) const {
    std::vector<double> x(static_cast<std::size_t>(no_unknowns), 0.0);
    for (int e = 0; e < model.no_edges; ++e) {
      const EDGE &edge = model.edges[e];
      const POTENTIAL_TERM *term = find_potential_term(edge.potentials, A_EDGE);
      if (!term) continue;
      x[static_cast<std::size_t>(term->position - 1)] =
          term->coefficient * (phi[static_cast<std::size_t>(edge.end - model.nodes)] -
                               phi[static_cast<std::size_t>(edge.start - model.nodes)]);
    }
    return x;
  }
  // Random nodal values; 0 on the outer faces when they are fixed (there a gradient would have
  // tangential parts on fixed edges).
  std::vector<double> random_potential(unsigned seed) const {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    std::vector<double> phi(static_cast<std::size_t>(model.no_nodes));
    for (int n = 0; n < model.no_nodes; ++n) {
      const NODE &node = model.nodes[n];
      bool outer = false;
      for (double c : {node.x, node.y, node.z}) outer = outer || c < 1e-9 || c > 1.0 - 1e-9;
      phi[static_cast<std::size_t>(n)] = GetParam().far_boundary == 0 && outer ? 0.0 : u(generator);
    }
    return phi;
  }
  std::vector<double> random_column(unsigned seed) const {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    std::vector<double> b(static_cast<std::size_t>(no_unknowns));
    for (double &v : b) v = u(generator);
    return b;
  }

  ScopedJobFiles files;
  MESHED_MODEL model;
  int no_unknowns = 0;
  REGULARIZATION_WORK *work = nullptr;
};

TEST_P(Regularization, TheCorrectedColumnIsOrthogonalToEveryGradientAndStaysSoUnderASecondPass) {
  ASSERT_GT(work->no_rows, 0);
  const std::vector<double> b = random_column(5);
  std::vector<double> corrected = b;
  regularize(corrected.data(), *work, model);
  const double size = std::sqrt(dot(corrected, corrected));
  for (unsigned seed : {1u, 2u, 3u}) {
    const std::vector<double> gradient = gradient_of(random_potential(seed));
    const double norm = std::sqrt(dot(gradient, gradient));
    // The random column itself is far from orthogonal; the corrected one is, to the solver's
    // tolerance.
    EXPECT_GT(std::fabs(dot(b, gradient)), 1e-3 * std::sqrt(dot(b, b)) * norm);
    EXPECT_LT(std::fabs(dot(corrected, gradient)), 1e-9 * size * norm);
  }
  // A projection: a column with no gradient part is left as it is.
  std::vector<double> twice = corrected;
  regularize(twice.data(), *work, model);
  for (std::size_t i = 0; i < twice.size(); ++i) EXPECT_NEAR(twice[i], corrected[i], 1e-9 * size);
}

TEST_P(Regularization, AnUngaugedSolveStallsOnTheRawColumnAndConvergesOnTheCorrectedOne) {
  // The ungauged curl-curl matrix of the model, assembled from its element matrices.
  TEST_SYSTEM system;
  system.n = no_unknowns;
  system.rows.resize(static_cast<std::size_t>(no_unknowns));
  ELEMENT_MATRIX_OPTIONS options;
  ELEMENT_MATRICES matrices;
  TRANSFORM_SCRATCH scratch;
  for (int k = 0; k < model.no_v_elements; ++k) {
    const V_ELEMENT &element = model.v_elements[k];
    element_matrices(element, options, matrices, scratch);
    const int n = element.type->no_edges;
    int row[max_element_edges];
    double sign[max_element_edges];
    for (int i = 0; i < n; ++i) {
      const POTENTIAL_TERM *term = find_potential_term(element.edges[i]->potentials, A_EDGE);
      row[i] = term ? term->position - 1 : -1;
      sign[i] = (term ? term->coefficient : 0.0) * (((element.edge_direction >> i) & 1u) ? 1.0 : -1.0);
    }
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j)
        if (row[i] >= 0 && row[j] >= 0)
          system.rows[static_cast<std::size_t>(row[i])][row[j]] +=
              sign[i] * sign[j] * matrices.h[packed_index(std::max(i, j), std::min(i, j))];
  }
  SOLVER_SETTINGS settings;
  settings.cg_iteration.convergence = 1e-8;
  settings.cg_iteration.div_factor = 1e3;
  settings.cg_iteration.div_iterations = 200;
  settings.cg_iteration.max_iterations = 2000;
  auto solve = [&](std::vector<double> rhs) {
    SPARSE_MATRIX_OPTIONS matrix_options;
    SPARSE_MATRIX *m = to_sparse_matrix(system, matrix_options);
    std::vector<double> x(rhs.size(), 0.0);
    SOLVE_FIGURES figures;
    const SOLVE_RESULT result = solve_sparse_matrix(m, rhs.data(), x.data(), no_unknowns, settings, figures);
    free_sparse_matrix(&m);
    return result;
  };
  std::vector<double> b = random_column(9);
  const SOLVE_RESULT raw = solve(b);
  regularize(b.data(), *work, model);
  const SOLVE_RESULT corrected = solve(b);
  // The gradient part of the raw column lies outside the range of the matrix: no solution has a
  // residual below the part's own size.
  EXPECT_EQ(raw.converged, 0);
  EXPECT_GT(raw.error, 1e-3);
  EXPECT_EQ(corrected.converged, 1);
  EXPECT_LT(corrected.error, 1e-8);
}

INSTANTIATE_TEST_SUITE_P(EdgeFamilies, Regularization,
                         ::testing::Values(CASE{FAMILY::tetrahedra, 0}, CASE{FAMILY::tetrahedra, 1},
                                           CASE{FAMILY::hexahedra, 0}, CASE{FAMILY::hexahedra, 1},
                                           CASE{FAMILY::prisms, 0}, CASE{FAMILY::prisms, 1}),
                         case_name);

} // namespace
