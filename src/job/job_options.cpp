// Command-line scan of TesmoraBatch and the process-wide command-line record.
#include "job/job_options.hpp"
#include "job/job_options_writable.hpp"

#include <cstring>

namespace tesmora {
namespace {

JOB_OPTIONS the_job_options;

bool is_option(const char *argument, const char *option) { return std::strncmp(argument, option, 2) == 0; }

// "-a" takes only a text of decimal digits; anything else leaves the setting alone.
void set_pool_size(const char *text, JOB_OPTIONS &options) {
  if (*text == '\0') return;
  long long value = 0;
  for (const char *c = text; *c; ++c) {
    if (*c < '0' || *c > '9') return;
    if (value < 1000000000LL) value = value * 10 + (*c - '0');
  }
  if (value > 0 && value <= 2147483647LL) options.memory_pool_mbytes = static_cast<int>(value);
}

} // namespace

const JOB_OPTIONS &job_options() { return the_job_options; }
JOB_OPTIONS &writable_job_options() { return the_job_options; }

OPTION_SCAN_RESULT scan_options(int argc, const char *const *argv, JOB_OPTIONS &options) {
  for (int i = 1; i < argc; ++i) {
    const char *argument = argv[i];
    // An option that wants an argument but stands last takes nothing: the caller's fault.
    const char *next = i + 1 < argc ? argv[i + 1] : nullptr;
    if (is_option(argument, "-a")) {
      if (next) set_pool_size(next, options);
      ++i;
    } else if (is_option(argument, "-m")) {
      options.option_m = 1;
    } else if (is_option(argument, "-d")) {
      if (next) options.work_directory = next;
      ++i;
    } else if (is_option(argument, "-f")) {
      if (next) options.control_input_name = next;
      ++i;
    } else if (is_option(argument, "-b")) {
      options.option_b = 1;
    } else if (is_option(argument, "-z")) {
      options.option_z = 1;
    } else if (is_option(argument, "-q")) {
      options.quiet = 1;
    } else if (is_option(argument, "-v")) {
      return OPTION_SCAN_RESULT::print_release;
    } else if (is_option(argument, "-h")) {
      return OPTION_SCAN_RESULT::print_usage;
    }
  }
  return OPTION_SCAN_RESULT::run_job;
}

} // namespace tesmora
