// What the post-file formats share: the silent table they start from, the tables of each format
// family, the element node orders, and the stored data set of the formats that write at its end.
#pragma once

#include "mesh/element_catalogue.hpp"
#include "results/post_writer.hpp"

#include <span>

namespace tesmora {

// Slots that write nothing: every slot of format 0 and the slots a format doesn't need.
void write_nothing(std::FILE *stream);
void write_no_node_row(std::FILE *stream, int number, double x, double y, double z);
void write_no_volume_element(std::FILE *stream, int number, const V_ELEMENT &element, const int *nodes,
                             int property);
void write_no_surface_element(std::FILE *stream, int number, const S_ELEMENT &element, const int *nodes,
                              int property);
void write_no_line_element(std::FILE *stream, int number, int node1, int node2, int property);
void write_no_step_start(std::FILE *stream, int step, int code, double time);
void write_no_block_start(std::FILE *stream, int step, int code, double time, const char *label, int count);
void write_no_values(std::FILE *stream, int number, int count, const double *values);
void write_no_element_values(std::FILE *stream, int number, int count, const double *values, int type);
void write_no_stored(std::FILE *stream, int step, const char *name, int code, double time);
void store_nothing(int no_elements, int per_element, int no_nodes, int per_node);

// The table whose every slot writes nothing.
constexpr POST_WRITER silent_post_writer() {
  return POST_WRITER{.file_start = write_nothing,
                     .file_end = write_nothing,
                     .block_end = write_nothing,
                     .step_block_end = write_nothing,
                     .nodes_start = write_nothing,
                     .node_row = write_no_node_row,
                     .elements_start = write_nothing,
                     .volume_element_row = write_no_volume_element,
                     .surface_element_row = write_no_surface_element,
                     .line_element_row = write_no_line_element,
                     .step_start = write_no_step_start,
                     .element_block_start = write_no_block_start,
                     .node_block_start = write_no_block_start,
                     .displacement_block_start = write_no_block_start,
                     .node_value_row = write_no_values,
                     .element_value_row = write_no_element_values,
                     .displacement_row = write_no_values,
                     .end_of_block = write_nothing,
                     .flush_stored = write_no_stored,
                     .set_counts = store_nothing};
}

// No slot may be null: a slot a format doesn't need points to one that does nothing. The test of the
// tables walks every format through this.
constexpr bool all_slots_filled(const POST_WRITER &w) {
  return w.file_start && w.file_end && w.block_end && w.step_block_end && w.nodes_start && w.node_row &&
         w.elements_start && w.volume_element_row && w.surface_element_row && w.line_element_row &&
         w.step_start && w.element_block_start && w.node_block_start && w.displacement_block_start &&
         w.node_value_row && w.element_value_row && w.displacement_row && w.end_of_block && w.flush_stored &&
         w.set_counts;
}

// The tables of the format families; the WIDE variants read the bound state.
POST_WRITER unv_post_writer();
POST_WRITER neutral_post_writer();
POST_WRITER nastran_post_writer();
POST_WRITER hyperview_post_writer(); // NASTRAN geometry, HyperView results
POST_WRITER ksw_post_writer();
POST_WRITER femap_post_writer();
POST_WRITER cadas_post_writer();
POST_WRITER abaqus_post_writer();

// Node identities of an element in a foreign order: out[i] = nodes[order[i] - 1], and 0 where the
// order holds 0 (a slot the format keeps empty). Returns order.size().
int order_nodes(std::span<const int> order, const int *nodes, int *out);

// The native code of a type (100 x dimension + nodes of the file form); the catalogue's code
// where it has one.
int native_code(const V_ELEMENT_TYPE &type);
int native_code(const S_ELEMENT_TYPE &type);

// The stored data set of formats 4, 5 and 6 (in post_format_state()): set_counts allocates it,
// the value rows fill it, flush_stored writes it and then frees it.
void allocate_stored(int no_elements, int per_element, int no_nodes, int per_node);
void store_element_values(std::FILE *stream, int number, int count, const double *values, int type);
void store_node_values(std::FILE *stream, int number, int count, const double *values);
void free_stored();

} // namespace tesmora
