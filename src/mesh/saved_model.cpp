// Binary save and restore of the model.
#include "mesh/saved_model.hpp"

#include "job/block_io.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"

#include <cstdint>
#include <vector>

namespace tesmora {
namespace {

void put(FFILE *file, std::int32_t value) { write_blocks(&value, sizeof value, 1, file); }
void put(FFILE *file, double value) { write_blocks(&value, sizeof value, 1, file); }

std::int32_t get_int(FFILE *file) {
  std::int32_t value = 0;
  if (read_blocks(&value, sizeof value, 1, file) != 1) {
    write_fault("**** File %s is incorrect. Job is stopped. ****\n", file->name);
    stop_job(1);
  }
  return value;
}
double get_real(FFILE *file) {
  double value = 0.0;
  if (read_blocks(&value, sizeof value, 1, file) != 1) {
    write_fault("**** File %s is incorrect. Job is stopped. ****\n", file->name);
    stop_job(1);
  }
  return value;
}

// Related lists as pairs: partner index + 1, and symmetry + 1, negative for direction 0.
void put_related(FFILE *file, const RELATED_LIST *related) {
  put(file, related ? related->count : 0);
  for (int k = 0; related && k < related->count; ++k) {
    put(file, related->entries[k].partner + 1);
    put(file, (related->entries[k].symmetry + 1) * (related->entries[k].forward ? 1 : -1));
  }
}
RELATED_LIST *get_related(FFILE *file) {
  const int count = get_int(file);
  if (count == 0) return nullptr;
  auto *related = static_cast<RELATED_LIST *>(calloc_named(1, sizeof(RELATED_LIST), "related_list"));
  *related = RELATED_LIST{};
  related->count = count;
  for (int k = 0; k < count && k < 3; ++k) {
    related->entries[k].partner = get_int(file) - 1;
    const int symmetry = get_int(file);
    related->entries[k].symmetry = static_cast<std::uint8_t>((symmetry < 0 ? -symmetry : symmetry) - 1);
    related->entries[k].forward = symmetry > 0;
  }
  return related;
}

void save_part(const MESHED_MODEL &part, FFILE *file) {
  int interfaces = 0;
  for (const S_ELEMENT *s = part.s_elements; s; s = s->next) ++interfaces;
  for (int value : {part.mesh_no, part.no_nodes, part.min_node_id, part.max_node_id, part.no_edges,
                    part.no_v_elements, part.no_input_s_elements, interfaces})
    put(file, value);
  for (int i = 0; i < part.no_nodes; ++i) {
    const NODE &n = part.nodes[i];
    put(file, n.id);
    put(file, n.x);
    put(file, n.y);
    put(file, n.z);
    for (int flag : {int(n.on_total), int(n.on_cnd), int(n.on_Bn0), int(n.on_Ht0), int(n.on_bnd),
                     int(n.on_int), int(n.mesh_part), n.on_slide, n.on_nonconformal})
      put(file, flag);
    put_related(file, n.related);
  }
  for (int e = 0; e < part.no_edges; ++e) {
    const EDGE &edge = part.edges[e];
    put(file, edge.id);
    put(file, static_cast<int>(edge.start - part.nodes));
    put(file, static_cast<int>(edge.end - part.nodes));
    for (int flag :
         {int(edge.on_cnd), int(edge.on_Bn0), int(edge.on_bnd), int(edge.on_int), int(edge.on_total),
          int(edge.tree), int(edge.slide_interior), int(edge.on_gap), edge.on_slide, edge.on_nonconformal})
      put(file, flag);
    put_related(file, edge.related);
  }
  for (int k = 0; k < part.no_v_elements; ++k) {
    const V_ELEMENT &element = part.v_elements[k];
    put(file, element.id);
    put(file, element.type->id);
    for (int i = 0; i < element.type->no_nodes; ++i)
      put(file, static_cast<int>(element.nodes[i] - part.nodes));
    put(file, element.edges ? 1 : 0);
    for (int i = 0; element.edges && i < element.type->no_edges; ++i) put(file, element.edges[i]->id);
    put(file, static_cast<std::int32_t>(element.edge_direction & 0xffffffffu));
    put(file, static_cast<std::int32_t>(element.edge_direction >> 32));
    for (int flag : {element.mat_id, int(element.conductor), int(element.rgn), int(element.thin),
                     int(element.mesh_part), int(element.potential_bits)})
      put(file, flag);
    put(file, element.volume);
    for (double c : element.center) put(file, c);
  }
  auto save_surface = [&](const S_ELEMENT &s) {
    put(file, s.id);
    put(file, s.kind);
    put(file, s.boundary_id);
    put(file, s.owner ? static_cast<int>(s.owner - part.v_elements) : -1);
    put(file, s.type->id);
    for (int i = 0; i < s.type->no_nodes; ++i) put(file, static_cast<int>(s.nodes[i] - part.nodes));
    put(file, s.edges ? 1 : 0);
    for (int i = 0; s.edges && i < s.type->no_edges; ++i) put(file, s.edges[i]->id);
    put(file, static_cast<std::int32_t>(s.edge_direction));
  };
  for (int k = 0; k < part.no_input_s_elements; ++k) save_surface(part.input_s_elements[k]);
  // The interface list in its order from head to tail.
  std::vector<const S_ELEMENT *> list;
  for (const S_ELEMENT *s = part.s_elements; s; s = s->next) list.push_back(s);
  for (const S_ELEMENT *s : list) save_surface(*s);
}

void restore_node(FFILE *file, NODE &n) {
  n = NODE{};
  n.id = get_int(file);
  n.x = get_real(file);
  n.y = get_real(file);
  n.z = get_real(file);
  n.on_total = static_cast<unsigned>(get_int(file));
  n.on_cnd = static_cast<unsigned>(get_int(file));
  n.on_Bn0 = static_cast<unsigned>(get_int(file));
  n.on_Ht0 = static_cast<unsigned>(get_int(file));
  n.on_bnd = static_cast<unsigned>(get_int(file));
  n.on_int = static_cast<unsigned>(get_int(file));
  n.mesh_part = static_cast<unsigned>(get_int(file));
  n.on_slide = get_int(file);
  n.on_nonconformal = get_int(file);
  n.related = get_related(file);
}

// An edge's ends are node positions of the part (0-based) in the file.
void restore_edge(MESHED_MODEL &part, FFILE *file, EDGE &edge) {
  edge = EDGE{};
  edge.id = get_int(file);
  edge.start = &part.nodes[get_int(file)];
  edge.end = &part.nodes[get_int(file)];
  edge.on_cnd = static_cast<unsigned>(get_int(file));
  edge.on_Bn0 = static_cast<unsigned>(get_int(file));
  edge.on_bnd = static_cast<unsigned>(get_int(file));
  edge.on_int = static_cast<unsigned>(get_int(file));
  edge.on_total = static_cast<unsigned>(get_int(file));
  edge.tree = static_cast<unsigned>(get_int(file));
  edge.slide_interior = static_cast<unsigned>(get_int(file));
  edge.on_gap = static_cast<unsigned>(get_int(file));
  edge.on_slide = get_int(file);
  edge.on_nonconformal = get_int(file);
  edge.related = get_related(file);
}

// A volume element takes its node and edge pointers from the part's pointer arrays at the slots
// given, which move on past them. Edges are edge ids (1-based) in the file.
void restore_volume_element(MESHED_MODEL &part, FFILE *file, V_ELEMENT &element, NODE **&node_slot,
                            EDGE **&edge_slot) {
  element = V_ELEMENT{};
  element.id = get_int(file);
  element.type = find_v_element_type(get_int(file));
  element.nodes = node_slot;
  for (int i = 0; i < element.type->no_nodes; ++i) element.nodes[i] = &part.nodes[get_int(file)];
  node_slot += element.type->no_nodes;
  if (get_int(file)) {
    element.edges = edge_slot;
    for (int i = 0; i < element.type->no_edges; ++i) element.edges[i] = &part.edges[get_int(file) - 1];
    edge_slot += element.type->no_edges;
  }
  const auto low = static_cast<std::uint32_t>(get_int(file));
  const auto high = static_cast<std::uint32_t>(get_int(file));
  element.edge_direction = (std::uint64_t{high} << 32) | low;
  element.mat_id = get_int(file);
  element.conductor = static_cast<unsigned>(get_int(file));
  element.rgn = static_cast<unsigned>(get_int(file));
  element.thin = static_cast<unsigned>(get_int(file));
  element.mesh_part = static_cast<unsigned>(get_int(file));
  element.potential_bits = static_cast<unsigned>(get_int(file));
  element.volume = get_real(file);
  for (double &c : element.center) c = get_real(file);
}

void restore_surface(MESHED_MODEL &part, FFILE *file, S_ELEMENT &s, NODE **&node_slot, EDGE **&edge_slot) {
  s = S_ELEMENT{};
  s.id = get_int(file);
  s.kind = get_int(file);
  s.boundary_id = get_int(file);
  const int owner = get_int(file);
  s.owner = owner >= 0 ? &part.v_elements[owner] : nullptr;
  s.type = find_s_element_type(get_int(file));
  s.nodes = node_slot;
  for (int i = 0; i < s.type->no_nodes; ++i) s.nodes[i] = &part.nodes[get_int(file)];
  node_slot += s.type->no_nodes;
  if (get_int(file)) {
    s.edges = edge_slot;
    for (int i = 0; i < s.type->no_edges; ++i) s.edges[i] = &part.edges[get_int(file) - 1];
    edge_slot += s.type->no_edges;
  }
  s.edge_direction = static_cast<std::uint32_t>(get_int(file));
}

void restore_part(MESHED_MODEL &part, FFILE *file) {
  part.mesh_no = get_int(file);
  part.no_nodes = get_int(file);
  part.min_node_id = get_int(file);
  part.max_node_id = get_int(file);
  part.no_edges = get_int(file);
  part.no_v_elements = get_int(file);
  part.no_input_s_elements = get_int(file);
  const int interfaces = get_int(file);
  part.nodes =
      static_cast<NODE *>(calloc_named(static_cast<std::uint64_t>(part.no_nodes), sizeof(NODE), "nodes"));
  part.edges =
      static_cast<EDGE *>(calloc_named(static_cast<std::uint64_t>(part.no_edges), sizeof(EDGE), "edges"));
  part.v_elements = static_cast<V_ELEMENT *>(
      calloc_named(static_cast<std::uint64_t>(part.no_v_elements), sizeof(V_ELEMENT), "v_elements"));
  part.input_s_elements = static_cast<S_ELEMENT *>(calloc_named(
      static_cast<std::uint64_t>(part.no_input_s_elements), sizeof(S_ELEMENT), "total_input_s_elements"));
  for (int i = 0; i < part.no_nodes; ++i) restore_node(file, part.nodes[i]);
  for (int e = 0; e < part.no_edges; ++e) {
    restore_edge(part, file, part.edges[e]);
    part.edges[e].next = e + 1 < part.no_edges ? &part.edges[e + 1] : nullptr;
  }
  // Pointer arrays: sized for the largest element of each kind, filled as the elements come.
  const std::uint64_t slots =
      static_cast<std::uint64_t>(part.no_v_elements) * max_element_nodes +
      static_cast<std::uint64_t>(part.no_input_s_elements + interfaces) * max_face_nodes;
  const std::uint64_t edge_slots =
      static_cast<std::uint64_t>(part.no_v_elements) * max_element_edges +
      static_cast<std::uint64_t>(part.no_input_s_elements + interfaces) * max_face_edges;
  part.node_pointers = static_cast<NODE **>(calloc_named(slots, sizeof(NODE *), "node_pointers"));
  part.edge_pointers = static_cast<EDGE **>(calloc_named(edge_slots, sizeof(EDGE *), "edge_pointers"));
  NODE **node_slot = part.node_pointers;
  EDGE **edge_slot = part.edge_pointers;
  for (int k = 0; k < part.no_v_elements; ++k)
    restore_volume_element(part, file, part.v_elements[k], node_slot, edge_slot);
  part.no_node_pointers = node_slot - part.node_pointers;
  part.no_edge_pointers = edge_slot - part.edge_pointers;
  for (int k = 0; k < part.no_input_s_elements; ++k)
    restore_surface(part, file, part.input_s_elements[k], node_slot, edge_slot);
  // The interface list keeps its order: each restored element goes to the tail.
  S_ELEMENT **tail = &part.s_elements;
  for (int k = 0; k < interfaces; ++k) {
    auto *s = static_cast<S_ELEMENT *>(calloc_named(1, sizeof(S_ELEMENT), "s_elements"));
    NODE **own_nodes = static_cast<NODE **>(calloc_named(max_face_nodes, sizeof(NODE *), "s_element->nodes"));
    NODE **slot = own_nodes;
    restore_surface(part, file, *s, slot, edge_slot);
    *tail = s;
    tail = &s->next;
  }
  part.no_s_elements = interfaces;
}

} // namespace

void save_model(const MESHED_MODEL &first_part, FFILE *file) {
  int parts = 0;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next) ++parts;
  put(file, parts);
  for (const MESHED_MODEL *part = &first_part; part; part = part->next) save_part(*part, file);
}

void restore_model(MESHED_MODEL &first_part, FFILE *file) {
  const int parts = get_int(file);
  MESHED_MODEL *part = &first_part;
  for (int k = 0; k < parts; ++k) {
    if (k > 0) {
      auto *next = static_cast<MESHED_MODEL *>(calloc_named(1, sizeof(MESHED_MODEL), "meshed_model"));
      *next = MESHED_MODEL{};
      part->next = next;
      part = next;
    }
    restore_part(*part, file);
  }
}

} // namespace tesmora
