// CONTROL_DATA: the process-wide settings decoded from the control cards of the input file.
//
// Written once by read_control_data, read everywhere through control_data(). Fields named in
// upper case hold a card's field as given; lower-case fields are the settings derived from them.
#pragma once

#include <vector>

namespace tesmora {

// One row of the time-step table: a run of equal steps.
struct TIME_ROW {
  int no_steps = 0;
  double delta_time = 0.0; // s
};

// Time stepping of a job that isn't AC.
struct TIME_CONTROL {
  std::vector<TIME_ROW> rows; // no_time_rows rows, 0-based
  double initial_time = 0.0;  // s
  int total_steps = 0;        // sum of the rows' steps
  int cycle = 0;              // CYCLE
  int cycle_option = 1;       // CYCLE_OPTION; 0 on the card means 1
  int tp_step = 0;            // magnitude of TP_STEP
  int tp_step_sign = 1;       // sign of TP_STEP
};

// Frequency of an AC job.
struct OMEGA_CONTROL {
  double frequency = 0.0;          // Hz
  double omega = 0.0;              // rad/s, 2 pi frequency
  double frequency_initial = 0.0;  // Hz
  double frequency_last = 0.0;     // Hz
  double frequency_interval = 0.0; // Hz
  int no_frequencies = 0;
};

// Fourier output of a transient job ("POST_FFT").
struct FFT_CONTROL {
  double frequency = 0.0;     // Hz, fundamental
  std::vector<double> orders; // no_orders harmonic orders, 0-based
};

// The time-periodic correction as far as the time cards set it.
struct TIME_PERIODIC_CORRECTION {
  bool exists = false;
  int no_correct = 0;   // magnitude of N_CORRECT
  int correct_sign = 1; // sign of N_CORRECT
  int no_done = 0;
  int n_back = 0;
  int tp_eec_option = 0;
};

// One range of output steps.
struct OUTPUT_STEP_RANGE {
  int initial_step = 0;
  int last_step = 0;
  int step_interval = 1;
};

struct MULTI_OUTPUT_STEPS {
  std::vector<OUTPUT_STEP_RANGE> steps; // no_ranges rows, 0-based
  int time_diff = 3;                    // solutions kept for time differentiation: 2 or 3
  int restart_file_option = 0;
  int all_step_output = 0;
};

// Phases of AC and FFT output, in degrees.
struct OUTPUT_PHASES {
  double initial = 0.0;
  double interval = 0.0;
  double last = 0.0;
};

// Post files selected on the long or short output-selection card.
struct POST_SELECTION {
  int MESH = 0, CURRENT = 0, MAGNETIC = 0, FORCE_J_B = 0, FORCE_NODAL = 0, DISP = 0, ELEM = 0, HEAT = 0;
  int MAGNETIZATION = 0, IRON_LOSS = 0, E = 0, COIL_FORCE = 0;
  int force_J_B_flag = 0;   // FORCE_J_B was given negative
  int force_nodal_flag = 0; // FORCE_NODAL was given negative
};

// Tables printed on output.
struct PRINT_SELECTION {
  int MESH = 0, A = 0, V = 0, B = 0, B_INTEG = 0, J_Q = 0;                // card 16
  int Q_AVERAGE = 0, HEAT = 0, MAG_FLUX = 0, CUR_FLUX = 0;                // card 17
  int FORCE_J_B = 0, FORCE_NODAL = 0, MAGNETIC_ENERGY = 0, IRON_LOSS = 0; // card 18
  int b_integration = 0;                                                  // B integration on
  int b_integration_mode = 0;                                             // B_INTEG - 1
};

struct CONTROL_DATA {
  // Release card.
  char release_text[64] = {}; // the release word, "r12.0" for instance
  double release = 0.0;       // its number

  // Stage switches.
  int PRE_PROCESSING = 1;       // 1 build the model; 0 model from files; -1 read the mesh only
  int MAKE_SYSTEM_MATRICES = 1; // 1 run the matrix stage
  int SOLVE_EQUATION = 1;       // 1 run the solve stage
  int POST_PROCESSING = 1;      // 1 run the post stage

  // Analysis card as given.
  int STATIC = 0, STEP = 0, AC = 0, TRANSIENT = 0, MOTION = 0, NON_LINEAR = 0, TEMP_DEPEND = 0,
      STEADY_CURRENT = 0;
  // The analysis it settles.
  int is_static = 0;      // a static job (magnetic, electric or thermal)
  int electric_kind = 0;  // 0 magnetic; 1, 2 the two electric analyses
  int is_thermal = 0;     // thermal analysis
  int ac_mode = 0;        // 0 none; 1, 2 the AC forms
  int ac_time_domain = 0; // AC 3: steady state in the time domain
  int is_transient = 0;
  int non_linear = 0;        // nonlinear iteration mode
  int non_linear_report = 0; // the value reported
  int temp_depend = 0;
  int steady_current = 0;
  int motion_a = 0, sliding_motion = 0, deformation = 0, moving = 0;

  // Potential card.
  int POTENTIAL = 0;
  int potential_uses_a = 1, potential_uses_phi = 1, no_coil_field = 0, no_h_matrix = 0;
  int NODAL_FORCE_OPTION = 0;
  int PHI_OPTION = 0;
  int motion_fixed_coordinate = 0; // FIXED_COORDINATE for the motion code
  int matrix_fixed_coordinate = 0; // FIXED_COORDINATE for the matrix code

  // Gauge and matrix card.
  int TREE_GAUGE = 0;
  int matrix_is_asymmetric = 0;

  // Element card.
  int NODE_ORDER = 1, EDGE_ORDER = 1; // 0 on the card means 1
  int METRIC_MOD = 0;
  int mesh_connection = 0; // QUAD_TRI; 2 calls for nonconformal faces
  int CALC_IND = 0;
  double thin_element = 0.0; // THIN_ELEM as a thickness switch
  int PARALLEL_NO = 0;
  int PARALLEL_OPTION = 0; // 1: memory before speed
  int no_threads = 1;
  int is_parallel = 0;
  int EDGE_TYPE = 0;
  int eliminate_higher_order_edges = 1; // ELIMINATE_HIGHER_ORDER_EDGES + 1
  int biro_style = 1;                   // BIRO_STYLE + 1
  // Element sizes of the node order: nodes, surface nodes, edges, surface edges.
  int element_nodes = 8, surface_nodes = 4, element_edges = 12, surface_edges = 4;

  // Integration points.
  int POINTS_IN_1D = 0, POINT_IN_TRIANGLE = 0, MAT_POINTS = 0;
  int points_in_tetrahedron = 5; // tetrahedron rule; 4 for higher-order edges

  // Initial state.
  int INITIAL_STEP = 0, DATA_TYPE = 0, MULTI = 0;
  double initial_phase = 0.0; // rad
  int initial_step = 0, data_type = 0;

  // Time and frequency.
  TIME_CONTROL time_control;
  OMEGA_CONTROL omega_control;
  TIME_PERIODIC_CORRECTION time_periodic_correction;
  MULTI_OUTPUT_STEPS multi_output_steps;
  OUTPUT_PHASES output_phases;
  FFT_CONTROL fft_control;

  // Mesh card.
  int INPUT_MESH_FILE = 0, UNIT = 0, NO_MESH = 0, meshless = 0;
  int no_meshes = 1;

  // Post card.
  int POST_DATA_FILE = 0, ELEM_OUT = 0, NODE_OUT = 0, NUMBER_OUTPUT_MATS = 0, AVERAGE = 0, WIDE = 0;
  int SUF_OPTION = 0, POST_COORDINATE = 0, COIL_OPTION = 0, POST_FFT = 0;
  std::vector<int> output_mat_nos; // |NUMBER_OUTPUT_MATS| material ids, 0-based
  POST_SELECTION post;
  PRINT_SELECTION print;

  // Geometry card.
  int GEOMETRY = 0;
  double geometry_delta = 0.0; // m for geometry 1, rad for 2 and 3
  int NO_LAYERS = 0;
  int add_symmetry = 1; // 0 when ADD_SYMMETRY is -1
  double pitch = 0.0, pitch_sin = 0.0, pitch_cos = 1.0;
  int alternative_metric = 0; // the alternative metric function is bound
};

const CONTROL_DATA &control_data();

// Reads the whole input file: the control cards and then each section in its fixed order.
// A missing input file ends the job with "****  file %s cannot be opened **** ".
void read_control_data();

} // namespace tesmora
