// TEAM problem 13 (steel channels around a coil, nonlinear) at 1000 AT: the example job on a
// mesh Gmsh makes at test time (refine 1 of examples/team13/team13.geo), with the mean flux
// density over the 25 search-coil sections set against the measured table.
#include "coil_iron_support.hpp"
#include "support/job_results.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace tesmora::testing {
namespace {

std::string source(const std::string &path) { return std::string(TESMORA_SOURCE_DIR) + "/" + path; }

// The hexahedra of a free-field NASTRAN file as axis-aligned boxes, by element number.
struct BOX {
  int property = 0;
  std::array<double, 3> lo{}, hi{};
};

std::vector<std::string> fields(const std::string &line) {
  std::vector<std::string> out;
  std::stringstream s(line);
  for (std::string f; std::getline(s, f, ',');) out.push_back(f);
  return out;
}

std::map<int, BOX> read_boxes(const std::string &path) {
  std::map<int, std::array<double, 3>> points;
  std::vector<std::vector<std::string>> hexes;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) {
    if (line.rfind("GRID,", 0) == 0) {
      const std::vector<std::string> f = fields(line);
      points[std::stoi(f[1])] = {std::stod(f[3]), std::stod(f[4]), std::stod(f[5])};
    } else if (line.rfind("CHEXA,", 0) == 0) {
      hexes.push_back(fields(line));
    } else if (line.rfind("+", 0) == 0 && !hexes.empty()) {
      const std::vector<std::string> f = fields(line);
      hexes.back().insert(hexes.back().end(), f.begin() + 1, f.end());
    }
  }
  std::map<int, BOX> boxes;
  for (const std::vector<std::string> &h : hexes) {
    BOX box;
    box.property = std::stoi(h[2]);
    box.lo = {1e30, 1e30, 1e30};
    box.hi = {-1e30, -1e30, -1e30};
    for (std::size_t k = 3; k < h.size(); ++k) {
      if (h[k].empty() || h[k][0] == '+') continue;
      const std::array<double, 3> &p = points.at(std::stoi(h[k]));
      for (int d = 0; d < 3; ++d)
        box.lo[d] = std::min(box.lo[d], p[d]), box.hi[d] = std::max(box.hi[d], p[d]);
    }
    boxes[std::stoi(h[1])] = box;
  }
  return boxes;
}

struct SECTION {
  int point = 0;
  std::array<double, 3> lo{}, hi{}; // m
  int normal = 0;
  double measured = 0.0; // T, gap 0.52 mm
};

std::vector<SECTION> read_sections(const std::string &path) {
  std::ifstream in(path);
  std::string line;
  std::getline(in, line); // heading
  std::vector<SECTION> sections;
  while (std::getline(in, line)) {
    if (line.empty()) continue;
    const std::vector<std::string> f = fields(line);
    SECTION s;
    s.point = std::stoi(f[0]);
    for (int d = 0; d < 3; ++d) {
      s.lo[d] = 1e-3 * std::stod(f[1 + 2 * d]);
      s.hi[d] = 1e-3 * std::stod(f[2 + 2 * d]);
    }
    s.normal = f[7] == "x" ? 0 : f[7] == "y" ? 1 : 2;
    s.measured = std::stod(f[8]);
    sections.push_back(s);
  }
  return sections;
}

double overlap(double a0, double a1, double b0, double b1) {
  return std::max(0.0, std::min(a1, b1) - std::max(a0, b0));
}

// The mean of the normal component of B over a section. On boxes the normal B of the lowest-order
// edge element depends only on the coordinate along the normal, so the flux through the section
// is the sum of the overlap areas times the element values; where the section lies on a face of
// the grid, each side that the steel covers is averaged and the sides' means are averaged. NaN
// when the steel doesn't cover the section.
double section_mean(const SECTION &s, const std::map<int, BOX> &boxes,
                    const std::map<int, std::array<double, 6>> &B) {
  const int n = s.normal, u = (n + 1) % 3, v = (n + 2) % 3;
  const double plane = s.lo[n], tol = 1e-7;
  const double area = (s.hi[u] - s.lo[u]) * (s.hi[v] - s.lo[v]);
  double flux[2] = {0.0, 0.0}, covered[2] = {0.0, 0.0}; // above and below the plane
  for (const auto &[number, box] : boxes) {
    if (box.property != 1 || box.lo[n] > plane + tol || box.hi[n] < plane - tol) continue;
    const double w =
        overlap(box.lo[u], box.hi[u], s.lo[u], s.hi[u]) * overlap(box.lo[v], box.hi[v], s.lo[v], s.hi[v]);
    if (w == 0.0) continue;
    for (int side = 0; side < 2; ++side)
      if (side == 0 ? box.hi[n] > plane + tol : box.lo[n] < plane - tol) {
        flux[side] += w * B.at(number)[n];
        covered[side] += w;
      }
  }
  double sum = 0.0;
  int sides = 0;
  for (int side = 0; side < 2; ++side)
    if (covered[side] > 0.999 * area) sum += flux[side] / covered[side], ++sides;
  return sides ? sum / sides : std::nan("");
}

TEST(Team13, TheSearchCoilMeansFollowTheMeasuredTable) {
  TempDir dir;
  const std::string failure =
      make_gmsh_mesh(source("examples/team13/team13.geo"), {{"refine", 1}}, dir.file("pre_geom.nas"));
  ASSERT_EQ(failure, "");
  write_file(dir.file("input"), read_file(source("examples/team13/input")));
  const BATCH_RUN run = run_batch(dir.path(), {"-q"});
  ASSERT_EQ(run.exit_status, 0) << read_file(dir.file("check"));
  const std::map<int, BOX> boxes = read_boxes(dir.file("pre_geom.nas"));
  const std::map<int, std::array<double, 6>> B = read_unv_values(dir.file("magnetic"), 56);
  const std::vector<SECTION> sections =
      read_sections(source("tests/data/validation/team13_avgB_measured_1000AT.csv"));
  ASSERT_EQ(sections.size(), 25u);
  double sum = 0.0;
  for (const SECTION &s : sections) {
    SCOPED_TRACE(s.point);
    const double mean = std::fabs(section_mean(s, boxes, B));
    ASSERT_FALSE(std::isnan(mean));
    const double error = (mean - s.measured) / s.measured;
    sum += std::fabs(error);
    // The tolerance this mesh allows (examples/team13/README.md): 12 % at the sections of
    // the plate, the flange and the wall, 16 % at the channel's corner (points 18, 19) and at
    // point 8, in the flange next to the gap, where the measured flux is the smallest.
    const bool corner = s.point == 8 || s.point == 18 || s.point == 19;
    EXPECT_LT(std::fabs(error), corner ? 0.16 : 0.12) << "computed " << mean << " measured " << s.measured;
  }
  EXPECT_LT(sum / 25.0, 0.08);
}

} // namespace
} // namespace tesmora::testing
