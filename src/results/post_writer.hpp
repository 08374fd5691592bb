// The post-file writer table: every result routine and the geometry writer talk to the
// post-processor through the twenty slots of a format's POST_WRITER, so no routine knows the file
// format. The formats are the rows of one table (results/post_formats/format_table.cpp), found by
// POST_DATA_FILE; a format is added by one row and its functions.
#pragma once

#include <cstdio>
#include <span>

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
  post_regularization_potential_nodes = 15,
  post_regularization_field_elements = 16,
  post_E_elements = 17,
  post_E_nodes = 18,
};

// The values of one data set that formats 4, 5 and 6 write only at its end: set_counts allocates
// the arrays, the value rows fill them, flush_stored writes and frees them.
struct POST_STORED_SET {
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

// One post file as its writers see it: the open file, the WIDE setting it is written with, and
// what a format keeps between its calls on that file. All the outputs of a single-file format share
// one record. Passed by reference; not copied while a data set is stored.
struct POST_STREAM {
  std::FILE *file = nullptr; // written by the slots; not owned (null only for the silent format)
  int wide = 0;              // WIDE: 0 narrow, 1 wide numbers, 2 also 12-digit integers
  // ABAQUS: TYPE and property of the "*ELEMENT" block being written (null type: none yet).
  const char *element_block_type = nullptr;
  int element_block_property = 0;
  long line_number = 0;     // ABAQUS "$" layout: the last line number written
  POST_STORED_SET stored{}; // formats 4, 5 and 6
};

struct POST_WRITER {
  void (*file_start)(POST_STREAM &out);
  void (*file_end)(POST_STREAM &out);
  void (*block_end)(POST_STREAM &out);
  void (*step_block_end)(POST_STREAM &out);
  void (*nodes_start)(POST_STREAM &out);
  void (*node_row)(POST_STREAM &out, int number, double x, double y, double z);
  void (*elements_start)(POST_STREAM &out);
  // `nodes` are the element's node numbers (ids of the mesh) in catalogue order; `property` the
  // material id.
  void (*volume_element_row)(POST_STREAM &out, int number, const V_ELEMENT &element, const int *nodes,
                             int property);
  void (*surface_element_row)(POST_STREAM &out, int number, const S_ELEMENT &element, const int *nodes,
                              int property);
  void (*line_element_row)(POST_STREAM &out, int number, int node1, int node2, int property);
  void (*step_start)(POST_STREAM &out, int step, int code, double time);
  void (*element_block_start)(POST_STREAM &out, int step, int code, double time, const char *label,
                              int count);
  void (*node_block_start)(POST_STREAM &out, int step, int code, double time, const char *label, int count);
  void (*displacement_block_start)(POST_STREAM &out, int step, int code, double time, const char *label,
                                   int count);
  void (*node_value_row)(POST_STREAM &out, int number, int count, const double *values);
  // `type` is the element's number of nodes (plus 300 for electric fields, 200 for surface
  // currents), which the .ksw sheet writes as its type code.
  void (*element_value_row)(POST_STREAM &out, int number, int count, const double *values, int type);
  void (*displacement_row)(POST_STREAM &out, int number, int count, const double *values);
  void (*end_of_block)(POST_STREAM &out);
  // Writes what the format stored during the data set (formats 4, 5 and 6), then frees it.
  void (*flush_stored)(POST_STREAM &out, int step, const char *name, int code, double time);
  // Allocates what the format stores for one data set.
  void (*set_counts)(POST_STREAM &out, int no_elements, int per_element, int no_nodes, int per_node);
};

// One post format: the POST_DATA_FILE values it answers, its files and its writers.
struct POST_FORMAT {
  const char *name;               // for messages and tests: "universal file", ...
  std::span<const int> codes;     // the POST_DATA_FILE values of the format
  const char *geometry_extension; // appended to "post_geom": ".unv", ...; "" for none
  const char *single_file;        // the one file of every output ("post.cad"); null: a file per output
  bool geometry_head;             // whether the geometry file begins with the writer's file_start
  int geometry_code;              // POST_DATA_FILE of the format whose writers make the geometry file
  POST_WRITER writer;
};

// The rows of the table, the silent format first.
std::span<const POST_FORMAT> post_formats();

// The format of a POST_DATA_FILE value (1 to 8, 11 and 15); for 0 and unknown values the silent
// format, whose every slot does nothing. This is the binding of a job's post output: the stages
// that write post files look up the format of the control data's POST_DATA_FILE here.
const POST_FORMAT &find_post_format(int post_data_file);

// The mesh of the chain in the writer's format: nodes, then the volume and surface elements of
// the selected materials (all when `selected_only` is false).
void write_geometry(const MESHED_MODEL &first_part, const POST_WRITER &writer, POST_STREAM &out,
                    bool selected_only);

// Writes the geometry of the selected materials to "post_geom" plus the format's extension, with
// the writers the format names for its geometry and the WIDE setting of the control data. Called
// by the pre-processing stage; writes nothing unless "MESH" output and a post format are selected.
void write_geometry_file(const MESHED_MODEL &first_part, const POST_FORMAT &format);

// The label of a data-set code in the .ksw sheet ("B -N-" for 4 and so on); "" for an unknown code.
const char *ksw_label(int code);

} // namespace tesmora
