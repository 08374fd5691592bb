// The run log: path choice, the machine-wide lock, START and END lines.
#include "job/run_log.hpp"

#include "job/release.hpp"
#include "job/report.hpp"

#include <cstdio>
#include <cstdlib>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tesmora {
namespace {

// The path chosen at the START line, kept for the END line.
std::string run_log_path;
// Switches both log lines off; nothing sets it in a normal job.
constexpr bool run_log_disabled = false;

std::string first_line_of(const std::string &text) { return text.substr(0, text.find('\n')); }

std::string home_directory() {
  if (const char *home = std::getenv("HOME"); home && *home) return home;
  if (const passwd *entry = getpwuid(geteuid()); entry && entry->pw_dir) return entry->pw_dir;
  return ".";
}

} // namespace

std::vector<std::string> run_log_directories() { return {"/var/tmp", home_directory()}; }

std::string current_user_name() {
  std::string name;
  if (const passwd *entry = getpwuid(geteuid()); entry && entry->pw_name)
    name = entry->pw_name;
  else if (const char *user = std::getenv("USER"))
    name = user;
  else
    name = "unknown";
  return name.substr(0, 256);
}

std::string make_run_log_line(const char *mark, const std::string &time_text, const std::string &user) {
  char line[1024];
  std::snprintf(line, sizeof line, "%s@%s[%s][%s r%s.%d  %s]\n", mark, first_line_of(time_text).c_str(),
                user.c_str(), module_name, release_number, release_revision, release_date);
  return line;
}

bool append_run_log_line(const std::string &path, const std::string &line) {
  std::FILE *log = std::fopen(path.c_str(), "a");
  if (!log) return false;
  chmod(path.c_str(), 0666); // others' jobs append too; fails harmlessly on a file we don't own
  const int fd = fileno(log);
  // A lock that can't be taken counts as not having it: the append goes on, as the log is
  // opened for appending and each line goes out in one write.
  const bool locked = flock(fd, LOCK_EX) == 0;
  std::fputs(line.c_str(), log);
  std::fflush(log);
  if (locked) flock(fd, LOCK_UN);
  std::fclose(log);
  return true;
}

void write_run_log_start(const std::string &start_time_text) {
  if (run_log_disabled) return;
  const std::string line = make_run_log_line("START", start_time_text, current_user_name());
  for (const std::string &directory : run_log_directories()) {
    run_log_path = directory + "/tesmora.log";
    if (append_run_log_line(run_log_path, line)) return;
  }
  write_fault("error of opening tesmora.log file in %s!\n", run_log_path.c_str());
  stop_job(1);
}

void write_run_log_end(const std::string &end_time_text) {
  if (run_log_disabled || run_log_path.empty()) return;
  if (!append_run_log_line(run_log_path, make_run_log_line("END", end_time_text, current_user_name()))) {
    write_fault("error of opening tesmora.log file in %s!\n", run_log_path.c_str());
    stop_job(1);
  }
}

} // namespace tesmora
