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

// What the bound format keeps between its calls: the settings it was bound with, the element
// block it is in (ABAQUS), the running line number (ABAQUS "$" layout), and the values of one
// data set that formats 4, 5 and 6 write only at its end. One record, reset by each binding.
struct POST_FORMAT_STATE {
  int post_data_file = 0; // the format bound
  int wide = 0;           // WIDE: 0 narrow, 1 wide numbers, 2 also 12-digit integers
  // ABAQUS: TYPE and property of the "*ELEMENT" block being written (null type: none yet).
  const char *element_block_type = nullptr;
  int element_block_property = 0;
  long line_number = 0; // ABAQUS "$" layout: the last line number written
  // The stored data set, allocated by set_counts and freed by flush_stored.
  int no_elements = 0, per_element = 0; // rows and values per row of the element arrays
  int no_nodes = 0, per_node = 0;       // the same for the node arrays
  int no_stored_elements = 0;           // rows stored so far
  int no_stored_nodes = 0;
  int *stored_element_no = nullptr;      // no_elements, 0-based; tag "stored_element_no"
  int *stored_element_type = nullptr;    // no_elements, 0-based; tag "stored_element_type"
  double *stored_element_data = nullptr; // no_elements x per_element; tag "stored_element_data"
  int *stored_node_no = nullptr;         // no_nodes, 0-based; tag "stored_node_no"
  double *stored_node_dat = nullptr;     // no_nodes x per_node; tag "stored_node_dat"
};

// The state of the bound format.
POST_FORMAT_STATE &post_format_state();

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

// The extension of the geometry file of a format: ".unv", ".nas" and so on; "" for the in-house
// neutral text and for unknown formats.
const char *post_geometry_extension(int post_data_file);

// Writes the geometry of the selected materials to "post_geom" plus the format's extension, with
// the table of POST_DATA_FILE and WIDE of the control data (HyperView jobs get NASTRAN). Called
// by the pre-processing stage when "MESH" output and a post format are selected.
void write_geometry_file(const MESHED_MODEL &first_part);

// The label of a data-set code in the .ksw sheet ("B -N-" for 4 and so on); "" for an unknown code.
const char *ksw_label(int code);

} // namespace tesmora
