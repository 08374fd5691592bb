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

// The steel layers of elements on one side (+1 above, -1 below) of a section's plane, nearest
// first: the mean of B_n over the section, the layer's thickness and the area it covers.
struct LAYER {
  double mean = 0.0, thickness = 0.0, area = 0.0;
};
std::vector<LAYER> layers_on_side(const SECTION &s, const std::map<int, BOX> &boxes,
                                  const std::map<int, std::array<double, 6>> &B, int side) {
  const int n = s.normal, u = (n + 1) % 3, v = (n + 2) % 3;
  const double plane = s.lo[n], tol = 1e-7;
  std::map<long long, LAYER> layers; // by the distance of the near face, in 0.1 micrometres
  for (const auto &[number, box] : boxes) {
    const double near = side > 0 ? box.lo[n] : box.hi[n];
    if (box.property != 1 || (near - plane) * side < -tol) continue;
    const double w =
        overlap(box.lo[u], box.hi[u], s.lo[u], s.hi[u]) * overlap(box.lo[v], box.hi[v], s.lo[v], s.hi[v]);
    if (w == 0.0) continue;
    LAYER &layer = layers[std::llround(std::fabs(near - plane) * 1e7)];
    layer.mean += w * B.at(number)[n];
    layer.area += w;
    layer.thickness = box.hi[n] - box.lo[n];
  }
  std::vector<LAYER> out;
  for (auto &[distance, layer] : layers) {
    layer.mean /= layer.area;
    out.push_back(layer);
  }
  return out;
}

// The mean of the normal component of B over a section. On boxes the normal B of the lowest-order
// edge element depends only on the coordinate along the normal, linearly, so the flux through a
// section across elements is the sum of the overlap areas times the element values. On a face of
// the grid with steel on both sides the two sides' means are averaged; with steel on one side
// only, the first two layers' means are extrapolated linearly to the face (at the flange's end B_n
// changes by some 17 % per layer). NaN when the steel doesn't cover the section.
double section_mean(const SECTION &s, const std::map<int, BOX> &boxes,
                    const std::map<int, std::array<double, 6>> &B) {
  const int n = s.normal, u = (n + 1) % 3, v = (n + 2) % 3;
  const double plane = s.lo[n], tol = 1e-7;
  const double area = (s.hi[u] - s.lo[u]) * (s.hi[v] - s.lo[v]);
  double flux[2] = {0.0, 0.0}, covered[2] = {0.0, 0.0}; // above and below the plane
  bool across = false;
  for (const auto &[number, box] : boxes) {
    if (box.property != 1 || box.lo[n] > plane + tol || box.hi[n] < plane - tol) continue;
    const double w =
        overlap(box.lo[u], box.hi[u], s.lo[u], s.hi[u]) * overlap(box.lo[v], box.hi[v], s.lo[v], s.hi[v]);
    if (w == 0.0) continue;
    across = across || (box.lo[n] < plane - tol && box.hi[n] > plane + tol);
    for (int side = 0; side < 2; ++side)
      if (side == 0 ? box.hi[n] > plane + tol : box.lo[n] < plane - tol) {
        flux[side] += w * B.at(number)[n];
        covered[side] += w;
      }
  }
  const bool full[2] = {covered[0] > 0.999 * area, covered[1] > 0.999 * area};
  if (across || (full[0] && full[1])) {
    double sum = 0.0;
    int sides = 0;
    for (int side = 0; side < 2; ++side)
      if (full[side]) sum += flux[side] / covered[side], ++sides;
    return sides ? sum / sides : std::nan("");
  }
  if (!full[0] && !full[1]) return std::nan("");
  const std::vector<LAYER> layers = layers_on_side(s, boxes, B, full[0] ? +1 : -1);
  if (layers.size() < 2 || layers[1].area < 0.999 * area)
    return layers.empty() ? std::nan("") : layers[0].mean;
  const LAYER &first = layers[0], &second = layers[1];
  return first.mean +
         (first.mean - second.mean) * (first.thickness / 2) / ((first.thickness + second.thickness) / 2);
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
    // The tolerance this mesh allows (examples/team13/README.md): 12 % at the sections of the
    // plate, the flange and the wall, 16 % at the channel's outer corner (points 18, 19), where
    // the field turns and this mesh is 13-14 % low.
    const bool corner = s.point == 18 || s.point == 19;
    EXPECT_LT(std::fabs(error), corner ? 0.16 : 0.12) << "computed " << mean << " measured " << s.measured;
  }
  EXPECT_LT(sum / 25.0, 0.08);
}

} // namespace
} // namespace tesmora::testing
