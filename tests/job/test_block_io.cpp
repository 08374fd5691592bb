// Sliced and buffered binary transfers: round trips across slice and buffer boundaries, end of
// file, the forward seek of a buffered file.
#include "job/block_io.hpp"
#include "job/ffile.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <vector>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

std::vector<double> ramp(std::size_t count) {
  std::vector<double> values(count);
  for (std::size_t i = 0; i < count; ++i) values[i] = 0.5 * static_cast<double>(i) - 3.0;
  return values;
}

} // namespace

class BlockTransfer : public ::testing::TestWithParam<int> {}; // parameter: use_buffer

TEST_P(BlockTransfer, RoundTripOfArraysLargerThanSliceAndBuffer) {
  ScopedJobFiles files;
  FFILE *ffile = create_ffile("blocks", 1);
  ffile->use_buffer = GetParam();
  // 100000 doubles are 800000 bytes: many 1024-byte slices and more than two buffer loads.
  // The odd second array (37 ints) leaves slices and buffer loads misaligned.
  const std::vector<double> big = ramp(100000);
  std::vector<int> odd(37);
  for (int i = 0; i < 37; ++i) odd[i] = i * i;
  open_ffile(ffile, "w");
  EXPECT_EQ(write_blocks(odd.data(), sizeof(int), odd.size(), ffile), 1);
  EXPECT_EQ(write_blocks(big.data(), sizeof(double), big.size(), ffile), 1);
  close_ffile(ffile);
  EXPECT_EQ(read_file(files.dir().file("blocks")).size(), 37 * sizeof(int) + 100000 * sizeof(double));

  open_ffile(ffile, "r");
  std::vector<int> odd_back(37);
  std::vector<double> big_back(100000);
  EXPECT_EQ(read_blocks(odd_back.data(), sizeof(int), 37, ffile), 1);
  EXPECT_EQ(read_blocks(big_back.data(), sizeof(double), big_back.size(), ffile), 1);
  EXPECT_EQ(odd_back, odd);
  EXPECT_EQ(big_back, big);
  double more = 0.0;
  EXPECT_EQ(read_blocks(&more, sizeof more, 1, ffile), 0);  // end of file
  EXPECT_EQ(read_blocks(&more, sizeof more, 0, ffile), -1); // nothing asked
  close_ffile(ffile);
  EXPECT_EQ(ffile->buffer, nullptr);
  free_ffile(ffile, "ffile");
}

INSTANTIATE_TEST_SUITE_P(DirectAndBuffered, BlockTransfer, ::testing::Values(0, 1));

TEST(BlockTransfer, BufferedSeekSkipsForwardAndRewindRefills) {
  ScopedJobFiles files;
  FFILE *ffile = create_ffile("seek", 1);
  const std::vector<double> values = ramp(60000); // 480000 bytes
  open_ffile(ffile, "w");
  write_blocks(values.data(), sizeof(double), values.size(), ffile);
  close_ffile(ffile);

  ffile->use_buffer = 1;
  open_ffile(ffile, "r");
  double value = 0.0;
  ASSERT_EQ(blocked_fseek(ffile, 8 * 45000, SEEK_CUR), 0); // crosses into the second load
  ASSERT_EQ(read_blocks(&value, sizeof value, 1, ffile), 1);
  EXPECT_EQ(value, values[45000]);
  ASSERT_EQ(blocked_fseek(ffile, 8 * 10, SEEK_CUR), 0);
  ASSERT_EQ(read_blocks(&value, sizeof value, 1, ffile), 1);
  EXPECT_EQ(value, values[45011]);
  EXPECT_EQ(blocked_fseek(ffile, 8 * 100000, SEEK_CUR), -1); // runs off the end

  open_ffile(ffile, "r"); // an open file is rewound, its buffer refilled
  ASSERT_EQ(read_blocks(&value, sizeof value, 1, ffile), 1);
  EXPECT_EQ(value, values[0]);
  close_ffile(ffile);
  free_ffile(ffile, "ffile");
}

TEST(BlockTransfer, BufferedSeekInAnEmptyFileStopsTheJob) {
  const CHILD_JOB job = run_job_in_child([] {
    FFILE *ffile = create_ffile("empty", 1);
    open_ffile(ffile, "w");
    close_ffile(ffile);
    ffile->use_buffer = 1;
    open_ffile(ffile, "r");
    blocked_fseek(ffile, 8, SEEK_CUR);
  });
  EXPECT_EQ(job.exit_status, 1);
  EXPECT_EQ(job.check, "**** Error in blocked_fseek ***exception error occured!! no.= 1\n");
}
