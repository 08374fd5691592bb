// What the post-file formats share: the slots that write nothing, the check that no slot is null,
// the element node orders, and the stored data set of the formats that write at its end.
#pragma once

#include "mesh/element_catalogue.hpp"
#include "results/post_writer.hpp"

#include <span>

namespace tesmora {

// Slots that write nothing: every slot of the silent format and the slots a format doesn't need.
void write_nothing(POST_STREAM &out);
void write_no_node_row(POST_STREAM &out, int number, double x, double y, double z);
void write_no_volume_element(POST_STREAM &out, int number, const V_ELEMENT &element, const int *nodes,
                             int property);
void write_no_surface_element(POST_STREAM &out, int number, const S_ELEMENT &element, const int *nodes,
                              int property);
void write_no_line_element(POST_STREAM &out, int number, int node1, int node2, int property);
void write_no_step_start(POST_STREAM &out, int step, int code, double time);
void write_no_block_start(POST_STREAM &out, int step, int code, double time, const char *label, int count);
void write_no_values(POST_STREAM &out, int number, int count, const double *values);
void write_no_element_values(POST_STREAM &out, int number, int count, const double *values, int type);
void write_no_stored(POST_STREAM &out, int step, const char *name, int code, double time);
void store_nothing(POST_STREAM &out, int no_elements, int per_element, int no_nodes, int per_node);

// No slot may be null: a slot a format doesn't need points to one that does nothing. The table
// checks every row through this at compile time, and its test again.
constexpr bool all_slots_filled(const POST_WRITER &w) {
  return w.file_start && w.file_end && w.block_end && w.step_block_end && w.nodes_start && w.node_row &&
         w.elements_start && w.volume_element_row && w.surface_element_row && w.line_element_row &&
         w.step_start && w.element_block_start && w.node_block_start && w.displacement_block_start &&
         w.node_value_row && w.element_value_row && w.displacement_row && w.end_of_block && w.flush_stored &&
         w.set_counts;
}

// Node identities of an element in a foreign order: out[i] = nodes[order[i] - 1], and 0 where the
// order holds 0 (a slot the format keeps empty). Returns order.size().
int order_nodes(std::span<const int> order, const int *nodes, int *out);

// The native code of a type (100 x dimension + nodes of the file form); the catalogue's code
// where it has one.
int native_code(const V_ELEMENT_TYPE &type);
int native_code(const S_ELEMENT_TYPE &type);

// The stored data set of formats 4, 5 and 6 (out.stored): set_counts allocates it, the value rows
// fill it, flush_stored writes it and then frees it.
void allocate_stored(POST_STREAM &out, int no_elements, int per_element, int no_nodes, int per_node);
void store_element_values(POST_STREAM &out, int number, int count, const double *values, int type);
void store_node_values(POST_STREAM &out, int number, int count, const double *values);
void free_stored(POST_STREAM &out);

} // namespace tesmora
