// CADAS files (format 6): one stream for geometry and results; a head line, node and element
// rows, and each data set written at its end from the stored values under its name, step and time.
#include "mesh/model.hpp"
#include "results/post_formats/post_formats.hpp"

namespace tesmora {
namespace {

constexpr int cadas_nodes_per_line = 8;

void write_head(std::FILE *stream) { std::fprintf(stream, "TSM3D-MJ OUTPUT%65s\n", " "); }

void write_node(std::FILE *stream, int number, double x, double y, double z) {
  std::fprintf(stream,
               post_format_state().wide != 0 ? "%8d%24.15e%24.15e%24.15e\n" : "%8d%13.5e%13.5e%13.5e\n",
               number, x, y, z);
}

// Number, property and node count, then the nodes in the native file order, eight to a line.
void write_element(std::FILE *stream, int number, int property, const int *nodes, int no_nodes) {
  std::fprintf(stream, "%8d%8d%8d\n", number, property, no_nodes);
  for (int i = 0; i < no_nodes; ++i)
    std::fprintf(
        stream, (i % cadas_nodes_per_line == cadas_nodes_per_line - 1 || i == no_nodes - 1) ? "%8d\n" : "%8d",
        nodes[i]);
}

void write_volume(std::FILE *stream, int number, const V_ELEMENT &element, const int *nodes, int property) {
  int ordered[max_element_nodes];
  write_element(stream, number, property, ordered,
                order_nodes(element.type->input_node_order, nodes, ordered));
}

void write_surface(std::FILE *stream, int number, const S_ELEMENT &element, const int *nodes, int property) {
  int ordered[max_face_nodes];
  write_element(stream, number, property, ordered,
                order_nodes(element.type->input_node_order, nodes, ordered));
}

void write_line(std::FILE *stream, int number, int node1, int node2, int property) {
  const int nodes[2] = {node1, node2};
  write_element(stream, number, property, nodes, 2);
}

void write_rows(std::FILE *stream, int rows, const int *numbers, const double *data, int per_row) {
  for (int r = 0; r < rows; ++r) {
    std::fprintf(stream, "%8d", numbers[r]);
    for (int j = 0; j < per_row; ++j)
      std::fprintf(stream, "%13.5e",
                   data[static_cast<std::size_t>(r) * static_cast<std::size_t>(per_row) +
                        static_cast<std::size_t>(j)]);
    std::fprintf(stream, "\n");
  }
}

void write_stored(std::FILE *stream, int step, const char *name, int, double time) {
  const POST_FORMAT_STATE &s = post_format_state();
  std::fprintf(stream, "%s  %8d%13.5e\n", name, step, time);
  write_rows(stream, s.no_stored_elements, s.stored_element_no, s.stored_element_data, s.per_element);
  write_rows(stream, s.no_stored_nodes, s.stored_node_no, s.stored_node_dat, s.per_node);
  free_stored();
}

} // namespace

POST_WRITER cadas_post_writer() {
  POST_WRITER w = silent_post_writer();
  w.file_start = write_head;
  w.node_row = write_node;
  w.volume_element_row = write_volume;
  w.surface_element_row = write_surface;
  w.line_element_row = write_line;
  w.node_value_row = store_node_values;
  w.element_value_row = store_element_values;
  w.displacement_row = store_node_values;
  w.flush_stored = write_stored;
  w.set_counts = allocate_stored;
  return w;
}

} // namespace tesmora
