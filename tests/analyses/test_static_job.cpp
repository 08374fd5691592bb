// Whole static linear jobs through TesmoraBatch against closed-form fields.
#include "static_job_support.hpp"
#include "support/strict_json.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace tesmora::testing {
namespace {

std::string mesh_path(const std::string &name) {
  return std::string(TESMORA_SOURCE_DIR) + "/tests/data/mesh/" + name;
}

// An iron slab (0.4 <= z <= 0.6, relative permeability mu_r) across a unit box of air, in a
// uniform field B0 along x. Tangential H is continuous at the slab's faces, so the exact field is
// B0 in the air and mu_r B0 in the iron: the reduced field is (mu_r - 1) B0 x in the slab,
// the curl of A_r = (0, -(mu_r - 1) B0 (z - 0.4), 0), piecewise linear in z and so exact in the
// lowest-order edge elements on a mesh that follows the slab. The planes y = 0 and y = 1 carry
// no normal B; the faces x = 0, 1 and z = 0, 1 are left natural (there H - B0/mu0 has no
// tangential part).
STATIC_DECK slab_deck(double mu_r) {
  STATIC_DECK deck;
  deck.far_boundary = 1;
  deck.bn0_planes = {"0.0 1.0 0.0 0.0", "0.0 1.0 0.0 -1.0"};
  char iron[128];
  std::snprintf(iron, sizeof iron, "2 1 0 0.0 %g 0 0 0 0", mu_r);
  deck.materials = {"1 1 0 0.0 1.0 0 0 0 0", iron, "3 1 0 0.0 1.0 0 0 0 0"};
  deck.coil_elements = "UNIF 1.0 0.0 0.0 0";
  return deck;
}

struct SLAB_RUN {
  BATCH_RUN run;
  std::string check;
  std::map<int, std::array<double, 6>> elements;
  std::map<int, TET_CENTROID> centroids;
};

SLAB_RUN run_slab(const TempDir &dir, const STATIC_DECK &deck) {
  write_file(dir.file("input"), static_deck(deck));
  write_file(dir.file("pre_geom.nas"), read_file(mesh_path("slab.bdf")));
  SLAB_RUN out;
  out.run = run_batch(dir.path(), {});
  out.check = read_file(dir.file("check"));
  out.elements = read_unv_values(dir.file("magnetic"), 56);
  out.centroids = read_tet_centroids(dir.file("pre_geom.nas"));
  return out;
}

TEST(StaticJob, FieldParallelToAnIronSlabIsMuRTimesTheAppliedFieldInsideIt) {
  for (const double mu_r : {1.0, 100.0}) {
    SCOPED_TRACE(mu_r);
    TempDir dir;
    const SLAB_RUN slab = run_slab(dir, slab_deck(mu_r));
    ASSERT_EQ(slab.run.exit_status, 0) << slab.check;
    ASSERT_EQ(slab.elements.size(), slab.centroids.size());
    for (const auto &[number, c] : slab.centroids) {
      const std::array<double, 6> &B = slab.elements.at(number);
      const double expected = c.property == 2 ? mu_r : 1.0;
      // The field is exact in the element space; what is left is the solver's 1e-9 residual
      // and the six digits of the post file's %13.5e.
      expect_close(B[0], expected, 2e-5, 1e-5);
      expect_close(B[1], 0.0, 0.0, 1e-5 * mu_r);
      expect_close(B[2], 0.0, 0.0, 1e-5 * mu_r);
      expect_close(B[3], expected, 2e-5, 1e-5);
    }
  }
}

// What the post stage reports of a run's steps: from the first step heading to the end of the
// stage, without the lines that carry times.
std::string step_reports(const std::string &output) {
  const std::size_t from = output.find("Step No.");
  const std::size_t to = output.find("*******  Post_processing is completed");
  return from == std::string::npos || to == std::string::npos ? std::string()
                                                              : output.substr(from, to - from);
}

TEST(StaticJob, AJobSplitOverThreeRunsReportsWhatOneRunReports) {
  STATIC_DECK deck = slab_deck(100.0);
  TempDir whole, split;
  const SLAB_RUN one = run_slab(whole, deck);
  ASSERT_EQ(one.run.exit_status, 0) << one.check;

  write_file(split.file("pre_geom.nas"), read_file(mesh_path("slab.bdf")));
  for (const char *stages : {"1 1\n0 0", "0 0\n1 0", "0 0\n0 1"}) {
    SCOPED_TRACE(stages);
    deck.stages = stages;
    write_file(split.file("input"), static_deck(deck));
    const BATCH_RUN run = run_batch(split.path(), {});
    ASSERT_EQ(run.exit_status, 0) << read_file(split.file("check"));
  }
  const std::string reports = step_reports(read_file(split.file("output")));
  EXPECT_FALSE(reports.empty());
  EXPECT_EQ(reports, step_reports(read_file(whole.file("output"))));
  EXPECT_EQ(read_file(split.file("magnetic")), read_file(whole.file("magnetic")));
}

TEST(StaticJob, OutputJsonHoldsOneEntryPerStepAndStaysEmptyWhenTheJobStops) {
  STATIC_DECK deck = slab_deck(100.0);
  deck.no_steps = 2;
  TempDir dir;
  const SLAB_RUN slab = run_slab(dir, deck);
  ASSERT_EQ(slab.run.exit_status, 0) << slab.check;
  const std::string text = read_file(dir.file("output.json"));
  JSON_VALUE document;
  ASSERT_TRUE(StrictJsonParser(text).parse(document)) << text;
  const JSON_VALUE *step = document.member("STEP");
  const JSON_VALUE *iccg = document.member("ICCG");
  ASSERT_TRUE(step && iccg) << text;
  ASSERT_TRUE(step->member("TIME"));
  // A static run keeps its first step at the initial time; the second is one DELTA_TIME on.
  ASSERT_EQ(step->member("TIME")->items.size(), 2u);
  EXPECT_EQ(step->member("TIME")->items[0].number, 0.0);
  EXPECT_EQ(step->member("TIME")->items[1].number, 1.0);
  for (const char *key : {"CONVERGE", "ITERATION", "RESIDUAL"}) {
    SCOPED_TRACE(key);
    ASSERT_TRUE(iccg->member(key));
    EXPECT_EQ(iccg->member(key)->items.size(), 2u);
  }
  EXPECT_EQ(iccg->member("CONVERGE")->items[0].number, 1.0);
  EXPECT_LT(iccg->member("RESIDUAL")->items[0].number, 1e-9);
  EXPECT_EQ(document.member("NEWTON"), nullptr); // nothing nonlinear in the job

  // A mesh file that isn't there stops the job: output.json is left empty.
  TempDir stopped;
  write_file(stopped.file("input"), static_deck(slab_deck(100.0)));
  const BATCH_RUN run = run_batch(stopped.path(), {});
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_EQ(read_file(stopped.file("output.json")), "");
}

} // namespace
} // namespace tesmora::testing
