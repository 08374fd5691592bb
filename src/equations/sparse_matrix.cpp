// Sparse matrix records and their file form, sparse vectors, and the dense symmetric solve.
#include "equations/sparse_matrix.hpp"

#include "equations/solvers/solver_methods.hpp"
#include "job/block_io.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"
#include "job/tagged_array.hpp"

#include <cstring>

namespace tesmora {

namespace {

constexpr const char *lower_tag = "sparse_matrix->matrix_lower";
constexpr const char *upper_tag = "sparse_matrix->matrix_upper";
constexpr const char *renumbered_tag = "sparse_matrix->matrix_lower";
constexpr const char *rhp_tag = "sparse_matrix->profile->row_head_pointers";
constexpr const char *rows_tag = "sparse_matrix->profile->no_elements_in_rows";
constexpr const char *index_tag = "sparse_matrix->profile->index";

std::uint64_t u64(long long value) { return static_cast<std::uint64_t>(value); }

// Pattern arrays of the record: double size for a moving mesh, which keeps the renumbered
// pattern behind the plain one.
void make_pattern_arrays(SPARSE_MATRIX *m, int dimension, int size, int moving) {
  const long long copies = moving ? 2 : 1;
  m->pattern.no_elements_in_row = calloc_int(u64(copies * dimension), rows_tag);
  m->pattern.row_head_pointers = calloc_int(u64(copies * (dimension + 1LL)), rhp_tag);
  m->pattern.columns = calloc_int(u64(copies * size), index_tag);
}

} // namespace

SPARSE_MATRIX *make_sparse_matrix(int dimension, int size, const SPARSE_MATRIX_OPTIONS &options) {
  auto *m = static_cast<SPARSE_MATRIX *>(calloc_named(1, sizeof(SPARSE_MATRIX), "sparse_matrix"));
  *m = SPARSE_MATRIX{};
  m->dimension = dimension;
  m->size = size;
  m->asymmetric = options.asymmetric;
  m->scaled_option = options.scaling;
  m->renumber_option = options.renumber_option;
  m->is_complex = options.is_complex;
  m->solver = options.solver;
  const PRECONDITIONER preconditioner = find_solver_method(options.solver).preconditioner;
  m->use_factor = preconditioner == PRECONDITIONER::incomplete_factor ? 1 : 0;
  const long long values = options.moving ? static_cast<long long>(size) + dimension : size;
  m->allocated_size = static_cast<int>(values);
  const int width = options.is_complex ? 2 : 1;
  make_pattern_arrays(m, dimension, size, options.moving);
  m->matrix_lower = calloc_double(u64(width * values), lower_tag);
  if (options.scaling) m->D = calloc_double(u64(dimension), "sparse_matrix->D");
  const bool factor = options.moving || m->use_factor;
  if (factor) m->L = calloc_double(u64(width * values), "sparse_matrix->L");
  if (options.moving || m->use_factor || preconditioner == PRECONDITIONER::gauss_seidel)
    m->Diag = calloc_double(u64(width) * u64(dimension), "sparse_matrix->Diag");
  if (options.asymmetric) {
    m->matrix_upper = calloc_double(u64(width * values), upper_tag);
    if (factor) m->U = calloc_double(u64(width * values), "sparse_matrix->U");
  }
  if (options.renumber_option) {
    m->renumbering_index = calloc_int(u64(dimension), "sparse_matrix->renumbering_index");
    m->matrix_lower_renumbered = calloc_double(u64(width * values), renumbered_tag);
    if (options.asymmetric) m->matrix_upper_renumbered = calloc_double(u64(width * values), upper_tag);
  }
  return m;
}

// Frees every array the record owns, the extension included, and leaves the record empty.
static void free_sparse_matrix_arrays(SPARSE_MATRIX *m) {
  free_named(m->pattern.no_elements_in_row, rows_tag);
  free_named(m->pattern.row_head_pointers, rhp_tag);
  free_named(m->pattern.columns, index_tag);
  free_named(m->matrix_lower, lower_tag);
  free_named(m->matrix_upper, upper_tag);
  free_named(m->L, "sparse_matrix->L");
  free_named(m->D, "sparse_matrix->D");
  free_named(m->U, "sparse_matrix->U");
  free_named(m->renumbering_index, "sparse_matrix->renumbering_index");
  free_named(m->matrix_lower_renumbered, renumbered_tag);
  free_named(m->matrix_upper_renumbered, upper_tag);
  free_named(m->Diag, "sparse_matrix->Diag");
  free_sparse_matrix(&m->next);
  *m = SPARSE_MATRIX{};
}

void free_sparse_matrix(SPARSE_MATRIX **matrix) {
  if (!*matrix) return;
  free_sparse_matrix_arrays(*matrix);
  free_named(*matrix, "sparse_matrix");
  *matrix = nullptr;
}

void set_sparse_matrix_profile(SPARSE_MATRIX *matrix, const MATRIX_PROFILE *profile) {
  const int n = profile->dimension;
  std::memcpy(matrix->pattern.row_head_pointers, profile->row_head_pointers, sizeof(int) * (n + 1));
  std::memcpy(matrix->pattern.no_elements_in_row, profile->no_elements_in_row, sizeof(int) * n);
  const int *one_based = profile->index;
  int *columns = matrix->pattern.columns;
  for (int k = 0; k < profile->size; ++k) columns[k] = one_based[k] - 1;
  matrix->size = profile->size;
}

namespace {

// One optional array in the file: a presence word, then the values.
void write_optional(FFILE *file, const double *values, std::uint64_t count) {
  const int present = values ? 1 : 0;
  write_blocks(&present, 4, 1, file);
  if (values && count > 0) write_blocks(values, 8, count, file);
}

// The pattern in the file form of a MATRIX_PROFILE, whose columns are 1-based.
void write_pattern(FFILE *file, const SPARSE_MATRIX *m) {
  TaggedArray<int> one_based(m->size, "work in write_sparse_matrix");
  for (int k = 0; k < m->size; ++k) one_based[k] = m->pattern.columns[k] + 1;
  MATRIX_PROFILE profile;
  profile.dimension = m->dimension;
  profile.size = m->size;
  profile.index = one_based.data();
  profile.no_elements_in_row = m->pattern.no_elements_in_row;
  profile.row_head_pointers = m->pattern.row_head_pointers;
  write_matrix_profile(file, &profile);
}

double *read_optional(FFILE *file, std::uint64_t count, const char *tag) {
  int present = 0;
  read_blocks(&present, 4, 1, file);
  if (!present) return nullptr;
  double *values = calloc_double(count, tag);
  if (count > 0) read_blocks(values, 8, count, file);
  return values;
}

} // namespace

void write_sparse_matrix(FFILE *file, const SPARSE_MATRIX *m) {
  const int flags[13] = {
      m->dimension, m->size,       m->allocated_size, m->asymmetric, m->scaled_option, m->renumber_option,
      m->is_scaled, m->use_factor, m->is_factorised,  m->connected,  m->is_renumbered, m->renumbered_before,
      m->is_complex};
  write_blocks(flags, 4, 13, file);
  write_pattern(file, m);
  const std::uint64_t width = m->is_complex ? 2 : 1;
  write_optional(file, m->matrix_lower, width * u64(m->size));
  write_optional(file, m->matrix_upper, width * u64(m->size));
  write_optional(file, m->D, u64(m->dimension));
  write_optional(file, m->L, width * u64(m->size));
  write_optional(file, m->Diag, width * u64(m->dimension));
  write_optional(file, m->U, width * u64(m->size));
}

SPARSE_MATRIX *read_sparse_matrix(FFILE *file, SPARSE_MATRIX *matrix) {
  int flags[13] = {};
  read_blocks(flags, 4, 13, file);
  if (matrix)
    free_sparse_matrix_arrays(matrix);
  else
    matrix = static_cast<SPARSE_MATRIX *>(calloc_named(1, sizeof(SPARSE_MATRIX), "SPARSE_MATRIX"));
  SPARSE_MATRIX *m = matrix;
  m->dimension = flags[0], m->size = flags[1], m->allocated_size = flags[1], m->asymmetric = flags[3];
  m->scaled_option = flags[4], m->renumber_option = flags[5], m->is_scaled = flags[6],
  m->use_factor = flags[7];
  m->is_factorised = flags[8], m->connected = flags[9], m->is_renumbered = flags[10];
  m->renumbered_before = flags[11], m->is_complex = flags[12];
  MATRIX_PROFILE *profile = read_matrix_profile(file, nullptr);
  make_pattern_arrays(m, m->dimension, profile->size, 0);
  set_sparse_matrix_profile(m, profile);
  free_matrix_profile(&profile);
  const std::uint64_t width = m->is_complex ? 2 : 1;
  m->matrix_lower = read_optional(file, width * u64(m->size), "matrix->matrix_lower");
  m->matrix_upper = read_optional(file, width * u64(m->size), "matrix->matrix_upper");
  m->D = read_optional(file, u64(m->dimension), "matrix->D");
  m->L = read_optional(file, width * u64(m->size), "matrix->L");
  m->Diag = read_optional(file, width * u64(m->dimension), "matrix->Diag");
  m->U = read_optional(file, width * u64(m->size), "matrix->U");
  return m;
}

void add_in_asymmetric(int i, int j, double value, double *lower, double *upper, const int *row_head_pointers,
                       const int *index) {
  const int location = location_in_matrix(i, j, row_head_pointers, index);
  if (i >= j) lower[location] += value;
  if (i <= j) upper[location] += value;
}

SPARSE_VECTOR *make_sparse_vector(int dimension, const double *dense) {
  auto *v = static_cast<SPARSE_VECTOR *>(calloc_named(1, sizeof(SPARSE_VECTOR), "SPARSE_VECTOR"));
  for (int i = 0; i < dimension; ++i)
    if (dense[i] != 0.0) ++v->no_elements;
  v->index = calloc_int(u64(v->no_elements), "v->index");
  v->values = calloc_double(u64(v->no_elements), "v->values");
  int k = 0;
  for (int i = 0; i < dimension; ++i)
    if (dense[i] != 0.0) v->index[k] = i, v->values[k++] = dense[i];
  return v;
}

void free_sparse_vector(SPARSE_VECTOR **vector) {
  if (!*vector) return;
  free_named((*vector)->index, "v->index");
  free_named((*vector)->values, "v->values");
  free_named(*vector, "SPARSE_VECTOR");
  *vector = nullptr;
}

double sparse_vector_value(const SPARSE_VECTOR *vector, int position) {
  for (int k = 0; k < vector->no_elements; ++k)
    if (vector->index[k] == position) return vector->values[k];
  return 0.0;
}

double sparse_vector_dot(const SPARSE_VECTOR *vector, const double *dense) {
  double sum = 0.0;
  for (int k = 0; k < vector->no_elements; ++k) sum += vector->values[k] * dense[vector->index[k]];
  return sum;
}

void add_sparse_vector(const SPARSE_VECTOR *vector, double factor, double *dense) {
  for (int k = 0; k < vector->no_elements; ++k) dense[vector->index[k]] += factor * vector->values[k];
}

void write_sparse_vector(FFILE *file, const SPARSE_VECTOR *vector) {
  write_blocks(&vector->no_elements, 4, 1, file);
  if (vector->no_elements == 0) return;
  write_blocks(vector->index, 4, u64(vector->no_elements), file);
  write_blocks(vector->values, 8, u64(vector->no_elements), file);
}

SPARSE_VECTOR *read_sparse_vector(FFILE *file) {
  auto *v = static_cast<SPARSE_VECTOR *>(calloc_named(1, sizeof(SPARSE_VECTOR), "SPARSE_VECTOR"));
  read_blocks(&v->no_elements, 4, 1, file);
  v->index = calloc_int(u64(v->no_elements), "v->index");
  v->values = calloc_double(u64(v->no_elements), "v->values");
  if (v->no_elements == 0) return v;
  read_blocks(v->index, 4, u64(v->no_elements), file);
  read_blocks(v->values, 8, u64(v->no_elements), file);
  return v;
}

SYMMETRIC_MATRIX *make_symmetric_matrix(int dimension) {
  auto *m = static_cast<SYMMETRIC_MATRIX *>(calloc_named(1, sizeof(SYMMETRIC_MATRIX), "SYMMETRIC_MATRIX"));
  m->dimension = dimension;
  m->a = calloc_double(u64(dimension) * u64(dimension + 1) / 2, "matrix->a");
  return m;
}

void free_symmetric_matrix(SYMMETRIC_MATRIX **matrix) {
  if (!*matrix) return;
  free_named((*matrix)->a, "matrix->a");
  free_named(*matrix, "SYMMETRIC_MATRIX");
  *matrix = nullptr;
}

void solve_symmetric_matrix_equation(SYMMETRIC_MATRIX *matrix, double *rhs) {
  const int n = matrix->dimension;
  double *a = matrix->a;
  double *w = calloc_double(u64(n), "work in solve_symmetric_matrix_equation");
  // In-place L D L^T by rows: a(i,j) becomes l_ij (unit lower), a(i,i) becomes d_i.
  for (int i = 0; i < n; ++i) {
    double *row_i = a + static_cast<std::ptrdiff_t>(i) * (i + 1) / 2;
    for (int j = 0; j < i; ++j) {
      const double *row_j = a + static_cast<std::ptrdiff_t>(j) * (j + 1) / 2;
      double s = row_i[j];
      for (int k = 0; k < j; ++k) s -= w[k] * row_j[k];
      w[j] = s; // l_ij d_j, kept for the later columns of this row
      row_i[j] = s / row_j[j];
    }
    double s = row_i[i];
    for (int k = 0; k < i; ++k) s -= w[k] * row_i[k];
    if (s == 0.0) {
      write_fault("*** Symmetric matrix  is singular at k=%d. Job is quited\n", i + 1);
      stop_job(1);
    }
    row_i[i] = s;
  }
  for (int i = 0; i < n; ++i) { // L y = b
    const double *row_i = a + static_cast<std::ptrdiff_t>(i) * (i + 1) / 2;
    for (int k = 0; k < i; ++k) rhs[i] -= row_i[k] * rhs[k];
  }
  for (int i = 0; i < n; ++i) rhs[i] /= a[static_cast<std::ptrdiff_t>(i) * (i + 1) / 2 + i];
  for (int i = n - 1; i >= 0; --i) { // L^T x = D^-1 y
    const double *row_i = a + static_cast<std::ptrdiff_t>(i) * (i + 1) / 2;
    for (int k = 0; k < i; ++k) rhs[k] -= row_i[k] * rhs[i];
  }
  free_named(w, "work in solve_symmetric_matrix_equation");
}

} // namespace tesmora
