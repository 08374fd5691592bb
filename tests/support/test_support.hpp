// Helpers shared by the tests: comparisons, temporary folders, child processes, job files.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tesmora {
struct FFILE;
}

namespace tesmora::testing {

// Passes when |a-b| <= max(abs, rel*max(|a|,|b|)); NaN never passes.
void expect_close(double actual, double expected, double rel, double abs);
// The test of expect_close, for callers that report a failure their own way.
bool is_close(double actual, double expected, double rel, double abs);

// A fresh folder under the system's temporary directory, removed with its contents at the end.
class TempDir {
public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir &) = delete;
  TempDir &operator=(const TempDir &) = delete;
  const std::string &path() const { return path_; }
  std::string file(const std::string &name) const { return path_ + "/" + name; }

private:
  std::string path_;
};

std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &text);
bool file_exists(const std::string &path);
std::vector<std::string> split_lines(const std::string &text);

// Exit status of a child process that runs `body` and then exits 0; -2 when it died by a signal.
int run_in_child(const std::function<void()> &body);

// What a job-like child process left: its exit status and its check and stderr files.
struct CHILD_JOB {
  int exit_status = -1; // 0..255, or -2 when killed by a signal
  std::string check;
  std::string error;
};

// Runs `body` in a child process whose job files (check, stderr, all run file records) live in
// a fresh folder, as a job's would; returns how it ended and what it wrote. Faults in `body`
// end through stop_job as in a real job.
CHILD_JOB run_job_in_child(const std::function<void()> &body);

// The work-directory prefix of the job files in force (in a child of run_job_in_child, its folder).
std::string job_options_folder();

// Writes `text` as card file `name` in the job's folder and opens it for reading; for the
// bodies of run_job_in_child. The record lives until the child ends.
FFILE *open_job_card_file(const std::string &name, const std::string &text);

// The input deck of an example job, examples/<name>/input.
std::string example_deck(const std::string &name);
// A folder holding example `name`'s mesh and `deck` as its input file.
void set_up_example(const TempDir &folder, const std::string &name, const std::string &deck);
// The cards of a deck: its lines without the comments.
std::vector<std::string> cards_of(const std::string &deck);
// Cards joined into a deck, one a line.
std::string join_cards(const std::vector<std::string> &cards);

// Result of one TesmoraBatch run.
struct BATCH_RUN {
  int exit_status = -1; // 0..255, or -2 when killed by a signal
  std::string stdout_text;
};

// Runs TesmoraBatch with `arguments` in `folder`, capturing its standard output.
BATCH_RUN run_batch(const std::string &folder, const std::vector<std::string> &arguments);

// The same with the test build of the driver that opens its input file but reads no cards:
// whole runs of the job frame, independent of the input readers.
BATCH_RUN run_spine_batch(const std::string &folder, const std::vector<std::string> &arguments);

// Sets up the job's files in a temporary folder for a test: the work directory points there,
// the run file records exist, check and the stderr file are open. Restores all at the end.
class ScopedJobFiles {
public:
  ScopedJobFiles();
  ~ScopedJobFiles();
  ScopedJobFiles(const ScopedJobFiles &) = delete;
  ScopedJobFiles &operator=(const ScopedJobFiles &) = delete;
  std::string check_text() const;  // what check holds so far
  std::string stderr_text() const; // what the stderr file holds so far
  const TempDir &dir() const { return dir_; }

  // Writes `text` as file `name` in the folder and opens it for reading as a card file; the
  // record is freed with the guard.
  FFILE *open_card_text(const std::string &name, const std::string &text);

private:
  TempDir dir_;
  std::string saved_work_directory_;
  std::vector<FFILE *> card_files_;
};

} // namespace tesmora::testing
