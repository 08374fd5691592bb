// The tagged allocation entries, their accounting, tracing and the memory report.
#include "job/memory.hpp"

#include "job/ffile.hpp"
#include "job/memory_internal.hpp"
#include "job/memory_pool.hpp"
#include "job/report.hpp"

#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <map>
#include <new>
#include <string>

namespace tesmora {
namespace {

// The raw entries of the active allocator, set by memory_init.
struct RAW_ENTRIES {
  void *(*calloc_raw)(std::uint64_t, std::uint64_t, const char *);
  void *(*realloc_raw)(void *, std::uint64_t, const char *);
  void (*free_named)(void *, const char *);
};

MEMORY_STATE the_memory_state = {
#ifdef TESMORA_MEMORY_TRACE
    .memory_trace = 1,
#endif
};
MEMORY_POOL the_pool;
FFILE *alloc_out = nullptr;

std::uint64_t address_of(const void *p) { return reinterpret_cast<std::uintptr_t>(p); }

// What the standard allocator gave a block: counted alike at allocation and release, so the
// live sum is exact in its own measure.
std::int64_t usable_bytes(void *block) {
  return block ? static_cast<std::int64_t>(malloc_usable_size(block)) : 0;
}

bool tracing() { return the_memory_state.memory_trace && alloc_out && alloc_out->stream; }

// --- the standard allocator with accounting ---

void *system_calloc(std::uint64_t count, std::uint64_t size, const char *tag) {
  if (count == 0) return nullptr;
  if (memory_detail::allocation_must_fail()) return nullptr;
  void *block = std::calloc(count, size);
  if (!block) return nullptr; // calloc_named reports it; nothing to account
  memory_detail::note_live_bytes(usable_bytes(block));
  memory_detail::trace_allocation(block, count * size, tag);
  if (!the_memory_state.region_low_set) {
    the_memory_state.region_low = address_of(block);
    the_memory_state.region_high = address_of(block);
    the_memory_state.region_low_set = 1;
  }
  memory_detail::note_region_end(address_of(block) + count * size);
  return block;
}

void *system_realloc(void *block, std::uint64_t bytes, const char *tag) {
  if (bytes != 0 && memory_detail::allocation_must_fail()) return nullptr;
  // The release of the old block is traced before the block goes: its address must not be
  // touched afterwards.
  if (tracing())
    std::fprintf(alloc_out->stream, "F %20lld                      %-10s\n",
                 static_cast<long long>(address_of(block)), tag);
  const std::int64_t old_bytes = usable_bytes(block);
  if (bytes == 0) {
    memory_detail::note_live_bytes(-old_bytes);
    std::free(block); // re-allocation to zero bytes is a release
    if (tracing()) std::fflush(alloc_out->stream);
    return nullptr;
  }
  void *fresh = std::realloc(block, bytes);
  if (!fresh) return nullptr;
  memory_detail::note_live_bytes(usable_bytes(fresh) - old_bytes);
  memory_detail::trace_allocation(fresh, bytes, tag);
  if (!the_memory_state.region_low_set) {
    the_memory_state.region_low = address_of(fresh);
    the_memory_state.region_low_set = 1;
  }
  memory_detail::note_region_end(address_of(fresh) + bytes);
  return fresh;
}

void system_free(void *block, const char *tag) {
  if (!block) return;
  if (tracing()) {
    std::fprintf(alloc_out->stream, "F %20lld                      %-10s\n",
                 static_cast<long long>(address_of(block)), tag);
    std::fflush(alloc_out->stream);
  }
  memory_detail::note_live_bytes(-usable_bytes(block));
  std::free(block);
}

// --- the private pool ---

void *pool_calloc_entry(std::uint64_t count, std::uint64_t size, const char *tag) {
  return pool_allocate(the_pool, count, size, tag);
}
void *pool_realloc_entry(void *block, std::uint64_t bytes, const char *tag) {
  return pool_reallocate(the_pool, block, bytes, tag);
}
void pool_free_entry(void *block, const char *tag) { pool_free(the_pool, block, tag); }

constexpr RAW_ENTRIES system_entries{system_calloc, system_realloc, system_free};
constexpr RAW_ENTRIES pool_entries{pool_calloc_entry, pool_realloc_entry, pool_free_entry};
const RAW_ENTRIES *entries = &system_entries;

void create_pool(int pool_mbytes) {
  const std::uint64_t items = static_cast<std::uint64_t>(pool_mbytes) * 125000;
  void *area = nullptr;
  for (int attempt = 0; attempt < 10 && !area; ++attempt) area = std::calloc(items, 8);
  if (!area) {
    std::printf("!!!!! Memory %lld Mbyte cannot be allocated!!!!!!!!!\n",
                static_cast<long long>(pool_mbytes));
    stop_job(1);
  }
  pool_format(the_pool, static_cast<unsigned char *>(area), items * 8);
  the_memory_state.region_low = address_of(area);
  the_memory_state.region_high = address_of(area);
  the_memory_state.region_low_set = 1;
  the_memory_state.pool_active = true;
  entries = &pool_entries;
}

} // namespace

namespace memory_detail {

void trace_allocation(const void *block, std::uint64_t bytes, const char *tag) {
  if (!tracing() || bytes == 0) return;
  std::fprintf(alloc_out->stream, "A %20lld %20lld %-10s\n", static_cast<long long>(address_of(block)),
               static_cast<long long>(bytes), tag);
  std::fflush(alloc_out->stream);
}

void trace_pool_free(const void *block, std::uint64_t bytes, const char *tag) {
  if (!tracing()) return;
  std::fprintf(alloc_out->stream, "F %20lld %20lld %-10s\n", static_cast<long long>(address_of(block)),
               static_cast<long long>(bytes), tag);
  std::fflush(alloc_out->stream);
}

void note_region_end(std::uint64_t end) {
  if (end > the_memory_state.region_high) the_memory_state.region_high = end;
}

void note_live_bytes(std::int64_t delta) {
  the_memory_state.live_bytes += delta;
  if (the_memory_state.live_bytes > the_memory_state.live_bytes_peak)
    the_memory_state.live_bytes_peak = the_memory_state.live_bytes;
}

bool allocation_must_fail() {
  if (the_memory_state.fail_countdown <= 0) return false;
  return --the_memory_state.fail_countdown == 0;
}

} // namespace memory_detail

const MEMORY_STATE &memory_state() { return the_memory_state; }

void fail_nth_allocation(std::int64_t n) { the_memory_state.fail_countdown = n; }

void *calloc_raw(std::uint64_t count, std::uint64_t size, const char *tag) {
  return entries->calloc_raw(count, size, tag);
}

void *realloc_raw(void *block, std::uint64_t bytes, const char *tag) {
  return entries->realloc_raw(block, bytes, tag);
}

void free_named(void *block, const char *tag) { entries->free_named(block, tag); }

void *calloc_named(std::uint64_t count, std::uint64_t size, const char *tag) {
  void *block = calloc_raw(count, size, tag);
  if (!block && count != 0) {
    write_fault("*** Calloc error name:%s, size:%lld\n", tag, static_cast<long long>(count * size));
    stop_job(1);
  }
  return block;
}

void *realloc_named(void *block, std::uint64_t bytes, const char *tag) {
  void *fresh = realloc_raw(block, bytes, tag);
  if (!fresh && bytes != 0) {
    write_fault("*** Realloc error name:%s, size:%lld\n", tag, static_cast<long long>(bytes));
    stop_job(1);
  }
  return fresh;
}

void memory_init(int pool_mbytes) {
  if (pool_mbytes > 0) create_pool(pool_mbytes);
  if (the_memory_state.memory_trace) {
    alloc_out = create_ffile("alloc_out", 0);
    // Read back by the peak report at the end, hence the update mode.
    open_ffile(alloc_out, "w+");
  }
}

void close_memory_trace() { close_ffile(alloc_out); }

long long peak_live_bytes(std::FILE *trace) {
  std::map<long long, long long> live; // address -> bytes, sorted by address
  long long sum = 0;
  long long peak = 0;
  char line[128];
  std::rewind(trace);
  try {
    while (std::fgets(line, sizeof line, trace)) {
      long long address = 0;
      long long bytes = 0;
      if (line[0] == 'A' && std::sscanf(line + 1, "%lld %lld", &address, &bytes) == 2) {
        if (live.emplace(address, bytes).second) sum += bytes;
        if (sum > peak) peak = sum;
      } else if (line[0] == 'F' && std::sscanf(line + 1, "%lld", &address) == 1) {
        auto found = live.find(address);
        if (found != live.end()) {
          sum -= found->second;
          live.erase(found);
        }
      }
      // A line longer than the buffer continues in the next read; skip its tail.
      if (!std::strchr(line, '\n')) {
        int c;
        while ((c = std::fgetc(trace)) != EOF && c != '\n') {
        }
      }
    }
  } catch (const std::bad_alloc &) {
    std::fputs("Error adding node. aborting\n", stderr);
    std::exit(1);
  }
  std::fseek(trace, 0, SEEK_END);
  return peak;
}

void memory_report(std::FILE *stream) {
  long long used = static_cast<long long>(the_memory_state.region_high - the_memory_state.region_low);
  if (tracing()) {
    std::fflush(alloc_out->stream);
    used = peak_live_bytes(alloc_out->stream);
  }
  write_report(stream, "\n\n%s\n", std::string(97, '*').c_str());
  write_report(
      stream, "*                      Used region                      %15lld byte :                     *\n",
      used);
  write_report(stream, "*%95s*\n", "");
}

} // namespace tesmora
