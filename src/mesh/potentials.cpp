// Potential terms and the magnetic numbering of the unknowns.
#include "mesh/potentials.hpp"

#include <cstring>
#include <vector>

namespace tesmora {
namespace {

POTENTIAL_STORE the_store;

constexpr int first_capacity = 2;

POTENTIAL_TERM *new_term_array(int capacity) {
  if (!the_store.arrays) the_store.arrays = create_blocked_array_list(sizeof(POTENTIAL_TERM));
  return static_cast<POTENTIAL_TERM *>(allocate_items(the_store.arrays, capacity));
}

POTENTIAL_TERMS *new_terms() {
  if (!the_store.records) the_store.records = create_blocked_array_list(sizeof(POTENTIAL_TERMS));
  auto *terms = static_cast<POTENTIAL_TERMS *>(allocate_items(the_store.records, 1));
  terms->capacity = first_capacity;
  terms->terms = new_term_array(first_capacity);
  return terms;
}

// Takes one position for an entity whose periodic images may hold one already: the first image
// with a term gives its position and sign; else a new position is taken.
struct NUMBERING {
  int no_unknowns = 0;
};

bool edge_is_fixed(const EDGE &e, const VARIABLE_OPTIONS &o) {
  if (e.tree && !(o.keep_conductor_tree_edges && e.on_cnd)) return true;
  if (e.on_Bn0) return true;
  if (e.on_bnd && o.far_boundary_condition == 0) return true;
  if (e.on_slide != 0 && o.sliding) return true;
  if (e.on_nonconformal != 0 && o.nonconformal) return true;
  if (e.on_cnd && o.electric_mode_2) return true;
  return e.slide_interior || e.on_gap;
}

// Gives an edge its A term and passes the same position to its periodic images.
void number_edge(EDGE *edges, EDGE &e, NUMBERING &n) {
  if (find_potential_term(e.potentials, A_EDGE)) return;
  int position = 0;
  double coefficient = 1.0;
  if (e.related) {
    for (int k = 0; k < e.related->count && position == 0; ++k) {
      const EDGE &image = edges[e.related->entries[k].partner];
      if (const POTENTIAL_TERM *term = find_potential_term(image.potentials, A_EDGE)) {
        position = term->position;
        coefficient = term->coefficient * (e.related->entries[k].forward ? 1.0 : -1.0);
      }
    }
  }
  if (position == 0) position = ++n.no_unknowns;
  add_potential_term(e.potentials, A_EDGE, position, coefficient);
  if (e.related)
    for (int k = 0; k < e.related->count; ++k) number_edge(edges, edges[e.related->entries[k].partner], n);
}

void number_node(NODE *nodes, NODE &node, int name, NUMBERING &n) {
  if (find_potential_term(node.potentials, name)) return;
  int position = 0;
  if (node.related)
    for (int k = 0; k < node.related->count && position == 0; ++k)
      if (const POTENTIAL_TERM *term =
              find_potential_term(nodes[node.related->entries[k].partner].potentials, name))
        position = term->position;
  if (position == 0) position = ++n.no_unknowns;
  add_potential_term(node.potentials, name, position, 1.0);
  if (node.related)
    for (int k = 0; k < node.related->count; ++k)
      number_node(nodes, nodes[node.related->entries[k].partner], name, n);
}

} // namespace

POTENTIAL_STORE &potential_store() { return the_store; }

void free_potential_store() {
  delete_blocked_array_list(&the_store.records);
  delete_blocked_array_list(&the_store.arrays);
}

POTENTIAL_TERMS *add_potential_term(POTENTIAL_TERMS *&terms, int name, int position, double coefficient) {
  if (coefficient == 0.0) return terms;
  if (!terms) terms = new_terms();
  int free_slot = -1;
  for (int k = 0; k < terms->no_terms; ++k) {
    POTENTIAL_TERM &term = terms->terms[k];
    if (term.name == name && term.position == position) {
      term.coefficient += coefficient;
      return terms;
    }
    if (term.name == FREE_TERM && free_slot < 0) free_slot = k;
  }
  if (free_slot >= 0) {
    terms->terms[free_slot] = POTENTIAL_TERM{coefficient, position, name};
    return terms;
  }
  if (terms->no_terms == terms->capacity) {
    // The old chunk stays in the store until the store is freed as a whole.
    POTENTIAL_TERM *grown = new_term_array(2 * terms->capacity);
    std::memcpy(static_cast<void *>(grown), terms->terms,
                sizeof(POTENTIAL_TERM) * static_cast<std::size_t>(terms->no_terms));
    terms->terms = grown;
    terms->capacity *= 2;
  }
  terms->terms[terms->no_terms++] = POTENTIAL_TERM{coefficient, position, name};
  return terms;
}

const POTENTIAL_TERM *find_potential_term(const POTENTIAL_TERMS *terms, int name) {
  if (!terms) return nullptr;
  for (int k = 0; k < terms->no_terms; ++k)
    if (terms->terms[k].name == name) return &terms->terms[k];
  return nullptr;
}

int make_variables(MESHED_MODEL &first_part, const VARIABLE_OPTIONS &options) {
  free_potential_store();
  NUMBERING n;
  for (MESHED_MODEL *part = &first_part; part; part = part->next) {
    for (int i = 0; i < part->no_nodes; ++i) part->nodes[i].potentials = nullptr;
    for (int i = 0; i < part->no_edges; ++i) part->edges[i].potentials = nullptr;
  }
  for (MESHED_MODEL *part = &first_part; part; part = part->next) {
    // Which nodes carry a scalar unknown.
    std::vector<char> node_flags(static_cast<std::size_t>(part->no_nodes), 0);
    for (int i = 0; i < part->no_nodes; ++i) {
      const NODE &node = part->nodes[i];
      bool flag = node.on_cnd && options.uses_phi;
      if (node.on_Bn0) flag = false;
      if (node.on_cnd && (node.on_slide != 0 || node.on_nonconformal != 0)) flag = false;
      if (node.on_bnd && options.far_boundary_condition == 0) flag = false;
      node_flags[static_cast<std::size_t>(i)] = flag;
    }
    // Vector-potential elements: their edges, then their nodes, element by element.
    for (int k = 0; k < part->no_v_elements; ++k) {
      V_ELEMENT &element = part->v_elements[k];
      if (element.rgn != 0 || !element.edges) continue;
      for (int i = 0; i < element.type->no_edges; ++i) {
        EDGE &e = *element.edges[i];
        if (!edge_is_fixed(e, options)) number_edge(part->edges, e, n);
      }
      for (int i = 0; i < element.type->no_nodes; ++i) {
        NODE &node = *element.nodes[i];
        if (node_flags[static_cast<std::size_t>(&node - part->nodes)])
          number_node(part->nodes, node, PHI_NODE, n);
      }
    }
    // Potential-only regions: a magnetic scalar potential on their nodes.
    for (int k = 0; k < part->no_v_elements; ++k) {
      V_ELEMENT &element = part->v_elements[k];
      if (element.rgn == 0) continue;
      for (int i = 0; i < element.type->no_nodes; ++i) {
        NODE &node = *element.nodes[i];
        if (!node.on_Ht0) number_node(part->nodes, node, OMEGA_NODE, n);
      }
    }
    // Impedance and thin surfaces: the potential of their surface currents.
    for (int k = 0; k < part->no_input_s_elements; ++k) {
      S_ELEMENT &element = part->input_s_elements[k];
      if (element.kind != s_impedance && element.kind != s_thin_4 && element.kind != s_thin_5) continue;
      for (int i = 0; i < element.type->no_nodes; ++i) {
        NODE &node = *element.nodes[i];
        if (!find_potential_term(node.potentials, PHI_NODE_SUFCUR))
          add_potential_term(node.potentials, PHI_NODE_SUFCUR, ++n.no_unknowns, 1.0);
      }
    }
  }
  return n.no_unknowns;
}

} // namespace tesmora
