// Orderings of the unknowns (reverse levels, approximate minimum degree through SuiteSparse AMD),
// the job-wide and per-solve renumbering, unit rows of disconnected unknowns, and the diagonal
// scaling of the stored matrices.
#pragma once

#include "equations/sparse_matrix.hpp"

namespace tesmora {

inline constexpr int renumbering_none = 0;
inline constexpr int renumbering_levels = 1;
inline constexpr int renumbering_amd = 2;

// Reverse level ordering of the full pattern (row_head_pointers n+1, profile = 1-based columns).
// new_number: n old-to-new numbers, 1-based. connections: the components found. work: 4n ints.
void order_by_levels(int n, const int *profile, const int *row_head_pointers, int *new_number,
                     int &connections, int *work);
// Approximate minimum degree by amd_order with the default control. The index is toggled to 0
// and back, so it can't be const. connections is 1, or -1 when AMD failed (identity order).
void order_by_amd(int n, int size, int *profile, const int *row_head_pointers, int *new_number,
                  int &connections, int *work);

// The result of amd_order, translated: the one place that knows AMD's status codes.
struct AMD_OUTCOME {
  int status = 0; // the code amd_order returned
  int ok = 0;     // 1 when the permutation is usable
};
// P: n entries, 0-based, new-to-old. Ap: n+1 offsets, Ai: 0-based columns.
AMD_OUTCOME run_amd_order(int n, const int *Ap, const int *Ai, int *P);

// The job-wide form: runs the ordering `renumbering` (1 levels, 2 AMD) on a type-2 profile into
// new_number (n entries; work of 4n ints, tag "work for renumber_variables") and warns when the
// matrix is disconnected. Returns the connection count.
int renumber_variables(const MATRIX_PROFILE *profile, int renumbering, int *new_number, int *work);
// Rewrites one variable list: every entry whose kind is not 1, 3 or 12 (not matrix rows) takes
// new_number[variable - 1].
void renumber_variable_list(int count, int *variables, const int *kinds, const int *new_number);

// The per-solve form for moving patterns: on the first call of a pattern builds the ordering
// (the matrix's renumber_option) and the permuted pattern in the second halves of the pattern
// arrays; copies the values (unless the factor is valid) and permutes rhs and solution into
// rhs_out and solution_out. Nothing when renumber_option is 0.
void sparse_matrix_renumbering(int n, SPARSE_MATRIX *matrix, const double *rhs, const double *solution,
                               double *rhs_out, double *solution_out);
// Back to the model's numbering: solution[old] = solved[new]. Nothing when renumber_option is 0.
void sparse_matrix_restore_numbering(int n, const SPARSE_MATRIX *matrix, const double *solved,
                                     double *solution);

// The pattern and values the solver works on: the renumbered ones when the matrix is renumbered
// at each solve, else the plain ones.
struct SOLVER_PATTERN {
  int *row_head_pointers = nullptr; // dimension+1 offsets
  int *columns = nullptr;           // size columns, 0-based
  int size = 0;
  double *lower = nullptr;
  double *upper = nullptr;
};
SOLVER_PATTERN solver_pattern(SPARSE_MATRIX *matrix);

// Unit rows for unknowns left without connections (1-based numbers): diagonal 1.0 in the lower
// and upper arrays; a row holding more than its diagonal gets "wrong set disconnect
// variables[%d]\n" in check. The count goes to check with the words of the main matrix, or of
// the sliding extension when in_sliding.
void set_unit_rows(SPARSE_MATRIX *matrix, int count, const int *variables, int in_sliding);

// Symmetric diagonal scaling a_ij D_i D_j, factors in D; sets is_scaled. The complex form takes
// the modulus of the diagonal; the asymmetric form scales matrix_upper with the same factors.
void scale_matrix(int n, SPARSE_MATRIX *matrix);
void scale_matrix_complex(int n, SPARSE_MATRIX *matrix);
void scale_matrix_asymmetric(int n, SPARSE_MATRIX *matrix);

} // namespace tesmora
