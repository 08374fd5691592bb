// Orderings (reverse levels by hand, AMD through SuiteSparse), their effect on ICCG for a
// shuffled grid, the per-solve renumbering of moving patterns, unit rows and diagonal scaling.
#include "equations/iccg.hpp"
#include "equations/renumbering.hpp"

#include "equations/equation_systems.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

// The full (type-2) profile of a graph given by its edges, 1-based.
MATRIX_PROFILE *full_profile(int n, const std::vector<std::pair<int, int>> &edges) {
  PROFILE_LISTS *lists = make_profile_lists(n);
  for (const auto &[a, b] : edges) add_connection(lists, a, b);
  MATRIX_PROFILE *profile = make_matrix_profile(n, profile_full);
  build_profile(profile, lists);
  free_profile_lists(&lists);
  return profile;
}

std::vector<int> ordering(const MATRIX_PROFILE *profile, int renumbering) {
  std::vector<int> new_number(profile->dimension), work(4 * profile->dimension + 4);
  renumber_variables(profile, renumbering, new_number.data(), work.data());
  return new_number;
}

// The full pattern of a test system.
MATRIX_PROFILE *full_profile_of(const TEST_SYSTEM &s) {
  std::vector<std::pair<int, int>> edges;
  for (int i = 0; i < s.n; ++i)
    for (const auto &entry : s.rows[i])
      if (entry.first < i) edges.emplace_back(i + 1, entry.first + 1);
  return full_profile(s.n, edges);
}

// The system in the new numbering: row new(i) holds row i.
TEST_SYSTEM renumbered(const TEST_SYSTEM &s, const std::vector<int> &new_number) {
  TEST_SYSTEM out = s;
  for (int i = 0; i < s.n; ++i) {
    out.rows[new_number[i] - 1].clear();
  }
  for (int i = 0; i < s.n; ++i)
    for (const auto &[j, a] : s.rows[i]) out.rows[new_number[i] - 1][new_number[j] - 1] = a;
  return out;
}

struct ICCG_RUN {
  int iterations = 0;
  std::vector<double> x; // in the original numbering
};

// ICCG on the system renumbered by new_number, with b = A (1, 2, 3, ...)/n in the old numbering.
ICCG_RUN run_iccg(const TEST_SYSTEM &s, const std::vector<int> &new_number, int renumber_option = 0) {
  const TEST_SYSTEM r = renumbered(s, new_number);
  std::vector<complex> x_old(s.n), x_new(s.n);
  for (int i = 0; i < s.n; ++i) x_old[i] = static_cast<double>(i + 1) / s.n;
  for (int i = 0; i < s.n; ++i) x_new[new_number[i] - 1] = x_old[i];
  std::vector<double> b = to_doubles(reference_product(r, x_new), false), x(s.n, 0.0);
  SPARSE_MATRIX *m = to_sparse_matrix(
      r, {.solver = 0, .scaling = 1, .moving = renumber_option ? 1 : 0, .renumber_option = renumber_option});
  SOLVER_SETTINGS settings;
  settings.cg_iteration.convergence = 1e-10;
  settings.cg_iteration.div_factor = 10.0;
  settings.cg_iteration.div_iterations = 1000;
  SOLVE_FIGURES cg;
  solve_sparse_matrix(m, b.data(), x.data(), s.n, settings, cg);
  free_sparse_matrix(&m);
  ICCG_RUN run;
  run.iterations = cg.iterations;
  run.x.resize(s.n);
  for (int i = 0; i < s.n; ++i) run.x[i] = x[new_number[i] - 1];
  return run;
}

} // namespace

TEST(Orderings, ReversedLevelsOfAPathWithAnIsolatedRow) {
  ScopedJobFiles files;
  // Path 1-2-3-4 and the isolated row 5. Levels from row 1 (the first of smallest degree):
  // 0,1,2,3 give numbers 1..4, the isolated row comes last (5), the reversal gives 5,4,3,2,1.
  MATRIX_PROFILE *profile = full_profile(5, {{1, 2}, {2, 3}, {3, 4}});
  EXPECT_EQ(ordering(profile, renumbering_levels), (std::vector<int>{5, 4, 3, 2, 1}));
  free_matrix_profile(&profile);
  const std::string check = files.check_text();
  EXPECT_NE(check.find("scaling connect=1\n"), std::string::npos);
  EXPECT_NE(check.find("no_independent variables = 1\n"), std::string::npos);
  EXPECT_EQ(check.find("Warning"), std::string::npos);
}

TEST(Orderings, TwoComponentsAreNumberedInTurnAndWarned) {
  ScopedJobFiles files;
  // Components {1,2} and {3,4}: levels 0,1 then 3,4; numbers 1..4 reversed.
  MATRIX_PROFILE *profile = full_profile(4, {{1, 2}, {3, 4}});
  EXPECT_EQ(ordering(profile, renumbering_levels), (std::vector<int>{4, 3, 2, 1}));
  free_matrix_profile(&profile);
  EXPECT_NE(files.check_text().find("scaling connect=2\n"
                                    "*** Warning: System matrix is disconnected. Number of connections =2\n"),
            std::string::npos);
}

TEST(Orderings, AmdGivesAPermutationAndLeavesTheIndexAsItWas) {
  ScopedJobFiles files;
  const TEST_SYSTEM s = make_laplacian(6, 5, 4);
  MATRIX_PROFILE *profile = full_profile_of(s);
  const std::vector<int> before(profile->index, profile->index + profile->size);
  std::vector<int> new_number = ordering(profile, renumbering_amd);
  EXPECT_TRUE(std::equal(before.begin(), before.end(), profile->index));
  std::sort(new_number.begin(), new_number.end());
  std::vector<int> identity(s.n);
  std::iota(identity.begin(), identity.end(), 1);
  EXPECT_EQ(new_number, identity);
  EXPECT_NE(files.check_text().find("finish AMD ordering=0 :AMD_OK=0\n"), std::string::npos);
  free_matrix_profile(&profile);
  // The translation of a failure: a column out of range is AMD_INVALID.
  const int Ap[] = {0, 1, 2};
  const int Ai[] = {0, 5};
  int P[2] = {};
  const AMD_OUTCOME bad = run_amd_order(2, Ap, Ai, P);
  EXPECT_EQ(bad.ok, 0);
  EXPECT_NE(bad.status, 0);
}

TEST(Orderings, IccgIterationsOfShuffledSystemsAndTheSolutionKept) {
  ScopedJobFiles files;
  for (int kind = 0; kind < 2; ++kind) {
    const TEST_SYSTEM grid = kind == 0 ? make_laplacian(12, 12, 12) : make_curl_curl(6, 0.1);
    SCOPED_TRACE(kind == 0 ? "laplacian 12^3" : "curl-curl 6^3 cells");
    std::vector<int> shuffle(grid.n);
    std::iota(shuffle.begin(), shuffle.end(), 1);
    std::mt19937 generator(3);
    std::shuffle(shuffle.begin(), shuffle.end(), generator);
    const TEST_SYSTEM s = renumbered(grid, shuffle);
    MATRIX_PROFILE *profile = full_profile_of(s);
    std::vector<int> natural(s.n);
    std::iota(natural.begin(), natural.end(), 1);
    const ICCG_RUN plain = run_iccg(s, natural);
    const ICCG_RUN levels = run_iccg(s, ordering(profile, renumbering_levels));
    const ICCG_RUN amd = run_iccg(s, ordering(profile, renumbering_amd));
    free_matrix_profile(&profile);
    std::printf("ICCG iterations, shuffled %s: shuffled %d, levels %d, AMD %d\n",
                kind == 0 ? "Laplacian 12^3" : "curl-curl 6^3", plain.iterations, levels.iterations,
                amd.iterations);
    // The level ordering restores a banded order: fewer iterations than the random one.
    EXPECT_LT(levels.iterations, plain.iterations);
    for (int i = 0; i < s.n; ++i) {
      // Exact solution (i+1)/n; 1e-10 residual times a condition number below 200, times 10.
      const double exact = static_cast<double>(i + 1) / s.n;
      expect_close(levels.x[i], exact, 0.0, 2e-7);
      expect_close(amd.x[i], exact, 0.0, 2e-7);
      expect_close(plain.x[i], exact, 0.0, 2e-7);
    }
  }
}

namespace {

// Entries below the diagonal of the complete Cholesky factor of the system in the new numbering,
// by symbolic elimination: the later neighbours of an eliminated row become a clique, which is
// carried by the first of them (its parent in the elimination tree).
long long complete_fill(const TEST_SYSTEM &s, const std::vector<int> &new_number) {
  std::vector<std::set<int>> later(s.n);
  for (int i = 0; i < s.n; ++i)
    for (const auto &entry : s.rows[i]) {
      const int a = new_number[i] - 1, b = new_number[entry.first] - 1;
      if (a < b) later[a].insert(b);
    }
  long long count = 0;
  for (int k = 0; k < s.n; ++k) {
    count += static_cast<long long>(later[k].size());
    if (later[k].empty()) continue;
    const int parent = *later[k].begin();
    for (const int v : later[k])
      if (v != parent) later[parent].insert(v);
  }
  return count;
}

} // namespace

TEST(Orderings, AmdMinimisesTheCompleteFactorsFillButNotTheZeroFillIterations) {
  // AMD is applied in the right direction when the complete factor of the renumbered system has
  // the least fill of the orderings (its inverse permutation is no better than a random one). It
  // aims at fill, not at the quality of a factor that drops all fill: with IC(0) the level order
  // needs fewer iterations (minimum-degree orders are known to be poor for zero-fill factors: the
  // dropped fill is larger, Duff and Meurant, BIT 1989).
  ScopedJobFiles files;
  for (int kind = 0; kind < 2; ++kind) {
    const TEST_SYSTEM grid = kind == 0 ? make_laplacian(12, 12, 12) : make_curl_curl(6, 0.1);
    SCOPED_TRACE(kind == 0 ? "laplacian 12^3" : "curl-curl 6^3 cells");
    std::vector<int> shuffle(grid.n), natural(grid.n);
    std::iota(shuffle.begin(), shuffle.end(), 1);
    std::iota(natural.begin(), natural.end(), 1);
    std::mt19937 generator(3);
    std::shuffle(shuffle.begin(), shuffle.end(), generator);
    const TEST_SYSTEM s = renumbered(grid, shuffle);
    MATRIX_PROFILE *profile = full_profile_of(s);
    const std::vector<int> levels = ordering(profile, renumbering_levels),
                           amd = ordering(profile, renumbering_amd);
    free_matrix_profile(&profile);
    std::vector<int> amd_inverse(s.n), unshuffled(s.n);
    for (int i = 0; i < s.n; ++i) amd_inverse[amd[i] - 1] = i + 1, unshuffled[shuffle[i] - 1] = i + 1;
    const long long fill_amd = complete_fill(s, amd), fill_levels = complete_fill(s, levels);
    const long long fill_random = complete_fill(s, natural), fill_inverse = complete_fill(s, amd_inverse);
    const long long fill_grid = complete_fill(s, unshuffled);
    const int its_amd = run_iccg(s, amd).iterations, its_levels = run_iccg(s, levels).iterations;
    const int its_grid = run_iccg(s, unshuffled).iterations;
    std::printf("%s: complete fill (ICCG iterations): grid order %lld (%d), shuffled %lld, levels %lld (%d), "
                "AMD %lld (%d), AMD inverted %lld\n",
                kind == 0 ? "Laplacian 12^3" : "curl-curl 6^3", fill_grid, its_grid, fill_random, fill_levels,
                its_levels, fill_amd, its_amd, fill_inverse);
    EXPECT_LT(fill_amd, fill_levels);
    EXPECT_LT(fill_amd, fill_grid);
    EXPECT_LT(2 * fill_amd, fill_inverse);
    EXPECT_LT(2 * fill_amd, fill_random);
    EXPECT_LE(its_levels, its_amd);
  }
}

class PerSolveRenumbering : public ::testing::TestWithParam<int> {};

TEST_P(PerSolveRenumbering, SolvesInTheModelsNumberingTwice) {
  const int option = GetParam();
  SCOPED_TRACE(option == renumbering_levels ? "levels" : "AMD");
  ScopedJobFiles files;
  for (int asymmetric = 0; asymmetric < 2; ++asymmetric) {
    const TEST_SYSTEM s =
        asymmetric ? make_convection_diffusion(6, 6, 6, 2.0, 1.0, 0.5) : make_curl_curl(3, 0.1);
    SPARSE_MATRIX *m = to_sparse_matrix(
        s, {.solver = asymmetric ? 6 : 0, .scaling = 1, .moving = 1, .renumber_option = option});
    SOLVER_SETTINGS settings;
    settings.cg_iteration.solver = asymmetric ? 6 : 0;
    settings.cg_iteration.convergence = 1e-10;
    settings.cg_iteration.div_factor = 10.0;
    settings.cg_iteration.div_iterations = 1000;
    SOLVE_FIGURES cg;
    for (int round = 0; round < 2; ++round) { // the second round reuses pattern and factor
      const std::vector<complex> x_true = random_solution(s.n, false, 5 + round);
      std::vector<double> b = to_doubles(reference_product(s, x_true), false), x(s.n, 0.0);
      solve_sparse_matrix(m, b.data(), x.data(), s.n, settings, cg);
      EXPECT_EQ(cg.status, 1);
      EXPECT_EQ(m->is_renumbered, 1);
      // Condition numbers below 200: 1e-10 residual, 10x for rounding, gives 2e-7.
      for (int i = 0; i < s.n; ++i) expect_close(x[i], x_true[i].real(), 0.0, 2e-7);
    }
    free_sparse_matrix(&m);
  }
}

INSTANTIATE_TEST_SUITE_P(BothOrderings, PerSolveRenumbering, ::testing::Values(1, 2));

TEST(UnitRows, SetTheDiagonalAndTellWrongRows) {
  ScopedJobFiles files;
  TEST_SYSTEM s = make_laplacian(3, 1, 1);
  s.rows.resize(4);
  s.n = 4;
  s.rows[3][3] = 0.0; // row 4 has no connections
  s.asymmetric = true;
  SPARSE_MATRIX *m = to_sparse_matrix(s, {.solver = 6});
  const int rows[] = {4, 2};
  set_unit_rows(m, 2, rows, 0);
  const int last = m->pattern.row_head_pointers[4] - 1, middle = m->pattern.row_head_pointers[2] - 1;
  EXPECT_EQ(m->matrix_lower[last], 1.0);
  EXPECT_EQ(m->matrix_upper[last], 1.0);
  EXPECT_EQ(m->matrix_lower[middle], 1.0);
  EXPECT_NE(
      files.check_text().find("wrong set disconnect variables[2]\nset disconnect variables in matrix =2\n"),
      std::string::npos);
  free_sparse_matrix(&m);
}

TEST(Scaling, ZeroDiagonalTakesTheLargestScaledEntryOfItsRow) {
  ScopedJobFiles files;
  // A = [4 2 0; 2 0 3; 0 3 9], upper part 10x the lower. By hand: D1 = 1/2; row 2 has a zero
  // diagonal, m = |2 D1| = 1, D2 = 1; D3 = 1/3. Scaled lower: 1; 1 0; 0 1 1; upper 10x.
  TEST_SYSTEM s;
  s.n = 3;
  s.rows.resize(3);
  s.asymmetric = true;
  s.rows[0][0] = 4, s.rows[1][0] = 2, s.rows[0][1] = 20, s.rows[1][1] = 0;
  s.rows[2][1] = 3, s.rows[1][2] = 30, s.rows[2][2] = 9;
  SPARSE_MATRIX *m = to_sparse_matrix(s, {.solver = 6, .scaling = 1});
  scale_matrix_asymmetric(3, m);
  EXPECT_EQ(m->is_scaled, 1);
  const double D[] = {0.5, 1.0, 1.0 / 3.0};
  for (int i = 0; i < 3; ++i) expect_close(m->D[i], D[i], 1e-15, 0.0); // rounding
  const double lower[] = {1, 1, 0, 1, 1}, upper[] = {1, 10, 0, 10, 1};
  for (int k = 0; k < 5; ++k) {
    expect_close(m->matrix_lower[k], lower[k], 1e-15, 1e-15); // rounding
    expect_close(m->matrix_upper[k], upper[k], 1e-15, 1e-15);
  }
  free_sparse_matrix(&m);
  // Complex: the modulus of the diagonal, real factors. |3+4i| = 5, D = 1/sqrt(5).
  TEST_SYSTEM c;
  c.n = 1;
  c.rows.resize(1);
  c.is_complex = true;
  c.rows[0][0] = complex(3.0, 4.0);
  m = to_sparse_matrix(c, {.solver = 0, .scaling = 1});
  scale_matrix_complex(1, m);
  expect_close(m->D[0], 1.0 / std::sqrt(5.0), 1e-15, 0.0); // rounding
  expect_close(m->matrix_lower[0], 0.6, 1e-15, 0.0);
  expect_close(m->matrix_lower[1], 0.8, 1e-15, 0.0);
  free_sparse_matrix(&m);
}
