// The machine-wide run log "tesmora.log": one START and one END line per job.
#pragma once

#include <string>
#include <vector>

namespace tesmora {

// Directories tried for the log, in order: a machine-wide writable one, then the user's home.
std::vector<std::string> run_log_directories();

// Appends one line to the log at `path` under a machine-wide lock (flock on the log itself),
// so that concurrent jobs never mix their lines. The file gets permission bits 0666 where we
// own it. Returns false when the file can't be opened.
bool append_run_log_line(const std::string &path, const std::string &line);

// "START@time[user][TESMORA r12.0.17  date]" or "END@..." for a job.
std::string make_run_log_line(const char *mark, const std::string &time_text, const std::string &user);

// Name of the user running the job (at most 256 characters).
std::string current_user_name();

// Appends the START line of the job, choosing the log path from run_log_directories(); when
// no directory takes it, "error of opening tesmora.log file in %s!" ends the job.
void write_run_log_start(const std::string &start_time_text);
// Appends the END line to the path chosen at the start.
void write_run_log_end(const std::string &end_time_text);

} // namespace tesmora
