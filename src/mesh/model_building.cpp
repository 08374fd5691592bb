// Model building: materials of elements, edges, conductor marks, surfaces and the tree gauge.
#include "mesh/model_building.hpp"

#include "job/memory.hpp"
#include "job/report.hpp"
#include "job/terminal.hpp"
#include "materials/material_tables.hpp"

#include <algorithm>
#include <array>
#include <vector>

namespace tesmora {
namespace {

// Edge lookup by lists at nodes: each edge is on the lists of both its ends.
struct EDGE_TABLE {
  std::vector<int> start, end; // per edge, node indices
  std::vector<int> next_at_start, next_at_end;
  std::vector<int> head; // per node, first edge on its list or -1

  explicit EDGE_TABLE(int no_nodes) : head(static_cast<std::size_t>(no_nodes), -1) {}

  // The edge between a and b and whether it runs from a to b; a new one runs from a to b.
  int find_or_add(int a, int b, bool *forward) {
    for (int e = head[static_cast<std::size_t>(a)]; e >= 0;) {
      const std::size_t k = static_cast<std::size_t>(e);
      if (start[k] == a && end[k] == b) {
        *forward = true;
        return e;
      }
      if (start[k] == b && end[k] == a) {
        *forward = false;
        return e;
      }
      e = start[k] == a ? next_at_start[k] : next_at_end[k];
    }
    const int e = static_cast<int>(start.size());
    start.push_back(a);
    end.push_back(b);
    next_at_start.push_back(head[static_cast<std::size_t>(a)]);
    next_at_end.push_back(head[static_cast<std::size_t>(b)]);
    head[static_cast<std::size_t>(a)] = e;
    head[static_cast<std::size_t>(b)] = e;
    *forward = true;
    return e;
  }
};

int node_index(const MESHED_MODEL &part, const NODE *node) { return static_cast<int>(node - part.nodes); }
int edge_index(const MESHED_MODEL &part, const EDGE *edge) { return static_cast<int>(edge - part.edges); }

// Node indices of an element, in catalogue order.
void element_node_indices(const MESHED_MODEL &part, NODE *const *nodes, int count, int *out) {
  for (int i = 0; i < count; ++i) out[i] = node_index(part, nodes[i]);
}

// Union-find over node labels; the same answers to "do the labels differ" as relabelling the
// whole label array at each merge, in near-linear time.
struct NODE_SETS {
  std::vector<int> parent;
  explicit NODE_SETS(int n) : parent(static_cast<std::size_t>(n)) {
    for (int i = 0; i < n; ++i) parent[static_cast<std::size_t>(i)] = i;
  }
  int find(int i) {
    while (parent[static_cast<std::size_t>(i)] != i) {
      int &p = parent[static_cast<std::size_t>(i)];
      p = parent[static_cast<std::size_t>(p)]; // halve the path
      i = p;
    }
    return i;
  }
  // Merges the sets of a and b; false when they were one already.
  bool merge(int a, int b) {
    const int ra = find(a);
    const int rb = find(b);
    if (ra == rb) return false;
    parent[static_cast<std::size_t>(rb)] = ra;
    return true;
  }
};

// The labels of the periodic closure: each related node takes the label of the node that
// names it, in node order; nodes of one label form one set.
NODE_SETS make_node_sets(const MESHED_MODEL &part) {
  const int n = part.no_nodes;
  std::vector<int> label(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) label[static_cast<std::size_t>(i)] = i;
  for (int i = 0; i < n; ++i)
    if (const RELATED_LIST *related = part.nodes[i].related)
      for (int k = 0; k < related->count; ++k)
        label[static_cast<std::size_t>(related->entries[k].partner)] = label[static_cast<std::size_t>(i)];
  NODE_SETS sets(n);
  std::vector<int> first_with_label(static_cast<std::size_t>(n), -1);
  for (int i = 0; i < n; ++i) {
    int &first = first_with_label[static_cast<std::size_t>(label[static_cast<std::size_t>(i)])];
    if (first < 0)
      first = i;
    else
      sets.parent[static_cast<std::size_t>(i)] = first;
  }
  return sets;
}

void mark_face(MESHED_MODEL &part, const V_ELEMENT &element, int face, const int *nodes, int no_nodes,
               void (*mark_node)(NODE &), void (*mark_edge)(EDGE &)) {
  for (int i = 0; i < no_nodes; ++i) mark_node(part.nodes[nodes[i]]);
  if (!element.edges) return;
  int ids[max_element_edges];
  int face_ids[max_face_edges];
  for (int i = 0; i < element.type->no_edges; ++i) ids[i] = edge_index(part, element.edges[i]);
  const int count = face_edges(*element.type, ids, face, 1, face_ids);
  for (int i = 0; i < count; ++i) mark_edge(part.edges[face_ids[i]]);
}

// Sorts the first n (at most 4) entries of a face key.
void sort_corners(std::array<int, 4> &key, int n) {
  for (int i = 1; i < n; ++i)
    for (int j = i; j > 0 && key[static_cast<std::size_t>(j - 1)] > key[static_cast<std::size_t>(j)]; --j)
      std::swap(key[static_cast<std::size_t>(j - 1)], key[static_cast<std::size_t>(j)]);
}

// One face of an element with its corners in outward order.
struct FACE {
  int element = 0;
  int face = 0;
  int no_corners = 0;
  std::array<int, 4> corners{};
  std::array<int, 4> key{}; // sorted corners, -1 padded
};

// True when b has the corners of a in the reverse cycle.
bool is_reverse_cycle(const FACE &a, const FACE &b) {
  if (a.no_corners != b.no_corners) return false;
  const int n = a.no_corners;
  int shift = -1;
  for (int k = 0; k < n; ++k)
    if (b.corners[static_cast<std::size_t>(k)] == a.corners[0]) shift = k;
  if (shift < 0) return false;
  for (int k = 0; k < n; ++k)
    if (a.corners[static_cast<std::size_t>(k)] != b.corners[static_cast<std::size_t>((shift - k + n) % n)])
      return false;
  return true;
}

void make_interface_element(MESHED_MODEL &part, const V_ELEMENT &owner, int face) {
  auto *s = static_cast<S_ELEMENT *>(calloc_named(1, sizeof(S_ELEMENT), "s_elements"));
  *s = S_ELEMENT{};
  s->id = part.no_s_elements + 1;
  s->kind = s_mesh_boundary;
  s->boundary_id = owner.rgn;
  s->owner = &owner;
  int indices[max_element_nodes];
  int face_nodes_out[max_face_nodes];
  element_node_indices(part, owner.nodes, owner.type->no_nodes, indices);
  s->type = &face_nodes(*owner.type, indices, face, 0, 1, face_nodes_out);
  s->nodes = static_cast<NODE **>(
      calloc_named(static_cast<std::uint64_t>(s->type->no_nodes), sizeof(NODE *), "s_element->nodes"));
  for (int i = 0; i < s->type->no_nodes; ++i) s->nodes[i] = &part.nodes[face_nodes_out[i]];
  s->next = part.s_elements;
  part.s_elements = s;
  ++part.no_s_elements;
}

} // namespace

void bind_model_materials(MESHED_MODEL &part, bool scalar_regions) {
  for (int k = 0; k < part.no_v_elements; ++k) {
    V_ELEMENT &element = part.v_elements[k];
    ELEMENT_MATERIAL binding{element.id, element.mat_id};
    bind_mat_properties(std::span<ELEMENT_MATERIAL>(&binding, 1), {});
    element.material = binding.mat;
    element.potential_bits = static_cast<unsigned>(binding.potential_bits);
    element.conductor = (binding.mat->flags & mat_conducting) != 0;
    element.rgn = scalar_regions ? static_cast<unsigned>(binding.potential_bits) : 0u;
  }
}

void warn_unused_materials(const MESHED_MODEL &first_part) {
  std::vector<int> used_ids;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next)
    for (int k = 0; k < part->no_v_elements; ++k) used_ids.push_back(part->v_elements[k].mat_id);
  std::sort(used_ids.begin(), used_ids.end());
  const MATERIAL_TABLES &tables = material_tables();
  for (int k = 0; k < tables.no_mat_properties; ++k) {
    const int id = tables.mat_properties[k].id;
    if (!std::binary_search(used_ids.begin(), used_ids.end(), id))
      write_terminal("warning: material %d is given in the input but no element of the mesh has it\n", id);
  }
}

void make_edges(MESHED_MODEL &part) {
  EDGE_TABLE table(part.no_nodes);
  // Per element, the edge index of each local edge and its direction.
  std::vector<int> element_edges;
  std::vector<char> directions;
  std::vector<char> conductor_edge;
  auto walk = [&](NODE *const *nodes, const std::span<const EDGE_ENDS> edge_nodes, bool conductor) {
    for (const EDGE_ENDS &ends : edge_nodes) {
      const int a = node_index(part, nodes[ends[0] - 1]);
      const int b = node_index(part, nodes[ends[1] - 1]);
      bool forward = true;
      const int e = table.find_or_add(a, b, &forward);
      if (static_cast<std::size_t>(e) >= conductor_edge.size()) conductor_edge.push_back(0);
      if (conductor) conductor_edge[static_cast<std::size_t>(e)] = 1;
      element_edges.push_back(e);
      directions.push_back(forward ? 1 : 0);
    }
  };
  std::int64_t no_pointers = 0;
  for (int k = 0; k < part.no_v_elements; ++k) {
    const V_ELEMENT &element = part.v_elements[k];
    if (element.rgn != 0) continue;
    walk(element.nodes, element.type->edge_nodes, element.conductor);
    no_pointers += element.type->no_edges;
  }
  for (int k = 0; k < part.no_input_s_elements; ++k) {
    const S_ELEMENT &element = part.input_s_elements[k];
    walk(element.nodes, element.type->edge_nodes, false);
    no_pointers += element.type->no_edges;
  }

  part.no_edges = static_cast<int>(table.start.size());
  part.edges =
      static_cast<EDGE *>(calloc_named(static_cast<std::uint64_t>(part.no_edges), sizeof(EDGE), "edges"));
  for (int e = 0; e < part.no_edges; ++e) {
    EDGE &edge = part.edges[e];
    edge = EDGE{};
    edge.id = e + 1;
    edge.start = &part.nodes[table.start[static_cast<std::size_t>(e)]];
    edge.end = &part.nodes[table.end[static_cast<std::size_t>(e)]];
    edge.next = e + 1 < part.no_edges ? &part.edges[e + 1] : nullptr;
    edge.on_cnd = conductor_edge[static_cast<std::size_t>(e)];
  }
  part.no_edge_pointers = no_pointers;
  part.edge_pointers = static_cast<EDGE **>(
      calloc_named(static_cast<std::uint64_t>(no_pointers), sizeof(EDGE *), "edge_pointers"));
  std::size_t at = 0;
  EDGE **next_pointer = part.edge_pointers;
  for (int k = 0; k < part.no_v_elements; ++k) {
    V_ELEMENT &element = part.v_elements[k];
    element.edges = nullptr;
    element.edge_direction = 0;
    if (element.rgn != 0) continue;
    element.edges = next_pointer;
    for (int i = 0; i < element.type->no_edges; ++i, ++at) {
      element.edges[i] = &part.edges[element_edges[at]];
      if (directions[at]) element.edge_direction |= std::uint64_t{1} << i;
    }
    next_pointer += element.type->no_edges;
  }
  for (int k = 0; k < part.no_input_s_elements; ++k) {
    S_ELEMENT &element = part.input_s_elements[k];
    element.edges = next_pointer;
    element.edge_direction = 0;
    for (int i = 0; i < element.type->no_edges; ++i, ++at) {
      element.edges[i] = &part.edges[element_edges[at]];
      if (directions[at]) element.edge_direction |= std::uint32_t{1} << i;
    }
    next_pointer += element.type->no_edges;
  }
}

void mark_conductor_nodes(MESHED_MODEL &part) {
  for (int i = 0; i < part.no_nodes; ++i) part.nodes[i].mesh_part = static_cast<unsigned>(part.mesh_no) & 7u;
  for (int k = 0; k < part.no_v_elements; ++k) {
    const V_ELEMENT &element = part.v_elements[k];
    if (!element.conductor) continue;
    for (int i = 0; i < element.type->no_nodes; ++i) element.nodes[i]->on_cnd = 1;
  }
}

// The faces of every element. A face on an Ht = 0 plane marks its nodes, one on a Bn = 0 plane
// its nodes and edges; every other face is returned with its sorted corner key, in element order.
std::vector<FACE> collect_open_faces(MESHED_MODEL &part, const BOUNDARY_DATA &boundary) {
  const double tolerance = boundary.distance_judge_squared;
  std::vector<FACE> open_faces;
  int indices[max_element_nodes];
  int nodes[max_face_nodes];
  double corners_xyz[4][3];
  for (int k = 0; k < part.no_v_elements; ++k) {
    const V_ELEMENT &element = part.v_elements[k];
    element_node_indices(part, element.nodes, element.type->no_nodes, indices);
    for (int f = 0; f < element.type->no_faces; ++f) {
      const S_ELEMENT_TYPE &face_kind = face_nodes(*element.type, indices, f, 0, 1, nodes);
      const int no_corners = face_kind.no_corners;
      for (int c = 0; c < no_corners; ++c) {
        const NODE &node = part.nodes[nodes[c]];
        corners_xyz[c][0] = node.x;
        corners_xyz[c][1] = node.y;
        corners_xyz[c][2] = node.z;
      }
      if (on_plane(corners_xyz, no_corners, boundary.ht0_planes, tolerance)) {
        mark_face(
            part, element, f, nodes, face_kind.no_nodes, [](NODE &n) { n.on_Ht0 = 1; }, [](EDGE &) {});
        continue;
      }
      if (on_plane(corners_xyz, no_corners, boundary.bn0_planes, tolerance)) {
        mark_face(
            part, element, f, nodes, face_kind.no_nodes, [](NODE &n) { n.on_Bn0 = 1; },
            [](EDGE &e) { e.on_Bn0 = 1; });
        continue;
      }
      FACE face;
      face.element = k;
      face.face = f;
      face.no_corners = no_corners;
      face.key.fill(-1);
      for (int c = 0; c < no_corners; ++c)
        face.corners[static_cast<std::size_t>(c)] = face.key[static_cast<std::size_t>(c)] = nodes[c];
      sort_corners(face.key, no_corners);
      open_faces.push_back(face);
    }
  }
  return open_faces;
}

// An inner face between a vector-potential region and a scalar one (a and b are its two sides):
// the scalar side's face becomes an interface element, and its nodes and the vector side's face
// edges are marked with the scalar region.
void make_region_interface(MESHED_MODEL &part, const FACE &a, const FACE &b) {
  const V_ELEMENT &ea = part.v_elements[a.element];
  const V_ELEMENT &eb = part.v_elements[b.element];
  const FACE &owner_face = ea.rgn != 0 ? a : b;
  const V_ELEMENT &owner = part.v_elements[owner_face.element];
  make_interface_element(part, owner, owner_face.face);
  int indices[max_element_nodes];
  int nodes[max_face_nodes];
  element_node_indices(part, owner.nodes, owner.type->no_nodes, indices);
  const S_ELEMENT_TYPE &kind = face_nodes(*owner.type, indices, owner_face.face, 0, 1, nodes);
  for (int c = 0; c < kind.no_nodes; ++c) part.nodes[nodes[c]].on_int = owner.rgn;
  const V_ELEMENT &vector_side = ea.rgn != 0 ? eb : ea;
  if (!vector_side.edges) return;
  int ids[max_element_edges];
  int face_ids[max_face_edges];
  const FACE &vector_face = ea.rgn != 0 ? b : a;
  for (int e = 0; e < vector_side.type->no_edges; ++e) ids[e] = edge_index(part, vector_side.edges[e]);
  const int count = face_edges(*vector_side.type, ids, vector_face.face, 1, face_ids);
  for (int e = 0; e < count; ++e) part.edges[face_ids[e]].on_int = owner.rgn;
}

// Faces with the same corners pair up when they run in reverse cycles: inner faces. The order of
// the sort keeps faces of one key in element order. Returns a flag per face: paired or not.
std::vector<char> pair_inner_faces(MESHED_MODEL &part, const std::vector<FACE> &open_faces) {
  std::vector<std::size_t> order(open_faces.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return open_faces[a].key < open_faces[b].key; });
  std::vector<char> paired(open_faces.size(), 0);
  for (std::size_t i = 0; i + 1 < order.size(); ++i) {
    const FACE &a = open_faces[order[i]];
    const FACE &b = open_faces[order[i + 1]];
    if (paired[order[i]] || a.key != b.key || !is_reverse_cycle(a, b)) continue;
    paired[order[i]] = paired[order[i + 1]] = 1;
    if (part.v_elements[a.element].rgn != part.v_elements[b.element].rgn) make_region_interface(part, a, b);
  }
  return paired;
}

// What finds no partner is the outer boundary.
void mark_outer_boundary(MESHED_MODEL &part, const std::vector<FACE> &open_faces,
                         const std::vector<char> &paired) {
  int indices[max_element_nodes];
  int nodes[max_face_nodes];
  for (std::size_t i = 0; i < open_faces.size(); ++i) {
    if (paired[i]) continue;
    const FACE &face = open_faces[i];
    const V_ELEMENT &element = part.v_elements[face.element];
    element_node_indices(part, element.nodes, element.type->no_nodes, indices);
    const S_ELEMENT_TYPE &kind = face_nodes(*element.type, indices, face.face, 0, 1, nodes);
    mark_face(
        part, element, face.face, nodes, kind.no_nodes, [](NODE &n) { n.on_bnd = 1; },
        [](EDGE &e) { e.on_bnd = 1; });
  }
}

// Lines of fixed A: an edge with both ends on a line, and its nodes.
void mark_fixed_a_lines(MESHED_MODEL &part, const BOUNDARY_DATA &boundary) {
  const double tolerance = boundary.distance_judge_squared;
  for (const A_FIXED_LINE &line : boundary.a_fixed_lines)
    for (int e = 0; e < part.no_edges; ++e) {
      EDGE &edge = part.edges[e];
      const double s[3] = {edge.start->x, edge.start->y, edge.start->z};
      const double t[3] = {edge.end->x, edge.end->y, edge.end->z};
      if (on_line(s, line, 0, tolerance) && on_line(t, line, 0, tolerance)) {
        edge.on_Bn0 = 1;
        edge.start->on_Bn0 = 1;
        edge.end->on_Bn0 = 1;
      }
    }
}

void find_surfaces(MESHED_MODEL &part, const BOUNDARY_DATA &boundary) {
  const std::vector<FACE> open_faces = collect_open_faces(part, boundary);
  const std::vector<char> paired = pair_inner_faces(part, open_faces);
  mark_outer_boundary(part, open_faces, paired);
  mark_fixed_a_lines(part, boundary);
}

void make_tree(MESHED_MODEL &part, int tree_gauge, int far_boundary_condition) {
  for (int e = 0; e < part.no_edges; ++e) part.edges[e].tree = 0;
  if (tree_gauge == -1) return;
  NODE_SETS sets = make_node_sets(part);
  auto start_of = [&](const EDGE &e) { return node_index(part, e.start); };
  auto end_of = [&](const EDGE &e) { return node_index(part, e.end); };
  if (tree_gauge == 4) {
    // Tree by conductors: only edges of conductor elements, away from sliding surfaces.
    for (int k = 0; k < part.no_v_elements; ++k) {
      const V_ELEMENT &element = part.v_elements[k];
      if (!element.conductor || !element.edges) continue;
      for (int i = 0; i < element.type->no_edges; ++i) {
        EDGE &e = *element.edges[i];
        if (e.on_slide == 0 && e.start->on_slide == 0 && sets.merge(start_of(e), end_of(e))) e.tree = 1;
      }
    }
    return;
  }
  // Fixed edges join their ends without entering the tree.
  for (int e = 0; e < part.no_edges; ++e)
    if (part.edges[e].on_Bn0) sets.merge(start_of(part.edges[e]), end_of(part.edges[e]));
  if (far_boundary_condition != 1)
    for (int e = 0; e < part.no_edges; ++e)
      if (part.edges[e].on_bnd) sets.merge(start_of(part.edges[e]), end_of(part.edges[e]));
  if (tree_gauge == -2) {
    for (int k = 0; k < part.no_input_s_elements; ++k) {
      const S_ELEMENT &element = part.input_s_elements[k];
      for (int i = 0; i < element.type->no_edges; ++i) {
        EDGE &e = *element.edges[i];
        if (!e.related && sets.merge(start_of(e), end_of(e))) e.tree = 1;
      }
    }
    return;
  }
  // The weight of an edge: 1, or for gauge d in 1..3 the squared cosine of its angle with axis d.
  auto direction = [&](const EDGE &e) {
    if (tree_gauge < 1) return 1.0;
    const double d[3] = {e.end->x - e.start->x, e.end->y - e.start->y, e.end->z - e.start->z};
    const double length2 = d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
    return d[tree_gauge - 1] * d[tree_gauge - 1] / length2;
  };
  constexpr double cos_15_squared = 0.933;
  for (int pass = 0; pass < 2; ++pass) // conductor edges first, then the others
    for (int k = 0; k < part.no_edges; ++k) {
      EDGE &e = part.edges[k];
      if ((pass == 0) != (e.on_cnd != 0) || e.related || direction(e) < cos_15_squared) continue;
      if (sets.merge(start_of(e), end_of(e))) e.tree = 1;
    }
}

void make_model(MESHED_MODEL &first_part, const BOUNDARY_DATA &boundary, int tree_gauge,
                bool scalar_regions) {
  for (MESHED_MODEL *part = &first_part; part; part = part->next) {
    for (int i = 0; i < part->no_nodes; ++i) {
      NODE &node = part->nodes[i];
      node.on_total = node.on_cnd = node.on_Bn0 = node.on_Ht0 = node.on_bnd = 0;
      node.on_int = 0;
    }
    bind_model_materials(*part, scalar_regions);
    make_edges(*part);
    mark_conductor_nodes(*part);
  }
  for (MESHED_MODEL *part = &first_part; part; part = part->next) {
    find_surfaces(*part, boundary);
    make_tree(*part, tree_gauge, boundary.far_boundary_condition);
  }
}

namespace {

// Every face of every volume element, once per element that has it: its sorted corner key (unused
// corners -1) and the element's position in the part. A face shared by two elements has two
// entries with the same key.
struct ELEMENT_FACE {
  std::array<int, 4> key;
  int element;
};

std::vector<ELEMENT_FACE> element_faces(const MESHED_MODEL &part) {
  std::vector<ELEMENT_FACE> faces;
  int indices[max_element_nodes];
  int nodes[max_face_nodes];
  for (int k = 0; k < part.no_v_elements; ++k) {
    const V_ELEMENT &element = part.v_elements[k];
    element_node_indices(part, element.nodes, element.type->no_nodes, indices);
    for (int f = 0; f < element.type->no_faces; ++f) {
      const S_ELEMENT_TYPE &kind = face_nodes(*element.type, indices, f, 0, 1, nodes);
      ELEMENT_FACE face{.key = {}, .element = k};
      face.key.fill(-1);
      for (int c = 0; c < kind.no_corners; ++c) face.key[static_cast<std::size_t>(c)] = nodes[c];
      sort_corners(face.key, kind.no_corners);
      faces.push_back(face);
    }
  }
  return faces;
}

} // namespace

FACE_COUNTS count_faces(const MESHED_MODEL &part) {
  FACE_COUNTS counts;
  std::vector<std::array<int, 4>> keys;
  for (const ELEMENT_FACE &face : element_faces(part)) keys.push_back(face.key);
  std::sort(keys.begin(), keys.end());
  for (std::size_t i = 0; i < keys.size();) {
    std::size_t j = i;
    while (j < keys.size() && keys[j] == keys[i]) ++j;
    ++counts.faces;
    if (j - i == 1) ++counts.outer_faces;
    i = j;
  }
  return counts;
}

std::vector<std::pair<int, int>> find_region_neighbours(const MESHED_MODEL &part) {
  // Each face with its element's material id; a face shared by two elements sorts next to its twin.
  std::vector<std::pair<std::array<int, 4>, int>> faces;
  for (const ELEMENT_FACE &face : element_faces(part))
    faces.emplace_back(face.key, part.v_elements[face.element].mat_id);
  std::sort(faces.begin(), faces.end());
  std::vector<std::pair<int, int>> pairs;
  for (std::size_t i = 0; i + 1 < faces.size(); ++i) {
    if (faces[i].first != faces[i + 1].first || faces[i].second == faces[i + 1].second) continue;
    pairs.emplace_back(std::min(faces[i].second, faces[i + 1].second),
                       std::max(faces[i].second, faces[i + 1].second));
  }
  std::sort(pairs.begin(), pairs.end());
  pairs.erase(std::unique(pairs.begin(), pairs.end()), pairs.end());
  return pairs;
}

} // namespace tesmora
