// Expression parser: reading a definition block, its comments, the tokens, the parser's messages.
#include "input/expression_internal.hpp"

#include "job/report.hpp"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace tesmora {

void parser_error(const std::string &text, const char *definition, int position) {
  if (definition)
    write_fault("%s\n\t%s\n At position: %d \n", text.c_str(), definition, position);
  else
    write_fault("%s\n", text.c_str());
  stop_job(1);
}

void parser_warning(const std::string &text, const char *definition) {
  write_fault("*** Parser warning: At entry: \n\t\t\t%s\n%s\n", definition, text.c_str());
}

namespace {

constexpr const char *reading_error_header =
    "*** Parser input error: Error when reading function definition lines: \n\t ";

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool is_word_character(char c) { return is_letter(c) || is_digit(c) || c == '_'; }

// Removes every comment "#...#" from the text; an odd number of "#" is an error.
void remove_comments(char *equation) {
  const char *first_mark = std::strchr(equation, '#');
  char *out = equation;
  bool in_comment = false;
  for (const char *in = equation; *in; ++in) {
    if (*in == '#') {
      in_comment = !in_comment;
      if (in_comment) first_mark = in;
      continue;
    }
    if (!in_comment) *out++ = *in;
  }
  if (in_comment) {
    const int position = static_cast<int>(first_mark - equation) + 1;
    parser_error("*** Parser error: Unbalanced comment symbol '#' in expression:", equation, position);
  }
  *out = '\0';
}

// True when the text holds nothing but blanks and ";".
bool is_empty_block(const char *equation) {
  for (const char *c = equation; *c; ++c)
    if (!is_blank(*c) && *c != ';') return false;
  return true;
}

} // namespace

void read_definition_block(FFILE *ffile, char *equation) {
  char line[definition_line_size + 1];
  int length = 0;
  int no_lines = 0;
  bool at_line_start = true; // false for the rest of a line longer than definition_line_size
  equation[0] = '\0';
  for (;;) {
    if (!std::fgets(line, sizeof line, ffile->stream) || no_lines == max_definition_lines)
      parser_error(std::string(reading_error_header) +
                       "Too many definition lines or not found concluding line ('...;;')",
                   equation, length + 1);
    const bool is_comment = at_line_start && line[0] == '*';
    at_line_start = std::strchr(line, '\n') != nullptr;
    if (at_line_start) ++ffile->lines_read;
    if (is_comment) continue;
    ++no_lines;
    ++ffile->record_count;
    const char *start = line;
    while (is_blank(*start)) ++start;
    const char *end_mark = std::strstr(start, ";;");
    std::size_t part = end_mark ? static_cast<std::size_t>(end_mark - start) : std::strlen(start);
    while (part > 0 && (start[part - 1] == '\n' || start[part - 1] == '\r')) --part;
    if (length + part > static_cast<std::size_t>(equation_size - 1))
      parser_error("Parser error: Definition too long: \n\t\t\t" + std::string(equation) +
                       std::string(start, part) + "\n Please reformulate.",
                   nullptr, 0);
    std::memcpy(equation + length, start, part);
    length += static_cast<int>(part);
    equation[length] = '\0';
    if (end_mark) break;
  }
  remove_comments(equation);
  if (is_empty_block(equation))
    parser_error(std::string(reading_error_header) + "Empty definition.", nullptr, 0);
}

std::string_view token_text(const PARSE_LINE &line, int i) {
  const LEXICAL_UNIT &unit = line.token[i];
  return std::string_view(line.text + unit.start, static_cast<std::size_t>(unit.length));
}

namespace {

// Scans a number from text[start]: digits, an optional fraction, an optional exponent. Without
// fraction and exponent (and within range) it is an integer. Returns the offset behind it.
int scan_number(const char *text, int start, VALUE &value) {
  int i = start;
  bool is_real = false;
  while (is_digit(text[i])) ++i;
  if (text[i] == '.') {
    is_real = true;
    ++i;
    while (is_digit(text[i])) ++i;
  }
  if (text[i] == 'e' || text[i] == 'E') {
    int j = i + 1;
    if (text[j] == '+' || text[j] == '-') ++j;
    if (!is_digit(text[j])) parser_error("Expecting exponent.", text, j + 1);
    while (is_digit(text[j])) ++j;
    i = j;
    is_real = true;
  }
  if (!is_real) {
    std::int64_t n = 0;
    if (std::from_chars(text + start, text + i, n).ec == std::errc()) {
      set_integer(value, n);
      return i;
    }
  }
  double x = 0.0;
  if (std::from_chars(text + start, text + i, x).ec != std::errc()) // out of range: inf or 0, as strtod
    x = std::strtod(std::string(text + start, static_cast<std::size_t>(i - start)).c_str(), nullptr);
  set_real(value, x);
  return i;
}

// Scans a complex constant "{re, im}" from the "{" at text[start]; returns the offset behind "}".
int scan_complex(const char *text, int start, VALUE &value) {
  double re = 0.0;
  double im = 0.0;
  char closing = '\0';
  int used = 0;
  const int fields = std::sscanf(text + start + 1, "%lf , %lf %c%n", &re, &im, &closing, &used);
  if (fields < 2)
    parser_error("*** Parser error: Invalid complex constant in function definition entry:", text, start + 1);
  if (fields < 3 || closing != '}')
    parser_error("*** Parser error: No matching '}' in function definition entry:", text, start + 1);
  set_complex(value, re, im);
  return start + 1 + used;
}

// Reports a character that can't start a token.
[[noreturn]] void refuse_character(const char *text, int i) {
  const char c = text[i];
  std::string message;
  if (c == '^')
    message = "\n*** Parser error: Invalid character '^' in function definition entry:\n"
              "     Use '**' for power-function.";
  else if (c == '>')
    message = "*** Parser error: nvalid character '>' in function definition entry:";
  else if (std::strchr("$&?|~", c))
    message = std::string("\n*** Parser error: Invalid character '") + c + "' in function definition entry:";
  else
    message = std::string("Invalid character: '") + c + "'";
  parser_error(message, text, i + 1);
}

// Length of the operator at text[i], or 0 when there is none.
int operator_length(const char *text, int i) {
  if (text[i] == '*') return text[i + 1] == '*' ? 2 : 1;
  return std::strchr("!%()+,-/:<=[]", text[i]) ? 1 : 0;
}

} // namespace

void tokenise_definition(PARSE_LINE &line) {
  const char *text = line.text;
  line.no_tokens = 0;
  line.current = 0;
  int i = 0;
  for (;;) {
    while (is_blank(text[i])) ++i;
    if (!text[i]) return;
    if (line.no_tokens == max_tokens)
      parser_error("Parser error: Definition too long: \n\t\t\t" + std::string(text) +
                       "\n Please reformulate.",
                   nullptr, 0);
    LEXICAL_UNIT &unit = line.token[line.no_tokens++];
    unit = LEXICAL_UNIT{};
    unit.start = i;
    if (is_digit(text[i]) || (text[i] == '.' && is_digit(text[i + 1]))) {
      i = scan_number(text, i, unit.value);
    } else if (text[i] == '{') {
      i = scan_complex(text, i, unit.value);
    } else if (is_letter(text[i])) {
      unit.is_token = 1;
      while (is_word_character(text[i])) ++i;
    } else if (const int length = operator_length(text, i); length > 0) {
      unit.is_token = 1;
      i += length;
    } else {
      refuse_character(text, i);
    }
    unit.length = i - unit.start;
  }
}

} // namespace tesmora
