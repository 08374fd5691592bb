// FEMAP neutral files (POST_DATA_FILE 5): the functions of the format's row in the table. Its
// value rows go to the stored data set of post_formats.hpp.
#pragma once

#include "results/post_writer.hpp"

namespace tesmora::femap {

void write_end(POST_STREAM &out); // block_end
void write_header(POST_STREAM &out);
void write_node_block(POST_STREAM &out);
void write_node(POST_STREAM &out, int number, double x, double y, double z);
void write_element_block(POST_STREAM &out);
void write_volume(POST_STREAM &out, int number, const V_ELEMENT &element, const int *nodes, int property);
void write_surface(POST_STREAM &out, int number, const S_ELEMENT &element, const int *nodes, int property);
void write_step(POST_STREAM &out, int step, int code, double time);
void write_stored(POST_STREAM &out, int step, const char *name, int code, double time);

} // namespace tesmora::femap
