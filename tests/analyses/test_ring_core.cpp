// A nonlinear ring core threaded by a straight current: Ampere's law fixes H = I / (2 pi r) in
// the core whatever its permeability, so B there is the curve's B(H) and the flux through the
// core's section is the integral of B(I / 2 pi r) over it. Gmsh makes the mesh at test time.
#include "coil_iron_support.hpp"
#include "static_job_support.hpp"
#include "support/job_results.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace tesmora::testing {
namespace {

constexpr double mu0 = 4e-7 * M_PI;
constexpr double ri = 0.04, ro = 0.06, height = 0.02; // the core of ring_core.geo

// The B-H table of the deck: a smooth saturation law sampled on a geometric grid of H, B = mu0 H
// + Js (2/pi) atan(pi (mu_i - 1) mu0 H / (2 Js)), mu_i 2000, Js 1.8 T.
struct CURVE {
  std::vector<double> H, B;
};
CURVE ring_curve() {
  CURVE c{{0.0}, {0.0}};
  const int points = 80;
  for (int k = 0; k < points; ++k) {
    const double h = std::pow(10.0, 7.0 * k / (points - 1)); // 1 to 1e7 A/m
    c.H.push_back(h);
    c.B.push_back(mu0 * h + 1.8 * 2.0 / M_PI * std::atan(M_PI * 1999.0 * mu0 * h / 3.6));
  }
  return c;
}

// The table's B at H and H at B, by linear interpolation (the job's own law).
double B_of(const CURVE &c, double h) {
  std::size_t i = 1;
  while (i + 1 < c.H.size() && h > c.H[i]) ++i;
  return c.B[i - 1] + (c.B[i] - c.B[i - 1]) * (h - c.H[i - 1]) / (c.H[i] - c.H[i - 1]);
}
double H_of(const CURVE &c, double b) {
  std::size_t i = 1;
  while (i + 1 < c.B.size() && b > c.B[i]) ++i;
  return c.H[i - 1] + (c.H[i] - c.H[i - 1]) * (b - c.B[i - 1]) / (c.B[i] - c.B[i - 1]);
}

std::string ring_deck(double current, const CURVE &curve) {
  STATIC_DECK deck;
  // The outer faces natural: fixed faces would join the surface of the hole about the axis to the
  // outer faces, and with tangential A 0 all along them no flux could circle the core.
  deck.far_boundary = 1;
  deck.tree_gauge = -1;
  deck.bn0_planes = {"0.0 0.0 1.0 0.0"};                    // z = 0: B lies in it
  deck.ht0_planes = {"1.0 0.0 0.0 0.0", "0.0 1.0 0.0 0.0"}; // x = 0, y = 0: B crosses them
  deck.materials = {"1 1 1 0.0 0.0 0 0 0 0", "2 1 0 0.0 1.0 0 0 0 0"};
  char coil[128];
  std::snprintf(coil, sizeof coil, "LINE %.17g\n0.0 0.0 0.0 0.0 0.0 1.0", current);
  deck.coil_elements = coil;
  deck.non_linear = 1;
  deck.line_search = 1;
  deck.non_linear_card = "1.0e-6 1.0 50 0 0 0 0 0";
  deck.iccg_conv = 1e-9;
  std::ostringstream curves;
  curves.precision(17);
  curves << "1 0 0 0 0\n1 " << curve.H.size() << "\n";
  for (std::size_t i = 0; i < curve.H.size(); ++i) curves << curve.H[i] << " " << curve.B[i] << "\n";
  deck.bh_curves = curves.str();
  return static_deck(deck);
}

// The flux through the core's section in the plane y = 0 (0 <= z <= h/2), from the current.
double reference_flux(const CURVE &c, double current) {
  const int n = 4000;
  double sum = 0.0;
  for (int k = 0; k < n; ++k) {
    const double r = ri + (ro - ri) * (k + 0.5) / n;
    sum += B_of(c, current / (2.0 * M_PI * r));
  }
  return sum * (ro - ri) / n * height / 2.0;
}

TEST(RingCore, AmperesLawGivesTheFieldAndTheCurveTheFlux) {
  const CURVE curve = ring_curve();
  TempDir dir;
  const std::string geo = std::string(TESMORA_SOURCE_DIR) + "/tests/analyses/nonlinear/ring_core.geo";
  const std::string failure = make_gmsh_mesh(geo, {}, dir.file("pre_geom.nas"));
  ASSERT_EQ(failure, "");
  TET_MESH mesh = read_tet_mesh(dir.file("pre_geom.nas"));
  // The section lies in the plane y = 0; seen with y and z exchanged it is the plane z = 0.
  TET_MESH turned = mesh;
  for (auto &p : turned.points) std::swap(p[1], p[2]);
  const std::vector<PLANE_FACE> faces = faces_in_plane_z(turned, 0.0, 1e-9);
  // Two drives: H at the mean radius 300 A/m (in the knee, B about 1.5 T) and 3e4 A/m (deep in
  // saturation, B about 1.84 T).
  for (const double H_mean : {300.0, 3.0e4}) {
    SCOPED_TRACE(H_mean);
    const double current = H_mean * 2.0 * M_PI * 0.5 * (ri + ro);
    write_file(dir.file("input"), ring_deck(current, curve));
    const BATCH_RUN run = run_batch(dir.path(), {"-q"});
    ASSERT_EQ(run.exit_status, 0) << read_file(dir.file("check"));
    const std::map<int, std::array<double, 6>> B = read_unv_values(dir.file("magnetic"), 56);
    // H along the mean path: the curve's H of each core element's |B| against I / (2 pi r),
    // averaged over the elements within 2 mm of the mean radius.
    double mean = 0.0;
    int near_mean = 0;
    for (std::size_t t = 0; t < mesh.size(); ++t) {
      if (mesh.properties[t] != 1) continue;
      const std::array<double, 3> c = mesh.centroid(t);
      const double r = std::hypot(c[0], c[1]);
      if (std::fabs(r - 0.05) > 0.002) continue;
      ++near_mean;
      const double expected = current / (2.0 * M_PI * r);
      const double error = (H_of(curve, B.at(mesh.numbers[t])[3]) - expected) / expected;
      mean += error;
    }
    mean /= std::max(near_mean, 1);

    EXPECT_GT(near_mean, 100);
    // Element by element H scatters (in saturation dH/dB is 1/mu0: 0.1 % of B is 5 % of H); its
    // mean along the path is Ampere's.
    EXPECT_LT(std::fabs(mean), 0.01);
    // The flux through the section: the normal component (B_y) of the core elements on it.
    double flux = 0.0;
    for (const PLANE_FACE &face : faces)
      if (mesh.properties[face.tet] == 1) flux += B.at(mesh.numbers[face.tet])[1] * face.area;
    expect_close(std::fabs(flux), reference_flux(curve, current), 0.01, 0.0);
  }
}

} // namespace
} // namespace tesmora::testing
