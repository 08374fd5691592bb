// The job's lines on the process's standard output: stage times, linear solves, faults, summary.
//
// The files of a job (output, check, stderr, output.json) hold the record of the run; the
// terminal gets a short running account for the person who started it: each stage's wall time
// in milliseconds, each linear solve's iterations and residual, every fatal message, a
// "warning: " line for input that is legal but probably not meant, and one closing line with the
// exit status, wall time and memory peaks. "-q" silences all of it.
// Nothing else in the program prints on standard output but the release, the usage text and the
// messages of the signal handler and the pool creation.
#pragma once

#include <cstdarg>

namespace tesmora {

// Formatted print on standard output, flushed; nothing when the job runs quietly ("-q").
[[gnu::format(printf, 1, 2)]] void write_terminal(const char *format, ...);
void write_terminal_list(const char *format, va_list arguments);

// Takes the start of the job's wall clock and of the first stage, and makes a terminal that has
// gone away (a closed pipe) a failed print rather than the end of the job. Called once, early
// in main.
void start_terminal();

// Prints the wall time since the previous stage ended (or the job started) under `stage_name`.
void write_stage_time(const char *stage_name);

// Prints one linear solve of step `step` (1-based) and keeps the first step that did not
// converge for the summary.
void write_linear_solve(int step, int iterations, double residual, bool converged);

// Prints one Newton iteration of step `step`: its error (the residual before the correction,
// relative to the step's load) and the iterations of its linear solve.
void write_newton_iteration(int step, int iteration, double error, int solver_iterations);
// Prints the end of a step's Newton loop, with the wall seconds of its element terms and of its
// linear solves, and keeps the first step that did not converge.
void write_newton_result(int step, int iterations, double error, bool converged, double element_seconds,
                         double solve_seconds);

// The closing line: exit status, wall time, peak of live tagged bytes, peak resident size and
// the first step whose solve did not converge, if any.
void write_job_summary(int exit_status);

// Peak resident size of the process in bytes (VmHWM), or 0 where the system doesn't say.
long long peak_resident_bytes();

// The command-line usage, printed by "-h" whatever "-q" says.
void print_usage();

} // namespace tesmora
