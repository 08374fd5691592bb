// Stage clock of the driver and stop watches.
#include "job/cpu_times.hpp"

#include "job/memory.hpp"

#include <ctime>

namespace tesmora {
namespace {

CPU_TIMES the_cpu_times;

} // namespace

CPU_TIMES &cpu_times() { return the_cpu_times; }

double read_clock_seconds() { return static_cast<double>(std::time(nullptr)); }

void get_cpu_times(double *utime, double *stime) {
  const double now = read_clock_seconds();
  *utime = now - the_cpu_times.last_utime;
  *stime = 0.0 - the_cpu_times.last_stime;
  the_cpu_times.last_utime = now;
}

StopWatch *create_stop_watch() {
  auto *watch = static_cast<StopWatch *>(calloc_named(1, sizeof(StopWatch), "StopWatch"));
  *watch = StopWatch{};
  watch->created_utime = read_clock_seconds();
  return watch;
}

void delete_stop_watch(StopWatch *watch) { free_named(watch, "StopWatch"); }

void start_stop_watch(StopWatch *watch) {
  watch->start_utime = read_clock_seconds();
  watch->start_stime = 0.0;
}

void stop_stop_watch(StopWatch *watch) {
  watch->total_utime += read_clock_seconds() - watch->start_utime;
  watch->total_stime += 0.0;
  ++watch->no_laps;
}

double total_utime_of(const StopWatch *watch) { return watch->total_utime; }

} // namespace tesmora
