// The control cards at the head of the input file: release, stages, analysis, potentials,
// gauge, elements, solver settings, integration points and initial state.
#include "input/control_cards.hpp"

#include "equations/solvers/solver_methods.hpp"
#include "input/card_reader.hpp"
#include "job/release.hpp"
#include "job/report.hpp"
#include "mesh/element_catalogue.hpp"
#include "mesh/gauss.hpp"

#include <cmath>
#include <cstring>
#include <numbers>
#include <omp.h>

namespace tesmora {
namespace {

bool in_range(int value, int low, int high) { return value >= low && value <= high; }

void read_release_card(FFILE *file, CONTROL_DATA &control) {
  char word[card_length + 1] = {};
  read_card(file, "%s", "* RLS_NO *\n", word);
  if (!same_prefix(word, "R", 1)) card_error(file);
  control.release = release_of_input(word);
  std::snprintf(control.release_text, sizeof control.release_text, "%.63s", word);
  write_check("**** Execution module: %s  r%s.%d  %s ****\n", module_name, release_number, release_revision,
              release_date);
}

void read_stage_cards(FFILE *file, CONTROL_DATA &control) {
  int *v = card_scratch().card_ints;
  read_card(file, "%d %d", "* PRE_PROCESSING * MAKE_SYSTEM_MATRICES *\n", &v[0], &v[1]);
  if (!in_range(v[0], -1, 1) || !is_flag(v[1])) card_error(file);
  control.PRE_PROCESSING = v[0];
  control.MAKE_SYSTEM_MATRICES = v[1];
  read_card(file, "%d %d %d", "* SOLVE_EQUATION * POST_PROCESSING *\n", &v[0], &v[1], &v[2]);
  if (!is_flag(v[0]) || !is_flag(v[1])) card_error(file);
  control.SOLVE_EQUATION = v[0];
  control.POST_PROCESSING = v[1];
}

// Settles the kind of analysis from the fields of the analysis card.
void settle_analysis(CONTROL_DATA &c) {
  c.is_static = c.STATIC >= 1 ? 1 : 0;
  c.electric_kind = c.STATIC == 2 ? 1 : c.STATIC == 3 ? 2 : 0;
  c.is_thermal = c.STATIC == 4 ? 1 : 0;
  c.ac_mode = 0;
  c.ac_time_domain = 0;
  if (c.AC == 1 || c.AC == 2) {
    c.ac_mode = c.AC;
    c.electric_kind = 0;
  } else if (c.AC == 3) {
    c.ac_mode = 1;
    c.ac_time_domain = 1;
  }
  c.motion_a = c.MOTION == 1 || c.MOTION == 4;
  c.sliding_motion = c.MOTION == 2;
  c.deformation = c.MOTION == 3 || c.MOTION == 4;
  c.moving = c.MOTION != 0;
  c.temp_depend = c.TEMP_DEPEND;
  c.steady_current = c.STEADY_CURRENT;

  if (c.STEADY_CURRENT == 1 && c.TRANSIENT == 0) c.is_static = 1;
  if (c.is_static == 1) {
    c.is_transient = 0;
    c.ac_mode = 0;
    c.non_linear = c.electric_kind != 0 ? 0 : c.NON_LINEAR;
  } else {
    // Neither static nor AC is a transient job, whatever its TRANSIENT field says.
    c.non_linear = c.NON_LINEAR;
    c.electric_kind = 0;
    c.is_transient = c.ac_mode == 0 ? 1 : 0;
  }
  c.non_linear_report = c.non_linear;
}

void read_analysis_card(FFILE *file, CONTROL_DATA &c) {
  int *v = card_scratch().card_ints;
  read_card(file, "%d %d %d %d %d %d %d %d %d",
            "* STATIC * STEP * AC * TRANSIENT * MOTION * NON_LINEAR * TEMP_DEPEND * STEADY_CURRENT *\n",
            &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7], &v[8]);
  // The card has eight fields; a ninth is refused.
  if (card_scratch().fields_read > 8) card_error(file);
  if (!in_range(v[0], 0, 4) || !is_flag(v[1]) || !in_range(v[2], 0, 3) || !is_flag(v[3]) ||
      !in_range(v[4], 0, 4) || !in_range(v[5], 0, 2) || !is_flag(v[6]) || !is_flag(v[7]))
    card_error(file);
  c.STATIC = v[0];
  c.STEP = v[1];
  c.AC = v[2];
  c.TRANSIENT = v[3];
  c.MOTION = v[4];
  c.NON_LINEAR = v[5];
  c.TEMP_DEPEND = v[6];
  c.STEADY_CURRENT = v[7];
  settle_analysis(c);
}

void read_potential_card(FFILE *file, CONTROL_DATA &c) {
  int *v = card_scratch().card_ints;
  read_card(file, "%d%d%d%d", "* POTENTIAL * NODAL_FORCE_OPTION * PHI_OPTION * FIXED_COORDINATE *\n", &v[0],
            &v[1], &v[2], &v[3]);
  if (!in_range(v[0], 0, 4) || !is_flag(v[1]) || !is_flag(v[2]) || !is_flag(v[3])) card_error(file);
  // Per POTENTIAL: uses A, uses phi, coils without own field, no h_matrix.
  constexpr int potential_table[5][4] = {
      {1, 1, 0, 0}, {1, 1, 1, 0}, {0, 0, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
  c.POTENTIAL = v[0];
  c.potential_uses_a = potential_table[v[0]][0];
  c.potential_uses_phi = potential_table[v[0]][1];
  c.no_coil_field = potential_table[v[0]][2];
  c.no_h_matrix = potential_table[v[0]][3];
  c.NODAL_FORCE_OPTION = v[1];
  c.PHI_OPTION = v[2];
  c.motion_fixed_coordinate = v[3];
  c.matrix_fixed_coordinate = v[3];
}

void read_gauge_card(FFILE *file, CONTROL_DATA &c, SOLVER_SETTINGS &s) {
  int *v = card_scratch().card_ints;
  read_card(file, "%d %d %d %d %d %d",
            "* TREE_GAUGE * REGULARIZATION * RENUMBERING * SCALING * LINE_SEARCH * MATRIX_ASYMMETRICITY *\n",
            &v[0], &v[1], &v[2], &v[3], &v[4], &v[5]);
  if (!in_range(v[0], -1, 4) || !in_range(v[1], 0, 2) || !in_range(v[2], -1, 1) || !in_range(v[3], -1, 0) ||
      !is_flag(v[4]) || !is_flag(v[5]))
    card_error(file);
  c.TREE_GAUGE = v[0];
  s.cg_iteration.regularization = v[1];
  s.cg_iteration.renumbering = v[2] + 1;
  s.cg_iteration.scaling = v[3] == -1 ? 0 : 1;
  s.non_linear_iteration.line_search = v[4];
  c.matrix_is_asymmetric = v[5] || c.STEADY_CURRENT ? 1 : 0;
}

// The thread count of the job from PARALLEL_NO: -1 takes every processor, above 1 is limited to
// them, 0 and 1 are serial. A parallel job that comes out with one thread is refused.
void settle_threads(CONTROL_DATA &c) {
  const int processors = omp_get_num_procs();
  c.no_threads = 1;
  c.is_parallel = 0;
  if (c.PARALLEL_NO == -1) {
    c.no_threads = processors;
    c.is_parallel = 1;
  } else if (c.PARALLEL_NO > 1) {
    c.no_threads = c.PARALLEL_NO < processors ? c.PARALLEL_NO : processors;
    c.is_parallel = 1;
  }
  if (c.is_parallel && c.no_threads == 1) {
    write_fault("wrong input - parallel_type\n");
    stop_job(1);
  }
  write_check("**** Number of parallel threads: %d ****\n", c.no_threads);
  write_check(c.PARALLEL_OPTION == 1 ? "**         priority : memory\n" : "**         priority : speed\n");
}

void read_element_cards(FFILE *file, CONTROL_DATA &c) {
  int *v = card_scratch().card_ints;
  read_card(file, "%d %d %d %d %d %d %d %d",
            "* NODE_ORDER * EDGE_ORDER *  METRIC_MOD * QUAD_TRI * CALC_IND *  THIN_ELEM * PARALLEL_NO * "
            "PARALLEL_OPTION\n",
            &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7]);
  if (!in_range(v[0], 0, 2) || !in_range(v[1], 0, 2) || !in_range(v[2], -1, 1) || !in_range(v[3], 0, 2) ||
      !is_flag(v[4]) || !is_flag(v[5]) || v[6] < -1 || !is_flag(v[7]))
    card_error(file);
  c.NODE_ORDER = v[0] == 0 ? 1 : v[0];
  c.EDGE_ORDER = v[1] == 0 ? 1 : v[1];
  c.METRIC_MOD = v[2];
  c.mesh_connection = v[3];
  c.CALC_IND = v[4];
  c.thin_element = v[5];
  c.PARALLEL_NO = v[6];
  c.PARALLEL_OPTION = v[7];
  settle_threads(c);

  if (c.EDGE_ORDER > 1) {
    read_card(file, "%d %d %d", "* EDGE_TYPE * ELIMINATE_HIGHER_ORDER_EDGES * BIRO_STYLE *\n", &v[0], &v[1],
              &v[2]);
    if (!is_flag(v[0]) || !in_range(v[1], -1, 0) || !in_range(v[2], -1, 0)) card_error(file);
    c.EDGE_TYPE = v[0];
    c.eliminate_higher_order_edges = v[1] + 1;
    c.biro_style = v[2] + 1;
  }
}

// The code stored for the SOLVER card's code: 10 and 11 exchanged, then the code an AC job takes
// for it. A code the table doesn't list (the card before release 2.5 checks nothing) is stored as
// unlisted_solver_code, whose row behaves as such a code does.
int stored_solver_code(int card_code, const CONTROL_DATA &c) {
  const int code = find_solver_method(card_code).card_exchange;
  return c.ac_mode != 0 ? find_solver_method(code).ac_code : code;
}

void read_iteration_cards(FFILE *file, CONTROL_DATA &c, SOLVER_SETTINGS &s) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  double theta_motion = 0.0;
  read_card(file, "%lf %lf %lf %d %d %lf %lf %lf %d",
            "* ICCG_CONV * ACCEL_FACTOR * DIV_FACTOR * DIV_ITERATIONS * SOLVER * THETA * THETA_NETWORK * "
            "THETA_MOTION * MAX_ITERATIONS *\n",
            &r[0], &r[1], &r[2], &v[0], &v[1], &r[3], &r[4], &theta_motion, &v[2]);
  const bool known_solver = find_solver_method(v[1]).on_card;
  if (!(r[0] > 0.0 && r[0] < 1.0) || !(r[2] > 0.0) || v[0] < 3 || !known_solver ||
      !(r[3] >= 0.0 && r[3] <= 1.0) || !(r[4] >= 0.0 && r[4] <= 1.0) ||
      !(theta_motion >= 0.0 && theta_motion <= 1.0) || v[2] < 0)
    card_error(file);
  CG_ITERATION &cg = s.cg_iteration;
  cg.convergence = r[0];
  cg.accel_factor = std::fabs(r[1]);
  cg.fixed_accel = r[1] < 0.0 ? 1 : 0;
  cg.div_factor = r[2];
  cg.div_iterations = v[0];
  cg.solver = stored_solver_code(v[1], c);
  cg.max_iterations = v[2];
  s.theta = r[3] == 0.0 ? 0.6666666666666666 : r[3];
  if (c.is_static) s.theta = 1.0;
  s.theta_network = r[4] == 0.0 ? 0.5 : r[4];
  s.theta_motion = theta_motion == 0.0 ? 0.5 : theta_motion;

  NON_LINEAR_ITERATION &nl = s.non_linear_iteration;
  read_card(
      file, "%lf %lf %d %d %lf %lf %d %d",
      "* NON_LINEAR_CONV * RELAXATION * NO_ITERATIONS * INIT_OPTION * ICCG_CONV_RATIO * CHECK_B * DELTA_A "
      "* NON_LINEAR_METHOD *\n",
      &r[0], &r[1], &v[0], &v[1], &r[2], &r[3], &v[2], &v[3]);
  if (!(r[0] > 0.0 && r[0] < 1.0) || !(r[1] > 0.0 && r[1] <= 2.0) || !is_flag(v[1]) || !(r[2] >= 0.0) ||
      !is_flag(v[2]) || !(v[3] >= 0 && v[3] <= 2))
    card_error(file);
  nl.conv = r[0];
  nl.relaxation = nl.line_search ? 1.0 : r[1];
  nl.no_iterations = v[0];
  nl.init_option = v[1];
  nl.iccg_conv_ratio = r[2] == 0.0 ? cg.convergence / nl.conv : r[2];
  nl.check_b = std::fabs(r[3]);
  nl.check_b_relative = r[3] < 0.0 ? 1 : 0;
  nl.delta_a = v[2];
  nl.method = v[3];
}

// Inputs older than release 2.5 hold the solver settings on one card without a header.
void read_old_iteration_card(FFILE *file, CONTROL_DATA &c, SOLVER_SETTINGS &s) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  read_card(file, "%d  %lf  %d %lf %lf", nullptr, &v[0], &r[0], &v[1], &r[1], &r[2]);
  s.cg_iteration.solver = stored_solver_code(v[0], c);
  s.cg_iteration.convergence = r[0];
  s.non_linear_iteration.no_iterations = v[1];
  s.non_linear_iteration.conv = r[1];
  s.non_linear_iteration.relaxation = r[2];
  s.theta = c.is_static ? 1.0 : 0.6666666666666666;
}

void read_points_card(FFILE *file, CONTROL_DATA &c) {
  int *v = card_scratch().card_ints;
  read_card(file, "%d %d %d", "* POINTS_IN_1D * POINT_IN_TRIANGLE * MAT_POINTS * \n", &v[0], &v[1], &v[2]);
  const int t = v[1];
  const bool triangle_rule = t == -3 || t == 1 || t == 3 || t == 4 || t == 6 || t == 7 || t == 12;
  if (!(in_range(v[0], 1, 10) || v[0] == 12) || !triangle_rule || !is_flag(v[2])) card_error(file);
  c.POINTS_IN_1D = v[0];
  c.POINT_IN_TRIANGLE = v[1];
  c.MAT_POINTS = v[2];
  if (c.EDGE_ORDER > 1) c.points_in_tetrahedron = 4;
  // The integration points and the element types of the job follow from these settings.
  free_gauss(active_gauss());
  make_gauss(c.POINTS_IN_1D, c.POINT_IN_TRIANGLE, c.points_in_tetrahedron);
  build_v_element_types(c.NODE_ORDER, c.EDGE_ORDER, c.mesh_connection);
}

void read_initial_card(FFILE *file, CONTROL_DATA &c) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  read_card(file, "%d %d %lf %d", "* INITIAL_STEP * DATA_TYPE * INITIAL_PHASE * MULTI * \n", &v[0], &v[1],
            &r[0], &v[2]);
  if (v[0] < -1 || !in_range(v[1], 0, 3) || v[2] < 0) card_error(file);
  c.INITIAL_STEP = v[0];
  c.DATA_TYPE = v[1];
  c.initial_phase = r[0] * std::numbers::pi / 180.0;
  c.MULTI = v[2];
  if (c.DATA_TYPE == 3) {
    c.initial_step = c.INITIAL_STEP;
    c.data_type = c.INITIAL_STEP == -1 ? 0 : 3;
  } else if (c.DATA_TYPE == 1 || c.ac_mode != 0) {
    c.data_type = 1;
    c.initial_step = c.INITIAL_STEP == -1 ? -1 : 0;
  } else {
    c.initial_step = c.INITIAL_STEP;
    c.data_type = c.DATA_TYPE;
  }
}

} // namespace

void read_job_cards(FFILE *file, CONTROL_DATA &control, SOLVER_SETTINGS &solver) {
  read_release_card(file, control);
  read_stage_cards(file, control);
  read_analysis_card(file, control);
  read_potential_card(file, control);
  read_gauge_card(file, control, solver);
  read_element_cards(file, control);
}

void read_solver_cards(FFILE *file, CONTROL_DATA &control, SOLVER_SETTINGS &solver) {
  if (control.release >= 2.5)
    read_iteration_cards(file, control, solver);
  else
    read_old_iteration_card(file, control, solver);
  solver.integration_coefficients[1] = solver.theta;
  solver.integration_coefficients[3] = solver.theta;
  solver.integration_coefficients[5] = solver.theta * solver.theta_network;
  solver.integration_coefficients[7] = solver.theta * (1.0 - solver.theta_network);
  if (control.NODE_ORDER == 2) {
    control.element_nodes = 27;
    control.surface_nodes = 9;
    control.element_edges = 54;
    control.surface_edges = 12;
  }
  read_points_card(file, control);
  read_initial_card(file, control);
}

} // namespace tesmora
