// SPARSE_MATRIX (a profile with its values, factors and renumbering), SPARSE_VECTOR, the packed
// SYMMETRIC_MATRIX, and the two-array addition of asymmetric assembly.
//
// Values follow the type-1 pattern: matrix_lower[k] is entry (row, columns[k]) with the diagonal as
// the last entry of each row. Unlike a MATRIX_PROFILE, the pattern holds 0-based columns, the base
// of every loop of the solver; it is converted once where it meets the 1-based profile of the
// builders and of the file forms (set_sparse_matrix_profile, write_ and read_sparse_matrix). matrix_upper
// holds the strict upper part by rows of the transpose: at the place of (i,j), i > j, it holds a_ji; its
// diagonal equals the lower one. A complex matrix stores (real, imaginary) pairs, so each value array is
// twice as long.
#pragma once

#include "equations/matrix_profile.hpp"
#include "job/ffile.hpp"

namespace tesmora {

// What make_sparse_matrix needs to know of the equation.
struct SPARSE_MATRIX_OPTIONS {
  int solver = 0;          // the equation's solver code; its row's preconditioner decides use_factor
  int scaling = 0;         // 1: diagonal scaling before each factorisation
  int asymmetric = 0;      // 1: matrix_upper and U exist
  int is_complex = 0;      // 1: values are (real, imaginary) pairs
  int moving = 0;          // 1: a moving mesh: L and Diag always, pattern arrays at double size
  int renumber_option = 0; // RENUMBERING code (1 levels, 2 AMD) for renumbering at each solve, else 0
};

// The compressed-row pattern of a SPARSE_MATRIX (type 1). For a moving mesh each array is twice as
// long and the renumbered pattern follows the plain one.
struct SPARSE_PATTERN {
  int *row_head_pointers =
      nullptr; // dimension+1 offsets, 0-based; "sparse_matrix->profile->row_head_pointers"
  int *no_elements_in_row =
      nullptr;            // dimension counts by 0-based row; "sparse_matrix->profile->no_elements_in_rows"
  int *columns = nullptr; // size column numbers, 0-based, ascending in a row, the diagonal last;
                          // "sparse_matrix->profile->index"
};

struct SPARSE_MATRIX {
  int dimension = 0;                // rows
  int size = 0;                     // entries of the lower part
  int allocated_size = 0;           // capacity of the value arrays (entries), at least size
  int asymmetric = 0;               // 1 when matrix_upper exists
  int scaled_option = 0;            // 1 when scaling is asked for
  int renumber_option = 0;          // RENUMBERING code when renumbered at each solve, else 0
  int is_scaled = 0;                // the present values are scaled
  int solver = 0;                   // code of the method the matrix is made for: the equation's
  int use_factor = 0;               // the solver needs the incomplete factor
  int is_factorised = 0;            // the present factor is valid
  int connected = 1;                // 0 when the renumbering found a split
  int is_renumbered = 0;            // the renumbered pattern exists for the present pattern
  int renumbered_before = 0;        // a first renumbering has happened in this run
  int is_complex = 0;               // values are (real, imaginary) pairs
  SPARSE_PATTERN pattern;           // 0-based columns; double size when moving
  double *matrix_lower = nullptr;   // allocated_size values (x2 complex); "sparse_matrix->matrix_lower"
  double *matrix_upper = nullptr;   // the same, when asymmetric; "sparse_matrix->matrix_upper"
  double *L = nullptr;              // incomplete factor, pattern of matrix_lower; "sparse_matrix->L"
  double *D = nullptr;              // dimension scaling factors, real; "sparse_matrix->D"
  double *U = nullptr;              // upper factor when asymmetric; "sparse_matrix->U"
  int *renumbering_index = nullptr; // dimension old-to-new numbers, 1-based values; when renumber_option
  double *matrix_lower_renumbered = nullptr; // values in renumbered form; when renumber_option
  double *matrix_upper_renumbered = nullptr; // the same for the upper part, when also asymmetric
  SPARSE_MATRIX *next = nullptr;             // sliding-face extension (not built here)
  double *Diag = nullptr; // dimension (x2 complex): inverse pivots, or the diagonal (Gauss-Seidel)
};

// Allocates the record (tag "sparse_matrix"), its profile arrays with all row counts zero, and the
// value arrays the options ask for. size is the expected entry count of the lower part.
SPARSE_MATRIX *make_sparse_matrix(int dimension, int size, const SPARSE_MATRIX_OPTIONS &options);
// Frees what the record owns and sets *matrix to null. A shallow copy made to share the pattern
// must have its shared pointers set to null before it is freed.
void free_sparse_matrix(SPARSE_MATRIX **matrix);
// Copies a type-1 profile (1-based columns) into the matrix's pattern (0-based columns); its arrays
// must be large enough.
void set_sparse_matrix_profile(SPARSE_MATRIX *matrix, const MATRIX_PROFILE *profile);

// The whole preconditioned matrix to a file and back: the flags, the pattern in the file form of a
// MATRIX_PROFILE (1-based columns), then each of matrix_lower, matrix_upper, D, L, Diag, U behind
// a word saying whether it is present.
void write_sparse_matrix(FFILE *file, const SPARSE_MATRIX *matrix);
SPARSE_MATRIX *read_sparse_matrix(FFILE *file, SPARSE_MATRIX *matrix);

// Two-array rule of asymmetric assembly for entry (i,j), 1-based: i > j to the lower array only,
// i < j to the upper array only (at the place of (j,i)), i = j to both.
void add_in_asymmetric(int i, int j, double value, double *lower, double *upper, const int *row_head_pointers,
                       const int *index);

// A dense vector without its zeros (tag "SPARSE_VECTOR").
struct SPARSE_VECTOR {
  int no_elements = 0;
  int *index = nullptr;     // no_elements positions, 0-based; tag "v->index"
  double *values = nullptr; // no_elements values; tag "v->values"
};

SPARSE_VECTOR *make_sparse_vector(int dimension, const double *dense);
void free_sparse_vector(SPARSE_VECTOR **vector);
double sparse_vector_value(const SPARSE_VECTOR *vector, int position); // 0.0 where not stored
double sparse_vector_dot(const SPARSE_VECTOR *vector, const double *dense);
void add_sparse_vector(const SPARSE_VECTOR *vector, double factor, double *dense); // dense += factor v
void write_sparse_vector(FFILE *file, const SPARSE_VECTOR *vector);
SPARSE_VECTOR *read_sparse_vector(FFILE *file);

// A small dense symmetric matrix, lower triangle packed by rows, diagonal included.
struct SYMMETRIC_MATRIX {
  int dimension = 0;
  double *a = nullptr; // dimension (dimension+1)/2 values; entry (i,j), i >= j, 0-based, at i(i+1)/2+j;
                       // tag "matrix->a"
};

SYMMETRIC_MATRIX *make_symmetric_matrix(int dimension);
void free_symmetric_matrix(SYMMETRIC_MATRIX **matrix);
inline double &symmetric_entry(SYMMETRIC_MATRIX *m, int i, int j) {
  return i >= j ? m->a[i * (i + 1) / 2 + j] : m->a[j * (j + 1) / 2 + i];
}
// Solves in place: the matrix becomes its L D L^T factor, rhs becomes the solution. A zero pivot
// stops the job with "*** Symmetric matrix  is singular at k=%d. Job is quited\n".
void solve_symmetric_matrix_equation(SYMMETRIC_MATRIX *matrix, double *rhs);

} // namespace tesmora
