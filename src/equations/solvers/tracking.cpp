// Convergence bookkeeping shared by every method: the norm of the right-hand side, the start
// checks, the tolerance under a nonlinear loop, the best solution and the divergence counter.
#include "equations/solvers/solver_internal.hpp"

#include "job/memory.hpp"
#include "job/report.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tesmora::solver_detail {

namespace {

constexpr double zero_rhs_norm2 = 1e-30;
constexpr const char *best_tag = "x_best in solve_sparse_matrix";

// The tightening factor of the nonlinear rule for each method family.
double tightening(const SOLVER_SETTINGS &settings, TOLERANCE_RULE rule, double err) {
  const double convergence = settings.cg_iteration.convergence;
  const double conv_ratio = settings.non_linear_iteration.iccg_conv_ratio;
  switch (rule) {
  case TOLERANCE_RULE::cg:
    return std::min(0.2 * err, conv_ratio * err);
  case TOLERANCE_RULE::bicg:
    return std::min(0.01 * err, conv_ratio * err);
  case TOLERANCE_RULE::bicgstab_symmetric:
    return std::min(0.01 * err, err * convergence / settings.non_linear_iteration.conv);
  case TOLERANCE_RULE::complex:
    return std::min(static_cast<double>(0.01f) * err, conv_ratio * err);
  }
  return convergence;
}

void write_line(const ITERATION_TRACK &track, std::FILE *stream, int k, double err) {
  write_report(stream, track.context->routine.line_format, k, err);
}

// What the solve gives for the JSON results: converged flag, iteration of the solution returned
// and its relative residual. Every way out of a method sets it exactly once.
void set_result(ITERATION_TRACK &track, int converged, int iterations, double residual) {
  track.result =
      SOLVE_RESULT{.judged = 1, .converged = converged, .iterations = iterations, .error = residual};
}

} // namespace

ITERATION_TRACK make_track(const SOLVE_CONTEXT &context, SOLVE_FIGURES &figures, int length) {
  ITERATION_TRACK track;
  track.context = &context;
  track.figures = &figures;
  track.streams = report_streams();
  track.length = length;
  return track;
}

bool take_rhs_norm(ITERATION_TRACK &track, const double *rhs, double *x) {
  const SOLVE_REQUEST &request = track.context->request;
  SOLVE_FIGURES &figures = *track.figures;
  if (request.recompute_norm) {
    const double *v = request.norm_vector ? request.norm_vector : rhs;
    figures.rhs_norm2 = dot(track.length, v, v);
  }
  track.b2 = figures.rhs_norm2;
  if (track.b2 < zero_rhs_norm2) {
    write_report(track.streams.check, " *** warning *** RHS of equation=0. \n");
    std::memset(x, 0, sizeof(double) * static_cast<std::size_t>(track.length));
    figures.status = 1;
    figures.error = 0.0;
    figures.iterations = 0;
    set_result(track, 1, 0, 0.0);
    return false;
  }
  return true;
}

bool start_track(ITERATION_TRACK &track, double err, const double *x) {
  const SOLVER_SETTINGS &settings = track.context->settings;
  const SOLVE_REQUEST &request = track.context->request;
  const double convergence = settings.cg_iteration.convergence;
  const int check_flag = settings.non_linear_iteration.check_b_relative;
  SOLVE_FIGURES &figures = *track.figures;
  figures.first_error = err;
  const bool no_iteration_needed =
      request.in_nonlinear && err < convergence && (check_flag == 0 || request.restart_type3);
  if (std::isnan(err)) {
    write_line(track, track.streams.output, 0, err);
    write_line(track, track.streams.check, 0, err);
    figures.error = err;
    set_result(track, 0, 0, err);
    return false;
  }
  if (err == 0.0) { // an exact start
    figures.error = 0.0;
    figures.iterations = 0;
    figures.status = no_iteration_needed ? -1 : 1;
    set_result(track, figures.status == 1, 0, 0.0);
    return false;
  }
  track.x_best = calloc_double(static_cast<std::uint64_t>(track.length), best_tag);
  std::memcpy(track.x_best, x, sizeof(double) * static_cast<std::size_t>(track.length));
  track.best = err;
  track.best_iteration = 0;
  track.counter = 0;
  write_line(track, track.streams.output, 0, err);
  write_line(track, track.streams.check, 0, err);
  track.tol = convergence;
  if (request.in_nonlinear) {
    if (no_iteration_needed) {
      figures.error = err;
      figures.status = -1;
      set_result(track, 0, 0, err);
      return false;
    }
    track.tol = tightening(settings, track.context->routine.tolerance, err);
    if (track.tol < convergence && check_flag == 0) track.tol = convergence;
  }
  if (err < track.tol) {
    figures.error = err;
    figures.status = 1;
    figures.iterations = 0;
    set_result(track, 1, 0, err);
    return false;
  }
  return true;
}

namespace {

// The report lines, the divergence counter and the exits of step k, once the caller has settled
// the best store.
int judge_step(ITERATION_TRACK &track, int k, double err) {
  const CG_ITERATION &settings = track.context->settings.cg_iteration;
  SOLVE_FIGURES &figures = *track.figures;
  write_line(track, track.streams.check, k, err);
  if (k % 50 == 0 && track.streams.output) {
    write_line(track, track.streams.output, k, err);
    std::fflush(track.streams.output);
  }
  if (err < track.best) {
    track.best = err;
    track.best_iteration = k;
    track.counter = 0;
  } else if (err >= track.best * settings.div_factor) {
    ++track.counter;
  } else {
    track.counter = 0;
  }
  if (err < track.tol) {
    figures.status = 1;
    return 1;
  }
  if (track.counter > settings.div_iterations) {
    figures.status = 0;
    write_line(track, track.streams.output, k, err);
    return -1;
  }
  return 0;
}

} // namespace

int track_step(ITERATION_TRACK &track, int k, double err, const double *x) {
  if (err < track.best) std::memcpy(track.x_best, x, sizeof(double) * static_cast<std::size_t>(track.length));
  return judge_step(track, k, err);
}

int track_step_before_update(ITERATION_TRACK &track, int k, double err, const double *x_previous) {
  if (err < track.best) {
    track.x_holds_best = true; // the step the caller adds next makes x the best iterate
  } else if (track.x_holds_best) {
    // x is about to leave the best iterate behind: keep it.
    std::memcpy(track.x_best, x_previous, sizeof(double) * static_cast<std::size_t>(track.length));
    track.x_holds_best = false;
  }
  return judge_step(track, k, err);
}

namespace {

// Leaves with the best solution: x = x_best, error, iterations, total_iterations += k.
void finish_track(ITERATION_TRACK &track, int k, double *x) {
  SOLVE_FIGURES &figures = *track.figures;
  if (!track.x_holds_best)
    std::memcpy(x, track.x_best, sizeof(double) * static_cast<std::size_t>(track.length));
  figures.error = track.best;
  figures.iterations = track.best_iteration;
  figures.total_iterations += k;
  set_result(track, figures.status == 1, figures.iterations, figures.error);
}

// The messages of the methods other than plain ICCG at the end of their loop.
void report_loop_end(const ITERATION_TRACK &track, int limit_ran_out, double err) {
  if (limit_ran_out) {
    write_report(track.streams.check, "*** ICCG not converged ***\n");
    write_report(track.streams.output, "*** ICCG not converged ***\n\n");
  }
  write_report(track.streams.check, "*** ICCG converged ***\n");
  write_report(track.streams.check,
               err < track.tol ? "*** ICCG converges ***\n" : "*** ICCG does not converge***\n");
}

} // namespace

SOLVE_RESULT close_track(ITERATION_TRACK &track, int outcome, int k, int limit, double err, double *x) {
  if (outcome == 0) track.figures->status = 0, k = limit;
  finish_track(track, k, x);
  if (track.context->routine.reports_loop_end) report_loop_end(track, outcome == 0, err);
  return end_track(track);
}

SOLVE_RESULT end_track(ITERATION_TRACK &track) {
  free_named(track.x_best, best_tag);
  track.x_best = nullptr;
  return track.result;
}

int iteration_limit(const SOLVE_CONTEXT &context, int n) {
  const int max_iterations = context.settings.cg_iteration.max_iterations;
  if (context.method.limit == ITERATION_LIMIT::dimension) return n + 10;
  return max_iterations != 0 ? max_iterations : n + 10;
}

} // namespace tesmora::solver_detail
