// Universal files (formats 1 and 11): nodes in data set 2411, elements in 2412, element results
// in 56 and node results in 55, each data set between lines of "    -1".
//
// Descriptors and node orders come from the element's catalogue type (universal_code and
// node_order_1), the same fields the universal mesh reader uses. A type with no universal form
// is written as its first-order type, by its corners.
#include "mesh/model.hpp"
#include "results/post_formats/post_formats.hpp"

namespace tesmora {
namespace {

constexpr int unv_colour = 7;
constexpr int unv_values_per_row = 6; // rows are padded with 0.0 to six values
constexpr int unv_beam_descriptor = 21;

void write_delimiter(std::FILE *stream) { std::fprintf(stream, "    -1\n"); }

void write_node_set(std::FILE *stream) { std::fprintf(stream, "    -1\n  2411\n"); }

void write_node(std::FILE *stream, int number, double x, double y, double z) {
  std::fprintf(stream, "%10d         0         0        15\n%25.12e%25.12e%25.12e\n", number, x, y, z);
}

void write_element_set(std::FILE *stream) { std::fprintf(stream, "    -1\n  2412\n"); }

// The element record and its nodes by "%10d", eight to a line.
void write_element_record(std::FILE *stream, int number, int descriptor, int property, const int *nodes,
                          int no_nodes) {
  std::fprintf(stream, "%10d%10d%10d%10d%10d%10d\n", number, descriptor, property, property, unv_colour,
               no_nodes);
  for (int i = 0; i < no_nodes; ++i)
    std::fprintf(stream, (i % 8 == 7 || i == no_nodes - 1) ? "%10d\n" : "%10d", nodes[i]);
}

void write_volume(std::FILE *stream, int number, const V_ELEMENT &element, const int *nodes, int property) {
  const V_ELEMENT_TYPE *type = element.type;
  if (type->universal_code < 0) type = find_v_element_type(type->linear_type);
  int ordered[max_element_nodes];
  const int n = order_nodes(type->node_order_1, nodes, ordered);
  write_element_record(stream, number, type->universal_code, property, ordered, n);
}

void write_surface(std::FILE *stream, int number, const S_ELEMENT &element, const int *nodes, int property) {
  const S_ELEMENT_TYPE *type = element.type;
  if (type->universal_code < 0) type = find_s_element_type(type->linear_type);
  int ordered[max_face_nodes];
  const int n = order_nodes(type->node_order_1, nodes, ordered);
  write_element_record(stream, number, type->universal_code, property, ordered, n);
}

void write_line(std::FILE *stream, int number, int node1, int node2, int property) {
  std::fprintf(stream, "%10d%10d%10d%10d%10d%10d\n         0\n", number, unv_beam_descriptor, property,
               property, unv_colour, 2);
  std::fprintf(stream, "%10d%10d\n", node1, node2);
}

// The head of a result data set: its number, the label, the layout line, the step and the time.
void write_result_head(std::FILE *stream, const char *data_set, const char *kind, int step, double time,
                       const char *label) {
  std::fprintf(stream, "    -1\n%s\n", data_set);
  std::fprintf(stream, "%s\n%s\n\n\n\n", label, kind);
  std::fprintf(stream, "         1         4         3         8         2  %8d\n", unv_values_per_row);
  std::fprintf(stream, "         2         1  %8d  %8d\n", step, step);
  std::fprintf(stream, "%13.5e\n", time);
}

void write_element_head(std::FILE *stream, int step, int, double time, const char *label, int) {
  write_result_head(stream, "    56", "Element Data ", step, time, label);
}

void write_node_head(std::FILE *stream, int step, int, double time, const char *label, int) {
  write_result_head(stream, "    55", "Node Data", step, time, label);
}

void write_values(std::FILE *stream, int number, int count, const double *values) {
  std::fprintf(stream, "%10d%10d\n", number, unv_values_per_row);
  for (int j = 0; j < unv_values_per_row; ++j) std::fprintf(stream, "%13.5e", j < count ? values[j] : 0.0);
  std::fprintf(stream, "\n");
}

void write_element_values(std::FILE *stream, int number, int count, const double *values, int) {
  write_values(stream, number, count, values);
}

} // namespace

POST_WRITER unv_post_writer() {
  POST_WRITER w = silent_post_writer();
  w.nodes_start = write_node_set;
  w.node_row = write_node;
  w.block_end = write_delimiter;
  w.elements_start = write_element_set;
  w.volume_element_row = write_volume;
  w.surface_element_row = write_surface;
  w.line_element_row = write_line;
  w.element_block_start = write_element_head;
  w.node_block_start = write_node_head;
  w.displacement_block_start = write_node_head;
  w.node_value_row = write_values;
  w.element_value_row = write_element_values;
  w.displacement_row = write_values;
  w.end_of_block = write_delimiter;
  return w;
}

} // namespace tesmora
