// The post-file writer table: every result routine and the geometry writer talk to the
// post-processor through these twenty slots, so no routine knows the file format. A format is
// added by filling a table; a slot that a format doesn't need does nothing.
#pragma once

#include <cstdio>

namespace tesmora {

struct MESHED_MODEL;
struct V_ELEMENT;
struct S_ELEMENT;

// Codes of the data sets (the quantity a block of values holds).
enum POST_CODE {
  post_J_elements = 1,
  post_J_nodes = 2,
  post_B_elements = 3,
  post_B_nodes = 4,
  post_M_elements = 5,
  post_JxB_elements = 6,
  post_JxB_nodes = 7,
  post_nodal_force_elements = 8,
  post_nodal_force_nodes = 9,
  post_displacement_nodes = 10,
  post_surface_J_elements = 11,
  post_surface_J_nodes = 12,
  post_heat_elements = 13,
  post_heat_surface_elements = 14,
  post_E_elements = 17,
  post_E_nodes = 18,
};

struct POST_WRITER {
  void (*file_start)(std::FILE *stream);
  void (*file_end)(std::FILE *stream);
  void (*block_end)(std::FILE *stream);
  void (*step_block_end)(std::FILE *stream);
  void (*nodes_start)(std::FILE *stream);
  void (*node_row)(std::FILE *stream, int number, double x, double y, double z);
  void (*elements_start)(std::FILE *stream);
  // `nodes` are the element's node numbers (ids of the mesh) in catalogue order; `property` the
  // material id.
  void (*volume_element_row)(std::FILE *stream, int number, const V_ELEMENT &element, const int *nodes,
                             int property);
  void (*surface_element_row)(std::FILE *stream, int number, const S_ELEMENT &element, const int *nodes,
                              int property);
  void (*line_element_row)(std::FILE *stream, int number, int node1, int node2, int property);
  void (*step_start)(std::FILE *stream, int step, int code, double time);
  void (*element_block_start)(std::FILE *stream, int step, int code, double time, const char *label,
                              int count);
  void (*node_block_start)(std::FILE *stream, int step, int code, double time, const char *label, int count);
  void (*displacement_block_start)(std::FILE *stream, int step, int code, double time, const char *label,
                                   int count);
  void (*node_value_row)(std::FILE *stream, int number, int count, const double *values);
  // `type` is the element's number of nodes (plus 300 for electric fields, 200 for surface
  // currents), which the .ksw sheet writes as its type code.
  void (*element_value_row)(std::FILE *stream, int number, int count, const double *values, int type);
  void (*displacement_row)(std::FILE *stream, int number, int count, const double *values);
  void (*end_of_block)(std::FILE *stream);
  // Writes what the format stored during the data set (formats 4, 5 and 6), then frees it.
  void (*flush_stored)(std::FILE *stream, int step, const char *name, int code, double time);
  // Allocates what the format stores for one data set.
  void (*set_counts)(int no_elements, int per_element, int no_nodes, int per_node);
};

// The table of POST_DATA_FILE (1 to 8, 11 and 15) with the WIDE setting of the control data; for
// 0 and unknown values every slot does nothing.
POST_WRITER bind_post_writer(int post_data_file, int wide);

// The table bound for this job (by the control data stage).
const POST_WRITER &post_writer();
void set_post_writer(const POST_WRITER &writer);

// The mesh of the chain in the writer's format: nodes, then the volume and surface elements of
// the selected materials (all when `selected_only` is false).
void write_geometry(const MESHED_MODEL &first_part, const POST_WRITER &writer, std::FILE *stream,
                    bool selected_only);

} // namespace tesmora
