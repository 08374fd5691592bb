// Opening and closing of the job's named files.
#include "job/ffile.hpp"

#include "job/block_io.hpp"
#include "job/job_options.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"

#include <cstring>
#include <string>

namespace tesmora {
namespace {

std::FILE *open_ffile_or_null(FFILE *ffile, const char *mode) {
  if (ffile->state != 0) {
    rewind_buffered(ffile);
    ffile->record_count = 0;
    return ffile->stream;
  }
  char actual_mode[16];
  make_open_mode(mode, ffile->binary, actual_mode, sizeof actual_mode);
  const std::string path = job_options().work_directory + ffile->name;
  ffile->stream = std::fopen(path.c_str(), actual_mode);
  if (!ffile->stream) return nullptr;
  ffile->state = actual_mode[0] == 'r' ? 1 : 2;
  if (ffile->use_buffer) {
    if (ffile->state == 1)
      open_read_buffer(ffile);
    else
      open_write_buffer(ffile);
  }
  ffile->record_count = 0;
  return ffile->stream;
}

} // namespace

void make_open_mode(const char *mode, int binary, char *out, int out_size) {
  std::snprintf(out, static_cast<std::size_t>(out_size), "%s", mode);
  if (!binary || mode[0] == '\0') return;
  const std::size_t length = std::strlen(out);
  if (length + 2 > static_cast<std::size_t>(out_size)) return;
  // Shift everything behind the first letter one place on and put b in second place.
  std::memmove(out + 2, out + 1, length); // moves the terminating NUL too
  out[1] = 'b';
}

FFILE *create_ffile(const char *name, int binary) {
  auto *ffile = static_cast<FFILE *>(calloc_named(1, sizeof(FFILE), "ffile"));
  *ffile = FFILE{};
  const std::size_t length = std::strlen(name);
  ffile->name = static_cast<char *>(calloc_named(length + 1, 1, "ffile->name"));
  std::memcpy(ffile->name, name, length);
  ffile->binary = binary;
  return ffile;
}

void free_ffile(FFILE *ffile, const char *tag) {
  if (!ffile) return;
  close_ffile(ffile);
  free_named(ffile->name, "ffile->name");
  free_named(ffile, tag);
}

std::FILE *open_ffile(FFILE *ffile, const char *mode) {
  std::FILE *stream = open_ffile_or_null(ffile, mode);
  if (!stream) {
    write_fault("****  file %s cannot be opened **** \n", ffile->name);
    stop_job(1);
  }
  return stream;
}

std::FILE *try_open_ffile(FFILE *ffile, const char *mode) { return open_ffile_or_null(ffile, mode); }

void close_ffile(FFILE *ffile) {
  if (!ffile || ffile->state == 0) return;
  if (ffile->buffer) {
    if (ffile->state == 2)
      flush_write_buffer(ffile);
    else
      close_read_buffer(ffile);
  }
  std::fclose(ffile->stream);
  ffile->stream = nullptr;
  ffile->state = 0;
}

} // namespace tesmora
