// The post stage keeps the coils' fields per unit amplitude and combines them with each step's
// amplitudes. Every value it then hands out must be the one a fresh Biot-Savart evaluation gives
// at the same point, term for term: the tables are checked against direct evaluation, exactly.
#include "input/control_data_writable.hpp"
#include "job/run_files.hpp"
#include "materials/material_tables.hpp"
#include "mesh/gauss.hpp"
#include "mesh/mesh_builder.hpp"
#include "mesh/model_building.hpp"
#include "mesh/potentials.hpp"
#include "results/eddy_quantities.hpp"
#include "results/field_quantities.hpp"
#include "results/field_support.hpp"
#include "sources/coil_cards.hpp"
#include "sources/external_field.hpp"
#include "sources/field_sources.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <vector>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

class CoilFieldTables : public ::testing::Test {
protected:
  // A cube of 2 x 2 x 2 cells of 0.1 m in a conducting region, under two coils: a loop of section
  // (numerical arcs) and a racetrack of bars and arcs.
  void SetUp() override {
    writable_control_data() = CONTROL_DATA{};
    writable_control_data().release = 12.0;
    writable_control_data().is_transient = 1;
    make_gauss(3, 7, 5);
    open_ffile(run_files().print_out, "w");
    field_sources_writable().no_sources = 0; // the table of an earlier test in the same process
    read_material_cards(files.open_card_text("materials", "1 0 0\n1 1 0 3.5e7 1 0 0 0 0\n"), 1);
    read_source_section(files.open_card_text("sources",
                                             "SOURCE\n"
                                             "COIL 1 1 1 0 0 0\nLOOP 1000.0 0.15 0.3 0.02 0.04\nEND\n"
                                             "COIL 2 1 1 0 0 0\nRECT 500.0 0\n"
                                             "0.1 0.1 0.35 0.1 0.1 0.05 0.02 0.04\n"
                                             "END\nEND\n"),
                        1);
    model = MESH_BUILDER::tetrahedra(2, 0.1).build();
    no_unknowns = number_natural_model(model);
  }
  void TearDown() override {
    free_gauss(active_gauss());
    free_model_arrays(model);
    free_potential_store();
  }
  ScopedJobFiles files;
  MESHED_MODEL model;
  int no_unknowns = 0;
};

TEST_F(CoilFieldTables, TheConductorTableHoldsTheCoilsPotentialAtGaussPointsAndCorners) {
  const FIELD_SOURCES &sources = field_sources();
  ASSERT_EQ(sources.no_sources, 2);
  const COIL_POTENTIALS table(model);
  const COIL_EVALUATION evaluation{coil_options(), nullptr};
  TRANSFORM_SCRATCH scratch;
  int checked = 0;
  for (int k = 0; k < model.no_v_elements; ++k) {
    const V_ELEMENT &element = model.v_elements[k];
    const GAUSS_POINTS &points = gauss_points(element.type->gauss);
    double xyz[max_element_nodes][3];
    element_coordinates(element, xyz);
    for (int q = 0; q < points.no_points + element.type->no_nodes; ++q) {
      double x[3];
      if (q < points.no_points) {
        element_point(*element.type, xyz, points.p[0][q], points.p[1][q], points.p[2][q], x, scratch);
      } else { // a corner is its node
        const NODE &node = *element.nodes[q - points.no_points];
        x[0] = node.x, x[1] = node.y, x[2] = node.z;
      }
      for (int s = 0; s < sources.no_sources; ++s) {
        const double *kept = table.at(element, q, s);
        ASSERT_NE(kept, nullptr);
        double A[3];
        external_field_A(*sources.data[s].external, evaluation, x, A);
        for (int c = 0; c < 3; ++c) EXPECT_EQ(kept[c], A[c]);
        ++checked;
      }
    }
  }
  EXPECT_EQ(checked, model.no_v_elements * (gauss_points(model.v_elements[0].type->gauss).no_points + 4) * 2);
  // No room for the table: no values, and the losses are those of direct evaluation.
  const COIL_POTENTIALS none(model, 0);
  EXPECT_EQ(none.at(model.v_elements[0], 0, 0), nullptr);
}

TEST_F(CoilFieldTables, LossesWithTheTableAreThoseWithoutIt) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<double> unknowns(static_cast<std::size_t>(no_unknowns));
  for (double &u : unknowns) u = 1e-3 * uniform(random);
  const double source_rates[2] = {35.0, -12.5};
  const COIL_POTENTIALS table(model);
  const EDDY_RATE direct{unknowns.data(), source_rates, nullptr}, kept{unknowns.data(), source_rates, &table};
  TRANSFORM_SCRATCH scratch;
  double total = 0.0;
  for (int k = 0; k < model.no_v_elements; ++k) {
    const double loss = element_joule_loss(model.v_elements[k], direct, scratch);
    EXPECT_EQ(element_joule_loss(model.v_elements[k], kept, scratch), loss);
    total += loss;
  }
  EXPECT_GT(total, 0.0);
}

TEST_F(CoilFieldTables, TheUnitFieldsCombineToEachStepsField) {
  FIELD_SOURCES &sources = field_sources_writable();
  COIL_FIELD_SHAPES shapes, no_room;
  no_room.max_bytes = 0;
  const CHAIN_OFFSETS o = chain_offsets(model);
  // Steps of changing amplitudes, one of them switched off: each step's field from the kept unit
  // fields (made by the first step) equals the one made from scratch.
  for (const auto &[a, b] : {std::pair{1.0, 0.5}, std::pair{-2.5, 0.0}, std::pair{0.0, 3.0}}) {
    SCOPED_TRACE(a);
    sources.data[0].amplitude = a;
    sources.data[1].amplitude = b;
    COIL_FIELD_AT_POINTS fresh, combined, fallback;
    make_coil_field_at_points(model, fresh);
    make_coil_field_at_points(model, combined, &shapes);
    make_coil_field_at_points(model, fallback, &no_room);
    ASSERT_NE(fresh.at_nodes, nullptr);
    for (int i = 0; i < 3 * o.no_nodes; ++i) {
      EXPECT_EQ(combined.at_nodes[i], fresh.at_nodes[i]);
      EXPECT_EQ(fallback.at_nodes[i], fresh.at_nodes[i]);
    }
    for (int i = 0; i < 3 * o.no_elements; ++i) {
      EXPECT_EQ(combined.at_centers[i], fresh.at_centers[i]);
      EXPECT_EQ(fallback.at_centers[i], fresh.at_centers[i]);
    }
    free_coil_field_at_points(fresh);
    free_coil_field_at_points(combined);
    free_coil_field_at_points(fallback);
  }
  EXPECT_TRUE(shapes.made);
  EXPECT_EQ(shapes.no_coils, 2);
  EXPECT_EQ(no_room.no_coils, 0);
}

} // namespace
