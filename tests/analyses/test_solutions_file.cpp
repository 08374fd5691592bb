// The solutions files: header and records round trip, the numbering restored from a header, and
// a restart that finds its start by edge and node ids under a different numbering.
#include "analyses/restart.hpp"
#include "analyses/solutions_file.hpp"
#include "input/control_data_writable.hpp"
#include "job/run_files.hpp"
#include "materials/material_tables.hpp"
#include "mesh/boundary.hpp"
#include "mesh/mesh_builder.hpp"
#include "mesh/model_building.hpp"
#include "mesh/potentials.hpp"
#include "results/output_control.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

class SolutionsFile : public ::testing::Test {
protected:
  void SetUp() override {
    writable_control_data() = CONTROL_DATA{};
    // The material table is read once per test process.
    static bool have_materials = false;
    if (!have_materials)
      read_material_cards(files.open_card_text("materials", "1 0 0\n1 0 0 0 1 0 0 0 0\n"), 1);
    have_materials = true;
    model = MESH_BUILDER::tetrahedra(2, 0.5).build();
    no_unknowns = number_natural_model(model);
  }
  void TearDown() override {
    free_model_arrays(model);
    free_potential_store();
  }
  // The A value of every edge under a solution, by edge id.
  std::vector<double> edge_values(const std::vector<double> &x) const {
    std::vector<double> a(static_cast<std::size_t>(model.no_edges));
    for (int e = 0; e < model.no_edges; ++e) {
      const POTENTIAL_TERMS *t = model.edges[e].potentials;
      for (int k = 0; t && k < t->no_terms; ++k)
        a[static_cast<std::size_t>(e)] +=
            t->terms[k].coefficient * x[static_cast<std::size_t>(t->terms[k].position - 1)];
    }
    return a;
  }
  // Moves every unknown to a new place (a renumbering like the matrix stage's).
  void permute_unknowns(const std::vector<int> &new_position) {
    for (int e = 0; e < model.no_edges; ++e) {
      POTENTIAL_TERMS *t = model.edges[e].potentials;
      for (int k = 0; t && k < t->no_terms; ++k)
        t->terms[k].position = new_position[static_cast<std::size_t>(t->terms[k].position - 1)];
    }
  }
  ScopedJobFiles files;
  MESHED_MODEL model;
  int no_unknowns = 0;
};

TEST_F(SolutionsFile, HeaderAndRecordsComeBackAsWritten) {
  FFILE *file = run_files().solutions;
  open_ffile(file, "w");
  write_solutions_header(file, model, no_unknowns, no_unknowns);
  std::vector<double> x1(static_cast<std::size_t>(no_unknowns)), x2 = x1;
  std::iota(x1.begin(), x1.end(), 1.0);
  std::iota(x2.begin(), x2.end(), -5.0);
  write_solution_record(file, 1, 0.0, x1.data(), no_unknowns);
  write_solution_record(file, 2, 0.25, x2.data(), no_unknowns);
  close_ffile(file);

  open_ffile(file, "r");
  SOLUTIONS_COUNTS counts;
  std::vector<SAVED_VARIABLE> variables;
  ASSERT_TRUE(read_solutions_header(file, counts, &variables));
  EXPECT_EQ(counts.no_nodes, model.no_nodes);
  EXPECT_EQ(counts.no_edges, model.no_edges);
  EXPECT_EQ(counts.no_unknowns, no_unknowns);
  ASSERT_EQ(variables.size(), static_cast<std::size_t>(model.no_edges + model.no_nodes));
  int free_edges = 0;
  for (int e = 0; e < model.no_edges; ++e) {
    EXPECT_EQ(variables[static_cast<std::size_t>(e)].type, solutions_edge_record);
    free_edges += static_cast<int>(variables[static_cast<std::size_t>(e)].terms.size());
  }
  EXPECT_EQ(free_edges, no_unknowns); // no tree, natural boundary: one unknown per edge
  std::vector<double> y(static_cast<std::size_t>(no_unknowns));
  int step = 0;
  double time = -1.0;
  ASSERT_TRUE(read_solution_record(file, step, time, y.data(), no_unknowns));
  EXPECT_EQ(step, 1);
  EXPECT_EQ(y, x1);
  ASSERT_TRUE(read_solution_record(file, step, time, y.data(), no_unknowns));
  EXPECT_EQ(step, 2);
  EXPECT_EQ(time, 0.25);
  EXPECT_EQ(y, x2);
  EXPECT_FALSE(read_solution_record(file, step, time, y.data(), no_unknowns));
  close_ffile(file);
}

TEST_F(SolutionsFile, TheNumberingComesBackFromTheHeaderAndAForeignHeaderIsRefused) {
  FFILE *file = run_files().potentials;
  open_ffile(file, "w");
  write_solutions_header(file, model, no_unknowns, no_unknowns);
  close_ffile(file);
  std::vector<double> x(static_cast<std::size_t>(no_unknowns));
  std::iota(x.begin(), x.end(), 1.0);
  const std::vector<double> before = edge_values(x);
  for (int e = 0; e < model.no_edges; ++e)
    if (model.edges[e].potentials) model.edges[e].potentials->no_terms = 0;
  open_ffile(file, "r");
  EXPECT_EQ(restore_variables(file, model), no_unknowns);
  close_ffile(file);
  EXPECT_EQ(edge_values(x), before);

  model.edges[3].id += 1000; // another model
  open_ffile(file, "r");
  EXPECT_EQ(restore_variables(file, model), -1);
  close_ffile(file);
}

TEST_F(SolutionsFile, ARestartFindsItsStepByIdsUnderANewNumbering) {
  // The earlier run: two steps in old_solutions.
  std::vector<double> x1(static_cast<std::size_t>(no_unknowns)), x2 = x1;
  std::mt19937 random(7);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  for (double &v : x1) v = value(random);
  for (double &v : x2) v = value(random);
  FFILE *file = run_files().old_solutions;
  open_ffile(file, "w");
  write_solutions_header(file, model, no_unknowns, no_unknowns);
  write_solution_record(file, 1, 0.5, x1.data(), no_unknowns);
  write_solution_record(file, 2, 1.0, x2.data(), no_unknowns);
  close_ffile(file);
  const std::vector<double> wanted = edge_values(x2);

  // This run numbers the unknowns otherwise and starts from step 2.
  std::vector<int> new_position(static_cast<std::size_t>(no_unknowns));
  std::iota(new_position.begin(), new_position.end(), 1);
  std::shuffle(new_position.begin(), new_position.end(), random);
  permute_unknowns(new_position);
  writable_control_data().initial_step = 2;
  writable_control_data().data_type = 3;
  open_ffile(run_files().print_out, "w");
  std::vector<double> start(static_cast<std::size_t>(no_unknowns), 99.0);
  read_initial_solution_into(model, start.data(), no_unknowns);
  const std::vector<double> got = edge_values(start);
  for (std::size_t e = 0; e < got.size(); ++e) EXPECT_DOUBLE_EQ(got[e], wanted[e]);
  std::fflush(run_files().print_out->stream);
  const std::string output = read_file(files.dir().file("output"));
  EXPECT_NE(output.find("\n******** initial_solution is read from file old_solutions ************\n"
                        "       time step no. = 2\n"
                        "       time          = 1.000000e+00\n\n"),
            std::string::npos);

  // No restart asked for: a zero start.
  writable_control_data().initial_step = -1;
  read_initial_solution_into(model, start.data(), no_unknowns);
  EXPECT_EQ(start, std::vector<double>(static_cast<std::size_t>(no_unknowns), 0.0));
}

TEST_F(SolutionsFile, ARestartFromAStepTheFileLacksStopsTheJob) {
  std::vector<double> x(static_cast<std::size_t>(no_unknowns), 1.0);
  const CHILD_JOB job = run_job_in_child([&] {
    FFILE *file = run_files().old_solutions;
    open_ffile(file, "w");
    write_solutions_header(file, model, no_unknowns, no_unknowns);
    write_solution_record(file, 1, 0.5, x.data(), no_unknowns);
    close_ffile(file);
    writable_control_data().initial_step = 4;
    writable_control_data().data_type = 3;
    read_initial_solution_into(model, x.data(), no_unknowns);
  });
  EXPECT_EQ(job.exit_status, 1);
  EXPECT_NE(job.check.find(
                "\n******** initial_solution cannot be read from file old_solutions 4, 1 ************\n"),
            std::string::npos);
}

TEST(OutputSteps, RangesSelectTheirStridesAndASharedStepOnce) {
  MULTI_OUTPUT_STEPS ranges;
  ranges.steps = {{1, 10, 3}, {10, 12, 2}};
  std::vector<int> selected;
  for (int step = 1; step <= 13; ++step)
    if (is_output_step(ranges, step)) selected.push_back(step);
  EXPECT_EQ(selected, (std::vector<int>{1, 4, 7, 10, 12}));
  EXPECT_EQ(last_output_step(ranges), 12);
}

} // namespace
