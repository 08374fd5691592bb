// Neutral files: data blocks between "   -1" lines; the header block 100 for the version, nodes
// from block 403, elements from block 404.
//
// A node record is ID, define_sys, output_sys, layer, color, six permanent constraints, x, y,
// z. An element record is a line of ID, color, propID, type, topology and further words, then
// the 20 node slots on two lines and the lines of orientation, offsets and releases: six lines
// after the first. The propID is the element's mat_id and the topology its shape.
#include "mesh/readers/converter_support.hpp"

#include <cstdlib>
#include <cstring>
#include <span>

namespace tesmora {
namespace {

constexpr int element_lines_after_first = 6;
constexpr int node_slots = 20;

bool is_delimiter(const char *line) {
  int value = 0;
  char rest[8] = {};
  return std::sscanf(line, "%d %7s", &value, rest) == 1 && value == -1;
}

// The comma- or blank-separated numbers of a line.
int split_numbers(const char *line, double *out, int capacity) {
  int n = 0;
  const char *p = line;
  while (*p && n < capacity) {
    while (*p == ' ' || *p == ',' || *p == '\t') ++p;
    if (!*p || *p == '\r' || *p == '\n') break;
    char *end = nullptr;
    out[n] = std::strtod(p, &end);
    if (end == p) break;
    ++n;
    p = end;
  }
  return n;
}

bool convert_neutral_nodes(std::FILE *in, char *line, PRE_GEOM_WRITER &writer) {
  while (read_converter_line(line, in)) {
    if (is_delimiter(line)) return true;
    double v[16] = {};
    const int n = split_numbers(line, v, 16);
    if (n >= 1 && static_cast<int>(v[0]) == -1) continue; // the record list's own end mark
    if (n < 14) return false;
    put_node(writer, static_cast<int>(v[0]), v[11], v[12], v[13]);
  }
  return true;
}

// The shapes a neutral element's topology names, and where each native file position finds
// its node among the 20 slots: the shapes are stored as degenerate bricks, so a tetrahedron
// leaves slot 3 empty and a wedge slots 3 and 7; mid nodes follow the brick's mid-node slots.
struct NEUTRAL_SHAPE {
  int topology;
  int code;
  std::span<const int> slots; // native file position -> slot
};

constexpr int tri3_slots[] = {0, 1, 2};
constexpr int tri6_slots[] = {0, 4, 1, 5, 2, 6};
constexpr int quad4_slots[] = {0, 1, 2, 3};
constexpr int quad8_slots[] = {0, 4, 1, 5, 2, 6, 3, 7};
constexpr int tetra4_slots[] = {0, 1, 2, 4};
constexpr int wedge6_slots[] = {0, 1, 2, 4, 5, 6};
constexpr int brick8_slots[] = {0, 1, 2, 3, 4, 5, 6, 7};
constexpr int tetra10_slots[] = {0, 8, 1, 9, 2, 10, 12, 13, 14, 4};
constexpr int wedge15_slots[] = {0, 8, 1, 9, 2, 10, 12, 13, 14, 4, 16, 5, 17, 6, 18};
constexpr int brick20_slots[] = {0, 8, 1, 9, 2, 10, 3, 11, 12, 13, 14, 15, 4, 16, 5, 17, 6, 18, 7, 19};

constexpr NEUTRAL_SHAPE neutral_shapes[] = {
    {2, 203, tri3_slots},     {3, 206, tri6_slots},     {4, 204, quad4_slots},  {5, 208, quad8_slots},
    {6, 304, tetra4_slots},   {7, 306, wedge6_slots},   {8, 308, brick8_slots}, {10, 310, tetra10_slots},
    {11, 315, wedge15_slots}, {12, 320, brick20_slots},
};

void put_neutral_element(PRE_GEOM_WRITER &writer, int id, int topology, int mat_id, const int *slots) {
  for (const NEUTRAL_SHAPE &shape : neutral_shapes)
    if (shape.topology == topology) {
      int nodes[node_slots];
      for (std::size_t p = 0; p < shape.slots.size(); ++p) nodes[p] = slots[shape.slots[p]];
      put_element(writer, id, shape.code, mat_id, nodes, static_cast<int>(shape.slots.size()));
      return;
    }
}

bool convert_neutral_elements(std::FILE *in, char *line, PRE_GEOM_WRITER &writer, CONVERT_FAULT &fault) {
  while (read_converter_line(line, in)) {
    if (is_delimiter(line)) return true;
    double head[24] = {};
    const int n = split_numbers(line, head, 24);
    if (n >= 1 && static_cast<int>(head[0]) == -1) continue;
    if (n < 5) {
      set_convert_fault(fault, line);
      return false;
    }
    int slots[node_slots] = {};
    int filled = 0;
    for (int l = 0; l < 2; ++l) {
      if (!read_converter_line(line, in)) return false;
      double v[node_slots] = {};
      const int m = split_numbers(line, v, node_slots - filled);
      for (int i = 0; i < m; ++i) slots[filled + i] = static_cast<int>(v[i]);
      filled += 10;
    }
    for (int l = 2; l < element_lines_after_first; ++l)
      if (!read_converter_line(line, in)) return false;
    put_neutral_element(writer, static_cast<int>(head[0]), static_cast<int>(head[4]),
                        static_cast<int>(head[2]), slots);
  }
  return true;
}

void skip_block(std::FILE *in, char *line) {
  while (read_converter_line(line, in))
    if (is_delimiter(line)) return;
}

} // namespace

void convert_neutral(const char *in_name, const char *out_name, CONVERT_FAULT &fault) {
  CONVERTER_FILES files(in_name, out_name);
  char line[card_length + 2];
  while (read_converter_line(line, files.in())) {
    if (!is_delimiter(line)) continue;
    if (!read_converter_line(line, files.in())) break;
    const int block = std::atoi(line);
    bool ok = true;
    if (block == 403)
      ok = convert_neutral_nodes(files.in(), line, files.writer);
    else if (block == 404)
      ok = convert_neutral_elements(files.in(), line, files.writer, fault);
    else
      skip_block(files.in(), line);
    if (fault.error) return;
    if (!ok) {
      set_convert_fault(fault, line);
      return;
    }
  }
  finish_pre_geom(files.writer);
}

} // namespace tesmora
