// Universal files (formats 1 and 11): nodes in data set 2411, elements in 2412, element results
// in 56 and node results in 55, each data set between lines of "    -1".
//
// Descriptors and node orders come from the element's catalogue type (universal_code and
// node_order_1), the same fields the universal mesh reader uses. A type with no universal form
// is written as its first-order type, by its corners.
#include "results/post_formats/unv.hpp"

#include "mesh/model.hpp"
#include "results/post_formats/post_formats.hpp"

namespace tesmora::unv {
namespace {

constexpr int unv_colour = 7;
constexpr int unv_values_per_row = 6; // rows are padded with 0.0 to six values
constexpr int unv_beam_descriptor = 21;

// The element record and its nodes by "%10d", eight to a line.
void write_element_record(POST_STREAM &out, int number, int descriptor, int property, const int *nodes,
                          int no_nodes) {
  std::fprintf(out.file, "%10d%10d%10d%10d%10d%10d\n", number, descriptor, property, property, unv_colour,
               no_nodes);
  for (int i = 0; i < no_nodes; ++i)
    std::fprintf(out.file, (i % 8 == 7 || i == no_nodes - 1) ? "%10d\n" : "%10d", nodes[i]);
}

// The head of a result data set: its number, the label, the layout line, the step and the time.
void write_result_head(POST_STREAM &out, const char *data_set, const char *kind, int step, double time,
                       const char *label) {
  std::fprintf(out.file, "    -1\n%s\n", data_set);
  std::fprintf(out.file, "%s\n%s\n\n\n\n", label, kind);
  std::fprintf(out.file, "         1         4         3         8         2  %8d\n", unv_values_per_row);
  std::fprintf(out.file, "         2         1  %8d  %8d\n", step, step);
  std::fprintf(out.file, "%13.5e\n", time);
}

} // namespace

void write_delimiter(POST_STREAM &out) { std::fprintf(out.file, "    -1\n"); }

void write_node_set(POST_STREAM &out) { std::fprintf(out.file, "    -1\n  2411\n"); }

void write_node(POST_STREAM &out, int number, double x, double y, double z) {
  std::fprintf(out.file, "%10d         0         0        15\n%25.12e%25.12e%25.12e\n", number, x, y, z);
}

void write_element_set(POST_STREAM &out) { std::fprintf(out.file, "    -1\n  2412\n"); }

void write_volume(POST_STREAM &out, int number, const V_ELEMENT &element, const int *nodes, int property) {
  const V_ELEMENT_TYPE *type = element.type;
  if (type->universal_code < 0) type = find_v_element_type(type->linear_type);
  int ordered[max_element_nodes];
  const int n = order_nodes(type->node_order_1, nodes, ordered);
  write_element_record(out, number, type->universal_code, property, ordered, n);
}

void write_surface(POST_STREAM &out, int number, const S_ELEMENT &element, const int *nodes, int property) {
  const S_ELEMENT_TYPE *type = element.type;
  if (type->universal_code < 0) type = find_s_element_type(type->linear_type);
  int ordered[max_face_nodes];
  const int n = order_nodes(type->node_order_1, nodes, ordered);
  write_element_record(out, number, type->universal_code, property, ordered, n);
}

void write_line(POST_STREAM &out, int number, int node1, int node2, int property) {
  std::fprintf(out.file, "%10d%10d%10d%10d%10d%10d\n         0\n", number, unv_beam_descriptor, property,
               property, unv_colour, 2);
  std::fprintf(out.file, "%10d%10d\n", node1, node2);
}

void write_element_head(POST_STREAM &out, int step, int, double time, const char *label, int) {
  write_result_head(out, "    56", "Element Data ", step, time, label);
}

void write_node_head(POST_STREAM &out, int step, int, double time, const char *label, int) {
  write_result_head(out, "    55", "Node Data", step, time, label);
}

void write_values(POST_STREAM &out, int number, int count, const double *values) {
  std::fprintf(out.file, "%10d%10d\n", number, unv_values_per_row);
  for (int j = 0; j < unv_values_per_row; ++j) std::fprintf(out.file, "%13.5e", j < count ? values[j] : 0.0);
  std::fprintf(out.file, "\n");
}

void write_element_values(POST_STREAM &out, int number, int count, const double *values, int) {
  write_values(out, number, count, values);
}

} // namespace tesmora::unv
