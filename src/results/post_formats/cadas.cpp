// CADAS files (format 6): one stream for geometry and results; a head line, node and element
// rows, and each data set written at its end from the stored values under its name, step and time.
#include "results/post_formats/cadas.hpp"

#include "mesh/model.hpp"
#include "results/post_formats/post_formats.hpp"

namespace tesmora {
namespace {

constexpr int cadas_nodes_per_line = 8;

// Number, property and node count, then the nodes in the native file order, eight to a line.
void write_element(POST_STREAM &out, int number, int property, const int *nodes, int no_nodes) {
  std::fprintf(out.file, "%8d%8d%8d\n", number, property, no_nodes);
  for (int i = 0; i < no_nodes; ++i) {
    const bool ends_line = i % cadas_nodes_per_line == cadas_nodes_per_line - 1 || i == no_nodes - 1;
    std::fprintf(out.file, ends_line ? "%8d\n" : "%8d", nodes[i]);
  }
}

void write_rows(POST_STREAM &out, int rows, const int *numbers, const double *data, int per_row) {
  for (int r = 0; r < rows; ++r) {
    std::fprintf(out.file, "%8d", numbers[r]);
    for (int j = 0; j < per_row; ++j)
      std::fprintf(out.file, "%13.5e",
                   data[static_cast<std::size_t>(r) * static_cast<std::size_t>(per_row) +
                        static_cast<std::size_t>(j)]);
    std::fprintf(out.file, "\n");
  }
}

} // namespace

namespace cadas {

void write_head(POST_STREAM &out) { std::fprintf(out.file, "TSM3D-MJ OUTPUT%65s\n", " "); }

void write_node(POST_STREAM &out, int number, double x, double y, double z) {
  std::fprintf(out.file, out.wide != 0 ? "%8d%24.15e%24.15e%24.15e\n" : "%8d%13.5e%13.5e%13.5e\n", number, x,
               y, z);
}

void write_volume(POST_STREAM &out, int number, const V_ELEMENT &element, const int *nodes, int property) {
  int ordered[max_element_nodes];
  write_element(out, number, property, ordered, order_nodes(element.type->input_node_order, nodes, ordered));
}

void write_surface(POST_STREAM &out, int number, const S_ELEMENT &element, const int *nodes, int property) {
  int ordered[max_face_nodes];
  write_element(out, number, property, ordered, order_nodes(element.type->input_node_order, nodes, ordered));
}

void write_line(POST_STREAM &out, int number, int node1, int node2, int property) {
  const int nodes[2] = {node1, node2};
  write_element(out, number, property, nodes, 2);
}

void write_stored(POST_STREAM &out, int step, const char *name, int, double time) {
  const POST_STORED_SET &s = out.stored;
  std::fprintf(out.file, "%s  %8d%13.5e\n", name, step, time);
  write_rows(out, s.no_stored_elements, s.stored_element_no, s.stored_element_data, s.per_element);
  write_rows(out, s.no_stored_nodes, s.stored_node_no, s.stored_node_dat, s.per_node);
  free_stored(out);
}

} // namespace cadas
} // namespace tesmora
