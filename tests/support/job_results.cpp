// Readers of the UNV values a job leaves and of the points and tetrahedra of NASTRAN meshes.
#include "support/job_results.hpp"

#include "support/test_support.hpp"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace tesmora::testing {
namespace {

// A small-field NASTRAN number: "0.400000", "1.0E+00", or Gmsh's "0.00E+00" and "1.5-3".
double nastran_real(std::string field) {
  while (!field.empty() && field.back() == ' ') field.pop_back();
  while (!field.empty() && field.front() == ' ') field.erase(field.begin());
  for (std::size_t k = 1; k < field.size(); ++k)
    if ((field[k] == '-' || field[k] == '+') && field[k - 1] != 'E' && field[k - 1] != 'e') {
      // Built anew rather than by insert(), which GCC 12 wrongly flags with -Wrestrict here.
      field = field.substr(0, k) + 'E' + field.substr(k);
      break;
    }
  return std::strtod(field.c_str(), nullptr);
}

// A universal file's dataset delimiter: -1 alone on its line.
bool is_unv_delimiter(const std::string &line) {
  const std::size_t first = line.find_first_not_of(" \r");
  return first != std::string::npos && line.compare(first, 2, "-1") == 0 &&
         line.find_first_not_of(" \r", first + 2) == std::string::npos;
}

} // namespace

std::map<int, std::array<double, 6>> read_unv_values(const std::string &path, int data_set) {
  std::vector<std::map<int, std::array<double, 6>>> steps = read_unv_steps(path, data_set);
  return steps.empty() ? std::map<int, std::array<double, 6>>{} : steps.back();
}

std::vector<std::map<int, std::array<double, 6>>> read_unv_steps(const std::string &path, int data_set) {
  const std::vector<std::string> lines = split_lines(read_file(path));
  char marker[16];
  std::snprintf(marker, sizeof marker, "%6d", data_set);
  std::vector<std::map<int, std::array<double, 6>>> steps;
  for (std::size_t k = 0; k < lines.size(); ++k) {
    if (lines[k] != marker || k == 0 || lines[k - 1] != "    -1") continue;
    std::map<int, std::array<double, 6>> &values = steps.emplace_back();
    // Label, "Element Data " or "Node Data", three empty lines, three head lines.
    std::size_t at = k + 9;
    while (at + 1 < lines.size() && lines[at] != "    -1") {
      const int number = std::atoi(lines[at].substr(0, 10).c_str());
      std::array<double, 6> row{};
      for (int v = 0; v < 6; ++v)
        row[static_cast<std::size_t>(v)] =
            std::strtod(lines[at + 1].substr(static_cast<std::size_t>(13 * v), 13).c_str(), nullptr);
      values[number] = row;
      at += 2;
    }
  }
  return steps;
}

namespace {

// Field i of a NASTRAN card: small fixed fields of eight columns, or free fields between commas.
std::string nastran_field(const std::string &line, int i) {
  if (line.find(',') != std::string::npos) {
    std::size_t from = 0;
    for (int k = 0; k < i && from != std::string::npos; ++k) from = line.find(',', from) + 1;
    if (from == 0 || from == std::string::npos) return std::string();
    return line.substr(from, line.find(',', from) - from);
  }
  return line.size() > static_cast<std::size_t>(8 * i) ? line.substr(static_cast<std::size_t>(8 * i), 8)
                                                       : std::string();
}

} // namespace

std::map<int, std::array<double, 3>> read_grid_points(const std::string &path) {
  std::map<int, std::array<double, 3>> nodes;
  for (const std::string &line : split_lines(read_file(path)))
    if (line.rfind("GRID", 0) == 0)
      nodes[std::atoi(nastran_field(line, 1).c_str())] = {nastran_real(nastran_field(line, 3)),
                                                          nastran_real(nastran_field(line, 4)),
                                                          nastran_real(nastran_field(line, 5))};
  return nodes;
}

std::map<int, TET_CENTROID> read_tet_centroids(const std::string &path) {
  const std::map<int, std::array<double, 3>> nodes = read_grid_points(path);
  std::map<int, TET_CENTROID> tets;
  for (const std::string &line : split_lines(read_file(path))) {
    if (line.rfind("CTETRA", 0) != 0) continue;
    TET_CENTROID c{{0.0, 0.0, 0.0}, std::atoi(nastran_field(line, 2).c_str())};
    for (int n = 3; n < 7; ++n) {
      const std::array<double, 3> &x = nodes.at(std::atoi(nastran_field(line, n).c_str()));
      for (int d = 0; d < 3; ++d) c.x[d] += 0.25 * x[static_cast<std::size_t>(d)];
    }
    tets[std::atoi(nastran_field(line, 1).c_str())] = c;
  }
  return tets;
}

TET_MESH read_tet_mesh(const std::string &path) {
  TET_MESH mesh;
  std::map<int, int> row_of_node;
  for (const auto &[number, x] : read_grid_points(path)) {
    row_of_node[number] = static_cast<int>(mesh.points.size());
    mesh.points.push_back(x);
  }
  for (const std::string &line : split_lines(read_file(path))) {
    if (line.rfind("CTETRA", 0) != 0) continue;
    std::array<int, 4> corners{};
    for (int n = 0; n < 4; ++n)
      corners[static_cast<std::size_t>(n)] = row_of_node.at(std::atoi(nastran_field(line, n + 3).c_str()));
    mesh.corners.push_back(corners);
    mesh.numbers.push_back(std::atoi(nastran_field(line, 1).c_str()));
    mesh.properties.push_back(std::atoi(nastran_field(line, 2).c_str()));
  }
  return mesh;
}

std::array<double, 3> TET_MESH::centroid(std::size_t t) const {
  std::array<double, 3> c{};
  for (const int corner : corners[t])
    for (std::size_t d = 0; d < 3; ++d) c[d] += 0.25 * points[static_cast<std::size_t>(corner)][d];
  return c;
}

double TET_MESH::volume(std::size_t t) const {
  const std::array<double, 3> &p0 = points[static_cast<std::size_t>(corners[t][0])];
  double e[3][3];
  for (std::size_t k = 0; k < 3; ++k)
    for (std::size_t d = 0; d < 3; ++d)
      e[k][d] = points[static_cast<std::size_t>(corners[t][k + 1])][d] - p0[d];
  const double det = e[0][0] * (e[1][1] * e[2][2] - e[1][2] * e[2][1]) -
                     e[0][1] * (e[1][0] * e[2][2] - e[1][2] * e[2][0]) +
                     e[0][2] * (e[1][0] * e[2][1] - e[1][1] * e[2][0]);
  return std::fabs(det) / 6.0;
}

std::string without_universal_groups(const std::string &text) {
  const std::vector<std::string> lines = split_lines(text);
  std::string out;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const bool group_start =
        is_unv_delimiter(lines[i]) && i + 1 < lines.size() && std::atoi(lines[i + 1].c_str()) == 2477;
    if (!group_start) {
      out += lines[i] + '\n';
      continue;
    }
    // Past the dataset's number, up to and with its closing delimiter.
    for (i += 2; i < lines.size() && !is_unv_delimiter(lines[i]);) ++i;
  }
  return out;
}

std::string without_abaqus_sets(const std::string &text) {
  std::string out;
  bool in_set = false;
  for (const std::string &line : split_lines(text)) {
    if (!line.empty() && line[0] == '*') in_set = line.rfind("*ELSET", 0) == 0;
    if (!in_set) out += line + '\n';
  }
  return out;
}

} // namespace tesmora::testing
