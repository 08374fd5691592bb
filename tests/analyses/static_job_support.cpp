// Decks and result readers of the whole static jobs of the tests.
#include "static_job_support.hpp"

#include "support/test_support.hpp"

#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace tesmora::testing {
namespace {

std::vector<std::string> lines_of(const std::string &text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// A small-field NASTRAN number: "0.400000", "1.0E+00", or Gmsh's "0.00E+00" and "1.5-3".
double nastran_real(std::string field) {
  while (!field.empty() && field.back() == ' ') field.pop_back();
  while (!field.empty() && field.front() == ' ') field.erase(field.begin());
  for (std::size_t k = 1; k < field.size(); ++k)
    if ((field[k] == '-' || field[k] == '+') && field[k - 1] != 'E' && field[k - 1] != 'e') {
      field.insert(k, "E");
      break;
    }
  return std::strtod(field.c_str(), nullptr);
}

} // namespace

std::string static_deck(const STATIC_DECK &d) {
  std::ostringstream s;
  s << "r12.0\n" << d.stages << "\n";
  s << "1 0 1 0 0 0 0 0\n";            // STATIC STEP AC TRANSIENT MOTION NON_LINEAR ...
  s << "0 0 0 0\n";                    // POTENTIAL NODAL_FORCE_OPTION PHI_OPTION FIXED_COORDINATE
  s << d.tree_gauge << " 0 1 0 0 0\n"; // TREE_GAUGE ... RENUMBERING (levels) ...
  s << "1 1 0 0 0 0 0 0\n";            // NODE_ORDER EDGE_ORDER ...
  s << d.iccg_conv << " -1.2 1.0e3 100 0 0.8 0 0 20000\n"; // ICCG_CONV ... SOLVER 0
  s << "1.0e-4 1.0 50 0 0 -0.01 0 0\n";
  s << "3 7 0\n";
  s << "0 0 0.0 0\n";                            // INITIAL_STEP DATA_TYPE INITIAL_PHASE MULTI
  s << d.no_steps << " 0.0 1.0 0 0 0 0 0 0 0\n"; // NO_STEPS INITIAL_TIME DELTA_TIME ...
  s << "1 " << (d.last_output_step ? d.last_output_step : d.no_steps) << " 1 3 0 0 0\n"; // output steps
  s << "3 0 0 0\n"; // INPUT_MESH_FILE 3: NASTRAN pre_geom.nas
  if (d.output_materials.empty())
    s << d.post_data_file << " 1 1 0 0 0 0 " << d.post_coordinate << " 0 0\n";
  else
    s << d.post_data_file << " 1 1 " << d.output_materials << "\n"; // POST_DATA_FILE ELEM_OUT NODE_OUT ...
  s << d.mesh_post << " 0 1 0 0 0 0 0 0 0 0 0\n";                   // post selection: MAGNETIC
  s << "0 0 0 0 0 0\n0 0 0 0\n0 0 0 0\n";                           // print tables
  s << "0 0.0 0 0 0.0\n";                                           // GEOMETRY ...
  s << d.coordinates << "\n";                                       // no local frames
  s << d.far_boundary << "\n1.0e-4\n" << d.bn0_planes.size() << "\n";
  for (const std::string &plane : d.bn0_planes) s << plane << "\n";
  s << "0\n0\n0 0 0 0 0.0 0 0\n"; // HT0 planes, A0 lines, cyclic
  s << d.materials.size() << " 0 0\n";
  for (const std::string &m : d.materials) s << m << "\n";
  s << "SOURCE\nCOIL 1 1 " << d.no_coil_elements << " 0 0 0\n" << d.coil_elements << "\nEND\nEND\n";
  s << "1 0\n1 0\n1 0 0 0 0 0 0\n0 0 0\n"; // time evolution 1: constant 1
  return s.str();
}

std::map<int, std::array<double, 6>> read_unv_values(const std::string &path, int data_set) {
  const std::vector<std::string> lines = lines_of(read_file(path));
  char marker[16];
  std::snprintf(marker, sizeof marker, "%6d", data_set);
  std::map<int, std::array<double, 6>> values;
  for (std::size_t k = 0; k < lines.size(); ++k) {
    if (lines[k] != marker || k == 0 || lines[k - 1] != "    -1") continue;
    values.clear(); // a later step replaces an earlier one
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
  return values;
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
  for (const std::string &line : lines_of(read_file(path)))
    if (line.rfind("GRID", 0) == 0)
      nodes[std::atoi(nastran_field(line, 1).c_str())] = {nastran_real(nastran_field(line, 3)),
                                                          nastran_real(nastran_field(line, 4)),
                                                          nastran_real(nastran_field(line, 5))};
  return nodes;
}

std::map<int, TET_CENTROID> read_tet_centroids(const std::string &path) {
  const std::map<int, std::array<double, 3>> nodes = read_grid_points(path);
  std::map<int, TET_CENTROID> tets;
  for (const std::string &line : lines_of(read_file(path))) {
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

} // namespace tesmora::testing
