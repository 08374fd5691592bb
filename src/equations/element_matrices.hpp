// Element matrices of the field equation: curl-curl (h), conductivity (c) and the second (e)
// matrix, in the packed lower-triangle layout, and the element-matrix files.
//
// Packed layout: the edge block first, rows i = 1..E with columns 1..i; then, in c and e when
// nodes carry phi, node rows k = 1..N each with E edge columns and then node columns 1..k.
#pragma once

#include "mesh/element_transform.hpp"
#include "mesh/model.hpp"

namespace tesmora {

inline constexpr int max_h_entries = 1485;  // 54 x 55 / 2
inline constexpr int max_ce_entries = 3321; // 81 x 82 / 2

// What the analysis asks of the element matrices.
struct ELEMENT_MATRIX_OPTIONS {
  bool a_only = true;          // no phi unknowns: no node block
  bool scalar_only = false;    // no vector-potential block at all
  int ac_mode = 0;             // 1, 2 the AC forms; 2 puts the imaginary reluctivity in e
  bool ac_time_domain = false; // e from a second conductivity datum
  // h with the reluctivity nu0 I - nu of the element: the coupling of a coil's own potential
  // into a reduced-potential region.
  bool source_reluctivity = false;
};

// One element's matrices; a count of 0 means the block isn't needed (no record is written).
struct ELEMENT_MATRICES {
  int h_count = 0, c_count = 0, e_count = 0;
  double volume = 0.0;
  double h[max_h_entries];
  double c[max_ce_entries];
  double e[max_ce_entries];
};

// Position of (i, j), j <= i, 0-based, in a packed lower triangle.
inline int packed_index(int i, int j) { return i * (i + 1) / 2 + j; }

// Integrates the element's matrices with the active Gauss points of its type. A bad volume
// stops the job with the element check's message.
void element_matrices(const V_ELEMENT &element, const ELEMENT_MATRIX_OPTIONS &options, ELEMENT_MATRICES &out,
                      TRANSFORM_SCRATCH &scratch);

// x^T K x of a packed matrix of n rows, each row and column i multiplied by sign[i] (null: +1).
double element_energy_real(const double *packed, int n, const double *x, const int *sign);

// Writes the records of all volume elements of the chain to the h, c and e files (element
// number, count, values; each list closed by -1). Returns 1.
int make_element_matrices(MESHED_MODEL &first_part, const ELEMENT_MATRIX_OPTIONS &options);

} // namespace tesmora
