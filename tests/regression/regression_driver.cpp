// The regression-case driver: runs TesmoraBatch on one case folder's job in a temporary folder and
// checks every row of its expected.csv against output.json and the post file `magnetic`; for a
// bad-input folder (one with expected_check.txt), the exit status 1 and the end of check.
// Usage: tesmora_regression [GoogleTest flags] <case folder>
#include "regression/expected_table.hpp"
#include "support/job_results.hpp"
#include "support/strict_json.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace tesmora::testing {
namespace {

// Where an element (its centroid) or a node of the mesh lies, in metres; the element's property.
struct MESH_POINT {
  double x[3];
  int property; // 0 for nodes
};

// What a finished job left, as the rows read it.
struct JOB_RESULTS {
  JSON_VALUE json;
  std::map<int, std::array<double, 6>> elements, nodes;  // UNV data sets 56 and 55 of `magnetic`
  std::map<int, MESH_POINT> element_points, node_points; // of the mesh pre_geom.nas, by number
};

// "= 2.994011976 T (rel_tol 0.02, abs_tol 0)".
std::string describe_tolerance(const EXPECTED_ROW &row) {
  std::ostringstream s;
  s.precision(10);
  s << row.compare_text << ' ' << row.value << (row.unit.empty() ? "" : " ") << row.unit << " (rel_tol "
    << row.rel_tol << ", abs_tol " << row.abs_tol << ')';
  return s.str();
}

void check_json_row(const EXPECTED_ROW &row, const JSON_VALUE &document) {
  const JSON_VALUE *item = find_json_value(document, row.json_path);
  if (!item || item->kind != JSON_VALUE::KIND::number) {
    std::printf("[FAIL] %s: output.json has no number at %s\n", row.quantity.c_str(), row.json_path.c_str());
    ADD_FAILURE() << "expected.csv line " << row.line << ": output.json has no number at " << row.json_path;
    return;
  }
  const bool ok = is_met(row.compare, item->number, row.value, row.rel_tol, row.abs_tol);
  std::printf("[%s] %s: %s = %.10g, expected %s [%s]\n", ok ? " ok " : "FAIL", row.quantity.c_str(),
              row.json_path.c_str(), item->number, describe_tolerance(row).c_str(), row.source.c_str());
  if (!ok)
    ADD_FAILURE() << "expected.csv line " << row.line << ": " << row.quantity << ": " << row.json_path
                  << " = " << item->number << ", expected " << describe_tolerance(row) << " [" << row.source
                  << "]";
}

// The running tally of one post row over its selected values.
struct POST_TALLY {
  int checked = 0;
  double lowest = INFINITY, highest = -INFINITY;
  double worst = NAN; // farthest from the expected value in the direction the row guards
  int worst_number = 0;
  std::vector<std::string> faults; // the first few, for the message
  int no_faults = 0;
};

void add_fault(POST_TALLY &tally, const std::string &fault) {
  if (tally.faults.size() < 10) tally.faults.push_back(fault);
  ++tally.no_faults;
}

// A NaN is worse than any number; otherwise what lies farthest on the side the row guards.
bool is_worse(COMPARE compare, double candidate, double worst, double value) {
  if (std::isnan(worst)) return false;
  if (std::isnan(candidate)) return true;
  switch (compare) {
  case COMPARE::equal:
    return std::fabs(candidate - value) > std::fabs(worst - value);
  case COMPARE::below:
    return candidate > worst;
  case COMPARE::above:
    return candidate < worst;
  }
  return false;
}

void tally_value(const EXPECTED_ROW &row, int number, const double x[3], const std::array<double, 6> &values,
                 POST_TALLY &tally) {
  const double actual = values[static_cast<std::size_t>(row.component)];
  ++tally.checked;
  tally.lowest = std::min(tally.lowest, actual);
  tally.highest = std::max(tally.highest, actual);
  if (tally.checked == 1 || is_worse(row.compare, actual, tally.worst, row.value)) {
    tally.worst = actual;
    tally.worst_number = number;
  }
  if (is_met(row.compare, actual, row.value, row.rel_tol, row.abs_tol)) return;
  std::ostringstream fault;
  fault << (row.selection.nodes ? "node " : "element ") << number << " at (" << x[0] << ", " << x[1] << ", "
        << x[2] << "): " << row.component_text << " = " << actual;
  add_fault(tally, fault.str());
}

// Every selected element or node of the mesh must have a value in the data set, and each value
// must meet the row; then the count rule.
void tally_post_row(const EXPECTED_ROW &row, const std::map<int, MESH_POINT> &mesh,
                    const std::map<int, std::array<double, 6>> &data, POST_TALLY &tally) {
  const char *kind = row.selection.nodes ? "nodes" : "elements";
  for (const auto &[number, point] : mesh) {
    if (!is_selected(row.selection, point.x, point.property)) continue;
    const auto value = data.find(number);
    if (value == data.end())
      add_fault(tally, std::string(row.selection.nodes ? "node " : "element ") + std::to_string(number) +
                           " has no value in magnetic");
    else
      tally_value(row, number, point.x, value->second, tally);
  }
  if (row.count.kind == COUNT_RULE::KIND::all) {
    bool same = data.size() == mesh.size();
    for (const auto &[number, point] : mesh) same = same && data.count(number);
    if (!same)
      add_fault(tally, std::string("magnetic holds ") + std::to_string(data.size()) + " " + kind +
                           ", not exactly the mesh's " + std::to_string(mesh.size()));
  }
  const bool too_few = row.count.kind == COUNT_RULE::KIND::exactly ? tally.checked != row.count.number
                                                                   : tally.checked < row.count.number;
  if (too_few)
    add_fault(tally,
              std::to_string(tally.checked) + " " + kind + " checked, the row asks for " + row.count_text);
}

void check_post_row(const EXPECTED_ROW &row, const JOB_RESULTS &results) {
  POST_TALLY tally;
  if (row.selection.nodes)
    tally_post_row(row, results.node_points, results.nodes, tally);
  else
    tally_post_row(row, results.element_points, results.elements, tally);
  const bool ok = tally.no_faults == 0;
  char range[160] = "no value";
  if (tally.checked > 0)
    std::snprintf(range, sizeof range, "%.6g .. %.6g, worst %.6g at %s %d", tally.lowest, tally.highest,
                  tally.worst, row.selection.nodes ? "node" : "element", tally.worst_number);
  std::printf("[%s] %s: %s over %d of %s (%s): %s; expected %s [%s]\n", ok ? " ok " : "FAIL",
              row.quantity.c_str(), row.component_text.c_str(), tally.checked, row.select_text.c_str(),
              row.count_text.c_str(), range, describe_tolerance(row).c_str(), row.source.c_str());
  if (ok) return;
  std::ostringstream message;
  message << "expected.csv line " << row.line << ": " << row.quantity << " (" << row.select_text << ", "
          << row.component_text << "), expected " << describe_tolerance(row) << " [" << row.source
          << "]: " << tally.no_faults << " faults";
  for (const std::string &fault : tally.faults) message << "\n  " << fault;
  if (tally.no_faults > static_cast<int>(tally.faults.size())) message << "\n  ...";
  ADD_FAILURE() << message.str();
}

// The mesh's element centroids and nodes as points.
void read_mesh_points(const std::string &mesh, JOB_RESULTS &results) {
  for (const auto &[number, c] : read_tet_centroids(mesh))
    results.element_points[number] = {{c.x[0], c.x[1], c.x[2]}, c.property};
  for (const auto &[number, p] : read_grid_points(mesh))
    results.node_points[number] = {{p[0], p[1], p[2]}, 0};
}

// Copies the case's job files into `job`.
void copy_job_files(const std::string &folder, const TempDir &job) {
  std::vector<JOB_FILE> files;
  const std::string error =
      read_job_files(read_file(folder + "/job_files.txt"), folder, TESMORA_SOURCE_DIR, files);
  ASSERT_EQ(error, "") << folder;
  for (const JOB_FILE &file : files) {
    ASSERT_TRUE(std::filesystem::is_regular_file(file.source)) << file.source << " is missing";
    std::filesystem::copy_file(file.source, job.file(file.name));
  }
}

// A regression case: the job ends normally, and every row of expected.csv holds.
void run_regression_case(const std::string &folder) {
  std::vector<EXPECTED_ROW> rows;
  const std::string error = read_expected_table(read_file(folder + "/expected.csv"), rows);
  ASSERT_EQ(error, "") << folder;
  TempDir job;
  ASSERT_NO_FATAL_FAILURE(copy_job_files(folder, job));
  const BATCH_RUN run = run_batch(job.path(), {});
  ASSERT_EQ(run.exit_status, 0) << read_file(job.file("check"));

  JOB_RESULTS results;
  const std::string json_text = read_file(job.file("output.json"));
  ASSERT_TRUE(StrictJsonParser(json_text).parse(results.json)) << "output.json is not JSON:\n" << json_text;
  results.elements = read_unv_values(job.file("magnetic"), 56);
  results.nodes = read_unv_values(job.file("magnetic"), 55);
  read_mesh_points(job.file("pre_geom.nas"), results);
  for (const EXPECTED_ROW &row : rows) {
    if (!row.json_path.empty())
      check_json_row(row, results.json);
    else
      check_post_row(row, results);
  }
  std::fflush(stdout);
}

// A bad-input case: the job stops with exit status 1, and check ends with the lines of
// expected_check.txt (the system's own message, written out by hand).
void run_bad_input_case(const std::string &folder) {
  const std::string expected = read_file(folder + "/expected_check.txt");
  ASSERT_FALSE(expected.empty()) << folder << "/expected_check.txt is empty";
  TempDir job;
  ASSERT_NO_FATAL_FAILURE(copy_job_files(folder, job));
  const BATCH_RUN run = run_batch(job.path(), {});
  const std::string check = read_file(job.file("check"));
  EXPECT_EQ(run.exit_status, 1) << check;
  const bool ends_so = check.size() >= expected.size() &&
                       check.compare(check.size() - expected.size(), expected.size(), expected) == 0;
  std::printf("[%s] check ends with expected_check.txt:\n%s", ends_so ? " ok " : "FAIL", expected.c_str());
  EXPECT_TRUE(ends_so) << "check ends with:\n"
                       << check.substr(check.size() - std::min(check.size(), expected.size() + 200))
                       << "\nexpected it to end with:\n"
                       << expected;
  std::fflush(stdout);
}

class RegressionCase : public ::testing::Test {
public:
  explicit RegressionCase(std::string folder) : folder_(std::move(folder)) {}
  void TestBody() override {
    if (std::filesystem::exists(folder_ + "/expected_check.txt"))
      run_bad_input_case(folder_);
    else
      run_regression_case(folder_);
  }

private:
  std::string folder_;
};

} // namespace
} // namespace tesmora::testing

int main(int argc, char **argv) {
  ::testing::InitGoogleTest(&argc, argv);
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s [GoogleTest flags] <case folder>\n", argv[0]);
    return 2;
  }
  std::filesystem::path path = std::filesystem::absolute(argv[1]).lexically_normal();
  if (path.filename().empty()) path = path.parent_path(); // written with a trailing '/'
  const std::string folder = path.string(), name = path.filename().string();
  ::testing::RegisterTest(
      "RegressionCase", name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
      [folder]() -> ::testing::Test * { return new tesmora::testing::RegressionCase(folder); });
  return RUN_ALL_TESTS();
}
