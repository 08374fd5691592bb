// The private memory pool: one zeroed area run as a first-fit chain of blocks.
//
// Each block is a 16-byte header (used flag, address of the next header) followed by its
// payload. The chain starts as one free block and ends in a closing header 16 bytes before
// the end of the area, marked used, with no successor.
#pragma once

#include <cstdint>

namespace tesmora {

struct POOL_HEADER {
  std::int32_t used;   // 0 free, 1 used
  std::int32_t unused; // keeps `next` on an 8-byte boundary
  POOL_HEADER *next;   // next header; null only in the closing header
};
static_assert(sizeof(POOL_HEADER) == 16);

struct MEMORY_POOL {
  unsigned char *area = nullptr;          // the zeroed area, owned by the pool
  std::uint64_t area_bytes = 0;           // its size in bytes
  std::uint64_t pool_last_freed_size = 0; // payload bytes of the block freed last
  int pool_no_clear = 0;                  // set during a re-allocation: don't zero the payload
};

// Lays out the chain over an area of `bytes` bytes (a multiple of 16, at least 32).
void pool_format(MEMORY_POOL &pool, unsigned char *area, std::uint64_t bytes);

// First-fit allocation of count*size bytes rounded up to 8. Null when count is 0 or no block fits.
void *pool_allocate(MEMORY_POOL &pool, std::uint64_t count, std::uint64_t size, const char *tag);

// Releases a payload. A pointer that isn't a payload of the chain, or a block that is free
// already, is reported in check and ignored. Merges with free neighbours on both sides.
void pool_free(MEMORY_POOL &pool, void *block, const char *tag);

// Frees the old block, takes a new one by first fit, moves the old contents and zeroes the
// part beyond the old size. With bytes 0 returns null and leaves pool_no_clear set.
void *pool_reallocate(MEMORY_POOL &pool, void *block, std::uint64_t bytes, const char *tag);

// Payload bytes a free block offers: its extent with the low four bits cleared, less the header.
std::uint64_t pool_room(const POOL_HEADER *header);

} // namespace tesmora
