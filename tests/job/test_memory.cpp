// Tagged allocation without a pool: null cases, failure messages, accounting, trace peak,
// and the RAII owner of large arrays.
#include "job/memory.hpp"
#include "job/tagged_array.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

using namespace tesmora;
using namespace tesmora::testing;

TEST(TaggedMemory, ZeroCountAndNullBlockAreHarmless) {
  ScopedJobFiles files;
  EXPECT_EQ(calloc_named(0, 8, "nothing"), nullptr);
  EXPECT_EQ(calloc_int(0, "nothing"), nullptr);
  free_named(nullptr, "nothing");
  EXPECT_EQ(files.check_text(), "");
  EXPECT_EQ(files.stderr_text(), "");
}

TEST(TaggedMemory, BlocksAreZeroedAndReallocationKeepsContents) {
  double *values = calloc_double(1000, "values");
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(values[i], 0.0);
  for (int i = 0; i < 1000; ++i) values[i] = i;
  values = static_cast<double *>(realloc_named(values, 5000 * sizeof(double), "values"));
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(values[i], i);
  free_named(values, "values");
}

TEST(TaggedMemory, AccountingSpansEveryBlockHandedOut) {
  void *block = calloc_named(100, 8, "span");
  const MEMORY_STATE &state = memory_state();
  ASSERT_TRUE(state.region_low_set);
  const auto address = reinterpret_cast<std::uintptr_t>(block);
  EXPECT_LE(state.region_low, address);
  EXPECT_GE(state.region_high, address + 800);
  free_named(block, "span");

  std::FILE *report = std::tmpfile();
  memory_report(report);
  std::rewind(report);
  char line[256];
  std::vector<std::string> lines;
  while (std::fgets(line, sizeof line, report)) lines.push_back(line);
  std::fclose(report);
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_EQ(lines[0], "\n");
  EXPECT_EQ(lines[2], std::string(97, '*') + "\n");
  char expected[256];
  std::snprintf(
      expected, sizeof expected,
      "*                      Used region                      %15lld byte :                     *\n",
      static_cast<long long>(state.region_high - state.region_low));
  EXPECT_EQ(lines[3], expected);
  EXPECT_EQ(lines[4], "*" + std::string(95, ' ') + "*\n");
}

TEST(TaggedMemory, LiveBytesFollowEveryBlockAndKeepTheirPeak) {
  // Blocks of 1, 2 and 3 MB live together, then one grows and all go: the live count must come
  // back to where it started, and the peak must have seen all of them at once.
  const MEMORY_STATE &state = memory_state();
  const std::int64_t before = state.live_bytes;
  constexpr std::int64_t megabyte = 1 << 20;
  void *blocks[3];
  for (int i = 0; i < 3; ++i) blocks[i] = calloc_named(static_cast<std::uint64_t>(i + 1), megabyte, "live");
  EXPECT_GE(state.live_bytes - before, 6 * megabyte);
  // The allocator's own rounding is small against a megabyte.
  EXPECT_LE(state.live_bytes - before, 6 * megabyte + 3 * 4096);
  EXPECT_GE(state.live_bytes_peak, state.live_bytes);
  blocks[0] = realloc_named(blocks[0], 4 * megabyte, "live");
  EXPECT_GE(state.live_bytes - before, 9 * megabyte);
  EXPECT_LE(state.live_bytes - before, 9 * megabyte + 3 * 4096);
  const std::int64_t peak = state.live_bytes_peak;
  for (void *block : blocks) free_named(block, "live");
  EXPECT_EQ(state.live_bytes, before);
  EXPECT_EQ(state.live_bytes_peak, peak);
  EXPECT_GE(peak - before, 9 * megabyte);
}

TEST(TaggedMemory, FailedAllocationNamesTagAndSizeAndStops) {
  const CHILD_JOB calloc_job = run_job_in_child([] {
    fail_nth_allocation(2);
    free_named(calloc_named(1, 8, "first"), "first");
    calloc_named(10, 8, "matrix->values");
  });
  EXPECT_EQ(calloc_job.exit_status, 1);
  const std::string calloc_message =
      "*** Calloc error name:matrix->values, size:80\nexception error occured!! no.= 1\n";
  EXPECT_EQ(calloc_job.check, calloc_message);
  EXPECT_EQ(calloc_job.error, calloc_message);

  const CHILD_JOB realloc_job = run_job_in_child([] {
    void *block = calloc_named(4, 8, "grow");
    fail_nth_allocation(1);
    realloc_named(block, 1000, "grow");
  });
  EXPECT_EQ(realloc_job.exit_status, 1);
  EXPECT_EQ(realloc_job.check, "*** Realloc error name:grow, size:1000\nexception error occured!! no.= 1\n");
}

TEST(TaggedMemory, PeakOfLiveBytesFromTrace) {
  std::FILE *trace = std::tmpfile();
  // Live sums: 10, 30, then 100 freed (20), 25, a repeated address is dropped (25), 200 and
  // 300 freed (0), 7. The peak is 30.
  std::fputs("A                  100                   10 a\n"
             "A                  200                   20 b\n"
             "F                  100                      a\n"
             "A                  300                    5 c\n"
             "A                  300                   99 c-again\n"
             "F                  200                   20 b\n"
             "F                  300                      c\n"
             "F                  999                      never-allocated\n"
             "A                  400                    7 d\n",
             trace);
  EXPECT_EQ(peak_live_bytes(trace), 30);
  // The trace stays positioned at its end for further lines.
  EXPECT_EQ(std::ftell(trace), std::fseek(trace, 0, SEEK_END) == 0 ? std::ftell(trace) : -1);
  std::fclose(trace);
}

TEST(TaggedArrayOwner, ResizeKeepsOldItemsAndZeroesNewOnes) {
  TaggedArray<int> values(10, "values");
  EXPECT_EQ(values.size(), 10);
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(values[i], 0);
    values[i] = i + 1;
  }
  values.resize(100000);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(values[i], i + 1);
  for (int i = 10; i < 100000; ++i) ASSERT_EQ(values[i], 0) << i;
  values.resize(5);
  EXPECT_EQ(values[4], 5);

  TaggedArray<int> moved = std::move(values);
  EXPECT_EQ(values.data(), nullptr);
  EXPECT_EQ(values.size(), 0);
  EXPECT_EQ(moved.size(), 5);
  EXPECT_STREQ(moved.tag(), "values");
  moved.resize(0);
  EXPECT_EQ(moved.data(), nullptr);
}
