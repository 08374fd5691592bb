// The regression cases' table reader, selections and comparisons: a fault here would let a case
// check fewer values than its table says, or none.
#include "regression/expected_table.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tesmora::testing {
namespace {

const std::string header =
    "quantity,json_path,value,unit,rel_tol,abs_tol,source,select,component,compare,count\n";

TEST(ExpectedTable, ReadsJsonRowsAndPostRowsWithQuotedFields) {
  const std::string text = header +
                           "ICCG residual,ICCG.RESIDUAL[0],1e-9,,0,0,the deck's ICCG_CONV,,,<,\n"
                           "\n"
                           "Bz inside,,2.5,T,0.02,0.001,\"closed form 3 mu_r/(mu_r+2) B0, README §2\","
                           "\"elements;property=1,4;r<=0.05;|x|>1e-9\",Bz,=,>=101\n"
                           "Bz on the axis,,0.01,T,0.01,0,filament loop,nodes;z>=0.003;z<0.017,|B|,>,=2\n";
  std::vector<EXPECTED_ROW> rows;
  ASSERT_EQ(read_expected_table(text, rows), "");
  ASSERT_EQ(rows.size(), 3u);

  EXPECT_EQ(rows[0].line, 2);
  EXPECT_EQ(rows[0].json_path, "ICCG.RESIDUAL[0]");
  EXPECT_EQ(rows[0].value, 1e-9);
  EXPECT_EQ(rows[0].compare, COMPARE::below);

  const EXPECTED_ROW &inside = rows[1];
  EXPECT_EQ(inside.line, 4);
  EXPECT_EQ(inside.source, "closed form 3 mu_r/(mu_r+2) B0, README §2");
  EXPECT_FALSE(inside.selection.nodes);
  EXPECT_EQ(inside.selection.properties, (std::vector<int>{1, 4}));
  EXPECT_FALSE(inside.selection.properties_excluded);
  ASSERT_EQ(inside.selection.bounds.size(), 2u);
  EXPECT_EQ(inside.selection.bounds[0].coordinate, COORDINATE_BOUND::COORDINATE::r);
  EXPECT_EQ(inside.selection.bounds[0].op, COORDINATE_BOUND::OP::less_equal);
  EXPECT_EQ(inside.selection.bounds[0].limit, 0.05);
  EXPECT_EQ(inside.selection.bounds[1].coordinate, COORDINATE_BOUND::COORDINATE::abs_x);
  EXPECT_EQ(inside.selection.bounds[1].op, COORDINATE_BOUND::OP::greater);
  EXPECT_EQ(inside.component, 2);
  EXPECT_EQ(inside.count.kind, COUNT_RULE::KIND::at_least);
  EXPECT_EQ(inside.count.number, 101);
  EXPECT_EQ(inside.rel_tol, 0.02);
  EXPECT_EQ(inside.abs_tol, 0.001);

  const EXPECTED_ROW &axis = rows[2];
  EXPECT_TRUE(axis.selection.nodes);
  EXPECT_EQ(axis.component, 3);
  EXPECT_EQ(axis.compare, COMPARE::above);
  EXPECT_EQ(axis.count.kind, COUNT_RULE::KIND::exactly);
  EXPECT_EQ(axis.count.number, 2);
}

TEST(ExpectedTable, RefusesEveryMalformedTableWithItsLine) {
  const std::string good_post = "q2,,1,T,0,0,closed form,elements,Bx,=,all\n";
  struct BAD {
    std::string text;
    const char *message; // what the answer must hold
  };
  const BAD bad[] = {
      {"quantity,values\n", "line 1: unknown column \"values\""},
      {"quantity,json_path,value,unit,rel_tol,abs_tol,source,select,component,compare\n",
       "\"count\" is missing"},
      {header, "has no rows"},
      {header + "q,,x,T,0,0,s,elements,Bx,=,all\n", "line 2: value is not a number"},
      {header + "q,,1,T,-1,0,s,elements,Bx,=,all\n", "rel_tol"},
      {header + "q,,1,T,0,nan,s,elements,Bx,=,all\n", "abs_tol"},
      {header + "q,,1,T,0,0,,elements,Bx,=,all\n", "its source"},
      {header + "q,,1,T,0,0,s,elements,Bx,=\n", "10 fields"},
      {header + "q,,1,T,0,0,s,\"elements,Bx,=,all\n", "unclosed quote"},
      {header + "q,,1,T,0,0,s,cells,Bx,=,all\n", "\"elements\" or \"nodes\""},
      {header + "q,,1,T,0,0,s,nodes;property=1,Bx,=,all\n", "nodes have no property"},
      {header + "q,,1,T,0,0,s,elements;property=1;property!=2,Bx,=,all\n", "one property term"},
      {header + "q,,1,T,0,0,s,elements;property=a,Bx,=,all\n", "bad property list"},
      {header + "q,,1,T,0,0,s,elements;w<1,Bx,=,all\n", "unknown selection term \"w<1\""},
      {header + "q,,1,T,0,0,s,elements;z=1,Bx,=,all\n", "unknown selection term"},
      {header + "q,,1,T,0,0,s,elements;z<1m,Bx,=,all\n", "unknown selection term"},
      {header + "q,,1,T,0,0,s,elements,Hx,=,all\n", "component is"},
      {header + "q,,1,T,0,0,s,elements,Bx,==,all\n", "compare is"},
      {header + "q,,1,T,0,0,s,elements,Bx,=,>=0\n", "count is"},
      {header + "q,,1,T,0,0,s,elements,Bx,=,some\n", "count is"},
      {header + "q,,1,T,0,0,s,,Bx,=,all\n", "needs select, component and count"},
      {header + "q,A.B,1,T,0,0,s,elements,,=,\n", "leaves select, component and count empty"},
      {header + "q,,1,T,0,0,s,elements,Bx,=,all\n" + good_post + "q,,1,T,0,0,s,elements,Bx,<>,all\n",
       "line 4: compare is"},
  };
  for (const BAD &b : bad) {
    SCOPED_TRACE(b.text);
    std::vector<EXPECTED_ROW> rows;
    EXPECT_NE(read_expected_table(b.text, rows).find(b.message), std::string::npos)
        << read_expected_table(b.text, rows);
  }
}

TEST(ExpectedTable, ComparisonsHoldAtTheirToleranceAndNeverForNaN) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  // "=" is expect_close: the relative part scales with the larger magnitude.
  EXPECT_TRUE(is_met(COMPARE::equal, 2.95, 3.0, 0.02, 0.0));
  EXPECT_FALSE(is_met(COMPARE::equal, 2.93, 3.0, 0.02, 0.0));
  EXPECT_TRUE(is_met(COMPARE::equal, 0.5e-3, 0.0, 0.0, 1e-3));
  EXPECT_FALSE(is_met(COMPARE::equal, -1.5e-3, 0.0, 0.0, 1e-3));
  EXPECT_TRUE(is_close(1.0, 1.0, 0.0, 0.0));
  // The bounds: above v - max(abs, rel |v|), below v + max(abs, rel |v|), both strict.
  EXPECT_TRUE(is_met(COMPARE::above, 0.991, 1.0, 0.01, 0.0));
  EXPECT_FALSE(is_met(COMPARE::above, 0.989, 1.0, 0.01, 0.0));
  EXPECT_TRUE(is_met(COMPARE::below, 1.009, 1.0, 0.01, 0.0));
  EXPECT_FALSE(is_met(COMPARE::below, 1.011, 1.0, 0.01, 0.0));
  EXPECT_FALSE(is_met(COMPARE::below, 1e-9, 1e-9, 0.0, 0.0));
  EXPECT_TRUE(is_met(COMPARE::below, 0.0, 1e-9, 0.0, 0.0));
  EXPECT_TRUE(is_met(COMPARE::above, -1.4, -1.0, 0.5, 0.0)); // |v| scales the bound
  EXPECT_FALSE(is_met(COMPARE::above, -1.6, -1.0, 0.5, 0.0));
  for (const COMPARE compare : {COMPARE::equal, COMPARE::below, COMPARE::above}) {
    EXPECT_FALSE(is_met(compare, nan, 1.0, 1.0, 1.0));
    EXPECT_FALSE(is_met(compare, 1.0, nan, 1.0, 1.0));
  }
  EXPECT_FALSE(is_close(nan, nan, 1.0, 1.0));
}

TEST(ExpectedTable, SelectionsTakeExactlyThePointsTheirTermsDescribe) {
  std::vector<EXPECTED_ROW> rows;
  ASSERT_EQ(read_expected_table(header + "a,,1,T,0,0,s,elements;property=1;r<=0.05,Bx,=,all\n"
                                         "b,,1,T,0,0,s,elements;property!=2,Bx,=,all\n"
                                         "c,,1,T,0,0,s,nodes;|x|<1e-9;|y|<1e-9;z>=0.003;z<=0.017,Bz,=,all\n"
                                         "d,,1,T,0,0,s,elements;x>0.1;y>=0.2;z<0.3;|z|<=0.4,Bz,=,all\n",
                                rows),
            "");
  const double centre[3] = {0.03, 0.03, 0.02}, edge[3] = {0.05, 0.0, 0.0}, out[3] = {0.05, 0.0, 0.001};
  EXPECT_TRUE(is_selected(rows[0].selection, centre, 1));
  EXPECT_TRUE(is_selected(rows[0].selection, edge, 1)); // r = 0.05 exactly
  EXPECT_FALSE(is_selected(rows[0].selection, out, 1));
  EXPECT_FALSE(is_selected(rows[0].selection, centre, 2));
  EXPECT_TRUE(is_selected(rows[1].selection, centre, 1));
  EXPECT_TRUE(is_selected(rows[1].selection, centre, 3));
  EXPECT_FALSE(is_selected(rows[1].selection, centre, 2));

  const double axis[3] = {0.0, -0.0, 0.003}, off_axis[3] = {1e-8, 0.0, 0.01}, high[3] = {0.0, 0.0, 0.0171};
  EXPECT_TRUE(is_selected(rows[2].selection, axis, 0));
  EXPECT_FALSE(is_selected(rows[2].selection, off_axis, 0));
  EXPECT_FALSE(is_selected(rows[2].selection, high, 0));

  const double inside[3] = {0.11, 0.2, -0.4}, on_x[3] = {0.1, 0.2, 0.0}, on_z[3] = {0.2, 0.2, 0.3};
  EXPECT_TRUE(is_selected(rows[3].selection, inside, 0));
  EXPECT_FALSE(is_selected(rows[3].selection, on_x, 0));
  EXPECT_FALSE(is_selected(rows[3].selection, on_z, 0));
}

TEST(ExpectedTable, JsonPathsFindMembersAndItemsOrNothing) {
  JSON_VALUE document;
  ASSERT_TRUE(
      StrictJsonParser(R"({"ICCG": {"CONVERGE": [1], "RESIDUAL": [1e-9, 2e-9]}, "X": 3})").parse(document));
  ASSERT_NE(find_json_value(document, "ICCG.RESIDUAL[1]"), nullptr);
  EXPECT_EQ(find_json_value(document, "ICCG.RESIDUAL[1]")->number, 2e-9);
  EXPECT_EQ(find_json_value(document, "X")->number, 3.0);
  EXPECT_EQ(find_json_value(document, "ICCG.CONVERGE[0]")->number, 1.0);
  for (const char *missing : {"ICCG.RESIDUAL[2]", "ICCG.ITERATION[0]", "X[0]", "ICCG.RESIDUAL[",
                              "ICCG.RESIDUAL[-1]", "ICCG.RESIDUAL[x]", "Y", "ICCG..RESIDUAL"}) {
    SCOPED_TRACE(missing);
    EXPECT_EQ(find_json_value(document, missing), nullptr);
  }
}

TEST(ExpectedTable, JobFilesComeFromTheCaseFolderOrTheRepository) {
  std::vector<JOB_FILE> files;
  ASSERT_EQ(read_job_files(
                "# the deck and the mesh\ninput input\n\npre_geom.nas  examples/sphere/pre_geom.nas # mesh\n",
                "/case", "/repo", files),
            "");
  ASSERT_EQ(files.size(), 2u);
  EXPECT_EQ(files[0].name, "input");
  EXPECT_EQ(files[0].source, "/case/input");
  EXPECT_EQ(files[1].name, "pre_geom.nas");
  EXPECT_EQ(files[1].source, "/repo/examples/sphere/pre_geom.nas");
  for (const char *bad : {"input\n", "input a b\n", "sub/input input\n", "# nothing\n"}) {
    SCOPED_TRACE(bad);
    EXPECT_NE(read_job_files(bad, "/case", "/repo", files), "");
  }
}

} // namespace
} // namespace tesmora::testing
