// Load columns of the field sources. A coil enters the regions that carry its field through its
// own B: with B = curl A_r + B_coil there, the reaction potential A_r satisfies
// curl nu curl A_r = curl (1/mu0 - nu) B_coil, whose weak right-hand side is the integral of
// curl N . (1/mu0 - nu) B_coil, with B_coil by Biot-Savart at the Gauss points. The coil's A on
// the edges (`A_source`) is kept for the inductances.
#pragma once

#include "job/ffile.hpp"

#include <functional>

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

// work (no_unknowns, 0-based) += the integral of curl N_i . (1/mu0 - nu) B_coil over the elements
// of the regions that carry the coil's field (air elements add nothing and cost nothing).
void load_vector_by_external_field_source(const FIELD_SOURCE &source, const MESHED_MODEL &first_part,
                                          double *work);

// work (no_unknowns, 0-based) += the conductor column of a coil: -integral of sigma N_i . A_coil
// over the conducting elements of the regions that carry its field (edge rows), and -integral of
// sigma grad L_k . A_coil on the rows of their nodes' electric scalar potential. In those regions
// the total potential is A_r + a(t) A_coil, so sigma dA/dt holds a'(t) sigma A_coil: the coil's
// own share of the eddy-current load.
void conductor_vector_by_external_field_source(const FIELD_SOURCE &source, const MESHED_MODEL &first_part,
                                               double *work);
// The load column of every source (a COIL unless the job sets no coil field), the resistances and,
// with CALC_IND, the inductances. Reports the two timing lines of the coil steps to `output`.
// `project`, when given, is applied to each dense column before it is packed (the regularization).
using COLUMN_PROJECTION = std::function<void(double *column)>;
void make_source_matrices(const MESHED_MODEL &first_part, int no_unknowns,
                          const COLUMN_PROJECTION &project = {});

// The source_matrix file: per source its series number, a flag and its load column, for a coil
// a flag and its conductor column and its A_source, then the resistances and the inductances. load_sources
// stops the job when the file doesn't belong to the present source table.
void save_sources(FFILE *file, int no_edges);
void load_sources(FFILE *file, int no_edges);

// Frees the load columns, A_source arrays, resistances and inductances.
void free_source_matrices();

} // namespace tesmora
