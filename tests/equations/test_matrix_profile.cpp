// Matrix profile and sparse storage: every assembly location exists for a random connectivity,
// the three profile types and their invariants, the location search and its messages, the file
// forms, sparse vectors and the dense symmetric solve against a hand calculation.
#include "equations/matrix_profile.hpp"
#include "equations/sparse_matrix.hpp"
#include "job/block_io.hpp"
#include "job/ffile.hpp"
#include "job/run_files.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <vector>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

// Random "elements": groups of 2..12 variables out of n, as an edge and node element gives.
std::vector<std::vector<int>> random_elements(int n, int no_elements, unsigned seed) {
  std::mt19937 generator(seed);
  std::uniform_int_distribution<int> size(2, 12), variable(1, n);
  std::vector<std::vector<int>> elements(no_elements);
  for (auto &element : elements) {
    element.resize(size(generator));
    for (int &v : element) v = variable(generator);
  }
  return elements;
}

MATRIX_PROFILE *profile_of(int n, const std::vector<std::vector<int>> &elements, int type) {
  PROFILE_LISTS *lists = make_profile_lists(n);
  CONNECTION_VECTOR *vector = make_connection_vector(81);
  for (const auto &element : elements) {
    clear_connection_vector(vector);
    for (int v : element) add_to_connection_vector(vector, v);
    add_connections(lists, vector);
  }
  free_connection_vector(&vector);
  MATRIX_PROFILE *profile = make_matrix_profile(n, type);
  build_profile(profile, lists);
  free_profile_lists(&lists);
  return profile;
}

} // namespace

class ProfileTypes : public ::testing::TestWithParam<int> {};

TEST_P(ProfileTypes, HoldsExactlyThePairsOfTheElementsInAscendingRows) {
  const int type = GetParam();
  SCOPED_TRACE("profile type " + std::to_string(type));
  const int n = 300;
  const auto elements = random_elements(n, 400, 11);
  MATRIX_PROFILE *profile = profile_of(n, elements, type);
  // The expected set, from the elements directly.
  std::set<std::pair<int, int>> expected;
  for (const auto &element : elements)
    for (int a : element)
      for (int b : element) {
        if (a > b || (a == b && type != profile_strictly_lower)) expected.insert({a, b});
        if (type == profile_full && a < b) expected.insert({a, b});
      }
  if (type != profile_strictly_lower)
    for (int i = 1; i <= n; ++i) expected.insert({i, i});
  std::set<std::pair<int, int>> stored;
  ASSERT_EQ(profile->row_head_pointers[0], 0);
  ASSERT_EQ(profile->row_head_pointers[n], profile->size);
  for (int row = 1; row <= n; ++row) {
    const int first = profile->row_head_pointers[row - 1], end = profile->row_head_pointers[row];
    EXPECT_EQ(profile->no_elements_in_row[row - 1], end - first);
    for (int k = first; k < end; ++k) {
      stored.insert({row, profile->index[k]});
      if (k > first) {
        EXPECT_LT(profile->index[k - 1], profile->index[k]);
      }
    }
    if (type == profile_lower_with_diagonal) {
      EXPECT_EQ(profile->index[end - 1], row);
    }
  }
  EXPECT_EQ(stored, expected);
  EXPECT_EQ(static_cast<std::size_t>(profile->size), expected.size());
  if (type == profile_lower_with_diagonal) {
    // Every pair an assembly would add exists, and both orders find the same place.
    for (const auto &element : elements)
      for (int a : element)
        for (int b : element) {
          const int location = location_in_matrix(a, b, profile->row_head_pointers, profile->index);
          EXPECT_EQ(location, location_in_matrix(b, a, profile->row_head_pointers, profile->index));
          EXPECT_EQ(profile->index[location], std::min(a, b));
          EXPECT_GE(location, profile->row_head_pointers[std::max(a, b) - 1]);
          EXPECT_LT(location, profile->row_head_pointers[std::max(a, b)]);
        }
  }
  free_matrix_profile(&profile);
}

INSTANTIATE_TEST_SUITE_P(AllTypes, ProfileTypes, ::testing::Values(0, 1, 2));

TEST(MatrixProfile, EdgeCasesOfRowsAndDimensions) {
  // A row with only the diagonal has one entry; the long row (variable 40 coupled to all 39
  // others) exercises the halving search.
  PROFILE_LISTS *lists = make_profile_lists(41);
  for (int j = 1; j < 40; ++j) add_connection(lists, 40, j);
  add_connection(lists, 3, 3); // a self-pair adds nothing
  MATRIX_PROFILE *profile = make_matrix_profile(41, profile_lower_with_diagonal);
  build_profile(profile, lists);
  free_profile_lists(&lists);
  EXPECT_EQ(profile->no_elements_in_row[40], 1);
  EXPECT_EQ(profile->no_elements_in_row[2], 1);
  EXPECT_EQ(profile->no_elements_in_row[39], 40);
  for (int j = 1; j <= 40; ++j) {
    const int location = location_in_matrix(40, j, profile->row_head_pointers, profile->index);
    EXPECT_EQ(location, profile->row_head_pointers[39] + j - 1);
  }
  free_matrix_profile(&profile);

  lists = make_profile_lists(0);
  profile = make_matrix_profile(0, profile_lower_with_diagonal);
  build_profile(profile, lists);
  free_profile_lists(&lists);
  EXPECT_EQ(profile->size, 0);
  EXPECT_EQ(profile->row_head_pointers[0], 0);
  free_matrix_profile(&profile);
}

TEST(MatrixProfile, MissingLocationsStopTheJobWithTheirMessages) {
  const CHILD_JOB job = run_job_in_child([] {
    const int rhp[] = {0, 1, 3};
    const int index[] = {1, 1, 2};
    location_in_matrix(2, 1, rhp, index); // present
    const int no_diagonal[] = {0, 1, 2};
    const int index2[] = {1, 1};
    location_in_matrix(1, 2, no_diagonal, index2); // row 2 holds column 1: present
    location_in_matrix(2, 2, no_diagonal, index2);
  });
  EXPECT_EQ(job.exit_status, 1);
  EXPECT_EQ(job.error, "*** Location error in matrix i=2, j=2\nexception error occured!! no.= 1\n");
  EXPECT_NE(job.check.find("*** Location error in matrix i=2, j=2\n"), std::string::npos);
  const CHILD_JOB source = run_job_in_child([] {
    const int rhp[] = {0, 2, 3};
    const int index[] = {1, 2, 2};
    location_in_source_matrix(1, 2, rhp, index);
    location_in_source_matrix(2, 1, rhp, index); // a full pattern is searched by its own row
  });
  EXPECT_EQ(source.exit_status, 1);
  EXPECT_EQ(source.error, "*** Location error in source matrix i=2, j=1\nexception error occured!! no.= 1\n");
}

TEST(MatrixProfile, FileFormRoundTripsThroughSystemMatricesAndCanBeSkipped) {
  ScopedJobFiles files;
  MATRIX_PROFILE *profile = profile_of(120, random_elements(120, 90, 5), profile_lower_with_diagonal);
  FFILE *file = run_files().system_matrices;
  open_ffile(file, "w");
  write_matrix_profile(file, profile);
  write_matrix_profile(file, profile);
  const double after = 2.5;
  std::fwrite(&after, sizeof after, 1, file->stream);
  close_ffile(file);
  // dimension, size, dimension+1 pointers, size columns: 4 bytes each, twice, and the marker.
  const std::size_t words = 2 + 121 + static_cast<std::size_t>(profile->size);
  EXPECT_EQ(read_file(files.dir().file("system_matrices")).size(), 2 * 4 * words + sizeof(double));
  open_ffile(file, "r");
  MATRIX_PROFILE *back = read_matrix_profile(file, nullptr);
  skip_matrix_profile(file);
  double marker = 0.0;
  ASSERT_EQ(std::fread(&marker, sizeof marker, 1, file->stream), 1u);
  close_ffile(file);
  EXPECT_EQ(marker, after);
  ASSERT_EQ(back->dimension, profile->dimension);
  ASSERT_EQ(back->size, profile->size);
  EXPECT_TRUE(
      std::equal(profile->row_head_pointers, profile->row_head_pointers + 121, back->row_head_pointers));
  EXPECT_TRUE(std::equal(profile->index, profile->index + profile->size, back->index));
  EXPECT_TRUE(
      std::equal(profile->no_elements_in_row, profile->no_elements_in_row + 120, back->no_elements_in_row));
  free_matrix_profile(&back);
  free_matrix_profile(&profile);
}

TEST(SparseMatrix, AllocationFollowsSolverAndTheWholeMatrixRoundTrips) {
  ScopedJobFiles files;
  MATRIX_PROFILE *profile = profile_of(30, random_elements(30, 20, 3), profile_lower_with_diagonal);
  SPARSE_MATRIX_OPTIONS plain{.solver = 2};
  SPARSE_MATRIX *m = make_sparse_matrix(30, profile->size, plain);
  EXPECT_EQ(m->use_factor, 0);
  EXPECT_EQ(m->L, nullptr);
  EXPECT_EQ(m->Diag, nullptr);
  EXPECT_EQ(m->D, nullptr);
  free_sparse_matrix(&m);
  SPARSE_MATRIX_OPTIONS full{.solver = 5, .scaling = 1, .asymmetric = 1};
  m = make_sparse_matrix(30, profile->size, full);
  set_sparse_matrix_profile(m, profile);
  EXPECT_EQ(m->use_factor, 1);
  for (int k = 0; k < m->size; ++k) m->matrix_lower[k] = k + 0.25, m->matrix_upper[k] = -k, m->L[k] = 2 * k;
  for (int i = 0; i < 30; ++i) m->D[i] = i, m->Diag[i] = 1.0 / (i + 1);
  m->is_factorised = 1;
  FFILE *file = run_files().tmp;
  open_ffile(file, "w");
  write_sparse_matrix(file, m);
  close_ffile(file);
  open_ffile(file, "r");
  SPARSE_MATRIX *back = read_sparse_matrix(file, nullptr);
  close_ffile(file);
  EXPECT_EQ(back->is_factorised, 1);
  EXPECT_EQ(back->asymmetric, 1);
  ASSERT_EQ(back->size, m->size);
  EXPECT_TRUE(std::equal(m->matrix_lower, m->matrix_lower + m->size, back->matrix_lower));
  EXPECT_TRUE(std::equal(m->matrix_upper, m->matrix_upper + m->size, back->matrix_upper));
  EXPECT_TRUE(std::equal(m->L, m->L + m->size, back->L));
  EXPECT_TRUE(std::equal(m->U, m->U + m->size, back->U));
  EXPECT_TRUE(std::equal(m->Diag, m->Diag + 30, back->Diag));
  EXPECT_TRUE(std::equal(m->pattern.columns, m->pattern.columns + m->size, back->pattern.columns));
  // In memory the columns are 0-based; the file holds them as a MATRIX_PROFILE does, 1-based.
  for (int k = 0; k < m->size; ++k) EXPECT_EQ(m->pattern.columns[k], profile->index[k] - 1);
  open_ffile(file, "r");
  int flags[13] = {};
  read_blocks(flags, 4, 13, file);
  MATRIX_PROFILE *in_file = read_matrix_profile(file, nullptr);
  close_ffile(file);
  ASSERT_EQ(in_file->size, profile->size);
  EXPECT_TRUE(std::equal(profile->index, profile->index + profile->size, in_file->index));
  free_matrix_profile(&in_file);
  free_sparse_matrix(&back);
  free_sparse_matrix(&m);
  free_matrix_profile(&profile);
}

TEST(SparseMatrix, TwoArrayRuleOfAsymmetricAssembly) {
  // Pattern of a full 3x3 lower triangle.
  const int rhp[] = {0, 1, 3, 6};
  const int index[] = {1, 1, 2, 1, 2, 3};
  double lower[6] = {}, upper[6] = {};
  add_in_asymmetric(3, 1, 5.0, lower, upper, rhp, index); // a_31 to lower only
  add_in_asymmetric(1, 3, 7.0, lower, upper, rhp, index); // a_13 to upper at the place of (3,1)
  add_in_asymmetric(2, 2, 1.5, lower, upper, rhp, index); // diagonal to both
  EXPECT_EQ(lower[3], 5.0);
  EXPECT_EQ(upper[3], 7.0);
  EXPECT_EQ(lower[2], 1.5);
  EXPECT_EQ(upper[2], 1.5);
}

TEST(SparseVector, CompressesAndOperatesLikeTheDenseVector) {
  ScopedJobFiles files;
  const double dense[] = {0.0, 2.0, 0.0, -1.0, 0.0, 4.0};
  SPARSE_VECTOR *v = make_sparse_vector(6, dense);
  EXPECT_EQ(v->no_elements, 3);
  EXPECT_EQ(sparse_vector_value(v, 3), -1.0);
  EXPECT_EQ(sparse_vector_value(v, 2), 0.0);
  const double other[] = {1, 1, 1, 1, 1, 2};
  EXPECT_EQ(sparse_vector_dot(v, other), 2.0 - 1.0 + 8.0); // hand sum
  double target[6] = {};
  add_sparse_vector(v, 0.5, target);
  EXPECT_EQ(target[5], 2.0);
  FFILE *file = run_files().tmp;
  open_ffile(file, "w");
  write_sparse_vector(file, v);
  close_ffile(file);
  open_ffile(file, "r");
  SPARSE_VECTOR *back = read_sparse_vector(file);
  close_ffile(file);
  ASSERT_EQ(back->no_elements, 3);
  EXPECT_EQ(back->index[2], 5);
  EXPECT_EQ(back->values[1], -1.0);
  free_sparse_vector(&back);
  free_sparse_vector(&v);
}

TEST(SymmetricMatrix, SolvesAgainstAHandCalculationAndStopsAtAZeroPivot) {
  // A = [4 2 0; 2 5 3; 0 3 6] and x = (1, -1, 2) give b = (4-2, 2-5+6, -3+12) = (2, 3, 9).
  SYMMETRIC_MATRIX *m = make_symmetric_matrix(3);
  symmetric_entry(m, 0, 0) = 4, symmetric_entry(m, 1, 0) = 2, symmetric_entry(m, 1, 1) = 5;
  symmetric_entry(m, 2, 1) = 3, symmetric_entry(m, 2, 2) = 6;
  double b[] = {2, 3, 9};
  solve_symmetric_matrix_equation(m, b);
  // Rounding of a 3x3 elimination: a few eps.
  expect_close(b[0], 1.0, 1e-14, 1e-14);
  expect_close(b[1], -1.0, 1e-14, 1e-14);
  expect_close(b[2], 2.0, 1e-14, 1e-14);
  free_symmetric_matrix(&m);
  const CHILD_JOB job = run_job_in_child([] {
    SYMMETRIC_MATRIX *singular = make_symmetric_matrix(2);
    symmetric_entry(singular, 0, 0) = 1, symmetric_entry(singular, 1, 0) = 2,
                                 symmetric_entry(singular, 1, 1) = 4;
    double rhs[] = {1, 1};
    solve_symmetric_matrix_equation(singular, rhs);
  });
  EXPECT_EQ(job.exit_status, 1);
  EXPECT_NE(job.error.find("*** Symmetric matrix  is singular at k=2. Job"), std::string::npos) << job.error;
}
