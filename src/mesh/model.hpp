// The model records: nodes, edges, volume and surface elements, potential terms, and the
// meshed model that holds them. The mesh readers fill nodes and elements; model building makes
// the edges, surfaces, flags and the map from nodes and edges to unknowns.
//
// An unknown is a position in the solution vector. A node or edge doesn't own one: it owns a
// short list of (coefficient, position, name) terms. A free edge has one term of coefficient
// +1; a fixed edge none; a periodic edge shares its master's position with a sign.
#pragma once

#include "job/containers.hpp"
#include "mesh/element_catalogue.hpp"

#include <cstdint>

namespace tesmora {

struct MAT_PROPERTY;

// Names of potential terms.
enum POTENTIAL_NAME {
  A_EDGE = 0,
  A_EDGE_SOURCE = 1,
  PHI_NODE = 2,
  OMEGA_NODE = 4,
  UPWIND = 5,
  DOWNWIND = 6,
  FREE_TERM = 9,
  NONCONFORMAL_TERM = 11,
  A_EDGE_GIVEN = 12,
  PHI_NODE_SUFCUR = 13,
};

struct POTENTIAL_TERM {
  double coefficient = 0.0;
  int position = 0; // the unknown, from 1
  int name = 0;     // POTENTIAL_NAME
};

struct POTENTIAL_TERMS {
  int no_terms = 0;
  int capacity = 0;
  POTENTIAL_TERM *terms = nullptr; // no_terms entries, 0-based
};

// Periodic images of a node or an edge: at most one per symmetry.
struct RELATED_LIST {
  int count = 0;
  struct ENTRY {
    int partner = 0;           // index of the partner node (0-based) or edge (0-based)
    std::uint8_t symmetry = 0; // the symmetry number, 0 to 2
    std::uint8_t forward = 1;  // 1 forward, 0 backward
  } entries[3];
};

struct NODE {
  double x = 0.0, y = 0.0, z = 0.0; // m
  int id = 0;                       // identity from the mesh file
  POTENTIAL_TERMS *potentials = nullptr;
  RELATED_LIST *related = nullptr;
  unsigned on_total : 1 = 0;
  unsigned on_cnd : 1 = 0;
  unsigned on_Bn0 : 1 = 0;
  unsigned on_Ht0 : 1 = 0;
  unsigned on_bnd : 1 = 0;
  unsigned on_int : 2 = 0;    // interface region 1 to 3
  unsigned mesh_part : 3 = 0; // the mesh number
  int on_slide = 0;           // sliding surface number, 0 none
  int on_nonconformal = 0;    // nonconformal surface number, 0 none
};

struct EDGE {
  int id = 0;            // running number from 1
  NODE *start = nullptr; // the edge runs from start to end
  NODE *end = nullptr;
  POTENTIAL_TERMS *potentials = nullptr;
  EDGE *next = nullptr; // the next edge in creation order
  RELATED_LIST *related = nullptr;
  unsigned on_cnd : 1 = 0;
  unsigned on_Bn0 : 1 = 0;
  unsigned on_bnd : 1 = 0;
  unsigned on_int : 2 = 0;
  unsigned on_total : 1 = 0;
  unsigned tree : 1 = 0;
  unsigned slide_interior : 1 = 0;
  unsigned on_gap : 1 = 0;
  int on_slide = 0;
  int on_nonconformal = 0;
};

struct V_ELEMENT {
  int id = 0;
  const V_ELEMENT_TYPE *type = nullptr;
  NODE **nodes = nullptr;           // type->no_nodes, in catalogue order
  EDGE **edges = nullptr;           // type->no_edges, or null in a potential-only region
  std::uint64_t edge_direction = 0; // bit i: local edge i runs as the global edge
  int mat_id = 0;                   // material id of the mesh file
  const MAT_PROPERTY *material = nullptr;
  double center[3] = {}; // m
  double volume = 0.0;   // m^3
  unsigned conductor : 1 = 0;
  unsigned rgn : 2 = 0; // 0 vector potential region; 1 to 3 potential-only region
  unsigned thin : 1 = 0;
  unsigned mesh_part : 3 = 0;
  unsigned potential_bits : 2 = 0; // POTENTIAL of the material
};

// Kinds of surface element.
enum S_ELEMENT_KIND {
  s_mesh_boundary = 0,
  s_outer_boundary = 1,
  s_impedance = 2,
  s_thin_4 = 4,
  s_thin_5 = 5
};

struct S_ELEMENT {
  int id = 0;
  int kind = 0;                     // S_ELEMENT_KIND
  int boundary_id = 0;              // mat_id of the file, or the region of an interface
  const V_ELEMENT *owner = nullptr; // the volume element of an interface face
  const S_ELEMENT_TYPE *type = nullptr;
  NODE **nodes = nullptr;
  EDGE **edges = nullptr;
  std::uint32_t edge_direction = 0;
  S_ELEMENT *next = nullptr;
};

// A line of two nodes of the mesh file, for sliding and nonconformal faces.
struct MESH_LINE {
  int mat_id = 0;
  int element_id = 0;
  int start = 0; // node indices, 0-based
  int end = 0;
};

// One mesh part (stator, rotors), chained by `next`.
struct MESHED_MODEL {
  MESHED_MODEL *next = nullptr;
  int mesh_no = 0;
  int no_nodes = 0, min_node_id = 0, max_node_id = 0;
  int no_edges = 0;
  int no_v_elements = 0;
  int no_input_s_elements = 0;
  int no_s_elements = 0;
  NODE *nodes = nullptr;                 // no_nodes, sorted by id; tag "nodes"
  EDGE *edges = nullptr;                 // no_edges, by id - 1; tag "edges"
  V_ELEMENT *v_elements = nullptr;       // no_v_elements, file order; tag "v_elements"
  S_ELEMENT *input_s_elements = nullptr; // no_input_s_elements; tag "total_input_s_elements"
  S_ELEMENT *s_elements = nullptr;       // list of the faces between regions
  NODE **node_pointers = nullptr;        // the node arrays of all elements; tag "node_pointers"
  EDGE **edge_pointers = nullptr;        // the edge arrays of all elements; tag "edge_pointers"
  std::int64_t no_node_pointers = 0, no_edge_pointers = 0;
  int no_lines = 0;
  MESH_LINE *lines = nullptr; // tag "mesh lines"
};

// The first mesh part, head of the chain.
MESHED_MODEL &global_model();

// Frees the arrays of a part (nodes, edges, elements and their pointer arrays, surface
// elements, lines) and clears its counts.
void free_model_arrays(MESHED_MODEL &part);

// Index of the node with the smallest identity not below `id` among nodes[first..last], or -1
// when `id` lies above them.
int find_node(const NODE *nodes, int first, int last, int id);

} // namespace tesmora
