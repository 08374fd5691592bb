// The table of solver methods, one row per stored solver code, and its lookup.
//
// Codes 9, 10 and 11 (and any code the table doesn't list) select no method on a real matrix:
// keep_start returns the start unchanged. Codes 9 and 11 still have their matrix factorised, as
// every code but 1, 2 and 10 has. On a complex matrix every code runs the conjugate orthogonal
// CG but 12, which runs its residual-minimising sibling.
#include "equations/solvers/solver_methods.hpp"

#include "equations/solvers/solver_internal.hpp"

#include <cstddef>
#include <iterator>

namespace tesmora {

namespace solver_detail {

SOLVE_RESULT keep_start(const SYSTEM_VIEW & /*system*/, const SOLVE_CONTEXT & /*context*/,
                        const double * /*b*/, double * /*x*/, SOLVE_FIGURES & /*figures*/) {
  return {};
}

} // namespace solver_detail

namespace {

using namespace solver_detail;

constexpr const char *wide_line = "     %5d  %12.5e\n";
constexpr const char *narrow_line = "     %5d%12.5e\n";

// The routines of the rows. no_method is that of a code without a method; its line format and
// rules are never used.
constexpr SOLVE_ROUTINE no_method{.solve = keep_start,
                                  .line_format = wide_line,
                                  .tolerance = TOLERANCE_RULE::cg,
                                  .reports_loop_end = false};
constexpr SOLVE_ROUTINE iccg{
    .solve = solve_cg, .line_format = wide_line, .tolerance = TOLERANCE_RULE::cg, .reports_loop_end = false};
constexpr SOLVE_ROUTINE gauss_seidel_cg{
    .solve = solve_cg, .line_format = wide_line, .tolerance = TOLERANCE_RULE::cg, .reports_loop_end = true};
constexpr SOLVE_ROUTINE plain_cg{
    .solve = solve_cg, .line_format = narrow_line, .tolerance = TOLERANCE_RULE::cg, .reports_loop_end = true};
constexpr SOLVE_ROUTINE minimal_residual_ic{.solve = solve_minimal_residual,
                                            .line_format = wide_line,
                                            .tolerance = TOLERANCE_RULE::cg,
                                            .reports_loop_end = true};
constexpr SOLVE_ROUTINE bicgstab_ic{.solve = solve_bicgstab,
                                    .line_format = narrow_line,
                                    .tolerance = TOLERANCE_RULE::bicgstab_symmetric,
                                    .reports_loop_end = true};
constexpr SOLVE_ROUTINE bicg_ilu{.solve = solve_bicg,
                                 .line_format = wide_line,
                                 .tolerance = TOLERANCE_RULE::bicg,
                                 .reports_loop_end = true};
constexpr SOLVE_ROUTINE bicgstab_ilu{.solve = solve_bicgstab,
                                     .line_format = wide_line,
                                     .tolerance = TOLERANCE_RULE::cg,
                                     .reports_loop_end = true};
constexpr SOLVE_ROUTINE gpbicg_ilu{.solve = solve_gpbicg,
                                   .line_format = wide_line,
                                   .tolerance = TOLERANCE_RULE::bicg,
                                   .reports_loop_end = true};
constexpr SOLVE_ROUTINE minimal_residual_ilu{.solve = solve_minimal_residual,
                                             .line_format = wide_line,
                                             .tolerance = TOLERANCE_RULE::bicg,
                                             .reports_loop_end = true};
constexpr SOLVE_ROUTINE cocg{.solve = solve_cocg,
                             .line_format = wide_line,
                             .tolerance = TOLERANCE_RULE::complex,
                             .reports_loop_end = true};
constexpr SOLVE_ROUTINE cocr{.solve = solve_cocr,
                             .line_format = wide_line,
                             .tolerance = TOLERANCE_RULE::complex,
                             .reports_loop_end = true};

constexpr PRECONDITIONER factor = PRECONDITIONER::incomplete_factor;
constexpr ITERATION_LIMIT max_iterations = ITERATION_LIMIT::max_iterations;

constexpr SOLVER_METHOD methods[] = {
    {.code = unlisted_solver_code,
     .card_exchange = unlisted_solver_code,
     .ac_code = unlisted_solver_code,
     .asymmetric_code = 6,
     .on_card = false,
     .preconditioner = factor,
     .restart = 0,
     .limit = max_iterations,
     .on_real = no_method,
     .on_complex = cocg},
    {.code = 0,
     .card_exchange = 0,
     .ac_code = 0,
     .asymmetric_code = 6,
     .on_card = true,
     .preconditioner = factor,
     .restart = 0,
     .limit = max_iterations,
     .on_real = iccg,
     .on_complex = cocg},
    {.code = 1,
     .card_exchange = 1,
     .ac_code = 12,
     .asymmetric_code = 5,
     .on_card = true,
     .preconditioner = PRECONDITIONER::gauss_seidel,
     .restart = 0,
     .limit = max_iterations,
     .on_real = gauss_seidel_cg,
     .on_complex = cocg},
    {.code = 2,
     .card_exchange = 2,
     .ac_code = 2,
     .asymmetric_code = 7,
     .on_card = true,
     .preconditioner = PRECONDITIONER::none,
     .restart = 0,
     .limit = max_iterations,
     .on_real = plain_cg,
     .on_complex = cocg},
    {.code = 3,
     .card_exchange = 3,
     .ac_code = 3,
     .asymmetric_code = 8,
     .on_card = true,
     .preconditioner = factor,
     .restart = 0,
     .limit = max_iterations,
     .on_real = minimal_residual_ic,
     .on_complex = cocg},
    {.code = 4,
     .card_exchange = 4,
     .ac_code = 4,
     .asymmetric_code = 9,
     .on_card = false,
     .preconditioner = factor,
     .restart = 0,
     .limit = ITERATION_LIMIT::dimension,
     .on_real = bicgstab_ic,
     .on_complex = cocg},
    {.code = 5,
     .card_exchange = 5,
     .ac_code = 5,
     .asymmetric_code = 6,
     .on_card = false,
     .preconditioner = factor,
     .restart = 0,
     .limit = max_iterations,
     .on_real = bicg_ilu,
     .on_complex = cocg},
    {.code = 6,
     .card_exchange = 6,
     .ac_code = 6,
     .asymmetric_code = 6,
     .on_card = false,
     .preconditioner = factor,
     .restart = 0,
     .limit = max_iterations,
     .on_real = bicgstab_ilu,
     .on_complex = cocg},
    {.code = 7,
     .card_exchange = 7,
     .ac_code = 7,
     .asymmetric_code = 6,
     .on_card = false,
     .preconditioner = factor,
     .restart = 0,
     .limit = max_iterations,
     .on_real = gpbicg_ilu,
     .on_complex = cocg},
    {.code = 8,
     .card_exchange = 8,
     .ac_code = 8,
     .asymmetric_code = 6,
     .on_card = false,
     .preconditioner = factor,
     .restart = 0,
     .limit = max_iterations,
     .on_real = minimal_residual_ilu,
     .on_complex = cocg},
    {.code = 9,
     .card_exchange = 9,
     .ac_code = 9,
     .asymmetric_code = 6,
     .on_card = false,
     .preconditioner = factor,
     .restart = 10,
     .limit = max_iterations,
     .on_real = no_method,
     .on_complex = cocg},
    {.code = 10,
     .card_exchange = 11,
     .ac_code = 10,
     .asymmetric_code = 6,
     .on_card = true,
     .preconditioner = PRECONDITIONER::none,
     .restart = 0,
     .limit = max_iterations,
     .on_real = no_method,
     .on_complex = cocg},
    {.code = 11,
     .card_exchange = 10,
     .ac_code = 11,
     .asymmetric_code = 6,
     .on_card = true,
     .preconditioner = factor,
     .restart = 0,
     .limit = max_iterations,
     .on_real = no_method,
     .on_complex = cocg},
    {.code = 12,
     .card_exchange = 12,
     .ac_code = 12,
     .asymmetric_code = 6,
     .on_card = false,
     .preconditioner = factor,
     .restart = 0,
     .limit = max_iterations,
     .on_real = no_method,
     .on_complex = cocr},
};

// The position of a code's row, or -1.
constexpr int row_of(int code) {
  for (int i = 0; i < static_cast<int>(std::size(methods)); ++i)
    if (methods[i].code == code) return i;
  return -1;
}

// GCC cannot fold the null test of an external function's address under the sanitizers (they
// keep null checks alive); the plain build makes the slot checks, the test walk repeats them.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool check_slots = false;
#else
constexpr bool check_slots = true;
#endif

constexpr bool is_filled(const SOLVE_ROUTINE &routine) {
  return (!check_slots || routine.solve != nullptr) && routine.line_format != nullptr;
}

// No null slot, the codes unique and ascending, and every code a row turns into has a row of its
// own; the card exchange is undone by doing it twice, and the unlisted code has its row.
consteval bool table_is_whole() {
  for (std::size_t i = 0; i < std::size(methods); ++i) {
    const SOLVER_METHOD &method = methods[i];
    if (!is_filled(method.on_real) || !is_filled(method.on_complex)) return false;
    if (i > 0 && methods[i - 1].code >= method.code) return false;
    const int exchanged = row_of(method.card_exchange);
    if (exchanged < 0 || methods[exchanged].card_exchange != method.code) return false;
    if (row_of(method.ac_code) < 0 || row_of(method.asymmetric_code) < 0) return false;
  }
  return row_of(unlisted_solver_code) >= 0;
}
static_assert(table_is_whole(), "every solver code needs a whole row of its own");

} // namespace

std::span<const SOLVER_METHOD> solver_methods() { return methods; }

const SOLVER_METHOD &find_solver_method(int code) {
  const int row = row_of(code);
  return methods[row >= 0 ? row : row_of(unlisted_solver_code)];
}

} // namespace tesmora
