// The files of a regression case folder as records: its expected values (expected.csv) with their
// selections of post-file values, and its job files (job_files.txt). tests/regression/README.md
// describes both formats; the driver in regression_driver.cpp checks a job against them.
#pragma once

#include "support/strict_json.hpp"

#include <string>
#include <vector>

namespace tesmora::testing {

// How a computed value a is held against the row's value v, with allowed = max(abs_tol, rel_tol s):
// equal ("=") |a - v| <= allowed with s = max(|a|, |v|), as expect_close;
// below ("<") a < v + allowed and above (">") a > v - allowed, with s = |v|.
enum class COMPARE { equal, below, above };

// One coordinate bound of a selection, "coordinate op limit", in metres.
struct COORDINATE_BOUND {
  enum class COORDINATE { x, y, z, abs_x, abs_y, abs_z, r }; // r: distance from the origin
  enum class OP { less, less_equal, greater, greater_equal };
  COORDINATE coordinate = COORDINATE::x;
  OP op = OP::less;
  double limit = 0.0;
};

// Which values of the post file `magnetic` a row checks: a data set, then terms that all hold.
struct SELECTION {
  bool nodes = false;                   // false: data set 56 at element centres; true: 55 at nodes
  std::vector<int> properties;          // element properties listed; empty: every one (elements only)
  bool properties_excluded = false;     // true: the listed properties are left out ("property!=")
  std::vector<COORDINATE_BOUND> bounds; // of the element's centroid or the node's position
};

// How many values a post row must check.
struct COUNT_RULE {
  enum class KIND { at_least, exactly, all };
  KIND kind = KIND::at_least;
  int number = 1; // for at_least and exactly
};

// One row of expected.csv: a value from output.json (json_path given) or a check of every selected
// value of the post file (json_path empty).
struct EXPECTED_ROW {
  int line = 0; // 1-based line in expected.csv, for messages
  std::string quantity, json_path, unit, source;
  double value = 0.0, rel_tol = 0.0, abs_tol = 0.0;
  COMPARE compare = COMPARE::equal;
  std::string compare_text;
  // Post rows only.
  SELECTION selection;
  int component = 0; // index into the six UNV values: 0 Bx, 1 By, 2 Bz, 3 |B|
  COUNT_RULE count;
  std::string select_text, component_text, count_text; // as written, for the reports
};

// Reads the text of expected.csv into `rows`. Returns what is wrong, with its line, or "" when the
// whole table is good.
std::string read_expected_table(const std::string &text, std::vector<EXPECTED_ROW> &rows);

// One file of the job folder and the file it is copied from.
struct JOB_FILE {
  std::string name;   // in the job folder
  std::string source; // full path
};

// Reads job_files.txt: lines "name source", '#' starts a comment. A source without '/' is a file of
// the case folder, one with '/' a path from the repository root. Returns what is wrong or "".
std::string read_job_files(const std::string &text, const std::string &case_folder,
                           const std::string &repository, std::vector<JOB_FILE> &files);

// Whether `actual` passes the comparison with `value`; NaN never does.
bool is_met(COMPARE compare, double actual, double value, double rel_tol, double abs_tol);

// Whether a point (centroid or node, metres) with `property` (ignored for nodes) is selected.
bool is_selected(const SELECTION &selection, const double x[3], int property);

// The value at a path such as "ICCG.RESIDUAL[0]": member names joined by dots, each optionally
// followed by a 0-based array index. nullptr when the document has nothing there.
const JSON_VALUE *find_json_value(const JSON_VALUE &document, const std::string &path);

} // namespace tesmora::testing
