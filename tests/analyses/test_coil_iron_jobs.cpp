// Whole jobs of a coil's field in linear iron, on Gmsh meshes made at test time: a loop coil over a
// thick, wide disc against the permeable half-space's image solution, and a C-core with an air gap
// refined three times, for the convergence of B in the iron and the balance of the flux. The
// geometries, references and tolerances are described in tests/analyses/coil_iron/README.md.
#include "coil_iron_support.hpp"
#include "static_job_support.hpp"
#include "support/job_results.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <string>

namespace tesmora::testing {
namespace {

constexpr double mu_r = 1000.0;

std::string geo_path(const std::string &name) {
  return std::string(TESMORA_SOURCE_DIR) + "/tests/analyses/coil_iron/" + name;
}

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// What one job left: exit status, check, and the element B of the last step by element number.
struct COIL_JOB {
  BATCH_RUN run;
  std::string check;
  std::map<int, std::array<double, 6>> elements;
};

COIL_JOB run_coil_job(const TempDir &dir, const STATIC_DECK &deck) {
  write_file(dir.file("input"), static_deck(deck));
  COIL_JOB job;
  job.run = run_batch(dir.path(), {});
  job.check = read_file(dir.file("check"));
  if (job.run.exit_status == 0) job.elements = read_unv_values(dir.file("magnetic"), 56);
  return job;
}

// --- The loop over the disc -------------------------------------------------------------------

// The loop of the deck: 1000 ampere-turns, mean radius 0.05 m, centre 0.05 m above the disc's top
// face z = 0, a 0.01 m by 0.01 m section (loop_disc.geo holds the same radius and height).
constexpr SECTION_LOOP disc_loop{1000.0, 0.05, 0.05, 0.01, 0.01};

STATIC_DECK loop_disc_deck(int iron_potential) {
  STATIC_DECK deck;
  deck.tree_gauge = -1;
  deck.iccg_conv = 1e-8;
  deck.bn0_planes = {"1.0 0.0 0.0 0.0", "0.0 1.0 0.0 0.0"};
  char iron[128];
  std::snprintf(iron, sizeof iron, "1 %d 0 0.0 %g 0 0 0 0", iron_potential, mu_r);
  deck.materials = {iron, "2 1 0 0.0 1.0 0 0 0 0"};
  deck.coil_elements = "LOOP 1000.0 0.05 0.05 0.01 0.01";
  return deck;
}

// The image solution in the iron of a permeable half-space z < 0: the coil's own field scaled by
// 2 mu_r / (mu_r + 1), here at point x.
std::array<double, 3> half_space_field_in_iron(const std::array<double, 3> &x) {
  const double rho = std::hypot(x[0], x[1]);
  const std::array<double, 2> b = section_loop_field(disc_loop, rho, x[2], 5);
  const double scale = 2.0 * mu_r / (mu_r + 1.0);
  const double c = rho > 0.0 ? x[0] / rho : 0.0, s = rho > 0.0 ? x[1] / rho : 0.0;
  return {scale * b[0] * c, scale * b[0] * s, scale * b[1]};
}

struct DISC_FIGURES {
  int near_axis = 0;           // iron elements compared with the half-space
  double worst = 0.0;          // the largest |B - B_ref| / |B_ref| among them
  double rms = 0.0;            // its root mean square over them
  double azimuthal_rms = 0.0;  // sqrt(sum v B_phi^2 / sum v |B|^2) over the iron, v the volumes
  double azimuthal_mean = 0.0; // sqrt(mean B_phi^2 / mean |B|^2) over the iron elements, unweighted
};

// Near the axis and the top face: centroid radius below 0.3 a, depth below 0.2 a.
DISC_FIGURES measure_disc(const TET_MESH &mesh, const std::map<int, std::array<double, 6>> &elements) {
  DISC_FIGURES f;
  double phi2 = 0.0, b2 = 0.0, phi2_count = 0.0, b2_count = 0.0, error2 = 0.0;
  for (std::size_t t = 0; t < mesh.size(); ++t) {
    if (mesh.properties[t] != 1) continue;
    const std::array<double, 3> x = mesh.centroid(t);
    const std::array<double, 6> &B = elements.at(mesh.numbers[t]);
    const double rho = std::hypot(x[0], x[1]);
    const double B_phi = (-x[1] * B[0] + x[0] * B[1]) / rho;
    const double B_mag2 = B[0] * B[0] + B[1] * B[1] + B[2] * B[2];
    const double v = mesh.volume(t);
    phi2 += v * B_phi * B_phi;
    b2 += v * B_mag2;
    phi2_count += B_phi * B_phi;
    b2_count += B_mag2;
    if (rho >= 0.3 * disc_loop.radius || x[2] <= -0.2 * disc_loop.radius) continue;
    const std::array<double, 3> ref = half_space_field_in_iron(x);
    const double error =
        std::hypot(B[0] - ref[0], B[1] - ref[1], B[2] - ref[2]) / std::hypot(ref[0], ref[1], ref[2]);
    f.worst = std::max(f.worst, error);
    error2 += error * error;
    ++f.near_axis;
  }
  f.rms = std::sqrt(error2 / std::max(1, f.near_axis));
  f.azimuthal_rms = std::sqrt(phi2 / b2);
  f.azimuthal_mean = std::sqrt(phi2_count / b2_count);
  return f;
}

// A disc 16 coil radii wide and 4 thick under the loop: on and near the axis by the top face the
// iron's B is within 2 % of the half-space's in every element, and B_phi, zero by symmetry, stays
// below 1 % of |B| in the root mean square over the disc. With the iron's POTENTIAL other than
// the coil's, the job is refused with its message naming the iron.
TEST(CoilInIron, LoopOverAThickWideDiscGivesTheHalfSpaceField) {
  const auto start = std::chrono::steady_clock::now();
  TempDir dir;
  const std::string failure = make_gmsh_mesh(geo_path("loop_disc.geo"), {}, dir.file("pre_geom.nas"));
  ASSERT_TRUE(failure.empty()) << failure;
  const double meshing = seconds_since(start);
  const COIL_JOB job = run_coil_job(dir, loop_disc_deck(1));
  ASSERT_EQ(job.run.exit_status, 0) << job.check;
  const TET_MESH mesh = read_tet_mesh(dir.file("pre_geom.nas"));
  const DISC_FIGURES f = measure_disc(mesh, job.elements);
  std::printf("loop over disc: %zu tetrahedra, Gmsh %.1f s, whole %.1f s\n", mesh.size(), meshing,
              seconds_since(start));
  std::printf("  near the axis: %d iron elements, |B - B_half| / |B_half| largest %.4f, rms %.4f\n",
              f.near_axis, f.worst, f.rms);
  std::printf("  B_phi / |B| over the disc: %.4f (volume weighted), %.4f (per element)\n", f.azimuthal_rms,
              f.azimuthal_mean);
  EXPECT_GE(f.near_axis, 1000);
  EXPECT_LT(f.worst, 0.02);
  EXPECT_LT(f.azimuthal_rms, 0.01);
  EXPECT_LT(f.azimuthal_mean, 0.01);

  // The other formulation choice: the iron without the coil's POTENTIAL.
  const COIL_JOB refused = run_coil_job(dir, loop_disc_deck(2));
  const char *message =
      "**** The coupling of the field of COIL source 1 across the faces of region 1, which lacks "
      "its POTENTIAL 1 while a neighbour has it (give such regions the coil's POTENTIAL) is not "
      "part of this build of the program. Job is stopped. ****\n";
  EXPECT_EQ(refused.run.exit_status, 1);
  EXPECT_NE(refused.check.find(message), std::string::npos) << refused.check;
  EXPECT_NE(read_file(dir.file("stderr")).find(message), std::string::npos);
}

} // namespace
} // namespace tesmora::testing
