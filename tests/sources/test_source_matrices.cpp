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
    writable_control_data() = CONTROL_DATA{};
    writable_control_data().release = 12.0;
    writable_control_data().is_static = 1;
    writable_control_data().CALC_IND = 1;
    make_gauss(3, 7, 5);
    open_ffile(run_files().print_out, "w");
    char cards[128];
    std::snprintf(cards, sizeof cards, "1 0 0\n1 1 0 0 %g 0 0 0 0\n", mu_r);
    read_material_cards(files.open_card_text("materials", cards), 1);
    std::snprintf(cards, sizeof cards, "SOURCE\nCOIL 1 1 1 0 0 0\nUNIF %g %g %g 0\nEND\nEND\n", B0[0], B0[1],
                  B0[2]);
    read_source_section(files.open_card_text("sources", cards), 1);
    model = MESH_BUILDER::tetrahedra(2, 0.5).build();
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
