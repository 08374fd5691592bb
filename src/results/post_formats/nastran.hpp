// NASTRAN bulk data (POST_DATA_FILE 3) and HyperView ASCII results on NASTRAN geometry
// (POST_DATA_FILE 8): the functions of the two formats' rows in the table.
#pragma once

#include "results/post_writer.hpp"

namespace tesmora {

namespace nastran {
void write_begin_bulk(POST_STREAM &out);
void write_enddata(POST_STREAM &out);
void write_grid(POST_STREAM &out, int number, double x, double y, double z);
void write_volume(POST_STREAM &out, int number, const V_ELEMENT &element, const int *nodes, int property);
void write_surface(POST_STREAM &out, int number, const S_ELEMENT &element, const int *nodes, int property);
void write_bar(POST_STREAM &out, int number, int node1, int node2, int property);
} // namespace nastran

// The result slots; HyperView's geometry slots are NASTRAN's.
namespace hyperview {
void write_altair_head(POST_STREAM &out);
void write_time(POST_STREAM &out, int step, int code, double time);
void write_element_binding(POST_STREAM &out, int step, int code, double time, const char *label, int count);
void write_node_binding(POST_STREAM &out, int step, int code, double time, const char *label, int count);
void write_values(POST_STREAM &out, int number, int count, const double *values);
void write_element_values(POST_STREAM &out, int number, int count, const double *values, int type);
} // namespace hyperview

} // namespace tesmora
