// Tests of the references and samplers of the coil-in-iron jobs: the loop's closed form against its
// value on the axis and a direct Biot-Savart sum, point location and plane faces on a cube of
// tetrahedra.
#include "coil_iron_support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace tesmora::testing {
namespace {

constexpr double pi = 3.14159265358979323846;
constexpr double mu0 = 4.0e-7 * pi;

// B of a filament loop by the Biot-Savart law, summed over n straight pieces of its circle
// (midpoint rule, error O(1/n^2)).
std::array<double, 3> biot_savart_loop(double current, double radius, const std::array<double, 3> &p, int n) {
  std::array<double, 3> B{};
  for (int k = 0; k < n; ++k) {
    const double phi = 2.0 * pi * (k + 0.5) / n, dphi = 2.0 * pi / n;
    const double dl[3] = {-radius * std::sin(phi) * dphi, radius * std::cos(phi) * dphi, 0.0};
    const double r[3] = {p[0] - radius * std::cos(phi), p[1] - radius * std::sin(phi), p[2]};
    const double d = std::sqrt(r[0] * r[0] + r[1] * r[1] + r[2] * r[2]);
    const double f = mu0 * current / (4.0 * pi * d * d * d);
    B[0] += f * (dl[1] * r[2] - dl[2] * r[1]);
    B[1] += f * (dl[2] * r[0] - dl[0] * r[2]);
    B[2] += f * (dl[0] * r[1] - dl[1] * r[0]);
  }
  return B;
}

TEST(LoopField, OnTheAxisItIsTheTextbookFormula) {
  const double I = 1000.0, a = 0.05;
  for (const double z : {-0.2, -0.03, 0.0, 0.01, 0.05}) {
    const std::array<double, 2> B = filament_loop_field(I, a, 0.0, z);
    EXPECT_EQ(B[0], 0.0);
    EXPECT_NEAR(B[1], mu0 * I * a * a / (2.0 * std::pow(a * a + z * z, 1.5)), 1e-12);
  }
}

TEST(LoopField, OffTheAxisItIsTheBiotSavartSum) {
  const double I = 1000.0, a = 0.05;
  // Points inside, outside and close to the wire, above and below its plane, and near the axis.
  const double points[][2] = {{0.02, 0.03}, {0.07, -0.01}, {0.049, 0.002}, {1e-4, -0.02}, {0.3, 0.1}};
  for (const auto &q : points) {
    SCOPED_TRACE(q[0]);
    const std::array<double, 2> B = filament_loop_field(I, a, q[0], q[1]);
    // The point at azimuth 30 degrees: the closed form is in the (rho, z) plane.
    const double c = std::cos(pi / 6), s = std::sin(pi / 6);
    const std::array<double, 3> sum = biot_savart_loop(I, a, {q[0] * c, q[0] * s, q[1]}, 20000);
    const double scale = std::hypot(B[0], B[1]);
    EXPECT_NEAR(B[0] * c, sum[0], 1e-6 * scale);
    EXPECT_NEAR(B[0] * s, sum[1], 1e-6 * scale);
    EXPECT_NEAR(B[1], sum[2], 1e-6 * scale);
  }
}

// The section's Gauss rule against a plain midpoint sum over 60 by 60 filaments of the section, at
// points beside it; one Gauss point is the filament at the section's centre.
TEST(LoopField, TheSectionRuleIsTheMeanOverTheSection) {
  const SECTION_LOOP loop{1000.0, 0.05, 0.05, 0.01, 0.01};
  for (const auto &q : std::vector<std::array<double, 2>>{{0.0, 0.0}, {0.05, 0.035}, {0.01, -0.01}}) {
    std::array<double, 2> sum{};
    const int n = 60;
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) {
        const double radius = loop.radius + loop.radial_w * ((i + 0.5) / n - 0.5);
        const double height = loop.center_z + loop.axial_w * ((j + 0.5) / n - 0.5);
        const std::array<double, 2> b =
            filament_loop_field(loop.current / (n * n), radius, q[0], q[1] - height);
        sum[0] += b[0];
        sum[1] += b[1];
      }
    const std::array<double, 2> gauss = section_loop_field(loop, q[0], q[1], 5);
    const double scale = std::hypot(sum[0], sum[1]);
    EXPECT_NEAR(gauss[0], sum[0], 1e-4 * scale);
    EXPECT_NEAR(gauss[1], sum[1], 1e-4 * scale);
    const std::array<double, 2> centre = section_loop_field(loop, q[0], q[1], 1);
    const std::array<double, 2> filament =
        filament_loop_field(loop.current, loop.radius, q[0], q[1] - loop.center_z);
    EXPECT_EQ(centre[0], filament[0]);
    EXPECT_EQ(centre[1], filament[1]);
  }
}

// The unit cube in n^3 small cubes, each cut into six tetrahedra along its main diagonal.
TET_MESH cube_of_tetrahedra(int n) {
  TET_MESH mesh;
  auto node = [n](int i, int j, int k) { return (i * (n + 1) + j) * (n + 1) + k; };
  for (int i = 0; i <= n; ++i)
    for (int j = 0; j <= n; ++j)
      for (int k = 0; k <= n; ++k)
        mesh.points.push_back(
            {static_cast<double>(i) / n, static_cast<double>(j) / n, static_cast<double>(k) / n});
  const int paths[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2}, {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j)
      for (int k = 0; k < n; ++k)
        for (const auto &path : paths) {
          int at[3] = {i, j, k};
          std::array<int, 4> corners{node(i, j, k), 0, 0, 0};
          for (int step = 0; step < 3; ++step) {
            ++at[path[step]];
            corners[static_cast<std::size_t>(step + 1)] = node(at[0], at[1], at[2]);
          }
          mesh.corners.push_back(corners);
          mesh.numbers.push_back(static_cast<int>(mesh.corners.size()));
          mesh.properties.push_back(1);
        }
  return mesh;
}

TEST(TetLocator, FindsTheTetrahedronThatHoldsAPoint) {
  const TET_MESH mesh = cube_of_tetrahedra(5);
  double volume = 0.0;
  for (std::size_t t = 0; t < mesh.size(); ++t) volume += mesh.volume(t);
  EXPECT_NEAR(volume, 1.0, 1e-12);
  const TetLocator locator(mesh);
  std::mt19937 random(7);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  for (int k = 0; k < 2000; ++k) {
    const std::array<double, 3> p{u(random), u(random), u(random)};
    const long t = locator.find(p);
    ASSERT_GE(t, 0);
    for (const double l : barycentric(mesh, static_cast<std::size_t>(t), p)) EXPECT_GE(l, -1e-12);
  }
  // Corners and centroids are found; points outside the cube are not.
  for (std::size_t t = 0; t < mesh.size(); t += 37)
    EXPECT_EQ(locator.find(mesh.centroid(t)), static_cast<long>(t));
  EXPECT_GE(locator.find({1.0, 1.0, 1.0}), 0);
  EXPECT_EQ(locator.find({1.01, 0.5, 0.5}), -1);
  EXPECT_EQ(locator.find({0.5, -0.01, 0.5}), -1);
}

TEST(PlaneFaces, TileTheCubesFaceOnceAndAnInnerPlaneFromBothSides) {
  const TET_MESH mesh = cube_of_tetrahedra(4);
  for (const auto &[z, area] : std::vector<std::array<double, 2>>{{0.0, 1.0}, {1.0, 1.0}, {0.5, 2.0}}) {
    double sum = 0.0;
    for (const PLANE_FACE &face : faces_in_plane_z(mesh, z, 1e-9)) {
      sum += face.area;
      EXPECT_NEAR(face.centroid[2], z, 1e-12);
    }
    EXPECT_NEAR(sum, area, 1e-12);
  }
  EXPECT_TRUE(faces_in_plane_z(mesh, 0.3, 1e-9).empty());
}

} // namespace
} // namespace tesmora::testing
