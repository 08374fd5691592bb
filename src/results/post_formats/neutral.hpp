// The in-house neutral text (POST_DATA_FILE 2 and 15): the functions of the format's row in the
// table.
#pragma once

#include "results/post_writer.hpp"

namespace tesmora::neutral {

void write_terminator(POST_STREAM &out); // block_end and end_of_block
void write_grid_head(POST_STREAM &out);
void write_node(POST_STREAM &out, int number, double x, double y, double z);
void write_conc_head(POST_STREAM &out);
void write_volume(POST_STREAM &out, int number, const V_ELEMENT &element, const int *nodes, int property);
void write_surface(POST_STREAM &out, int number, const S_ELEMENT &element, const int *nodes, int property);
void write_line(POST_STREAM &out, int number, int node1, int node2, int property);
void write_step(POST_STREAM &out, int step, int code, double time);
void write_stress_head(POST_STREAM &out, int step, int code, double time, const char *label, int count);
void write_result_head(POST_STREAM &out, int step, int code, double time, const char *label, int count);
void write_displacement_head(POST_STREAM &out, int step, int code, double time, const char *label, int count);
void write_values(POST_STREAM &out, int number, int count, const double *values);
void write_element_values(POST_STREAM &out, int number, int count, const double *values, int type);

} // namespace tesmora::neutral
