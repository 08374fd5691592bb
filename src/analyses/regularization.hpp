// Regularization of the source columns: the gradient part of a load column is removed, so that an
// ungauged curl-curl system, singular on the discrete gradients, gets a consistent right-hand side.
//
// With G the incidence of the nodes on the edge unknowns (a gradient of nodal values psi is the
// edge vector G psi), a load column b is consistent when G^T b = 0: b is orthogonal to every
// discrete gradient. The correction is b' = b - M G psi with M the edge mass matrix and psi the
// solution of the nodal problem (G^T M G) psi = G^T b, whose matrix is the nodal Laplacian
// K_ij = integral of grad L_i . grad L_j: then G^T b' = G^T b - K psi = 0. The product M G psi is
// node_to_edge^T psi, node_to_edge_ie = integral of grad L_i . N_e.
//
// Nodes take part where every edge around them is an unknown of its own (no tree, fixed, given,
// periodic or sliding edge meets them): elsewhere psi is 0, which keeps G psi among the unknowns.
// The identity grad (sum psi_i L_i) = sum over edges (psi_end - psi_start) N_e holds for the
// first-order edge elements of tetrahedra, hexahedra and prisms; the nodes of other elements are
// held at 0 too.
#pragma once

#include "equations/iccg.hpp"
#include "equations/sparse_matrix.hpp"
#include "input/solver_settings.hpp"
#include "job/tagged_array.hpp"
#include "results/post_writer.hpp"

namespace tesmora {

struct MESHED_MODEL;

struct REGULARIZATION_WORK {
  int no_unknowns = 0;         // length of the columns regularized
  int no_rows = 0;             // nodes with a potential of their own
  TaggedArray<int> node_flags; // per chain node: its row, or -1 (held at 0)
  SPARSE_MATRIX *node_to_node_matrix = nullptr;
  // node_to_edge by rows of nodes, columns the 0-based unknowns ("node_to_edge_matrix").
  TaggedArray<int> node_to_edge_heads;   // no_rows + 1 offsets
  TaggedArray<int> node_to_edge_columns; // unknowns, ascending in a row
  TaggedArray<double> node_to_edge_values;
  // The incidence G^T by edges: per edge unknown its start and end rows (-1 where held) and sign.
  TaggedArray<int> edge_position, edge_start_row, edge_end_row;
  TaggedArray<double> edge_sign;
  int no_incidences = 0;
  SOLVER_SETTINGS cg_for_regularization; // the job's settings with the ICCG method
  SOLVE_FIGURES figures;
  TaggedArray<double> potential; // psi of the last column, per row
  TaggedArray<double> rhs;       // G^T b of the last column, per row
  int no_calls = 0;              // columns regularized so far
  int no_output_steps = 0;       // steps written to the post file "elem"
  bool post_open = false;        // "elem" is open, its head written
  POST_STREAM post;              // the stream of "elem" while open
};

// Builds the nodal problem of the model's present numbering and factorises it.
REGULARIZATION_WORK *make_regularization_work(const MESHED_MODEL &first_part, int no_unknowns);

// Removes the gradient part of a dense column of no_unknowns entries (0-based). The first call
// writes its heading to `output`; with REGULARIZATION 2 each call also writes the correction field
// per element and the potential per node to the post file "elem" (when a post format is set).
void regularize(double *column, REGULARIZATION_WORK &work, const MESHED_MODEL &first_part);

// G^T b per node row of a dense column: its part that is not orthogonal to the gradients.
void gradient_load(const REGULARIZATION_WORK &work, const double *column, double *rows);

void free_regularization_work(REGULARIZATION_WORK **work);

} // namespace tesmora
