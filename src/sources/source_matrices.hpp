// Load columns of the field sources. A coil enters the system through its own vector potential:
// the circulation of its A along each edge of the regions that carry the coil's field
// (`A_source`), coupled into the unknowns by the curl-curl terms of reluctivity 1/mu0 - nu.
// With B = curl A_r + B_coil in those regions, the reaction potential A_r then satisfies
// curl nu curl A_r = curl (1/mu0 - nu) B_coil.
#pragma once

#include "job/ffile.hpp"

namespace tesmora {

struct MESHED_MODEL;
struct FIELD_SOURCE;
struct COIL_EVALUATION;

// Edges of the chain counted over all mesh parts (the length of A_source).
int chain_edge_count(const MESHED_MODEL &first_part);

// Whether the elements of a material region with these potential bits carry the field of a coil
// whose POTENTIAL option is `coil_potential`.
inline bool region_carries_coil(int potential_bits, int coil_potential) {
  return potential_bits == coil_potential;
}

// Fills source.A_source: the line integral of the coil's A along every edge of an element that
// carries the coil's field, from the edge's start node to its end node (a one-point rule at the
// middle of the straight edge, exact for a linear A); other edges hold 0.
void external_field_source_A_on_edges(FIELD_SOURCE &source, const MESHED_MODEL &first_part,
                                      const COIL_EVALUATION &evaluation);

// work (no_unknowns, 0-based) += the coupling of the unknowns with the coil edges times
// source.A_source, element by element over the regions that carry the coil's field.
void load_vector_by_external_field_source(const FIELD_SOURCE &source, const MESHED_MODEL &first_part,
                                          double *work);

// The load column of every source (a COIL unless the job sets no coil field), the resistances and,
// with CALC_IND, the inductances. Reports the two timing lines of the coil steps to `output`.
void make_source_matrices(const MESHED_MODEL &first_part, int no_unknowns);

// The source_matrix file: per source its series number, a flag and its load column, the
// A_source of a coil, then the resistances and the inductances. load_sources stops the job when
// the file doesn't belong to the present source table.
void save_sources(FFILE *file, int no_edges);
void load_sources(FFILE *file, int no_edges);

// Frees the load columns, A_source arrays, resistances and inductances.
void free_source_matrices();

} // namespace tesmora
