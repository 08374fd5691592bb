// What the field-quantity routines of a step share: the output selection of an element, its
// node coordinates, the chain positions of nodes and elements, and the post frame.
#pragma once

#include "input/coordinates.hpp"
#include "materials/material_tables.hpp"
#include "mesh/model.hpp"

#include <cmath>
#include <vector>

namespace tesmora {

inline bool selected(const V_ELEMENT &element) {
  return element.material && (element.material->flags & mat_output) != 0;
}

inline void element_coordinates(const V_ELEMENT &element, double (*xyz)[3]) {
  for (int i = 0; i < element.type->no_nodes; ++i) {
    xyz[i][0] = element.nodes[i]->x;
    xyz[i][1] = element.nodes[i]->y;
    xyz[i][2] = element.nodes[i]->z;
  }
}

// The chain positions of the first node and element of each part.
struct CHAIN_OFFSETS {
  std::vector<int> nodes, elements;
  int no_nodes = 0, no_elements = 0;
};
inline CHAIN_OFFSETS chain_offsets(const MESHED_MODEL &first_part) {
  CHAIN_OFFSETS o;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next) {
    o.nodes.push_back(o.no_nodes);
    o.elements.push_back(o.no_elements);
    o.no_nodes += part->no_nodes;
    o.no_elements += part->no_v_elements;
  }
  return o;
}

inline double magnitude(const double v[3]) { return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]); }

// A written vector in the post frame (POST_COORDINATE), at its position; null: the global frame.
inline void to_post_frame(const COORDINATE *frame, double v[3], const double position[3]) {
  if (!frame) return;
  const double global[3] = {v[0], v[1], v[2]};
  global_to_local(frame, global, v, position);
}

} // namespace tesmora
