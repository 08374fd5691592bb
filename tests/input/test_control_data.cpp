// The control cards: transcripts in check, decoded settings of a static, an AC and a transient
// deck, the derived rules, and the card errors of out-of-range fields.
#include "input/card_reader.hpp"
#include "input/control_cards.hpp"
#include "input/coordinates.hpp"
#include "input/regular_mesh.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <numbers>
#include <omp.h>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

// Reads every control card of a deck (the sections behind them are not read).
void read_control_cards(FFILE *file, CONTROL_DATA &control, SOLVER_SETTINGS &solver) {
  read_job_cards(file, control, solver);
  read_solver_cards(file, control, solver);
  read_time_cards(file, control);
  read_output_cards(file, control);
  read_geometry_card(file, control);
}

} // namespace

TEST(ControlCards, StaticDeckTranscriptHasEveryHeaderAboveItsCard) {
  ScopedJobFiles files;
  const std::string deck = example_deck("static");
  FFILE *file = files.open_card_text("input", deck);
  CONTROL_DATA control;
  SOLVER_SETTINGS solver;
  read_control_cards(file, control, solver);
  read_coordinates(file);

  // The headers of the control cards of a static job, as the cards are documented to users.
  const std::vector<std::string> headers = {
      "* RLS_NO *",
      "* PRE_PROCESSING * MAKE_SYSTEM_MATRICES *",
      "* SOLVE_EQUATION * POST_PROCESSING *",
      "* STATIC * STEP * AC * TRANSIENT * MOTION * NON_LINEAR * TEMP_DEPEND * STEADY_CURRENT *",
      "* POTENTIAL * NODAL_FORCE_OPTION * PHI_OPTION * FIXED_COORDINATE *",
      "* TREE_GAUGE * REGULARIZATION * RENUMBERING * SCALING * LINE_SEARCH * MATRIX_ASYMMETRICITY *",
      "* NODE_ORDER * EDGE_ORDER *  METRIC_MOD * QUAD_TRI * CALC_IND *  THIN_ELEM * PARALLEL_NO * "
      "PARALLEL_OPTION",
      "* ICCG_CONV * ACCEL_FACTOR * DIV_FACTOR * DIV_ITERATIONS * SOLVER * THETA * THETA_NETWORK * "
      "THETA_MOTION * "
      "MAX_ITERATIONS *",
      "* NON_LINEAR_CONV * RELAXATION * NO_ITERATIONS * INIT_OPTION * ICCG_CONV_RATIO * CHECK_B * DELTA_A * "
      "NON_LINEAR_METHOD *",
      "* POINTS_IN_1D * POINT_IN_TRIANGLE * MAT_POINTS * ",
      "* INITIAL_STEP * DATA_TYPE * INITIAL_PHASE * MULTI * ",
      "* NO_STEPS * INITIAL_TIME(s) *  DELTA_TIME(s) * NO_DATA * CYCLE * N_CORRECT * N_BACK * TP_EEC_OPTION "
      "* "
      "TP_STEP * CYCLE_OPTION *",
      "* INITIAL_STEP * LAST_STEP * STEP_INTERVAL * TIME_DIFF * RESTART_FILE_OPTION * ALL_STEP_OUTPUT * CONT "
      "*",
      "* INPUT_MESH_FILE *  UNIT  * NO_MESH *  MESHLESS *",
      "* POST_DATA_FILE * ELEM_OUT * NODE_OUT * NUMBER_OUTPUT_MATS * AVERAGE * WIDE * SUF_OPTION * "
      "POST_COORDINATE * COIL_OPTION * POST_FFT *",
      "* MESH * CURRENT * MAGNETIC * FORCE_J_B * FORCE_NODAL * DISP * ELEM * HEAT * MAGNETIZATION * "
      "IRON_LOSS *   "
      "E   * COIL_FORCE *",
      "*   MESH   *   A   *   V   *   B   *   B_INTEG *    J_Q  *",
      "*  Q_AVERAGE * HEAT  *  MAG_FLUX  * CUR_FLUX *",
      "* FORCE_J_B * FORCE_NODAL * MAGNETIC_ENERGY * IRON_LOSS *",
      "* GEOMETRY * DELTA_Z(m) or DELTA_THETA(deg)* NO_LAYERS * ADD_SYMMETRY * PITCH(M) *",
      "*COORDINATE * NO_COORDINATES *",
      "*  COORD_ID  *   TYPE      *    X0    *    Y0     *   Z0    *",
      "*                           *    EX_X  *    EX_Y   *   EX_Z  *",
      "*                           *    EZ_X  *    EZ_Y   *   EZ_Z  *",
  };
  std::vector<std::string> cards = cards_of(deck);
  ASSERT_GT(cards.size(), headers.size()); // the sections behind the frames are not read here
  cards.resize(headers.size());
  std::vector<std::string> expected;
  for (std::size_t k = 0; k < cards.size(); ++k) {
    expected.push_back(headers[k]);
    expected.push_back(cards[k]);
    if (k == 0) expected.push_back("**** Execution module: TESMORA  r12.0.17  April 13, 2020 ****");
    if (k == 6) {
      expected.push_back("**** Number of parallel threads: 1 ****");
      expected.push_back("**         priority : speed");
    }
  }
  EXPECT_EQ(split_lines(files.check_text()), expected);
  EXPECT_EQ(file->record_count, static_cast<int>(cards.size()));
}

TEST(ControlCards, StaticDeckSettings) {
  ScopedJobFiles files;
  FFILE *file = files.open_card_text("input", example_deck("static"));
  CONTROL_DATA c;
  SOLVER_SETTINGS s;
  read_control_cards(file, c, s);
  EXPECT_EQ(c.release, 12.0);
  EXPECT_STREQ(c.release_text, "r12.0");
  // STATIC 1 together with AC 1 is a static job: the AC mode is cleared.
  EXPECT_EQ(c.is_static, 1);
  EXPECT_EQ(c.ac_mode, 0);
  EXPECT_EQ(c.is_transient, 0);
  EXPECT_EQ(c.electric_kind, 0);
  // THETA 0.8 on the card; a static job integrates with 1.0.
  EXPECT_EQ(s.theta, 1.0);
  EXPECT_EQ(s.integration_coefficients[1], 1.0);
  EXPECT_EQ(s.integration_coefficients[5], 0.5); // theta * THETA_NETWORK (0 means 0.5)
  EXPECT_EQ(s.integration_coefficients[7], 0.5);
  EXPECT_EQ(s.cg_iteration.convergence, 1.0e-8);
  EXPECT_EQ(s.cg_iteration.accel_factor, 1.2);
  EXPECT_EQ(s.cg_iteration.fixed_accel, 1);
  EXPECT_EQ(s.cg_iteration.renumbering, 2);
  EXPECT_EQ(s.cg_iteration.scaling, 1);
  EXPECT_EQ(s.cg_iteration.max_iterations, 20000);
  EXPECT_EQ(s.non_linear_iteration.check_b, 0.01);
  EXPECT_EQ(s.non_linear_iteration.check_b_relative, 1);
  // ICCG_CONV_RATIO 0 means ICCG_CONV / NON_LINEAR_CONV.
  expect_close(s.non_linear_iteration.iccg_conv_ratio, 1.0e-8 / 1.0e-4, 1e-15, 0.0); // rounding only
  EXPECT_EQ(c.potential_uses_a, 1);
  EXPECT_EQ(c.potential_uses_phi, 1);
  EXPECT_EQ(c.TREE_GAUGE, 1);
  EXPECT_EQ(c.no_threads, 1);
  EXPECT_EQ(c.is_parallel, 0);
  EXPECT_EQ(c.element_nodes, 8);
  EXPECT_EQ(c.element_edges, 12);
  EXPECT_EQ(c.points_in_tetrahedron, 5);
  EXPECT_EQ(c.time_control.total_steps, 1);
  ASSERT_EQ(c.time_control.rows.size(), 1u);
  EXPECT_EQ(c.time_control.rows[0].delta_time, 1.0);
  EXPECT_EQ(c.time_control.cycle_option, 1);
  ASSERT_EQ(c.multi_output_steps.steps.size(), 1u);
  EXPECT_EQ(c.multi_output_steps.time_diff, 3);
  EXPECT_EQ(c.INPUT_MESH_FILE, 3);
  EXPECT_EQ(c.no_meshes, 1);
  EXPECT_EQ(c.post.MESH, 1);
  EXPECT_EQ(c.post.ELEM, 1);
  // A static magnetic job prints neither averaged heat nor scalar potentials.
  EXPECT_EQ(c.print.Q_AVERAGE, 0);
  EXPECT_EQ(c.print.V, 0);
  EXPECT_EQ(c.print.B, 1);
  EXPECT_EQ(c.add_symmetry, 1);
}

TEST(ControlCards, AcDeckSettings) {
  ScopedJobFiles files;
  FFILE *file = files.open_card_text("input", example_deck("ac"));
  CONTROL_DATA c;
  SOLVER_SETTINGS s;
  read_control_cards(file, c, s);
  EXPECT_EQ(c.is_static, 0);
  EXPECT_EQ(c.ac_mode, 1);
  EXPECT_EQ(c.is_transient, 0);
  EXPECT_EQ(s.cg_iteration.solver, 12); // solver 1 in an AC job
  EXPECT_EQ(s.cg_iteration.scaling, 0); // SCALING -1
  EXPECT_EQ(s.cg_iteration.renumbering, 1);
  EXPECT_EQ(s.theta, 0.6666666666666666); // THETA 0 means 2/3
  EXPECT_EQ(s.theta_network, 0.5);
  EXPECT_EQ(s.non_linear_iteration.iccg_conv_ratio, 0.01);
  EXPECT_EQ(s.non_linear_iteration.method, 1);
  EXPECT_EQ(c.NODAL_FORCE_OPTION, 1);
  EXPECT_EQ(c.PARALLEL_OPTION, 1);
  EXPECT_EQ(c.CALC_IND, 1);
  // DATA_TYPE 2 in an AC job reads as 1, with the initial step 0.
  EXPECT_EQ(c.data_type, 1);
  EXPECT_EQ(c.initial_step, 0);
  expect_close(c.initial_phase, std::numbers::pi / 6.0, 1e-15, 0.0); // 30 degrees, rounding only
  EXPECT_EQ(c.omega_control.frequency, 50.0);
  expect_close(c.omega_control.omega, 100.0 * std::numbers::pi, 1e-15, 0.0); // rounding only
  EXPECT_EQ(c.output_phases.initial, 0.0);
  EXPECT_EQ(c.output_phases.last, 90.0);
  EXPECT_EQ(c.output_phases.interval, 15.0);
  EXPECT_EQ(c.time_control.rows.size(), 1u);
  EXPECT_EQ(c.output_mat_nos, (std::vector<int>{3, 7}));
  EXPECT_EQ(c.post.CURRENT, 2);
  EXPECT_EQ(c.post.FORCE_J_B, 1);
  EXPECT_EQ(c.post.force_J_B_flag, 1);
  EXPECT_EQ(c.post.E, 0); // only AC 3 and electric jobs write E
  EXPECT_EQ(c.print.Q_AVERAGE, 1);
  EXPECT_EQ(c.print.J_Q, 1);
}

TEST(ControlCards, TransientDeckSettings) {
  ScopedJobFiles files;
  FFILE *file = files.open_card_text("input", example_deck("transient_nonlinear"));
  CONTROL_DATA c;
  SOLVER_SETTINGS s;
  read_control_cards(file, c, s);
  // Neither STATIC nor AC: a transient job, whatever its TRANSIENT field says.
  EXPECT_EQ(c.is_transient, 1);
  EXPECT_EQ(c.is_static, 0);
  EXPECT_EQ(c.non_linear, 1);
  EXPECT_EQ(s.non_linear_iteration.line_search, 1);
  EXPECT_EQ(s.non_linear_iteration.relaxation, 1.0); // line search forces 1.0
  EXPECT_EQ(s.cg_iteration.solver, 0);
  EXPECT_EQ(s.theta, 0.6666666666666666);
  expect_close(s.integration_coefficients[5], 0.6666666666666666 * 0.6, 1e-15, 0.0); // rounding only
  expect_close(s.integration_coefficients[7], 0.6666666666666666 * 0.4, 1e-15, 0.0); // rounding only
  // PARALLEL_NO 8 is limited to the processors of the machine.
  const int processors = omp_get_num_procs();
  EXPECT_EQ(c.no_threads, processors < 8 ? processors : 8);
  EXPECT_EQ(c.is_parallel, 1);
  EXPECT_NE(
      files.check_text().find("**** Number of parallel threads: " + std::to_string(c.no_threads) + " ****\n"),
      std::string::npos);
  EXPECT_EQ(c.EDGE_ORDER, 2);
  EXPECT_EQ(c.EDGE_TYPE, 1);
  EXPECT_EQ(c.eliminate_higher_order_edges, 0);
  EXPECT_EQ(c.biro_style, 1);
  EXPECT_EQ(c.points_in_tetrahedron, 4);
  EXPECT_EQ(c.data_type, 1);
  EXPECT_EQ(c.initial_step, -1);
  ASSERT_EQ(c.time_control.rows.size(), 2u);
  EXPECT_EQ(c.time_control.total_steps, 60);
  EXPECT_EQ(c.time_control.rows[1].delta_time, 5.0e-4);
  EXPECT_EQ(c.time_control.tp_step, 5);
  EXPECT_EQ(c.time_control.tp_step_sign, -1);
  EXPECT_TRUE(c.time_periodic_correction.exists);
  EXPECT_EQ(c.time_periodic_correction.no_correct, 2);
  EXPECT_EQ(c.time_periodic_correction.correct_sign, -1);
  ASSERT_EQ(c.multi_output_steps.steps.size(), 2u);
  EXPECT_EQ(c.multi_output_steps.steps[1].initial_step, 20);
  EXPECT_EQ(c.multi_output_steps.steps[1].step_interval, 4);
  EXPECT_EQ(c.multi_output_steps.time_diff, 2);
  EXPECT_EQ(c.multi_output_steps.restart_file_option, 1);
  EXPECT_EQ(c.NUMBER_OUTPUT_MATS, -3);
  EXPECT_EQ(c.output_mat_nos, (std::vector<int>{1, 2, 5}));
  EXPECT_EQ(c.fft_control.frequency, 50.0);
  EXPECT_EQ(c.fft_control.orders, (std::vector<double>{1, 3, 5}));
  EXPECT_EQ(c.output_phases.last, 180.0);
  EXPECT_EQ(c.post.FORCE_NODAL, 2);
  EXPECT_EQ(c.post.force_nodal_flag, 1);
  EXPECT_EQ(c.post.MAGNETIC, 2);
  EXPECT_EQ(c.add_symmetry, 0);
  EXPECT_EQ(c.print.Q_AVERAGE, 1); // kept: not a static job
}

TEST(ControlCards, OldReleasesReadTheirOwnCardForms) {
  ScopedJobFiles files;
  // Release 2.0: one solver card without a header, short post cards; mesh format 1 reads as 3.
  const std::string deck = "R1.8\n1 1\n1 1\n1 0 0 0 0 0 0 0\n0 0 0 0\n0 0 0 0 0 0\n0 0 0 0 0 0 0 0\n"
                           "10 1e-6 20 1e-3 1.2\n2 3 0\n0 0 0 0\n1 0 1 0\n1 1 1 3 0 0 0\n"
                           "1 0 0 0\n2\n1 1 -2 0 1\n0 0 0 0 0 0\n0 0 0 0\n0 0 0 0\n0 0 0 0 0\n";
  FFILE *file = files.open_card_text("input", deck);
  CONTROL_DATA c;
  SOLVER_SETTINGS s;
  read_control_cards(file, c, s);
  EXPECT_EQ(s.cg_iteration.solver, 11);
  EXPECT_EQ(s.cg_iteration.convergence, 1e-6);
  EXPECT_EQ(s.non_linear_iteration.no_iterations, 20);
  EXPECT_EQ(s.non_linear_iteration.relaxation, 1.2);
  EXPECT_EQ(c.INPUT_MESH_FILE, 3);
  EXPECT_EQ(c.POST_DATA_FILE, 2);
  EXPECT_EQ(c.ELEM_OUT, 1);
  EXPECT_EQ(c.NODE_OUT, 1);
  EXPECT_EQ(c.post.MAGNETIC, -2);
  EXPECT_EQ(c.post.FORCE_NODAL, 1);
}

TEST(RegularMeshCards, VelocityDivisionsAndMaterialList) {
  ScopedJobFiles files;
  FFILE *file = files.open_card_text("input", "2\n1.5 4 3\n1 2\n3\n-0.5 2 0\n");
  read_regular_meshes(file);
  ASSERT_EQ(regular_meshes().size(), 2u);
  EXPECT_EQ(regular_meshes()[0].velocity, 1.5);
  EXPECT_EQ(regular_meshes()[0].ndiv, 4);
  EXPECT_EQ(regular_meshes()[0].mat_ids, (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(regular_meshes()[1].velocity, -0.5);
  EXPECT_TRUE(regular_meshes()[1].mat_ids.empty());
  EXPECT_EQ(file->record_count, 5);
}
