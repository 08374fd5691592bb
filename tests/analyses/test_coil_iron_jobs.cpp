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
      "its POTENTIAL 1 while a neighbour has it (the coil's field would be missing there; give "
      "such regions the coil's POTENTIAL, which is exact in iron too) is not part of this build of "
      "the program. Job is stopped. ****\n";
  EXPECT_EQ(refused.run.exit_status, 1);
  EXPECT_NE(refused.check.find(message), std::string::npos) << refused.check;
  EXPECT_NE(read_file(dir.file("stderr")).find(message), std::string::npos);
}

// --- The C-core --------------------------------------------------------------------------------

// The core of c_core.geo: square section s, outer width W along x; the left limb 0 <= x <= s
// carries the coil, the right limb W - s <= x <= W the gap, both centred on y = 0 and cut by the
// symmetry plane z = 0.
constexpr double core_s = 0.02, core_w = 0.1;
constexpr int core_levels = 4;

// A RECT coil of 1000 ampere-turns about the left limb, centred on it at z = 0: straight sides of
// the limb's width 0.02 m between corner centres, corner radius 0.007 m, a 0.006 m by 0.03 m
// section, 0.004 m clear of the limb. y = 0 carries no normal B (the coil's currents cross it at
// right angles), and z = 0 no tangential H (its currents run parallel to it, mirrored).
STATIC_DECK c_core_deck() {
  STATIC_DECK deck;
  deck.tree_gauge = -1;
  deck.iccg_conv = 1e-8;
  deck.bn0_planes = {"0.0 1.0 0.0 0.0"};
  deck.ht0_planes = {"0.0 0.0 1.0 0.0"};
  char iron[128];
  std::snprintf(iron, sizeof iron, "1 1 0 0.0 %g 0 0 0 0", mu_r);
  deck.materials = {iron, "2 1 0 0.0 1.0 0 0 0 0"};
  deck.coil_elements = "RECT 1000.0 0\n0.01 0.0 0.0 0.02 0.02 0.007 0.006 0.03";
  return deck;
}

struct CORE_LEVEL {
  TET_MESH mesh;
  std::map<int, std::array<double, 6>> elements;
};

// Fluxes (Wb, of the quarter model) through the plane z = 0: the limb inside the coil, the gap's
// mid-plane, and the rest of the plane, all air, which carries the leakage back.
struct CUT_FLUXES {
  double limb = 0.0, gap = 0.0, leakage = 0.0;
};

CUT_FLUXES cut_fluxes(const CORE_LEVEL &level) {
  CUT_FLUXES f;
  for (const PLANE_FACE &face : faces_in_plane_z(level.mesh, 0.0, 1e-9)) {
    const double flux = level.elements.at(level.mesh.numbers[face.tet])[2] * face.area;
    const double x = face.centroid[0], y = face.centroid[1];
    if (level.mesh.properties[face.tet] == 1)
      f.limb += flux;
    else if (x > core_w - core_s && x < core_w && y < 0.5 * core_s)
      f.gap += flux;
    else
      f.leakage += flux;
  }
  return f;
}

// The fixed outer faces of the air box stop the reaction field's normal B but not the coil's own:
// the coil's flux through z = 0 beyond the box (x < -0.15, x > 0.25 or y > 0.2 m, as in c_core.geo)
// closes through the outer faces, so inside the box limb + gap + leakage = minus that flux. It is
// taken here from the coil's far field, a dipole of moment N I times the area of the coil's mean
// path at the limb's centre (0.01, 0, 0), whose B_z in its equatorial plane is
// -mu0 m / (4 pi r^3); over the plane beyond the box that is -mu0 m / (4 pi) times the integral over
// the azimuth of 1 / r_box, r_box the distance to the box's edge. Half of it crosses the quarter
// model's y >= 0.
double coil_flux_beyond_box() {
  const double pi = 3.14159265358979323846, mu0 = 4.0e-7 * pi;
  const double side = 0.02 + 2.0 * 0.007, radius = 0.007; // the mean path: a square with round corners
  const double m = 1000.0 * (side * side - (4.0 - pi) * radius * radius);
  const double xc = 0.01, x0 = -0.15, x1 = 0.25, y1 = 0.2;
  const int n = 20000;
  double sum = 0.0;
  for (int i = 0; i < n; ++i) {
    const double theta = 2.0 * pi * (i + 0.5) / n, c = std::cos(theta), s = std::sin(theta);
    const double to_x = c > 0.0 ? (x1 - xc) / c : (x0 - xc) / c;
    const double to_y = y1 / std::fabs(s);
    sum += 2.0 * pi / n / std::min(to_x, to_y);
  }
  return 0.5 * (-mu0 * m / (4.0 * pi) * sum);
}

// The L2 norm, over the iron [0] and over the air [1] of the finest mesh, of the difference
// between B of level k and of level k + 1, both taken at the finest mesh's centroids, divided by
// the norm of the finest B over the same material.
struct LEVEL_CHANGES {
  std::array<std::vector<double>, 2> change;
};

std::vector<std::vector<std::array<double, 3>>>
fields_at_finest_centroids(const std::vector<CORE_LEVEL> &levels) {
  const TET_MESH &finest = levels.back().mesh;
  std::vector<std::vector<std::array<double, 3>>> fields(levels.size());
  for (std::size_t k = 0; k < levels.size(); ++k) {
    const TetLocator locator(levels[k].mesh);
    for (std::size_t t = 0; t < finest.size(); ++t) {
      const long at = k + 1 == levels.size() ? static_cast<long>(t) : locator.find(finest.centroid(t));
      EXPECT_GE(at, 0) << "centroid of element " << finest.numbers[t] << " not in level " << k;
      const std::array<double, 6> &B =
          levels[k].elements.at(levels[k].mesh.numbers[static_cast<std::size_t>(std::max(0L, at))]);
      fields[k].push_back({B[0], B[1], B[2]});
    }
  }
  return fields;
}

LEVEL_CHANGES level_changes(const std::vector<CORE_LEVEL> &levels) {
  const TET_MESH &finest = levels.back().mesh;
  const auto fields = fields_at_finest_centroids(levels);
  LEVEL_CHANGES c;
  std::array<double, 2> norm2{};
  for (std::size_t t = 0; t < finest.size(); ++t) {
    const std::array<double, 3> &B = fields.back()[t];
    norm2[finest.properties[t] == 1 ? 0 : 1] += finest.volume(t) * (B[0] * B[0] + B[1] * B[1] + B[2] * B[2]);
  }
  for (std::size_t k = 0; k + 1 < levels.size(); ++k) {
    std::array<double, 2> diff2{};
    for (std::size_t t = 0; t < finest.size(); ++t) {
      const std::array<double, 3> &a = fields[k][t], &b = fields[k + 1][t];
      const double d2 =
          (a[0] - b[0]) * (a[0] - b[0]) + (a[1] - b[1]) * (a[1] - b[1]) + (a[2] - b[2]) * (a[2] - b[2]);
      diff2[finest.properties[t] == 1 ? 0 : 1] += finest.volume(t) * d2;
    }
    for (std::size_t m = 0; m < 2; ++m) c.change[m].push_back(std::sqrt(diff2[m] / norm2[m]));
  }
  return c;
}

// The core on four meshes, each element size 2^(-1/2) times the last. Through the plane z = 0 the
// limb's flux comes back through the gap and the air within 2 % on every mesh, and from mesh to
// mesh the change of B in the iron falls at least as fast as in the air, and stays smaller.
TEST(CoilInIron, CCoreConvergesInTheIronAndItsFluxBalances) {
  const auto start = std::chrono::steady_clock::now();
  std::vector<CORE_LEVEL> levels;
  const double beyond = coil_flux_beyond_box();
  for (int level = 0; level < core_levels; ++level) {
    SCOPED_TRACE(level);
    TempDir dir;
    const std::string failure =
        make_gmsh_mesh(geo_path("c_core.geo"), {{"level", level}}, dir.file("pre_geom.nas"));
    ASSERT_TRUE(failure.empty()) << failure;
    const COIL_JOB job = run_coil_job(dir, c_core_deck());
    ASSERT_EQ(job.run.exit_status, 0) << job.check;
    levels.push_back({read_tet_mesh(dir.file("pre_geom.nas")), job.elements});
    const CUT_FLUXES f = cut_fluxes(levels.back());
    std::printf("C-core level %d: %zu tetrahedra, %.1f s so far; flux limb %.5e gap %.5e leakage %.5e Wb, "
                "limb + gap + leakage = %.2e of the limb's (the coil's own flux beyond the box %.2e)\n",
                level, levels.back().mesh.size(), seconds_since(start), f.limb, f.gap, f.leakage,
                (f.limb + f.gap + f.leakage) / f.limb, -beyond / f.limb);
    EXPECT_GT(f.limb, 0.0);
    EXPECT_LT(f.gap, 0.0);
    EXPECT_LT(std::fabs(f.limb + f.gap + f.leakage), 0.02 * f.limb);
    EXPECT_LT(std::fabs(f.limb + f.gap + f.leakage + beyond), 0.003 * f.limb);
  }
  const LEVEL_CHANGES c = level_changes(levels);
  // The iron's relative change also stays below the air's: a load that acts as a spurious current
  // in the iron, amplified by mu_r, makes it the larger one.
  for (std::size_t k = 0; k < c.change[0].size(); ++k) {
    std::printf("  change of B from level %zu to %zu: iron %.4f, air %.4f\n", k, k + 1, c.change[0][k],
                c.change[1][k]);
    EXPECT_LT(c.change[0][k], c.change[1][k]);
  }
  for (std::size_t k = 1; k < c.change[0].size(); ++k) {
    const double iron = c.change[0][k - 1] / c.change[0][k], air = c.change[1][k - 1] / c.change[1][k];
    std::printf("  reduction from step %zu to step %zu: iron %.3f, air %.3f\n", k - 1, k, iron, air);
    EXPECT_GE(iron, air);
  }
  std::printf("  whole C-core study %.1f s\n", seconds_since(start));
}

} // namespace
} // namespace tesmora::testing
