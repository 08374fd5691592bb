// B-H curves: reading and its checks, the special cases of the evaluation routines, tangents
// against finite differences, the energy against an independent integration, and the search.
#include "input/control_data_writable.hpp"
#include "job/run_files.hpp"
#include "materials/bh_curve.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

// A curve owning its arrays, built in the test.
struct TestCurve {
  TestCurve(std::vector<double> h, std::vector<double> b)
      : H(std::move(h)), B(std::move(b)), energy(H.size()) {
    curve.id = 1;
    curve.no_data = static_cast<int>(H.size());
    curve.H = H.data();
    curve.B = B.data();
    curve.energy = energy.data();
    make_energy_table(curve);
  }
  std::vector<double> H, B, energy;
  B_H_CURVE curve;
};

// A measured non-oriented steel, 24 points (A/m, T).
TestCurve steel() {
  return TestCurve({0,    20,   40,   60,   80,   100,  150,   200,   300,   400,   500,    700,
                    1000, 1500, 2000, 3000, 5000, 8000, 12000, 20000, 40000, 80000, 150000, 300000},
                   {0,    0.11, 0.3,  0.52, 0.72, 0.86, 1.03, 1.12, 1.22, 1.28, 1.32, 1.38,
                    1.43, 1.49, 1.53, 1.58, 1.64, 1.69, 1.74, 1.80, 1.90, 2.02, 2.15, 2.35});
}
TestCurve straight_line() { return TestCurve({0, 1000}, {0, 1.0}); }
// A piece where H falls back while B rises (between 1.2 and 1.3 T): a negative slope.
TestCurve falling_piece() { return TestCurve({0, 100, 200, 180, 1000}, {0, 0.8, 1.2, 1.3, 1.6}); }

// Central differences of a smooth segment are exact up to rounding: relative step 1e-6
// gives a truncation-free error of about eps/1e-6 ~ 1e-10 of the value.
constexpr double fd_step = 1e-6;
constexpr double fd_tolerance = 1e-6;

// True when b lies strictly inside a segment whose slope the tangent routines pass unclamped,
// with room for the finite-difference step.
bool away_from_clamps_and_corners(const B_H_CURVE &c, double b) {
  for (int k = 0; k < c.no_data; ++k)
    if (std::fabs(b - c.B[k]) < 1e-4) return false;
  const int i = bh_search(c, b);
  const double slope = (c.H[i] - c.H[i - 1]) / (c.B[i] - c.B[i - 1]);
  return slope > 0.0 && slope <= nu_max;
}

// Independent piecewise-linear H(B) for a rising curve, with the last segment extended.
double field_of(const TestCurve &t, double b) {
  std::size_t i = 1;
  while (i + 1 < t.B.size() && b > t.B[i]) ++i;
  return t.H[i - 1] + (t.H[i] - t.H[i - 1]) * (b - t.B[i - 1]) / (t.B[i] - t.B[i - 1]);
}

} // namespace

TEST(BhCurve, SpecialCasesOfTheLookup) {
  const TestCurve t = steel();
  const B_H_CURVE &c = t.curve;
  double nu = -1;
  double dnu = -1;
  // b = 0: the first segment's reluctivity, no derivative.
  bh_reluctivity(c, 0.0, &nu, &dnu);
  EXPECT_EQ(nu, 20.0 / 0.11);
  EXPECT_EQ(dnu, 0.0);
  // At and above the last point the last segment goes on as a straight line.
  double h = 0;
  double slope = 0;
  const double last_slope = (300000.0 - 150000.0) / (2.35 - 2.15);
  bh_field(c, 2.35, &h, &slope);
  expect_close(h, 300000.0, 1e-14, 0.0); // rounding
  bh_field(c, -3.0, &h, &slope);
  expect_close(h, -(300000.0 + 0.65 * last_slope), 1e-13, 0.0); // rounding
  expect_close(slope, last_slope, 1e-13, 0.0);
  EXPECT_EQ(bh_search(c, 2.35), c.no_data - 1);
  EXPECT_EQ(bh_search(c, 1.43), 13); // a value at a point falls in the segment above it
  // A two-point curve is one straight line through the origin everywhere.
  const TestCurve line = straight_line();
  for (double b : {0.0, 0.3, 1.0, 5.0}) {
    bh_field(line.curve, b, &h, &slope);
    expect_close(h, 1000.0 * b, 1e-14, 1e-12);
    EXPECT_EQ(slope, 1000.0);
    bh_reluctivity(line.curve, b * b, &nu, &dnu);
    expect_close(nu, 1000.0, 1e-14, 0.0);
  }
  EXPECT_EQ(bh_flux_density(line.curve, 2500.0), 2.5);
}

TEST(BhCurve, ClampsOfReluctivityAndTangent) {
  // A first segment steeper in H than 1/mu0: clamped in the reluctivity, not in the secant.
  const TestCurve air_like({0, 1e6, 2e6}, {0, 1.0, 1.5});
  double nu = 0;
  double dnu = 1;
  bh_reluctivity(air_like.curve, 0.25, &nu, &dnu);
  EXPECT_EQ(nu, nu_max);
  EXPECT_EQ(dnu, 0.0);
  const double B[3] = {0.0, 0.3, 0.4};
  double H[3];
  double secant[3];
  bh_secant_vector(air_like.curve, B, H, secant);
  EXPECT_EQ(secant[0], 1e6);
  EXPECT_EQ(secant[2], 1e6);
  expect_close(H[2], 0.4e6, 1e-14, 0.0);
  const double zero[3] = {0, 0, 0};
  bh_secant_vector(air_like.curve, zero, H, secant);
  EXPECT_EQ(secant[1], 1e6);
  EXPECT_EQ(H[1], 0.0);
  // A falling piece: the tangent routines use 1/mu0 there, and dnu is floored so that
  // dH/dB = nu + 2 s dnu is not negative.
  const TestCurve falling = falling_piece();
  double h = 0;
  double slope = 0;
  bh_field(falling.curve, 1.25, &h, &slope);
  EXPECT_EQ(slope, nu_max);
  const double s = 1.25 * 1.25;
  bh_reluctivity(falling.curve, s, &nu, &dnu);
  expect_close(nu + 2 * s * dnu, 0.0, 0.0, 1e-9); // floored to exactly -nu/(2s), rounding only
  // Below the B^2 threshold of 1e-8 the floor is not applied.
  const TestCurve tiny({0, 1, 2, 1.5}, {0, 4e-5, 8e-5, 1e-4});
  bh_reluctivity(tiny.curve, 9e-5 * 9e-5, &nu, &dnu);
  EXPECT_LT(nu + 2 * 9e-5 * 9e-5 * dnu, 0.0);
}

TEST(BhCurve, TangentsAgreeWithFiniteDifferences) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> component(-1.0, 1.0);
  std::uniform_real_distribution<double> magnitude(0.01, 2.6);
  const TestCurve curves[] = {steel(), straight_line(), falling_piece()};
  for (const TestCurve &t : curves) {
    const B_H_CURVE &c = t.curve;
    const bool rising = &t != &curves[2];
    int checked = 0;
    for (int trial = 0; trial < 400 && checked < 60; ++trial) {
      double dir[3] = {component(random), component(random), component(random)};
      const double length = std::sqrt(dir[0] * dir[0] + dir[1] * dir[1] + dir[2] * dir[2]);
      const double b = magnitude(random);
      if (!away_from_clamps_and_corners(c, b)) continue;
      ++checked;
      double B[3];
      for (int k = 0; k < 3; ++k) B[k] = b * dir[k] / length;
      double H[3];
      double tangent[9];
      bh_field_vector(c, B, H, tangent);
      // Complex phasors with the same real parts share the tangent.
      const double Bc[6] = {B[0], 0.3, B[1], -0.2, B[2], 0.1};
      double Hc[6];
      double tangent_c[9];
      bh_field_vector_complex(c, Bc, Hc, tangent_c);
      for (int col = 0; col < 3; ++col) {
        double plus[3] = {B[0], B[1], B[2]};
        double minus[3] = {B[0], B[1], B[2]};
        const double step = fd_step * b;
        plus[col] += step;
        minus[col] -= step;
        double Hp[3], Hm[3], unused[9];
        bh_field_vector(c, plus, Hp, unused);
        bh_field_vector(c, minus, Hm, unused);
        double Bcp[6] = {Bc[0], Bc[1], Bc[2], Bc[3], Bc[4], Bc[5]};
        double Bcm[6] = {Bc[0], Bc[1], Bc[2], Bc[3], Bc[4], Bc[5]};
        Bcp[2 * col] += step;
        Bcm[2 * col] -= step;
        double Hcp[6], Hcm[6];
        bh_field_vector_complex(c, Bcp, Hcp, unused);
        bh_field_vector_complex(c, Bcm, Hcm, unused);
        for (int row = 0; row < 3; ++row) {
          const double scale = std::fabs(tangent[3 * row + row]);
          expect_close(tangent[3 * row + col], (Hp[row] - Hm[row]) / (2 * step), fd_tolerance,
                       fd_tolerance * scale);
          expect_close(tangent_c[3 * row + col], (Hcp[2 * row] - Hcm[2 * row]) / (2 * step), fd_tolerance,
                       fd_tolerance * scale);
        }
      }
      // The inverse: B of H(B) is B again, and its tangent is the same dH/dB.
      double back[3];
      double tangent_inverse[9];
      bh_inverse_vector(c, H, back, tangent_inverse);
      if (rising) {
        for (int k = 0; k < 3; ++k) expect_close(back[k], B[k], 1e-12, 1e-14);
        for (int k = 0; k < 9; ++k) expect_close(tangent_inverse[k], tangent[k], 1e-9, 1e-9 * tangent[0]);
      }
    }
    EXPECT_GE(checked, 30);
  }
}

TEST(BhCurve, EnergyIsTheIntegralOfBdH) {
  const TestCurve t = steel();
  for (double b : {0.05, 0.11, 0.5, 1.0, 1.43, 1.7, 2.2, 2.35, 2.5}) {
    SCOPED_TRACE(b);
    // Simpson's rule on B dH/dB dB, piece by piece between the curve's points, each piece of a
    // linear H(B) integrated exactly by Simpson; written here from the points alone.
    double reference = 0.0;
    double lower = 0.0;
    std::vector<double> cuts;
    for (double point : t.B)
      if (point > 0.0 && point < b) cuts.push_back(point);
    cuts.push_back(b);
    for (double upper : cuts) {
      const int n = 200;
      const double width = (upper - lower) / n;
      const double dh_db = (field_of(t, upper) - field_of(t, lower)) / (upper - lower);
      for (int k = 0; k < n; ++k) {
        const double x0 = lower + k * width;
        const double x1 = x0 + width;
        reference += width / 6.0 * (x0 + 4 * (0.5 * (x0 + x1)) + x1) * dh_db;
      }
      lower = upper;
    }
    double h = 0;
    double energy = 0;
    bh_energy(t.curve, -b, &h, &energy);
    expect_close(energy, reference, 1e-10, 0.0); // Simpson is exact on these linear integrands; rounding
    expect_close(h, -field_of(t, b), 1e-12, 0.0);
    const double B[3] = {0.0, 0.6 * b, 0.8 * b};
    double H[3];
    double energy_vector = 0;
    bh_energy_vector(t.curve, B, H, &energy_vector);
    expect_close(energy_vector, reference, 1e-10, 0.0);
    expect_close(H[2], 0.8 * field_of(t, b), 1e-12, 0.0);
  }
}

TEST(BhCurve, SearchMatchesALinearScanOnALongCurve) {
  std::vector<double> h(10000);
  std::vector<double> b(10000);
  for (int i = 1; i < 10000; ++i) {
    h[i] = h[i - 1] + 1.0 + (i % 7);
    b[i] = b[i - 1] + 1e-4 * (1.0 + (i % 5));
  }
  const TestCurve t(h, b);
  std::mt19937 random(3);
  std::uniform_real_distribution<double> value(0.0, 1.1 * b.back());
  for (int trial = 0; trial < 2000; ++trial) {
    const double x = trial < 10 ? b[static_cast<std::size_t>(trial * 997)] : value(random);
    int linear = 1;
    while (linear < 9999 && b[static_cast<std::size_t>(linear)] <= x) ++linear;
    ASSERT_EQ(bh_search(t.curve, x), linear) << x;
  }
}

TEST(BhCurve, CurveCardsAndTheirChecks) {
  ScopedJobFiles files;
  writable_control_data().NON_LINEAR = 1;
  open_ffile(run_files().print_out, "w");
  FFILE *file = files.open_card_text("curves", "1 0 0 0 0\n7 3\n0 0\n100 0.5\n200 0.5000001\n");
  read_b_h_curves(file);
  ASSERT_EQ(b_h_curves().no_curves, 1);
  const B_H_CURVE *c = find_b_h_curve(7);
  EXPECT_EQ(c->B[1], 0.5);
  EXPECT_EQ(c->energy[1], 0.5 * 0.5 * 100);
  EXPECT_NE(files.check_text().find("* BH_CURVE_ID * NO_DATA *\n7 3\n*   H_AT/M     *      B_T    *\n0 0\n"),
            std::string::npos);
  // The last segment is almost flat: below the permeability of free space.
  close_ffile(run_files().print_out);
  EXPECT_EQ(read_file(files.dir().file("output")),
            "Warning:Differential relative permeability is less than 1.\n");
  writable_control_data() = CONTROL_DATA{};

  struct BAD_DECK {
    const char *text;
    int card;
  };
  for (const BAD_DECK &bad :
       {BAD_DECK{"-1 0 0 0 0\n", 1}, BAD_DECK{"1 0 0 0 0\n0 3\n", 2}, BAD_DECK{"1 0 0 0 0\n1 1\n", 2},
        BAD_DECK{"1 0 0 0 0\n1 2\n0 0.1\n", 3}, BAD_DECK{"1 0 0 0 0\n1 2\nnan 0\n", 3},
        BAD_DECK{"1 0 0 0 0\n1 2\n0 0\n0 1\n", 4}, BAD_DECK{"1 0 0 0 0\n1 2\n0 0\n10 -1\n", 4}}) {
    SCOPED_TRACE(bad.text);
    const std::string text = bad.text;
    const CHILD_JOB job = run_job_in_child([&] {
      writable_control_data().NON_LINEAR = 1;
      FFILE *deck = open_job_card_file("curves", text);
      read_b_h_curves(deck);
    });
    EXPECT_EQ(job.exit_status, 1);
    EXPECT_NE(job.check.find("Error in card No." + std::to_string(bad.card) + " in file curves\n"),
              std::string::npos)
        << job.check;
  }
  const CHILD_JOB missing = run_job_in_child([] { find_b_h_curve(5); });
  EXPECT_EQ(missing.exit_status, 1);
  EXPECT_EQ(missing.error, "***** B_H_curve No. 5 is not found.\nexception error occured!! no.= 1\n");
}
