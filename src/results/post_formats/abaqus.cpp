// ABAQUS input files (format 7): the "*NODE" list, "*ELEMENT" lists by type and property, and
// results in the "$" layout, whose every line ends in a running line number.
//
// Element types and node orders follow the native code of the element's catalogue type; a type
// ABAQUS gets no form for here is written as its first-order type.
#include "results/post_formats/abaqus.hpp"

#include "mesh/model.hpp"
#include "results/post_formats/post_formats.hpp"

namespace tesmora {
namespace {

struct ABAQUS_ELEMENT {
  int code;
  const char *type;
  std::span<const int> order; // ABAQUS position -> local node (1-based); empty: native file order
};

// Corners, the mid nodes of the lower face, of the upper face, then the vertical ones.
constexpr int hexa20_abaqus[20] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 10, 13, 12, 15, 11, 14, 17, 18, 19, 20};
constexpr int prism15_abaqus[15] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
constexpr int tetra10_abaqus[10] = {1, 2, 3, 4, 5, 8, 6, 7, 10, 9};
constexpr int quad8_abaqus[8] = {1, 2, 3, 4, 5, 8, 6, 7};
constexpr int triangle6_abaqus[6] = {1, 2, 3, 4, 5, 6};

constexpr ABAQUS_ELEMENT abaqus_elements[] = {
    {304, "C3D4", {}},
    {305, "C3D5", {}},
    {306, "C3D6", {}},
    {308, "C3D8", {}},
    {310, "C3D10", tetra10_abaqus},
    {315, "C3D15", prism15_abaqus},
    {320, "C3D20", hexa20_abaqus},
    {203, "S3", {}},
    {204, "S4", {}},
    {208, "S8R", quad8_abaqus},
    {206, "STRI65", triangle6_abaqus},
};

constexpr int nodes_per_line = 15;     // the rest of an element's nodes go on the next line
constexpr int values_per_line = 3;     // of a result row
constexpr int line_number_column = 72; // the running number stands in columns 73 to 80

const ABAQUS_ELEMENT *find_element(int code, int no_nodes) {
  for (const ABAQUS_ELEMENT &e : abaqus_elements)
    if (e.code == code && static_cast<int>(e.order.size()) <= no_nodes) return &e;
  return nullptr;
}

long next_line_number(POST_STREAM &out) { return ++out.line_number; }

// A new "*ELEMENT" list begins wherever the type or the property changes.
void write_element(POST_STREAM &out, int number, const char *type, int property, const int *nodes,
                   int no_nodes) {
  if (out.element_block_type != type || out.element_block_property != property) {
    std::fprintf(out.file, "*ELEMENT, TYPE=%s, ELSET=P%d\n", type, property);
    out.element_block_type = type;
    out.element_block_property = property;
  }
  std::fprintf(out.file, "%8d", number);
  for (int i = 0; i < no_nodes; ++i)
    std::fprintf(out.file, i > 0 && i % nodes_per_line == 0 ? ",\n%8d" : ",%8d", nodes[i]);
  std::fprintf(out.file, "\n");
}

void write_result_head(POST_STREAM &out, const char *label) {
  std::fprintf(out.file, "$TITLE = MAGNETIC ANALYSIS BY TESMORAPRO%32s%8ld\n", " ", next_line_number(out));
  std::fprintf(out.file, "$SUBTITLE = %-60s%8ld\n", label, next_line_number(out));
  std::fprintf(out.file, "$LABEL%66s%8ld\n", " ", next_line_number(out));
  std::fprintf(out.file, "$REAL OUTPUT%60s%8ld\n", " ", next_line_number(out));
  std::fprintf(out.file, "$SUBCASE ID = 1%57s%8ld\n", " ", next_line_number(out));
}

} // namespace

namespace abaqus {

void start_file(POST_STREAM &out) { out.line_number = 0; }

void write_node_list(POST_STREAM &out) { std::fprintf(out.file, "*NODE, NSET=GLOBAL\n"); }

void write_node(POST_STREAM &out, int number, double x, double y, double z) {
  std::fprintf(out.file, out.wide != 0 ? "%8d,%16.8e,%16.8e,%16.8e\n" : "%8d,%13.5e,%13.5e,%13.5e\n", number,
               x, y, z);
}

void start_elements(POST_STREAM &out) {
  out.element_block_type = nullptr;
  out.element_block_property = 0;
}

void write_volume(POST_STREAM &out, int number, const V_ELEMENT &element, const int *nodes, int property) {
  const V_ELEMENT_TYPE *type = element.type;
  const ABAQUS_ELEMENT *form = find_element(native_code(*type), type->no_nodes);
  if (!form) {
    type = find_v_element_type(type->linear_type);
    form = find_element(native_code(*type), type->no_nodes);
  }
  if (!form) return;
  int ordered[max_element_nodes];
  const int n = order_nodes(form->order.empty() ? type->input_node_order : form->order, nodes, ordered);
  write_element(out, number, form->type, property, ordered, n);
}

void write_surface(POST_STREAM &out, int number, const S_ELEMENT &element, const int *nodes, int property) {
  const S_ELEMENT_TYPE *type = element.type;
  const ABAQUS_ELEMENT *form = find_element(native_code(*type), type->no_nodes);
  if (!form) {
    type = find_s_element_type(type->linear_type);
    form = find_element(native_code(*type), type->no_nodes);
  }
  if (!form) return;
  int ordered[max_face_nodes];
  const int n = order_nodes(form->order.empty() ? type->input_node_order : form->order, nodes, ordered);
  write_element(out, number, form->type, property, ordered, n);
}

void write_line(POST_STREAM &out, int number, int node1, int node2, int property) {
  const int nodes[2] = {node1, node2};
  write_element(out, number, "B31", property, nodes, 2);
}

void write_element_head(POST_STREAM &out, int, int code, double, const char *label, int) {
  write_result_head(out, label);
  std::fprintf(out.file, "$ELEMENT TYPE = %d%55s%8ld\n", code, " ", next_line_number(out));
}

void write_node_head(POST_STREAM &out, int, int, double, const char *label, int) {
  write_result_head(out, label);
}

void write_step(POST_STREAM &out, int, int, double time) {
  std::fprintf(out.file, "$TIME STEP = %13.5e%46s%8ld\n", time, " ", next_line_number(out));
}

// The number, then the values three to a line; each line padded to the running number's column.
void write_values(POST_STREAM &out, int number, int count, const double *values) {
  int j = 0;
  do {
    int used = 24;
    if (j == 0)
      std::fprintf(out.file, "%12d%12s", number, "");
    else
      std::fprintf(out.file, "-CONT-                  ");
    for (int k = 0; k < values_per_line && j < count; ++k, ++j, used += 16)
      std::fprintf(out.file, "%16.5e", values[j]);
    std::fprintf(out.file, "%*s%8ld\n", line_number_column - used, "", next_line_number(out));
  } while (j < count);
}

void write_element_values(POST_STREAM &out, int number, int count, const double *values, int) {
  write_values(out, number, count, values);
}

} // namespace abaqus
} // namespace tesmora
