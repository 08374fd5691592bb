// Coordinate frames: axes made orthonormal with z kept, vector and point transforms against
// hand-worked components, cylindrical components, frames about an axis.
#include "input/card_reader.hpp"
#include "input/coordinates.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

// Rounding of a few operations on unit vectors.
constexpr double rounding = 1e-14;

void expect_vector(const double actual[3], std::array<double, 3> expected) {
  for (int i = 0; i < 3; ++i) expect_close(actual[i], expected[i], rounding, rounding);
}

double dot(const double a[3], const double b[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

void expect_right_handed_orthonormal(const COORDINATE &f) {
  expect_close(dot(f.ex, f.ex), 1.0, rounding, rounding);
  expect_close(dot(f.ey, f.ey), 1.0, rounding, rounding);
  expect_close(dot(f.ez, f.ez), 1.0, rounding, rounding);
  expect_close(dot(f.ex, f.ey), 0.0, rounding, rounding);
  expect_close(dot(f.ex, f.ez), 0.0, rounding, rounding);
  // ex x ey = ez
  expect_close(f.ex[1] * f.ey[2] - f.ex[2] * f.ey[1], f.ez[0], rounding, rounding);
  expect_close(f.ex[2] * f.ey[0] - f.ex[0] * f.ey[2], f.ez[1], rounding, rounding);
  expect_close(f.ex[0] * f.ey[1] - f.ex[1] * f.ey[0], f.ez[2], rounding, rounding);
}

} // namespace

TEST(Coordinates, AxesNotAtRightAnglesKeepZAndAdaptX) {
  ScopedJobFiles files;
  FFILE *file = files.open_card_text("frames", "COORDINATE 2\n"
                                               "4 1 0.1 0.2 0.3\n1.0 1.0 1.0\n0.0 0.0 2.0\n"
                                               "7 2 0 0 0\n0 1 0\n1 1 0\n");
  read_coordinates(file);
  ASSERT_EQ(coordinates().size(), 2u);
  const COORDINATE *skew = find_coordinate(4);
  EXPECT_EQ(skew->type, 1);
  expect_vector(skew->origin, {0.1, 0.2, 0.3});
  const double h = 1.0 / std::sqrt(2.0);
  expect_vector(skew->ez, {0, 0, 1});  // z as given, normalised
  expect_vector(skew->ex, {h, h, 0});  // x loses its z part
  expect_vector(skew->ey, {-h, h, 0}); // z cross x
  expect_right_handed_orthonormal(*skew);
  const COORDINATE *tilted = find_coordinate(7);
  expect_vector(tilted->ez, {h, h, 0});
  expect_vector(tilted->ex, {-h, h, 0}); // (0,1,0) less its part along z, (-1/2, 1/2, 0), normalised
  expect_right_handed_orthonormal(*tilted);
  EXPECT_EQ(find_coordinate(0)->type, 0);
}

TEST(Coordinates, UnknownIdStopsTheJob) {
  const CHILD_JOB job = run_job_in_child([] { find_coordinate(12); });
  EXPECT_EQ(job.exit_status, 1);
  const std::string message =
      "**** Coordinate ID 12 is not found. *******\nexception error occured!! no.= 1\n";
  EXPECT_EQ(job.check, message);
  EXPECT_EQ(job.error, message);
}

TEST(Coordinates, CartesianTransformsInvertEachOther) {
  const double origin[3] = {1.0, -2.0, 0.5};
  const double x_axis[3] = {0.3, 0.8, -0.2};
  const double z_axis[3] = {0.1, -0.4, 0.9};
  const COORDINATE frame = make_coordinate(3, 1, origin, x_axis, z_axis);
  std::mt19937 random(7);
  std::uniform_real_distribution<double> value(-3.0, 3.0);
  for (int trial = 0; trial < 20; ++trial) {
    const double v[3] = {value(random), value(random), value(random)};
    double local[3];
    double back[3];
    global_to_local(&frame, v, local, nullptr);
    // Components are the projections on the axes.
    expect_close(local[0], dot(frame.ex, v), rounding, rounding);
    expect_close(local[2], dot(frame.ez, v), rounding, rounding);
    local_to_global(&frame, local, back, v);
    expect_vector(back, {v[0], v[1], v[2]});
    double p_local[3];
    double p_back[3];
    point_to_local(&frame, v, p_local);
    point_to_global(&frame, p_local, p_back);
    expect_vector(p_back, {v[0], v[1], v[2]});
  }
  // The global frame and a null frame copy.
  const double v[3] = {1, 2, 3};
  double out[3];
  global_to_local(find_coordinate(0), v, out, nullptr);
  expect_vector(out, {1, 2, 3});
  local_to_global(nullptr, v, out, nullptr);
  expect_vector(out, {1, 2, 3});
}

TEST(Coordinates, CylindricalComponentsAreRadialAndCircumferential) {
  const double origin[3] = {1.0, 2.0, 0.0};
  const double x_axis[3] = {1, 0, 0};
  const double z_axis[3] = {0, 0, 1};
  const COORDINATE frame = make_coordinate(5, 2, origin, x_axis, z_axis);
  // At the point 3 m along +y from the axis, the radial direction is +y and the
  // circumferential one (counter-clockwise) is -x.
  const double on_y[3] = {1.0, 5.0, 4.0};
  const double along_y[3] = {0, 2, 0};
  const double along_minus_x[3] = {-1, 0, 0};
  double out[3];
  global_to_local(&frame, along_y, out, on_y);
  expect_vector(out, {2, 0, 0});
  global_to_local(&frame, along_minus_x, out, on_y);
  expect_vector(out, {0, 1, 0});
  // At 45 degrees a radial unit vector (1,1)/sqrt2 has components (1, 0, 0).
  const double at_45[3] = {2.0, 3.0, 0.0};
  const double h = 1.0 / std::sqrt(2.0);
  const double radial[3] = {h, h, 0.0};
  global_to_local(&frame, radial, out, at_45);
  expect_vector(out, {1, 0, 0});
  const double local[3] = {0.0, 1.0, 0.5};
  local_to_global(&frame, local, out, at_45);
  expect_vector(out, {-h, h, 0.5});
  // On the axis the radial direction is ex.
  const double on_axis[3] = {1.0, 2.0, 7.0};
  const double along_x[3] = {1, 0, 0};
  global_to_local(&frame, along_x, out, on_axis);
  expect_vector(out, {1, 0, 0});
  local_to_global(&frame, along_x, out, on_axis);
  expect_vector(out, {1, 0, 0});
}

TEST(Coordinates, FrameAboutAnAxis) {
  const COORDINATE global{};
  const double steep[3] = {0.0, 0.0, 3.0};
  COORDINATE made = coordinate_from_axis(global, steep);
  expect_vector(made.ez, {0, 0, 1});
  expect_vector(made.ex, {1, 0, 0}); // (ez_z, 0, -ez_x) normalised
  expect_right_handed_orthonormal(made);
  const double flat[3] = {0.0, 2.0, 0.0};
  made = coordinate_from_axis(global, flat);
  expect_vector(made.ez, {0, 1, 0});
  expect_vector(made.ex, {-1, 0, 0}); // (-ez_y, ez_x, 0) normalised
  expect_right_handed_orthonormal(made);
  EXPECT_EQ(made.type, 1);
  // A direction given in a rotated frame is turned to global first.
  const double origin[3] = {0, 0, 1};
  const double x_axis[3] = {0, 1, 0};
  const double z_axis[3] = {1, 0, 0};
  const COORDINATE rotated = make_coordinate(2, 1, origin, x_axis, z_axis);
  made = coordinate_from_axis(rotated, steep);
  expect_vector(made.ez, {1, 0, 0});
  expect_vector(made.origin, {0, 0, 1});
  const COORDINATE cylinder = make_coordinate(9, 2, origin, x_axis, z_axis);
  EXPECT_EQ(coordinate_from_axis(cylinder, steep).id, 9);
}
