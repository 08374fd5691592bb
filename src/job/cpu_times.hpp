// The job's clock: stage times for the CPU table, and stop watches for timing inner work.
//
// The clock is the standard library's time() in whole seconds: the column called utime is
// elapsed wall-clock time and the stime column is always 0. Reports have always read so.
#pragma once

namespace tesmora {

// Rows of the CPU table, in print order below TOTAL.
enum CPU_ROW {
  cpu_input_pre = 0,
  cpu_matrix = 1,
  cpu_preconditioning = 2,
  cpu_solving = 3,
  cpu_post = 4,
  no_cpu_rows = 5
};

struct CPU_TIMES {
  double utime[no_cpu_rows] = {}; // seconds per row
  double stime[no_cpu_rows] = {}; // seconds per row; stays 0
  double last_utime = 0.0;        // clock at the previous reading
  double last_stime = 0.0;        // stays 0
};

// The process-wide table of the driver.
CPU_TIMES &cpu_times();

// Seconds of the clock, as a double of whole seconds.
double read_clock_seconds();

// Differences since the previous call: utime the elapsed whole seconds, stime 0.0 - last_stime.
void get_cpu_times(double *utime, double *stime);

// Times a piece of work over many start-stop intervals (tag "StopWatch").
struct StopWatch {
  double start_utime = 0.0, start_stime = 0.0;     // readings at the last start
  double total_utime = 0.0, total_stime = 0.0;     // sums over all intervals
  double created_utime = 0.0, created_stime = 0.0; // readings at creation
  int no_laps = 0;                                 // stops so far
};

StopWatch *create_stop_watch();
void delete_stop_watch(StopWatch *watch);
void start_stop_watch(StopWatch *watch);
void stop_stop_watch(StopWatch *watch);
double total_utime_of(const StopWatch *watch);

} // namespace tesmora
