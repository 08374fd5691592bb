// The private pool: first fit, splitting, merging, the two free messages, re-allocation, and
// the failure of an oversized request in a pool-backed job.
#include "job/memory.hpp"
#include "job/memory_pool.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

// A pool over a local area of `bytes` bytes (16-byte aligned like the calloc'd real one).
struct LocalPool {
  explicit LocalPool(std::size_t bytes) : area(bytes / 16) {
    pool_format(pool, reinterpret_cast<unsigned char *>(area.data()), bytes);
  }
  struct alignas(16) Chunk {
    unsigned char bytes[16];
  };
  std::vector<Chunk> area;
  MEMORY_POOL pool;

  POOL_HEADER *first() { return reinterpret_cast<POOL_HEADER *>(area.data()); }
  // Headers of the chain, the closing one included.
  std::vector<POOL_HEADER *> chain() {
    std::vector<POOL_HEADER *> headers;
    for (POOL_HEADER *h = first(); h; h = h->next) headers.push_back(h);
    return headers;
  }
};

POOL_HEADER *header_of(void *payload) {
  return reinterpret_cast<POOL_HEADER *>(static_cast<unsigned char *>(payload) - 16);
}

} // namespace

TEST(MemoryPool, FreshPoolIsOneFreeBlockAndAClosingHeader) {
  LocalPool local(1024);
  const auto chain = local.chain();
  ASSERT_EQ(chain.size(), 2u);
  EXPECT_EQ(chain[0]->used, 0);
  EXPECT_EQ(chain[1]->used, 1);
  EXPECT_EQ(reinterpret_cast<unsigned char *>(chain[1]),
            reinterpret_cast<unsigned char *>(local.first()) + 1024 - 16);
  EXPECT_EQ(pool_room(chain[0]), 1024u - 32u);
}

TEST(MemoryPool, FirstFitTakesTheEarliestBlockThatIsLargeEnough) {
  LocalPool local(4096);
  void *a = pool_allocate(local.pool, 1, 100, "a"); // rounded to 104
  void *b = pool_allocate(local.pool, 1, 40, "b");
  void *c = pool_allocate(local.pool, 1, 200, "c");
  ASSERT_TRUE(a && b && c);
  EXPECT_EQ(static_cast<unsigned char *>(b), static_cast<unsigned char *>(a) + 104 + 16);
  pool_free(local.pool, a, "a");
  pool_free(local.pool, c, "c");
  // Both a's hole and the space behind b can take 64 bytes: the first one wins, not the best.
  void *d = pool_allocate(local.pool, 8, 8, "d");
  EXPECT_EQ(d, a);
  // 300 bytes don't fit in the rest of a's hole; they go behind b.
  void *e = pool_allocate(local.pool, 1, 300, "e");
  EXPECT_EQ(e, c);
  // A request larger than any room fails without a message.
  EXPECT_EQ(pool_allocate(local.pool, 1, 8192, "too big"), nullptr);
  EXPECT_EQ(pool_allocate(local.pool, 0, 8, "nothing"), nullptr);
}

TEST(MemoryPool, SplitLeavesEvenAHeaderOnlyRemainder) {
  LocalPool local(1024);
  // Room 992; taking 976 leaves exactly one 16-byte header with no payload behind it.
  void *a = pool_allocate(local.pool, 1, 976, "a");
  ASSERT_NE(a, nullptr);
  auto chain = local.chain();
  ASSERT_EQ(chain.size(), 3u);
  EXPECT_EQ(chain[1]->used, 0);
  EXPECT_EQ(pool_room(chain[1]), 0u);
  EXPECT_EQ(pool_allocate(local.pool, 1, 1, "none left"), nullptr);
  // An exact fit doesn't split.
  pool_free(local.pool, a, "a");
  LocalPool exact(1024);
  void *whole = pool_allocate(exact.pool, 1, 992, "whole");
  ASSERT_NE(whole, nullptr);
  EXPECT_EQ(exact.chain().size(), 2u);
}

TEST(MemoryPool, FreeMergesWithBothNeighbours) {
  LocalPool local(2048);
  void *a = pool_allocate(local.pool, 1, 64, "a");
  void *b = pool_allocate(local.pool, 1, 64, "b");
  void *c = pool_allocate(local.pool, 1, 64, "c");
  void *guard = pool_allocate(local.pool, 1, 64, "guard");
  pool_free(local.pool, a, "a");
  pool_free(local.pool, c, "c");
  EXPECT_EQ(local.chain().size(), 6u); // a, b, c, guard, rest, closing
  pool_free(local.pool, b, "b");
  const auto chain = local.chain();
  ASSERT_EQ(chain.size(), 4u); // a+b+c, guard, rest, closing
  EXPECT_EQ(chain[0]->used, 0);
  EXPECT_EQ(chain[0]->next, header_of(guard));
  EXPECT_EQ(local.pool.pool_last_freed_size, 64u);
  // The merged hole takes what the three blocks and two inner headers held.
  EXPECT_EQ(pool_allocate(local.pool, 1, 3 * 64 + 2 * 16, "merged"), a);
}

TEST(MemoryPool, BadFreesAreReportedAndTheJobGoesOn) {
  ScopedJobFiles files;
  LocalPool local(1024);
  void *a = pool_allocate(local.pool, 1, 32, "a");
  pool_free(local.pool, a, "a_tag");
  pool_free(local.pool, a, "a_tag");
  int outside = 0;
  pool_free(local.pool, &outside, "foreign");
  char expected[256];
  std::snprintf(expected, sizeof expected,
                "Freed private memory not allocated :a_tag\nFree private memory not allocated :foreign "
                "adress = %20lld\n",
                static_cast<long long>(reinterpret_cast<std::uintptr_t>(&outside)));
  EXPECT_EQ(files.check_text(), expected);
  EXPECT_EQ(files.stderr_text(), "");
  // Still usable afterwards.
  EXPECT_EQ(pool_allocate(local.pool, 1, 32, "again"), a);
}

TEST(MemoryPool, ReallocationKeepsOldBytesAndZeroesOnlyTheNewPart) {
  LocalPool local(4096);
  auto *a = static_cast<unsigned char *>(pool_allocate(local.pool, 1, 24, "a"));
  void *blocker = pool_allocate(local.pool, 1, 8, "blocker");
  std::memset(a, 0xAB, 24);
  // Leave junk where the grown block will land, to see that only the new part is zeroed.
  auto *junk = static_cast<unsigned char *>(pool_allocate(local.pool, 1, 256, "junk"));
  std::memset(junk, 0xCD, 256);
  pool_free(local.pool, junk, "junk");
  auto *grown = static_cast<unsigned char *>(pool_reallocate(local.pool, a, 100, "a"));
  ASSERT_NE(grown, nullptr);
  EXPECT_EQ(grown, junk); // a's old place is too small; first fit finds the junk block
  for (int i = 0; i < 24; ++i) EXPECT_EQ(grown[i], 0xAB) << i;
  for (int i = 24; i < 104; ++i) EXPECT_EQ(grown[i], 0) << i;
  EXPECT_EQ(local.pool.pool_no_clear, 0);
  // Shrinking keeps the leading bytes.
  auto *shrunk = static_cast<unsigned char *>(pool_reallocate(local.pool, grown, 8, "a"));
  for (int i = 0; i < 8; ++i) EXPECT_EQ(shrunk[i], 0xAB) << i;
  (void)blocker;
}

TEST(MemoryPool, ReallocationIntoAMergedHoleMovesContentsIntact) {
  LocalPool local(4096);
  void *before = pool_allocate(local.pool, 1, 32, "before");
  auto *a = static_cast<unsigned char *>(pool_allocate(local.pool, 1, 64, "a"));
  void *after = pool_allocate(local.pool, 1, 8, "after");
  for (int i = 0; i < 64; ++i) a[i] = static_cast<unsigned char>(i + 1);
  pool_free(local.pool, before, "before");
  // Freeing a merges it with the hole in front; the grown block starts there, and the header
  // split off behind 72 bytes would fall inside a's old bytes.
  auto *moved = static_cast<unsigned char *>(pool_reallocate(local.pool, a, 72, "a"));
  ASSERT_EQ(moved, before);
  for (int i = 0; i < 64; ++i) EXPECT_EQ(moved[i], i + 1) << i;
  for (int i = 64; i < 72; ++i) EXPECT_EQ(moved[i], 0) << i;
  (void)after;
}

TEST(MemoryPool, ReallocationToZeroLeavesLaterAllocationsUnzeroed) {
  LocalPool local(1024);
  auto *a = static_cast<unsigned char *>(pool_allocate(local.pool, 1, 32, "a"));
  std::memset(a, 0x5A, 32);
  EXPECT_EQ(pool_reallocate(local.pool, a, 0, "a"), nullptr);
  EXPECT_EQ(local.pool.pool_no_clear, 1);
  auto *b = static_cast<unsigned char *>(pool_allocate(local.pool, 1, 32, "b"));
  EXPECT_EQ(b, a);
  EXPECT_EQ(b[0], 0x5A);
}

TEST(MemoryPool, OversizedRequestInAPoolJobStopsWithTheCallocMessage) {
  const CHILD_JOB job = run_job_in_child([] {
    memory_init(1);
    ASSERT_TRUE(memory_state().pool_active);
    void *fits = calloc_named(1000, 8, "fits");
    ASSERT_NE(fits, nullptr);
    free_named(fits, "fits");
    calloc_named(2000000, 1, "too_big");
  });
  EXPECT_EQ(job.exit_status, 1);
  const std::string message =
      "*** Calloc error name:too_big, size:2000000\nexception error occured!! no.= 1\n";
  EXPECT_EQ(job.check, message);
  EXPECT_EQ(job.error, message);
}

TEST(MemoryPool, LiveBytesCountEachBlockAtItsRoundedSizeUntilItIsFreed) {
  LocalPool local(4096);
  const MEMORY_STATE &state = memory_state();
  const std::int64_t before = state.live_bytes;
  void *a = pool_allocate(local.pool, 3, 5, "a");  // 15 bytes, rounded to 16
  void *b = pool_allocate(local.pool, 10, 8, "b"); // 80 bytes
  EXPECT_EQ(state.live_bytes - before, 16 + 80);
  EXPECT_GE(state.live_bytes_peak - before, 16 + 80);
  b = pool_reallocate(local.pool, b, 200, "b"); // grows to 200 bytes, the old 80 go
  EXPECT_EQ(state.live_bytes - before, 16 + 200);
  pool_free(local.pool, a, "a");
  pool_free(local.pool, a, "a"); // a double free is reported and changes nothing
  pool_free(local.pool, b, "b");
  EXPECT_EQ(state.live_bytes, before);
}
