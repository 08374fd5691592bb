// The card discipline shared by every reader of an input file: header to check, echo, count.
//
// A card is one line of at most 2000 characters; a line with a star in column one is a comment
// anywhere, an empty line is a card whose fields are all 0. Each reader knows by its place what
// the next card must be, writes that card's header line to check, reads it, echoes it and scans
// it in free format. A field that is left off or can't be converted stays 0.
#pragma once

#include "job/ffile.hpp"

#include <cstdint>
#include <string>

namespace tesmora {

inline constexpr int card_length = 2000; // characters of a card; longer lines are split

// The scratch set of the card readers: a card's values live here until the next card is read.
struct CARD_SCRATCH {
  char card_image[card_length + 1] = {};  // the line just read, with its newline
  char token_image[card_length + 1] = {}; // the last token taken by next_token
  int card_ints[12] = {};                 // integer fields; the first ten are cleared per card
  double card_reals[7] = {};              // real fields; cleared per card
  const char *card_format = nullptr;      // scan format of the card
  const char *card_header = nullptr;      // header of the card
  int fields_read = 0;                    // conversions of the scan, or EOF
  int token_mode = 0;                     // a list is being consumed token by token
  const char *token_position = nullptr;   // where next_token goes on
};

CARD_SCRATCH &card_scratch();

// Opens a card file's transcript in check ("* File %s start. *"), zeroing its card and line counts.
void open_card_file(FFILE *file);
// Closes the transcript: "* File %s end *  %d cards are read.".
void close_card_file(FFILE *file);

// Reads the next line that is not a comment into buffer (at most size-1 characters); null at
// the end of the file.
char *read_line(char *buffer, int size, std::FILE *stream);
// The same on a card file, counting its lines: the record's card_line becomes the line on which
// the line returned begins (a line cut at `size` goes on as the next card on the same line).
char *read_line(char *buffer, int size, FFILE *file);

// The standard sequence: clear the scratch fields, write the header (when not null) to check,
// read the next card (at the end of the file: "input is insufficient." and the job stops),
// count and echo it, and scan it with `format` (when not null) into the pointers that follow.
// Returns the number of fields converted.
int read_card(FFILE *file, const char *format, const char *header, ...);

// "Error in card No.%d in file %s" with the file's card count, then the job stops.
[[noreturn]] void card_error(const FFILE *file);

// True for the values 0 and 1, the on-off fields.
inline bool is_flag(int value) { return value == 0 || value == 1; }

// Compares the first n characters of two texts, folded to upper case; n < 1 is always true.
bool same_prefix(const char *a, const char *b, int n);
// Compares whole texts the same way.
bool same_word(const char *a, const char *b);

// Takes the next blank-delimited word of `line` (from its start when `first` is not 0, else
// from where the last call stopped) into `out`; 0 at the end of the line, `out` unchanged.
int next_token(int first, const char *line, char *out);

// List cards: a list of an announced length spread over any number of cards. The header is
// written once; continuation cards are echoed and counted with no header.
void read_int_list(FFILE *file, const char *header, int count, int *out);
void read_real_list(FFILE *file, const char *header, int count, double *out);

// A table of points with one x column and no_columns-1 value columns (tag "xy_table").
struct XY_TABLE {
  int id = 0;
  int no_points = 0;
  int no_columns = 0;   // the x column included
  double *x = nullptr;  // no_points values, 0-based; tag "table->x"
  double **y = nullptr; // no_columns pointers; y[0 .. no_columns-2] are the value columns
};

// Reads no_points rows of x and no_columns-1 values as a list under one header.
XY_TABLE *read_xy_table(FFILE *file, int id, int no_points, const char *header, int no_columns);
// An empty table of the same shape, all values 0.
XY_TABLE *create_xy_table(int id, int no_points, int no_columns);
void delete_xy_table(XY_TABLE *table);

// The decimal text of an integer (for file names).
std::string number_text(int value);

// Stores the release word of the first card and returns its number (the text behind the r);
// with null returns the number of the stored word. A word without r or R ends the job with
// "**** Please add release Number r?.? at initial of input file".
double release_of_input(const char *text);

} // namespace tesmora
