// NASTRAN bulk data in free (comma-separated) fields: GRID with cylindrical coordinates of
// system 1, the element cards and CROD, and continuation lines announced by an empty or
// non-numeric last field.
#include "mesh/readers/converter_support.hpp"
#include "mesh/readers/nastran_elements.hpp"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numbers>

namespace tesmora {
namespace {

constexpr int max_free_tokens = 64;

// The comma-separated words of one line, blanks taken off.
struct FREE_LINE {
  char text[card_length + 2] = {};
  char *tokens[max_free_tokens] = {};
  int no_tokens = 0;

  void split() {
    text[std::strcspn(text, "\r\n")] = '\0';
    no_tokens = 0;
    char *p = text;
    while (no_tokens < max_free_tokens) {
      tokens[no_tokens++] = p;
      char *comma = std::strchr(p, ',');
      if (!comma) break;
      *comma = '\0';
      p = comma + 1;
    }
    for (int i = 0; i < no_tokens; ++i) {
      char *t = tokens[i];
      while (*t == ' ' || *t == '\t') ++t;
      char *end = t + std::strlen(t);
      while (end > t && (end[-1] == ' ' || end[-1] == '\t')) *--end = '\0';
      tokens[i] = t;
    }
  }
};

bool read_free_line(std::FILE *in, FREE_LINE &line) {
  while (read_converter_line(line.text, in)) {
    line.split();
    if (line.tokens[0][0] == '$') continue;
    return true;
  }
  return false;
}

bool is_number(const char *token) {
  if (!*token) return false;
  char *end = nullptr;
  std::strtod(token, &end);
  return end != token;
}

// A continuation line begins with its mark: empty, '+' or '*', never a card name.
bool is_continuation(const FREE_LINE &line) {
  const char c = line.tokens[0][0];
  return c == '\0' || c == '+' || c == '*';
}

// The node fields of an element card: an empty or non-numeric field (the continuation mark)
// moves on to the next line, after that line's own mark.
struct FREE_FIELDS {
  std::FILE *in;
  FREE_LINE &line;
  int at;

  bool take(int &value) {
    if (at >= line.no_tokens || !is_number(line.tokens[at])) {
      if (!read_free_line(in, line)) return false;
      at = 1;
    }
    if (at >= line.no_tokens) return false;
    value = static_cast<int>(std::strtol(line.tokens[at++], nullptr, 10));
    return true;
  }
  // Whether a further node field follows: on this line, or on a continuation line announced by
  // a mark at the end of this one. A line that isn't a continuation is left unread.
  bool has_more() {
    if (at < line.no_tokens && is_number(line.tokens[at])) return true;
    if (at >= line.no_tokens || line.tokens[at][0] == '\0') return false;
    const long position = std::ftell(in);
    FREE_LINE peek;
    const bool continued =
        read_free_line(in, peek) && is_continuation(peek) && peek.no_tokens > 1 && is_number(peek.tokens[1]);
    std::fseek(in, position, SEEK_SET); // take() reads the continuation line itself
    return continued;
  }
};

void convert_free_grid(const FREE_LINE &line, PRE_GEOM_WRITER &writer) {
  const auto token = [&](int i) { return i < line.no_tokens ? line.tokens[i] : const_cast<char *>(""); };
  const int id = static_cast<int>(std::strtol(token(1), nullptr, 10));
  const int system = static_cast<int>(std::strtol(token(2), nullptr, 10));
  double xyz[3] = {read_foreign_real(token(3)), read_foreign_real(token(4)), read_foreign_real(token(5))};
  if (system == 1) {
    const double r = xyz[0], angle = xyz[1] * std::numbers::pi / 180.0;
    xyz[0] = r * std::cos(angle);
    xyz[1] = r * std::sin(angle);
  }
  put_node(writer, id, xyz[0], xyz[1], xyz[2]);
}

bool convert_free_element(std::FILE *in, FREE_LINE &line, const NASTRAN_ELEMENT &card,
                          PRE_GEOM_WRITER &writer, CONVERT_FAULT &fault) {
  char original[card_length + 2] = {};
  for (int i = 0; i < line.no_tokens; ++i) {
    if (i > 0) std::strncat(original, ",", sizeof original - std::strlen(original) - 1);
    std::strncat(original, line.tokens[i], sizeof original - std::strlen(original) - 1);
  }
  if (line.no_tokens < 3) {
    set_convert_fault(fault, original);
    return false;
  }
  const int id = static_cast<int>(std::strtol(line.tokens[1], nullptr, 10));
  const int property = static_cast<int>(std::strtol(line.tokens[2], nullptr, 10));
  if (property < 1) {
    set_convert_fault(fault, original);
    return false;
  }
  int nodes[20] = {};
  int n = card.no_nodes, code = card.code;
  FREE_FIELDS fields{in, line, 3};
  for (int i = 0; i < n; ++i)
    if (!fields.take(nodes[i])) {
      set_convert_fault(fault, original);
      return false;
    }
  if (code == 308 && fields.has_more()) {
    n = 20, code = 320;
    for (int i = 8; i < n; ++i)
      if (!fields.take(nodes[i])) {
        set_convert_fault(fault, original);
        return false;
      }
    reorder_nodes(nodes, nastran_hexa20_order());
  }
  if (code == 208) reorder_nodes(nodes, nastran_quad8_order());
  put_element(writer, id, code, property, nodes, n);
  return true;
}

} // namespace

void convert_nastran_free(const char *in_name, const char *out_name, CONVERT_FAULT &fault) {
  CONVERTER_FILES files(in_name, out_name);
  FREE_LINE line;
  while (read_free_line(files.in(), line)) {
    bool large = false;
    if (std::strcmp(line.tokens[0], "GRID") == 0) {
      convert_free_grid(line, files.writer);
    } else if (const NASTRAN_ELEMENT *card = find_nastran_element(line.tokens[0], true, large)) {
      if (!convert_free_element(files.in(), line, *card, files.writer, fault)) return;
    }
  }
  finish_pre_geom(files.writer);
}

} // namespace tesmora
