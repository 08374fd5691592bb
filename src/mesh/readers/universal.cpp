// Universal files: datasets between "    -1" lines; nodes from datasets 15, 781 and 2411,
// elements from 780 and 2412, permanent groups from 2477, the header 151 read for its producer.
//
// Where the file has groups (Gmsh writes each physical group as a 2477 group whose number is
// the physical tag), an element's mat_id is the number of the group that lists it. Without
// groups, or for an element no group lists, it is the physical property table number (2412:
// third field; 780: the physical property number), which Gmsh fills with the number of the
// geometric entity, not the physical group. Element descriptors map to native codes through the
// catalogue's universal_code, node orders through node_order_1.
#include "mesh/element_catalogue.hpp"
#include "mesh/readers/converter_support.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tesmora {
namespace {

// The dataset delimiter: -1 in columns 5 and 6, nothing else on the line.
bool is_delimiter(const char *line) {
  int value = 0;
  char rest[8] = {};
  return std::sscanf(line, "%d %7s", &value, rest) == 1 && value == -1;
}

// Descriptors converted; 92, 93, 96 to 104 and all others are skipped.
bool is_converted_descriptor(int descriptor) {
  for (int d : {91, 94, 95, 111, 112, 115, 116, 118})
    if (d == descriptor) return true;
  return false;
}

// Beam-like descriptors carry a second record (orientation) before their nodes.
bool has_beam_record(int descriptor) { return descriptor >= 11 && descriptor <= 40; }

int count_ints(const char *line, int *out, int capacity) {
  int n = 0;
  const char *p = line;
  char *end = nullptr;
  while (n < capacity) {
    const long v = std::strtol(p, &end, 10);
    if (end == p) break;
    out[n++] = static_cast<int>(v);
    p = end;
  }
  return n;
}

// Node records: a label line and a coordinate line (2411, 781), or one line with both (15,
// and the single-line records some producers write in 2411). Ends at the delimiter.
bool convert_nodes(std::FILE *in, char *line, int dataset, PRE_GEOM_WRITER &writer) {
  while (read_converter_line(line, in)) {
    if (is_delimiter(line)) return true;
    int label = 0;
    double xyz[3] = {};
    char words[8][64] = {};
    const int n = std::sscanf(line, "%63s %63s %63s %63s %63s %63s %63s", words[0], words[1], words[2],
                              words[3], words[4], words[5], words[6]);
    label = std::atoi(words[0]);
    if (dataset == 15 || n >= 7) {
      for (int d = 0; d < 3; ++d) xyz[d] = read_foreign_real(words[4 + d]);
    } else {
      if (!read_converter_line(line, in)) return false;
      char c[3][64] = {};
      std::sscanf(line, "%63s %63s %63s", c[0], c[1], c[2]);
      for (int d = 0; d < 3; ++d) xyz[d] = read_foreign_real(c[d]);
    }
    put_node(writer, label, xyz[0], xyz[1], xyz[2]);
  }
  return true;
}

void put_universal_element(PRE_GEOM_WRITER &writer, int label, int descriptor, int mat_id, const int *nodes) {
  for (const V_ELEMENT_TYPE &t : v_element_types())
    if (t.universal_code == descriptor) {
      put_ordered_element(writer, label, t.conc_code, mat_id, t.input_node_order, t.node_order_1, nodes);
      return;
    }
  for (const S_ELEMENT_TYPE &t : s_element_types())
    if (t.universal_code == descriptor) {
      put_ordered_element(writer, label, t.conc_code, mat_id, t.input_node_order, t.node_order_1, nodes);
      return;
    }
}

// Element records of 2412 (label, descriptor, physical, material, colour, count) or 780
// (label, descriptor, physical bin, physical, material bin, material, colour, count).
bool convert_elements(std::FILE *in, char *line, int dataset, const ELEMENT_GROUPS &groups,
                      PRE_GEOM_WRITER &writer, CONVERT_FAULT &fault) {
  while (read_converter_line(line, in)) {
    if (is_delimiter(line)) return true;
    int head[8] = {};
    const int fields = count_ints(line, head, 8);
    const bool old_form = dataset == 780;
    if (fields < (old_form ? 8 : 6)) {
      set_convert_fault(fault, line);
      return false;
    }
    const int label = head[0], descriptor = head[1];
    const int mat_id = groups.find(label, old_form ? head[3] : head[2]);
    const int no_nodes = old_form ? head[7] : head[5];
    if (has_beam_record(descriptor) && !read_converter_line(line, in)) return false;
    int nodes[64] = {};
    int count = 0;
    while (count < no_nodes && count < 64) {
      if (!read_converter_line(line, in)) return false;
      count += count_ints(line, nodes + count, 64 - count);
    }
    if (is_converted_descriptor(descriptor)) put_universal_element(writer, label, descriptor, mat_id, nodes);
  }
  return true;
}

void skip_dataset(std::FILE *in, char *line) {
  while (read_converter_line(line, in))
    if (is_delimiter(line)) return;
}

// Entity type code of a finite element in a group's member list.
constexpr int group_element_type = 8;

// Groups of dataset 2477: per group a line of 8 integers (number, five active set numbers, the
// contact set, the member count), a name line, then the members, four integers each (type code,
// tag, node leaf, component), two to a line. Elements (type 8) are kept; node members are not.
void read_groups(std::FILE *in, char *line, ELEMENT_GROUPS &groups) {
  while (read_converter_line(line, in)) {
    if (is_delimiter(line)) return;
    int head[8] = {};
    if (count_ints(line, head, 8) < 8) continue;
    const int group = head[0], no_members = head[7];
    if (!read_converter_line(line, in) || is_delimiter(line)) return; // the group's name
    int member[4] = {}, filled = 0;
    for (int read = 0; read < no_members;) {
      if (!read_converter_line(line, in) || is_delimiter(line)) return;
      int values[8] = {};
      const int n = count_ints(line, values, 8);
      for (int i = 0; i < n && read < no_members; ++i) {
        member[filled++] = values[i];
        if (filled < 4) continue;
        if (member[0] == group_element_type) groups.add(member[1], group);
        filled = 0;
        ++read;
      }
    }
  }
}

// A first pass over the whole file for its groups: Gmsh writes them after the elements.
ELEMENT_GROUPS read_universal_groups(std::FILE *in) {
  ELEMENT_GROUPS groups;
  char line[card_length + 2];
  while (read_converter_line(line, in)) {
    if (!is_delimiter(line)) continue;
    if (!read_converter_line(line, in)) break;
    if (std::atoi(line) == 2477)
      read_groups(in, line, groups);
    else
      skip_dataset(in, line);
  }
  groups.sort();
  return groups;
}

} // namespace

void convert_universal(const char *in_name, const char *out_name, CONVERT_FAULT &fault) {
  CONVERTER_FILES files(in_name, out_name);
  const ELEMENT_GROUPS groups = read_universal_groups(files.in());
  std::rewind(files.in());
  report_mat_id_source(groups.empty() ? "element property numbers (dataset 2412)"
                                      : "physical groups (dataset 2477)");
  char line[card_length + 2];
  while (read_converter_line(line, files.in())) {
    if (!is_delimiter(line)) continue;
    if (!read_converter_line(line, files.in())) break;
    const int dataset = std::atoi(line);
    bool ok = true;
    if (dataset == 15 || dataset == 781 || dataset == 2411)
      ok = convert_nodes(files.in(), line, dataset, files.writer);
    else if (dataset == 780 || dataset == 2412)
      ok = convert_elements(files.in(), line, dataset, groups, files.writer, fault);
    else
      skip_dataset(files.in(), line);
    if (fault.error) return;
    if (!ok) break;
  }
  finish_pre_geom(files.writer);
}

} // namespace tesmora
