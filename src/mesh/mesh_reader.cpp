// The native mesh text ("UNIT", "GRID" blocks read by their edit-descriptor format, "CONC"
// blocks read as a stream of integers), the direct formats 13 and 14 and the mesh driver.
#include "mesh/mesh_reader.hpp"

#include "input/card_reader.hpp"
#include "input/control_data.hpp"
#include "job/report.hpp"
#include "mesh/mesh_converters.hpp"
#include "mesh/raw_mesh.hpp"

#include <cctype>
#include <cstdlib>
#include <cstring>

namespace tesmora {
namespace {

constexpr int max_block_lines = 100000000; // lines of one GRID block, elements of one CONC block
constexpr int max_format_fields = 32;

// Lines of a text file with one line of push-back.
struct LINE_SOURCE {
  std::FILE *stream = nullptr;
  char line[card_length + 2] = {};
  bool pushed_back = false;

  const char *next() {
    if (pushed_back) {
      pushed_back = false;
      return line;
    }
    return std::fgets(line, sizeof line, stream);
  }
  void push_back() { pushed_back = true; }
};

// Integers or reals taken one by one across line ends.
struct TOKEN_STREAM {
  LINE_SOURCE &source;
  const char *at = "";
  bool line_start = true; // nothing has been taken from the current line yet

  // Moves to the next token; false at the end of the file.
  bool skip_blanks() {
    for (;;) {
      while (*at && std::isspace(static_cast<unsigned char>(*at))) ++at;
      if (*at) return true;
      const char *line = source.next();
      if (!line) return false;
      at = line;
      line_start = true;
    }
  }
  // The next integer. A word that is not one ends the stream: when it stands first on its
  // line the line is handed back to the keyword loop, else it and the rest are dropped.
  bool next_int(int &value) {
    if (!skip_blanks()) return false;
    char *end = nullptr;
    const long v = std::strtol(at, &end, 10);
    if (end == at || (*end && !std::isspace(static_cast<unsigned char>(*end)))) {
      if (line_start) source.push_back();
      at = "";
      return false;
    }
    at = end;
    line_start = false;
    value = static_cast<int>(v);
    return true;
  }
  bool next_real(double &value) {
    if (!skip_blanks()) return false;
    char *end = nullptr;
    value = std::strtod(at, &end);
    if (end == at) return false;
    at = end;
    line_start = false;
    return true;
  }
  // Drops what is left of the current line.
  void drop_line() { at = ""; }
};

// The fields of a GRID line as its edit-descriptor format gives them: 'I' integer, 'R' real
// (E, F, D, G), 'X' columns skipped.
struct FIELD_FORMAT {
  int no_fields = 0;
  char kind[max_format_fields] = {};
  int width[max_format_fields] = {};
};

// Parses a format such as "(I12,3E17.8)" or "(1X,I8,3(1PE16.8))" (one level of parentheses
// with a repeat count). False when it holds no integer and real fields.
bool parse_field_format(const char *text, FIELD_FORMAT &format) {
  format = FIELD_FORMAT{};
  const char *p = text;
  int group_start = -1, group_repeat = 1;
  while (*p) {
    int repeat = 0;
    while (std::isdigit(static_cast<unsigned char>(*p))) repeat = repeat * 10 + (*p++ - '0');
    const char c = static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
    if (c == 'P') { // scale factor: no effect on reading a field with a decimal point
      ++p;
      continue;
    }
    if (c == '(') {
      if (format.no_fields > 0 || p != text)
        group_start = format.no_fields, group_repeat = repeat > 0 ? repeat : 1;
      ++p;
      continue;
    }
    if (c == ')') {
      for (int r = 1; r < group_repeat && group_start >= 0; ++r) {
        const int n = format.no_fields - group_start;
        for (int i = 0; i < n && format.no_fields < max_format_fields; ++i) {
          format.kind[format.no_fields] = format.kind[group_start + i];
          format.width[format.no_fields++] = format.width[group_start + i];
        }
      }
      group_start = -1, group_repeat = 1;
      ++p;
      continue;
    }
    if (c == ',' || c == ' ') {
      ++p;
      continue;
    }
    if (c != 'I' && c != 'E' && c != 'F' && c != 'D' && c != 'G' && c != 'X') return false;
    ++p;
    int width = 0;
    while (std::isdigit(static_cast<unsigned char>(*p))) width = width * 10 + (*p++ - '0');
    if (*p == '.') {
      ++p;
      while (std::isdigit(static_cast<unsigned char>(*p))) ++p;
    }
    if (c == 'X') width = repeat > 0 ? repeat : 1, repeat = 1;
    for (int r = 0; r < (repeat > 0 ? repeat : 1) && format.no_fields < max_format_fields; ++r) {
      format.kind[format.no_fields] = c == 'I' ? 'I' : c == 'X' ? 'X' : 'R';
      format.width[format.no_fields++] = width;
    }
  }
  int ints = 0, reals = 0;
  for (int i = 0; i < format.no_fields; ++i) {
    ints += format.kind[i] == 'I';
    reals += format.kind[i] == 'R';
  }
  return ints >= 1 && reals >= 3;
}

// A Fortran real field: blanks around, D as exponent letter.
double read_real_field(const char *text, int length) {
  char field[64];
  int n = 0;
  for (int i = 0; i < length && n < 63; ++i) {
    const char c = text[i];
    if (c == ' ' || c == '\n' || c == '\r') continue;
    field[n++] = c == 'D' || c == 'd' ? 'E' : c;
  }
  field[n] = '\0';
  return std::strtod(field, nullptr);
}

// id, x, y, z of a GRID line by its format.
void read_grid_line(const char *line, const FIELD_FORMAT &format, int &id, double *xyz) {
  const int length = static_cast<int>(std::strlen(line));
  int column = 0, reals = 0;
  bool have_id = false;
  for (int f = 0; f < format.no_fields; ++f) {
    const int width = format.width[f];
    const int take = column >= length ? 0 : std::min(width, length - column);
    if (format.kind[f] == 'I' && !have_id) {
      char field[32] = {};
      std::memcpy(field, line + column, static_cast<std::size_t>(std::min(take, 31)));
      id = static_cast<int>(std::strtol(field, nullptr, 10));
      have_id = true;
    } else if (format.kind[f] == 'R' && reals < 3) {
      xyz[reals++] = read_real_field(line + column, take);
    }
    column += width;
  }
}

// The first word with a field of 4 characters; empty for a blank line.
void first_word(const char *line, char *word) {
  word[0] = '\0';
  std::sscanf(line, "%4s", word);
}

void read_grid_block(LINE_SOURCE &source, const char *format_text, double factor, RAW_MESH &raw) {
  FIELD_FORMAT format;
  const bool by_format = parse_field_format(format_text, format);
  for (int count = 0; count < max_block_lines; ++count) {
    const char *line = source.next();
    if (!line) return;
    char *end = nullptr;
    const long first = std::strtol(line, &end, 10);
    if (end == line) { // not a number: the block ends and the line is read as a keyword line
      source.push_back();
      return;
    }
    if (first == -1) return;
    int id = 0;
    double xyz[3] = {};
    if (by_format)
      read_grid_line(line, format, id, xyz);
    else
      std::sscanf(line, "%d %lf %lf %lf", &id, &xyz[0], &xyz[1], &xyz[2]);
    add_raw_node(raw, id, xyz[0] * factor, xyz[1] * factor, xyz[2] * factor);
  }
}

void read_conc_block(LINE_SOURCE &source, RAW_MESH &raw, int want_lines, int nodes_only) {
  TOKEN_STREAM tokens{source};
  int head[3];
  int ids[99];
  for (int count = 0; count < max_block_lines; ++count) {
    if (!tokens.next_int(head[0])) return;
    if (head[0] == -1) {
      tokens.drop_line();
      return;
    }
    if (!tokens.next_int(head[1]) || !tokens.next_int(head[2])) return;
    const int n = head[1] > 0 ? head[1] % 100 : 0;
    for (int i = 0; i < n; ++i)
      if (!tokens.next_int(ids[i])) return;
    if (!nodes_only) add_raw_element(raw, head[0], head[1], head[2], ids, want_lines);
  }
}

void read_pre_geom_text(std::FILE *stream, RAW_MESH &raw, int want_lines, int nodes_only, double factor) {
  LINE_SOURCE source{stream};
  char word[8], second[card_length + 1];
  while (const char *line = source.next()) {
    first_word(line, word);
    second[0] = '\0';
    std::sscanf(line, "%*s %2000s", second);
    if (same_word(word, "UNIT")) {
      if (same_word(second, "MM")) factor = 0.001;
    } else if (same_word(word, "GRID")) {
      read_grid_block(source, second, factor, raw);
    } else if (same_word(word, "CONC")) {
      read_conc_block(source, raw, want_lines, nodes_only);
    }
  }
}

// Opens the mesh text `name`, reads it by the reader of `input_mesh_file` and closes it.
void read_mesh_file(MESHED_MODEL &mesh, const char *name, int input_mesh_file, int want_lines, int nodes_only,
                    const MESH_READ_SETTINGS &settings) {
  FFILE *file = create_ffile(name, 0);
  open_ffile(file, "r");
  if (input_mesh_file == 13)
    read_point_list_mesh(mesh, file, settings);
  else if (input_mesh_file == 14)
    read_counted_mesh(mesh, file, settings);
  else
    read_pre_geom(mesh, file, want_lines, nodes_only, settings);
  free_ffile(file, "ffile");
}

void clear_mesh_counts(MESHED_MODEL &model) {
  model.no_nodes = model.min_node_id = model.max_node_id = 0;
  model.no_v_elements = model.no_input_s_elements = model.no_s_elements = model.no_edges = 0;
  model.no_lines = 0;
  model.no_node_pointers = model.no_edge_pointers = 0;
}

} // namespace

double mesh_unit_factor(int unit) {
  switch (unit) {
  case 1:
    return 0.001;
  case 2:
    return 1.0e-6;
  default:
    return 1.0;
  }
}

MESH_READ_SETTINGS mesh_read_settings() {
  const CONTROL_DATA &c = control_data();
  return {.unit_factor = mesh_unit_factor(c.UNIT),
          .node_order = c.NODE_ORDER,
          .edge_order = c.EDGE_ORDER,
          .quad_tri = c.mesh_connection};
}

void read_pre_geom(MESHED_MODEL &mesh, FFILE *file, int want_lines, int nodes_only,
                   const MESH_READ_SETTINGS &settings) {
  RAW_MESH raw;
  read_pre_geom_text(file->stream, raw, want_lines, nodes_only, settings.unit_factor);
  build_mesh_records(raw, mesh, nodes_only, settings, file->name);
}

void read_point_list_mesh(MESHED_MODEL &mesh, FFILE *file, const MESH_READ_SETTINGS &settings) {
  constexpr double millimetre = 1000.0;
  LINE_SOURCE source{file->stream};
  TOKEN_STREAM tokens{source};
  RAW_MESH raw;
  int no_points = 0, no_elements = 0;
  tokens.next_int(no_points);
  if (no_points == -1) tokens.next_int(no_points);
  tokens.next_int(no_elements);
  for (int k = 1; k <= no_points; ++k) {
    double xy[2] = {};
    tokens.next_real(xy[0]);
    tokens.next_real(xy[1]);
    add_raw_node(raw, k, xy[0] / millimetre, xy[1] / millimetre, 0.0);
    add_raw_node(raw, no_points + k, xy[0] / millimetre, xy[1] / millimetre, 1.0);
  }
  // An element: id, number of points n (3 or 4), mat_id, a word not used, the n points; it
  // becomes the prism or hexahedron between the two planes.
  for (int e = 0; e < no_elements; ++e) {
    int head[4] = {}, points[4] = {}, ids[8];
    for (int &v : head) tokens.next_int(v);
    const int n = head[1] >= 3 && head[1] <= 4 ? head[1] : 0;
    for (int i = 0; i < head[1]; ++i) tokens.next_int(points[i < 4 ? i : 3]);
    for (int i = 0; i < n; ++i) ids[i] = points[i], ids[n + i] = points[i] + no_points;
    if (n > 0) add_raw_element(raw, head[0], 300 + 2 * n, head[2], ids, 0);
  }
  build_mesh_records(raw, mesh, 0, settings, file->name);
}

void read_counted_mesh(MESHED_MODEL &mesh, FFILE *file, const MESH_READ_SETTINGS &settings) {
  LINE_SOURCE source{file->stream};
  TOKEN_STREAM tokens{source};
  RAW_MESH raw;
  int no_nodes = 0;
  tokens.next_int(no_nodes);
  const double f = settings.unit_factor;
  for (int k = 0; k < no_nodes; ++k) {
    int id = 0, unused = 0;
    double xyz[3] = {};
    tokens.next_int(id);
    tokens.next_int(unused);
    for (double &v : xyz) tokens.next_real(v);
    add_raw_node(raw, id, xyz[0] * f, xyz[1] * f, xyz[2] * f);
  }
  int counts[3] = {};
  for (int &v : counts) tokens.next_int(v);
  int ids[99];
  for (int e = 0; e < counts[0]; ++e) {
    int head[4] = {};
    for (int &v : head) tokens.next_int(v);
    const int n = head[1] > 0 && head[1] < 100 ? head[1] : 0;
    for (int i = 0; i < n; ++i) tokens.next_int(ids[i]);
    add_raw_element(raw, head[0], 300 + n, head[2], ids, 0);
  }
  build_mesh_records(raw, mesh, 0, settings, file->name);
}

void read_mesh(MESHED_MODEL &model) {
  const CONTROL_DATA &c = control_data();
  // Lines of the mesh file serve the sliding and the nonconformal faces.
  const int want_lines = c.sliding_motion || c.mesh_connection == 2 ? 1 : 0;
  // GEOMETRY 4 is the layered model built from a 2-D mesh.
  if (c.GEOMETRY == 4) stop_at_unbuilt(UNBUILT::input_data, "2-D layer");
  if (c.meshless) {
    clear_mesh_counts(model);
  } else {
    if (c.INPUT_MESH_FILE == 0) stop_at_unbuilt(UNBUILT::input_data, "block mesh");
    const char *name = "pre_geom";
    if (find_mesh_converter(c.INPUT_MESH_FILE)) convert_mesh(name, c.INPUT_MESH_FILE);
    read_mesh_file(model, name, c.INPUT_MESH_FILE, want_lines, 0, mesh_read_settings());
  }
  if (c.sliding_motion && c.NO_MESH > 1) stop_at_unbuilt(UNBUILT::input_data, "rotor mesh");
  if (c.deformation) stop_at_unbuilt(UNBUILT::input_data, "deformed mesh");
}

} // namespace tesmora
