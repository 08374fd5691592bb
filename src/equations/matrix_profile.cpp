// Matrix profile: building from connection lists, file form, location search, debugging writers.
#include "equations/matrix_profile.hpp"

#include "job/block_io.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"

#include <algorithm>

namespace tesmora {

MATRIX_PROFILE *make_matrix_profile(int dimension, int type) {
  auto *profile = static_cast<MATRIX_PROFILE *>(calloc_named(1, sizeof(MATRIX_PROFILE), "MATRIX_PROFILE"));
  profile->type = type;
  profile->dimension = dimension;
  profile->no_elements_in_row = calloc_int(static_cast<std::uint64_t>(dimension), "prof->no_elements_in_row");
  profile->row_head_pointers =
      calloc_int(static_cast<std::uint64_t>(dimension) + 1, "prof->row_head_pointers");
  return profile;
}

void free_matrix_profile(MATRIX_PROFILE **profile) {
  if (!*profile) return;
  free_named((*profile)->index, "profile->index");
  free_named((*profile)->no_elements_in_row, "prof->no_elements_in_row");
  free_named((*profile)->row_head_pointers, "prof->row_head_pointers");
  free_named(*profile, "MATRIX_PROFILE");
  *profile = nullptr;
}

CONNECTION_VECTOR *make_connection_vector(int capacity) {
  auto *vector =
      static_cast<CONNECTION_VECTOR *>(calloc_named(1, sizeof(CONNECTION_VECTOR), "CONNECTION_VECTOR"));
  vector->capacity = capacity;
  vector->v = calloc_int(static_cast<std::uint64_t>(capacity), "c->v");
  return vector;
}

void free_connection_vector(CONNECTION_VECTOR **vector) {
  if (!*vector) return;
  free_named((*vector)->v, "CONNECTION_VECTOR->v");
  free_named(*vector, "CONNECTION_VECTOR");
  *vector = nullptr;
}

void add_to_connection_vector(CONNECTION_VECTOR *vector, int variable) {
  if (vector->no_elements == vector->capacity) {
    vector->capacity = std::max(2 * vector->capacity, 1);
    vector->v = static_cast<int *>(realloc_named(
        vector->v, static_cast<std::uint64_t>(vector->capacity) * sizeof(int), "CONNECTION_VECTOR->v"));
  }
  vector->v[vector->no_elements++] = variable;
}

PROFILE_LISTS *make_profile_lists(int dimension) {
  auto *lists = static_cast<PROFILE_LISTS *>(calloc_named(1, sizeof(PROFILE_LISTS), "PROFILE_LISTS"));
  lists->dimension = dimension;
  lists->heads = static_cast<SORTED_CELL **>(
      calloc_named(static_cast<std::uint64_t>(dimension), sizeof(SORTED_CELL *), "lists"));
  lists->store = create_sorted_list_store();
  return lists;
}

void free_profile_lists(PROFILE_LISTS **lists) {
  if (!*lists) return;
  delete_blocked_array_list(&(*lists)->store);
  free_named((*lists)->heads, "lists");
  free_named(*lists, "PROFILE_LISTS");
  *lists = nullptr;
}

void add_connection(PROFILE_LISTS *lists, int i, int j) {
  if (i == j) return;
  const int row = std::max(i, j), column = std::min(i, j);
  insert_sorted(lists->store, &lists->heads[row - 1], column);
}

void add_connections(PROFILE_LISTS *lists, const CONNECTION_VECTOR *vector) {
  // Quadratic in the variables of one element, which is what the sorted lists are for.
  for (int a = 0; a < vector->no_elements; ++a)
    for (int b = 0; b < vector->no_elements; ++b)
      if (vector->v[a] > vector->v[b])
        insert_sorted(lists->store, &lists->heads[vector->v[a] - 1], vector->v[b]);
}

namespace {

// Row lengths, row_head_pointers and index of the profile's type from strictly lower columns
// given row by row, ascending, by `columns_of(row, visit)`. A row's own lower columns come first,
// then its diagonal, then (full pattern) the mirror entries of later rows, which arrive in
// ascending row order: every type comes out ascending.
template <class COLUMNS> void fill_profile(MATRIX_PROFILE *profile, const COLUMNS &columns_of) {
  const int n = profile->dimension;
  const int with_diagonal = profile->type != profile_strictly_lower ? 1 : 0;
  for (int row = 0; row < n; ++row) {
    columns_of(row, [&](int column) {
      ++profile->no_elements_in_row[row];
      if (profile->type == profile_full) ++profile->no_elements_in_row[column - 1];
    });
    profile->no_elements_in_row[row] += with_diagonal;
  }
  profile->row_head_pointers[0] = 0;
  for (int row = 0; row < n; ++row)
    profile->row_head_pointers[row + 1] = profile->row_head_pointers[row] + profile->no_elements_in_row[row];
  profile->size = profile->row_head_pointers[n];
  free_named(profile->index, "profile->index");
  profile->index = calloc_int(static_cast<std::uint64_t>(profile->size), "profile->index");
  int *fill = calloc_int(static_cast<std::uint64_t>(n) + 1, "work in build_profile");
  for (int row = 0; row < n; ++row) fill[row] = profile->row_head_pointers[row];
  for (int row = 0; row < n; ++row) {
    columns_of(row, [&](int column) {
      profile->index[fill[row]++] = column;
      if (profile->type == profile_full) profile->index[fill[column - 1]++] = row + 1;
    });
    if (profile->type != profile_strictly_lower) profile->index[fill[row]++] = row + 1;
  }
  free_named(fill, "work in build_profile");
}

} // namespace

void build_profile(MATRIX_PROFILE *profile, const PROFILE_LISTS *lists) {
  fill_profile(profile, [lists](int row, auto &&visit) {
    for (const SORTED_CELL *cell = lists->heads[row]; cell; cell = cell->next) visit(cell->value);
  });
}

void build_profile_from_rows(MATRIX_PROFILE *profile, const std::int64_t *row_starts, const int *row_lengths,
                             const int *columns) {
  fill_profile(profile, [&](int row, auto &&visit) {
    const int *column = columns + row_starts[row];
    for (int k = 0; k < row_lengths[row]; ++k) visit(column[k]);
  });
}

void write_matrix_profile(FFILE *file, const MATRIX_PROFILE *profile) {
  write_blocks(&profile->dimension, 4, 1, file);
  write_blocks(&profile->size, 4, 1, file);
  write_blocks(profile->row_head_pointers, 4, static_cast<std::uint64_t>(profile->dimension) + 1, file);
  if (profile->size > 0) write_blocks(profile->index, 4, static_cast<std::uint64_t>(profile->size), file);
}

MATRIX_PROFILE *read_matrix_profile(FFILE *file, MATRIX_PROFILE *profile) {
  int dimension = 0, size = 0;
  read_blocks(&dimension, 4, 1, file);
  read_blocks(&size, 4, 1, file);
  if (profile) {
    free_named(profile->index, "profile->index");
    free_named(profile->no_elements_in_row, "prof->no_elements_in_row");
    free_named(profile->row_head_pointers, "prof->row_head_pointers");
    profile->dimension = dimension;
    profile->no_elements_in_row =
        calloc_int(static_cast<std::uint64_t>(dimension), "prof->no_elements_in_row");
    profile->row_head_pointers =
        calloc_int(static_cast<std::uint64_t>(dimension) + 1, "prof->row_head_pointers");
  } else {
    profile = make_matrix_profile(dimension, profile_lower_with_diagonal);
  }
  profile->size = size;
  read_blocks(profile->row_head_pointers, 4, static_cast<std::uint64_t>(dimension) + 1, file);
  profile->index = calloc_int(static_cast<std::uint64_t>(size), "profile->index");
  if (size > 0) read_blocks(profile->index, 4, static_cast<std::uint64_t>(size), file);
  for (int row = 0; row < dimension; ++row)
    profile->no_elements_in_row[row] = profile->row_head_pointers[row + 1] - profile->row_head_pointers[row];
  return profile;
}

void skip_matrix_profile(FFILE *file) {
  int dimension = 0, size = 0;
  read_blocks(&dimension, 4, 1, file);
  read_blocks(&size, 4, 1, file);
  blocked_fseek(file, 4 * (static_cast<std::int64_t>(dimension) + 1 + size), SEEK_CUR);
}

// Offset of `column` in row `row` (1-based row; the column in the base of `index`) or -1. The row is sorted,
// so a binary search over it; short rows (the edge stencil) are scanned, which is quicker than branching on
// halves.
static inline int find_in_row(int row, int column, const int *row_head_pointers, const int *index) {
  int low = row_head_pointers[row - 1];
  int high = row_head_pointers[row];
  while (high - low > 8) {
    const int middle = low + (high - low) / 2;
    if (index[middle] < column)
      low = middle + 1; // the column lies above the middle
    else
      high = middle + 1; // the column is the middle or below it
  }
  for (; low < high; ++low)
    if (index[low] == column) return low;
  return -1;
}

int location_in_matrix(int i, int j, const int *row_head_pointers, const int *index) {
  const int row = std::max(i, j), column = std::min(i, j);
  const int location = find_in_row(row, column, row_head_pointers, index);
  if (location < 0) {
    write_fault("*** Location error in matrix i=%d, j=%d\n", i, j);
    stop_job(1);
  }
  return location;
}

int location_in_pattern(int i, int j, const int *row_head_pointers, const int *columns) {
  // Row max(i,j) in 1-based terms, searched for a 0-based column.
  const int row = std::max(i, j) + 1, column = std::min(i, j);
  const int location = find_in_row(row, column, row_head_pointers, columns);
  if (location < 0) {
    write_fault("*** Location error in matrix i=%d, j=%d\n", i + 1, j + 1);
    stop_job(1);
  }
  return location;
}

int location_in_source_matrix(int i, int j, const int *row_head_pointers, const int *index) {
  const int location = find_in_row(i, j, row_head_pointers, index);
  if (location < 0) {
    write_fault("*** Location error in source matrix i=%d, j=%d\n", i, j);
    stop_job(1);
  }
  return location;
}

void print_profile(std::FILE *stream, const MATRIX_PROFILE *profile) {
  write_report(stream, "dimension= %d, size= %d\n", profile->dimension, profile->size);
  write_report(stream, "no_elements_in_rows\n");
  for (int row = 0; row < profile->dimension; ++row)
    write_report(stream, "%d ", profile->no_elements_in_row[row]);
  write_report(stream, "\nrow_head_pointers\n");
  for (int row = 0; row <= profile->dimension; ++row)
    write_report(stream, "%d ", profile->row_head_pointers[row]);
  write_report(stream, "\nindex\n");
  for (int k = 0; k < profile->size; ++k) write_report(stream, "%d ", profile->index[k]);
  write_report(stream, "\n");
}

void write_matrix_dat(const char *path, const MATRIX_PROFILE *profile, const double *values) {
  std::FILE *stream = std::fopen(path, "w");
  if (!stream) return;
  write_report(stream, "Matrix: dimension=%d, no_nonzeros = %d\n", profile->dimension, profile->size);
  for (int row = 0; row < profile->dimension; ++row)
    for (int k = profile->row_head_pointers[row]; k < profile->row_head_pointers[row + 1]; ++k)
      write_report(stream, "%d  %d  %e\n", row + 1, profile->index[k], values[k]);
  std::fclose(stream);
}

void write_rhs_dat(const char *path, int dimension, const double *rhs, int is_complex) {
  std::FILE *stream = std::fopen(path, "w");
  if (!stream) return;
  write_report(stream, "RHS: dimension=%d\n", dimension);
  for (int row = 0; row < dimension; ++row) {
    if (is_complex)
      write_report(stream, "%d   %e   %e\n", row + 1, rhs[2 * row], rhs[2 * row + 1]);
    else
      write_report(stream, "%d   %e\n", row + 1, rhs[row]);
  }
  std::fclose(stream);
}

void write_index_dat(const char *path, const MATRIX_PROFILE *profile) {
  std::FILE *stream = std::fopen(path, "w");
  if (!stream) return;
  for (int row = 0; row < profile->dimension; ++row)
    for (int k = profile->row_head_pointers[row]; k < profile->row_head_pointers[row + 1]; ++k)
      write_report(stream, "%d %d\n", row + 1, profile->index[k]);
  std::fclose(stream);
}

} // namespace tesmora
