// Binary transfers of large arrays to and from an FFILE, in slices, with an optional buffer.
//
// Matrices, profiles and solutions go to their files through these calls. Data move in slices
// of at most 1024 bytes; a file whose `use_buffer` is on passes them through a 327600-byte
// buffer (tag "read_write_buffer") instead of straight to the stream.
#pragma once

#include "job/ffile.hpp"

#include <cstdint>

namespace tesmora {

inline constexpr std::uint64_t block_slice_bytes = 1024;

// Writes item_size*count bytes. Returns 1, or 0 when the stream refused a write.
int write_blocks(const void *data, std::uint64_t item_size, std::uint64_t count, FFILE *ffile);

// Reads item_size*count bytes. Returns the count of the last fread (1) or 1 when the last slice
// came from the buffer; 0 at end of file; -1 for a request of zero bytes.
int read_blocks(void *data, std::uint64_t item_size, std::uint64_t count, FFILE *ffile);

// One 32-bit word, the unit of the binary files' counts and flags; read_word is false at the end
// of the file.
inline int write_word(FFILE *ffile, std::int32_t word) { return write_blocks(&word, sizeof word, 1, ffile); }
inline bool read_word(FFILE *ffile, std::int32_t &word) {
  return read_blocks(&word, sizeof word, 1, ffile) == 1;
}

// Seeks. Without a buffer this is fseek. With one only a forward skip from the present position
// is possible; returns -1 when the file ends during the skip, and stops the job with
// "**** Error in blocked_fseek ***" when the file has nothing at all to give.
int blocked_fseek(FFILE *ffile, std::int64_t offset, int origin);

void open_read_buffer(FFILE *ffile);   // allocates the buffer and fills it with the first load
void open_write_buffer(FFILE *ffile);  // allocates an empty buffer
void flush_write_buffer(FFILE *ffile); // writes what the buffer holds and frees it
void close_read_buffer(FFILE *ffile);  // frees the buffer
void rewind_buffered(FFILE *ffile);    // rewinds; a buffer is renewed

} // namespace tesmora
