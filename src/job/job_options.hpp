// Command-line state of the job: pool size, file-name prefix, input file name and inert flags.
#pragma once

#include <string>

namespace tesmora {

struct JOB_OPTIONS {
  int memory_pool_mbytes = 0;               // private memory pool in megabytes; 0: no pool
  std::string work_directory;               // put directly in front of every run file name
  std::string control_input_name = "input"; // name of the input file
  int option_m = 0;                         // "-m": accepted, read by nothing
  int option_b = 1;                         // "-b": accepted, read by nothing
  int option_z = 0;                         // "-z": accepted, read by nothing
  int quiet = 0;                            // "-q": nothing on the terminal; the files are alike
};

// What the option scan asks the driver to do next.
enum class OPTION_SCAN_RESULT { run_job, print_release, print_usage };

// Scans argv[1..argc-1]. Options are recognised by their first two characters; "-a", "-d" and
// "-f" take the next argument unexamined; "-v" and "-h" stop the scan at once. Unknown arguments are
// skipped. Writes only into `options`.
OPTION_SCAN_RESULT scan_options(int argc, const char *const *argv, JOB_OPTIONS &options);

// The process-wide record, written once by the driver before any file is opened.
const JOB_OPTIONS &job_options();

} // namespace tesmora
