// MATRIX_PROFILE: the compressed-row pattern of every sparse matrix, its builder from connection
// lists, its file form, the location search of assembly and the debugging writers.
//
// Row and column numbers are 1-based; row pointers are 0-based offsets into `index` and the value
// arrays. Columns ascend within a row. The three profile types:
//   0  strictly lower part;
//   1  lower part with the diagonal as the last entry of each row (the stored matrices);
//   2  the full pattern, (i,j) and (j,i), diagonal included (orderings, source matrices).
#pragma once

#include "job/containers.hpp"
#include "job/ffile.hpp"

#include <cstdint>
#include <cstdio>

namespace tesmora {

inline constexpr int profile_strictly_lower = 0;
inline constexpr int profile_lower_with_diagonal = 1;
inline constexpr int profile_full = 2;

struct MATRIX_PROFILE {
  int type = profile_lower_with_diagonal; // 0, 1 or 2 as above
  int dimension = 0;                      // number of rows
  int size = 0;                           // number of entries, the length of index
  int *index = nullptr;                   // size column numbers, 1-based, ascending in a row
  int *no_elements_in_row = nullptr;      // dimension entries, 0-based by row
  int *row_head_pointers = nullptr;       // dimension+1 offsets, 0-based; [0] = 0, [dimension] = size
};

// Allocates the record (tag "MATRIX_PROFILE") with its two row arrays; index stays empty.
MATRIX_PROFILE *make_matrix_profile(int dimension, int type);
// Frees the record and its arrays and sets *profile to null; null is ignored.
void free_matrix_profile(MATRIX_PROFILE **profile);

// The variables that one element (or any group) connects: every pair of them is coupled.
// Variable numbers are 1-based (tag "CONNECTION_VECTOR->v", first allocated as "c->v").
struct CONNECTION_VECTOR {
  int *v = nullptr;    // no_elements variable numbers, 0-based position, 1-based values
  int no_elements = 0; // reset to 0 for each element
  int capacity = 0;    // 81 in the profile builder, 56 in the sliding-face builder; doubled on demand
};

CONNECTION_VECTOR *make_connection_vector(int capacity);
void free_connection_vector(CONNECTION_VECTOR **vector);
inline void clear_connection_vector(CONNECTION_VECTOR *vector) { vector->no_elements = 0; }
// Appends one variable number, doubling the capacity when full.
void add_to_connection_vector(CONNECTION_VECTOR *vector, int variable);

// The connectivity a profile is built from: for each variable (row) a sorted list of the
// lower-numbered variables (columns) it is coupled to, in 16-byte cells from one block store.
// The model code fills it element by element with add_connections, or pair by pair.
struct PROFILE_LISTS {
  int dimension = 0;
  SORTED_CELL **heads = nullptr;       // dimension list heads, 0-based by row; tag "lists"
  BLOCKED_ARRAY_LIST *store = nullptr; // the cells; thrown away as a whole
};

PROFILE_LISTS *make_profile_lists(int dimension);
void free_profile_lists(PROFILE_LISTS **lists);
// Couples variables i and j (1-based, any order); i = j and duplicates add nothing.
void add_connection(PROFILE_LISTS *lists, int i, int j);
// Couples every pair of the vector's variables (the per-element step of the builder).
void add_connections(PROFILE_LISTS *lists, const CONNECTION_VECTOR *vector);

// Fills profile (made with make_matrix_profile for lists->dimension rows) from the lists: the
// row counts, row_head_pointers and index (tag "profile->index") of its type.
void build_profile(MATRIX_PROFILE *profile, const PROFILE_LISTS *lists);
// The same from rows given as arrays: row r's strictly lower columns (1-based, ascending, no
// repeats) are columns[row_starts[r] .. row_starts[r] + row_lengths[r]).
void build_profile_from_rows(MATRIX_PROFILE *profile, const std::int64_t *row_starts, const int *row_lengths,
                             const int *columns);

// File form: dimension, size, row_head_pointers (dimension+1 words), index (size words).
void write_matrix_profile(FFILE *file, const MATRIX_PROFILE *profile);
// Reads a profile of type 1; into `profile` when given (its arrays are replaced), else into a new
// record. Returns the record.
MATRIX_PROFILE *read_matrix_profile(FFILE *file, MATRIX_PROFILE *profile);
void skip_matrix_profile(FFILE *file);

// Offset of entry (i,j), 1-based, in a lower-stored pattern (types 0 and 1): row max(i,j), column
// min(i,j). A missing entry writes "*** Location error in matrix i=%d, j=%d\n" to the stderr and
// check files and stops the job.
int location_in_matrix(int i, int j, const int *row_head_pointers, const int *index);
// The same in a lower pattern with 0-based columns (a SPARSE_MATRIX's): i and j 0-based, either
// order; the message gives them 1-based.
int location_in_pattern(int i, int j, const int *row_head_pointers, const int *columns);
// The same in a full pattern: row i, column j; its message names the source matrix.
int location_in_source_matrix(int i, int j, const int *row_head_pointers, const int *index);

// Debugging form of a profile.
void print_profile(std::FILE *stream, const MATRIX_PROFILE *profile);
// Debugging files of the solver (never written in a production run): "matrix.dat" (the lower
// part, real values), "RHS.dat" (a right-hand side, complex when is_complex) and "index.dat".
void write_matrix_dat(const char *path, const MATRIX_PROFILE *profile, const double *values);
void write_rhs_dat(const char *path, int dimension, const double *rhs, int is_complex);
void write_index_dat(const char *path, const MATRIX_PROFILE *profile);

} // namespace tesmora
