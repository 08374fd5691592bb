// Element matrices of surface elements: the conductance form of a thin conducting sheet.
#pragma once

#include "mesh/model.hpp"

namespace tesmora {

// The packed matrix of one surface element in the layout of a volume c matrix: edge rows first
// (columns up to their own), then, with nodes, each node row against every edge and the nodes up
// to its own. Integrated over the surface with the Gauss points of the type:
//   edge i, edge j:  N_i . N_j
//   node k, edge j:  N_j . grad_s L_k
//   node k, node l:  grad_s L_l . grad_s L_k
// N are the edge functions (tangential, unit circulation along their edge) and grad_s the surface
// gradient. packed has room for (E + N)(E + N + 1)/2 doubles; returns the count written.
int surface_element_matrix(const S_ELEMENT &element, bool with_nodes, double *packed);

} // namespace tesmora
