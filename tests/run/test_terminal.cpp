// What a whole TesmoraBatch run prints on its terminal: stage times, solves, faults, the closing
// line, the usage text, card errors with their line, and silence under "-q".
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <regex>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace tesmora::testing;

namespace {

// The figures of the closing line.
struct SUMMARY {
  bool found = false;
  int exit_status = -1;
  double wall_s = -1.0;
  long long peak_live = -1;
  long long peak_resident = -1;
  std::string rest; // what follows the resident size
};

SUMMARY summary_of(const std::string &terminal) {
  static const std::regex line("job end: exit status (-?[0-9]+), wall ([0-9.]+) s, peak live tagged ([0-9]+) "
                               "bytes, peak resident ([0-9]+) bytes(.*)");
  SUMMARY summary;
  for (const std::string &text : split_lines(terminal)) {
    std::smatch m;
    if (!std::regex_match(text, m, line)) continue;
    summary.found = true;
    summary.exit_status = std::stoi(m[1]);
    summary.wall_s = std::stod(m[2]);
    summary.peak_live = std::stoll(m[3]);
    summary.peak_resident = std::stoll(m[4]);
    summary.rest = m[5];
  }
  return summary;
}

// Seconds of the stage line of `stage`, or -1 when there is none.
double stage_seconds(const std::string &terminal, const std::string &stage) {
  const std::regex line(stage + " +([0-9]+\\.[0-9]{3}) s");
  for (const std::string &text : split_lines(terminal)) {
    std::smatch m;
    if (std::regex_match(text, m, line)) return std::stod(m[1]);
  }
  return -1.0;
}

const char *const stage_names[] = {"pre_processing", "make_system_matrices", "solve_equation",
                                   "post_processing"};

} // namespace

TEST(BatchTerminal, HelpPrintsTheUsageAndCreatesNothing) {
  for (const std::vector<std::string> &arguments :
       {std::vector<std::string>{"-h"}, {"-help"}, {"-q", "-h"}, {"-d", "x", "-h", "-v"}}) {
    TempDir folder;
    const BATCH_RUN run = run_batch(folder.path(), arguments);
    EXPECT_EQ(run.exit_status, 0);
    EXPECT_EQ(run.stdout_text.rfind("usage: TesmoraBatch ", 0), 0u) << run.stdout_text;
    for (const char *option : {"-f", "-d", "-a", "-v", "-q", "-h"})
      EXPECT_NE(run.stdout_text.find(std::string("\n  ") + option + " "), std::string::npos) << option;
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
  }
}

TEST(BatchTerminal, FaultIsEchoedWithTheTextOfTheStderrFile) {
  TempDir folder;
  const BATCH_RUN run = run_batch(folder.path(), {"-f", "nowhere.dat"});
  EXPECT_EQ(run.exit_status, 1);
  const std::string stderr_file = read_file(folder.file("stderr"));
  ASSERT_FALSE(stderr_file.empty());
  EXPECT_EQ(run.stdout_text.substr(0, stderr_file.size()), stderr_file);
  const SUMMARY summary = summary_of(run.stdout_text);
  ASSERT_TRUE(summary.found) << run.stdout_text;
  EXPECT_EQ(summary.exit_status, 1);
  // The fault and the closing line are all: no stage was reached.
  EXPECT_EQ(split_lines(run.stdout_text).size(), split_lines(stderr_file).size() + 1);

  TempDir quiet;
  const BATCH_RUN silent = run_batch(quiet.path(), {"-q", "-f", "nowhere.dat"});
  EXPECT_EQ(silent.exit_status, 1);
  EXPECT_EQ(silent.stdout_text, "");
  EXPECT_EQ(read_file(quiet.file("stderr")), stderr_file);
}

TEST(BatchTerminal, QuietRunPrintsNothingAndTheFilesStayClean) {
  TempDir loud;
  TempDir quiet;
  set_up_example(loud, "static", example_deck("static"));
  set_up_example(quiet, "static", example_deck("static"));
  const BATCH_RUN talking = run_batch(loud.path(), {});
  const BATCH_RUN silent = run_batch(quiet.path(), {"-q"});
  ASSERT_EQ(talking.exit_status, 0);
  ASSERT_EQ(silent.exit_status, 0);
  EXPECT_EQ(silent.stdout_text, "");
  for (const char *stage : stage_names) EXPECT_GE(stage_seconds(talking.stdout_text, stage), 0.0) << stage;
  EXPECT_TRUE(summary_of(talking.stdout_text).found);
  EXPECT_EQ(read_file(loud.file("stderr")), "");
  EXPECT_EQ(read_file(quiet.file("stderr")), "");
}

TEST(BatchTerminal, CardErrorNamesTheLineAndItsText) {
  // "COOR" is too short a prefix for the COORDINATE section: a card error on that card.
  std::string deck = example_deck("static");
  const std::size_t at = deck.find("\nCOORDINATE 1\n");
  ASSERT_NE(at, std::string::npos);
  deck.replace(at + 1, std::string("COORDINATE").size(), "COOR");
  // Counted here from the text: the line is its newlines before it plus one, the card number
  // the lines before it that are not comments, plus one.
  const std::vector<std::string> lines = split_lines(deck.substr(0, at + 1));
  const int line_number = static_cast<int>(lines.size()) + 1;
  int card_number = 1;
  for (const std::string &line : lines)
    if (line.empty() || line[0] != '*') ++card_number;

  TempDir folder;
  set_up_example(folder, "static", deck);
  const BATCH_RUN run = run_batch(folder.path(), {});
  EXPECT_EQ(run.exit_status, 1);
  const std::string message = "Error in card No." + std::to_string(card_number) + " in file input";
  EXPECT_NE(run.stdout_text.find(message + ", line " + std::to_string(line_number) + ":\n  COOR 1\n"),
            std::string::npos)
      << run.stdout_text;
  // check keeps its own text: the echo of the card, then the message without a line.
  const std::string check = read_file(folder.file("check"));
  EXPECT_NE(check.find("COOR 1\n" + message + "\n Job stops.\nexception error occured!! no.= 1\n"),
            std::string::npos);
  EXPECT_EQ(check.find(", line "), std::string::npos);
  EXPECT_EQ(summary_of(run.stdout_text).exit_status, 1);
}

TEST(BatchTerminal, ADeckThatEndsTooSoonSaysWhere) {
  // The static deck cut behind its first five lines: comments round the release card.
  const std::string deck = example_deck("static");
  std::size_t cut = 0;
  for (int line = 0; line < 5; ++line) cut = deck.find('\n', cut) + 1;
  TempDir folder;
  set_up_example(folder, "static", deck.substr(0, cut));
  const BATCH_RUN run = run_batch(folder.path(), {});
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_EQ(run.stdout_text.rfind("input is insufficient: file input ends after line 5\n"
                                  "exception error occured!! no.= 1\n",
                                  0),
            0u)
      << run.stdout_text;
  // check keeps its own words.
  const std::string check = read_file(folder.file("check"));
  EXPECT_NE(check.find("input is insufficient.\nexception error occured!! no.= 1\n"), std::string::npos);
}

TEST(BatchTerminal, SolveThatDoesNotConvergeIsToldAndTheJobEndsNormally) {
  // MAX_ITERATIONS is the ninth field of the ICCG_CONV card; one iteration can't reach 1e-8.
  std::string deck = example_deck("static");
  const std::size_t header = deck.find("* ICCG_CONV ");
  ASSERT_NE(header, std::string::npos);
  const std::size_t card = deck.find('\n', header) + 1;
  const std::size_t card_end = deck.find('\n', card);
  std::string iccg = deck.substr(card, card_end - card);
  iccg = iccg.substr(0, iccg.rfind(' ')) + " 1";
  deck.replace(card, card_end - card, iccg);

  TempDir folder;
  set_up_example(folder, "static", deck);
  const BATCH_RUN run = run_batch(folder.path(), {});
  EXPECT_EQ(run.exit_status, 0);
  EXPECT_NE(run.stdout_text.find("  step 1: linear solve, 1 iterations, residual "), std::string::npos)
      << run.stdout_text;
  EXPECT_NE(run.stdout_text.find(", did not converge\n"), std::string::npos);
  const SUMMARY summary = summary_of(run.stdout_text);
  ASSERT_TRUE(summary.found);
  EXPECT_EQ(summary.exit_status, 0);
  EXPECT_EQ(summary.rest, ", did not converge at step 1 (1 solves)");
  for (const char *name : {"output", "check", "output.json", "solutions", "magnetic"})
    EXPECT_TRUE(file_exists(folder.file(name))) << name;
  EXPECT_EQ(read_file(folder.file("stderr")), "");
  // The summary file records it too.
  EXPECT_TRUE(std::regex_search(read_file(folder.file("output.json")),
                                std::regex("\"ICCG\"\\s*:\\s*\\{\\s*\"CONVERGE\"\\s*:\\s*\\[0\\]")));

  // The example as it stands converges, and its closing line says nothing of the kind.
  TempDir converging;
  set_up_example(converging, "static", example_deck("static"));
  const BATCH_RUN good = run_batch(converging.path(), {});
  EXPECT_EQ(good.exit_status, 0);
  EXPECT_EQ(good.stdout_text.find("did not converge"), std::string::npos);
  EXPECT_EQ(summary_of(good.stdout_text).rest, "");
  EXPECT_TRUE(std::regex_search(read_file(converging.file("output.json")),
                                std::regex("\"ICCG\"\\s*:\\s*\\{\\s*\"CONVERGE\"\\s*:\\s*\\[1\\]")));
}

TEST(BatchTerminal, PeakLiveBytesAreWithinAFactorTwoOfThePeakResidentSize) {
  // The sphere's model and matrices are most of what the process holds: the tagged peak and
  // the resident high-water mark (which adds the program, its libraries and untagged memory)
  // must agree within a factor of two, or one of them is measured wrongly.
  TempDir folder;
  set_up_example(folder, "sphere", example_deck("sphere"));
  const BATCH_RUN run = run_batch(folder.path(), {});
  ASSERT_EQ(run.exit_status, 0);
  const SUMMARY summary = summary_of(run.stdout_text);
  ASSERT_TRUE(summary.found) << run.stdout_text;
  EXPECT_GT(summary.peak_live, 0);
  EXPECT_LE(summary.peak_live, 2 * summary.peak_resident);
#ifdef __SANITIZE_ADDRESS__
  // AddressSanitizer's shadow memory and quarantine multiply the resident size; only the bound
  // above holds there.
  GTEST_SKIP() << "resident size under AddressSanitizer: " << summary.peak_resident;
#endif
  EXPECT_LE(summary.peak_resident, 2 * summary.peak_live);
}

TEST(BatchTerminal, StageTimesAreWallClockMilliseconds) {
  // The input stage waits on a FIFO that the test opens only after a pause, so the first
  // stage lasts at least that pause; whole-second clocks would show 0 here.
  TempDir folder;
  ASSERT_EQ(mkfifo(folder.file("input").c_str(), 0600), 0);
  constexpr double pause_s = 0.3;
  const auto started = std::chrono::steady_clock::now();
  std::thread writer([&] {
    // The job's clock runs before it makes check, so the pause counts from a moment that lies
    // inside its first stage.
    for (int wait = 0; wait < 1000 && !file_exists(folder.file("check")); ++wait)
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    std::this_thread::sleep_for(std::chrono::duration<double>(pause_s));
    if (std::FILE *fifo = std::fopen(folder.file("input").c_str(), "w")) std::fclose(fifo);
  });
  const BATCH_RUN run = run_spine_batch(folder.path(), {});
  const double elapsed_s = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  writer.join();
  ASSERT_EQ(run.exit_status, 0);
  const double first = stage_seconds(run.stdout_text, "pre_processing");
  EXPECT_GE(first, pause_s - 0.001) << run.stdout_text; // printed to the millisecond
  double sum = 0.0;
  for (const char *stage : stage_names) {
    const double seconds = stage_seconds(run.stdout_text, stage);
    EXPECT_GE(seconds, 0.0) << stage;
    sum += seconds;
  }
  const SUMMARY summary = summary_of(run.stdout_text);
  ASSERT_TRUE(summary.found);
  EXPECT_GE(summary.wall_s, sum - 0.004); // four roundings of half a millisecond
  EXPECT_LE(summary.wall_s, elapsed_s);
}

TEST(BatchTerminal, ATerminalThatHasGoneAwayDoesNotEndTheJob) {
  // Standard output is a pipe whose reader is already gone: every print fails, the job goes on.
  TempDir folder;
  set_up_example(folder, "static", example_deck("static"));
  int pipe_ends[2];
  ASSERT_EQ(pipe(pipe_ends), 0);
  close(pipe_ends[0]);
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    if (chdir(folder.path().c_str()) != 0) _exit(120);
    dup2(pipe_ends[1], STDOUT_FILENO);
    execl(TESMORA_BATCH_PATH, TESMORA_BATCH_PATH, static_cast<char *>(nullptr));
    _exit(121);
  }
  close(pipe_ends[1]);
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_NE(read_file(folder.file("output")).find("**********  End  Time  **********"), std::string::npos);
}
