// Whole eddy-current jobs against closed forms. A conducting slab -d < x < d in a uniform field
// B0 along z applied on both faces: the field diffuses into the slab by dB/dt = (1/mu sigma)
// d2B/dx2; in AC Bz = B0 cosh(kx)/cosh(kd) with k = (1 + j)/delta, after a step of the field
// the series of the diffusion equation. A conducting sphere in a uniform AC field, whose loss
// has a closed form in spherical Bessel functions. The field is applied by a uniform coil field
// whose potential enters the conductor: all the eddy current comes from the coil's conductor
// column.
#include "static_job_support.hpp"
#include "support/job_results.hpp"
#include "support/strict_json.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace tesmora::testing {
namespace {

using complex = std::complex<double>;
constexpr double mu0 = 4e-7 * M_PI;
constexpr double sigma = 1.0e7; // S/m
constexpr double d = 0.01;      // half thickness, m
constexpr double side = 0.01;   // the slab's extent in y and z, one element

// nx hexahedra across the slab, one in y and z, in free-field NASTRAN.
std::string slab_mesh(int nx) {
  std::ostringstream s;
  s.precision(17);
  auto node = [nx](int i, int j, int k) { return 1 + i + (nx + 1) * (j + 2 * k); };
  for (int k = 0; k < 2; ++k)
    for (int j = 0; j < 2; ++j)
      for (int i = 0; i <= nx; ++i)
        s << "GRID," << node(i, j, k) << ",0," << -d + 2.0 * d * i / nx << "," << side * j << "," << side * k
          << "\n";
  for (int i = 0; i < nx; ++i)
    s << "CHEXA," << i + 1 << ",1," << node(i, 0, 0) << "," << node(i + 1, 0, 0) << "," << node(i + 1, 1, 0)
      << "," << node(i, 1, 0) << "," << node(i, 0, 1) << "," << node(i + 1, 0, 1) << ",+E" << i + 1 << "\n+E"
      << i + 1 << "," << node(i + 1, 1, 1) << "," << node(i, 1, 1) << "\n";
  return s.str();
}

// The slab job: the y faces fixed (tangential A 0 there, so A stays along y), the x and z faces
// natural (Ht = 0 planes), the coil field B0 = 1 T along z with the potential (0, B0 x, 0).
STATIC_DECK slab_deck(const std::string &analysis) {
  STATIC_DECK deck;
  deck.analysis = analysis;
  deck.tree_gauge = 0; // a tree is built, and the conductor keeps its edges
  deck.far_boundary = 0;
  char planes[4][64];
  std::snprintf(planes[0], sizeof planes[0], "1.0 0.0 0.0 %.17g", d);
  std::snprintf(planes[1], sizeof planes[1], "1.0 0.0 0.0 %.17g", -d);
  std::snprintf(planes[2], sizeof planes[2], "0.0 0.0 1.0 0.0");
  std::snprintf(planes[3], sizeof planes[3], "0.0 0.0 1.0 %.17g", -side);
  deck.ht0_planes = {planes[0], planes[1], planes[2], planes[3]};
  char material[96];
  std::snprintf(material, sizeof material, "1 1 0 %.17g 1.0 0 0 0 0", sigma);
  deck.materials = {material};
  deck.coil_elements = "UNIF 0.0 0.0 1.0 1";
  deck.iccg_conv = 1e-11;
  deck.node_out = 0;
  return deck;
}

struct SLAB_RUN {
  BATCH_RUN run;
  std::vector<std::map<int, std::array<double, 6>>> steps; // element values of each output step
  std::string output;
};

SLAB_RUN run_slab(const STATIC_DECK &deck, int nx) {
  TempDir dir;
  write_file(dir.file("input"), static_deck(deck));
  write_file(dir.file("pre_geom.nas"), slab_mesh(nx));
  SLAB_RUN out;
  out.run = run_batch(dir.path(), {"-q"});
  out.output = read_file(dir.file("output"));
  if (out.run.exit_status == 0)
    out.steps = read_unv_steps(dir.file("magnetic"), 56);
  else
    ADD_FAILURE() << read_file(dir.file("check"));
  return out;
}

double element_left(int i, int nx) { return -d + 2.0 * d * i / nx; }

// The mean of B0 cosh(kx)/cosh(kd) over element i.
complex ac_mean(int i, int nx, double delta) {
  const complex k(1.0 / delta, 1.0 / delta);
  const double a = element_left(i, nx), b = element_left(i + 1, nx);
  return (std::sinh(k * b) - std::sinh(k * a)) / (k * (b - a) * std::cosh(k * d));
}

// The frequency at which the skin depth is delta.
double frequency_for(double delta) { return 2.0 / (mu0 * sigma * delta * delta) / (2.0 * M_PI); }

// The AC slab job at the frequency of skin depth delta, the coil on a sine of amplitude 1 and
// phase 0: the phasor 1.
STATIC_DECK ac_slab_deck(double delta) {
  STATIC_DECK deck = slab_deck("ac");
  char card[96];
  std::snprintf(card, sizeof card, "%.17g 0.0 0.0 0", frequency_for(delta));
  deck.frequency_card = card;
  std::snprintf(card, sizeof card, "1 0\n1 2\n1.0 %.17g 0.0\n", 1.0 / frequency_for(delta));
  deck.time_evolutions = card;
  return deck;
}

// The largest deviation from the closed form over the elements, relative to B0, of the AC job's
// Bz at the phases 0 (Re) and 90 degrees (-Im).
double ac_slab_error(double d_over_delta, int nx) {
  const double delta = d / d_over_delta;
  const STATIC_DECK deck = ac_slab_deck(delta);
  const SLAB_RUN r = run_slab(deck, nx);
  if (r.steps.size() != 2) {
    ADD_FAILURE() << "phases written: " << r.steps.size();
    return 1.0;
  }
  double worst = 0.0;
  for (int i = 0; i < nx; ++i) {
    const complex exact = ac_mean(i, nx, delta);
    const complex computed(r.steps[0].at(i + 1)[2], -r.steps[1].at(i + 1)[2]);
    worst = std::max(worst, std::abs(computed - exact));
    // Nothing but Bz.
    EXPECT_NEAR(r.steps[0].at(i + 1)[0], 0.0, 1e-5);
    EXPECT_NEAR(r.steps[0].at(i + 1)[1], 0.0, 1e-5);
  }
  return worst;
}

TEST(EddyJob, SlabInAnACFieldTakesTheSkinEffectOfTheClosedForm) {
  // d/delta = 0.5, 1 and 3; the error of the element means falls with the square of h.
  for (const double ratio : {0.5, 1.0, 3.0}) {
    SCOPED_TRACE(ratio);
    const double coarse = ac_slab_error(ratio, 20);
    const double fine = ac_slab_error(ratio, 40);
    std::printf("d/delta %.1f: max |Bz - closed form| / B0 %.3e (20 elements), %.3e (40)\n", ratio, coarse,
                fine);
    EXPECT_LT(coarse, 0.02);
    EXPECT_GT(coarse / fine, 3.0);
  }
}

// Step response: B/B0 = 1 - sum_n c_n cos(m x) exp(-m^2 t / (mu sigma)), m = (2n+1) pi / 2d,
// c_n = 4 (-1)^n / ((2n+1) pi); the field before the step is 0.
double step_mean(int i, int nx, double t) {
  const double a = element_left(i, nx), b = element_left(i + 1, nx);
  double sum = 0.0;
  for (int n = 0; n < 2000; ++n) {
    const double m = (2 * n + 1) * M_PI / (2.0 * d);
    const double c = 4.0 * (n % 2 ? -1.0 : 1.0) / ((2 * n + 1) * M_PI);
    sum += c * (std::sin(m * b) - std::sin(m * a)) / (m * (b - a)) * std::exp(-m * m * t / (mu0 * sigma));
  }
  return 1.0 - sum;
}

// The response to a ramp of duration tr (then constant), by Duhamel's integral of the step
// response: B/B0 = (1/tr) (s - sum_n c_n cos(m x) (exp(-l (t - s)) - exp(-l t)) / l), s = min(t, tr).
double ramp_mean(int i, int nx, double t, double tr) {
  const double a = element_left(i, nx), b = element_left(i + 1, nx);
  const double s = std::min(t, tr);
  double sum = 0.0;
  for (int n = 0; n < 2000; ++n) {
    const double m = (2 * n + 1) * M_PI / (2.0 * d);
    const double l = m * m / (mu0 * sigma);
    const double c = 4.0 * (n % 2 ? -1.0 : 1.0) / ((2 * n + 1) * M_PI);
    sum += c * (std::sin(m * b) - std::sin(m * a)) / (m * (b - a)) *
           (std::exp(-l * (t - s)) - std::exp(-l * t)) / l;
  }
  return (s - sum) / tr;
}

// The slow time constant of the slab, mu sigma (2d/pi)^2.
const double tau = mu0 * sigma * 4.0 * d * d / (M_PI * M_PI);

// A transient slab job: `steps` steps of dt, the coil field on the table `table`.
SLAB_RUN transient_slab(double theta, double dt, int steps, const std::string &table, int nx) {
  STATIC_DECK deck = slab_deck("transient");
  deck.theta = theta;
  deck.delta_time = dt;
  deck.no_steps = steps;
  deck.time_evolutions = table;
  return run_slab(deck, nx);
}

TEST(EddyJob, SlabAfterAStepOfTheFieldFollowsTheDiffusionSeries) {
  // A jump of the table at t = 0: the field before the run is 0, then B0 on the faces.
  const int nx = 40, steps = 200;
  const double dt = tau / 100.0;
  const SLAB_RUN r = transient_slab(1.0, dt, steps, "1 0\n1 1\n3 0.0\n0.0 0.0\n0.0 1.0\n100.0 1.0\n", nx);
  ASSERT_EQ(r.steps.size(), static_cast<std::size_t>(steps));
  for (const int step : {20, 60, 200}) { // t = 0.2, 0.6 and 2 tau
    SCOPED_TRACE(step);
    double worst = 0.0;
    for (int i = 0; i < nx; ++i)
      worst = std::max(worst, std::fabs(r.steps[static_cast<std::size_t>(step - 1)].at(i + 1)[2] -
                                        step_mean(i, nx, step * dt)));
    std::printf("step of B0, t = %.1f tau: max |Bz - series| / B0 = %.3e\n", step * dt / tau, worst);
    EXPECT_LT(worst, 0.02);
  }
}

TEST(EddyJob, TheThetaMethodConvergesToItsOrderInTime) {
  // A ramp over tau, then constant: the error at t = 1.5 tau falls as dt^2 with theta 0.5 and as
  // dt with theta 1, the mesh fine enough for its own error to stay below.
  const int nx = 80;
  const double t_end = 1.5 * tau;
  char table[128];
  std::snprintf(table, sizeof table, "1 0\n1 1\n3 0.0\n0.0 0.0\n%.17g 1.0\n100.0 1.0\n", tau);
  for (const double theta : {0.5, 1.0}) {
    double errors[2];
    for (int refine = 0; refine < 2; ++refine) {
      const int steps = 12 << refine;
      const SLAB_RUN r = transient_slab(theta, t_end / steps, steps, table, nx);
      ASSERT_EQ(r.steps.size(), static_cast<std::size_t>(steps));
      double worst = 0.0;
      for (int i = 0; i < nx; ++i)
        worst = std::max(worst, std::fabs(r.steps.back().at(i + 1)[2] - ramp_mean(i, nx, t_end, tau)));
      errors[refine] = worst;
    }
    const double order = std::log2(errors[0] / errors[1]);
    std::printf("theta %.1f: errors %.3e (12 steps), %.3e (24 steps): order %.2f\n", theta, errors[0],
                errors[1], order);
    EXPECT_NEAR(order, theta == 0.5 ? 2.0 : 1.0, 0.25);
  }
}

TEST(EddyJob, ASinusoidalTransientSettlesOnTheACPhasor) {
  // d = delta at 1/T; 4 periods of 80 steps (theta 0.5), then a quarter period: the transient at
  // t = 4T and 4.25T against the AC job's phases 0 and 90 degrees.
  const double delta = d;
  const double f = frequency_for(delta), period = 1.0 / f;
  const int nx = 20, per_period = 80, steps = 4 * per_period + per_period / 4;
  char evolution[96];
  std::snprintf(evolution, sizeof evolution, "1 0\n1 2\n1.0 %.17g 0.0\n", period);
  const SLAB_RUN transient = transient_slab(0.5, period / per_period, steps, evolution, nx);
  STATIC_DECK ac = slab_deck("ac");
  char card[96];
  std::snprintf(card, sizeof card, "%.17g 0.0 0.0 0", f);
  ac.frequency_card = card;
  ac.time_evolutions = evolution;
  const SLAB_RUN phasor = run_slab(ac, nx);
  ASSERT_EQ(transient.steps.size(), static_cast<std::size_t>(steps));
  ASSERT_EQ(phasor.steps.size(), 2u);
  for (int i = 0; i < nx; ++i) {
    EXPECT_NEAR(transient.steps[4 * per_period - 1].at(i + 1)[2], phasor.steps[0].at(i + 1)[2], 0.01);
    EXPECT_NEAR(transient.steps[steps - 1].at(i + 1)[2], phasor.steps[1].at(i + 1)[2], 0.01);
  }
}

// The saturation wave: the slab of a piecewise-linear B-H curve under a step of the applied H
// on its faces, against an independent explicit finite-difference solution of the 1D nonlinear
// diffusion dB/dt = (1/sigma) d2H(B)/dx2 with H(+-d) = Ha, on a grid ten times finer.
struct BH_TABLE {
  std::vector<double> H{0.0, 100.0, 200.0, 400.0, 800.0, 1600.0, 3200.0};
  std::vector<double> B{0.0, 0.6, 1.0, 1.3, 1.5, 1.62, 1.7};
  double H_of(double b) const {
    for (std::size_t i = 1; i < B.size(); ++i)
      if (b <= B[i]) return H[i - 1] + (H[i] - H[i - 1]) * (b - B[i - 1]) / (B[i] - B[i - 1]);
    return H.back();
  }
  double B_of(double h) const {
    for (std::size_t i = 1; i < H.size(); ++i)
      if (h <= H[i]) return B[i - 1] + (B[i] - B[i - 1]) * (h - H[i - 1]) / (H[i] - H[i - 1]);
    return B.back();
  }
};

// B(x) on the half slab 0 <= x <= d (nodes j dx, the face at j = m) at the given times, from
// B = 0 and H(d) = Ha from t = 0 on; symmetric about x = 0.
std::vector<std::vector<double>> saturation_wave(const BH_TABLE &law, double Ha,
                                                 const std::vector<double> &times, int m) {
  const double dx = d / m;
  double steepest = 0.0; // the largest dH/dB of the law
  for (std::size_t i = 1; i < law.H.size(); ++i)
    steepest = std::max(steepest, (law.H[i] - law.H[i - 1]) / (law.B[i] - law.B[i - 1]));
  const double dt = 0.4 * sigma * dx * dx / steepest;
  std::vector<double> b(static_cast<std::size_t>(m + 1), 0.0), h(b.size(), 0.0);
  b[static_cast<std::size_t>(m)] = law.B_of(Ha);
  std::vector<std::vector<double>> out;
  double t = 0.0;
  for (const double until : times) {
    while (t < until) {
      const double step = std::min(dt, until - t);
      for (int j = 0; j <= m; ++j) h[static_cast<std::size_t>(j)] = law.H_of(b[static_cast<std::size_t>(j)]);
      for (int j = 0; j < m; ++j) {
        const double left = h[static_cast<std::size_t>(j == 0 ? 1 : j - 1)];
        b[static_cast<std::size_t>(j)] +=
            step / (sigma * dx * dx) *
            (left - 2.0 * h[static_cast<std::size_t>(j)] + h[static_cast<std::size_t>(j + 1)]);
      }
      t += step;
    }
    out.push_back(b);
  }
  return out;
}

void saturating_slab(double theta);

// Backward Euler, and theta 2/3, whose step takes the nonlinear elements' old residual with the
// weight 1 - theta.
TEST(EddyJob, ASaturatingSlabAfterAStepFollowsTheNonlinearDiffusion) {
  for (const double theta : {1.0, 2.0 / 3.0}) {
    SCOPED_TRACE(theta);
    saturating_slab(theta);
  }
}

void saturating_slab(double theta) {
  const BH_TABLE law;
  const double B0 = 0.0025, Ha = B0 / mu0; // the coil's field and the applied H, 1989 A/m
  const int nx = 40, steps = 200, m = 200;
  const double dt = 2e-3;
  STATIC_DECK deck = slab_deck("transient");
  deck.theta = theta;
  deck.delta_time = dt;
  deck.no_steps = steps;
  deck.time_evolutions = "1 0\n1 1\n3 0.0\n0.0 0.0\n0.0 1.0\n100.0 1.0\n";
  char text[96];
  std::snprintf(text, sizeof text, "UNIF 0.0 0.0 %.17g 1", B0);
  deck.coil_elements = text;
  std::snprintf(text, sizeof text, "1 1 1 %.17g 0.0 0 0 0 0", sigma);
  deck.materials = {text};
  deck.non_linear = 1;
  deck.non_linear_card = "1.0e-7 1.0 50 0 0 0 0 0";
  std::ostringstream curve;
  curve << "1 0 0 0 0\n1 " << law.H.size() << "\n";
  for (std::size_t i = 0; i < law.H.size(); ++i) curve << law.H[i] << " " << law.B[i] << "\n";
  deck.bh_curves = curve.str();
  deck.iccg_conv = 1e-10;
  const SLAB_RUN r = run_slab(deck, nx);
  ASSERT_EQ(r.steps.size(), static_cast<std::size_t>(steps));
  const std::vector<int> at = {25, 75, 200}; // t = 0.05, 0.15 and 0.4 s
  std::vector<double> times;
  for (const int step : at) times.push_back(step * dt);
  const std::vector<std::vector<double>> reference = saturation_wave(law, Ha, times, m);
  const double surface = law.B_of(Ha);
  for (std::size_t k = 0; k < at.size(); ++k) {
    SCOPED_TRACE(at[k]);
    double worst = 0.0, penetrated = 0.0;
    for (int i = 0; i < nx; ++i) {
      // The reference's mean over the element, by the trapezoidal rule on its nodes (|x| by symmetry).
      const double a = std::fabs(element_left(i, nx)), b = std::fabs(element_left(i + 1, nx));
      const int from = static_cast<int>(std::lround(std::min(a, b) / d * m)),
                to = static_cast<int>(std::lround(std::max(a, b) / d * m));
      double mean = 0.0;
      for (int j = from; j < to; ++j)
        mean +=
            0.5 * (reference[k][static_cast<std::size_t>(j)] + reference[k][static_cast<std::size_t>(j + 1)]);
      mean /= to - from;
      const double computed = r.steps[static_cast<std::size_t>(at[k] - 1)].at(i + 1)[2];
      worst = std::max(worst, std::fabs(computed - mean));
      penetrated += computed / nx;
    }
    std::printf("saturation wave, theta %.3f, t = %.2f s: mean B %.3f T, max |Bz - reference| = %.3e T (%.2f "
                "%% of the "
                "face's %.3f T)\n",
                theta, times[k], penetrated, worst, 100.0 * worst / surface, surface);
    EXPECT_LT(worst, 0.03 * surface);
  }
}

TEST(EddyJob, APeriodicRunStartsEachStepFromTheSolutionOnePeriodBefore) {
  // The sinusoidal slab of 80 steps a period over 4 periods, with and without TP_STEP 80 (CYCLE
  // 80): once a period is stored, the solution one period before is the better start, so the
  // solves take fewer iterations, and they reach the same answers.
  const double f = frequency_for(d), period = 1.0 / f;
  const int nx = 20, per_period = 80, steps = 4 * per_period;
  char evolution[96];
  std::snprintf(evolution, sizeof evolution, "1 0\n1 2\n1.0 %.17g 0.0\n", period);
  STATIC_DECK deck = slab_deck("transient");
  deck.theta = 1.0;
  deck.delta_time = period / per_period;
  deck.no_steps = steps;
  deck.time_evolutions = evolution;
  deck.iccg_conv = 1e-10;
  const SLAB_RUN plain = run_slab(deck, nx);
  deck.tp_step = per_period;
  deck.cycle = per_period;
  const SLAB_RUN periodic = run_slab(deck, nx);
  ASSERT_EQ(plain.steps.size(), static_cast<std::size_t>(steps));
  ASSERT_EQ(periodic.steps.size(), static_cast<std::size_t>(steps));
  for (int i = 0; i < nx; ++i)
    EXPECT_NEAR(periodic.steps.back().at(i + 1)[2], plain.steps.back().at(i + 1)[2], 1e-8);
  // The periodic start is taken only after the first period.
  std::size_t taken = 0;
  for (std::size_t at = periodic.output.find("*** set periodic initial value ***"); at != std::string::npos;
       at = periodic.output.find("*** set periodic initial value ***", at + 1))
    ++taken;
  EXPECT_GT(taken, 0u);
  EXPECT_LE(taken, static_cast<std::size_t>(steps - per_period));
  auto total_iterations = [](const std::string &output) {
    const std::string key = "**** Total number of ICCG interations:";
    const std::size_t at = output.find(key);
    return at == std::string::npos ? -1 : std::stoi(output.substr(at + key.size()));
  };
  const int with = total_iterations(periodic.output), without = total_iterations(plain.output);
  std::printf("periodic starts: %zu of %d steps, ICCG iterations %d against %d without\n", taken, steps, with,
              without);
  EXPECT_GT(with, 0);
  EXPECT_LT(with, without);
}

// The Joule totals of output.json: "HEAT" "JOULE<mat>" (the last entry), for a material id or
// 0 for the total.
double json_joule(const std::string &json, int mat) {
  JSON_VALUE root;
  StrictJsonParser parser(json);
  if (!parser.parse(root)) {
    ADD_FAILURE() << json;
    return 0.0;
  }
  const JSON_VALUE *heat = root.member("HEAT");
  const JSON_VALUE *joule = heat ? heat->member("JOULE" + std::to_string(mat)) : nullptr;
  if (!joule || joule->items.empty()) {
    ADD_FAILURE() << "no HEAT JOULE" << mat << " in " << json;
    return 0.0;
  }
  return joule->items.back().number;
}

TEST(EddyJob, TheSlabsLossAndCurrentAreThoseOfTheClosedForm) {
  // d = delta. Per unit area of the faces the cycle-average loss is the integral over the
  // thickness of |J|^2 / (2 sigma), Jy = -(1/mu0) dBz/dx = -B0 k sinh(kx) / (mu0 cosh(kd)), taken
  // here by Simpson's rule; the slab's faces are side x side.
  const double delta = d;
  const complex k(1.0 / delta, 1.0 / delta);
  auto J = [&](double x) { return -k * std::sinh(k * x) / (mu0 * std::cosh(k * d)); };
  const int n = 2000;
  double integral = 0.0;
  for (int i = 0; i <= n; ++i) {
    const double x = -d + 2.0 * d * i / n;
    const double w = i == 0 || i == n ? 1.0 : (i % 2 ? 4.0 : 2.0);
    integral += w * std::norm(J(x));
  }
  integral *= 2.0 * d / n / 3.0;
  const double expected = integral / (2.0 * sigma) * side * side;

  STATIC_DECK deck = ac_slab_deck(delta);
  deck.current = 1;
  deck.heat = 1;
  deck.print_heat = 1;
  deck.node_out = 1;
  const int nx = 40;
  TempDir dir;
  write_file(dir.file("input"), static_deck(deck));
  write_file(dir.file("pre_geom.nas"), slab_mesh(nx));
  const BATCH_RUN run = run_batch(dir.path(), {"-q"});
  ASSERT_EQ(run.exit_status, 0) << read_file(dir.file("check"));
  const std::string json = read_file(dir.file("output.json"));
  EXPECT_NEAR(json_joule(json, 1), expected, 0.01 * expected);
  EXPECT_EQ(json_joule(json, 0), json_joule(json, 1));
  EXPECT_NE(
      read_file(dir.file("output")).find("***      Total Joule heatin loss ( 1 cycle average ) in regions"),
      std::string::npos);
  // Jy at the nodes of the faces x = +-d at the phase 0: Re J(+-d), within 3 % of its modulus
  // (node means of the two edge elements' centre values lie a quarter element inside).
  const std::vector<std::map<int, std::array<double, 6>>> nodes = read_unv_steps(dir.file("current"), 55);
  ASSERT_EQ(nodes.size(), 2u);
  for (const int i : {0, nx}) {
    const double x = -d + 2.0 * d * i / nx;
    EXPECT_NEAR(nodes[0].at(1 + i)[1], J(x).real(), 0.03 * std::abs(J(x)));
    EXPECT_NEAR(nodes[1].at(1 + i)[1], -J(x).imag(), 0.03 * std::abs(J(x)));
  }
  // The heat data set holds each element's loss; their sum is the total.
  const std::map<int, std::array<double, 6>> heat = read_unv_values(dir.file("heat"), 56);
  double sum = 0.0;
  for (const auto &[number, values] : heat) sum += values[1];
  EXPECT_NEAR(sum, json_joule(json, 1), 1e-4 * expected);
}

TEST(EddyJob, ABadTimeOrFrequencyOrConductorCardStopsTheJob) {
  // Each deck differs from a good slab deck in one card; each job stops at that card with exit
  // status 1: check names the card under its echo, the terminal names it with its line, stderr
  // gets the stop.
  struct CASE {
    const char *what;
    STATIC_DECK deck;
  };
  std::vector<CASE> cases;
  STATIC_DECK ac = slab_deck("ac"), transient = slab_deck("transient");
  transient.delta_time = 1e-3;
  cases.push_back({"FREQUENCY 0", ac});
  cases.back().deck.frequency_card = "0.0 0.0 0.0 0";
  cases.push_back({"FREQUENCY -50", ac});
  cases.back().deck.frequency_card = "-50.0 0.0 0.0 0";
  cases.push_back({"DELTA_TIME 0", transient});
  cases.back().deck.delta_time = 0.0;
  cases.push_back({"NO_STEPS 0", transient});
  cases.back().deck.no_steps = 0;
  cases.back().deck.last_output_step = 1;
  // A conductivity taken from a temperature table (SIGMA_DEPEND_ID 1) with SIGMA 0.
  cases.push_back({"SIGMA 0 with SIGMA_DEPEND_ID", transient});
  cases.back().deck.materials = {"1 1 0 0.0 1.0 0 0 0 1"};
  for (const CASE &c : cases) {
    SCOPED_TRACE(c.what);
    TempDir dir;
    write_file(dir.file("input"), static_deck(c.deck));
    write_file(dir.file("pre_geom.nas"), slab_mesh(4));
    const BATCH_RUN run = run_batch(dir.path(), {});
    EXPECT_EQ(run.exit_status, 1);
    const std::string check = read_file(dir.file("check"));
    EXPECT_NE(check.find("Error in card No."), std::string::npos) << check;
    EXPECT_NE(run.stdout_text.find("Error in card No."), std::string::npos) << run.stdout_text;
    EXPECT_NE(read_file(dir.file("stderr")).find("exception error occured!! no.= 1"), std::string::npos);
    EXPECT_FALSE(file_exists(dir.file("solutions")));
  }
}

// A sphere of radius a and conductivity s in a uniform field B0 e^{j w t} along z: inside,
// A_phi = 3 B0 j1(kr) sin(theta) / (2 k j0(ka)) with k = (1 - j)/delta, so the cycle-average
// loss is (s w^2 / 2) (8 pi / 3) |3 B0 / (2 k j0(ka))|^2 times the integral of |j1(kr)|^2 r^2
// over 0 < r < a; in the low-frequency limit pi s w^2 B0^2 a^5 / 15.
double sphere_loss(double a, double s, double omega) {
  const double delta = std::sqrt(2.0 / (omega * mu0 * s));
  const complex k(1.0 / delta, -1.0 / delta);
  auto j0 = [](complex z) { return std::sin(z) / z; };
  auto j1 = [](complex z) { return std::sin(z) / (z * z) - std::cos(z) / z; };
  const int n = 4000;
  double integral = 0.0;
  for (int i = 1; i <= n; ++i) { // Simpson's rule; the integrand is 0 at r = 0
    const double r = a * i / n;
    const double w = i == n ? 1.0 : (i % 2 ? 4.0 : 2.0);
    integral += w * std::norm(j1(k * r)) * r * r;
  }
  integral *= a / n / 3.0;
  return s * omega * omega / 2.0 * (8.0 * M_PI / 3.0) * std::norm(3.0 / (2.0 * k * j0(k * a))) * integral;
}

TEST(EddyJob, ASphereInAnACFieldLosesTheClosedFormPower) {
  // The octant of examples/sphere (radius 0.1 m, material 1) with conductivity 1e6 S/m, at a/delta
  // 0.2 (the low-frequency limit) and 2. The planes x = 0 and y = 0 carry E normal to them
  // (tangential A fixed), z = 0 the mirror of B normal to it (natural); the loss is 8 octants'.
  const double a = 0.1, s = 1.0e6;
  for (const double ratio : {0.2, 2.0}) {
    SCOPED_TRACE(ratio);
    const double delta = a / ratio, omega = 2.0 / (mu0 * s * delta * delta);
    STATIC_DECK deck;
    deck.analysis = "ac";
    deck.tree_gauge = 0;
    deck.far_boundary = 0;
    deck.bn0_planes = {"1.0 0.0 0.0 0.0", "0.0 1.0 0.0 0.0"};
    deck.ht0_planes = {"0.0 0.0 1.0 0.0"};
    char text[128];
    std::snprintf(text, sizeof text, "1 1 0 %.17g 1.0 0 0 0 0", s);
    deck.materials = {text, "2 1 0 0.0 1.0 0 0 0 0"};
    deck.coil_elements = "UNIF 0.0 0.0 1.0 0";
    std::snprintf(text, sizeof text, "%.17g 0.0 0.0 0", omega / (2.0 * M_PI));
    deck.frequency_card = text;
    std::snprintf(text, sizeof text, "1 0\n1 2\n1.0 %.17g 0.0\n", 2.0 * M_PI / omega);
    deck.time_evolutions = text;
    deck.iccg_conv = 1e-8;
    deck.phase_card = "0.0 0.0 90.0";
    TempDir dir;
    write_file(dir.file("input"), static_deck(deck));
    write_file(dir.file("pre_geom.nas"),
               read_file(std::string(TESMORA_SOURCE_DIR) + "/examples/sphere/pre_geom.nas"));
    const BATCH_RUN run = run_batch(dir.path(), {"-q"});
    ASSERT_EQ(run.exit_status, 0) << read_file(dir.file("check"));
    const double computed = 8.0 * json_joule(read_file(dir.file("output.json")), 1);
    const double expected = sphere_loss(a, s, omega);
    if (ratio < 1.0) {
      EXPECT_NEAR(expected, M_PI * s * omega * omega * std::pow(a, 5) / 15.0, 0.005 * expected);
    }
    std::printf("sphere a/delta %.1f: loss %.5e W, closed form %.5e W (%+.2f %%)\n", ratio, computed,
                expected, 100.0 * (computed / expected - 1.0));
    EXPECT_NEAR(computed, expected, 0.03 * expected);
  }
}

} // namespace
} // namespace tesmora::testing
