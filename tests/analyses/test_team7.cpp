// TEAM problem 7 (an aluminium plate with a hole under a racetrack coil, AC): the example job on
// its committed coarse mesh (refine 0 of examples/team7/team7.geo) at 50 and 200 Hz, with Bz at
// the 34 nodes of the measurement lines and |Jy| at the 12 nodes of the plate's top face set
// against the measured tables. The bounds guard the figures of this mesh
// (examples/team7/README.md gives them with those of the finer meshes).
#include "support/job_results.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace tesmora::testing {
namespace {

std::string source(const std::string &path) { return std::string(TESMORA_SOURCE_DIR) + "/" + path; }

// One measured point: x and y in mm, Bz in gauss at 50 Hz and 200 Hz, wt = 0 and 90.
struct MEASURED {
  double x = 0.0, y = 0.0;
  std::array<double, 4> bz{}; // 50 Hz 0, 50 Hz 90, 200 Hz 0, 200 Hz 90
};

std::vector<MEASURED> read_table(const std::string &path) {
  std::vector<MEASURED> rows;
  std::stringstream in(read_file(path));
  std::string line;
  std::getline(in, line); // the heading
  while (std::getline(in, line)) {
    if (line.empty()) continue;
    std::vector<double> v;
    std::stringstream fields(line);
    for (std::string f; std::getline(fields, f, ',');) v.push_back(std::stod(f));
    rows.push_back(MEASURED{v[1], v[2], {v[4], v[5], v[6], v[7]}});
  }
  return rows;
}

struct LINE_FIGURES {
  double l2 = 0.0;         // relative L2 deviation over the points and both phases
  double peak_error = 0.0; // relative deviation of wt = 0 at x = 126 mm
};

struct TEAM7_FIGURES {
  std::array<LINE_FIGURES, 2> lines{}; // A1-B1, A2-B2
  double jy_worst = 0.0; // the largest relative deviation of |Jy| where the measured exceeds 0.4 A/mm^2
};

// The node at (x, y, z) in metres, 0 if none.
int node_at(const std::map<int, std::array<double, 3>> &nodes, double x, double y, double z) {
  for (const auto &[id, p] : nodes)
    if (std::fabs(p[0] - x) < 1e-7 && std::fabs(p[1] - y) < 1e-7 && std::fabs(p[2] - z) < 1e-7) return id;
  return 0;
}

// |Jy| = sqrt(Jy(0)^2 + Jy(90)^2) at the top face's nodes (z = 19 mm, y = 72 mm) against the
// derived amplitude table (its table b); the largest deviation where the measured value exceeds
// 0.4 A/mm^2.
double jy_worst_deviation(const std::string &current, const std::map<int, std::array<double, 3>> &nodes,
                          double frequency) {
  const std::vector<std::map<int, std::array<double, 6>>> phases = read_unv_steps(current, 55);
  if (phases.size() != 2) {
    ADD_FAILURE() << "node data sets of J: " << phases.size();
    return 1.0;
  }
  std::stringstream in(read_file(source("tests/data/validation/team07_jy_amplitude_DERIVED.csv")));
  std::string line;
  std::getline(in, line); // the heading
  double worst = 0.0;
  while (std::getline(in, line)) {
    if (line.empty()) continue;
    std::vector<double> v;
    std::stringstream fields(line);
    for (std::string f; std::getline(fields, f, ',');) v.push_back(std::stod(f));
    const double measured = frequency < 100.0 ? v[3] : v[4];
    const int number = node_at(nodes, v[1] * 1e-3, v[2] * 1e-3, 0.019);
    if (number == 0) {
      ADD_FAILURE() << "no node at x = " << v[1] << " on the top face";
      continue;
    }
    const double computed = 1e-6 * std::hypot(phases[0].at(number)[1], phases[1].at(number)[1]);
    if (measured > 0.4 && std::fabs(computed / measured - 1.0) > std::fabs(worst))
      worst = computed / measured - 1.0;
  }
  return worst;
}

// The example job at `frequency`; the figures of both lines and of |Jy|.
TEAM7_FIGURES run_team7(double frequency) {
  std::string deck = read_file(source("examples/team7/input"));
  char text[64];
  std::snprintf(text, sizeof text, "\n%.1f 0.0 0.0 0\n", frequency);
  deck.replace(deck.find("\n50.0 0.0 0.0 0\n"), 16, text);
  std::snprintf(text, sizeof text, "\n1.0 %.17g 0.0\n", 1.0 / frequency);
  deck.replace(deck.find("\n1.0 0.02 0.0\n"), 14, text);
  TempDir dir;
  write_file(dir.file("input"), deck);
  write_file(dir.file("pre_geom.nas"), read_file(source("examples/team7/pre_geom.nas")));
  const BATCH_RUN run = run_batch(dir.path(), {"-q"});
  EXPECT_EQ(run.exit_status, 0) << read_file(dir.file("check"));
  const std::vector<std::map<int, std::array<double, 6>>> phases = read_unv_steps(dir.file("magnetic"), 55);
  const std::map<int, std::array<double, 3>> nodes = read_grid_points(dir.file("pre_geom.nas"));
  TEAM7_FIGURES all;
  std::array<LINE_FIGURES, 2> &figures = all.lines;
  if (phases.size() != 2) {
    ADD_FAILURE() << "node data sets: " << phases.size();
    return all;
  }
  const int column = frequency < 100.0 ? 0 : 2;
  const char *tables[2] = {"tests/data/validation/team07_bz_A1B1.csv",
                           "tests/data/validation/team07_bz_A2B2.csv"};
  for (int line = 0; line < 2; ++line) {
    double squares = 0.0, reference = 0.0;
    for (const MEASURED &m : read_table(source(tables[line]))) {
      const int number = node_at(nodes, m.x * 1e-3, m.y * 1e-3, 0.034);
      if (number == 0) {
        ADD_FAILURE() << "no node at x = " << m.x << " y = " << m.y;
        continue;
      }
      for (int phase = 0; phase < 2; ++phase) {
        const double computed = 1e4 * phases[static_cast<std::size_t>(phase)].at(number)[2];
        const double measured = m.bz[static_cast<std::size_t>(column + phase)];
        squares += (computed - measured) * (computed - measured);
        reference += measured * measured;
        if (line == 0 && phase == 0 && m.x == 126.0) figures[0].peak_error = computed / measured - 1.0;
      }
    }
    figures[static_cast<std::size_t>(line)].l2 = std::sqrt(squares / reference);
  }
  all.jy_worst = jy_worst_deviation(dir.file("current"), nodes, frequency);
  std::printf(
      "TEAM 7 refine 0, %.0f Hz: L2 A1-B1 %.2f %%, A2-B2 %.2f %%, x = 126 mm %+.2f %%, |Jy| worst %+.1f %%\n",
      frequency, 100.0 * figures[0].l2, 100.0 * figures[1].l2, 100.0 * figures[0].peak_error,
      100.0 * all.jy_worst);
  return all;
}

TEST(Team7, TheCoarseMeshKeepsItsDeviationFromTheMeasuredBzAndJy) {
  // Refine 0 measured 7.7 % and 5.3 % at 50 Hz, the peak 6.4 % low; 12.5 % and 9.1 % at 200 Hz,
  // the peak 14.4 % low (four element layers through the plate, 1.3 a skin depth). |Jy| on the
  // top face, the node mean of elements 4.75 mm thick, was at worst 16.3 % low at 50 Hz and
  // 32.8 % at 200 Hz, both at the hole's edge (x = 126 mm). The bounds leave a margin of about a
  // fifth for solver tolerance and platform.
  const TEAM7_FIGURES at50 = run_team7(50.0);
  EXPECT_LT(at50.lines[0].l2, 0.09);
  EXPECT_LT(at50.lines[1].l2, 0.065);
  EXPECT_LT(std::fabs(at50.lines[0].peak_error), 0.08);
  EXPECT_LT(std::fabs(at50.jy_worst), 0.2);
  const TEAM7_FIGURES at200 = run_team7(200.0);
  EXPECT_LT(at200.lines[0].l2, 0.15);
  EXPECT_LT(at200.lines[1].l2, 0.11);
  EXPECT_LT(std::fabs(at200.lines[0].peak_error), 0.17);
  EXPECT_LT(std::fabs(at200.jy_worst), 0.4);
}

} // namespace
} // namespace tesmora::testing
