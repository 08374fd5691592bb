// Tagged heap memory: the five allocation entries, their accounting and the memory report.
//
// Every block of the program is allocated under a text tag that says what it is for; the tag
// is what an out-of-memory message names. The checked entries never return null for a
// non-zero request: a failure writes "*** Calloc error ..." to the stderr and check files and
// ends the job. With a private pool (command-line "-a") the raw entries are a first-fit pool
// allocator (job/memory_pool.hpp); without one they are the standard allocator plus accounting.
#pragma once

#include <cstdint>
#include <cstdio>

namespace tesmora {

// Checked, zeroed allocation of count items of item_size bytes. Count 0 returns null.
void *calloc_named(std::uint64_t count, std::uint64_t item_size, const char *tag);
// Checked re-allocation to `bytes`; keeps the old contents up to the smaller size.
void *realloc_named(void *block, std::uint64_t bytes, const char *tag);
// Unchecked forms of the active allocator: may return null.
void *calloc_raw(std::uint64_t count, std::uint64_t item_size, const char *tag);
void *realloc_raw(void *block, std::uint64_t bytes, const char *tag);
// Release; a null block is ignored.
void free_named(void *block, const char *tag);

inline int *calloc_int(std::uint64_t count, const char *tag) {
  return static_cast<int *>(calloc_named(count, 4, tag));
}
inline double *calloc_double(std::uint64_t count, const char *tag) {
  return static_cast<double *>(calloc_named(count, 8, tag));
}

// A record of T allocated under `tag` and set to T{} (its member initialisers); freed with
// free_named. For plain records only, as every tagged block is.
template <class T> T *new_record(const char *tag) {
  auto *record = static_cast<T *>(calloc_named(1, sizeof(T), tag));
  *record = T{};
  return record;
}

// Process-wide accounting of the allocator.
struct MEMORY_STATE {
  std::uint64_t region_low = 0;     // address of the first block handed out, or of the pool
  std::uint64_t region_high = 0;    // highest block end handed out
  int region_low_set = 0;           // region_low has been taken
  int memory_trace = 0;             // trace allocations to alloc_out (build switch)
  bool pool_active = false;         // the raw entries are the pool allocator
  std::int64_t fail_countdown = 0;  // test hook: >0 makes the n-th raw allocation fail
  std::int64_t live_bytes = 0;      // bytes of the tagged blocks now allocated (as the allocator
                                    // sized them: usable size, or the pool block's room)
  std::int64_t live_bytes_peak = 0; // the most live_bytes has ever been
};

const MEMORY_STATE &memory_state();

// Sets the entries: a pool of pool_mbytes megabytes when that is positive, else the standard
// allocator. Opens alloc_out when tracing is on. Called once, early in main.
void memory_init(int pool_mbytes);

// Writes the memory block of the final report: the span of addresses ever handed out, or with
// tracing on the peak of live bytes read back from alloc_out.
void memory_report(std::FILE *stream);

// Closes the trace file if it is open (part of stop_job).
void close_memory_trace();

// Peak of live bytes in an allocation trace ("A address bytes tag" and "F address ..." lines),
// read from the stream's start. Used by the memory report with tracing on.
long long peak_live_bytes(std::FILE *trace);

// Test hook, as CSparse has: the n-th raw allocation from now on fails (0 switches it off).
void fail_nth_allocation(std::int64_t n);

} // namespace tesmora
