// The solve stage of a static run: system equation, steps, right-hand side, solutions file.
#include "analyses/solve_driver.hpp"

#include "analyses/ac_analysis.hpp"
#include "analyses/nonlinear_iteration.hpp"
#include "analyses/restart.hpp"
#include "analyses/solutions_file.hpp"
#include "analyses/step_matrices.hpp"
#include "equations/matrix_profile.hpp"
#include "equations/solvers/solver_methods.hpp"
#include "input/control_data.hpp"
#include "input/solver_settings.hpp"
#include "job/block_io.hpp"
#include "job/cpu_times.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "job/tagged_array.hpp"
#include "job/terminal.hpp"
#include "mesh/boundary.hpp"
#include "mesh/model.hpp"
#include "results/json_report.hpp"
#include "sources/field_sources.hpp"
#include "sources/source_matrices.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace tesmora {
namespace {

// The stop watches of the loop that this build fills; the others report zero.
struct LOOP_WATCHES {
  StopWatch *solver = nullptr;
  StopWatch *assemble = nullptr;
  StopWatch *preconditioning = nullptr;
};

void write_loop_times(const LOOP_WATCHES &w) {
  write_check("********** ICCG:%d: %15.5e, PRE_COND:%d: %15.5e, MATRIX :%d:%15.5e, ELEM_MATRIX :%d:%15.5e, "
              "LINE_SERACH:%d: %15.5e\n",
              w.solver->no_laps, w.solver->total_utime, w.preconditioning->no_laps,
              w.preconditioning->total_utime, w.assemble->no_laps, w.assemble->total_utime, 0, 0.0, 0, 0.0);
  write_check("*** Time for Block_ICCG_real_openmp  %10.3f (sec)\n", 0.0);
  write_check("*** Time for assemble  %10.3f (sec)\n", w.assemble->total_utime);
  write_check("*** Time for sparse_matrix_preconditioning  %10.3f (sec)\n", w.preconditioning->total_utime);
  write_check("*** Time for sparse_matrix_solver  %10.3f (sec)\n", w.solver->total_utime);
  write_check("*** Time for line_search  %10.3f (sec)\n", 0.0);
  write_check("*** Time for renumbering  %10.3f (sec)\n", 0.0);
  write_check("*** Time for scaling  %10.3f (sec)\n", 0.0);
  write_check("*** Time for assemble nonlinear matrix of network  %10.3f (sec)\n", 0.0);
}

// The end of a step's nonlinear loop: its figures in the JSON results and on the terminal, the
// NaN stop, the saturation state and the record.
void finish_nonlinear_step(const SYSTEM_EQUATION &equation, const NONLINEAR_WORK &nonlinear,
                           const NEWTON_RESULT &result, int step, double time) {
  json_int("NEWTON", "CONVERGE", result.converged);
  json_iteration("NEWTON", "ITERATION", result.iterations);
  json_step("NEWTON", "RESIDUAL", result.residual);
  stop_at_nan(result.residual);
  write_newton_result(step, result.iterations, result.residual, result.converged != 0, result.element_seconds,
                      result.solve_seconds);
  write_saturation(nonlinear, equation.solution, step);
  write_solution_record(run_files().solutions, step, time, equation.solution, equation.no_unknowns);
}

// One step of a linear static run: sources at the step's time, one solve, one record.
void one_static_step(SYSTEM_EQUATION &equation, SOLVE_FIGURES &figures, int step, double time,
                     const LOOP_WATCHES &watches, NONLINEAR_WORK *nonlinear) {
  set_source_amplitudes(time);
  if (equation.no_unknowns == 0) {
    // Every potential is fixed: the field is the sources' own, and there is nothing to solve.
    write_solution_record(run_files().solutions, step, time, equation.solution, 0);
    return;
  }
  if (nonlinear) {
    load_vector(equation.RHS, equation.no_unknowns);
    const NEWTON_RESULT result = loop_of_non_linear_iteration(equation, *nonlinear, figures, step);
    finish_nonlinear_step(equation, *nonlinear, result, step, time);
    return;
  }
  start_stop_watch(watches.assemble);
  load_vector(equation.RHS, equation.no_unknowns);
  SPARSE_MATRIX *matrix = load_matrix(equation);
  stop_stop_watch(watches.assemble);
  start_stop_watch(watches.solver);
  const SOLVE_RESULT result = solve_sparse_matrix(matrix, equation.RHS, equation.solution,
                                                  equation.no_unknowns, solver_settings(), figures);
  stop_stop_watch(watches.solver);
  record_solve_result(result);
  stop_at_nan(result.error);
  if (result.judged) write_linear_solve(step, result.iterations, result.error, result.converged != 0);
  write_solution_record(run_files().solutions, step, time, equation.solution, equation.no_unknowns);
}

// What a transient run keeps from one step to the next: the right-hand matrix of the theta
// method (in the profile's order, the pattern of t_matrix) and the sources' amplitudes at the
// end of the step before.
struct TRANSIENT_STATE {
  double theta = 1.0;
  TaggedArray<double> r_matrix;
  std::vector<double> old_amplitudes;
  TaggedArray<double> old_residual; // nonlinear, theta below 1: -(1 - theta) R(x_old)
};

// The periodic option (TP_STEP): the solutions of the steps of one period go to one file while
// those of the period before are read back from the other, the two changing roles at each
// period boundary. After the first CYCLE steps, the solution at the same place of the period
// before is offered to the start rule of each step.
class PERIODIC_STARTS {
public:
  PERIODIC_STARTS(int period, int cycle, int n) : period_(period), cycle_(cycle), n_(n) {
    if (period_ <= 0 || n_ <= 0) return;
    files_[0] = create_ffile("tp_initial_solution1", 1);
    files_[1] = create_ffile("tp_initial_solution2", 1);
    start_ = TaggedArray<double>(n_, "initial_solution");
  }
  PERIODIC_STARTS(const PERIODIC_STARTS &) = delete;
  PERIODIC_STARTS &operator=(const PERIODIC_STARTS &) = delete;
  ~PERIODIC_STARTS() {
    for (FFILE *file : files_)
      if (file) free_ffile(file, "ffile");
  }
  // Before the step after `done` steps: at a period boundary the files change roles. Returns the
  // periodic start for that step, or null.
  const double *before_step(int done) {
    if (!files_[0]) return nullptr;
    if (done % period_ == 0) {
      close_ffile(files_[0]);
      close_ffile(files_[1]);
      writing_ = 1 - writing_;
      open_ffile(files_[writing_], "w");
      have_previous_ = done > 0;
      if (have_previous_) open_ffile(files_[1 - writing_], "r");
    }
    if (!have_previous_) return nullptr;
    // Every step reads its record, so that the file stays at the step's place in the period.
    if (read_blocks(start_.data(), sizeof(double), static_cast<std::uint64_t>(n_), files_[1 - writing_]) != 1)
      return nullptr;
    return done + 1 <= cycle_ ? nullptr : start_.data();
  }
  // After the step: its solution joins the period being written.
  void after_step(const double *solution) {
    if (files_[0]) write_blocks(solution, sizeof(double), static_cast<std::uint64_t>(n_), files_[writing_]);
  }

private:
  int period_, cycle_, n_;
  FFILE *files_[2] = {};
  int writing_ = 1; // the first boundary makes file 0 the one written
  bool have_previous_ = false;
  TaggedArray<double> start_;
};

// The sources' part of a transient right-hand side: each load column at the theta-weighted
// amplitude, and each conductor column at the amplitude's rate of change over the step.
void add_transient_sources(double *rhs, const std::vector<double> &old_amplitudes, double theta,
                           double delta_t) {
  const FIELD_SOURCES &sources = field_sources();
  for (int s = 0; s < sources.no_sources; ++s) {
    const FIELD_SOURCE &source = sources.data[s];
    const double old_amplitude = old_amplitudes[static_cast<std::size_t>(s)];
    const double weighted = theta * source.amplitude + (1.0 - theta) * old_amplitude;
    if (source.source_vector && weighted != 0.0) add_sparse_vector(source.source_vector, weighted, rhs);
    const double rate = (source.amplitude - old_amplitude) / delta_t;
    if (source.conductor_vector && rate != 0.0) add_sparse_vector(source.conductor_vector, rate, rhs);
  }
}

// One step of a transient run: on the first step of an interval the theta pair is made for its
// DELTA_TIME (in a linear run the factor then stays for the interval); rhs = r x_old + sources;
// the solve starts from the previous solution unless that is a bad guess. A nonlinear run solves
// the step by the Newton loop, whose matrix is the linear elements' t matrix.
void one_transient_step(SYSTEM_EQUATION &equation, TRANSIENT_STATE &state, SOLVE_FIGURES &figures, int step,
                        double time, double delta_t, bool first_of_interval, const LOOP_WATCHES &watches,
                        NONLINEAR_WORK *nonlinear, const double *periodic_start) {
  write_report(run_files().print_out->stream, "----- Time step %5d  Time %13.5e ------- \n", step, time);
  state.old_amplitudes = source_amplitudes();
  const int n = equation.no_unknowns;
  // With theta below 1 the nonlinear elements' old part, -(1 - theta) R(x_old), is taken at the
  // old solution and the sources' amplitudes as they stood there (r x_old has only the linear
  // elements).
  const bool old_part = nonlinear && n > 0 && state.theta != 1.0;
  if (old_part) {
    std::fill(state.old_residual.begin(), state.old_residual.end(), 0.0);
    subtract_element_residuals(*nonlinear, equation.solution, 1.0 - state.theta, state.old_residual.data());
  }
  set_source_amplitudes(time);
  if (n == 0) {
    write_solution_record(run_files().solutions, step, time, equation.solution, 0);
    return;
  }
  start_stop_watch(watches.assemble);
  if (first_of_interval) {
    // The t array is made in the matrix's own value array and written to its file, from which
    // load_matrix brings it back with the pattern.
    make_r_t_matrices(run_files().system_matrices, state.theta, delta_t, state.r_matrix.data(),
                      equation.t_matrix->matrix_lower);
    equation.t_matrix_loaded = 0;
  }
  // The Newton loop keeps the pattern between steps and its own copy of the interval's values.
  SPARSE_MATRIX *matrix = nonlinear && !first_of_interval ? equation.t_matrix : load_matrix(equation);
  if (nonlinear && first_of_interval) keep_linear_matrix(*nonlinear, *matrix);
  const SPARSE_PATTERN &pattern = matrix->pattern;
  matrix_vector_product(n, pattern.row_head_pointers, nullptr, pattern.columns, state.r_matrix.data(),
                        equation.solution, equation.RHS);
  add_transient_sources(equation.RHS, state.old_amplitudes, state.theta, delta_t);
  if (old_part)
    for (int i = 0; i < n; ++i) equation.RHS[i] += state.old_residual[i];
  stop_stop_watch(watches.assemble);
  if (nonlinear) {
    nonlinear->periodic_start = periodic_start;
    const NEWTON_RESULT result = loop_of_non_linear_iteration(equation, *nonlinear, figures, step);
    finish_nonlinear_step(equation, *nonlinear, result, step, time);
    return;
  }
  choose_initial_value(*matrix, equation.RHS, equation.solution, n, linear_start_threshold, periodic_start);
  start_stop_watch(watches.solver);
  const SOLVE_RESULT result =
      solve_sparse_matrix(matrix, equation.RHS, equation.solution, n, solver_settings(), figures);
  stop_stop_watch(watches.solver);
  record_solve_result(result);
  stop_at_nan(result.error);
  if (result.judged) write_linear_solve(step, result.iterations, result.error, result.converged != 0);
  write_solution_record(run_files().solutions, step, time, equation.solution, n);
}

void time_stepping(MESHED_MODEL &first_part, int no_unknowns, int no_nonzeros) {
  const CONTROL_DATA &control = control_data();
  LOOP_WATCHES watches{create_stop_watch(), create_stop_watch(), create_stop_watch()};
  SYSTEM_EQUATION *equation = make_system_equation(no_unknowns, no_nonzeros);
  read_initial_solution_into(first_part, equation->solution, no_unknowns);

  RUN_FILES &files = run_files();
  open_ffile(files.solutions, "w");
  write_solutions_header(files.solutions, first_part, no_unknowns, no_unknowns);
  SOLVE_FIGURES figures; // the run's solve figures: the iteration count and the raised shift carry over
  NONLINEAR_WORK *nonlinear = control.non_linear ? make_nonlinear_work(first_part, no_unknowns) : nullptr;
  int step = 0;
  double time = control.time_control.initial_time;
  TRANSIENT_STATE transient;
  if (control.is_transient) {
    transient.theta = solver_settings().theta;
    transient.r_matrix = TaggedArray<double>(std::max(no_nonzeros, 1), "system_equation->r_matrix");
    if (nonlinear) {
      nonlinear->theta = transient.theta;
      nonlinear->start_threshold = nonlinear_start_threshold;
      if (transient.theta != 1.0)
        transient.old_residual =
            TaggedArray<double>(std::max(no_unknowns, 1), "old residual in one_time_step");
    }
    // The sources as they stood before the run: a step of current at the initial time counts
    // as a change over the first step.
    set_source_amplitudes(time, -1);
  }
  PERIODIC_STARTS periodic(control.is_transient ? control.time_control.tp_step : 0,
                           control.time_control.cycle, no_unknowns);
  for (const TIME_ROW &row : control.time_control.rows)
    for (int s = 1; s <= row.no_steps; ++s) {
      const double *periodic_start = periodic.before_step(step);
      // The very first step of a static run keeps the initial time.
      if (!(control.is_static && step == 0)) time += row.delta_time;
      ++step;
      if (control.is_transient)
        one_transient_step(*equation, transient, figures, step, time, row.delta_time, s == 1, watches,
                           nonlinear, periodic_start);
      else
        one_static_step(*equation, figures, step, time, watches, nonlinear);
      periodic.after_step(equation->solution);
    }
  close_ffile(files.solutions);
  const int newton_iterations = nonlinear ? nonlinear->total_iterations : 0;
  free_nonlinear_work(&nonlinear);
  free_system_equation(&equation);
  write_loop_times(watches);
  std::FILE *output = files.print_out->stream;
  write_report(output, "**** Total number of ICCG interations:      %d *********\n",
               figures.total_iterations);
  write_report(output, "**** Total number of nonlinear interations: %d *********\n", newton_iterations);
  std::fflush(output);
  delete_stop_watch(watches.solver);
  delete_stop_watch(watches.assemble);
  delete_stop_watch(watches.preconditioning);
}

} // namespace

SYSTEM_EQUATION *make_system_equation(int no_unknowns, int no_nonzeros) {
  const CONTROL_DATA &control = control_data();
  const CG_ITERATION &settings = solver_settings().cg_iteration;
  auto *equation = new_record<SYSTEM_EQUATION>("system_equation");
  equation->no_unknowns = no_unknowns;
  equation->no_nonzeros = no_nonzeros;
  equation->asymmetric = control.matrix_is_asymmetric;
  equation->complex = control.ac_mode != 0;
  // An asymmetric system takes the asymmetric sibling of the code asked for.
  equation->solver =
      equation->asymmetric ? find_solver_method(settings.solver).asymmetric_code : settings.solver;
  SPARSE_MATRIX_OPTIONS options;
  options.solver = equation->solver;
  options.scaling = settings.scaling;
  options.asymmetric = equation->asymmetric;
  options.is_complex = equation->complex;
  equation->t_matrix = make_sparse_matrix(no_unknowns, no_nonzeros, options);
  const std::uint64_t width = equation->complex ? 2 : 1;
  equation->solution =
      calloc_double(width * static_cast<std::uint64_t>(no_unknowns), "system_equation->solution");
  equation->RHS = calloc_double(width * static_cast<std::uint64_t>(no_unknowns), "system_equation->RHS");
  return equation;
}

void free_system_equation(SYSTEM_EQUATION **equation) {
  if (!*equation) return;
  free_sparse_matrix(&(*equation)->t_matrix);
  free_sparse_matrix(&(*equation)->r_matrix);
  free_named((*equation)->solution, "system_equation->solution");
  free_named((*equation)->RHS, "system_equation->RHS");
  free_named(*equation, "system_equation");
  *equation = nullptr;
}

SPARSE_MATRIX *load_matrix(SYSTEM_EQUATION &equation) {
  const CONTROL_DATA &control = control_data();
  const bool may_stay = equation.t_matrix_loaded && !control.non_linear && !control.moving;
  if (may_stay) return equation.t_matrix;
  FFILE *file = run_files().system_t_matrix;
  open_ffile(file, "r");
  MATRIX_PROFILE *profile = read_matrix_profile(file, nullptr);
  SPARSE_MATRIX *matrix = equation.t_matrix;
  set_sparse_matrix_profile(matrix, profile);
  const std::uint64_t width = equation.complex ? 2 : 1;
  if (read_blocks(matrix->matrix_lower, sizeof(double), width * static_cast<std::uint64_t>(profile->size),
                  file) != 1) {
    write_fault("FREAD error!\n");
    stop_job(1);
  }
  free_matrix_profile(&profile);
  close_ffile(file);
  matrix->is_factorised = 0;
  matrix->is_scaled = 0;
  matrix->is_renumbered = 1;
  equation.t_matrix_loaded = 1;
  return matrix;
}

void load_vector(double *rhs, int no_unknowns) {
  for (int i = 0; i < no_unknowns; ++i) rhs[i] = 0.0;
  const FIELD_SOURCES &sources = field_sources();
  for (int s = 0; s < sources.no_sources; ++s) {
    const FIELD_SOURCE &source = sources.data[s];
    if (source.source_vector && source.amplitude != 0.0)
      add_sparse_vector(source.source_vector, source.amplitude, rhs);
  }
}

void stop_at_nan(double residual) {
  if (!std::isnan(residual)) return;
  write_fault("Residual have NaN\n");
  stop_job(1);
}

void choose_initial_value(const SPARSE_MATRIX &matrix, const double *rhs, double *solution, int n,
                          double threshold, const double *periodic) {
  // A matrix renumbered at each solve keeps its scaled values in another order; its start stays.
  if (n == 0 || (matrix.renumber_option && matrix.is_renumbered)) return;
  const SPARSE_PATTERN &pattern = matrix.pattern;
  const bool scaled = matrix.is_scaled != 0;
  // In the scaled system D A D y = D b with x = D y.
  auto b = [&](int i) { return scaled ? matrix.D[i] * rhs[i] : rhs[i]; };
  double b2 = 0.0;
  for (int i = 0; i < n; ++i) b2 += b(i) * b(i);
  if (b2 < 1e-20) return;
  TaggedArray<double> y(n, "work in choose_initial_value"), Ay(n, "work in choose_initial_value");
  // |b - A x|^2 / |b|^2 for a start x.
  auto relative_residual = [&](const double *x) {
    for (int i = 0; i < n; ++i) y[i] = scaled ? x[i] / matrix.D[i] : x[i];
    matrix_vector_product(n, pattern.row_head_pointers, nullptr, pattern.columns, matrix.matrix_lower,
                          y.data(), Ay.data());
    double r2 = 0.0;
    for (int i = 0; i < n; ++i) r2 += (b(i) - Ay[i]) * (b(i) - Ay[i]);
    return r2 / b2;
  };
  const double r_x = relative_residual(solution);
  if (!periodic) {
    if (r_x > threshold)
      for (int i = 0; i < n; ++i) solution[i] = 0.0;
    return;
  }
  const double r_x0 = relative_residual(periodic);
  write_check("   r_x = %e, r_x0 = %e, b2 = %e\n", r_x, r_x0, b2);
  if (r_x0 != 1.0 && r_x0 < 0.5 * r_x) {
    write_report(run_files().print_out->stream, "*** set periodic initial value ***\n");
    std::copy(periodic, periodic + n, solution);
  }
}

void record_solve_result(const SOLVE_RESULT &result) {
  if (!result.judged) return;
  json_int("ICCG", "CONVERGE", result.converged);
  json_iteration("ICCG", "ITERATION", result.iterations);
  json_step("ICCG", "RESIDUAL", result.error);
}

int restore_model_variables(MESHED_MODEL &first_part) {
  FFILE *file = run_files().potentials;
  open_ffile(file, "r");
  const int no_unknowns = restore_variables(file, first_part);
  close_ffile(file);
  if (no_unknowns < 0) {
    write_fault("no_unknown is different! it may be wrong old_solutions.\n");
    stop_job(1);
  }
  return no_unknowns;
}

void solve_equation_stage(MESHED_MODEL &first_part) {
  const CONTROL_DATA &control = control_data();
  // The AC analysis is linear in this build.
  if (control.ac_mode && control.non_linear) stop_at_unbuilt(UNBUILT::work, "nonlinear AC analysis");
  if (control.ac_time_domain) stop_at_unbuilt(UNBUILT::work, "AC 3 analysis");
  // NON_LINEAR 2, the effective permeability of AC phasors, belongs to the AC analysis.
  if (control.non_linear == 2) stop_at_unbuilt(UNBUILT::work, "effective-permeability iteration");

  if (control.electric_kind || control.is_thermal)
    stop_at_unbuilt(UNBUILT::work, "scalar-potential analysis");
  if (control.moving) stop_at_unbuilt(UNBUILT::work, "motion analysis");
  if (control.steady_current) stop_at_unbuilt(UNBUILT::work, "steady-current analysis");
  // The boundary-element terms of an open far boundary have no matrix in this build.
  if (boundary_data().far_boundary_condition == 2)
    stop_at_unbuilt(UNBUILT::work, "far boundary of boundary-element terms");
  if (!control.MAKE_SYSTEM_MATRICES) restore_model_variables(first_part);

  // The sources' load columns made by the matrix stage.
  RUN_FILES &files = run_files();
  open_ffile(files.source_matrix, "r");
  load_sources(files.source_matrix, chain_edge_count(first_part));
  close_ffile(files.source_matrix);

  open_ffile(files.system_matrices, "r");
  MATRIX_PROFILE *profile = read_matrix_profile(files.system_matrices, nullptr);
  close_ffile(files.system_matrices);
  const int no_unknowns = profile->dimension;
  const int no_nonzeros = profile->size;
  free_matrix_profile(&profile);
  if (control.ac_mode)
    ac_analysis(first_part, no_unknowns, no_nonzeros);
  else
    time_stepping(first_part, no_unknowns, no_nonzeros);
}

} // namespace tesmora
