// The table of solver methods walked row by row: what each stored code turns into, what a matrix
// made for it gets, and what a solve with it does on a real and on a complex system (a method or
// none, progress line, end-of-loop messages, iteration limit, tolerance under a nonlinear loop).
// The expectations are the documented behaviour of each code, written out here, not read from
// the table.
#include "equations/solvers/solver_methods.hpp"

#include "equations/iccg.hpp"

#include "equations/equation_systems.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

// What each code does, as documented. tightening: the factor of the first error below which a
// real solve stops under a nonlinear loop (ICCG_CONV_RATIO 1, ICCG_CONV / NON_LINEAR_CONV = 1e-3).
struct DOCUMENTED {
  int code;
  int stored_from_card; // 10 and 11 exchange
  int in_ac;            // 1 becomes 12
  int asymmetric;       // the asymmetric sibling
  bool on_card;         // the SOLVER card takes 0-3, 10 and 11
  bool factor;          // the matrix is factorised: all but 1, 2, 10
  bool gauss_seidel;    // code 1
  bool real_method;     // 0-8 have a method on a real matrix
  bool narrow_line;     // "     %5d%12.5e" on a real matrix: codes 2 and 4
  bool real_loop_end;   // the end-of-loop messages on a real matrix: every method but plain ICCG (0)
  double tightening;    // 0.2 (CG family, 3, 6), 0.01 (BiCG family 5, 7, 8), 1e-3 for 4
  bool limit_dimension; // code 4 always allows dimension + 10
};

constexpr int u = unlisted_solver_code;
const DOCUMENTED documented[] = {
    {u, u, u, 6, false, true, false, false, false, false, 0.0, false},
    {0, 0, 0, 6, true, true, false, true, false, false, 0.2, false},
    {1, 1, 12, 5, true, false, true, true, false, true, 0.2, false},
    {2, 2, 2, 7, true, false, false, true, true, true, 0.2, false},
    {3, 3, 3, 8, true, true, false, true, false, true, 0.2, false},
    {4, 4, 4, 9, false, true, false, true, true, true, 1e-3, true},
    {5, 5, 5, 6, false, true, false, true, false, true, 0.01, false},
    {6, 6, 6, 6, false, true, false, true, false, true, 0.2, false},
    {7, 7, 7, 6, false, true, false, true, false, true, 0.01, false},
    {8, 8, 8, 6, false, true, false, true, false, true, 0.01, false},
    {9, 9, 9, 6, false, true, false, false, false, false, 0.0, false},
    {10, 11, 10, 6, true, false, false, false, false, false, 0.0, false},
    {11, 10, 11, 6, true, true, false, false, false, false, 0.0, false},
    {12, 12, 12, 6, false, true, false, false, false, false, 0.0, false},
};

const DOCUMENTED &documented_of(int code) {
  return *std::find_if(std::begin(documented), std::end(documented),
                       [code](const DOCUMENTED &d) { return d.code == code; });
}

// The progress lines "     k  err" of the solve in check, in order, with their text.
struct TABLE_LINE {
  int k = 0;
  double err = 0.0;
  std::string text;
};

std::vector<TABLE_LINE> table_of(const std::string &check) {
  std::vector<TABLE_LINE> lines;
  for (const std::string &line : split_lines(check)) {
    if (line.rfind("*** ICCG", 0) == 0) break; // the table ends before the outcome
    std::istringstream in(line);
    TABLE_LINE entry;
    std::string rest;
    if (line.rfind("     ", 0) == 0 && (in >> entry.k >> entry.err) && !(in >> rest)) {
      entry.text = line;
      lines.push_back(entry);
    }
  }
  return lines;
}

bool contains(const std::string &text, const std::string &part) {
  return text.find(part) != std::string::npos;
}

struct RUN {
  std::string check;
  SOLVE_FIGURES figures;
  SOLVE_RESULT result;
  std::vector<double> start, x;
  int diag_allocated = 0, factor_allocated = 0;
};

// One solve of A x = A x_true from a nonzero start with the settings' code; the matrix is made
// for the same code, as the solve stage makes it.
RUN run_code(const TEST_SYSTEM &s, const SOLVER_SETTINGS &settings, const SOLVE_REQUEST &request = {}) {
  ScopedJobFiles files;
  SPARSE_MATRIX *m = to_sparse_matrix(s, {.solver = settings.cg_iteration.solver, .scaling = 1});
  RUN run;
  run.diag_allocated = m->Diag != nullptr;
  run.factor_allocated = m->L != nullptr;
  std::vector<double> rhs =
      to_doubles(reference_product(s, random_solution(s.n, s.is_complex)), s.is_complex);
  run.start.assign(rhs.size(), 0.25);
  run.x = run.start;
  run.result = solve_sparse_matrix(m, rhs.data(), run.x.data(), s.n, settings, run.figures, request);
  run.check = files.check_text();
  free_sparse_matrix(&m);
  return run;
}

SOLVER_SETTINGS settings_of(int code) {
  SOLVER_SETTINGS settings;
  settings.cg_iteration.solver = code;
  settings.cg_iteration.convergence = 1e-10;
  settings.cg_iteration.div_factor = 10.0;
  settings.cg_iteration.div_iterations = 1000;
  return settings;
}

// A real system each code's method suits: the asymmetric convection-diffusion operator for the
// methods of asymmetric systems (5-8), the Laplacian for the others.
TEST_SYSTEM real_system_of(int code) {
  if (code >= 5 && code <= 8) return make_convection_diffusion(4, 4, 4, 2.0, 1.0, 0.5);
  return make_laplacian(4, 4, 4);
}

} // namespace

TEST(SolverMethodTable, EveryRowIsFoundByItsCodeAndTurnsIntoTheDocumentedCodes) {
  const std::span<const SOLVER_METHOD> rows = solver_methods();
  ASSERT_EQ(rows.size(), std::size(documented));
  for (const SOLVER_METHOD &row : rows) {
    SCOPED_TRACE(row.code);
    const DOCUMENTED &d = documented_of(row.code);
    EXPECT_EQ(d.code, row.code);
    EXPECT_EQ(&find_solver_method(row.code), &row);
    EXPECT_EQ(row.card_exchange, d.stored_from_card);
    EXPECT_EQ(row.ac_code, d.in_ac);
    EXPECT_EQ(row.asymmetric_code, d.asymmetric);
    EXPECT_EQ(row.on_card, d.on_card);
    EXPECT_EQ(row.restart, row.code == 9 ? 10 : 0); // the reserved restarted method of code 9
    EXPECT_EQ(row.limit == ITERATION_LIMIT::dimension, d.limit_dimension);
    // The nonlinear rule: 0.2 is the CG family's, 0.01 the BiCG family's, and code 4 has its own;
    // every complex routine has the complex rule.
    if (d.real_method) {
      const TOLERANCE_RULE rule = d.tightening == 0.2    ? TOLERANCE_RULE::cg
                                  : d.tightening == 0.01 ? TOLERANCE_RULE::bicg
                                                         : TOLERANCE_RULE::bicgstab_symmetric;
      EXPECT_EQ(row.on_real.tolerance, rule);
    }
    EXPECT_EQ(row.on_complex.tolerance, TOLERANCE_RULE::complex);
    // No null slot.
    EXPECT_NE(row.on_real.solve, nullptr);
    EXPECT_NE(row.on_complex.solve, nullptr);
    EXPECT_NE(row.on_real.line_format, nullptr);
    EXPECT_NE(row.on_complex.line_format, nullptr);
  }
  // Codes the table doesn't list share the unlisted row.
  for (int code : {-7, 13, 1000})
    EXPECT_EQ(&find_solver_method(code), &find_solver_method(unlisted_solver_code));
}

TEST(SolverMethodTable, EveryRowMakesItsMatrixAndSolvesARealSystemAsDocumented) {
  for (const SOLVER_METHOD &row : solver_methods()) {
    SCOPED_TRACE(row.code);
    const DOCUMENTED &d = documented_of(row.code);
    const RUN run = run_code(real_system_of(row.code), settings_of(row.code));
    EXPECT_EQ(run.factor_allocated, d.factor);
    EXPECT_EQ(run.diag_allocated, d.factor || d.gauss_seidel);
    EXPECT_EQ(contains(run.check, "shift ="), d.factor); // the factorisation writes its shift
    const std::vector<TABLE_LINE> table = table_of(run.check);
    if (!d.real_method) {
      // The start comes back (through the scaling and its undoing: rounding, a few ulp).
      for (std::size_t i = 0; i < run.x.size(); ++i) expect_close(run.x[i], run.start[i], 1e-15, 0.0);
      EXPECT_EQ(run.result.judged, 0);
      EXPECT_TRUE(table.empty());
      continue;
    }
    EXPECT_EQ(run.figures.status, 1);
    EXPECT_EQ(run.result.judged, 1);
    EXPECT_EQ(run.result.converged, 1);
    EXPECT_LT(run.figures.error, 1e-10);
    ASSERT_FALSE(table.empty());
    // Line 0: "    0", then the error in 12 columns after two spaces (wide) or none (narrow).
    const std::string &line0 = table.front().text;
    EXPECT_EQ(line0.substr(0, 10), "         0");
    EXPECT_EQ(line0.size(), d.narrow_line ? 22u : 24u) << line0;
    EXPECT_EQ(contains(run.check, "*** ICCG converged ***\n"), d.real_loop_end);
  }
}

TEST(SolverMethodTable, EveryRowSolvesAComplexSystemWithItsComplexMethod) {
  const TEST_SYSTEM s = make_curl_curl(2, 0.1, 1.0);
  for (const SOLVER_METHOD &row : solver_methods()) {
    SCOPED_TRACE(row.code);
    const DOCUMENTED &d = documented_of(row.code);
    const RUN run = run_code(s, settings_of(row.code));
    EXPECT_EQ(contains(run.check, "shift ="), d.factor);
    // Every code runs a method on a complex matrix: conjugate orthogonal CG, or for 12 its
    // residual-minimising sibling; all write the wide line and the end-of-loop messages.
    EXPECT_EQ(run.figures.status, 1);
    EXPECT_EQ(run.result.judged, 1);
    EXPECT_LT(run.figures.error, 1e-10);
    const std::vector<TABLE_LINE> table = table_of(run.check);
    ASSERT_FALSE(table.empty());
    EXPECT_EQ(table.front().text.size(), 24u) << table.front().text;
    EXPECT_TRUE(contains(run.check, "*** ICCG converged ***\n"));
  }
}

TEST(SolverMethodTable, EveryRowKeepsItsIterationLimit) {
  // MAX_ITERATIONS 2 and a tolerance no solve reaches: a row that follows MAX_ITERATIONS writes
  // lines 0, 1 and 2; code 4 goes on to dimension + 10 unless its error stops moving first.
  for (const SOLVER_METHOD &row : solver_methods()) {
    const DOCUMENTED &d = documented_of(row.code);
    for (const bool is_complex : {false, true}) {
      if (!is_complex && !d.real_method) continue;
      SCOPED_TRACE(std::to_string(row.code) + (is_complex ? " complex" : " real"));
      SOLVER_SETTINGS settings = settings_of(row.code);
      settings.cg_iteration.convergence = 1e-300;
      settings.cg_iteration.max_iterations = 2;
      const RUN run = run_code(is_complex ? make_curl_curl(2, 0.1, 1.0) : real_system_of(row.code), settings);
      const std::size_t lines = table_of(run.check).size();
      if (d.limit_dimension) {
        EXPECT_GT(lines, 3u);
        EXPECT_GT(run.figures.total_iterations, 2);
      } else {
        EXPECT_EQ(lines, 3u);
        EXPECT_EQ(run.figures.total_iterations, 2);
      }
    }
  }
}

TEST(SolverMethodTable, EveryRowTightensItsToleranceUnderANonlinearLoopByItsRule) {
  // ICCG_CONV_RATIO 1 leaves the method's own factor to decide; ICCG_CONV 1e-300 takes the floor
  // away, and NON_LINEAR_CONV 1e-297 gives code 4 its factor ICCG_CONV / NON_LINEAR_CONV = 1e-3.
  // The solve stops at the first line below factor x first error: the line before is not below.
  for (const SOLVER_METHOD &row : solver_methods()) {
    const DOCUMENTED &d = documented_of(row.code);
    for (const bool is_complex : {false, true}) {
      if (!is_complex && !d.real_method) continue;
      SCOPED_TRACE(std::to_string(row.code) + (is_complex ? " complex" : " real"));
      SOLVER_SETTINGS settings = settings_of(row.code);
      settings.cg_iteration.convergence = 1e-300;
      settings.non_linear_iteration.iccg_conv_ratio = 1.0;
      settings.non_linear_iteration.conv = 1e-297;
      const RUN run = run_code(is_complex ? make_curl_curl(2, 0.1, 1.0) : real_system_of(row.code), settings,
                               {.in_nonlinear = 1});
      // The complex rule takes 0.01 in single precision.
      const double factor = is_complex ? static_cast<double>(0.01f) : d.tightening;
      const double tol = factor * run.figures.first_error;
      const std::vector<TABLE_LINE> table = table_of(run.check);
      ASSERT_GE(table.size(), 2u);
      EXPECT_EQ(run.figures.status, 1);
      EXPECT_LT(run.figures.error, tol);
      // Table lines have 6 digits: 1e-5 relative.
      EXPECT_GE(table[table.size() - 2].err, tol * (1 - 1e-5));
    }
  }
}

// An asymmetric system is solved by the method its matrix was made for, the asymmetric sibling of
// the code on the card, whatever that code's own method is: the solution of a convection-diffusion
// system is checked against the chosen x_true by the test's own product, not by the solver's
// residual.
TEST(SolverMethodTable, AnAsymmetricSystemIsSolvedByTheSiblingOfTheCardCode) {
  const TEST_SYSTEM s = make_convection_diffusion(4, 4, 4, 2.0, 1.0, 0.5);
  for (const int card_code : {0, 1, 2, 3}) {
    const int sibling = find_solver_method(card_code).asymmetric_code;
    SCOPED_TRACE(std::to_string(card_code) + " -> " + std::to_string(sibling));
    ScopedJobFiles files;
    SPARSE_MATRIX *m = to_sparse_matrix(s, {.solver = sibling, .scaling = 1});
    const std::vector<complex> x_true = random_solution(s.n, false);
    std::vector<double> rhs = to_doubles(reference_product(s, x_true), false);
    std::vector<double> x(rhs.size(), 0.25);
    SOLVE_FIGURES figures;
    const SOLVE_RESULT result =
        solve_sparse_matrix(m, rhs.data(), x.data(), s.n, settings_of(card_code), figures);
    free_sparse_matrix(&m);
    EXPECT_EQ(result.converged, 1);
    // The methods of asymmetric systems end their loop with their own message; plain CG has none.
    EXPECT_TRUE(contains(files.check_text(), "*** ICCG converged ***\n"));
    // Residual 1e-10 relative and a condition number of order 10 on this grid: 1e-8 is ample.
    for (int i = 0; i < s.n; ++i) expect_close(x[i], x_true[i].real(), 1e-8, 1e-8);
  }
}
