// The job's running account on standard output, and the command-line usage text.
#include "job/terminal.hpp"

#include "job/job_options.hpp"
#include "job/memory.hpp"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <sys/resource.h>

namespace tesmora {
namespace {

using CLOCK = std::chrono::steady_clock;

// What the closing line needs to know of the run so far.
struct TERMINAL_STATE {
  CLOCK::time_point job_start;    // start_terminal
  CLOCK::time_point stage_start;  // end of the previous stage
  int first_unconverged_step = 0; // 1-based step of the first solve that did not converge
  int no_unconverged_solves = 0;  // solves that did not converge
};

TERMINAL_STATE the_terminal;

double seconds_since(CLOCK::time_point start) {
  return std::chrono::duration<double>(CLOCK::now() - start).count();
}

} // namespace

void write_terminal_list(const char *format, va_list arguments) {
  if (job_options().quiet) return;
  std::vfprintf(stdout, format, arguments);
  std::fflush(stdout);
}

void write_terminal(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write_terminal_list(format, arguments);
  va_end(arguments);
}

void start_terminal() {
  // Without this a job piped into a reader that quits early would die of SIGPIPE at its next
  // line, with its files half written; files on disk never raise it.
  std::signal(SIGPIPE, SIG_IGN);
  the_terminal = TERMINAL_STATE{};
  the_terminal.job_start = CLOCK::now();
  the_terminal.stage_start = the_terminal.job_start;
}

void write_stage_time(const char *stage_name) {
  const CLOCK::time_point now = CLOCK::now();
  const double seconds = std::chrono::duration<double>(now - the_terminal.stage_start).count();
  the_terminal.stage_start = now;
  write_terminal("%-22s %10.3f s\n", stage_name, seconds);
}

void write_linear_solve(int step, int iterations, double residual, bool converged) {
  if (!converged) {
    if (the_terminal.no_unconverged_solves == 0) the_terminal.first_unconverged_step = step;
    ++the_terminal.no_unconverged_solves;
  }
  write_terminal("  step %d: linear solve, %d iterations, residual %.3e%s\n", step, iterations, residual,
                 converged ? "" : ", did not converge");
}

void write_newton_iteration(int step, int iteration, double error, int solver_iterations) {
  write_terminal("  step %d: Newton %d, error %.3e, %d solver iterations\n", step, iteration, error,
                 solver_iterations);
}

void write_newton_result(int step, int iterations, double error, bool converged, double element_seconds,
                         double solve_seconds) {
  if (!converged) {
    if (the_terminal.no_unconverged_solves == 0) the_terminal.first_unconverged_step = step;
    ++the_terminal.no_unconverged_solves;
  }
  write_terminal(
      "  step %d: nonlinear, %d Newton iterations, error %.3e%s; element terms %.3f s, solves %.3f s\n", step,
      iterations, error, converged ? "" : ", did not converge", element_seconds, solve_seconds);
}

long long peak_resident_bytes() {
  // VmHWM is the resident high-water mark in kB; getrusage says the same where /proc is missing.
  if (std::FILE *status = std::fopen("/proc/self/status", "r")) {
    char line[256];
    long long kilobytes = -1;
    while (std::fgets(line, sizeof line, status))
      if (std::sscanf(line, "VmHWM: %lld kB", &kilobytes) == 1) break;
    std::fclose(status);
    if (kilobytes >= 0) return kilobytes * 1024;
  }
  rusage usage{};
  if (getrusage(RUSAGE_SELF, &usage) == 0) return static_cast<long long>(usage.ru_maxrss) * 1024;
  return 0;
}

void write_job_summary(int exit_status) {
  const MEMORY_STATE &memory = memory_state();
  char unconverged[96] = "";
  if (the_terminal.no_unconverged_solves > 0)
    std::snprintf(unconverged, sizeof unconverged, ", did not converge at step %d (%d solves)",
                  the_terminal.first_unconverged_step, the_terminal.no_unconverged_solves);
  write_terminal("job end: exit status %d, wall %.3f s, peak live tagged %lld bytes, peak resident %lld "
                 "bytes%s\n",
                 exit_status, seconds_since(the_terminal.job_start),
                 static_cast<long long>(memory.live_bytes_peak), peak_resident_bytes(), unconverged);
}

void print_usage() {
  std::fputs("usage: TesmoraBatch [-f input-file] [-d prefix] [-a pool-megabytes] [-q] [-v] [-h]\n"
             "  -f name   read the input file name (default: input)\n"
             "  -d text   put text directly in front of every file name of the job\n"
             "  -a n      take all memory from a private pool of n megabytes\n"
             "  -q        print nothing on the terminal (the job's files are the same)\n"
             "  -v        print the release and end\n"
             "  -h        print this text and end\n",
             stdout);
}

} // namespace tesmora
