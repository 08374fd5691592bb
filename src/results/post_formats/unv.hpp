// Universal files (POST_DATA_FILE 1 and 11): the functions of the format's row in the table.
#pragma once

#include "results/post_writer.hpp"

namespace tesmora::unv {

void write_delimiter(POST_STREAM &out); // block_end and end_of_block
void write_node_set(POST_STREAM &out);
void write_node(POST_STREAM &out, int number, double x, double y, double z);
void write_element_set(POST_STREAM &out);
void write_volume(POST_STREAM &out, int number, const V_ELEMENT &element, const int *nodes, int property);
void write_surface(POST_STREAM &out, int number, const S_ELEMENT &element, const int *nodes, int property);
void write_line(POST_STREAM &out, int number, int node1, int node2, int property);
void write_element_head(POST_STREAM &out, int step, int code, double time, const char *label, int count);
void write_node_head(POST_STREAM &out, int step, int code, double time, const char *label, int count);
void write_values(POST_STREAM &out, int number, int count, const double *values);
void write_element_values(POST_STREAM &out, int number, int count, const double *values, int type);

} // namespace tesmora::unv
