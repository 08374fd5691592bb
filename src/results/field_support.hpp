// What the field-quantity routines of a step share: the output selection of an element, its
// node coordinates, the chain positions of nodes and elements, the post frame, and the node
// means of a quantity.
#pragma once

#include "input/coordinates.hpp"
#include "job/memory.hpp"
#include "materials/material_tables.hpp"
#include "mesh/model.hpp"
#include "results/post_writer.hpp"

#include <cmath>
#include <cstdint>
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

// Node means of a vector (and a fourth value, written fifth) over the corners of the selected
// elements that `takes_part` accepts, written as one node block with the magnitude of the mean
// vector. `evaluate(element, corner, node, v)` gives the four values at a corner of the element,
// `node` being the corner's node in chain order. Nodes no such element touches are left out.
template <typename TAKES_PART, typename EVALUATE>
void write_node_means(POST_STREAM &out, const POST_WRITER &writer, const MESHED_MODEL &first_part, int step,
                      int code, double time, const char *label, int count, const COORDINATE *frame,
                      const char *tag, TAKES_PART takes_part, EVALUATE evaluate) {
  const CHAIN_OFFSETS o = chain_offsets(first_part);
  const std::uint64_t n = static_cast<std::uint64_t>(o.no_nodes);
  double *sums[4] = {calloc_double(n, tag), calloc_double(n, tag), calloc_double(n, tag),
                     calloc_double(n, tag)};
  int *no_summations = calloc_int(n, "no_summations");
  std::size_t p = 0;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next, ++p)
    for (int k = 0; k < part->no_v_elements; ++k) {
      const V_ELEMENT &element = part->v_elements[k];
      if (!selected(element) || !takes_part(element)) continue;
      for (int i = 0; i < element.type->no_nodes; ++i) {
        const int node = o.nodes[p] + static_cast<int>(element.nodes[i] - part->nodes);
        double v[4];
        evaluate(element, i, node, v);
        for (int d = 0; d < 4; ++d) sums[d][node] += v[d];
        ++no_summations[node];
      }
    }
  writer.node_block_start(out, step, code, time, label, count);
  p = 0;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next, ++p)
    for (int i = 0; i < part->no_nodes; ++i) {
      const int node = o.nodes[p] + i;
      if (no_summations[node] == 0) continue;
      double values[5];
      for (int d = 0; d < 3; ++d) values[d] = sums[d][node] / no_summations[node];
      const double position[3] = {part->nodes[i].x, part->nodes[i].y, part->nodes[i].z};
      to_post_frame(frame, values, position);
      values[3] = magnitude(values);
      values[4] = sums[3][node] / no_summations[node];
      writer.node_value_row(out, part->nodes[i].id, count, values);
    }
  writer.end_of_block(out);
  for (double *sum : sums) free_named(sum, tag);
  free_named(no_summations, "no_summations");
}

} // namespace tesmora
