// Files and field reading shared by the mesh converters.
#include "mesh/readers/converter_support.hpp"

#include "input/card_reader.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"

#include <algorithm>

#include <cctype>
#include <cstdlib>
#include <cstring>

namespace tesmora {

CONVERTER_FILES::CONVERTER_FILES(const char *in_name, const char *out_name)
    : in_(create_ffile(in_name, 0)), out_(create_ffile(out_name, 0)) {
  open_ffile(in_, "r");
  writer.out = open_ffile(out_, "w");
}

CONVERTER_FILES::~CONVERTER_FILES() {
  free_ffile(in_, "ffile");
  free_ffile(out_, "ffile");
}

bool begins_with(const char *line, const char *word) {
  for (; *word; ++word, ++line)
    if (std::toupper(static_cast<unsigned char>(*line)) != std::toupper(static_cast<unsigned char>(*word)))
      return false;
  return true;
}

void field_text(const char *line, int column, int width, char *out) {
  const int length = static_cast<int>(std::strcspn(line, "\r\n"));
  int n = 0;
  for (int i = column; i < column + width && i < length && n < 63; ++i)
    if (line[i] != ' ' && line[i] != '\t') out[n++] = line[i];
  out[n] = '\0';
}

double read_foreign_real(const char *text) {
  char number[80];
  int n = 0;
  bool digits_seen = false;
  for (const char *p = text; *p && n < 76; ++p) {
    const char c = *p;
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') continue;
    if (c == 'D' || c == 'd') {
      number[n++] = 'E';
      continue;
    }
    // A sign after the mantissa is the exponent's sign of the short notation.
    if ((c == '+' || c == '-') && digits_seen && number[n - 1] != 'E' && number[n - 1] != 'e')
      number[n++] = 'E';
    if (std::isdigit(static_cast<unsigned char>(c))) digits_seen = true;
    number[n++] = c;
  }
  number[n] = '\0';
  return std::strtod(number, nullptr);
}

char *read_converter_line(char *buffer, std::FILE *stream) {
  return std::fgets(buffer, card_length + 2, stream);
}

void put_ordered_element(PRE_GEOM_WRITER &writer, int id, int code, int mat_id,
                         std::span<const int> input_node_order, std::span<const int> foreign_order,
                         const int *foreign_nodes) {
  int local[32] = {}; // node identity of each local node, 1-based
  for (std::size_t i = 0; i < foreign_order.size(); ++i)
    if (foreign_order[i] > 0 && foreign_order[i] < 32) local[foreign_order[i]] = foreign_nodes[i];
  int native[32] = {};
  const int n = static_cast<int>(input_node_order.size());
  for (int p = 0; p < n && p < 32; ++p) native[p] = local[input_node_order[static_cast<std::size_t>(p)]];
  put_element(writer, id, code, mat_id, native, n);
}

namespace {

// Moves `at` to the next word, reading lines as needed; false at the end of the file.
bool next_word(WORD_READER &reader) {
  for (;;) {
    while (*reader.at && std::isspace(static_cast<unsigned char>(*reader.at))) ++reader.at;
    if (*reader.at) return true;
    if (!read_converter_line(reader.line, reader.in)) {
      reader.line[0] = '\0';
      reader.at = reader.line;
      return false;
    }
    reader.at = reader.line;
  }
}

} // namespace

bool WORD_READER::next_int(int &value) {
  if (!next_word(*this)) return false;
  char *end = nullptr;
  const long v = std::strtol(at, &end, 10);
  if (end == at) return false;
  at = end;
  value = static_cast<int>(v);
  return true;
}

bool WORD_READER::next_real(double &value) {
  if (!next_word(*this)) return false;
  char *end = nullptr;
  value = std::strtod(at, &end);
  if (end == at) return false;
  at = end;
  return true;
}

bool WORD_READER::skip_lines(int count) {
  at = "";
  for (int i = 0; i < count; ++i)
    if (!read_converter_line(line, in)) return false;
  at = "";
  return true;
}

void ELEMENT_GROUPS::sort() {
  std::stable_sort(
      members.begin(), members.end(),
      [](const std::pair<int, int> &a, const std::pair<int, int> &b) { return a.first < b.first; });
}

int ELEMENT_GROUPS::find(int label, int fallback) const {
  const auto at = std::lower_bound(members.begin(), members.end(), label,
                                   [](const std::pair<int, int> &m, int value) { return m.first < value; });
  return at != members.end() && at->first == label ? at->second : fallback;
}

void report_mat_id_source(const char *source) {
  const FFILE *output = run_files().print_out;
  if (output && output->state != 0) write_report(output->stream, "*** material ids from %s ***\n", source);
}

} // namespace tesmora
