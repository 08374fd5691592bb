// Benchmarks of the run-time support: block lists, the private pool, binary transfers.
#include "job/block_io.hpp"
#include "job/containers.hpp"
#include "job/ffile.hpp"
#include "job/memory_pool.hpp"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <vector>

using namespace tesmora;

// Filling a block list item by item, as the mesh readers fill node and element records.
static void BM_BlockListFill(benchmark::State &state) {
  const int count = static_cast<int>(state.range(0));
  for (auto _ : state) {
    BLOCKED_ARRAY_LIST *list = create_blocked_array_list(24);
    for (int i = 0; i < count; ++i) benchmark::DoNotOptimize(allocate_items(list, 1));
    delete_blocked_array_list(&list);
  }
  state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(BM_BlockListFill)->Arg(1000000);

// Work arrays taken and released in stack order from a pool holding many live blocks: the
// first-fit walk is the cost.
static void BM_PoolAllocateFree(benchmark::State &state) {
  const int live = static_cast<int>(state.range(0));
  std::vector<unsigned char> area(64u << 20);
  MEMORY_POOL pool;
  pool_format(pool, area.data(), area.size());
  std::vector<void *> blocks;
  for (int i = 0; i < live; ++i) blocks.push_back(pool_allocate(pool, 1, 256, "live"));
  for (auto _ : state) {
    void *work = pool_allocate(pool, 1000, 8, "work");
    benchmark::DoNotOptimize(work);
    pool_free(pool, work, "work");
  }
}
BENCHMARK(BM_PoolAllocateFree)->Arg(10)->Arg(1000)->Arg(10000);

// Writing a matrix-sized array through the sliced transfer.
static void BM_WriteBlocks(benchmark::State &state) {
  const std::size_t count = static_cast<std::size_t>(state.range(0));
  std::vector<double> values(count, 1.5);
  FFILE *ffile = create_ffile("/dev/null", 1);
  open_ffile(ffile, "w");
  for (auto _ : state) write_blocks(values.data(), sizeof(double), count, ffile);
  state.SetBytesProcessed(state.iterations() * static_cast<long long>(count * sizeof(double)));
  free_ffile(ffile, "ffile");
}
BENCHMARK(BM_WriteBlocks)->Arg(1 << 20);
