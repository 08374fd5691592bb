// The raw mesh a reader collects before the model's arrays are made: nodes in file order and
// the kept elements as one stream of integers, and the step that turns them into records.
#pragma once

#include "job/tagged_array.hpp"
#include "mesh/mesh_reader.hpp"

#include <cstdint>

namespace tesmora {

struct RAW_NODE {
  int id = 0;
  int order = 0;                    // position in the file, from 0
  double x = 0.0, y = 0.0, z = 0.0; // m
};

// Nodes and elements as read. An element in `elements` is id, code, mat_id and then
// code % 100 node identities; only elements that are stored later are collected.
struct RAW_MESH {
  TaggedArray<RAW_NODE> nodes{0, "raw nodes"}; // no_nodes used, 0-based
  TaggedArray<int> elements{0, "raw elements"};
  int no_nodes = 0;
  std::int64_t no_element_ints = 0; // used length of `elements`
  int no_v_elements = 0, no_s_elements = 0, no_lines = 0;
};

// Appends a node (coordinates already in metres).
void add_raw_node(RAW_MESH &raw, int id, double x, double y, double z);
// Appends an element whose nodes are node_ids[0..code % 100 - 1], when its code is one that is
// stored: a volume or surface code, or 102 when want_lines is 1. Returns whether it was kept.
bool add_raw_element(RAW_MESH &raw, int id, int code, int mat_id, const int *node_ids, int want_lines);

// True for the codes that become volume elements.
bool is_volume_code(int code);
// True for the codes that become surface elements.
bool is_surface_code(int code);

// Turns the raw mesh into the arrays of `mesh` (after the checks of mat_id, doubled and
// unknown nodes) and writes the read report naming `file_name`. Frees the raw data.
void build_mesh_records(RAW_MESH &raw, MESHED_MODEL &mesh, int nodes_only, const MESH_READ_SETTINGS &settings,
                        const char *file_name);

} // namespace tesmora
