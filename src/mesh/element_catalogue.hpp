// The built-in element catalogue: 14 volume and 8 surface types, their tables and operations.
//
// Every mesh entity points at one record of these two fixed tables. A record holds what is the
// same for every element of the kind (counts, reference coordinates, local numbering) and the
// operations that evaluate its shape and edge functions, so element code never tests names.
// All local numbers stored in the tables are 1-based; the spans themselves are indexed from 0
// (row i describes local number i + 1).
#pragma once

#include "mesh/gauss.hpp"

#include <array>
#include <span>

namespace tesmora {

inline constexpr int no_v_element_types = 14;
inline constexpr int no_s_element_types = 8;
inline constexpr int max_element_nodes = 27; // HEXA_N27E54
inline constexpr int max_element_edges = 54; // HEXA_N27E54
inline constexpr int max_element_faces = 6;
inline constexpr int max_face_nodes = 9;  // QUAD_N9E12
inline constexpr int max_face_edges = 12; // QUAD_N9E12

using POINT_2D = std::array<double, 2>;
using POINT_3D = std::array<double, 3>;
using EDGE_ENDS = std::array<int, 2>;                    // start and end local node, 1-based
using FACE_NODE_ROW = std::array<short, max_face_nodes>; // 1-based nodes of one face, 0-padded
using FACE_EDGE_ROW = std::array<short, max_face_edges>; // signed 1-based edges, 0-padded

// Operations of a volume type. (xi, eta, zeta) is the reference point; g holds the real-space
// gradients of xi, eta, zeta as rows. Outputs have one row per local node or edge.
using SHAPE_FUNCTION_3D = void (*)(double xi, double eta, double zeta, double *out);
using SHAPE_DERIVATIVES_3D = void (*)(double xi, double eta, double zeta, double (*out)[3]);
using EDGE_FUNCTION_3D = void (*)(double xi, double eta, double zeta, const double (*g)[3], double (*out)[3]);
using EDGE_COEFFICIENTS = double (*)(int from, int to, double *out);
using FACE_POINT = void (*)(int face, double u, double v, double *out);

// Operations of a surface type, in the two reference directions (a, b).
using SHAPE_FUNCTION_2D = void (*)(double a, double b, double *out);
using SHAPE_DERIVATIVES_2D = void (*)(double a, double b, double (*out)[2]);
using EDGE_FUNCTION_2D = void (*)(double a, double b, double (*out)[2]);
using EDGE_CURL_2D = void (*)(double a, double b, double *out);
using ROTATE_POINT = void (*)(int rotation, double a, double b, double *out);

// One surface element type. Codes that a format lacks hold -1.
struct S_ELEMENT_TYPE {
  int id;           // position in the surface table, from 0
  int no_nodes;     // nodes of the element
  int no_edges;     // edge unknowns of the element
  GAUSS_SLOT gauss; // slot of gauus_pointer with the integration points
  const char *name;
  POINT_2D center;                            // reference coordinates of the centre
  std::span<const POINT_2D> node_coordinates; // no_nodes rows
  SHAPE_FUNCTION_2D shape_function;
  SHAPE_DERIVATIVES_2D shape_derivatives;       // out[i][d]: derivative of N_i along direction d
  EDGE_FUNCTION_2D edge_function;               // reference components of each edge function
  EDGE_CURL_2D edge_curl;                       // curl about the normal per unit reference area
  ROTATE_POINT rotate_point;                    // reference point under rotation r (0-based)
  std::span<const EDGE_ENDS> edge_nodes;        // no_edges rows
  std::span<const FACE_NODE_ROW> rotated_nodes; // row r: where each local node goes in rotation r+1
  std::span<const FACE_EDGE_ROW> rotated_edges; // the same for the edges
  std::span<const int> input_node_order;        // native-file position i -> local node
  short no_corners;
  int universal_code;
  int conc_code; // 100 x dimension + nodes of the native-file form
  int neutral_code;
  std::span<const int> node_order_1; // further node orders of foreign formats
  std::span<const int> node_order_2;
  int linear_type;                  // id of the first-order type of the family
  int quadratic_type;               // id of the type with mid nodes added, -1 if none
  std::span<const short> mid_nodes; // the mid node of each corner edge
};

// One volume element type. Codes that a format lacks hold -1.
struct V_ELEMENT_TYPE {
  int id;       // position in the volume table, from 0; the saved model stores it
  int no_nodes; // nodes of the element
  int no_edges; // edge unknowns of the element
  int no_faces;
  GAUSS_SLOT gauss; // slot of gauus_pointer: swapping the active set changes all types at once
  const char *short_name;
  const char *name;
  POINT_3D center;
  std::span<const POINT_3D> node_coordinates; // no_nodes rows
  SHAPE_FUNCTION_3D shape_function;
  SHAPE_FUNCTION_3D coordinate_function;         // geometry interpolation; kept as a slot of its own
  SHAPE_DERIVATIVES_3D shape_derivatives;        // out[i][d]: derivative of N_i along direction d
  EDGE_FUNCTION_3D edge_function;                // real-space vector of each edge function
  EDGE_FUNCTION_3D edge_curl;                    // real-space curl of each edge function
  EDGE_COEFFICIENTS edge_coefficients;           // returns -1.0; 0.0 where the family has none
  std::span<const EDGE_ENDS> edge_nodes;         // no_edges rows; the order is the edge numbering
  std::span<const int> s_element_types;          // no_faces surface type ids
  std::span<const FACE_NODE_ROW> face_nodes_in;  // no_faces rows; normal points inwards
  std::span<const FACE_NODE_ROW> face_nodes_out; // the same faces, normal outwards
  std::span<const FACE_EDGE_ROW> face_edges_in;  // in the surface type's edge order; negative
  std::span<const FACE_EDGE_ROW> face_edges_out; // where an edge runs against it
  std::span<const int> input_node_order;         // no_nodes_in_file: native-file position -> node
  FACE_POINT face_point;                         // face f, face point (u, v) -> reference point
  int universal_code;
  int neutral_code;
  int conc_code;                     // 100 x dimension + nodes of the native-file form
  std::span<const int> node_order_1; // further node orders of foreign mesh and post formats;
  std::span<const int> node_order_2; // node_order_2 may hold 0 for a slot a format keeps empty
  std::span<const int> node_order_3;
  int edge_order; // 1 or 2
  int no_nodes_in_file;
  int linear_type;                       // id of the first-order type of the family
  int quadratic_type;                    // id of the type with mid nodes added, -1 if none
  std::span<const short> mid_node_table; // 12 edge mid nodes, then 8 nodes per face; or empty
  int no_mid_nodes;                      // 12 where mid_node_table is filled, else 0
};

// The two tables, in id order.
std::span<const V_ELEMENT_TYPE> v_element_types();
std::span<const S_ELEMENT_TYPE> s_element_types();

// Linear searches; null when nothing matches.
const V_ELEMENT_TYPE *find_v_element_type(int id);
const S_ELEMENT_TYPE *find_s_element_type(int id);
// First match wins: 7 gives PRISM_N6E9, 11 PRISM_N15E9, 12 HEXA_N20E12.
const V_ELEMENT_TYPE *find_v_element_type_by_neutral_code(int code);

// The surface type of face `face` (0-based) of a volume type.
const S_ELEMENT_TYPE &face_type(const V_ELEMENT_TYPE &type, int face);

// Which type stands for a native-file code (100 x dimension + nodes). `collapsed` marks a
// pyramid written as a prism of 6 or 15 nodes. For NODE_ORDER other than 2 the default entries
// stay (the reader replaces each element by its linear type); NODE_ORDER 2 with EDGE_ORDER 1
// gives the E12/E9/E6/E8 types; with EDGE_ORDER 2 code 320 is HEXA_N20E36 and code 310 is
// TETRA_N10E18 when QUAD_TRI is not 0, else TETRA_N10E24. Null for an unknown code.
const V_ELEMENT_TYPE *select_v_element_type(int conc_code, bool collapsed, int node_order, int edge_order,
                                            int quad_tri);
const S_ELEMENT_TYPE *select_s_element_type(int conc_code);

// Run-once set-up of the process-wide code tables from the control values; the volume build
// calls the surface build. Later calls do nothing.
void build_s_element_types();
void build_v_element_types(int node_order, int edge_order, int quad_tri);
// The type in force for a file code after the build; null for an unknown code or before it.
const V_ELEMENT_TYPE *v_element_type_for_code(int conc_code, bool collapsed);
const S_ELEMENT_TYPE *s_element_type_for_code(int conc_code);

// Element counts per type for the job summary: zeroed, then one added per element whose type
// id is listed in type_ids[0..n-1]. The counts are valid right after a count.
void count_v_element_types(int n, const int *type_ids);
void count_s_element_types(int n, const int *type_ids);
int v_element_type_count(int id);
int s_element_type_count(int id);

// Nodes of face `face` of an element whose nodes are element_nodes[0..no_nodes-1], copied from
// position `start` cyclically among the corners (the mid nodes follow their corners); outward 1
// takes face_nodes_out, else face_nodes_in. Returns the face's surface type.
const S_ELEMENT_TYPE &face_nodes(const V_ELEMENT_TYPE &type, const int *element_nodes, int face, int start,
                                 int outward, int *out);
// The same for the corners alone (no_corners entries).
const S_ELEMENT_TYPE &face_corner_nodes(const V_ELEMENT_TYPE &type, const int *element_nodes, int face,
                                        int start, int outward, int *out);
// The element's edge references of a face (element_edges[0..no_edges-1]); returns their number,
// 0 when the element has no edges yet (element_edges null).
int face_edges(const V_ELEMENT_TYPE &type, const int *element_edges, int face, int outward, int *out);
// As face_edges; signs[k] = sign of the table entry times edge_directions[edge] (+1 or -1).
int face_edges_signed(const V_ELEMENT_TYPE &type, const int *element_edges, const int *edge_directions,
                      int face, int outward, int *out, int *signs);

} // namespace tesmora
