// The AC analysis of a linear job.
#include "analyses/ac_analysis.hpp"

#include "analyses/solutions_file.hpp"
#include "analyses/solve_driver.hpp"
#include "analyses/step_matrices.hpp"
#include "equations/matrix_profile.hpp"
#include "input/control_data.hpp"
#include "input/solver_settings.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "job/terminal.hpp"
#include "sources/field_sources.hpp"

#include <cstdio>

namespace tesmora {

void load_vector_complex(double *rhs, int no_unknowns, double omega) {
  for (int i = 0; i < 2 * no_unknowns; ++i) rhs[i] = 0.0;
  const FIELD_SOURCES &sources = field_sources();
  for (int s = 0; s < sources.no_sources; ++s) {
    const FIELD_SOURCE &source = sources.data[s];
    double P[2];
    source_phasor(source, P);
    if (P[0] == 0.0 && P[1] == 0.0) continue;
    // P h: real load column.
    if (const SPARSE_VECTOR *h = source.source_vector)
      for (int k = 0; k < h->no_elements; ++k) {
        const int i = h->index[k];
        rhs[2 * i] += P[0] * h->values[k];
        rhs[2 * i + 1] += P[1] * h->values[k];
      }
    // j omega P c: the rate of change of the coil's potential in the conductors.
    if (const SPARSE_VECTOR *c = source.conductor_vector)
      for (int k = 0; k < c->no_elements; ++k) {
        const int i = c->index[k];
        rhs[2 * i] -= omega * P[1] * c->values[k];
        rhs[2 * i + 1] += omega * P[0] * c->values[k];
      }
  }
}

void ac_analysis(MESHED_MODEL &first_part, int no_unknowns, int no_nonzeros) {
  const CONTROL_DATA &control = control_data();
  const double omega = control.omega_control.omega;
  SYSTEM_EQUATION *equation = make_system_equation(no_unknowns, no_nonzeros);
  RUN_FILES &files = run_files();
  open_ffile(files.solutions, "w");
  write_solutions_header(files.solutions, first_part, no_unknowns, no_unknowns);
  SOLVE_FIGURES figures;
  std::FILE *output = files.print_out->stream;
  write_report(output, "----- AC analysis  Frequency %13.5e Hz ------- \n", control.omega_control.frequency);
  if (no_unknowns > 0) {
    load_vector_complex(equation->RHS, no_unknowns, omega);
    // The complex matrix is made in the matrix's own value array, on the profile of the file.
    FFILE *file = files.system_matrices;
    open_ffile(file, "r");
    MATRIX_PROFILE *profile = read_matrix_profile(file, nullptr);
    close_ffile(file);
    SPARSE_MATRIX *matrix = equation->t_matrix;
    set_sparse_matrix_profile(matrix, profile);
    free_matrix_profile(&profile);
    make_complex_matrix(file, omega, control.ac_mode, matrix->matrix_lower);
    matrix->is_factorised = 0;
    matrix->is_scaled = 0;
    matrix->is_renumbered = 1;
    equation->t_matrix_loaded = 1;
    const SOLVE_RESULT result = solve_sparse_matrix(matrix, equation->RHS, equation->solution, no_unknowns,
                                                    solver_settings(), figures);
    record_solve_result(result);
    stop_at_nan(result.error);
    if (result.judged) write_linear_solve(0, result.iterations, result.error, result.converged != 0);
  }
  write_solution_record(files.solutions, 0, 0.0, equation->solution, 2 * no_unknowns);
  close_ffile(files.solutions);
  free_system_equation(&equation);
  write_report(output, "**** Total number of ICCG interations:      %d *********\n",
               figures.total_iterations);
  write_report(output, "**** Total number of nonlinear interations: %d *********\n", 0);
  std::fflush(output);
}

} // namespace tesmora
