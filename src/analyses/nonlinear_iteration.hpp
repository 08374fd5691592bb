// The nonlinear iteration of a static step: Newton-Raphson on the residual of the elements with a
// B-H curve, with an optional line search, the Max delta B test and the stop rules.
//
// The assembled matrix holds the linear elements only. Each iteration starts from it, adds the
// tangent dH/dB of every nonlinear element (the Jacobian) and solves for the correction of
//     r(x) = b - K_lin x - sum over nonlinear elements of integral curl N . H(B(x)),
// where b is the step's source load and B(x) = curl A + B_coil in a region that carries a coil's
// field (the coil's B by Biot-Savart at the same points, kept from the first step).
#pragma once

#include "analyses/solve_driver.hpp"
#include "equations/iccg.hpp"
#include "job/tagged_array.hpp"

#include <vector>

namespace tesmora {

struct MESHED_MODEL;
struct V_ELEMENT;

// What the loop keeps for the run: the nonlinear elements, the coil field at their points, the
// linear matrix and the work vectors ("... in  loop_of_non_linear_iteration").
struct NONLINEAR_WORK {
  std::vector<const V_ELEMENT *> elements; // elements with a nonlinear magnetic law, list order
  std::vector<int> element_numbers;        // their 1-based numbers in the element list
  std::vector<int> first_point;            // per element: its first row in the point arrays
  int no_points = 0;                       // rows: per element its centre, then its Gauss points
  int no_coils = 0;                        // coil sources whose field some nonlinear element carries
  std::vector<int> coil_source;            // their indexes in the source table
  TaggedArray<double> coil_unit;           // no_coils x no_points x 3: B per unit amplitude
  TaggedArray<double> coil_now;            // no_points x 3: the sum at the step's amplitudes
  TaggedArray<double> linear_lower;        // the file's matrix values
  TaggedArray<double> rhs_vector, delta, residual, norm_vector, product;
  TaggedArray<double> nu_fixed; // fixed-point method: 3 reluctivities per element
  // Stored-tensor method: per point row (the centre row unused) the constant part of the law,
  // H - T curl A, and the tangent T (3 + 9 values) of the iteration's start.
  TaggedArray<double> stored;
  // The weight of the nonlinear elements' terms: the theta of a transient run (its matrix holds
  // theta H + C / delta_t of the linear elements), 1 in a static one.
  double theta = 1.0;
  // A transient step's first iteration takes the previous solution as its start unless the
  // linear residual there is this many times the right-hand side (squared norms); 0: no test.
  double start_threshold = 0.0;
  const double *periodic_start = nullptr; // the step's start one period before (TP_STEP), or null
  int total_iterations = 0;               // Newton iterations of the run
  // Wall seconds of the run's Newton loops: the element terms (residual and Jacobian, also those
  // of the line search), the linear solves, the line search as a whole.
  double element_seconds = 0.0, solve_seconds = 0.0, search_seconds = 0.0;
};

// The nonlinear elements of the chain and the coil field at their points; null when the model has
// none (the loop then runs one linear pass).
NONLINEAR_WORK *make_nonlinear_work(const MESHED_MODEL &first_part, int no_unknowns);
void free_nonlinear_work(NONLINEAR_WORK **work);

// What one step's loop gives its caller for the JSON results and the terminal.
struct NEWTON_RESULT {
  int converged = 0;   // stopped by the tests rather than by the iteration limit
  int iterations = 0;  // Newton iterations of the step
  double residual = 0; // the last error (or Max delta B when only delta B judges)
  double element_seconds = 0.0, solve_seconds = 0.0; // wall time of the step's element terms and solves
};

// One step: equation.RHS holds the step's right-hand side (the source load; in a transient step
// also r x_old and the conductors' source terms), equation.solution the start (the previous step's
// solution) and, on return, the new solution. The matrix of the linear elements is read from its
// file when work.linear_lower is empty (the first step of a static run); a transient run keeps
// each interval's matrix by keep_linear_matrix.
NEWTON_RESULT loop_of_non_linear_iteration(SYSTEM_EQUATION &equation, NONLINEAR_WORK &work,
                                           SOLVE_FIGURES &figures, int step);

// Keeps the matrix's values, as just read from its file, as the linear elements' matrix that
// each iteration starts from.
void keep_linear_matrix(NONLINEAR_WORK &work, const SPARSE_MATRIX &matrix);

// rhs -= weight times the nonlinear elements' residuals (the integrals of curl N . H(B)) at x,
// with the coils' field at their present amplitudes: the old step's part of a transient step
// whose theta is not 1.
void subtract_element_residuals(NONLINEAR_WORK &work, const double *x, double weight, double *rhs);

// The saturation state of the step on the terminal: for each nonlinear material, the largest |B|
// and |H| at its elements' centres and the range of B / (mu0 H) there.
void write_saturation(const NONLINEAR_WORK &work, const double *x, int step);

// Which law an element's terms take: the B-H law itself (Newton), or one of the laws the other
// methods hold fixed for an iteration.
struct ELEMENT_LAW {
  const double *nu_fixed = nullptr; // three reluctivities along x, y, z: H = nu B, J its matrix
  const double *stored = nullptr;   // per point row 12 values: H = H0 + T curl A with H0, T stored
  double *store = nullptr;          // Newton's law, and its H0 = H - T curl A and T written here
};

// One element's terms at the solution x (no_unknowns, model numbering): the packed Jacobian J (E
// rows, may be null) and the residual R (E values), in the element's local edge directions. coil
// holds the coil's B at the element's centre and Gauss points (or is null). With a stored law R
// is its constant part only, the integral of curl N . H0, and J the matrix of its T.
void newton_element(const V_ELEMENT &element, const double *x, const double *coil, int mat_points, double *J,
                    double *R, const ELEMENT_LAW &law = {});

} // namespace tesmora
