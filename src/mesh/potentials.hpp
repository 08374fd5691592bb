// Potential terms: the map from nodes and edges to unknowns, and the numbering of the unknowns.
#pragma once

#include "job/containers.hpp"
#include "mesh/model.hpp"

namespace tesmora {

// The two block stores of term records and term arrays; freed together.
struct POTENTIAL_STORE {
  BLOCKED_ARRAY_LIST *records = nullptr; // POTENTIAL_TERMS
  BLOCKED_ARRAY_LIST *arrays = nullptr;  // POTENTIAL_TERM chunks
};
POTENTIAL_STORE &potential_store();
void free_potential_store();

// Adds `coefficient` to the term of that name and position, or fills a free slot, or appends.
// A zero coefficient changes nothing (and makes no list). Returns the list.
POTENTIAL_TERMS *add_potential_term(POTENTIAL_TERMS *&terms, int name, int position, double coefficient);
// The first term of that name, or null.
const POTENTIAL_TERM *find_potential_term(const POTENTIAL_TERMS *terms, int name);

// What the numbering needs to know of the job.
struct VARIABLE_OPTIONS {
  int far_boundary_condition = 0;         // 0: the outer boundary is fixed
  bool uses_phi = false;                  // conductors carry an electric scalar potential
  bool sliding = false;                   // on_slide edges are tied by the sliding code
  bool nonconformal = false;              // mesh_connection 2
  bool electric_mode_2 = false;           // conductor edges carry no A
  bool keep_conductor_tree_edges = false; // conductor edges of the tree keep their unknowns
};

// Clears all terms and numbers the unknowns of the model's chain; returns their count.
int make_variables(MESHED_MODEL &first_part, const VARIABLE_OPTIONS &options);

} // namespace tesmora
