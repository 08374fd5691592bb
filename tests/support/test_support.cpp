// Helpers shared by the tests.
#include "support/test_support.hpp"

#include "job/job_options_writable.hpp"
#include "job/run_files.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace tesmora::testing {

namespace {

double allowed_difference(double actual, double expected, double rel, double abs) {
  return std::max(abs, rel * std::max(std::fabs(actual), std::fabs(expected)));
}

} // namespace

// Written as "difference <= allowed" so that a NaN on either side fails.
bool is_close(double actual, double expected, double rel, double abs) {
  return std::fabs(actual - expected) <= allowed_difference(actual, expected, rel, abs);
}

void expect_close(double actual, double expected, double rel, double abs) {
  EXPECT_TRUE(is_close(actual, expected, rel, abs))
      << "actual " << actual << " expected " << expected << " allowed "
      << allowed_difference(actual, expected, rel, abs);
}

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "tesmora_test_XXXXXX").string();
  if (!mkdtemp(pattern.data())) std::abort();
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string read_file(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

void write_file(const std::string &path, const std::string &text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
}

bool file_exists(const std::string &path) { return std::filesystem::exists(path); }

std::vector<std::string> split_lines(const std::string &text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

int run_in_child(const std::function<void()> &body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    body();
    std::fflush(nullptr);
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -2;
}

std::string job_options_folder() { return job_options().work_directory; }

FFILE *open_job_card_file(const std::string &name, const std::string &text) {
  write_file(job_options_folder() + name, text);
  FFILE *file = create_ffile(name.c_str(), 0);
  open_ffile(file, "r");
  return file;
}

std::string example_deck(const std::string &name) {
  return read_file(std::string(TESMORA_SOURCE_DIR) + "/examples/" + name + "/input");
}

void set_up_example(const TempDir &folder, const std::string &name, const std::string &deck) {
  std::filesystem::copy_file(std::string(TESMORA_SOURCE_DIR) + "/examples/" + name + "/pre_geom.nas",
                             folder.file("pre_geom.nas"));
  write_file(folder.file("input"), deck);
}

std::vector<std::string> cards_of(const std::string &deck) {
  std::vector<std::string> cards;
  for (const std::string &line : split_lines(deck))
    if (line.empty() || line[0] != '*') cards.push_back(line);
  return cards;
}

std::string join_cards(const std::vector<std::string> &cards) {
  std::string text;
  for (const std::string &card : cards) text += card + "\n";
  return text;
}

namespace {

// Points the work directory at `folder`, creates the run file records, opens check and the
// stderr file there.
void open_job_files_in(const std::string &folder) {
  writable_job_options().work_directory = folder + "/";
  create_run_files("input");
  open_ffile(run_files().check, "w");
  run_files().error_stream = std::fopen((folder + "/stderr").c_str(), "w");
}

} // namespace

CHILD_JOB run_job_in_child(const std::function<void()> &body) {
  TempDir folder;
  CHILD_JOB result;
  result.exit_status = run_in_child([&] {
    open_job_files_in(folder.path());
    body();
  });
  result.check = read_file(folder.file("check"));
  result.error = read_file(folder.file("stderr"));
  return result;
}

namespace {

BATCH_RUN run_program(const char *program_path, const std::string &folder,
                      const std::vector<std::string> &arguments) {
  // A job that can't get its memory must end with its own message, also in a sanitizer build,
  // whose allocator would otherwise abort on an impossible request.
  static std::once_flag sanitizer_options;
  std::call_once(sanitizer_options, [] { setenv("ASAN_OPTIONS", "allocator_may_return_null=1", 0); });

  // Everything the child needs is made before the fork: tests run jobs from several threads,
  // and a forked child of a threaded process must not allocate.
  const std::string capture = folder + "/.stdout_capture";
  std::string program = program_path;
  std::vector<std::string> copies = arguments;
  std::vector<char *> argv;
  argv.push_back(program.data());
  for (auto &argument : copies) argv.push_back(argument.data());
  argv.push_back(nullptr);
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    if (chdir(folder.c_str()) != 0) _exit(120);
    const int out = open(capture.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(out, STDOUT_FILENO);
    close(out);
    execv(program.c_str(), argv.data());
    _exit(121);
  }
  int status = 0;
  waitpid(child, &status, 0);
  BATCH_RUN run;
  run.exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : -2;
  run.stdout_text = read_file(capture);
  std::filesystem::remove(capture);
  return run;
}

} // namespace

BATCH_RUN run_batch(const std::string &folder, const std::vector<std::string> &arguments) {
  return run_program(TESMORA_BATCH_PATH, folder, arguments);
}

BATCH_RUN run_spine_batch(const std::string &folder, const std::vector<std::string> &arguments) {
  return run_program(TESMORA_SPINE_PATH, folder, arguments);
}

ScopedJobFiles::ScopedJobFiles() {
  saved_work_directory_ = job_options().work_directory;
  open_job_files_in(dir_.path());
}

FFILE *ScopedJobFiles::open_card_text(const std::string &name, const std::string &text) {
  write_file(dir_.file(name), text);
  FFILE *file = create_ffile(name.c_str(), 0);
  open_ffile(file, "r");
  card_files_.push_back(file);
  return file;
}

ScopedJobFiles::~ScopedJobFiles() {
  for (FFILE *file : card_files_) free_ffile(file, "ffile");
  RUN_FILES &files = run_files();
  free_run_files();
  if (files.error_stream) std::fclose(files.error_stream);
  files.error_stream = nullptr;
  writable_job_options().work_directory = saved_work_directory_;
}

std::string ScopedJobFiles::check_text() const {
  if (run_files().check && run_files().check->stream) std::fflush(run_files().check->stream);
  return read_file(dir_.path() + "/check");
}

std::string ScopedJobFiles::stderr_text() const {
  if (run_files().error_stream) std::fflush(run_files().error_stream);
  return read_file(dir_.path() + "/stderr");
}

} // namespace tesmora::testing
