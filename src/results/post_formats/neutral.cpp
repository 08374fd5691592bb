// The in-house neutral text (formats 2 and 15): blocks opened by a word in columns 1 to 8 and the
// format of their fields in edit-descriptor notation, closed by a -1 line. Its GRID and CONC
// blocks are the native mesh text, so the geometry reads back as a pre_geom file.
//
// Nodes of an element go in the native file order (the type's input_node_order) behind the native
// code, eight integers to a line as the "(8I8)" head says.
#include "results/post_formats/neutral.hpp"

#include "mesh/model.hpp"
#include "results/post_formats/post_formats.hpp"

namespace tesmora::neutral {
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

const NEUTRAL_HEADS &heads(const POST_STREAM &out) {
  return neutral_heads[out.wide >= 0 && out.wide <= 2 ? out.wide : 0];
}
const char *integer_format(const POST_STREAM &out) { return out.wide == 2 ? "%12d" : "%8d"; }

// Number, native code and property, then the nodes: eight integers to a line in all.
void write_element(POST_STREAM &out, int number, int code, int property, const int *nodes, int no_nodes) {
  const char *format = integer_format(out);
  std::fprintf(out.file, out.wide == 2 ? "%12d%12d%12d" : "%8d%8d%8d", number, code, property);
  for (int i = 0; i < no_nodes; ++i) {
    std::fprintf(out.file, format, nodes[i]);
    if ((i + 4) % integers_per_line == 0 && i + 1 < no_nodes) std::fprintf(out.file, "\n");
  }
  std::fprintf(out.file, "\n");
}

} // namespace

void write_terminator(POST_STREAM &out) {
  std::fprintf(out.file, integer_format(out), -1);
  std::fprintf(out.file, "\n");
}

void write_grid_head(POST_STREAM &out) { std::fprintf(out.file, "%s", heads(out).grid); }

void write_node(POST_STREAM &out, int number, double x, double y, double z) {
  const char *format = out.wide == 0   ? "%8d %13.5e %13.5e %13.5e\n"
                       : out.wide == 1 ? "%8d %16.8e %16.8e %16.8e\n"
                                       : "%12d %16.8e %16.8e %16.8e\n";
  std::fprintf(out.file, format, number, x, y, z);
}

void write_conc_head(POST_STREAM &out) { std::fprintf(out.file, "%s", heads(out).conc); }

void write_volume(POST_STREAM &out, int number, const V_ELEMENT &element, const int *nodes, int property) {
  int ordered[max_element_nodes];
  const int n = order_nodes(element.type->input_node_order, nodes, ordered);
  write_element(out, number, native_code(*element.type), property, ordered, n);
}

void write_surface(POST_STREAM &out, int number, const S_ELEMENT &element, const int *nodes, int property) {
  int ordered[max_face_nodes];
  const int n = order_nodes(element.type->input_node_order, nodes, ordered);
  write_element(out, number, native_code(*element.type), property, ordered, n);
}

void write_line(POST_STREAM &out, int number, int node1, int node2, int property) {
  const int nodes[2] = {node1, node2};
  write_element(out, number, 102, property, nodes, 2);
}

void write_step(POST_STREAM &out, int step, int, double time) {
  std::fprintf(out.file, "%s", heads(out).step);
  std::fprintf(out.file, out.wide == 0 ? "%5d%5d%12.3e\n" : "%5d%5d%18.9e\n", step, 1, time);
}

void write_stress_head(POST_STREAM &out, int, int code, double, const char *, int) {
  std::fprintf(out.file, heads(out).stress, code);
}

void write_result_head(POST_STREAM &out, int, int code, double, const char *, int) {
  std::fprintf(out.file, heads(out).result, code);
}

void write_displacement_head(POST_STREAM &out, int, int, double, const char *, int) {
  std::fprintf(out.file, "%s", heads(out).displacement);
}

void write_values(POST_STREAM &out, int number, int count, const double *values) {
  std::fprintf(out.file, integer_format(out), number);
  for (int j = 0; j < count; ++j) std::fprintf(out.file, out.wide == 0 ? "%14.5e" : "%17.8e", values[j]);
  std::fprintf(out.file, "\n");
}

void write_element_values(POST_STREAM &out, int number, int count, const double *values, int) {
  write_values(out, number, count, values);
}

} // namespace tesmora::neutral
