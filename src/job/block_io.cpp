// Sliced and buffered binary transfers of an FFILE.
#include "job/block_io.hpp"

#include "job/memory.hpp"
#include "job/report.hpp"

#include <algorithm>
#include <cstring>

namespace tesmora {
namespace {

constexpr const char *buffer_tag = "read_write_buffer";

void allocate_buffer(FFILE *ffile) {
  ffile->buffer = static_cast<unsigned char *>(
      calloc_named(static_cast<std::uint64_t>(ffile->buffer_size), 1, buffer_tag));
  ffile->buffer_position = ffile->buffer;
}

void release_buffer(FFILE *ffile) {
  free_named(ffile->buffer, buffer_tag);
  ffile->buffer = nullptr;
  ffile->buffer_position = nullptr;
  ffile->buffer_room = 0;
}

// Reads the next load into the read buffer; the room becomes the bytes that came.
std::int64_t refill(FFILE *ffile) {
  const std::size_t got =
      std::fread(ffile->buffer, 1, static_cast<std::size_t>(ffile->buffer_size), ffile->stream);
  ffile->buffer_position = ffile->buffer;
  ffile->buffer_room = static_cast<std::int64_t>(got);
  return ffile->buffer_room;
}

// Writes the filled part of the write buffer out and empties it.
bool drain(FFILE *ffile) {
  const std::size_t filled = static_cast<std::size_t>(ffile->buffer_size - ffile->buffer_room);
  bool ok = filled == 0 || std::fwrite(ffile->buffer, filled, 1, ffile->stream) == 1;
  ffile->buffer_position = ffile->buffer;
  ffile->buffer_room = ffile->buffer_size;
  return ok;
}

bool write_buffered(const unsigned char *slice, std::uint64_t length, FFILE *ffile) {
  bool ok = true;
  // A slice that meets an empty buffer and would fill it exactly goes straight to the stream.
  if (ffile->buffer_room == ffile->buffer_size && length == static_cast<std::uint64_t>(ffile->buffer_size))
    return std::fwrite(slice, length, 1, ffile->stream) == 1;
  while (length > 0) {
    const std::uint64_t take =
        std::min<std::uint64_t>(length, static_cast<std::uint64_t>(ffile->buffer_room));
    std::memcpy(ffile->buffer_position, slice, take);
    ffile->buffer_position += take;
    ffile->buffer_room -= static_cast<std::int64_t>(take);
    slice += take;
    length -= take;
    if (ffile->buffer_room == 0) ok = drain(ffile) && ok;
  }
  return ok;
}

} // namespace

int write_blocks(const void *data, std::uint64_t item_size, std::uint64_t count, FFILE *ffile) {
  const auto *bytes = static_cast<const unsigned char *>(data);
  std::uint64_t left = item_size * count;
  bool ok = true;
  while (left > 0) {
    const std::uint64_t slice = std::min(left, block_slice_bytes);
    if (ffile->buffer)
      ok = write_buffered(bytes, slice, ffile) && ok;
    else
      ok = std::fwrite(bytes, slice, 1, ffile->stream) == 1 && ok;
    bytes += slice;
    left -= slice;
  }
  return ok ? 1 : 0;
}

int read_blocks(void *data, std::uint64_t item_size, std::uint64_t count, FFILE *ffile) {
  auto *bytes = static_cast<unsigned char *>(data);
  std::uint64_t left = item_size * count;
  if (left == 0) return -1;
  int last = 0;
  while (left > 0) {
    std::uint64_t slice = std::min(left, block_slice_bytes);
    if (!ffile->buffer) {
      last = static_cast<int>(std::fread(bytes, slice, 1, ffile->stream));
      if (last == 0) return 0;
    } else {
      std::uint64_t need = slice;
      unsigned char *to = bytes;
      while (need > 0) {
        if (ffile->buffer_room == 0 && refill(ffile) == 0) return 0;
        const std::uint64_t take =
            std::min<std::uint64_t>(need, static_cast<std::uint64_t>(ffile->buffer_room));
        std::memcpy(to, ffile->buffer_position, take);
        ffile->buffer_position += take;
        ffile->buffer_room -= static_cast<std::int64_t>(take);
        to += take;
        need -= take;
      }
      last = 1;
    }
    bytes += slice;
    left -= slice;
  }
  return last;
}

int blocked_fseek(FFILE *ffile, std::int64_t offset, int origin) {
  if (!ffile->buffer) return std::fseek(ffile->stream, offset, origin);
  if (ffile->buffer_room == 0 && refill(ffile) == 0) {
    write_fault("**** Error in blocked_fseek ***");
    stop_job(1);
  }
  while (offset > 0) {
    if (ffile->buffer_room == 0 && refill(ffile) == 0) return -1;
    const std::int64_t take = std::min(offset, ffile->buffer_room);
    ffile->buffer_position += take;
    ffile->buffer_room -= take;
    offset -= take;
  }
  return 0;
}

void open_read_buffer(FFILE *ffile) {
  allocate_buffer(ffile);
  refill(ffile);
}

void open_write_buffer(FFILE *ffile) {
  allocate_buffer(ffile);
  ffile->buffer_room = ffile->buffer_size;
}

void flush_write_buffer(FFILE *ffile) {
  if (!ffile->buffer) return;
  drain(ffile);
  release_buffer(ffile);
}

void close_read_buffer(FFILE *ffile) { release_buffer(ffile); }

void rewind_buffered(FFILE *ffile) {
  const bool writing = ffile->state == 2;
  if (ffile->buffer && writing) drain(ffile);
  std::rewind(ffile->stream);
  if (!ffile->buffer) return;
  release_buffer(ffile);
  if (writing)
    open_write_buffer(ffile);
  else
    open_read_buffer(ffile);
}

} // namespace tesmora
