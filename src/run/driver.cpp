// The job driver: main's sequence, the signal handler and the end of a job.
#include "run/driver.hpp"

#include "input/control_data.hpp"
#include "job/cpu_times.hpp"
#include "job/job_options.hpp"
#include "job/job_options_writable.hpp"
#include "job/memory.hpp"
#include "job/release.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "job/run_log.hpp"
#include "job/terminal.hpp"
#include "mesh/gauss.hpp"
#include "results/json_report.hpp"
#include "run/job_start.hpp"
#include "run/stages.hpp"

#include <csignal>
#include <cstdio>
#include <ctime>
#include <string>
#include <unistd.h>

namespace tesmora {
namespace {

void on_signal(int signal_number) {
  // Formatted without stdio so that a signal arriving inside a print can't deadlock on it.
  char text[64];
  const int length = std::snprintf(text, sizeof text, "TERMINATED NO=%d\n", signal_number);
  if (write(STDOUT_FILENO, text, static_cast<std::size_t>(length)) < 0) {
  }
  stop_job(-1);
}

void print_release() {
  std::printf("Tesmora r%s.%d\n", release_number, release_revision);
  std::printf("   Release Date:%s\n", release_date);
}

// Takes the time of the stage just run into its row and writes the stage line and time line.
void close_stage(CPU_ROW row, const char *stage_line, const char *stage_name) {
  double utime = 0.0;
  double stime = 0.0;
  get_cpu_times(&utime, &stime);
  cpu_times().utime[row] += utime;
  cpu_times().stime[row] += stime;
  std::FILE *output = run_files().print_out->stream;
  write_report(output, "%s", stage_line);
  write_report(output, "          utime  %10.1f  stime  %10.1f\n", utime, stime);
  std::fflush(output);
  write_stage_time(stage_name);
}

void write_cpu_table(std::FILE *output) {
  const CPU_TIMES &times = cpu_times();
  double total_utime = 0.0;
  double total_stime = 0.0;
  for (int row = 0; row < no_cpu_rows; ++row) {
    total_utime += times.utime[row];
    total_stime += times.stime[row];
  }
  const std::string stars(97, '*');
  write_report(output, "%s\n", stars.c_str());
  write_report(output, "*%95s*\n", "");
  write_report(
      output,
      "*                     CPU Times                               second                            *\n");
  write_report(output,
               "*                      TOTAL                            %10.1f : %10.1f                 *\n",
               total_utime, total_stime);
  constexpr const char *row_formats[no_cpu_rows] = {
      "*                      Input, Pre-processing            %10.1f : %10.1f                 *\n",
      "*                      Matrix making                    %10.1f : %10.1f                 *\n",
      "*                      Pre-conditioning                 %10.1f : %10.1f                 *\n",
      "*                      Equation solving                 %10.1f : %10.1f                 *\n",
      "*                      Post-processing                  %10.1f : %10.1f                 *\n",
  };
  for (int row = 0; row < no_cpu_rows; ++row)
    std::fprintf(output, row_formats[row], times.utime[row], times.stime[row]);
  write_report(output, "*%95s*\n", "");
  write_report(output, "%s\n\n", stars.c_str());
}

} // namespace

void install_signal_handlers() {
  const struct {
    int number;
    const char *name;
  } handled[] = {{SIGTERM, "SIGTERM"},
                 {SIGINT, "SIGINT"},
                 {SIGSEGV, "SIGSEGV"},
                 {SIGABRT, "SIGABRT"},
                 {SIGFPE, "SIGFPE"}};
  for (const auto &signal_entry : handled)
    if (std::signal(signal_entry.number, on_signal) == SIG_ERR)
      std::printf("ERROR signal(%s)", signal_entry.name);
}

void finish_job() {
  std::FILE *output = run_files().print_out->stream;
  std::fflush(output);
  memory_report(output);
  JOB_TIMES &times = job_times();
  times.end_time_text = local_time_text(static_cast<long long>(std::time(nullptr)));
  write_cpu_table(output);
  write_report(output, "                               **********  Start Time  **********\n\n");
  write_report(output, "                                   %s\n", times.start_time_text.c_str());
  write_report(output, "                               **********  End  Time  **********\n\n");
  write_report(output, "                                   %s", times.end_time_text.c_str());
  write_run_log_end(times.end_time_text);
  close_json_report(); // written at the end of the job, when the post stage hasn't done it
  free_run_files();
  write_job_summary(0);
}

bool start_job(int argc, const char *const *argv) {
  const OPTION_SCAN_RESULT scan = scan_options(argc, argv, writable_job_options());
  if (scan == OPTION_SCAN_RESULT::print_release) {
    print_release();
    return false;
  }
  if (scan == OPTION_SCAN_RESULT::print_usage) {
    print_usage();
    return false;
  }
  start_terminal();
  install_signal_handlers();
  const std::string error_path = job_options().work_directory + "stderr";
  run_files().error_stream = std::fopen(error_path.c_str(), "w");
  memory_init(job_options().memory_pool_mbytes);
  double utime = 0.0;
  double stime = 0.0;
  get_cpu_times(&utime, &stime); // the first stage's time starts here
  open_run_files();
  return true;
}

void run_stages_and_finish() {
  pre_processing();
  close_stage(cpu_input_pre, "*******  Pre_processing is completed ********\n", "pre_processing");
  make_system_matrices();
  close_stage(cpu_matrix, "*******  Make_system_matrices is completed ********\n", "make_system_matrices");
  solve_equation();
  close_stage(cpu_solving, "*******  Solve_equation is completed ********\n", "solve_equation");
  post_processing();
  close_stage(cpu_post, "*******  Post_processing is completed ********\n", "post_processing");
  free_gauss(active_gauss()); // the integration-point tables
  finish_job();
}

int run_job(int argc, const char *const *argv) {
  if (!start_job(argc, argv)) return 0;
  read_control_data();
  run_stages_and_finish();
  return 0;
}

} // namespace tesmora
