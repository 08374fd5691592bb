// Shared by the two raw allocators: trace lines and the accounting of the used region.
#pragma once

#include <cstdint>

namespace tesmora::memory_detail {

// "A address bytes tag" line, when tracing is on and bytes is not 0.
void trace_allocation(const void *block, std::uint64_t bytes, const char *tag);
// "F address size tag" line of the pool, when tracing is on.
void trace_pool_free(const void *block, std::uint64_t bytes, const char *tag);
// Raises region_high to `end` when that is higher.
void note_region_end(std::uint64_t end);
// Adds delta (negative at a release) to the live bytes and raises their peak.
void note_live_bytes(std::int64_t delta);
// True when the fail-the-nth-allocation hook says this allocation must fail.
bool allocation_must_fail();

} // namespace tesmora::memory_detail
