// First-fit private memory pool: allocation with splitting, free with merging, re-allocation.
#include "job/memory_pool.hpp"

#include "job/memory_internal.hpp"
#include "job/report.hpp"

#include <cstring>

namespace tesmora {
namespace {

constexpr std::uint64_t header_bytes = sizeof(POOL_HEADER);

unsigned char *payload_of(POOL_HEADER *header) {
  return reinterpret_cast<unsigned char *>(header) + header_bytes;
}

std::uint64_t address_of(const void *p) { return reinterpret_cast<std::uintptr_t>(p); }

std::uint64_t round_to_8(std::uint64_t bytes) { return (bytes + 7) & ~std::uint64_t{7}; }

// First free block whose room holds `rounded` bytes, or null at the end of the chain.
POOL_HEADER *find_first_fit(MEMORY_POOL &pool, std::uint64_t rounded) {
  if (!pool.area) return nullptr;
  for (auto *h = reinterpret_cast<POOL_HEADER *>(pool.area); h->next; h = h->next)
    if (h->used == 0 && pool_room(h) >= rounded) return h;
  return nullptr;
}

// Splits off what lies behind the first `rounded` payload bytes as a new free block. Any
// remainder that holds a header is split off, even one with no payload at all; a remainder of
// 8 bytes cannot hold a header and stays with the block. Returns the new header or null.
POOL_HEADER *split_block(POOL_HEADER *h, std::uint64_t rounded) {
  if (pool_room(h) <= rounded) return nullptr;
  unsigned char *split_at = payload_of(h) + rounded;
  if (address_of(h->next) - address_of(split_at) < header_bytes) return nullptr;
  auto *rest = reinterpret_cast<POOL_HEADER *>(split_at);
  rest->next = h->next;
  rest->used = 0;
  rest->unused = 0;
  h->next = rest;
  return rest;
}

POOL_HEADER *find_block_of(MEMORY_POOL &pool, void *payload, POOL_HEADER **previous) {
  *previous = nullptr;
  for (auto *h = reinterpret_cast<POOL_HEADER *>(pool.area); h && h->next; h = h->next) {
    if (payload_of(h) == payload) return h;
    *previous = h;
  }
  return nullptr;
}

// The size of a used block as pool_free will count it at its release.
std::uint64_t used_size(const POOL_HEADER *header) {
  return address_of(header->next) - address_of(header) - header_bytes;
}

} // namespace

std::uint64_t pool_room(const POOL_HEADER *header) {
  const std::uint64_t extent = address_of(header->next) - address_of(header);
  return (extent & ~std::uint64_t{15}) - header_bytes;
}

void pool_format(MEMORY_POOL &pool, unsigned char *area, std::uint64_t bytes) {
  pool.area = area;
  pool.area_bytes = bytes;
  pool.pool_last_freed_size = 0;
  pool.pool_no_clear = 0;
  auto *first = reinterpret_cast<POOL_HEADER *>(area);
  auto *closing = reinterpret_cast<POOL_HEADER *>(area + bytes - header_bytes);
  first->used = 0;
  first->next = closing;
  closing->used = 1;
  closing->next = nullptr;
}

void *pool_allocate(MEMORY_POOL &pool, std::uint64_t count, std::uint64_t size, const char *tag) {
  if (count == 0 || !pool.area) return nullptr;
  if (memory_detail::allocation_must_fail()) return nullptr;
  const std::uint64_t bytes = count * size;
  const std::uint64_t rounded = round_to_8(bytes);
  POOL_HEADER *h = find_first_fit(pool, rounded);
  if (!h) return nullptr;
  split_block(h, rounded);
  h->used = 1;
  if (!pool.pool_no_clear) std::memset(payload_of(h), 0, rounded);
  memory_detail::note_live_bytes(static_cast<std::int64_t>(used_size(h)));
  memory_detail::trace_allocation(payload_of(h), bytes, tag);
  memory_detail::note_region_end(address_of(h->next));
  return payload_of(h);
}

void pool_free(MEMORY_POOL &pool, void *block, const char *tag) {
  if (!block) return;
  POOL_HEADER *previous = nullptr;
  POOL_HEADER *h = find_block_of(pool, block, &previous);
  if (!h) {
    write_check("Free private memory not allocated :%s adress = %20lld\n", tag,
                static_cast<long long>(address_of(block)));
    return;
  }
  if (h->used == 0) {
    write_check("Freed private memory not allocated :%s\n", tag);
    return;
  }
  const std::uint64_t size = used_size(h);
  pool.pool_last_freed_size = size;
  memory_detail::note_live_bytes(-static_cast<std::int64_t>(size));
  h->used = 0;
  if (previous && previous->used == 0) {
    previous->next = h->next;
    h = previous;
  }
  if (h->next->used == 0) h->next = h->next->next;
  memory_detail::trace_pool_free(block, size, tag);
}

void *pool_reallocate(MEMORY_POOL &pool, void *block, std::uint64_t bytes, const char *tag) {
  pool.pool_no_clear = 1;
  std::uint64_t old_size = 0;
  if (block) {
    pool.pool_last_freed_size = 0;
    pool_free(pool, block, tag);
    old_size = pool.pool_last_freed_size;
  }
  // The flag stays set on these two paths, so that later allocations stay unzeroed until the
  // next successful re-allocation: kept as the allocator has always behaved.
  if (bytes == 0 || !pool.area) return nullptr;
  if (memory_detail::allocation_must_fail()) return nullptr;
  const std::uint64_t rounded = round_to_8(bytes);
  POOL_HEADER *h = find_first_fit(pool, rounded);
  if (!h) return nullptr;

  // The freed block may overlap the new one (it may even be merged into it). The header that
  // a split writes behind the new payload could then fall on old contents not yet moved, so
  // those 16 bytes are saved first and put back after the move.
  const unsigned char *old_bytes = static_cast<const unsigned char *>(block);
  const std::uint64_t keep = old_size < rounded ? old_size : rounded;
  const std::uint64_t split_at = address_of(payload_of(h) + rounded);
  const std::uint64_t old_at = address_of(old_bytes);
  const std::uint64_t clobber_low = split_at > old_at ? split_at : old_at;
  const std::uint64_t clobber_high =
      split_at + header_bytes < old_at + keep ? split_at + header_bytes : old_at + keep;
  const bool split_hits_old = block && clobber_low < clobber_high;
  unsigned char saved[header_bytes];
  if (split_hits_old) std::memcpy(saved, old_bytes + (clobber_low - old_at), clobber_high - clobber_low);

  split_block(h, rounded);
  h->used = 1;
  unsigned char *fresh = payload_of(h);
  if (block) {
    std::memmove(fresh, old_bytes, keep);
    if (split_hits_old) std::memcpy(fresh + (clobber_low - old_at), saved, clobber_high - clobber_low);
  }
  if (bytes > keep) std::memset(fresh + keep, 0, rounded - keep);
  memory_detail::note_live_bytes(static_cast<std::int64_t>(used_size(h)));
  memory_detail::trace_allocation(fresh, bytes, tag);
  memory_detail::note_region_end(address_of(h->next));
  pool.pool_no_clear = 0;
  return fresh;
}

} // namespace tesmora
