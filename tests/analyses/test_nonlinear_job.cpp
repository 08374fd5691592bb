// Whole nonlinear static jobs: an iron slab with a B-H curve in a uniform field along it, whose
// closed form is the curve itself; Newton's convergence; a linear material in a nonlinear job;
// the iteration limit.
#include "static_job_support.hpp"
#include "support/job_results.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace tesmora::testing {
namespace {

constexpr double mu0 = 4e-7 * M_PI;

std::string mesh_path(const std::string &name) {
  return std::string(TESMORA_SOURCE_DIR) + "/tests/data/mesh/" + name;
}

// A smooth saturation law sampled on a geometric grid of H: B = mu0 H + Js (2/pi)
// atan(pi (mu_i - 1) mu0 H / (2 Js)), initial relative permeability mu_i, saturation Js.
struct CURVE {
  std::vector<double> H, B;
};
CURVE smooth_curve(int points, double mu_i = 2000.0, double Js = 1.8) {
  CURVE c{{0.0}, {0.0}};
  for (int k = 0; k < points - 1; ++k) {
    const double h = 1.0 * std::pow(10.0, 7.0 * k / (points - 2)); // 1 to 1e7 A/m
    c.H.push_back(h);
    c.B.push_back(mu0 * h + Js * 2.0 / M_PI * std::atan(M_PI * (mu_i - 1.0) * mu0 * h / (2.0 * Js)));
  }
  return c;
}

std::string curve_section(const CURVE &c) {
  std::ostringstream s;
  s.precision(17);
  s << "1 0 0 0 0\n1 " << c.H.size() << "\n";
  for (std::size_t i = 0; i < c.H.size(); ++i) s << c.H[i] << " " << c.B[i] << "\n";
  return s.str();
}

// B of the table at H by linear interpolation: what the job's piecewise-linear law gives.
double table_B(const CURVE &c, double h) {
  for (std::size_t i = 1; i < c.H.size(); ++i)
    if (h <= c.H[i]) return c.B[i - 1] + (c.B[i] - c.B[i - 1]) * (h - c.H[i - 1]) / (c.H[i] - c.H[i - 1]);
  const std::size_t n = c.H.size() - 1;
  return c.B[n] + (c.B[n] - c.B[n - 1]) * (h - c.H[n]) / (c.H[n] - c.H[n - 1]);
}

// The slab of tests/data/mesh/slab.bdf (0.4 <= z <= 0.6, material 2) with the curve, in a
// uniform field B0 = mu0 H0 along x, parallel to its faces: tangential H is continuous, so the
// iron's H is H0 and its B is the curve's B(H0), uniform; the reduced field is piecewise linear
// in z, exact in the lowest-order edge elements.
STATIC_DECK nonlinear_slab(double H0, const CURVE &curve) {
  STATIC_DECK deck;
  deck.far_boundary = 1;
  deck.tree_gauge = -1;
  deck.bn0_planes = {"0.0 1.0 0.0 0.0", "0.0 1.0 0.0 -1.0"};
  deck.materials = {"1 1 0 0.0 1.0 0 0 0 0", "2 1 1 0.0 0.0 0 0 0 0", "3 1 0 0.0 1.0 0 0 0 0"};
  char coil[96];
  std::snprintf(coil, sizeof coil, "UNIF %.17g 0.0 0.0 0", mu0 * H0);
  deck.coil_elements = coil;
  deck.non_linear = 1;
  deck.non_linear_card = "1.0e-6 1.0 50 0 0 0 0 0";
  deck.bh_curves = curve_section(curve);
  deck.iccg_conv = 1e-10;
  return deck;
}

struct NONLINEAR_RUN {
  BATCH_RUN run;
  std::string output, check;
  std::map<int, std::array<double, 6>> elements;
  std::map<int, TET_CENTROID> centroids;
  std::vector<double> errors; // the "error" of each Newton iteration of the step
};

// The deck on the slab mesh in dir, run with `arguments`.
BATCH_RUN run_slab(const TempDir &dir, const STATIC_DECK &deck, const std::vector<std::string> &arguments) {
  write_file(dir.file("input"), static_deck(deck));
  write_file(dir.file("pre_geom.nas"), read_file(mesh_path("slab.bdf")));
  return run_batch(dir.path(), arguments);
}

NONLINEAR_RUN run_deck(const TempDir &dir, const STATIC_DECK &deck) {
  NONLINEAR_RUN out;
  out.run = run_slab(dir, deck, {"-q"});
  out.output = read_file(dir.file("output"));
  out.check = read_file(dir.file("check"));
  if (out.run.exit_status != 0) return out;
  out.elements = read_unv_values(dir.file("magnetic"), 56);
  out.centroids = read_tet_centroids(dir.file("pre_geom.nas"));
  const std::regex line("Non_linear iteration No\\.\\s*(\\d+)\\s+error =\\s*(\\S+)");
  for (auto it = std::sregex_iterator(out.output.begin(), out.output.end(), line);
       it != std::sregex_iterator(); ++it)
    out.errors.push_back(std::stod((*it)[2]));
  return out;
}

// The deck with another nonlinear card.
STATIC_DECK with_card(STATIC_DECK deck, const char *card) {
  deck.non_linear_card = card;
  return deck;
}

// Bx of every iron element is B to the six digits of the post file.
void expect_iron_B(const NONLINEAR_RUN &r, double B) {
  for (const auto &[number, c] : r.centroids)
    if (c.property == 2) expect_close(r.elements.at(number)[0], B, 1e-5, 0.0);
}

// In the knee and deep in saturation, B in every iron element is the curve's B(H0) to the
// solver's tolerance, and the air keeps B0.
TEST(NonlinearJob, SlabAlongTheFieldTakesTheCurvesFluxDensity) {
  const CURVE curve = smooth_curve(120);
  // The law at the element centres only (MAT_POINTS 0) or at every Gauss point (1).
  for (const auto &[H0, mat_points] : {std::pair{300.0, 0}, std::pair{2.0e5, 0}, std::pair{300.0, 1}}) {
    SCOPED_TRACE(H0);
    SCOPED_TRACE(mat_points);
    STATIC_DECK deck = nonlinear_slab(H0, curve);
    deck.mat_points = mat_points;
    TempDir dir;
    const NONLINEAR_RUN r = run_deck(dir, deck);
    ASSERT_EQ(r.run.exit_status, 0) << r.check;
    const double B_iron = table_B(curve, H0);
    int iron = 0, air = 0;
    for (const auto &[number, c] : r.centroids) {
      const std::array<double, 6> &B = r.elements.at(number);
      if (c.property == 2) {
        ++iron;
        expect_close(B[0], B_iron, 1e-5, 0.0); // the file holds six digits
      } else {
        ++air;
        expect_close(B[0], mu0 * H0, 1e-5, 0.0);
      }
      EXPECT_NEAR(B[1], 0.0, 1e-5 * B_iron);
      EXPECT_NEAR(B[2], 0.0, 1e-5 * B_iron);
    }
    EXPECT_GT(iron, 50);
    EXPECT_GT(air, 50);
    ASSERT_GE(r.errors.size(), 2u);
    EXPECT_LT(r.errors.back(), 1e-6);
    // Newton on a smooth curve: once the error is small, each iteration squares it.
    for (std::size_t k = 0; k + 1 < r.errors.size(); ++k)
      if (r.errors[k] < 1e-2) {
        EXPECT_LE(r.errors[k + 1], r.errors[k] * r.errors[k]) << "iteration " << k + 1;
      }
  }
}

// Driven to saturation (B near 1.8 T of the curve's 1.8 T knee) from a zero start, the first
// Newton step from the initial permeability overshoots and plain Newton wanders (11
// iterations on this mesh); the line search cuts the steps back and converges in 4, to the same
// field.
TEST(NonlinearJob, LineSearchShortensTheWayIntoSaturation) {
  const CURVE curve = smooth_curve(120);
  const double H0 = 1000.0;
  std::size_t iterations[2] = {0, 0};
  for (const int search : {0, 1}) {
    SCOPED_TRACE(search);
    STATIC_DECK deck = nonlinear_slab(H0, curve);
    deck.line_search = search;
    TempDir dir;
    const NONLINEAR_RUN r = run_deck(dir, deck);
    ASSERT_EQ(r.run.exit_status, 0) << r.check;
    iterations[search] = r.errors.size();
    EXPECT_LT(r.errors.back(), 1e-6);
    expect_iron_B(r, table_B(curve, H0));
    EXPECT_EQ(search == 1, r.check.find("searched tau=") != std::string::npos);
  }
  EXPECT_LT(iterations[1] + 3, iterations[0]);
}

// The fixed-point method (NON_LINEAR_METHOD 1) on the knee case: the same field as Newton's, the
// error falling by a steady factor each iteration (linear convergence: 0.24 here) where
// Newton's squares it, and the report's fixed-point lines.
TEST(NonlinearJob, TheFixedPointMethodConvergesLinearlyToTheSameField) {
  const CURVE curve = smooth_curve(120);
  const double H0 = 300.0;
  TempDir dir;
  const NONLINEAR_RUN r = run_deck(dir, with_card(nonlinear_slab(H0, curve), "1.0e-6 1.0 100 0 0 0 0 1"));
  ASSERT_EQ(r.run.exit_status, 0) << r.check;
  expect_iron_B(r, table_B(curve, H0));
  EXPECT_NE(r.output.find("Fixed-Point error ="), std::string::npos);
  ASSERT_GE(r.errors.size(), 6u);
  EXPECT_LT(r.errors.back(), 1e-6);
  for (std::size_t k = 2; k + 1 < r.errors.size(); ++k) {
    const double ratio = r.errors[k + 1] / r.errors[k];
    EXPECT_GT(ratio, 0.1) << "iteration " << k + 1;
    EXPECT_LT(ratio, 0.5) << "iteration " << k + 1;
  }
}

// The stored-tensor method (NON_LINEAR_METHOD 2) linearises the law about each iteration's start
// and solves for the new solution itself: the same iterates as Newton's, so the same field and
// the same number of iterations, and its Max delta B lines measure the change of B, not B.
TEST(NonlinearJob, TheStoredTensorMethodTakesNewtonsWay) {
  const CURVE curve = smooth_curve(120);
  for (const double H0 : {300.0, 2.0e5}) {
    SCOPED_TRACE(H0);
    TempDir newton_dir, stored_dir;
    const NONLINEAR_RUN newton =
        run_deck(newton_dir, with_card(nonlinear_slab(H0, curve), "1.0e-6 1.0 50 0 0 0 0 0"));
    const NONLINEAR_RUN stored =
        run_deck(stored_dir, with_card(nonlinear_slab(H0, curve), "1.0e-6 1.0 50 0 0 1.0e-9 0 2"));
    ASSERT_EQ(newton.run.exit_status, 0) << newton.check;
    ASSERT_EQ(stored.run.exit_status, 0) << stored.check;
    expect_iron_B(stored, table_B(curve, H0));
    ASSERT_EQ(stored.errors.size(), newton.errors.size());
    for (std::size_t k = 0; k < newton.errors.size(); ++k)
      if (newton.errors[k] > 1e-8) expect_close(stored.errors[k], newton.errors[k], 1e-3, 0.0);
    // The change of B falls with the error; the last one is far below the iron's B.
    const std::regex line("Max delta B =\\s*(\\S+), Element");
    std::vector<double> changes;
    for (auto it = std::sregex_iterator(stored.output.begin(), stored.output.end(), line);
         it != std::sregex_iterator(); ++it)
      changes.push_back(std::stod((*it)[1]));
    ASSERT_EQ(changes.size(), stored.errors.size());
    EXPECT_LT(changes.back(), 1e-4 * table_B(curve, H0));
  }
}

// A negative CHECK_B judges by Max delta B alone: every iteration reports its largest change of
// B, the loop ends with it below the limit in every element, and the changes add up to at least
// the way from the coil's field to the curve's (the triangle inequality).
TEST(NonlinearJob, ANegativeCheckBStopsOnTheChangeOfB) {
  const CURVE curve = smooth_curve(120);
  const double H0 = 300.0;
  TempDir dir;
  const NONLINEAR_RUN r = run_deck(dir, with_card(nonlinear_slab(H0, curve), "1.0e-6 1.0 50 0 0 -1e-6 0 0"));
  ASSERT_EQ(r.run.exit_status, 0) << r.check;
  const std::regex line(
      "Max delta B =\\s*(\\S+), Element No\\.= (\\d+), Number of unsatisfied elements= (\\d+)");
  std::vector<double> changes;
  std::vector<int> unsatisfied;
  for (auto it = std::sregex_iterator(r.output.begin(), r.output.end(), line); it != std::sregex_iterator();
       ++it) {
    changes.push_back(std::stod((*it)[1]));
    unsatisfied.push_back(std::stoi((*it)[3]));
  }
  ASSERT_EQ(changes.size(), r.errors.size());
  ASSERT_GE(changes.size(), 2u);
  EXPECT_LT(changes.back(), 1e-6);
  EXPECT_EQ(unsatisfied.back(), 0);
  double sum = 0.0;
  for (double c : changes) sum += c;
  EXPECT_GE(sum, table_B(curve, H0) - mu0 * H0);
}

// A second step with the same source starts from the converged first: its residual is below the
// limit, so it ends at iteration 0 without a solve, and both steps keep the curve's field.
TEST(NonlinearJob, ASecondStepThatStartsConvergedNeedsNoSolve) {
  const CURVE curve = smooth_curve(120);
  STATIC_DECK deck = nonlinear_slab(300.0, curve);
  deck.no_steps = 2;
  TempDir dir;
  const NONLINEAR_RUN r = run_deck(dir, deck);
  ASSERT_EQ(r.run.exit_status, 0) << r.check;
  const std::size_t zero = r.output.find("Non_linear iteration No.    0   error =");
  ASSERT_NE(zero, std::string::npos);
  EXPECT_EQ(r.output.find("*** ICCG iteration ***", zero), std::string::npos);
  EXPECT_LT(r.errors.back(), 1e-6);
  const std::string json = read_file(dir.file("output.json"));
  EXPECT_TRUE(
      std::regex_search(json, std::regex("\"NEWTON\"\\s*:\\s*\\{\\s*\"CONVERGE\"\\s*:\\s*\\[1,\\s*1\\]")))
      << json;
}

// MAGNETIZATION output: M = B/mu0 - H after the flux density, B(H0)/mu0 - H0 along x in the iron
// (the saturation state: H and the reluctivity follow from B and M), 0 in the air.
TEST(NonlinearJob, TheMagnetizationShowsTheSaturation) {
  const CURVE curve = smooth_curve(120);
  for (const double H0 : {300.0, 2.0e5}) {
    SCOPED_TRACE(H0);
    STATIC_DECK deck = nonlinear_slab(H0, curve);
    deck.magnetization = 1;
    TempDir dir;
    const NONLINEAR_RUN r = run_deck(dir, deck); // the last element data set: M
    ASSERT_EQ(r.run.exit_status, 0) << r.check;
    EXPECT_NE(read_file(dir.file("magnetic")).find("MAGNETIZATION - MX, MY, MZ, |M|"), std::string::npos);
    const double M = table_B(curve, H0) / mu0 - H0;
    for (const auto &[number, c] : r.centroids) {
      const std::array<double, 6> &m = r.elements.at(number);
      if (c.property == 2) {
        expect_close(m[0], M, 1e-5, 0.0);
        expect_close(m[3], M, 1e-5, 0.0);
      } else {
        EXPECT_NEAR(m[3], 0.0, 1e-6 * M);
      }
    }
    EXPECT_EQ(read_file(dir.file("output")).find("The MAGNETIZATION post output"), std::string::npos);
  }
}

// A nonlinear job whose materials are all linear gives the linear closed form (mu_r B0 in the
// iron) after one Newton step, and says it converged.
TEST(NonlinearJob, ALinearMaterialTakesOneNewtonStep) {
  STATIC_DECK deck = nonlinear_slab(1000.0, smooth_curve(20));
  deck.materials[1] = "2 1 0 0.0 100.0 0 0 0 0";
  TempDir dir;
  const NONLINEAR_RUN r = run_deck(dir, deck);
  ASSERT_EQ(r.run.exit_status, 0) << r.check;
  EXPECT_EQ(r.errors.size(), 1u);
  expect_iron_B(r, 100.0 * mu0 * 1000.0);
  const std::string json = read_file(dir.file("output.json"));
  EXPECT_TRUE(std::regex_search(json, std::regex("\"NEWTON\"\\s*:\\s*\\{\\s*\"CONVERGE\"\\s*:\\s*\\[1\\]")))
      << json;
}

// Running out of iterations is no error: the report says so, the job keeps the last solution
// and ends normally, and the terminal and output.json tell that the step did not converge.
TEST(NonlinearJob, TheIterationLimitIsReportedAndTheJobGoesOn) {
  STATIC_DECK deck = nonlinear_slab(2.0e5, smooth_curve(120));
  deck.non_linear_card = "1.0e-6 1.0 2 0 0 0 0 0";
  TempDir dir;
  const BATCH_RUN run = run_slab(dir, deck, {});
  ASSERT_EQ(run.exit_status, 0);
  EXPECT_NE(read_file(dir.file("output")).find("Max non_linear iteration.\n"), std::string::npos);
  EXPECT_NE(run.stdout_text.find("did not converge"), std::string::npos) << run.stdout_text;
  const std::string json = read_file(dir.file("output.json"));
  EXPECT_TRUE(std::regex_search(json, std::regex("\"NEWTON\"\\s*:\\s*\\{\\s*\"CONVERGE\"\\s*:\\s*\\[0\\]")))
      << json;
  EXPECT_NE(read_file(dir.file("magnetic")).find("ELEMENT - BX"), std::string::npos);
}

// A curve with a piece flatter than free space is legal: the report and the terminal warn, and
// the job runs; the terminal gives the iron's saturation state. A NaN in the field (here the coil's) ends the
// step with the solver's message.
TEST(NonlinearJob, AFlatCurveIsToldAndANaNFieldStopsTheJob) {
  CURVE curve = smooth_curve(40);
  curve.H.push_back(2.0e7);
  curve.B.push_back(curve.B.back() + 0.5 * mu0 * 1.0e7); // relative slope 0.5
  {
    TempDir dir;
    const BATCH_RUN run = run_slab(dir, nonlinear_slab(300.0, curve), {});
    EXPECT_EQ(run.exit_status, 0);
    EXPECT_NE(
        read_file(dir.file("output")).find("Warning:Differential relative permeability is less than 1.\n"),
        std::string::npos);
    EXPECT_NE(
        run.stdout_text.find("warning: B-H curve 1: differential relative permeability below 1 from point "
                             "41"),
        std::string::npos)
        << run.stdout_text;
    // The saturation line: the uniform iron field of the closed form, H0 and B(H0)/(mu0 H0).
    std::smatch m;
    const std::regex saturation(
        "material 2: largest \\|B\\| (\\S+) T, largest \\|H\\| (\\S+) A/m, B/\\(mu0 H\\) "
        "from (\\S+) to (\\S+)");
    ASSERT_TRUE(std::regex_search(run.stdout_text, m, saturation)) << run.stdout_text;
    const double B = table_B(curve, 300.0);
    expect_close(std::stod(m[1]), B, 1e-3, 0.0);
    expect_close(std::stod(m[2]), 300.0, 1e-3, 0.0);
    expect_close(std::stod(m[3]), B / (mu0 * 300.0), 1e-3, 0.0);
    expect_close(std::stod(m[4]), B / (mu0 * 300.0), 1e-3, 0.0);
  }
  STATIC_DECK deck = nonlinear_slab(300.0, curve);
  deck.coil_elements = "UNIF nan 0.0 0.0 0";
  TempDir dir;
  const BATCH_RUN run = run_slab(dir, deck, {});
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_NE(read_file(dir.file("stderr")).find("Residual have NaN\n"), std::string::npos);
  EXPECT_NE(run.stdout_text.find("Residual have NaN\n"), std::string::npos);
}

} // namespace
} // namespace tesmora::testing
