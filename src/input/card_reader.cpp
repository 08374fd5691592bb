// Card reading: the standard sequence, lists, tables, tokens and the release card.
#include "input/card_reader.hpp"

#include "job/memory.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "job/terminal.hpp"

#include <cctype>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace tesmora {
namespace {

CARD_SCRATCH the_card_scratch;
// The release word of the input file's first card.
char release_word[card_length + 1] = {};

std::FILE *check_stream() {
  const FFILE *check = run_files().check;
  return check && check->state != 0 ? check->stream : nullptr;
}

// Takes the next token of a list, reading continuation cards when the line is used up.
void next_list_token(FFILE *file, char *out) {
  CARD_SCRATCH &s = the_card_scratch;
  while (!next_token(0, s.card_image, out)) {
    read_card(file, nullptr, nullptr);
    s.token_mode = 1;
    s.token_position = s.card_image;
  }
}

// Opens a list: header, first card, token mode at its start.
void start_list(FFILE *file, const char *header) {
  read_card(file, nullptr, header);
  the_card_scratch.token_mode = 1;
  the_card_scratch.token_position = the_card_scratch.card_image;
}

} // namespace

CARD_SCRATCH &card_scratch() { return the_card_scratch; }

void open_card_file(FFILE *file) {
  file->record_count = 0;
  file->lines_read = 0;
  file->card_line = 0;
  write_check("* File %s start. *\n", file->name);
}

void close_card_file(FFILE *file) {
  write_check("\n* File %s end *  %d cards are read.\n\n\n", file->name, file->record_count);
}

char *read_line(char *buffer, int size, std::FILE *stream) {
  char *line = nullptr;
  do {
    buffer[0] = ' ';
    line = std::fgets(buffer, size, stream);
  } while (line && buffer[0] == '*');
  return line;
}

char *read_line(char *buffer, int size, FFILE *file) {
  char *line = nullptr;
  do {
    buffer[0] = ' ';
    file->card_line = file->lines_read + 1;
    line = std::fgets(buffer, size, file->stream);
    if (line && std::strchr(buffer, '\n')) ++file->lines_read;
  } while (line && buffer[0] == '*');
  return line;
}

int read_card(FFILE *file, const char *format, const char *header, ...) {
  CARD_SCRATCH &s = the_card_scratch;
  std::memset(s.card_reals, 0, sizeof s.card_reals);
  std::memset(s.card_ints, 0, 10 * sizeof s.card_ints[0]);
  s.card_format = format;
  s.card_header = header;
  s.token_mode = 0;
  std::FILE *check = check_stream();
  if (header) write_report(check, "%s", header);
  if (!read_line(s.card_image, sizeof s.card_image, file)) {
    write_check("input is insufficient.\n");
    write_terminal("input is insufficient: file %s ends after line %d\n", file->name, file->lines_read);
    stop_job(1);
  }
  ++file->record_count;
  write_report(check, "%s", s.card_image);
  if (check) std::fflush(check);
  s.fields_read = 0;
  if (format) {
    va_list pointers;
    va_start(pointers, header);
    s.fields_read = std::vsscanf(s.card_image, format, pointers);
    va_end(pointers);
  }
  return s.fields_read;
}

void card_error(const FFILE *file) {
  write_check("Error in card No.%d in file %s\n Job stops.\n", file->record_count, file->name);
  // The terminal also gets where the card stands in the file and what it says; check keeps its
  // echo of the card above the message instead.
  const char *text = the_card_scratch.card_image;
  const std::size_t length = std::strlen(text);
  const bool has_newline = length > 0 && text[length - 1] == '\n';
  write_terminal("Error in card No.%d in file %s, line %d:\n  %s%s", file->record_count, file->name,
                 file->card_line, text, has_newline ? "" : "\n");
  stop_job(1);
}

bool same_prefix(const char *a, const char *b, int n) {
  for (int i = 0; i < n; ++i) {
    const int ca = std::toupper(static_cast<unsigned char>(a[i]));
    const int cb = std::toupper(static_cast<unsigned char>(b[i]));
    if (ca != cb) return false;
    if (ca == '\0') return true;
  }
  return true;
}

bool same_word(const char *a, const char *b) {
  for (;; ++a, ++b) {
    const int ca = std::toupper(static_cast<unsigned char>(*a));
    const int cb = std::toupper(static_cast<unsigned char>(*b));
    if (ca != cb) return false;
    if (ca == '\0') return true;
  }
}

int next_token(int first, const char *line, char *out) {
  CARD_SCRATCH &s = the_card_scratch;
  const char *at = first ? line : s.token_position;
  if (!at) return 0;
  while (*at == ' ' || *at == '\t') ++at;
  if (*at == '\0' || *at == '\r' || *at == '\n') {
    s.token_position = at;
    return 0;
  }
  const char *end = at;
  while (*end && !std::isspace(static_cast<unsigned char>(*end))) ++end;
  const std::size_t length = static_cast<std::size_t>(end - at);
  std::memcpy(out, at, length);
  out[length] = '\0';
  s.token_position = end;
  return 1;
}

void read_int_list(FFILE *file, const char *header, int count, int *out) {
  if (count <= 0) return;
  start_list(file, header);
  for (int i = 0; i < count; ++i) {
    next_list_token(file, the_card_scratch.token_image);
    out[i] = 0;
    std::sscanf(the_card_scratch.token_image, "%d", &out[i]);
  }
  the_card_scratch.token_mode = 0;
}

void read_real_list(FFILE *file, const char *header, int count, double *out) {
  if (count <= 0) return;
  start_list(file, header);
  for (int i = 0; i < count; ++i) {
    next_list_token(file, the_card_scratch.token_image);
    out[i] = 0.0;
    std::sscanf(the_card_scratch.token_image, "%lf", &out[i]);
  }
  the_card_scratch.token_mode = 0;
}

XY_TABLE *create_xy_table(int id, int no_points, int no_columns) {
  auto *table = static_cast<XY_TABLE *>(calloc_named(1, sizeof(XY_TABLE), "xy_table"));
  table->id = id;
  table->no_points = no_points;
  table->no_columns = no_columns;
  table->x = calloc_double(static_cast<std::uint64_t>(no_points), "table->x");
  table->y = static_cast<double **>(
      calloc_named(static_cast<std::uint64_t>(no_columns), sizeof(double *), "table->y"));
  for (int column = 0; column + 1 < no_columns; ++column)
    table->y[column] = calloc_double(static_cast<std::uint64_t>(no_points), "table->y");
  return table;
}

XY_TABLE *read_xy_table(FFILE *file, int id, int no_points, const char *header, int no_columns) {
  XY_TABLE *table = create_xy_table(id, no_points, no_columns);
  if (no_points <= 0) return table;
  start_list(file, header);
  char *token = the_card_scratch.token_image;
  for (int point = 0; point < no_points; ++point) {
    next_list_token(file, token);
    std::sscanf(token, "%lf", &table->x[point]);
    for (int column = 0; column + 1 < no_columns; ++column) {
      next_list_token(file, token);
      std::sscanf(token, "%lf", &table->y[column][point]);
    }
  }
  the_card_scratch.token_mode = 0;
  return table;
}

void delete_xy_table(XY_TABLE *table) {
  if (!table) return;
  free_named(table->x, "table->x");
  for (int column = 0; column + 1 < table->no_columns; ++column) free_named(table->y[column], "table->y");
  free_named(table->y, "table->y");
  free_named(table, "table");
}

std::string number_text(int value) { return std::to_string(value); }

double release_of_input(const char *text) {
  if (text) std::snprintf(release_word, sizeof release_word, "%s", text);
  if (!same_prefix(release_word, "R", 1)) {
    write_fault("**** Please add release Number r?.? at initial of input file\n");
    stop_job(1);
  }
  return std::atof(release_word + 1);
}

} // namespace tesmora
