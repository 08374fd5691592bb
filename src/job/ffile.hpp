// FFILE: one named file of the job, and the functions that open, rewind and close it.
//
// Every file of a job is reached through an FFILE. The record keeps the short name (without
// the work-directory prefix, so messages show it), whether the file is binary, and its state.
#pragma once

#include <cstdint>
#include <cstdio>

namespace tesmora {

inline constexpr int ffile_buffer_bytes = 327600; // size of the optional transfer buffer

struct FFILE {
  std::FILE *stream = nullptr;              // null until first opened
  char *name = nullptr;                     // short name, owned; tag "ffile->name"
  int binary = 0;                           // 1: the open mode gets the letter b
  int state = 0;                            // 0 closed, 1 open for reading, 2 open for writing
  unsigned char *buffer = nullptr;          // read_write_buffer or null
  unsigned char *buffer_position = nullptr; // next byte in the buffer
  std::int64_t buffer_room = 0;             // bytes left in the buffer
  int buffer_size = ffile_buffer_bytes;
  int use_buffer = 0;   // transfers go through the buffer; every file leaves it 0
  int record_count = 0; // cards read, for a card file; 0 at each opening
  int lines_read = 0;   // whole lines of a card file read so far, comments included
  int card_line = 0;    // 1-based line of the file on which the last card read began
};

// Creates a closed record (tag "ffile") for `name`, binary when `binary` is 1.
FFILE *create_ffile(const char *name, int binary);
// Closes the file if open and frees the record and its name; the tag labels the record.
void free_ffile(FFILE *ffile, const char *tag);

// Opens the file with an fopen mode (a b is put in second place for a binary file), under the
// work-directory prefix. An open file is only rewound and keeps its old mode. A failure writes
// "****  file %s cannot be opened **** " to the stderr and check files and stops the job.
std::FILE *open_ffile(FFILE *ffile, const char *mode);
// The same, but a file that can't be opened gives null and no message.
std::FILE *try_open_ffile(FFILE *ffile, const char *mode);
// Closes an open file; a null record or a closed file is ignored.
void close_ffile(FFILE *ffile);

// The mode actually passed to fopen: for a binary file b goes in second place.
void make_open_mode(const char *mode, int binary, char *out, int out_size);

} // namespace tesmora
