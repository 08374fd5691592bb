// The JSON results: the document read back by a strict parser written here, the order of sections,
// keys and rows, refused pairs, reset, number precision and non-finite values, the records of the
// solver and the source report, and output.json of a finished and of a stopped job.
#include "analyses/solve_driver.hpp"
#include "equations/iccg.hpp"
#include "job/job_options_writable.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "results/json_report.hpp"
#include "sources/field_sources.hpp"

#include "equations/equation_systems.hpp"
#include "support/strict_json.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numbers>
#include <string>
#include <string_view>
#include <vector>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

// The document of what is recorded now, parsed; the test fails where it is no JSON.
JSON_VALUE parsed(const std::string &text) {
  JSON_VALUE document;
  EXPECT_TRUE(StrictJsonParser(text).parse(document)) << text;
  EXPECT_EQ(document.kind, JSON_VALUE::KIND::object) << text;
  return document;
}

JSON_VALUE recorded_document() {
  std::string text;
  json_write(text, "%18.11e");
  return parsed(text);
}

// The numbers of a key's array (null entries become NaN), or nothing where the key is missing.
std::vector<double> numbers_of(const JSON_VALUE &document, const char *section, const char *key) {
  std::vector<double> values;
  const JSON_VALUE *s = document.member(section);
  const JSON_VALUE *list = s ? s->member(key) : nullptr;
  if (!list) return values;
  EXPECT_EQ(list->kind, JSON_VALUE::KIND::array);
  for (const JSON_VALUE &item : list->items)
    values.push_back(item.kind == JSON_VALUE::KIND::number ? item.number
                                                           : std::numeric_limits<double>::quiet_NaN());
  return values;
}

std::vector<std::string> names_in(const JSON_VALUE &object) { return object.names; }

// The member `name` of an object; a missing one fails the test and reads as an empty value.
const JSON_VALUE &at(const JSON_VALUE &object, const char *name) {
  static const JSON_VALUE missing;
  const JSON_VALUE *found = object.member(name);
  if (!found) ADD_FAILURE() << "no member " << name;
  return found ? *found : missing;
}

} // namespace

TEST(StrictJsonParser, AcceptsJsonAndRejectsWhatJsonForbids) {
  const char *good[] = {"{}", " { \"a\" : [1, -2.5e+3, 0.5, null, true, false, \"x\\\"y\"] } ",
                        "{\"a\": {\"b\": []}}", "[ 1.00000000000e+00,  -2.00000000000e-03]"};
  for (const char *text : good) {
    SCOPED_TRACE(text);
    JSON_VALUE v;
    EXPECT_TRUE(StrictJsonParser(text).parse(v));
  }
  const char *bad[] = {"[1,]",      "{\"a\": 1,}", "{a: 1}",    "[NaN]",
                       "[nan]",     "[inf]",       "[-inf]",    "[01]",
                       "[1.]",      "[+1]",        "{\"a\" 1}", "[1] [2]",
                       "{\"a\": 1", "{'a': 1}",    "[1 2]",     "{\"a\": 1, \"a\": 2}"};
  for (const char *text : bad) {
    SCOPED_TRACE(text);
    JSON_VALUE v;
    EXPECT_FALSE(StrictJsonParser(text).parse(v));
  }
}

TEST(JsonReport, RecordsComeBackUnderTheirSectionsInTableOrderAndRowsInRecordingOrder) {
  json_reset(nullptr, 0);
  // Sections recorded out of their document order, keys of one section interleaved.
  const double force[3] = {1.5, -2.0, 0.25};
  const double total[3] = {3.0, 0.0, -1.0};
  EXPECT_TRUE(json_result("COIL_FORCE", "FORCE", 2, force));
  EXPECT_TRUE(json_source("SOURCES", "AMPLITUDE", 3, 10.0));
  EXPECT_TRUE(json_step("STEP", "TIME", 0.001));
  EXPECT_TRUE(json_int("ICCG", "CONVERGE", 1));
  EXPECT_TRUE(json_iteration("ICCG", "ITERATION", 17));
  EXPECT_TRUE(json_step("ICCG", "RESIDUAL", 4.5e-9));
  EXPECT_TRUE(json_result("FORCE_J_B", "MAT", 12, force));
  EXPECT_TRUE(json_result("FORCE_J_B", "TOTAL", 99, total)); // a plain key ignores the number
  EXPECT_TRUE(json_source("SOURCES", "AMPLITUDE", 1, 20.0));
  EXPECT_TRUE(json_step("STEP", "TIME", 0.002));
  EXPECT_TRUE(json_int("ICCG", "CONVERGE", 0));
  EXPECT_TRUE(json_source("SOURCES", "AMPLITUDE", 3, 30.0));

  const JSON_VALUE document = recorded_document();
  EXPECT_EQ(names_in(document),
            (std::vector<std::string>{"STEP", "ICCG", "SOURCES", "FORCE_J_B", "COIL_FORCE"}));
  EXPECT_EQ(numbers_of(document, "STEP", "TIME"), (std::vector<double>{0.001, 0.002}));
  EXPECT_EQ(names_in(at(document, "ICCG")), (std::vector<std::string>{"CONVERGE", "ITERATION", "RESIDUAL"}));
  const JSON_VALUE &converge = at(at(document, "ICCG"), "CONVERGE");
  ASSERT_EQ(converge.items.size(), 2u);
  EXPECT_EQ(converge.items[0].text, "1"); // whole numbers are written as such
  EXPECT_EQ(converge.items[1].text, "0");
  EXPECT_EQ(numbers_of(document, "ICCG", "ITERATION"), std::vector<double>{17.0});
  EXPECT_EQ(numbers_of(document, "ICCG", "RESIDUAL"), std::vector<double>{4.5e-9});
  // Numbered keys by "%s%d", each its own list in step order.
  EXPECT_EQ(names_in(at(document, "SOURCES")), (std::vector<std::string>{"AMPLITUDE3", "AMPLITUDE1"}));
  EXPECT_EQ(numbers_of(document, "SOURCES", "AMPLITUDE3"), (std::vector<double>{10.0, 30.0}));
  EXPECT_EQ(numbers_of(document, "SOURCES", "AMPLITUDE1"), std::vector<double>{20.0});
  // Vectors are arrays inside the key's list.
  const JSON_VALUE &forces = at(document, "FORCE_J_B");
  EXPECT_EQ(names_in(forces), (std::vector<std::string>{"MAT12", "TOTAL"}));
  ASSERT_EQ(at(forces, "TOTAL").items.size(), 1u);
  const JSON_VALUE &row = at(forces, "TOTAL").items[0];
  ASSERT_EQ(row.items.size(), 3u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(row.items[i].number, total[i]);
  const JSON_VALUE &coil = at(at(document, "COIL_FORCE"), "FORCE2");
  ASSERT_EQ(coil.items.size(), 1u);
  ASSERT_EQ(coil.items[0].items.size(), 3u);
  EXPECT_EQ(coil.items[0].items[1].number, -2.0);
  // No nonlinear iteration was recorded: no NEWTON section at all.
  EXPECT_EQ(document.member("NEWTON"), nullptr);
  json_reset(nullptr, 0);
}

TEST(JsonReport, UnknownPairsAndCallsOfTheWrongKindRecordNothingAndSayNothing) {
  ScopedJobFiles files;
  json_reset(nullptr, 0);
  const double v[2] = {1.0, 2.0};
  EXPECT_FALSE(json_step("STEP", "TIMES", 1.0));
  EXPECT_FALSE(json_step("STEP", "TIM", 1.0)); // whole words, not prefixes
  EXPECT_FALSE(json_step("step", "TIME", 1.0));
  EXPECT_FALSE(json_step("STEPS", "TIME", 1.0));
  EXPECT_FALSE(json_step("ICCG", "AMPLITUDE", 1.0));
  EXPECT_FALSE(json_step(nullptr, "TIME", 1.0));
  EXPECT_FALSE(json_int("STEP", nullptr, 1));
  EXPECT_FALSE(json_step("SOURCES", "AMPLITUDE", 1.0)); // numbered key without a number
  EXPECT_FALSE(json_source("STEP", "TIME", 1, 1.0));    // plain key with a number
  EXPECT_FALSE(json_iteration("STEP", "TIME", 1.0));    // counters of ICCG and NEWTON only
  EXPECT_FALSE(json_result("MAG_FLUX", "TOTAL", 1, v)); // a key of another section
  EXPECT_FALSE(json_source("FORCE_J_B", "FORCE", 1, 1.0));
  std::string text;
  json_write(text, "%18.11e");
  EXPECT_EQ(text, "{}\n");
  EXPECT_EQ(files.check_text(), "");
  EXPECT_EQ(files.stderr_text(), "");
}

TEST(JsonReport, ResetWithKeepZeroDropsEverySection) {
  json_reset(nullptr, 0);
  json_step("STEP", "TIME", 1.0);
  json_step("NEWTON", "RESIDUAL", 0.5);
  json_source("HEAT", "JOULE", 4, 7.0);
  json_reset(nullptr, 1); // keeps
  EXPECT_EQ(names_in(recorded_document()), (std::vector<std::string>{"STEP", "NEWTON", "HEAT"}));
  int owner = 0;
  json_reset(&owner, 0);
  std::string text;
  json_write(text, "%18.11e");
  EXPECT_EQ(text, "{}\n");
  // A fresh start: recorders are made again and hold only the new rows.
  json_step("STEP", "TIME", 2.0);
  const JSON_VALUE document = recorded_document();
  EXPECT_EQ(names_in(document), std::vector<std::string>{"STEP"});
  EXPECT_EQ(numbers_of(document, "STEP", "TIME"), std::vector<double>{2.0});
  json_reset(nullptr, 0);
}

TEST(JsonReport, NumbersKeepTwelveDigitsAndNonFiniteValuesBecomeNull) {
  json_reset(nullptr, 0);
  const double values[] = {std::numbers::pi, -1.0 / 3.0, 6.02214076e23,    -2.5e-300, 1e-310 /* subnormal */,
                           123456.789,       0.0,        -7.0000000000049, 1e300,     2.0 / 7.0};
  for (double v : values) json_step("STEP", "TIME", v);
  json_step("STEP", "PERIOD", std::numeric_limits<double>::quiet_NaN());
  json_step("STEP", "PERIOD", std::numeric_limits<double>::infinity());
  json_step("STEP", "PERIOD", -std::numeric_limits<double>::infinity());
  json_step("STEP", "PERIOD", 1.0);
  json_int("ICCG", "CONVERGE", 2147483647);
  json_int("ICCG", "CONVERGE", -2147483647 - 1);

  const JSON_VALUE document = recorded_document(); // the NaN and infinities parse: they are null
  const JSON_VALUE &times = at(at(document, "STEP"), "TIME");
  ASSERT_EQ(times.items.size(), std::size(values));
  for (std::size_t i = 0; i < std::size(values); ++i) {
    SCOPED_TRACE(times.items[i].text);
    // "%.11e" keeps 12 significant digits: the text is within half a unit of the 12th digit,
    // at most 5e-12 relative, of the value; 1e-11 leaves room for the rounding of strtod.
    expect_close(std::strtod(times.items[i].text.c_str(), nullptr), values[i], 1e-11, 0.0);
    const std::string &text = times.items[i].text; // written by "%18.11e": 11 decimals
    EXPECT_EQ(text.find('e') - text.find('.') - 1, 11u);
  }
  const JSON_VALUE &period = at(at(document, "STEP"), "PERIOD");
  ASSERT_EQ(period.items.size(), 4u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(period.items[i].kind, JSON_VALUE::KIND::null);
  EXPECT_EQ(period.items[3].number, 1.0);
  const JSON_VALUE &whole = at(at(document, "ICCG"), "CONVERGE");
  EXPECT_EQ(whole.items[0].text, "2147483647");
  EXPECT_EQ(whole.items[1].text, "-2147483648");
  json_reset(nullptr, 0);
}

namespace {

// ||b - A x|| / ||b|| from the full rows of the system, independent of the solver's products.
double true_relative_residual(const TEST_SYSTEM &s, const std::vector<double> &b,
                              const std::vector<double> &x) {
  const std::vector<complex> ax = reference_product(s, to_complex(x, false));
  double rr = 0.0, bb = 0.0;
  for (int i = 0; i < s.n; ++i) rr += std::norm(b[i] - ax[i]), bb += b[i] * b[i];
  return std::sqrt(rr / bb);
}

SOLVER_SETTINGS plain_iccg(double convergence, int max_iterations) {
  SOLVER_SETTINGS settings;
  CG_ITERATION &cg = settings.cg_iteration;
  cg.convergence = convergence;
  cg.solver = 0;
  cg.div_factor = 10.0;
  cg.div_iterations = 1000;
  cg.max_iterations = max_iterations;
  return settings;
}

} // namespace

TEST(JsonReport, EverySolveRecordsItsOutcomeOnceUnderIccg) {
  ScopedJobFiles files;
  json_reset(nullptr, 0);
  const TEST_SYSTEM s = make_laplacian(5, 5, 5);
  const std::vector<double> b = to_doubles(reference_product(s, random_solution(s.n, false)), false);

  // 1: to the tolerance; 2: stopped after one iteration; 3: a zero right-hand side. Each result is
  // recorded as the solve stage records it.
  std::vector<double> converged(s.n, 0.0), stopped(s.n, 0.0), zero_rhs(s.n, 1.0), zero_b(s.n, 0.0);
  SPARSE_MATRIX *m = to_sparse_matrix(s, {.solver = 0});
  SOLVE_FIGURES first;
  std::vector<double> rhs = b;
  record_solve_result(solve_sparse_matrix(m, rhs.data(), converged.data(), s.n, plain_iccg(1e-8, 0), first));
  SOLVE_FIGURES second;
  rhs = b;
  record_solve_result(solve_sparse_matrix(m, rhs.data(), stopped.data(), s.n, plain_iccg(1e-8, 1), second));
  SOLVE_FIGURES third;
  record_solve_result(
      solve_sparse_matrix(m, zero_b.data(), zero_rhs.data(), s.n, plain_iccg(1e-8, 0), third));
  free_sparse_matrix(&m);
  ASSERT_EQ(first.status, 1);
  ASSERT_EQ(second.status, 0);

  const JSON_VALUE document = recorded_document();
  EXPECT_EQ(numbers_of(document, "ICCG", "CONVERGE"), (std::vector<double>{1.0, 0.0, 1.0}));
  EXPECT_EQ(numbers_of(document, "ICCG", "ITERATION"),
            (std::vector<double>{double(first.iterations), 1.0, 0.0}));
  const std::vector<double> residual = numbers_of(document, "ICCG", "RESIDUAL");
  ASSERT_EQ(residual.size(), 3u);
  // The converged solve's residual is the recursively updated one; it drifts from the true
  // residual by rounding over the iterations, a few eps * ||b|| against a residual near 1e-8,
  // well inside 1e-4 relative.
  EXPECT_LT(residual[0], 1e-8);
  expect_close(residual[0], true_relative_residual(s, b, converged), 1e-4, 0.0);
  // After one iteration the recursive residual equals the true one up to the rounding of a single
  // update (~1e-15 relative); 1e-10 covers that and the 12 written digits.
  expect_close(residual[1], true_relative_residual(s, b, stopped), 1e-10, 0.0);
  EXPECT_EQ(residual[2], 0.0);
  EXPECT_EQ(document.member("NEWTON"), nullptr);
  json_reset(nullptr, 0);
}

TEST(JsonReport, SourceReportRecordsTheColumnsOfItsLinesPerSourceAndStep) {
  // The source table is process-wide: build it in a child job, which hands the document back
  // through its check file.
  const CHILD_JOB job = run_job_in_child([] {
    json_reset(nullptr, 0);
    static CIRCUIT_PARM coil_circuit{.flux = 0.25, .voltage = 3.0};
    static CIRCUIT_PARM surface_circuit{.flux = 9.0, .voltage = -4.0};
    const SOURCE_KIND kinds[] = {source_coil, source_sufcur, source_mpotsuf, source_elmcur, source_magnet};
    for (SOURCE_KIND kind : kinds) {
      FIELD_SOURCE *s = new_field_source();
      s->type = kind;
      s->series_no = kind == source_sufcur ? 4 : 4 + s->index; // series 4 has two sources, as decks allow
    }
    FIELD_SOURCE *table = field_sources().data; // taken after the last record: growing moves them
    table[0].circuit_parm = &coil_circuit;
    table[1].circuit_parm = &surface_circuit;
    table[3].joule_loss = 12.5;
    open_ffile(run_files().print_out, "w");
    for (int step = 1; step <= 2; ++step) {
      for (int k = 0; k < 5; ++k) table[k].amplitude = 10.0 * step + k;
      print_sources(run_files().print_out->stream, step == 2);
    }
    print_joule_loss(run_files().print_out->stream, 0);
    std::string text;
    json_write(text, "%18.11e");
    write_check("%s", text.c_str());
  });
  ASSERT_EQ(job.exit_status, 0) << job.error;
  const JSON_VALUE document = parsed(job.check);
  EXPECT_EQ(names_in(at(document, "SOURCES")),
            (std::vector<std::string>{"AMPLITUDE1", "VOLTAGE1", "FLUX1", "AMPLITUDE2", "VOLTAGE2",
                                      "AMPLITUDE3", "AMPLITUDE4", "VOLTAGE4", "FLUX4", "AMPLITUDE5"}));
  EXPECT_EQ(numbers_of(document, "SOURCES", "AMPLITUDE1"), (std::vector<double>{10.0, 20.0}));
  EXPECT_EQ(numbers_of(document, "SOURCES", "VOLTAGE1"), (std::vector<double>{3.0, 3.0}));
  EXPECT_EQ(numbers_of(document, "SOURCES", "FLUX1"), (std::vector<double>{0.25, 0.25}));
  EXPECT_EQ(numbers_of(document, "SOURCES", "AMPLITUDE2"), (std::vector<double>{11.0, 21.0}));
  EXPECT_EQ(numbers_of(document, "SOURCES", "VOLTAGE2"), (std::vector<double>{-4.0, -4.0}));
  EXPECT_EQ(numbers_of(document, "SOURCES", "VOLTAGE4"), (std::vector<double>{0.0, 0.0})); // no circuit
  EXPECT_EQ(numbers_of(document, "SOURCES", "AMPLITUDE5"), (std::vector<double>{14.0, 24.0}));
  EXPECT_EQ(numbers_of(document, "HEAT", "SOURCE4"), std::vector<double>{12.5});
  EXPECT_EQ(names_in(at(document, "HEAT")), std::vector<std::string>{"SOURCE4"});
}

TEST(JsonReport, OutputJsonIsWrittenOnceAtTheEndAndStaysEmptyWhenTheJobStops) {
  TempDir folder; // outlives the children, which open output.json in it
  const std::string path = folder.file("output.json");
  auto record_in_child = [&](bool finish) {
    return run_job_in_child([&] {
      writable_job_options().work_directory = folder.path() + "/";
      open_ffile(run_files().print_json, "w");
      json_reset(nullptr, 0);
      json_step("STEP", "TIME", 0.5);
      json_int("ICCG", "CONVERGE", 1);
      if (!finish) stop_job(1);
      close_json_report();
      if (run_files().print_json != nullptr) std::exit(3); // closing drops the record
      close_json_report();                                 // and a second call finds nothing to do
    });
  };

  const CHILD_JOB stopped = record_in_child(false);
  EXPECT_EQ(stopped.exit_status, 1);
  ASSERT_TRUE(file_exists(path));
  EXPECT_EQ(read_file(path), "");

  const CHILD_JOB finished = record_in_child(true);
  EXPECT_EQ(finished.exit_status, 0) << finished.error;
  const std::string text = read_file(path);
  const JSON_VALUE document = parsed(text);
  EXPECT_EQ(names_in(document), (std::vector<std::string>{"STEP", "ICCG"}));
  EXPECT_EQ(numbers_of(document, "STEP", "TIME"), std::vector<double>{0.5});
  EXPECT_EQ(text.back(), '\n'); // and nothing after it: the strict parse takes the whole file
}
