// Text output of the job: the report print and the fault messages of the fatal paths.
#pragma once

#include <cstdio>

namespace tesmora {

// The one text-output entry: formatted print to a report stream (output, check, a post file).
// A null stream is ignored, so callers need not test whether an optional file is open.
[[gnu::format(printf, 2, 3)]] void write_report(std::FILE *stream, const char *format, ...);

// Writes a message to the check file only (when it is open) and flushes it.
[[gnu::format(printf, 1, 2)]] void write_check(const char *format, ...);

// Writes a message to the job's stderr file and to the check file, each only when it is open,
// and echoes it on the terminal (job/terminal.hpp). This is how every detected fault is told
// before the job stops.
[[gnu::format(printf, 1, 2)]] void write_fault(const char *format, ...);

// The single exit on failure. A non-zero status is reported as "exception error occured!!" to
// the stderr and check files; the input, check and alloc_out files are closed; then the process
// exits with the status (-1 after a signal, which the shell sees as 255). Frees nothing. Status 1
// also goes on the terminal with the job's closing line; after a signal the terminal is left alone.
[[noreturn]] void stop_job(int status);

// What a job can ask for that this build of the program doesn't have yet.
enum class UNBUILT {
  work,       // a stage, analysis or output: "The %s is not part of this build of the program."
  input_data, // an input section or card value: "The %s data can't be read by this build ..."
};

// Stops a job that asks for something this build lacks, naming it, rather than let it end as if
// it had computed it: the message goes to the stderr and check files, then stop_job(1).
[[noreturn]] void stop_at_unbuilt(UNBUILT kind, const char *name);

} // namespace tesmora
