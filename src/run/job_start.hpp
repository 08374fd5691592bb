// Start of a job's files: the time texts, the banner, and open_run_files.
#pragma once

#include <cstdio>
#include <string>

namespace tesmora {

// The standard library's textual local time of `seconds`, with its trailing newline
// ("Sun Nov 22 13:11:16 2026\n").
std::string local_time_text(long long seconds);

// Start and end time of the job as printed at the end of the report.
struct JOB_TIMES {
  std::string start_time_text; // taken by open_run_files, with trailing newline
  std::string end_time_text;   // taken by finish_job; empty until then
};
JOB_TIMES &job_times();

// Writes the banner of the report: frame, block letters, address block, release line and the
// "has started at" line.
void write_banner(std::FILE *stream, const std::string &start_time_text);

// Takes the start time, creates every run file record, opens output, output.json and check,
// sets up the JSON report, writes the banner and appends the START line to the run log.
void open_run_files();

} // namespace tesmora
