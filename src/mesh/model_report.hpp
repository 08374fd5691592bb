// The summary tables of the model in the report: edges, nodes, volume and surface elements,
// and the potentials of edges and nodes.
#pragma once

#include "mesh/model.hpp"

#include <cstdio>

namespace tesmora {

// Centre (the type's reference centre mapped to real space) and volume (with the active Gauss
// points) of every volume element of a part.
void compute_element_geometry(MESHED_MODEL &part);

void print_edges(std::FILE *out, const MESHED_MODEL &part);
void print_nodes(std::FILE *out, const MESHED_MODEL &part);
void print_v_elements(std::FILE *out, const MESHED_MODEL &part);
void print_s_elements(std::FILE *out, const MESHED_MODEL &part);
void print_potentials(std::FILE *out, const MESHED_MODEL &part);

} // namespace tesmora
