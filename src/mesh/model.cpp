// The process-wide model and node look-up.
#include "mesh/model.hpp"

#include "job/memory.hpp"

namespace tesmora {
namespace {

MESHED_MODEL the_global_model;

} // namespace

MESHED_MODEL &global_model() { return the_global_model; }

void free_model_arrays(MESHED_MODEL &part) {
  for (S_ELEMENT *s = part.s_elements; s;) {
    S_ELEMENT *next = s->next;
    free_named(s->nodes, "s_element->nodes");
    free_named(s, "s_elements");
    s = next;
  }
  free_named(part.nodes, "nodes");
  free_named(part.edges, "edges");
  free_named(part.v_elements, "v_elements");
  free_named(part.input_s_elements, "total_input_s_elements");
  free_named(part.node_pointers, "node_pointers");
  free_named(part.edge_pointers, "edge_pointers");
  free_named(part.lines, "mesh lines");
  MESHED_MODEL *next = part.next;
  const int mesh_no = part.mesh_no;
  part = MESHED_MODEL{};
  part.next = next;
  part.mesh_no = mesh_no;
}

int find_node(const NODE *nodes, int first, int last, int id) {
  if (last < first || id > nodes[last].id) return -1;
  if (id <= nodes[first].id) return first;
  int lo = first;
  int hi = last;
  // nodes[lo].id < id <= nodes[hi].id
  while (hi - lo > 1) {
    const int mid = lo + (hi - lo) / 2;
    if (nodes[mid].id < id)
      lo = mid;
    else
      hi = mid;
  }
  return hi;
}

} // namespace tesmora
