// Whole TesmoraBatch runs: options, the files of a job, the report's frame, faults, signals and
// the shared run log.
#include "job/run_log.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <regex>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

// The log this machine's jobs write to: the first directory whose log can be appended to.
std::string run_log_file() {
  for (const std::string &directory : run_log_directories()) {
    const std::string path = directory + "/tesmora.log";
    if (std::FILE *log = std::fopen(path.c_str(), "a")) {
      std::fclose(log);
      return path;
    }
  }
  return "";
}

struct LOG_COUNTS {
  long start = 0;
  long end = 0;
};

// START and END lines in the log; every line must be intact.
LOG_COUNTS count_log_lines() {
  static const std::regex intact("(START|END)@[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9:]{8} [0-9]{4}"
                                 "\\[[^\\]]+\\]\\[TESMORA r12\\.0\\.17  April 13, 2020\\]");
  LOG_COUNTS counts;
  for (const std::string &line : split_lines(read_file(run_log_file()))) {
    EXPECT_TRUE(std::regex_match(line, intact)) << "torn log line: " << line;
    (line.rfind("START@", 0) == 0 ? counts.start : counts.end) += 1;
  }
  return counts;
}

std::vector<std::string> files_in(const std::string &folder) {
  std::vector<std::string> names;
  for (const auto &entry : std::filesystem::directory_iterator(folder))
    names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

const char *const stage_lines[] = {
    "*******  Pre_processing is completed ********",
    "*******  Make_system_matrices is completed ********",
    "*******  Solve_equation is completed ********",
    "*******  Post_processing is completed ********",
};

} // namespace

TEST(BatchOptions, VersionPrintsTwoLinesAndCreatesNothing) {
  for (const std::vector<std::string> &arguments :
       {std::vector<std::string>{"-v"}, {"-version"}, {"-d", "x", "-v", "-f"}, {"-v", "-q", "whatever"}}) {
    TempDir folder;
    const BATCH_RUN run = run_batch(folder.path(), arguments);
    EXPECT_EQ(run.exit_status, 0);
    EXPECT_EQ(run.stdout_text, "Tesmora r12.0.17\n   Release Date:April 13, 2020\n");
    EXPECT_TRUE(files_in(folder.path()).empty());
  }
}

TEST(BatchRun, PlainRunWritesTheReportFrameAndItsFiles) {
  TempDir folder;
  write_file(folder.file("input"), "");
  const LOG_COUNTS before = count_log_lines();
  // Quiet: the files are the whole record of the job, and nothing reaches the terminal.
  const BATCH_RUN run = run_spine_batch(folder.path(), {"-q"});
  ASSERT_EQ(run.exit_status, 0);
  EXPECT_EQ(run.stdout_text, "");
  EXPECT_EQ(files_in(folder.path()),
            (std::vector<std::string>{"check", "input", "output", "output.json", "stderr"}));
  EXPECT_EQ(read_file(folder.file("stderr")), "");
  EXPECT_EQ(read_file(folder.file("output.json")), "{}\n");

  const std::string output = read_file(folder.file("output"));
  const auto lines = split_lines(output);
  ASSERT_GT(lines.size(), 30u);
  // Banner: two newlines, a 90-wide frame, the release line, the start line.
  EXPECT_EQ(lines[0], "");
  EXPECT_EQ(lines[1], "");
  EXPECT_EQ(lines[2].size(), 90u);
  EXPECT_NE(lines[2].find("Tesmora"), std::string::npos);
  const std::string release_line =
      "                        TESMORA r12.0.17  64bit  April 13, 2020" + std::string(43, ' ');
  const auto release = std::find(lines.begin(), lines.end(), release_line);
  ASSERT_NE(release, lines.end());
  const std::regex started(
      "  TESMORA has started at [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9:]{8} [0-9]{4}");
  ASSERT_TRUE(std::regex_match(*(release + 1), started)) << *(release + 1);
  EXPECT_EQ(*(release + 2), " ");
  const std::string start_time = (release + 1)->substr(std::string("  TESMORA has started at ").size());

  // The four stage lines in order, each followed by its time line.
  const std::regex time_line("          utime  [ 0-9]{8}\\.[0-9]  stime  [ 0-9]{8}\\.[0-9]");
  auto at = release;
  for (const char *stage : stage_lines) {
    SCOPED_TRACE(stage);
    at = std::find(at, lines.end(), stage);
    ASSERT_NE(at, lines.end());
    ASSERT_TRUE(std::regex_match(*(at + 1), time_line)) << *(at + 1);
  }

  // Memory report, CPU table, start and end times, exactly in their frame.
  const std::string stars(97, '*');
  const std::string blank = "*" + std::string(95, ' ') + "*";
  const std::string figures = "[ 0-9]{8}\\.[0-9] : [ 0-9]{8}\\.[0-9]";
  auto row = [&](const char *title) {
    return "\\*                      " + std::string(title) + "[ ]*" + figures + "                 \\*\n";
  };
  const std::string tail =
      "\n\n" + std::string("\\*{97}\n") +
      "\\*                      Used region                      [ 0-9]{15} byte :                     "
      "\\*\n" +
      "\\* {95}\\*\n" + "\\*{97}\n" + "\\* {95}\\*\n" +
      "\\*                     CPU Times                               second                            "
      "\\*\n" +
      row("TOTAL") + row("Input, Pre-processing") + row("Matrix making") + row("Pre-conditioning") +
      row("Equation solving") + row("Post-processing") + "\\* {95}\\*\n" + "\\*{97}\n\n" +
      "                               \\*{10}  Start Time  \\*{10}\n\n" +
      "                                   " + start_time + "\n\n" +
      "                               \\*{10}  End  Time  \\*{10}\n\n" +
      "                                   [A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9:]{8} [0-9]{4}\n$";
  const std::size_t after_stages = output.find(stage_lines[3]);
  const std::string rest = output.substr(output.find('\n', output.find("utime", after_stages)) + 1);
  EXPECT_TRUE(std::regex_match(rest, std::regex(tail))) << rest;
  // The widths of the fixed lines, which a regex with spaces would let slip.
  EXPECT_NE(output.find("\n" + stars + "\n" + blank + "\n"), std::string::npos);
  EXPECT_NE(output.find("*                      Pre-conditioning                        0.0 :        0.0     "
                        "            *\n"),
            std::string::npos);

  const LOG_COUNTS after = count_log_lines();
  EXPECT_EQ(after.start - before.start, 1);
  EXPECT_EQ(after.end - before.end, 1);
}

TEST(BatchRun, CpuTableTotalIsTheSumOfItsRows) {
  TempDir folder;
  write_file(folder.file("input"), "");
  ASSERT_EQ(run_spine_batch(folder.path(), {}).exit_status, 0);
  double total = 0.0;
  double sum = 0.0;
  for (const std::string &line : split_lines(read_file(folder.file("output")))) {
    double utime = 0.0;
    double stime = 0.0;
    const std::size_t colon = line.find(" : ");
    if (line.rfind("*                      ", 0) != 0 || colon == std::string::npos) continue;
    if (std::sscanf(line.c_str() + colon - 10, "%lf : %lf", &utime, &stime) != 2) continue;
    EXPECT_EQ(stime, 0.0);
    (line.find("TOTAL") != std::string::npos ? total : sum) += utime;
  }
  EXPECT_EQ(total, sum);
}

TEST(BatchOptions, PrefixAndInputNameOptions) {
  TempDir folder;
  write_file(folder.file("abcinput"), "");
  EXPECT_EQ(run_spine_batch(folder.path(), {"-d", "abc"}).exit_status, 0);
  for (const char *name : {"abcoutput", "abcoutput.json", "abccheck", "abcstderr"})
    EXPECT_TRUE(file_exists(folder.file(name))) << name;
  EXPECT_FALSE(file_exists(folder.file("output")));

  std::filesystem::create_directory(folder.file("run"));
  write_file(folder.file("run/deck.inp"), "");
  // Options count by their first two characters; the name is taken with the prefix.
  EXPECT_EQ(run_spine_batch(folder.path(), {"-directory", "run/", "-file", "deck.inp", "-m", "-b", "-z"})
                .exit_status,
            0);
  EXPECT_TRUE(file_exists(folder.file("run/output")));
  EXPECT_TRUE(file_exists(folder.file("run/check")));
  EXPECT_FALSE(file_exists(folder.file("run/input")));
}

TEST(BatchFaults, MissingInputStopsWithTheMessageAndNoEndLine) {
  TempDir folder;
  const LOG_COUNTS before = count_log_lines();
  const BATCH_RUN run = run_batch(folder.path(), {"-f", "nowhere.dat"});
  EXPECT_EQ(run.exit_status, 1);
  const std::string message =
      "****  file nowhere.dat cannot be opened **** \nexception error occured!! no.= 1\n";
  EXPECT_EQ(read_file(folder.file("stderr")), message);
  EXPECT_EQ(read_file(folder.file("check")), message);
  EXPECT_TRUE(file_exists(folder.file("output.json")));
  EXPECT_EQ(read_file(folder.file("output.json")), "");
  const LOG_COUNTS after = count_log_lines();
  EXPECT_EQ(after.start - before.start, 1);
  EXPECT_EQ(after.end - before.end, 0);
}

TEST(BatchOptions, PoolSizeOption) {
  TempDir folder;
  write_file(folder.file("input"), "");
  EXPECT_EQ(run_spine_batch(folder.path(), {"-a", "100"}).exit_status, 0);
  EXPECT_NE(read_file(folder.file("output")).find("Post_processing is completed"), std::string::npos);
  // A text with a non-digit leaves the pool off, so even an absurd size is harmless.
  EXPECT_EQ(run_spine_batch(folder.path(), {"-a", "2147483647x"}).exit_status, 0);
  // A pool that can't be had ends the job before anything is read.
  // Its message is the pool's own print, which "-q" doesn't silence.
  const BATCH_RUN run = run_batch(folder.path(), {"-q", "-a", "2147483647"});
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_EQ(run.stdout_text, "!!!!! Memory 2147483647 Mbyte cannot be allocated!!!!!!!!!\n");
  EXPECT_EQ(read_file(folder.file("stderr")), "exception error occured!! no.= 1\n");
}

TEST(BatchSignals, TerminationPrintsTheSignalAndExits255) {
  for (const int signal_number : {SIGTERM, SIGINT}) {
    SCOPED_TRACE(signal_number);
    TempDir folder;
    // Reading a FIFO with no writer blocks the job in its input stage: a job in mid-run.
    ASSERT_EQ(mkfifo(folder.file("input").c_str(), 0600), 0);
    const std::string capture = folder.file("stdout.txt");
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
      if (chdir(folder.path().c_str()) != 0) _exit(120);
      if (!std::freopen(capture.c_str(), "w", stdout)) _exit(122);
      execl(TESMORA_BATCH_PATH, TESMORA_BATCH_PATH, static_cast<char *>(nullptr));
      _exit(121);
    }
    // The handlers are in place once check exists.
    for (int wait = 0; wait < 1000 && !file_exists(folder.file("check")); ++wait)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    kill(child, signal_number);
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 255);
    EXPECT_EQ(read_file(capture), "TERMINATED NO=" + std::to_string(signal_number) + "\n");
    EXPECT_EQ(read_file(folder.file("stderr")), "exception error occured!! no.= -1\n");
  }
}

TEST(BatchRunLog, TwentySimultaneousJobsLeaveTwentyIntactLinePairs) {
  constexpr int jobs = 20;
  std::vector<std::unique_ptr<TempDir>> folders;
  for (int j = 0; j < jobs; ++j) {
    folders.push_back(std::make_unique<TempDir>());
    write_file(folders.back()->file("input"), "");
  }
  const LOG_COUNTS before = count_log_lines();
  std::vector<std::thread> runners;
  std::vector<int> statuses(jobs, -1);
  for (int j = 0; j < jobs; ++j)
    runners.emplace_back([&, j] { statuses[j] = run_spine_batch(folders[j]->path(), {}).exit_status; });
  for (auto &runner : runners) runner.join();
  for (int j = 0; j < jobs; ++j) EXPECT_EQ(statuses[j], 0) << j;
  const LOG_COUNTS after = count_log_lines(); // also checks that every line is intact
  EXPECT_EQ(after.start - before.start, jobs);
  EXPECT_EQ(after.end - before.end, jobs);
}
