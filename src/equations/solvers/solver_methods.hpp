// The table of solver methods: for each solver code as stored, the codes it turns into (on the
// SOLVER card, in an AC job, for an asymmetric system), its preconditioner, the rules of its
// iteration loop and the routines that solve a real and a complex system with it. Every decision
// that depends on the solver code is read from here.
#pragma once

#include <span>

namespace tesmora {

struct SOLVE_FIGURES;
struct SOLVE_RESULT;

namespace solver_detail {
struct SYSTEM_VIEW;
struct SOLVE_CONTEXT;
} // namespace solver_detail

// The code stored for any code the table doesn't list: only the solver card of releases before
// 2.5 lets such a code through, and it then behaves as its row says.
inline constexpr int unlisted_solver_code = -1;

enum class PRECONDITIONER {
  none,              // M = I
  incomplete_factor, // incomplete Cholesky (LU when asymmetric, complex Cholesky when complex),
                     // made once per matrix; a matrix made for such a code gets L and Diag
  gauss_seidel,      // symmetric Gauss-Seidel on the matrix itself; Diag holds its diagonal
};

// The tolerance of a solve under a nonlinear loop, from its first error err (tracking.cpp).
enum class TOLERANCE_RULE {
  cg,                 // min(0.2 err, ICCG_CONV_RATIO err)
  bicg,               // min(0.01 err, ICCG_CONV_RATIO err)
  bicgstab_symmetric, // min(0.01 err, err ICCG_CONV / NON_LINEAR_CONV)
  complex,            // min(0.01 err, ICCG_CONV_RATIO err), 0.01 in single precision
};

enum class ITERATION_LIMIT {
  max_iterations, // MAX_ITERATIONS, or dimension + 10 when it is 0
  dimension,      // dimension + 10 whatever MAX_ITERATIONS says
};

// A routine that solves A x = b on 0-based columns: b and x have n entries (pairs when complex),
// x holds the start on entry; the figures go to the last argument, and the result is what the
// JSON results take of the solve.
using SOLVE_ROUTINE_FUNCTION = SOLVE_RESULT (*)(const solver_detail::SYSTEM_VIEW &system,
                                                const solver_detail::SOLVE_CONTEXT &context, const double *b,
                                                double *x, SOLVE_FIGURES &figures);

// What runs on one kind of matrix (real or complex) for a code.
struct SOLVE_ROUTINE {
  SOLVE_ROUTINE_FUNCTION solve; // the method, or keep_start where the code selects none
  const char *line_format;      // the progress line "k error" written to output and check
  TOLERANCE_RULE tolerance;     // its tolerance under a nonlinear loop
  bool reports_loop_end;        // writes the end-of-loop messages of the methods other than plain
                                // ICCG ("*** ICCG converged ***" and the rest)
};

// One row per solver code as stored.
struct SOLVER_METHOD {
  int code;                      // the code as stored in the settings
  int card_exchange;             // the code stored when the SOLVER card gives this one, and the other way
                                 // round: 10 and 11 are exchanged on reading
  int ac_code;                   // the code stored instead in an AC job (1 becomes 12)
  int asymmetric_code;           // the equation's code when its system is asymmetric (1 to 5, 2 to
                                 // 7, 3 to 8, 4 to 9, any other to 6): the matrix is made for it and
                                 // solved by its method
  bool on_card;                  // accepted on the SOLVER card of release 2.5 and later
  PRECONDITIONER preconditioner; // what the method applies, and what a matrix made for it gets
  int restart;                   // restart length of the reserved restarted method (code 9), else 0
  ITERATION_LIMIT limit;         // how many iterations a solve may take
  SOLVE_ROUTINE on_real;         // what runs on a real matrix
  SOLVE_ROUTINE on_complex;      // what runs on a complex (AC) matrix
};

// Every row, the unlisted one included, in ascending code.
std::span<const SOLVER_METHOD> solver_methods();
// The row of a code as stored; the row of unlisted_solver_code for any code the table lacks.
const SOLVER_METHOD &find_solver_method(int code);

} // namespace tesmora
