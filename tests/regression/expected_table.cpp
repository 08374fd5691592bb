// Parsing of a regression case's expected.csv and job_files.txt, the selections of post-file
// values and the comparisons of the rows.
#include "regression/expected_table.hpp"

#include "support/test_support.hpp"

#include <array>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <map>
#include <string_view>

namespace tesmora::testing {
namespace {

constexpr std::array<std::string_view, 11> column_names = {"quantity",  "json_path", "value",  "unit",
                                                           "rel_tol",   "abs_tol",   "source", "select",
                                                           "component", "compare",   "count"};

// The fields of one CSV line (RFC 4180 quoting: a field in double quotes may hold commas, and ""
// stands for one quote). Returns false on an unclosed quote.
bool split_csv_line(const std::string &line, std::vector<std::string> &fields) {
  fields.assign(1, std::string());
  bool quoted = false;
  for (std::size_t k = 0; k < line.size(); ++k) {
    const char c = line[k];
    if (quoted) {
      if (c != '"') {
        fields.back() += c;
      } else if (k + 1 < line.size() && line[k + 1] == '"') {
        fields.back() += '"';
        ++k;
      } else {
        quoted = false;
      }
    } else if (c == '"') {
      quoted = true;
    } else if (c == ',') {
      fields.emplace_back();
    } else if (c != '\r') {
      fields.back() += c;
    }
  }
  return !quoted;
}

std::string trim(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return std::string(text);
}

// A whole field as a finite number.
bool read_number(const std::string &text, double &out) {
  if (text.empty()) return false;
  char *end = nullptr;
  errno = 0;
  out = std::strtod(text.c_str(), &end);
  return errno == 0 && *end == '\0' && std::isfinite(out);
}

bool read_whole_int(const std::string &text, int &out) {
  if (text.empty()) return false;
  char *end = nullptr;
  errno = 0;
  const long number = std::strtol(text.c_str(), &end, 10);
  if (errno != 0 || *end != '\0' || number < 0 || number > 1000000000) return false;
  out = static_cast<int>(number);
  return true;
}

std::vector<std::string> split_at(const std::string &text, char separator) {
  std::vector<std::string> parts(1);
  for (const char c : text)
    if (c == separator)
      parts.emplace_back();
    else
      parts.back() += c;
  for (std::string &part : parts) part = trim(part);
  return parts;
}

// "z>=0.003", "|x|<1e-9", "r<=0.05".
bool read_bound(const std::string &term, COORDINATE_BOUND &bound) {
  using C = COORDINATE_BOUND::COORDINATE;
  using O = COORDINATE_BOUND::OP;
  static constexpr std::pair<std::string_view, C> coordinates[] = {
      {"|x|", C::abs_x}, {"|y|", C::abs_y}, {"|z|", C::abs_z}, {"x", C::x},
      {"y", C::y},       {"z", C::z},       {"r", C::r}};
  static constexpr std::pair<std::string_view, O> ops[] = {
      {"<=", O::less_equal}, {">=", O::greater_equal}, {"<", O::less}, {">", O::greater}};
  for (const auto &[name, coordinate] : coordinates) {
    if (term.rfind(name, 0) != 0) continue;
    const std::string rest = term.substr(name.size());
    for (const auto &[symbol, op] : ops)
      if (rest.rfind(symbol, 0) == 0) {
        bound = {coordinate, op, 0.0};
        return read_number(rest.substr(symbol.size()), bound.limit);
      }
    return false;
  }
  return false;
}

// The select column: "elements" or "nodes", then ';'-separated terms.
std::string read_selection(const std::string &text, SELECTION &selection) {
  const std::vector<std::string> terms = split_at(text, ';');
  if (terms[0] != "elements" && terms[0] != "nodes")
    return "select starts with \"elements\" or \"nodes\", not \"" + terms[0] + "\"";
  selection = SELECTION{};
  selection.nodes = terms[0] == "nodes";
  for (std::size_t k = 1; k < terms.size(); ++k) {
    const std::string &term = terms[k];
    const bool excluded = term.rfind("property!=", 0) == 0;
    if (excluded || term.rfind("property=", 0) == 0) {
      if (selection.nodes) return "nodes have no property: \"" + term + "\"";
      if (!selection.properties.empty()) return "one property term a row: \"" + term + "\"";
      selection.properties_excluded = excluded;
      for (const std::string &number : split_at(term.substr(excluded ? 10 : 9), ',')) {
        int property = 0;
        if (!read_whole_int(number, property)) return "bad property list in \"" + term + "\"";
        selection.properties.push_back(property);
      }
      continue;
    }
    COORDINATE_BOUND bound;
    if (!read_bound(term, bound)) return "unknown selection term \"" + term + "\"";
    selection.bounds.push_back(bound);
  }
  return "";
}

std::string read_count(const std::string &text, COUNT_RULE &count) {
  if (text == "all") {
    count = {COUNT_RULE::KIND::all, 1};
    return "";
  }
  const bool at_least = text.rfind(">=", 0) == 0;
  const bool exactly = !at_least && text.rfind("=", 0) == 0;
  int number = 0;
  if ((!at_least && !exactly) || !read_whole_int(text.substr(at_least ? 2 : 1), number) || number < 1)
    return "count is \"all\", \">=N\" or \"=N\" with N at least 1, not \"" + text + "\"";
  count = {at_least ? COUNT_RULE::KIND::at_least : COUNT_RULE::KIND::exactly, number};
  return "";
}

std::string read_compare(const std::string &text, COMPARE &compare) {
  if (text == "=")
    compare = COMPARE::equal;
  else if (text == "<")
    compare = COMPARE::below;
  else if (text == ">")
    compare = COMPARE::above;
  else
    return "compare is \"=\", \"<\" or \">\", not \"" + text + "\"";
  return "";
}

std::string read_component(const std::string &text, int &component) {
  static constexpr std::string_view components[] = {"Bx", "By", "Bz", "|B|"};
  for (int k = 0; k < 4; ++k)
    if (text == components[k]) {
      component = k;
      return "";
    }
  return "component is Bx, By, Bz or |B|, not \"" + text + "\"";
}

// The columns that only post rows have: all given, or (for a json_path row) none.
std::string read_post_columns(const std::map<std::string_view, std::string> &field, EXPECTED_ROW &row) {
  row.select_text = field.at("select");
  row.component_text = field.at("component");
  row.count_text = field.at("count");
  if (!row.json_path.empty()) {
    if (!row.select_text.empty() || !row.component_text.empty() || !row.count_text.empty())
      return "a json_path row leaves select, component and count empty";
    return "";
  }
  if (row.select_text.empty() || row.component_text.empty() || row.count_text.empty())
    return "a row without json_path needs select, component and count";
  std::string error = read_selection(row.select_text, row.selection);
  if (error.empty()) error = read_component(row.component_text, row.component);
  if (error.empty()) error = read_count(row.count_text, row.count);
  return error;
}

std::string read_row(const std::map<std::string_view, std::string> &field, EXPECTED_ROW &row) {
  row.quantity = field.at("quantity");
  row.json_path = field.at("json_path");
  row.unit = field.at("unit");
  row.source = field.at("source");
  row.compare_text = field.at("compare");
  if (row.quantity.empty() || row.source.empty()) return "every row names its quantity and its source";
  if (!read_number(field.at("value"), row.value)) return "value is not a number";
  if (!read_number(field.at("rel_tol"), row.rel_tol) || row.rel_tol < 0.0)
    return "rel_tol is not a number >= 0";
  if (!read_number(field.at("abs_tol"), row.abs_tol) || row.abs_tol < 0.0)
    return "abs_tol is not a number >= 0";
  std::string error = read_compare(row.compare_text, row.compare);
  if (error.empty()) error = read_post_columns(field, row);
  return error;
}

// The column of each name in the header line; what is wrong with it, or "".
std::string read_header(const std::vector<std::string> &names, std::map<std::string_view, std::size_t> &at) {
  for (std::size_t k = 0; k < names.size(); ++k) {
    const std::string name = trim(names[k]);
    bool known = false;
    for (const std::string_view column : column_names)
      if (name == column) {
        if (at.count(column)) return "column \"" + name + "\" given twice";
        at[column] = k;
        known = true;
      }
    if (!known) return "unknown column \"" + name + "\"";
  }
  for (const std::string_view column : column_names)
    if (!at.count(column)) return "column \"" + std::string(column) + "\" is missing";
  return "";
}

} // namespace

std::string read_expected_table(const std::string &text, std::vector<EXPECTED_ROW> &rows) {
  rows.clear();
  const std::vector<std::string> lines = split_lines(text);
  std::map<std::string_view, std::size_t> at;
  int line_number = 0;
  for (const std::string &line : lines) {
    ++line_number;
    const std::string where = "expected.csv line " + std::to_string(line_number) + ": ";
    if (trim(line).empty()) continue;
    std::vector<std::string> fields;
    if (!split_csv_line(line, fields)) return where + "unclosed quote";
    if (at.empty()) {
      const std::string error = read_header(fields, at);
      if (!error.empty()) return where + error;
      continue;
    }
    if (fields.size() != at.size())
      return where + std::to_string(fields.size()) + " fields, the header has " + std::to_string(at.size());
    std::map<std::string_view, std::string> field;
    for (const auto &[name, column] : at) field[name] = trim(fields[column]);
    EXPECTED_ROW row;
    row.line = line_number;
    const std::string error = read_row(field, row);
    if (!error.empty()) return where + error;
    rows.push_back(row);
  }
  if (rows.empty()) return "expected.csv has no rows";
  return "";
}

std::string read_job_files(const std::string &text, const std::string &case_folder,
                           const std::string &repository, std::vector<JOB_FILE> &files) {
  files.clear();
  int line_number = 0;
  for (const std::string &line : split_lines(text)) {
    ++line_number;
    const std::string card = trim(line.substr(0, line.find('#')));
    if (card.empty()) continue;
    const std::size_t gap = card.find_first_of(" \t");
    const std::string name = card.substr(0, gap);
    const std::string source = gap == std::string::npos ? "" : trim(card.substr(gap));
    if (source.empty() || source.find_first_of(" \t") != std::string::npos ||
        name.find('/') != std::string::npos)
      return "job_files.txt line " + std::to_string(line_number) + ": write \"name source\"";
    const bool from_repository = source.find('/') != std::string::npos;
    files.push_back({name, (from_repository ? repository : case_folder) + "/" + source});
  }
  if (files.empty()) return "job_files.txt names no file";
  return "";
}

bool is_met(COMPARE compare, double actual, double value, double rel_tol, double abs_tol) {
  if (compare == COMPARE::equal) return is_close(actual, value, rel_tol, abs_tol);
  const double allowed = std::max(abs_tol, rel_tol * std::fabs(value));
  // Written so that a NaN fails: every comparison with NaN is false.
  return compare == COMPARE::below ? actual < value + allowed : actual > value - allowed;
}

bool is_selected(const SELECTION &selection, const double x[3], int property) {
  if (!selection.nodes && !selection.properties.empty()) {
    bool listed = false;
    for (const int p : selection.properties) listed = listed || p == property;
    if (listed == selection.properties_excluded) return false;
  }
  using C = COORDINATE_BOUND::COORDINATE;
  using O = COORDINATE_BOUND::OP;
  for (const COORDINATE_BOUND &bound : selection.bounds) {
    double c = 0.0;
    switch (bound.coordinate) {
    case C::x:
      c = x[0];
      break;
    case C::y:
      c = x[1];
      break;
    case C::z:
      c = x[2];
      break;
    case C::abs_x:
      c = std::fabs(x[0]);
      break;
    case C::abs_y:
      c = std::fabs(x[1]);
      break;
    case C::abs_z:
      c = std::fabs(x[2]);
      break;
    case C::r:
      c = std::sqrt(x[0] * x[0] + x[1] * x[1] + x[2] * x[2]);
      break;
    }
    const bool holds = bound.op == O::less         ? c < bound.limit
                       : bound.op == O::less_equal ? c <= bound.limit
                       : bound.op == O::greater    ? c > bound.limit
                                                   : c >= bound.limit;
    if (!holds) return false;
  }
  return true;
}

const JSON_VALUE *find_json_value(const JSON_VALUE &document, const std::string &path) {
  const JSON_VALUE *at = &document;
  for (const std::string &step : split_at(path, '.')) {
    const std::size_t bracket = step.find('[');
    at = at->member(step.substr(0, bracket));
    if (!at) return nullptr;
    if (bracket == std::string::npos) continue;
    int index = 0;
    if (step.back() != ']' || !read_whole_int(step.substr(bracket + 1, step.size() - bracket - 2), index) ||
        at->kind != JSON_VALUE::KIND::array || static_cast<std::size_t>(index) >= at->items.size())
      return nullptr;
    at = &at->items[static_cast<std::size_t>(index)];
  }
  return at;
}

} // namespace tesmora::testing
