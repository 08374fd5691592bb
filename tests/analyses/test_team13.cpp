// TEAM problem 13 (steel channels around a coil, nonlinear) at 1000 AT: the example job on a
// mesh Gmsh makes at test time (refine 1 of examples/team13/team13.geo), with the mean flux
// density over the 25 search-coil sections set against the measured table.
#include "coil_iron_support.hpp"
#include "support/job_results.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <algorithm>
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

// The layers of steel elements along a section's normal that cover its rectangle, in the one
// unbroken run through its plane: each layer's extent along the normal and the overlap-weighted
// mean of B_n over the rectangle. A layer that covers only part of the rectangle (where the steel
// ends) is left out.
struct LAYER {
  double start = 0.0, end = 0.0, mean = 0.0, area = 0.0;
};
std::vector<LAYER> layers_through(const SECTION &s, const std::map<int, BOX> &boxes,
                                  const std::map<int, std::array<double, 6>> &B) {
  const int n = s.normal, u = (n + 1) % 3, v = (n + 2) % 3;
  const double plane = s.lo[n], tol = 1e-7;
  const double area = (s.hi[u] - s.lo[u]) * (s.hi[v] - s.lo[v]);
  std::map<std::pair<long long, long long>, LAYER> layers; // by extent, in 0.1 micrometres
  for (const auto &[number, box] : boxes) {
    if (box.property != 1) continue;
    const double w =
        overlap(box.lo[u], box.hi[u], s.lo[u], s.hi[u]) * overlap(box.lo[v], box.hi[v], s.lo[v], s.hi[v]);
    if (w == 0.0) continue;
    LAYER &layer = layers[{std::llround(box.lo[n] * 1e7), std::llround(box.hi[n] * 1e7)}];
    layer.start = box.lo[n];
    layer.end = box.hi[n];
    layer.mean += w * B.at(number)[n];
    layer.area += w;
  }
  std::vector<LAYER> run;
  for (auto &[extent, layer] : layers) {
    if (layer.area < 0.999 * area) continue;
    layer.mean /= layer.area;
    if (!run.empty() && std::fabs(layer.start - run.back().end) > tol) {
      if (run.back().end >= plane - tol) break; // the run through the plane has ended
      run.clear();
    }
    if (run.empty() && layer.start > plane + tol) break;
    run.push_back(layer);
  }
  if (!run.empty() && run.back().end < plane - tol) run.clear();
  return run;
}

// B_n at `plane` on the line through two layers' centres and means.
double on_line(const LAYER &a, const LAYER &b, double plane) {
  const double za = 0.5 * (a.start + a.end), zb = 0.5 * (b.start + b.end);
  return a.mean + (b.mean - a.mean) * (plane - za) / (zb - za);
}

// The mean of the normal component of B over a section. On boxes the normal B of the lowest-order
// edge element is constant over a cut normal to an axis and linear along it, and across a grid
// plane where the steel's shape changes (the flange's start, the channel's corner) its slope
// jumps. So on a grid plane each side's first two layers are extrapolated to the plane and the
// sides averaged; inside a layer B_n is interpolated between the centres of the nearest layers
// either side. NaN when the steel doesn't cover the section.
double section_mean(const SECTION &s, const std::map<int, BOX> &boxes,
                    const std::map<int, std::array<double, 6>> &B) {
  const double plane = s.lo[s.normal], tol = 1e-7;
  const std::vector<LAYER> run = layers_through(s, boxes, B);
  if (run.size() < 2) return std::nan("");
  std::vector<LAYER> below, above; // nearest first
  bool on_plane = false;
  for (const LAYER &layer : run) {
    on_plane = on_plane || std::fabs(layer.start - plane) < tol || std::fabs(layer.end - plane) < tol;
    (0.5 * (layer.start + layer.end) < plane ? below : above).push_back(layer);
  }
  std::reverse(below.begin(), below.end());
  if (on_plane) {
    double sum = 0.0;
    int sides = 0;
    for (const std::vector<LAYER> *side : {&below, &above}) {
      if (side->empty()) continue;
      sum += side->size() >= 2 ? on_line((*side)[0], (*side)[1], plane) : (*side)[0].mean;
      ++sides;
    }
    return sum / sides;
  }
  if (!below.empty() && !above.empty()) return on_line(below[0], above[0], plane);
  const std::vector<LAYER> &side = below.empty() ? above : below;
  return on_line(side[0], side[1], plane);
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
  // The reading itself, on a field linear in all three coordinates: each section's mean is the
  // field at its middle.
  for (const SECTION &s : sections) {
    const int n = s.normal, u = (n + 1) % 3, v = (n + 2) % 3;
    auto linear = [&](const std::array<double, 3> &p) { return 1.0 + 2.0 * p[u] + 3.0 * p[v] + 5.0 * p[n]; };
    std::map<int, std::array<double, 6>> field;
    for (const auto &[number, box] : boxes) {
      std::array<double, 6> value{};
      value[static_cast<std::size_t>(n)] = linear(
          {0.5 * (box.lo[0] + box.hi[0]), 0.5 * (box.lo[1] + box.hi[1]), 0.5 * (box.lo[2] + box.hi[2])});
      field[number] = value;
    }
    const std::array<double, 3> middle{0.5 * (s.lo[0] + s.hi[0]), 0.5 * (s.lo[1] + s.hi[1]),
                                       0.5 * (s.lo[2] + s.hi[2])};
    EXPECT_NEAR(section_mean(s, boxes, field), linear(middle), 1e-12) << "point " << s.point;
  }
  double sum = 0.0;
  for (const SECTION &s : sections) {
    SCOPED_TRACE(s.point);
    const double mean = std::fabs(section_mean(s, boxes, B));
    ASSERT_FALSE(std::isnan(mean));
    const double error = (mean - s.measured) / s.measured;
    sum += std::fabs(error);
    // The tolerance this mesh allows (examples/team13/README.md): it reads 2-6 % low at the
    // plate, the flange and the wall (6.2 % at point 19) and 5.6 % high at the flange's end.
    EXPECT_LT(std::fabs(error), 0.08) << "computed " << mean << " measured " << s.measured;
  }
  EXPECT_LT(sum / 25.0, 0.06); // 4.75 % on this mesh
}

} // namespace
} // namespace tesmora::testing
