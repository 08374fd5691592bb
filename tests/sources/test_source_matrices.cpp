// Load columns of a coil: its A on the edges obeys Stokes' theorem on every face, and the
// coupling of its potential through the region's reluctivity gives the energy of a uniform field.
#include "equations/sparse_matrix.hpp"
#include "input/control_data_writable.hpp"
#include "job/block_io.hpp"
#include "job/run_files.hpp"
#include "materials/bh_curve.hpp"
#include "materials/material_tables.hpp"
#include "mesh/boundary.hpp"
#include "mesh/gauss.hpp"
#include "mesh/mesh_builder.hpp"
#include "mesh/model_building.hpp"
#include "mesh/potentials.hpp"
#include "sources/coil_cards.hpp"
#include "sources/external_field.hpp"
#include "sources/field_sources.hpp"
#include "sources/source_matrices.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <map>
#include <utility>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

constexpr double B0[3] = {0.3, -0.2, 1.0}; // T, the coil's uniform field

class SourceMatrices : public ::testing::Test {
protected:
  // A unit cube of tetrahedra of relative permeability mu_r whose region carries the field of a
  // uniform-field coil; natural boundary and no tree, so every edge is an unknown.
  void make(double mu_r) {
    char coil[96];
    std::snprintf(coil, sizeof coil, "UNIF %g %g %g 0", B0[0], B0[1], B0[2]);
    make(mu_r, coil, 2, 0.5);
  }
  void make(double mu_r, const char *coil_card, int cells, double cell) {
    writable_control_data() = CONTROL_DATA{};
    writable_control_data().release = 12.0;
    writable_control_data().is_static = 1;
    writable_control_data().CALC_IND = 1;
    make_gauss(3, 7, 5);
    open_ffile(run_files().print_out, "w");
    char cards[128];
    std::snprintf(cards, sizeof cards, "1 0 0\n1 1 0 0 %g 0 0 0 0\n", mu_r);
    read_material_cards(files.open_card_text("materials", cards), 1);
    std::snprintf(cards, sizeof cards, "SOURCE\nCOIL 1 1 1 0 0 0\n%s\nEND\nEND\n", coil_card);
    read_source_section(files.open_card_text("sources", cards), 1);
    model = MESH_BUILDER::tetrahedra(cells, cell).build();
    no_unknowns = number_natural_model(model);
    make_source_matrices(model, no_unknowns);
  }
  void TearDown() override {
    free_source_matrices();
    free_gauss(active_gauss());
    free_model_arrays(model);
    free_potential_store();
  }
  ScopedJobFiles files;
  MESHED_MODEL model;
  int no_unknowns = 0;
};

TEST_F(SourceMatrices, CirculationOfTheCoilPotentialRoundEveryFaceIsTheFluxThroughIt) {
  make(100.0);
  const FIELD_SOURCE &coil = field_sources().data[0];
  ASSERT_NE(coil.A_source, nullptr);
  // Edges by their end nodes, with the direction they run in.
  std::map<std::pair<const NODE *, const NODE *>, double> circulation;
  for (int e = 0; e < model.no_edges; ++e) {
    const EDGE &edge = model.edges[e];
    circulation[{edge.start, edge.end}] = coil.A_source[e];
    circulation[{edge.end, edge.start}] = -coil.A_source[e];
  }
  int faces = 0;
  for (int k = 0; k < model.no_v_elements; ++k) {
    NODE *const *n = model.v_elements[k].nodes;
    for (int skip = 0; skip < 4; ++skip) {
      const NODE *p[3];
      for (int i = 0, j = 0; i < 4; ++i)
        if (i != skip) p[j++] = n[i];
      const double loop =
          circulation.at({p[0], p[1]}) + circulation.at({p[1], p[2]}) + circulation.at({p[2], p[0]});
      const double u[3] = {p[1]->x - p[0]->x, p[1]->y - p[0]->y, p[1]->z - p[0]->z};
      const double v[3] = {p[2]->x - p[0]->x, p[2]->y - p[0]->y, p[2]->z - p[0]->z};
      const double area[3] = {0.5 * (u[1] * v[2] - u[2] * v[1]), 0.5 * (u[2] * v[0] - u[0] * v[2]),
                              0.5 * (u[0] * v[1] - u[1] * v[0])};
      // Stokes: the loop integral of A is the flux of B through the face, exactly for a
      // uniform B with a linear A and the midpoint rule.
      expect_close(loop, B0[0] * area[0] + B0[1] * area[1] + B0[2] * area[2], 1e-12, 1e-15);
      ++faces;
    }
  }
  EXPECT_EQ(faces, 4 * model.no_v_elements);
}

TEST_F(SourceMatrices, CouplingOfAUniformFieldGivesTheReluctivityDifferenceTimesItsEnergy) {
  const double mu_r = 100.0;
  make(mu_r);
  // With every edge an unknown, A_source^T S A_source is the integral of (1/mu0 - nu) |B0|^2 over
  // the unit cube.
  const double b2 = B0[0] * B0[0] + B0[1] * B0[1] + B0[2] * B0[2];
  const double expected = (1.0 / mu0 - 1.0 / (mu0 * mu_r)) * b2;
  expect_close(field_sources().inductances[0], expected, 1e-10, 0.0);
}

TEST_F(SourceMatrices, AVacuumRegionGetsNoLoad) {
  make(1.0);
  const FIELD_SOURCE &coil = field_sources().data[0];
  ASSERT_NE(coil.source_vector, nullptr);
  EXPECT_EQ(coil.source_vector->no_elements, 0);
  EXPECT_EQ(field_sources().inductances[0], 0.0);
}

// B of a filament loop of radius a about the z axis at height zc, by Biot-Savart over a polygon
// of many straight pieces (each piece in closed form): independent of the coil kernels.
std::array<double, 3> polygon_loop_B(double current, double a, double zc, const double p[3]) {
  constexpr int pieces = 4000;
  std::array<double, 3> B{};
  for (int k = 0; k < pieces; ++k) {
    const double t0 = 2 * M_PI * k / pieces, t1 = 2 * M_PI * (k + 1) / pieces;
    const double s[3] = {a * std::cos(t0), a * std::sin(t0), zc},
                 e[3] = {a * std::cos(t1), a * std::sin(t1), zc};
    double r1[3], r2[3], l[3];
    for (int d = 0; d < 3; ++d) r1[d] = p[d] - s[d], r2[d] = p[d] - e[d], l[d] = e[d] - s[d];
    const double n1 = std::sqrt(r1[0] * r1[0] + r1[1] * r1[1] + r1[2] * r1[2]);
    const double n2 = std::sqrt(r2[0] * r2[0] + r2[1] * r2[1] + r2[2] * r2[2]);
    const double c[3] = {r1[1] * r2[2] - r1[2] * r2[1], r1[2] * r2[0] - r1[0] * r2[2],
                         r1[0] * r2[1] - r1[1] * r2[0]};
    const double c2 = c[0] * c[0] + c[1] * c[1] + c[2] * c[2];
    const double f = 1e-7 * current *
                     ((l[0] * r1[0] + l[1] * r1[1] + l[2] * r1[2]) / n1 -
                      (l[0] * r2[0] + l[1] * r2[1] + l[2] * r2[2]) / n2) /
                     c2;
    for (int d = 0; d < 3; ++d) B[d] += f * c[d];
  }
  return B;
}

// A loop coil above an iron cube: its B is curl-free in the cube, so the load of an edge whose
// basis function vanishes on the cube's faces, the integral of (nu0 - nu) B . curl N, is zero
// (integration by parts); only the edges of the faces carry the iron's magnetisation. And
// against any edge field a of constant curl C, the column gives the integral of (nu0 - nu) B . C
// over the cube, here integrated with the loop's own Biot-Savart sum.
TEST_F(SourceMatrices, ALoopCoilLoadsAnIronCubeOnlyThroughItsFaces) {
  const double mu_r = 1000.0, current = 1000.0, a = 0.5, zc = 1.6;
  char coil[96];
  std::snprintf(coil, sizeof coil, "LOOP %g %g %g 0.002 0.002", current, a, zc);
  make(mu_r, coil, 4, 0.25);
  const FIELD_SOURCE &source = field_sources().data[0];
  ASSERT_NE(source.source_vector, nullptr);
  auto row_of = [&](const EDGE &edge) {
    const POTENTIAL_TERM *term = find_potential_term(edge.potentials, A_EDGE);
    return term ? term->coefficient * sparse_vector_value(source.source_vector, term->position - 1) : 0.0;
  };
  auto on_a_face = [](const EDGE &e) {
    for (int d = 0; d < 3; ++d) {
      const double u = d == 0 ? e.start->x : d == 1 ? e.start->y : e.start->z;
      const double v = d == 0 ? e.end->x : d == 1 ? e.end->y : e.end->z;
      if ((std::fabs(u) < 1e-9 && std::fabs(v) < 1e-9) ||
          (std::fabs(u - 1) < 1e-9 && std::fabs(v - 1) < 1e-9))
        return true;
    }
    return false;
  };
  double largest_face = 0.0, largest_inner = 0.0;
  int inner = 0;
  // The test field A = C x r / 2 has curl C; its edge values are exact by the midpoint rule.
  const double C[3] = {0.3, -0.7, 1.1};
  double column_dot = 0.0;
  for (int e = 0; e < model.no_edges; ++e) {
    const EDGE &edge = model.edges[e];
    const double row = row_of(edge);
    if (on_a_face(edge)) {
      largest_face = std::max(largest_face, std::fabs(row));
    } else {
      largest_inner = std::max(largest_inner, std::fabs(row));
      ++inner;
    }
    const double m[3] = {(edge.start->x + edge.end->x) / 2, (edge.start->y + edge.end->y) / 2,
                         (edge.start->z + edge.end->z) / 2};
    const double d[3] = {edge.end->x - edge.start->x, edge.end->y - edge.start->y,
                         edge.end->z - edge.start->z};
    const double A[3] = {(C[1] * m[2] - C[2] * m[1]) / 2, (C[2] * m[0] - C[0] * m[2]) / 2,
                         (C[0] * m[1] - C[1] * m[0]) / 2};
    column_dot += row * (A[0] * d[0] + A[1] * d[1] + A[2] * d[2]);
  }
  ASSERT_GT(inner, 100);
  ASSERT_GT(largest_face, 0.0);
  // The edge interpolant's curl instead of B gave inner rows of 10 % of the face rows here.
  EXPECT_LT(largest_inner, 1e-3 * largest_face);
  // Tensor Gauss-Legendre (5 points) on 4 x 4 x 4 sub-cubes.
  const double g[5] = {-0.9061798459386640, -0.5384693101056831, 0.0, 0.5384693101056831, 0.9061798459386640};
  const double w[5] = {0.2369268850561891, 0.4786286704993665, 0.5688888888888889, 0.4786286704993665,
                       0.2369268850561891};
  double integral = 0.0;
  for (int cx = 0; cx < 4; ++cx)
    for (int cy = 0; cy < 4; ++cy)
      for (int cz = 0; cz < 4; ++cz)
        for (int i = 0; i < 5; ++i)
          for (int j = 0; j < 5; ++j)
            for (int k = 0; k < 5; ++k) {
              const double p[3] = {0.25 * (cx + 0.5 + 0.5 * g[i]), 0.25 * (cy + 0.5 + 0.5 * g[j]),
                                   0.25 * (cz + 0.5 + 0.5 * g[k])};
              const std::array<double, 3> B = polygon_loop_B(current, a, zc, p);
              integral += w[i] * w[j] * w[k] * std::pow(0.125, 3) * (B[0] * C[0] + B[1] * C[1] + B[2] * C[2]);
            }
  expect_close(column_dot, (1.0 / mu0) * (1.0 - 1.0 / mu_r) * integral, 5e-5, 0.0);
}

TEST(SourceFile, AFileOfAnotherSourceTableStopsTheJob) {
  const CHILD_JOB job = run_job_in_child([] {
    writable_control_data() = CONTROL_DATA{};
    writable_control_data().release = 12.0;
    read_source_section(open_job_card_file("input", "SOURCE\nCOIL 1 1 1 0 0 0\nUNIF 0 0 1 0\nEND\nEND\n"), 1);
    // The file of a table whose first source is series 7.
    FFILE *file = run_files().source_matrix;
    open_ffile(file, "w");
    const std::int32_t words[2] = {1, 7};
    write_blocks(words, sizeof(std::int32_t), 2, file);
    close_ffile(file);
    open_ffile(file, "r");
    load_sources(file, 0);
  });
  EXPECT_EQ(job.exit_status, 1);
  EXPECT_NE(job.error.find("**** File load_vector is incorrect. Job is stopped.. *******\n"),
            std::string::npos);
}

} // namespace
