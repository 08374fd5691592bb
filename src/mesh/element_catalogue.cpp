// The two element tables, their compile-time completeness check, the searches, the file-code
// rules that follow NODE_ORDER, EDGE_ORDER and QUAD_TRI, the counts and the face helpers.
#include "mesh/element_catalogue.hpp"

#include "mesh/elements/element_functions.hpp"
#include "mesh/elements/surface_tables.hpp"
#include "mesh/elements/volume_tables.hpp"

namespace tesmora {
namespace {

namespace ef = element_functions;
namespace et = element_tables;

constexpr std::span<const int> first(const int *order, int n) { return {order, static_cast<std::size_t>(n)}; }
constexpr std::span<const POINT_3D> first_nodes(const POINT_3D *nodes, int n) {
  return {nodes, static_cast<std::size_t>(n)};
}

constexpr S_ELEMENT_TYPE quad_type(int id, int nodes, int edges, const char *name,
                                   EDGE_FUNCTION_2D edge_function, EDGE_CURL_2D edge_curl,
                                   std::span<const EDGE_ENDS> edge_nodes,
                                   std::span<const FACE_NODE_ROW> rotated_nodes,
                                   std::span<const FACE_EDGE_ROW> rotated_edges) {
  const bool linear = nodes == 4;
  return {.id = id,
          .no_nodes = nodes,
          .no_edges = edges,
          .gauss = GAUSS_QUADRILATERAL,
          .name = name,
          .center = {0.0, 0.0},
          .node_coordinates = {et::quad9_nodes, static_cast<std::size_t>(nodes)},
          .shape_function = linear       ? ef::quad4_shape
                            : nodes == 8 ? ef::quad8_shape
                                         : ef::quad9_shape,
          .shape_derivatives = linear       ? ef::quad4_derivatives
                               : nodes == 8 ? ef::quad8_derivatives
                                            : ef::quad9_derivatives,
          .edge_function = edge_function,
          .edge_curl = edge_curl,
          .rotate_point = ef::rotate_quad_point,
          .edge_nodes = edge_nodes,
          .rotated_nodes = rotated_nodes,
          .rotated_edges = rotated_edges,
          .input_node_order = linear       ? first(et::identity_order, 4)
                              : nodes == 8 ? std::span<const int>(et::quad8_file_order)
                                           : std::span<const int>(et::quad9_file_order),
          .no_corners = 4,
          .universal_code = linear ? 94 : 95,
          .conc_code = linear ? 204 : 208,
          .neutral_code = linear ? 4 : 5,
          .node_order_1 = linear       ? first(et::identity_order, 4)
                          : nodes == 8 ? std::span<const int>(et::quad8_file_order)
                                       : std::span<const int>(et::quad9_file_order),
          .node_order_2 = first(et::identity_order, nodes),
          .linear_type = 0,
          .quadratic_type = linear ? 1 : -1,
          .mid_nodes = et::quad_mid_nodes};
}

constexpr S_ELEMENT_TYPE triangle_type(int id, int edges, const char *name, EDGE_FUNCTION_2D edge_function,
                                       EDGE_CURL_2D edge_curl, std::span<const EDGE_ENDS> edge_nodes,
                                       std::span<const FACE_NODE_ROW> rotated_nodes,
                                       std::span<const FACE_EDGE_ROW> rotated_edges) {
  const bool linear = id == 4;
  return {.id = id,
          .no_nodes = linear ? 3 : 6,
          .no_edges = edges,
          .gauss = GAUSS_TRIANGLE,
          .name = name,
          .center = {1.0 / 3.0, 1.0 / 3.0},
          .node_coordinates = {et::triangle6_nodes, linear ? 3u : 6u},
          .shape_function = linear ? ef::triangle3_shape : ef::triangle6_shape,
          .shape_derivatives = linear ? ef::triangle3_derivatives : ef::triangle6_derivatives,
          .edge_function = edge_function,
          .edge_curl = edge_curl,
          .rotate_point = ef::rotate_triangle_point,
          .edge_nodes = edge_nodes,
          .rotated_nodes = rotated_nodes,
          .rotated_edges = rotated_edges,
          .input_node_order =
              linear ? first(et::identity_order, 3) : std::span<const int>(et::triangle6_file_order),
          .no_corners = 3,
          .universal_code = linear ? 91 : -1,
          .conc_code = linear ? 203 : -1,
          .neutral_code = linear ? 2 : -1,
          .node_order_1 =
              linear ? first(et::identity_order, 3) : std::span<const int>(et::triangle6_file_order),
          .node_order_2 = first(et::identity_order, linear ? 3 : 6),
          .linear_type = 4,
          .quadratic_type = linear ? 5 : -1,
          .mid_nodes = et::triangle_mid_nodes};
}

constexpr S_ELEMENT_TYPE s_table[no_s_element_types] = {
    quad_type(0, 4, 4, "QUAD_N4E4", ef::quad_e4_edge_function, ef::quad_e4_edge_curl, et::quad_e4_edges,
              et::quad4_rotated_nodes, et::quad_e4_rotated_edges),
    quad_type(1, 8, 4, "QUAD_N8E4", ef::quad_e4_edge_function, ef::quad_e4_edge_curl, et::quad_e4_edges,
              et::quad8_rotated_nodes, et::quad_e4_rotated_edges),
    quad_type(2, 8, 10, "QUAD_N8E10", ef::quad_e10_edge_function, ef::quad_e10_edge_curl, et::quad_e10_edges,
              et::quad8_rotated_nodes, et::quad_e10_rotated_edges),
    quad_type(3, 9, 12, "QUAD_N9E12", ef::quad_e12_edge_function, ef::quad_e12_edge_curl, et::quad_e12_edges,
              et::quad9_rotated_nodes, et::quad_e12_rotated_edges),
    triangle_type(4, 3, "TRIANGLE_N3E3", ef::triangle_e3_edge_function, ef::triangle_e3_edge_curl,
                  et::triangle_e3_edges, et::triangle3_rotated_nodes, et::triangle_e3_rotated_edges),
    triangle_type(5, 3, "TRIANGLE_N6E3", ef::triangle_e3_edge_function, ef::triangle_e3_edge_curl,
                  et::triangle_e3_edges, et::triangle6_rotated_nodes, et::triangle_e3_rotated_edges),
    triangle_type(6, 6, "TRIANGLE_N6E6", ef::triangle_e6_edge_function, ef::triangle_e6_edge_curl,
                  et::triangle_e6_edges, et::triangle6_rotated_nodes, et::triangle_e6_rotated_edges),
    triangle_type(7, 9, "TRIANGLE_N6E9", ef::triangle_e9_edge_function, ef::triangle_e9_edge_curl,
                  et::triangle_e9_edges, et::triangle6e9_rotated_nodes, et::triangle_e9_rotated_edges),
};

// What all hexahedra share; the records below set what differs.
constexpr V_ELEMENT_TYPE hexa_type(int id, int nodes, int edges, const char *short_name, const char *name) {
  const bool n8 = nodes == 8;
  const bool n27 = nodes == 27;
  V_ELEMENT_TYPE t{};
  t.id = id, t.no_nodes = nodes, t.no_edges = edges, t.no_faces = 6, t.gauss = GAUSS_HEXAHEDRON;
  t.short_name = short_name, t.name = name, t.center = {0.0, 0.0, 0.0};
  t.node_coordinates = first_nodes(et::hexa27_nodes, nodes);
  t.shape_function = n8 ? ef::hexa8_shape : n27 ? ef::hexa27_shape : ef::hexa20_shape;
  t.coordinate_function = t.shape_function;
  t.shape_derivatives = n8 ? ef::hexa8_derivatives : n27 ? ef::hexa27_derivatives : ef::hexa20_derivatives;
  t.edge_function = edges == 12   ? ef::hexa_e12_edge_function
                    : edges == 36 ? ef::hexa_e36_edge_function
                                  : ef::hexa_e54_edge_function;
  t.edge_curl = edges == 12   ? ef::hexa_e12_edge_curl
                : edges == 36 ? ef::hexa_e36_edge_curl
                              : ef::hexa_e54_edge_curl;
  t.edge_coefficients = ef::hexa_edge_coefficients;
  t.edge_nodes = edges == 12   ? std::span<const EDGE_ENDS>(et::hexa_e12_edges)
                 : edges == 36 ? std::span<const EDGE_ENDS>(et::hexa_e36_edges)
                               : std::span<const EDGE_ENDS>(et::hexa_e54_edges);
  t.s_element_types = n8            ? et::hexa_faces_e4
                      : edges == 12 ? et::hexa_faces_n8e4
                      : edges == 36 ? et::hexa_faces_e10
                                    : et::hexa_faces_e12;
  t.face_nodes_in = n8 ? et::hexa8_faces_in : n27 ? et::hexa27_faces_in : et::hexa20_faces_in;
  t.face_nodes_out = n8 ? et::hexa8_faces_out : n27 ? et::hexa27_faces_out : et::hexa20_faces_out;
  t.face_edges_in = edges == 12   ? et::hexa_e12_faces_in
                    : edges == 36 ? et::hexa_e36_faces_in
                                  : et::hexa_e54_faces_in;
  t.face_edges_out = edges == 12   ? et::hexa_e12_faces_out
                     : edges == 36 ? et::hexa_e36_faces_out
                                   : et::hexa_e54_faces_out;
  t.input_node_order = n8    ? first(et::identity_order, 8)
                       : n27 ? std::span<const int>(et::hexa27_file_order)
                             : std::span<const int>(et::hexa20_file_order);
  t.face_point = ef::hexa_face_point;
  t.universal_code = n8 ? 115 : 116, t.neutral_code = n8 ? 8 : 12, t.conc_code = n8 ? 308 : 320;
  t.node_order_1 = n8    ? first(et::identity_order, 8)
                   : n27 ? std::span<const int>(et::hexa27_order_1)
                         : std::span<const int>(et::hexa20_order_1);
  t.node_order_2 = n8    ? first(et::identity_order, 8)
                   : n27 ? std::span<const int>(et::hexa27_order_2)
                         : std::span<const int>(et::hexa20_order_2);
  t.node_order_3 = n8    ? std::span<const int>(et::hexa8_order_3)
                   : n27 ? std::span<const int>(et::hexa27_order_3)
                         : std::span<const int>(et::hexa20_order_3);
  t.edge_order = edges == 12 ? 1 : 2;
  t.no_nodes_in_file = nodes;
  t.linear_type = 0, t.quadratic_type = n8 ? 1 : -1;
  t.mid_node_table = n8 ? std::span<const short>(et::hexa8_mid_node_table) : std::span<const short>();
  t.no_mid_nodes = n8 ? 12 : 0;
  return t;
}

constexpr V_ELEMENT_TYPE prism_type(int id, int nodes, const char *short_name, const char *name) {
  const bool n6 = nodes == 6;
  V_ELEMENT_TYPE t{};
  t.id = id, t.no_nodes = nodes, t.no_edges = 9, t.no_faces = 5, t.gauss = GAUSS_PRISM;
  t.short_name = short_name, t.name = name, t.center = {1.0 / 3.0, 1.0 / 3.0, 0.0};
  t.node_coordinates = first_nodes(et::prism15_nodes, nodes);
  t.shape_function = n6 ? ef::prism6_shape : ef::prism15_shape;
  t.coordinate_function = t.shape_function;
  t.shape_derivatives = n6 ? ef::prism6_derivatives : ef::prism15_derivatives;
  t.edge_function = ef::prism_e9_edge_function, t.edge_curl = ef::prism_e9_edge_curl;
  t.edge_coefficients = ef::prism_edge_coefficients;
  t.edge_nodes = et::prism_e9_edges;
  t.s_element_types = n6 ? et::prism6_faces : et::prism15_faces;
  t.face_nodes_in = n6 ? et::prism6_faces_in : et::prism15_faces_in;
  t.face_nodes_out = n6 ? et::prism6_faces_out : et::prism15_faces_out;
  t.face_edges_in = et::prism_e9_faces_in, t.face_edges_out = et::prism_e9_faces_out;
  t.input_node_order = n6 ? first(et::identity_order, 6) : std::span<const int>(et::prism15_file_order);
  t.face_point = ef::prism_face_point;
  t.universal_code = 112, t.neutral_code = n6 ? 7 : 11, t.conc_code = n6 ? 306 : 315;
  t.node_order_1 = n6 ? first(et::identity_order, 6) : std::span<const int>(et::prism15_order_1);
  t.node_order_2 = n6 ? std::span<const int>(et::prism6_order_2) : std::span<const int>(et::prism15_order_2);
  t.node_order_3 = n6 ? std::span<const int>(et::prism6_order_3) : std::span<const int>(et::prism15_order_3);
  t.edge_order = 1, t.no_nodes_in_file = nodes;
  t.linear_type = 4, t.quadratic_type = n6 ? 5 : -1;
  t.mid_node_table = n6 ? std::span<const short>(et::prism6_mid_node_table) : std::span<const short>();
  t.no_mid_nodes = n6 ? 12 : 0;
  return t;
}

constexpr V_ELEMENT_TYPE tetra_type(int id, int nodes, int edges, const char *short_name, const char *name) {
  const bool n4 = nodes == 4;
  V_ELEMENT_TYPE t{};
  t.id = id, t.no_nodes = nodes, t.no_edges = edges, t.no_faces = 4, t.gauss = GAUSS_TETRAHEDRON;
  t.short_name = short_name, t.name = name, t.center = {0.25, 0.25, 0.25};
  t.node_coordinates = first_nodes(et::tetra10_nodes, nodes);
  t.shape_function = n4 ? ef::tetra4_shape : ef::tetra10_shape;
  t.coordinate_function = t.shape_function;
  t.shape_derivatives = n4 ? ef::tetra4_derivatives : ef::tetra10_derivatives;
  t.edge_function = edges == 6    ? ef::tetra_e6_edge_function
                    : edges == 18 ? ef::tetra_e18_edge_function
                                  : ef::tetra_e24_edge_function;
  t.edge_curl = edges == 6    ? ef::tetra_e6_edge_curl
                : edges == 18 ? ef::tetra_e18_edge_curl
                              : ef::tetra_e24_edge_curl;
  t.edge_coefficients = ef::no_edge_coefficients;
  t.edge_nodes = edges == 6    ? std::span<const EDGE_ENDS>(et::tetra_e6_edges)
                 : edges == 18 ? std::span<const EDGE_ENDS>(et::tetra_e18_edges)
                               : std::span<const EDGE_ENDS>(et::tetra_e24_edges);
  t.s_element_types = n4            ? et::tetra4_faces
                      : edges == 6  ? et::tetra10_faces
                      : edges == 18 ? et::tetra_e18_faces
                                    : et::tetra_e24_faces;
  t.face_nodes_in = n4 ? et::tetra4_faces_in : et::tetra10_faces_in;
  t.face_nodes_out = n4 ? et::tetra4_faces_out : et::tetra10_faces_out;
  t.face_edges_in = edges == 6    ? et::tetra_e6_faces_in
                    : edges == 18 ? et::tetra_e18_faces_in
                                  : et::tetra_e24_faces_in;
  t.face_edges_out = edges == 6    ? et::tetra_e6_faces_out
                     : edges == 18 ? et::tetra_e18_faces_out
                                   : et::tetra_e24_faces_out;
  t.input_node_order = n4 ? first(et::identity_order, 4) : std::span<const int>(et::tetra10_file_order);
  t.face_point = ef::tetra_face_point;
  t.universal_code = n4 ? 111 : 118, t.neutral_code = n4 ? 6 : 10, t.conc_code = n4 ? 304 : 310;
  t.node_order_1 = n4 ? first(et::identity_order, 4) : std::span<const int>(et::tetra10_order_1);
  t.node_order_2 = n4 ? std::span<const int>(et::tetra4_order_2) : std::span<const int>(et::tetra10_order_2);
  t.node_order_3 = n4 ? std::span<const int>(et::tetra4_order_3) : std::span<const int>(et::tetra10_order_3);
  t.edge_order = edges == 6 ? 1 : 2, t.no_nodes_in_file = nodes;
  t.linear_type = 6, t.quadratic_type = n4 ? 7 : -1;
  return t;
}

// Ids 11 and 13 are the same pyramids written as collapsed prisms of 6 or 15 nodes; they
// differ from 10 and 12 only in their file codes and node orders.
constexpr V_ELEMENT_TYPE pyramid_type(int id, int nodes, bool collapsed, const char *short_name) {
  const bool n5 = nodes == 5;
  V_ELEMENT_TYPE t{};
  t.id = id, t.no_nodes = nodes, t.no_edges = 8, t.no_faces = 5, t.gauss = GAUSS_PYRAMID;
  t.short_name = short_name, t.name = n5 ? "PYRAMID_N5E8" : "PYRAMID_N13E8", t.center = {0.0, 0.0, 1.0 / 3.0};
  t.node_coordinates = first_nodes(et::pyramid13_nodes, nodes);
  t.shape_function = n5 ? ef::pyramid5_shape : ef::pyramid13_shape;
  t.coordinate_function = t.shape_function;
  t.shape_derivatives = n5 ? ef::pyramid5_derivatives : ef::pyramid13_derivatives;
  t.edge_function = ef::pyramid_e8_edge_function, t.edge_curl = ef::pyramid_e8_edge_curl;
  t.edge_coefficients = ef::no_edge_coefficients;
  t.edge_nodes = et::pyramid_e8_edges;
  t.s_element_types = n5 ? et::pyramid5_faces : et::pyramid13_faces;
  t.face_nodes_in = n5 ? et::pyramid5_faces_in : et::pyramid13_faces_in;
  t.face_nodes_out = n5 ? et::pyramid5_faces_out : et::pyramid13_faces_out;
  t.face_edges_in = et::pyramid_e8_faces_in, t.face_edges_out = et::pyramid_e8_faces_out;
  const std::span<const int> file_order = n5 ? (collapsed ? std::span<const int>(et::pyramid6_file_order)
                                                          : std::span<const int>(et::pyramid5_file_order))
                                             : (collapsed ? std::span<const int>(et::pyramid15_file_order)
                                                          : std::span<const int>(et::pyramid13_file_order));
  t.input_node_order = file_order;
  t.face_point = ef::pyramid_face_point;
  t.universal_code = !n5 ? -1 : collapsed ? 112 : 113;
  t.neutral_code = n5 ? (collapsed ? 7 : 14) : (collapsed ? 11 : 22);
  t.conc_code = n5 ? (collapsed ? 306 : 305) : (collapsed ? 315 : 314);
  const bool own_orders = n5 && !collapsed;
  t.node_order_1 = own_orders  ? std::span<const int>(et::pyramid5_file_order)
                   : collapsed ? file_order
                               : first(et::identity_order, 13);
  t.node_order_2 = t.node_order_1;
  t.node_order_3 = own_orders ? std::span<const int>(et::pyramid5_order_3) : t.node_order_1;
  t.edge_order = 1, t.no_nodes_in_file = static_cast<int>(file_order.size());
  t.linear_type = collapsed ? 11 : 10, t.quadratic_type = n5 ? (collapsed ? 13 : 12) : -1;
  return t;
}

constexpr V_ELEMENT_TYPE v_table[no_v_element_types] = {
    hexa_type(0, 8, 12, "H1", "HEXA_N8E12"),
    hexa_type(1, 20, 12, "H2", "HEXA_N20E12"),
    hexa_type(2, 20, 36, "H3", "HEXA_N20E36"),
    hexa_type(3, 27, 54, "H4", "HEXA_N27E54"),
    prism_type(4, 6, "PR1", "PRISM_N6E9"),
    prism_type(5, 15, "PR2", "PRISM_N15E9"),
    tetra_type(6, 4, 6, "T1", "TETRA_N4E6"),
    tetra_type(7, 10, 6, "T2", "TETRA_N10E6"),
    tetra_type(8, 10, 18, "T21", "TETRA_N10E18"),
    tetra_type(9, 10, 24, "T22", "TETRA_N10E24"),
    pyramid_type(10, 5, false, "PY1"),
    pyramid_type(11, 5, true, "PY1"),
    pyramid_type(12, 13, false, "PY2"),
    pyramid_type(13, 13, true, "PY2"),
};

constexpr int row_length(std::span<const short> row) {
  int n = 0;
  for (short v : row) n += v != 0 ? 1 : 0;
  return n;
}

// GCC cannot fold the null test of an external function's address under the sanitizers
// (they keep null checks alive); the plain build makes the slot checks, the test walk repeats
// them at run time.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool check_slots = false;
#else
constexpr bool check_slots = true;
#endif

// Every operation slot is filled, every table has the length its counts say, and every face
// row holds as many nodes and edges as its surface type.
consteval bool all_slots_filled() {
  for (int i = 0; i < no_s_element_types; ++i) {
    const S_ELEMENT_TYPE &s = s_table[i];
    if (s.id != i || (check_slots && (!s.shape_function || !s.shape_derivatives || !s.edge_function ||
                                      !s.edge_curl || !s.rotate_point)))
      return false;
    if (static_cast<int>(s.node_coordinates.size()) != s.no_nodes ||
        static_cast<int>(s.edge_nodes.size()) != s.no_edges ||
        static_cast<int>(s.input_node_order.size()) != s.no_nodes ||
        static_cast<int>(s.rotated_nodes.size()) != s.no_corners ||
        static_cast<int>(s.rotated_edges.size()) != s.no_corners)
      return false;
  }
  for (int i = 0; i < no_v_element_types; ++i) {
    const V_ELEMENT_TYPE &v = v_table[i];
    if (v.id != i ||
        (check_slots && (!v.shape_function || !v.coordinate_function || !v.shape_derivatives ||
                         !v.edge_function || !v.edge_curl || !v.edge_coefficients || !v.face_point)) ||
        !v.short_name || !v.name)
      return false;
    const auto n = static_cast<std::size_t>(v.no_faces);
    if (static_cast<int>(v.node_coordinates.size()) != v.no_nodes ||
        static_cast<int>(v.edge_nodes.size()) != v.no_edges || v.s_element_types.size() != n ||
        v.face_nodes_in.size() != n || v.face_nodes_out.size() != n || v.face_edges_in.size() != n ||
        v.face_edges_out.size() != n)
      return false;
    const auto file = static_cast<std::size_t>(v.no_nodes_in_file);
    if (v.input_node_order.size() != file || v.node_order_1.size() != file || v.node_order_2.size() != file ||
        v.node_order_3.size() != file)
      return false;
    for (std::size_t f = 0; f < n; ++f) {
      const S_ELEMENT_TYPE &s = s_table[v.s_element_types[f]];
      if (row_length(v.face_nodes_in[f]) != s.no_nodes || row_length(v.face_nodes_out[f]) != s.no_nodes ||
          row_length(v.face_edges_in[f]) != s.no_edges || row_length(v.face_edges_out[f]) != s.no_edges)
        return false;
    }
  }
  return true;
}
static_assert(all_slots_filled(), "an element type has an empty slot or a table of the wrong length");

// Process-wide code tables, filled once by the builds.
struct CODE_TABLES {
  bool surface_built = false;
  bool volume_built = false;
  int node_order = 1;
  int edge_order = 1;
  int quad_tri = 0;
};
CODE_TABLES code_tables;

int v_counts[no_v_element_types] = {};
int s_counts[no_s_element_types] = {};

// The type each quadratic file code stands for before the control values are applied.
int default_quadratic_type(int conc_code, bool collapsed) {
  switch (conc_code) {
  case 320:
    return 2;
  case 315:
    return collapsed ? 13 : 5;
  case 310:
    return 7;
  case 314:
    return 12;
  default:
    return -1;
  }
}

int linear_code_type(int conc_code, bool collapsed) {
  switch (conc_code) {
  case 308:
    return 0;
  case 306:
    return collapsed ? 11 : 4;
  case 304:
    return 6;
  case 305:
    return 10;
  default:
    return -1;
  }
}

} // namespace

std::span<const V_ELEMENT_TYPE> v_element_types() { return v_table; }
std::span<const S_ELEMENT_TYPE> s_element_types() { return s_table; }

const V_ELEMENT_TYPE *find_v_element_type(int id) {
  for (const V_ELEMENT_TYPE &t : v_table)
    if (t.id == id) return &t;
  return nullptr;
}

const S_ELEMENT_TYPE *find_s_element_type(int id) {
  for (const S_ELEMENT_TYPE &t : s_table)
    if (t.id == id) return &t;
  return nullptr;
}

const V_ELEMENT_TYPE *find_v_element_type_by_neutral_code(int code) {
  for (const V_ELEMENT_TYPE &t : v_table)
    if (t.neutral_code == code) return &t;
  return nullptr;
}

const S_ELEMENT_TYPE &face_type(const V_ELEMENT_TYPE &type, int face) {
  return s_table[type.s_element_types[static_cast<std::size_t>(face)]];
}

const V_ELEMENT_TYPE *select_v_element_type(int conc_code, bool collapsed, int node_order, int edge_order,
                                            int quad_tri) {
  const int linear = linear_code_type(conc_code, collapsed);
  if (linear >= 0) return &v_table[linear];
  int id = default_quadratic_type(conc_code, collapsed);
  if (id < 0) return nullptr;
  if (node_order == 2 && edge_order == 2) {
    if (conc_code == 320) id = 2;
    if (conc_code == 310) id = quad_tri != 0 ? 8 : 9;
  } else if (node_order == 2) {
    if (conc_code == 320) id = 1;
    if (conc_code == 310) id = 7;
  }
  return &v_table[id];
}

const S_ELEMENT_TYPE *select_s_element_type(int conc_code) {
  switch (conc_code) {
  case 204:
    return &s_table[0];
  case 208:
    return &s_table[1];
  case 203:
    return &s_table[4];
  case 206:
    return &s_table[5];
  default:
    return nullptr;
  }
}

void build_s_element_types() { code_tables.surface_built = true; }

void build_v_element_types(int node_order, int edge_order, int quad_tri) {
  if (code_tables.volume_built) return;
  build_s_element_types();
  code_tables.node_order = node_order;
  code_tables.edge_order = edge_order;
  code_tables.quad_tri = quad_tri;
  code_tables.volume_built = true;
}

const V_ELEMENT_TYPE *v_element_type_for_code(int conc_code, bool collapsed) {
  if (!code_tables.volume_built) return nullptr;
  return select_v_element_type(conc_code, collapsed, code_tables.node_order, code_tables.edge_order,
                               code_tables.quad_tri);
}

const S_ELEMENT_TYPE *s_element_type_for_code(int conc_code) {
  return code_tables.surface_built ? select_s_element_type(conc_code) : nullptr;
}

void count_v_element_types(int n, const int *type_ids) {
  for (int &c : v_counts) c = 0;
  for (int i = 0; i < n; ++i)
    if (type_ids[i] >= 0 && type_ids[i] < no_v_element_types) ++v_counts[type_ids[i]];
}

void count_s_element_types(int n, const int *type_ids) {
  for (int &c : s_counts) c = 0;
  for (int i = 0; i < n; ++i)
    if (type_ids[i] >= 0 && type_ids[i] < no_s_element_types) ++s_counts[type_ids[i]];
}

int v_element_type_count(int id) { return v_counts[id]; }
int s_element_type_count(int id) { return s_counts[id]; }

namespace {

// Position (0-based, in the face row) of the mid node between the corners p and q (0-based) of
// a linear surface type, whose edges are its corner edges in the order of its mid_nodes.
int mid_node_position(const S_ELEMENT_TYPE &corners, int p, int q) {
  for (int e = 0; e < corners.no_edges; ++e) {
    const int a = corners.edge_nodes[e][0] - 1;
    const int b = corners.edge_nodes[e][1] - 1;
    if ((a == p && b == q) || (a == q && b == p)) return corners.mid_nodes[e] - 1;
  }
  return -1;
}

} // namespace

const S_ELEMENT_TYPE &face_nodes(const V_ELEMENT_TYPE &type, const int *element_nodes, int face, int start,
                                 int outward, int *out) {
  const S_ELEMENT_TYPE &s = face_type(type, face);
  const FACE_NODE_ROW &row =
      (outward == 1 ? type.face_nodes_out : type.face_nodes_in)[static_cast<std::size_t>(face)];
  const int n = s.no_corners;
  for (int k = 0; k < n; ++k) out[k] = element_nodes[row[static_cast<std::size_t>((k + start) % n)] - 1];
  // A mid node follows its corners: the mid node of rotated corners (p, q) is the one the
  // unrotated face has between the corners now standing there.
  const S_ELEMENT_TYPE &corners = s_table[s.linear_type];
  for (int e = 0; e < n && s.no_nodes > n; ++e) {
    const int p = (corners.edge_nodes[e][0] - 1 + start) % n;
    const int q = (corners.edge_nodes[e][1] - 1 + start) % n;
    const int position = mid_node_position(corners, p, q);
    const int mid = corners.mid_nodes[e] - 1;
    out[mid] = element_nodes[row[static_cast<std::size_t>(position)] - 1];
  }
  for (int k = n + n; k < s.no_nodes; ++k) out[k] = element_nodes[row[static_cast<std::size_t>(k)] - 1];
  return s;
}

const S_ELEMENT_TYPE &face_corner_nodes(const V_ELEMENT_TYPE &type, const int *element_nodes, int face,
                                        int start, int outward, int *out) {
  const S_ELEMENT_TYPE &s = face_type(type, face);
  const FACE_NODE_ROW &row =
      (outward == 1 ? type.face_nodes_out : type.face_nodes_in)[static_cast<std::size_t>(face)];
  for (int k = 0; k < s.no_corners; ++k)
    out[k] = element_nodes[row[static_cast<std::size_t>((k + start) % s.no_corners)] - 1];
  return s;
}

int face_edges(const V_ELEMENT_TYPE &type, const int *element_edges, int face, int outward, int *out) {
  if (!element_edges) return 0;
  const S_ELEMENT_TYPE &s = face_type(type, face);
  const FACE_EDGE_ROW &row =
      (outward == 1 ? type.face_edges_out : type.face_edges_in)[static_cast<std::size_t>(face)];
  for (int k = 0; k < s.no_edges; ++k) {
    const int entry = row[static_cast<std::size_t>(k)];
    out[k] = element_edges[(entry < 0 ? -entry : entry) - 1];
  }
  return s.no_edges;
}

int face_edges_signed(const V_ELEMENT_TYPE &type, const int *element_edges, const int *edge_directions,
                      int face, int outward, int *out, int *signs) {
  if (!element_edges) return 0;
  const S_ELEMENT_TYPE &s = face_type(type, face);
  const FACE_EDGE_ROW &row =
      (outward == 1 ? type.face_edges_out : type.face_edges_in)[static_cast<std::size_t>(face)];
  for (int k = 0; k < s.no_edges; ++k) {
    const int entry = row[static_cast<std::size_t>(k)];
    const int edge = (entry < 0 ? -entry : entry) - 1;
    out[k] = element_edges[edge];
    signs[k] = (entry < 0 ? -1 : 1) * edge_directions[edge];
  }
  return s.no_edges;
}

} // namespace tesmora
