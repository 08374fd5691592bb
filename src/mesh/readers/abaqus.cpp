// ABAQUS input files: the "*NODE" list, "*ELEMENT" lists whose TYPE gives the native code, and
// "*ELSET" lists of element sets.
//
// An element's mat_id is the number that ends the name of an "*ELSET" set listing it, where the
// file has such sets: Gmsh writes one per physical group, named after the group
// ("PhysicalVolume12" for an unnamed group 12). A set whose name ends in no digit names no
// number and is passed over. Otherwise, and for elements no such set lists, the number that ends
// the ELSET word of its "*ELEMENT" line, which Gmsh fills with the geometric entity ("Volume3").
#include "mesh/readers/converter_support.hpp"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>

namespace tesmora {
namespace {

struct ABAQUS_TYPE {
  const char *name; // the TYPE= word
  int code;         // native code; 0 for surface and line types whose elements are read away
  int no_nodes;
};

// Besides the shell types, the plane-stress and membrane types Gmsh and others write for
// surfaces are surface elements, and Gmsh's T3D2 lines are lines; their second-order forms
// without a native counterpart are read away.
constexpr ABAQUS_TYPE abaqus_types[] = {
    {"B31", 102, 2},  {"T3D2", 102, 2}, {"S3", 203, 3},     {"S3R", 203, 3},  {"STRI3", 203, 3},
    {"CPS3", 203, 3}, {"M3D3", 203, 3}, {"S4", 204, 4},     {"S4R", 204, 4},  {"CPS4", 204, 4},
    {"M3D4", 204, 4}, {"S8R", 208, 8},  {"CPS8", 208, 8},   {"T3D3", 0, 3},   {"CPS6", 0, 6},
    {"S6", 0, 6},     {"STRI65", 0, 6}, {"M3D6", 0, 6},     {"C3D4", 304, 4}, {"C3D5", 305, 5},
    {"C3D6", 306, 6}, {"C3D8", 308, 8}, {"C3D20", 320, 20}, {"MASS", 101, 1},
};
// ABAQUS: corners, lower mid nodes, upper mid nodes, vertical mid nodes. Native: the lower ring
// corner by corner with its mid nodes, the vertical mid nodes, the upper ring.
constexpr int hexa20_order[20] = {0, 8, 1, 9, 2, 10, 3, 11, 16, 17, 18, 19, 4, 12, 5, 13, 6, 14, 7, 15};
constexpr int quad8_order[8] = {0, 4, 1, 5, 2, 6, 3, 7};
constexpr int max_nodes_per_line = 15;

// The value of `key=` in a keyword line (up to the next comma), folded to upper case.
bool keyword_value(const char *line, const char *key, char *out, int size) {
  const std::size_t key_length = std::strlen(key);
  for (const char *p = line; *p; ++p) {
    if (!begins_with(p, key) || (p != line && std::isalnum(static_cast<unsigned char>(p[-1])))) continue;
    p += key_length;
    while (*p == ' ') ++p;
    int n = 0;
    while (*p && *p != ',' && *p != '\r' && *p != '\n' && n < size - 1)
      if (*p != ' ')
        out[n++] = static_cast<char>(std::toupper(static_cast<unsigned char>(*p++)));
      else
        ++p;
    out[n] = '\0';
    return true;
  }
  return false;
}

// The number that ends a set name ("Volume12" gives 12); 0 when it ends in no digit.
int trailing_number(const char *name) {
  const char *end = name + std::strlen(name);
  const char *p = end;
  while (p > name && std::isdigit(static_cast<unsigned char>(p[-1]))) --p;
  return p == end ? 0 : std::atoi(p);
}

bool is_keyword_line(const char *line) { return line[0] == '*'; }

// Integers of a comma-separated data line into values[count..]; returns the new count.
int read_integers(const char *line, int *values, int count, int capacity) {
  const char *p = line;
  while (*p && count < capacity) {
    char *end = nullptr;
    const long v = std::strtol(p, &end, 10);
    if (end == p) break;
    values[count++] = static_cast<int>(v);
    p = end;
    while (*p == ' ' || *p == ',' || *p == '\t') ++p;
    if (*p == '\r' || *p == '\n') break;
  }
  return count;
}

// Reads the element lines after an "*ELEMENT," line; returns false with the fault set on a card
// error. `line` holds the keyword line that ended the list when it returns true.
bool convert_element_list(std::FILE *in, char *line, const ELEMENT_GROUPS &groups, PRE_GEOM_WRITER &writer,
                          CONVERT_FAULT &fault, bool &have_line) {
  char type_name[64] = {}, set_name[128] = {};
  keyword_value(line, "TYPE=", type_name, sizeof type_name);
  keyword_value(line, "ELSET=", set_name, sizeof set_name);
  const ABAQUS_TYPE *type = nullptr;
  for (const ABAQUS_TYPE &t : abaqus_types)
    if (std::strcmp(t.name, type_name) == 0) type = &t;
  const int block_mat_id = trailing_number(set_name);
  if (!type || (groups.empty() && block_mat_id < 1)) {
    set_convert_fault(fault, line);
    return false;
  }
  char header[card_length + 2];
  std::snprintf(header, sizeof header, "%s", line);
  have_line = false;
  while (read_converter_line(line, in)) {
    if (is_keyword_line(line)) {
      have_line = true;
      return true;
    }
    int values[1 + 2 * max_nodes_per_line] = {};
    int count = read_integers(line, values, 0, 1 + type->no_nodes);
    if (count == 0) continue;
    // Up to 15 nodes stand on the element's line; the rest come on the next line.
    while (count < 1 + type->no_nodes) {
      if (!read_converter_line(line, in) || is_keyword_line(line)) {
        set_convert_fault(fault, line);
        return false;
      }
      count = read_integers(line, values, count, 1 + type->no_nodes);
    }
    const int mat_id = groups.find(values[0], block_mat_id);
    if (mat_id < 1) {
      set_convert_fault(fault, header);
      return false;
    }
    if (type->code == 0) continue;
    int *nodes = values + 1;
    if (type->code == 320 || type->code == 208) {
      const std::span<const int> order =
          type->code == 320 ? std::span<const int>(hexa20_order) : std::span<const int>(quad8_order);
      int ordered[20];
      for (std::size_t i = 0; i < order.size(); ++i) ordered[i] = nodes[order[i]];
      put_element(writer, values[0], type->code, mat_id, ordered, type->no_nodes);
      continue;
    }
    put_element(writer, values[0], type->code, mat_id, nodes, type->no_nodes);
  }
  return true;
}

// True when one of the comma-separated options after the keyword is `option` (a set named
// "GENERATE7" is no option).
bool has_option(const char *line, const char *option) {
  for (const char *p = std::strchr(line, ','); p; p = std::strchr(p + 1, ',')) {
    const char *q = p + 1;
    while (*q == ' ') ++q;
    const char *end = q + std::strlen(option);
    if (begins_with(q, option) &&
        (*end == '\0' || *end == ',' || *end == ' ' || *end == '\r' || *end == '\n'))
      return true;
  }
  return false;
}

// The members of an "*ELSET" list whose name ends in its number; with GENERATE the lines give
// first, last and step. Ends at the next keyword line, left in `line`.
void read_element_set(std::FILE *in, char *line, ELEMENT_GROUPS &groups, bool &have_line) {
  char set_name[128] = {};
  keyword_value(line, "ELSET=", set_name, sizeof set_name);
  const int group = trailing_number(set_name);
  const bool generated = has_option(line, "GENERATE");
  have_line = false;
  while (read_converter_line(line, in)) {
    if (is_keyword_line(line)) {
      have_line = true;
      return;
    }
    if (group < 1) continue;
    int values[64];
    const int count = read_integers(line, values, 0, 64);
    if (!generated) {
      for (int i = 0; i < count; ++i) groups.add(values[i], group);
      continue;
    }
    const int step = count >= 3 && values[2] > 0 ? values[2] : 1;
    for (int label = values[0]; count >= 2 && label <= values[1]; label += step) groups.add(label, group);
  }
}

// A first pass over the whole file for the "*ELSET" lists: they follow the elements.
ELEMENT_GROUPS read_abaqus_groups(std::FILE *in) {
  ELEMENT_GROUPS groups;
  char line[card_length + 2];
  bool have_line = read_converter_line(line, in) != nullptr;
  while (have_line) {
    if (begins_with(line, "*ELSET,"))
      read_element_set(in, line, groups, have_line);
    else
      have_line = read_converter_line(line, in) != nullptr;
  }
  groups.sort();
  return groups;
}

void convert_node_list(std::FILE *in, char *line, PRE_GEOM_WRITER &writer, bool &have_line) {
  have_line = false;
  while (read_converter_line(line, in)) {
    if (is_keyword_line(line)) {
      have_line = true;
      return;
    }
    char *end = nullptr;
    const long id = std::strtol(line, &end, 10);
    if (end == line) continue;
    double xyz[3] = {};
    const char *p = end;
    for (double &v : xyz) {
      while (*p == ' ' || *p == ',' || *p == '\t') ++p;
      v = read_foreign_real(p);
      while (*p && *p != ',') ++p;
    }
    put_node(writer, static_cast<int>(id), xyz[0], xyz[1], xyz[2]);
  }
}

} // namespace

void convert_abaqus(const char *in_name, const char *out_name, CONVERT_FAULT &fault) {
  CONVERTER_FILES files(in_name, out_name);
  const ELEMENT_GROUPS groups = read_abaqus_groups(files.in());
  std::rewind(files.in());
  report_mat_id_source(groups.empty() ? "the ELSET names of *ELEMENT lists"
                                      : "physical group sets (*ELSET lists)");
  char line[card_length + 2];
  bool have_line = read_converter_line(line, files.in()) != nullptr;
  while (have_line) {
    const bool node_list = begins_with(line, "*NODE") &&
                           (line[5] == ',' || std::isspace(static_cast<unsigned char>(line[5])) || !line[5]);
    if (node_list) {
      convert_node_list(files.in(), line, files.writer, have_line);
    } else if (begins_with(line, "*ELEMENT,")) {
      if (!convert_element_list(files.in(), line, groups, files.writer, fault, have_line)) return;
    } else {
      have_line = read_converter_line(line, files.in()) != nullptr;
    }
  }
  finish_pre_geom(files.writer);
}

} // namespace tesmora
