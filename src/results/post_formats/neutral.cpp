// The in-house neutral text (formats 2 and 15): blocks opened by a word in columns 1 to 8 and the
// format of their fields in edit-descriptor notation, closed by a -1 line. Its GRID and CONC
// blocks are the native mesh text, so the geometry reads back as a pre_geom file.
//
// Nodes of an element go in the native file order (the type's input_node_order) behind the native
// code, eight integers to a line as the "(8I8)" head says.
#include "mesh/model.hpp"
#include "results/post_formats/post_formats.hpp"

namespace tesmora {
namespace {

// The heads of one WIDE setting.
struct NEUTRAL_HEADS {
  const char *grid;
  const char *conc;
  const char *step;
  const char *result; // EVAL, with the code
  const char *stress; // STRE, with the code
  const char *displacement;
};

constexpr NEUTRAL_HEADS neutral_heads[3] = {
    {"GRID    (I8,3E14.5)\n", "CONC    (8I8)\n", "STEP    (2I5,E12.0)\n", "EVAL%4d(I8,6E14.0)\n",
     "STRE%4d(I8,6E14.0)\n", "DISP    (I8,3E14.0)\n"},
    {"GRID    (I8,3E17.8)\n", "CONC    (8I8)\n", "STEP    (2I5,E18.0)\n", "EVAL%4d(I8,6E17.0)\n",
     "STRE%4d(I8,6E17.0)\n", "DISP    (I8,3E17.0)\n"},
    {"GRID    (I12,3E17.8)\n", "CONC    (8I12)\n", "STEP    (2I5,E18.0)\n", "EVAL%4d(I12,6E17.0)\n",
     "STRE%4d(I12,6E17.0)\n", "DISP    (I12,3E14.0)\n"},
};

constexpr int integers_per_line = 8;

int wide() { return post_format_state().wide; }
const NEUTRAL_HEADS &heads() { return neutral_heads[wide() >= 0 && wide() <= 2 ? wide() : 0]; }
const char *integer_format() { return wide() == 2 ? "%12d" : "%8d"; }

void write_terminator(std::FILE *stream) {
  std::fprintf(stream, integer_format(), -1);
  std::fprintf(stream, "\n");
}

void write_grid_head(std::FILE *stream) { std::fprintf(stream, "%s", heads().grid); }

void write_node(std::FILE *stream, int number, double x, double y, double z) {
  const char *format = wide() == 0   ? "%8d %13.5e %13.5e %13.5e\n"
                       : wide() == 1 ? "%8d %16.8e %16.8e %16.8e\n"
                                     : "%12d %16.8e %16.8e %16.8e\n";
  std::fprintf(stream, format, number, x, y, z);
}

void write_conc_head(std::FILE *stream) { std::fprintf(stream, "%s", heads().conc); }

// Number, native code and property, then the nodes: eight integers to a line in all.
void write_element(std::FILE *stream, int number, int code, int property, const int *nodes, int no_nodes) {
  const char *format = integer_format();
  std::fprintf(stream, wide() == 2 ? "%12d%12d%12d" : "%8d%8d%8d", number, code, property);
  for (int i = 0; i < no_nodes; ++i) {
    std::fprintf(stream, format, nodes[i]);
    if ((i + 4) % integers_per_line == 0 && i + 1 < no_nodes) std::fprintf(stream, "\n");
  }
  std::fprintf(stream, "\n");
}

void write_volume(std::FILE *stream, int number, const V_ELEMENT &element, const int *nodes, int property) {
  int ordered[max_element_nodes];
  const int n = order_nodes(element.type->input_node_order, nodes, ordered);
  write_element(stream, number, native_code(*element.type), property, ordered, n);
}

void write_surface(std::FILE *stream, int number, const S_ELEMENT &element, const int *nodes, int property) {
  int ordered[max_face_nodes];
  const int n = order_nodes(element.type->input_node_order, nodes, ordered);
  write_element(stream, number, native_code(*element.type), property, ordered, n);
}

void write_line(std::FILE *stream, int number, int node1, int node2, int property) {
  const int nodes[2] = {node1, node2};
  write_element(stream, number, 102, property, nodes, 2);
}

void write_step(std::FILE *stream, int step, int, double time) {
  std::fprintf(stream, "%s", heads().step);
  std::fprintf(stream, wide() == 0 ? "%5d%5d%12.3e\n" : "%5d%5d%18.9e\n", step, 1, time);
}

void write_stress_head(std::FILE *stream, int, int code, double, const char *, int) {
  std::fprintf(stream, heads().stress, code);
}

void write_result_head(std::FILE *stream, int, int code, double, const char *, int) {
  std::fprintf(stream, heads().result, code);
}

void write_displacement_head(std::FILE *stream, int, int, double, const char *, int) {
  std::fprintf(stream, "%s", heads().displacement);
}

void write_values(std::FILE *stream, int number, int count, const double *values) {
  std::fprintf(stream, integer_format(), number);
  for (int j = 0; j < count; ++j) std::fprintf(stream, wide() == 0 ? "%14.5e" : "%17.8e", values[j]);
  std::fprintf(stream, "\n");
}

void write_element_values(std::FILE *stream, int number, int count, const double *values, int) {
  write_values(stream, number, count, values);
}

} // namespace

POST_WRITER neutral_post_writer() {
  POST_WRITER w = silent_post_writer();
  w.nodes_start = write_grid_head;
  w.node_row = write_node;
  w.block_end = write_terminator;
  w.elements_start = write_conc_head;
  w.volume_element_row = write_volume;
  w.surface_element_row = write_surface;
  w.line_element_row = write_line;
  w.step_start = write_step;
  w.element_block_start = write_stress_head;
  w.node_block_start = write_result_head;
  w.displacement_block_start = write_displacement_head;
  w.node_value_row = write_values;
  w.element_value_row = write_element_values;
  w.displacement_row = write_values;
  w.end_of_block = write_terminator;
  return w;
}

} // namespace tesmora
