// NASTRAN bulk data in fixed fields: "GRID" (8 columns) and "GRID*" (16 columns with a
// continuation line for z), cylindrical coordinates of system 1, and the element cards in both
// field widths with their continuation lines.
#include "mesh/readers/converter_support.hpp"
#include "mesh/readers/nastran_elements.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace tesmora {
namespace {

constexpr int nastran_line_length = 100; // columns of a line that are read
constexpr int max_nastran_nodes = 20;

constexpr NASTRAN_ELEMENT nastran_table[] = {
    {"CHEXA", 308, 8},  {"CPENTA", 306, 6}, {"CPYRAM", 305, 5}, {"CTETRA", 304, 4},
    {"CQUAD4", 204, 4}, {"CQUAD8", 208, 8}, {"CTRIA3", 203, 3}, {"CBAR", 102, 2},
    {"CBEAM", 102, 2},  {"CMASS1", 101, 1}, {"CONM2", 101, 1},  {"CROD", 102, 2},
};
// NASTRAN: corners, lower mid nodes, vertical mid nodes, upper mid nodes. Native: the lower
// ring corner by corner with its mid nodes, the vertical mid nodes, the upper ring.
constexpr int hexa20_order[20] = {0, 8, 1, 9, 2, 10, 3, 11, 12, 13, 14, 15, 4, 16, 5, 17, 6, 18, 7, 19};
constexpr int quad8_order[8] = {0, 4, 1, 5, 2, 6, 3, 7};

// Lines of the file with comments ('$') skipped, cut at nastran_line_length columns.
struct NASTRAN_LINES {
  std::FILE *stream;
  char line[card_length + 2] = {};

  const char *next() {
    while (read_converter_line(line, stream)) {
      if (line[0] == '$') continue;
      const std::size_t n = std::strcspn(line, "\r\n");
      line[std::min<std::size_t>(n, nastran_line_length)] = '\0';
      return line;
    }
    return nullptr;
  }
};

void to_cartesian(int system, double *xyz) {
  if (system != 1) return;
  const double r = xyz[0];
  const double angle = xyz[1] * std::numbers::pi / 180.0;
  xyz[0] = r * std::cos(angle);
  xyz[1] = r * std::sin(angle);
}

double real_field(const char *line, int column, int width) {
  char text[64];
  field_text(line, column, width, text);
  return read_foreign_real(text);
}

int int_field(const char *line, int column, int width) {
  char text[64];
  field_text(line, column, width, text);
  return static_cast<int>(std::strtol(text, nullptr, 10));
}

bool field_present(const char *line, int column, int width) {
  char text[64];
  field_text(line, column, width, text);
  return text[0] != '\0';
}

// GRID or GRID*: identity, coordinate system, x, y and z (from the continuation line of the
// large form).
bool convert_grid(NASTRAN_LINES &lines, bool large, PRE_GEOM_WRITER &writer, CONVERT_FAULT &fault) {
  const int w = large ? 16 : 8;
  char line[card_length + 2];
  std::strcpy(line, lines.line);
  const int id = int_field(line, 8, w);
  const int system = int_field(line, 8 + w, w);
  double xyz[3] = {real_field(line, 8 + 2 * w, w), real_field(line, 8 + 3 * w, w), 0.0};
  if (large) {
    const char *next = lines.next();
    if (!next) {
      set_convert_fault(fault, line);
      return false;
    }
    xyz[2] = real_field(next, 8, 16);
  } else {
    xyz[2] = real_field(line, 8 + 4 * w, w);
  }
  to_cartesian(system, xyz);
  put_node(writer, id, xyz[0], xyz[1], xyz[2]);
  return true;
}

// Node fields of an element: from the field after the property on the first line, then the
// fields of the continuation lines (8 of 8 columns or 4 of 16 after the mark).
struct NODE_FIELDS {
  NASTRAN_LINES &lines;
  int width;
  int column;
  bool at_end = false;

  int last_column() const { return 8 + (width == 8 ? 8 : 4) * width; }
  // Moves to the next field; a continuation line is read when the line is used up.
  bool advance() {
    if (column < last_column()) return true;
    if (!lines.next()) {
      at_end = true;
      return false;
    }
    column = 8;
    return true;
  }
  bool present() { return advance() && field_present(lines.line, column, width); }
  int take() {
    if (!advance()) return 0;
    const int v = int_field(lines.line, column, width);
    column += width;
    return v;
  }
};

bool convert_element(NASTRAN_LINES &lines, const NASTRAN_ELEMENT &card, bool large, PRE_GEOM_WRITER &writer,
                     CONVERT_FAULT &fault) {
  const int w = large ? 16 : 8;
  if (static_cast<int>(std::strlen(lines.line)) < 16) {
    set_convert_fault(fault, lines.line);
    return false;
  }
  const int id = int_field(lines.line, 8, w);
  const int property = int_field(lines.line, 8 + w, w);
  if (property < 1) {
    set_convert_fault(fault, lines.line);
    return false;
  }
  NODE_FIELDS fields{lines, w, 8 + 2 * w};
  int nodes[max_nastran_nodes] = {};
  int n = card.no_nodes, code = card.code;
  for (int i = 0; i < n; ++i) nodes[i] = fields.take();
  if (card.code == 308 && fields.column < fields.last_column() && fields.present()) {
    n = 20, code = 320;
    for (int i = 8; i < n; ++i) nodes[i] = fields.take();
    reorder_nodes(nodes, hexa20_order);
  }
  if (code == 208) reorder_nodes(nodes, quad8_order);
  put_element(writer, id, code, property, nodes, n);
  return true;
}

void convert_nastran_fixed(std::FILE *in, PRE_GEOM_WRITER &writer, CONVERT_FAULT &fault) {
  NASTRAN_LINES lines{in};
  while (lines.next()) {
    char keyword[16];
    field_text(lines.line, 0, 8, keyword);
    bool large = false;
    if (std::strcmp(keyword, "GRID") == 0 || std::strcmp(keyword, "GRID*") == 0) {
      if (!convert_grid(lines, keyword[4] == '*', writer, fault)) return;
    } else if (const NASTRAN_ELEMENT *card = find_nastran_element(keyword, false, large)) {
      if (!convert_element(lines, *card, large, writer, fault)) return;
    }
  }
}

// Free format when the first GRID card is written with commas.
bool is_free_format(std::FILE *in) {
  char line[card_length + 2];
  while (read_converter_line(line, in))
    if (begins_with(line, "GRID")) return line[4] == ',';
  return false;
}

} // namespace

const NASTRAN_ELEMENT *find_nastran_element(const char *keyword, bool with_rod, bool &large) {
  const std::size_t n = std::strlen(keyword);
  large = n > 0 && keyword[n - 1] == '*';
  const std::size_t name_length = large ? n - 1 : n;
  for (const NASTRAN_ELEMENT &card : nastran_table) {
    if (!with_rod && card.code == 102 && std::strcmp(card.name, "CROD") == 0) continue;
    if (std::strlen(card.name) == name_length && std::strncmp(card.name, keyword, name_length) == 0)
      return &card;
  }
  return nullptr;
}

std::span<const int> nastran_hexa20_order() { return hexa20_order; }
std::span<const int> nastran_quad8_order() { return quad8_order; }

void reorder_nodes(int *nodes, std::span<const int> order) {
  int copy[32];
  std::copy(nodes, nodes + order.size(), copy);
  for (std::size_t i = 0; i < order.size(); ++i) nodes[i] = copy[order[i]];
}

void convert_nastran(const char *in_name, const char *out_name, CONVERT_FAULT &fault) {
  bool free_format = false;
  {
    CONVERTER_FILES files(in_name, out_name);
    free_format = is_free_format(files.in());
    if (!free_format) {
      std::rewind(files.in());
      convert_nastran_fixed(files.in(), files.writer, fault);
      finish_pre_geom(files.writer);
    }
  }
  if (free_format) convert_nastran_free(in_name, out_name, fault);
}

} // namespace tesmora
