// The run log: line format and intact lines under many concurrent writers.
#include "job/run_log.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <regex>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace tesmora;
using namespace tesmora::testing;

TEST(RunLog, LinesCarryTheFirstLineOfTheTimeTextUserAndRelease) {
  EXPECT_EQ(make_run_log_line("START", "Sun Nov 22 13:11:16 2026\n", "ada"),
            "START@Sun Nov 22 13:11:16 2026[ada][TESMORA r12.0.17  April 13, 2020]\n");
  EXPECT_EQ(make_run_log_line("END", "Mon Nov 23 01:02:03 2026\n", "bob"),
            "END@Mon Nov 23 01:02:03 2026[bob][TESMORA r12.0.17  April 13, 2020]\n");
  EXPECT_FALSE(current_user_name().empty());
  EXPECT_LE(current_user_name().size(), 256u);
}

TEST(RunLog, ConcurrentWritersLeaveEveryLineIntact) {
  TempDir dir;
  const std::string path = dir.file("tesmora.log");
  constexpr int writers = 20;
  constexpr int lines_each = 200;
  std::vector<pid_t> children;
  for (int w = 0; w < writers; ++w) {
    const pid_t child = fork();
    if (child == 0) {
      // A long line makes torn writes likely if the lock or the append did not hold.
      const std::string line = "START@writer " + std::to_string(w) + " " + std::string(3000, 'x') + "\n";
      for (int i = 0; i < lines_each; ++i)
        if (!append_run_log_line(path, line)) _exit(2);
      _exit(0);
    }
    children.push_back(child);
  }
  for (pid_t child : children) {
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  const auto lines = split_lines(read_file(path));
  ASSERT_EQ(lines.size(), static_cast<std::size_t>(writers * lines_each));
  const std::regex intact("START@writer [0-9]+ x{3000}");
  for (const std::string &line : lines) ASSERT_TRUE(std::regex_match(line, intact));
  struct stat info {};
  ASSERT_EQ(stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0666u);
}

TEST(RunLog, DirectoriesAreMachineWideFirstThenHome) {
  const auto directories = run_log_directories();
  ASSERT_EQ(directories.size(), 2u);
  EXPECT_EQ(directories[0], "/var/tmp");
  EXPECT_FALSE(directories[1].empty());
}
