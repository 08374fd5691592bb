// The report print, the fault messages and the single exit on failure.
#include "job/report.hpp"

#include "job/memory.hpp"
#include "job/run_files.hpp"
#include "job/terminal.hpp"

#include <cstdarg>
#include <cstdlib>

namespace tesmora {
namespace {

std::FILE *open_stream(const FFILE *ffile) { return ffile && ffile->state != 0 ? ffile->stream : nullptr; }

void write_fault_to_files(const char *format, va_list arguments) {
  std::FILE *targets[] = {run_files().error_stream, open_stream(run_files().check)};
  for (std::FILE *stream : targets) {
    if (!stream) continue;
    va_list copy;
    va_copy(copy, arguments);
    std::vfprintf(stream, format, copy);
    va_end(copy);
    std::fflush(stream);
  }
}

// The fault files only: after a signal stdio may be mid-print, so the terminal is left alone.
[[gnu::format(printf, 1, 2)]] void write_fault_without_terminal(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write_fault_to_files(format, arguments);
  va_end(arguments);
}

} // namespace

void write_report(std::FILE *stream, const char *format, ...) {
  if (!stream) return;
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stream, format, arguments);
  va_end(arguments);
}

void write_check(const char *format, ...) {
  std::FILE *check = open_stream(run_files().check);
  if (!check) return;
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(check, format, arguments);
  va_end(arguments);
  std::fflush(check);
}

void write_fault(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  write_fault_to_files(format, arguments);
  va_end(arguments);
  va_start(arguments, format);
  write_terminal_list(format, arguments);
  va_end(arguments);
}

void stop_job(int status) {
  if (status == -1) {
    write_fault_without_terminal("exception error occured!! no.= %d\n", status);
  } else if (status != 0) {
    write_fault("exception error occured!! no.= %d\n", status);
    write_job_summary(status);
  }
  close_ffile(run_files().control_input);
  close_ffile(run_files().check);
  close_memory_trace();
  std::exit(status);
}

void stop_at_unbuilt(UNBUILT kind, const char *name) {
  if (kind == UNBUILT::work)
    write_fault("**** The %s is not part of this build of the program. Job is stopped. ****\n", name);
  else
    write_fault("**** The %s data can't be read by this build of the program. Job is stopped. ****\n", name);
  stop_job(1);
}

} // namespace tesmora
