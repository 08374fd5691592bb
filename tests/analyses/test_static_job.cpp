// Whole static linear jobs through TesmoraBatch against closed-form fields.
#include "static_job_support.hpp"
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

} // namespace
} // namespace tesmora::testing
