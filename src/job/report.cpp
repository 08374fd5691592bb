// The report print, the fault messages and the single exit on failure.
#include "job/report.hpp"

#include "job/memory.hpp"
#include "job/run_files.hpp"

#include <cstdarg>
#include <cstdlib>

namespace tesmora {
namespace {

std::FILE *open_stream(const FFILE *ffile) { return ffile && ffile->state != 0 ? ffile->stream : nullptr; }

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
  std::FILE *targets[] = {run_files().error_stream, open_stream(run_files().check)};
  for (std::FILE *stream : targets) {
    if (!stream) continue;
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stream, format, arguments);
    va_end(arguments);
    std::fflush(stream);
  }
}

void stop_job(int status) {
  if (status != 0) write_fault("exception error occured!! no.= %d\n", status);
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
