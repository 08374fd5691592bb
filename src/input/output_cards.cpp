// The mesh card, the post and output-selection cards and the geometry card.
#include "input/card_reader.hpp"
#include "input/control_cards.hpp"
#include "job/report.hpp"
#include "job/terminal.hpp"

#include <cmath>
#include <cstdlib>
#include <numbers>

namespace tesmora {
namespace {

bool in_range(int value, int low, int high) { return value >= low && value <= high; }

void read_mesh_card(FFILE *file, CONTROL_DATA &c) {
  int *v = card_scratch().card_ints;
  read_card(file, "%d %d %d %d", "* INPUT_MESH_FILE *  UNIT  * NO_MESH *  MESHLESS *\n", &v[0], &v[1], &v[2],
            &v[3]);
  const int format = v[0];
  const bool known_format =
      in_range(format, 0, 7) || format == 12 || format == 13 || format == 14 || format == 16;
  if (!known_format || !in_range(v[1], 0, 2)) card_error(file);
  c.INPUT_MESH_FILE = format;
  c.UNIT = v[1];
  c.NO_MESH = v[2];
  c.no_meshes = c.sliding_motion ? (v[2] > 2 ? v[2] : 2) : 1;
  // The meshless switch stands only where the field isn't a sliding job's mesh count.
  c.meshless = 0;
  if (v[2] != 0 && !(c.sliding_motion && v[2] > 1)) {
    if (!is_flag(v[3])) card_error(file);
    c.meshless = v[3];
  }
}

// Steps of all output ranges together.
int count_output_steps(const MULTI_OUTPUT_STEPS &out) {
  int count = 0;
  for (const OUTPUT_STEP_RANGE &range : out.steps)
    count += (range.last_step - range.initial_step) / range.step_interval + 1;
  return count;
}

void read_fft_cards(FFILE *file, CONTROL_DATA &c) {
  if (count_output_steps(c.multi_output_steps) < 3) {
    write_check(" Too few STEP_INTERVAL to convert FFT!\n");
    write_terminal(" Too few STEP_INTERVAL to convert FFT!\n");
    stop_job(1);
  }
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  read_card(file, "%lf %d", "* FREQUENCY * NO_OUTPUT_FREQUENCY_ORDER *\n", &r[0], &v[0]);
  if (!(r[0] > 0.0) || v[0] < 0) card_error(file);
  FFT_CONTROL &fft = c.fft_control;
  fft.frequency = r[0];
  const int no_orders = v[0];
  if (c.AVERAGE == 0) {
    read_card(file, "%lf %lf %lf", "* INITIAL_PHASE * LAST_PHSE * PHASE_INTERVAL \n", &r[0], &r[1], &r[2]);
    if (r[1] < r[0] || !(r[2] > 0.0)) card_error(file);
    c.output_phases = OUTPUT_PHASES{r[0], r[2], r[1]};
  }
  std::vector<int> orders(static_cast<std::size_t>(no_orders));
  read_int_list(file, "* ORDERS *\n", no_orders, orders.data());
  for (int order : orders)
    if (order == 0) card_error(file);
  fft.orders.assign(orders.begin(), orders.end());
}

void read_post_card(FFILE *file, CONTROL_DATA &c) {
  int *v = card_scratch().card_ints;
  if (c.release < 6.0) {
    read_card(file, "%d", "* POST_DATA_FILE *\n", &v[0]);
    if (!in_range(v[0], 0, 4) || v[0] == 3) card_error(file);
    c.POST_DATA_FILE = v[0];
    c.ELEM_OUT = 1;
    c.NODE_OUT = 1;
    return;
  }
  read_card(file, "%d %d %d %d %d %d %d %d %d %d",
            "* POST_DATA_FILE * ELEM_OUT * NODE_OUT * NUMBER_OUTPUT_MATS * AVERAGE * WIDE * SUF_OPTION * "
            "POST_COORDINATE * COIL_OPTION * POST_FFT *\n",
            &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7], &v[8], &v[9]);
  if (!in_range(v[0], 0, 15) || v[0] == 7 || !is_flag(v[1]) || !is_flag(v[2]) || !in_range(v[4], -1, 1) ||
      !in_range(v[5], 0, 2) || !is_flag(v[6]) || v[7] < 0 || !is_flag(v[8]) || !in_range(v[9], -1, 1))
    card_error(file);
  c.POST_DATA_FILE = v[0];
  c.ELEM_OUT = v[1];
  c.NODE_OUT = v[2];
  c.NUMBER_OUTPUT_MATS = v[3];
  c.AVERAGE = v[4];
  c.WIDE = v[5];
  c.SUF_OPTION = v[6];
  c.POST_COORDINATE = v[7];
  c.COIL_OPTION = v[8];
  c.POST_FFT = v[9];
  c.output_mat_nos.assign(static_cast<std::size_t>(std::abs(c.NUMBER_OUTPUT_MATS)), 0);
  read_int_list(file, "* MAT_ID_NOS *\n", std::abs(c.NUMBER_OUTPUT_MATS), c.output_mat_nos.data());
  if (c.POST_FFT != 0) read_fft_cards(file, c);
}

// The post-file selection: the long card from release 6.0 on, the short one before.
void read_post_selection_card(FFILE *file, CONTROL_DATA &c) {
  int *v = card_scratch().card_ints;
  POST_SELECTION &p = c.post;
  p = POST_SELECTION{};
  if (c.release >= 6.0) {
    read_card(file, "%d %d %d %d %d %d %d %d %d %d %d %d",
              "* MESH * CURRENT * MAGNETIC * FORCE_J_B * FORCE_NODAL * DISP * ELEM * HEAT * MAGNETIZATION * "
              "IRON_LOSS *   E   * COIL_FORCE *\n",
              &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7], &v[8], &v[9], &v[10], &v[11]);
    if (!is_flag(v[0]) || !in_range(v[1], 0, 2) || !in_range(v[2], -1, 3) || !in_range(v[3], -2, 2) ||
        !in_range(v[4], -2, 2) || !in_range(v[5], -1, 1) || !in_range(v[6], 0, 2) || !in_range(v[7], 0, 2) ||
        !in_range(v[8], -1, 3) || !in_range(v[9], 0, 2) || !is_flag(v[11]))
      card_error(file);
    p = POST_SELECTION{.MESH = v[0],
                       .CURRENT = v[1],
                       .MAGNETIC = v[2],
                       .FORCE_J_B = std::abs(v[3]),
                       .FORCE_NODAL = std::abs(v[4]),
                       .DISP = v[5],
                       .ELEM = v[6],
                       .HEAT = v[7],
                       .MAGNETIZATION = v[8],
                       .IRON_LOSS = v[9],
                       .E = 0,
                       .COIL_FORCE = v[11],
                       .force_J_B_flag = v[3] < 0 ? 1 : 0,
                       .force_nodal_flag = v[4] < 0 ? 1 : 0};
    // Electric field output: AC 3 jobs take it from E, electric analyses from CURRENT.
    if (c.electric_kind != 0) {
      p.E = p.CURRENT;
      p.CURRENT = 0;
    } else if (c.ac_time_domain) {
      p.E = v[10];
    }
  } else {
    read_card(file, "%d %d %d %d %d", "* MESH * CURRENT * MAGNETIC * FORCE_J_B* FORCE_NODAL *\n", &v[0],
              &v[1], &v[2], &v[3], &v[4]);
    if (!is_flag(v[0]) || !is_flag(v[1]) || !in_range(v[2], -2, 2) || !is_flag(v[3]) || !is_flag(v[4]))
      card_error(file);
    p.MESH = v[0];
    p.CURRENT = v[1];
    p.MAGNETIC = v[2];
    p.FORCE_J_B = v[3];
    p.FORCE_NODAL = v[4];
  }
  if (c.POST_DATA_FILE == 0) p = POST_SELECTION{};
}

void read_print_cards(FFILE *file, CONTROL_DATA &c) {
  int *v = card_scratch().card_ints;
  PRINT_SELECTION &p = c.print;
  read_card(file, "%d %d %d %d %d %d", "*   MESH   *   A   *   V   *   B   *   B_INTEG *    J_Q  *\n", &v[0],
            &v[1], &v[2], &v[3], &v[4], &v[5]);
  if (!is_flag(v[0]) || !is_flag(v[1]) || !is_flag(v[2]) || !is_flag(v[3]) || !in_range(v[4], 0, 3) ||
      !is_flag(v[5]))
    card_error(file);
  p.MESH = v[0];
  p.A = v[1];
  p.V = v[2];
  p.B = v[3];
  p.B_INTEG = v[4];
  p.J_Q = v[5];
  p.b_integration = v[4] > 0 ? 1 : 0;
  p.b_integration_mode = v[4] > 0 ? v[4] - 1 : 0;

  read_card(file, "%d %d %d %d", "*  Q_AVERAGE * HEAT  *  MAG_FLUX  * CUR_FLUX *\n", &v[0], &v[1], &v[2],
            &v[3]);
  if (!is_flag(v[0]) || !is_flag(v[1]) || !is_flag(v[2]) || !is_flag(v[3])) card_error(file);
  p.Q_AVERAGE = v[0];
  p.HEAT = v[1];
  p.MAG_FLUX = v[2];
  p.CUR_FLUX = v[3];

  read_card(file, "%d %d %d %d", "* FORCE_J_B * FORCE_NODAL * MAGNETIC_ENERGY * IRON_LOSS *\n", &v[0], &v[1],
            &v[2], &v[3]);
  if (!is_flag(v[0]) || !in_range(v[1], 0, 2) || !is_flag(v[2]) || !(in_range(v[3], 0, 3) || v[3] == -2))
    card_error(file);
  p.FORCE_J_B = v[0];
  p.FORCE_NODAL = v[1];
  p.MAGNETIC_ENERGY = v[2];
  p.IRON_LOSS = v[3];
}

// The sections that the output selections call for, in their order.
void read_selected_output_sections(const CONTROL_DATA &c) {
  const PRINT_SELECTION &p = c.print;
  if (p.MAG_FLUX) stop_at_unbuilt(UNBUILT::input_data, "flux loop");
  if (p.CUR_FLUX) stop_at_unbuilt(UNBUILT::input_data, "current surface");
  if (p.b_integration || c.post.COIL_FORCE) stop_at_unbuilt(UNBUILT::input_data, "B integration point");
  if (p.FORCE_NODAL == 2) stop_at_unbuilt(UNBUILT::input_data, "nodal force region");
  if (p.IRON_LOSS == 1) stop_at_unbuilt(UNBUILT::input_data, "iron loss");
}

} // namespace

void read_output_cards(FFILE *file, CONTROL_DATA &control) {
  read_mesh_card(file, control);
  read_post_card(file, control);
  if (control.release < 1.85 && control.INPUT_MESH_FILE == 1) control.INPUT_MESH_FILE = 3;
  read_post_selection_card(file, control);
  read_print_cards(file, control);
  read_selected_output_sections(control);
  // A static job prints no averaged heat, and unless it is electric no scalar potential.
  if (control.is_static && !control.steady_current) {
    control.print.Q_AVERAGE = 0;
    if (control.electric_kind == 0) control.print.V = 0;
  }
}

void read_geometry_card(FFILE *file, CONTROL_DATA &c) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  read_card(file, "%d %lf %d  %d %lf",
            "* GEOMETRY * DELTA_Z(m) or DELTA_THETA(deg)* NO_LAYERS * ADD_SYMMETRY * PITCH(M) *\n", &v[0],
            &r[0], &v[1], &v[2], &r[1]);
  const int geometry = v[0];
  if (!(geometry == 0 || geometry == 4 || (in_range(geometry, 1, 3) && r[0] > 0.0))) card_error(file);
  c.GEOMETRY = c.meshless ? 0 : geometry;
  c.add_symmetry = v[2] == -1 ? 0 : 1;
  if (c.GEOMETRY == 1) {
    c.geometry_delta = r[0];
    c.pitch = r[1];
    c.pitch_sin = std::sin(r[1]);
    c.pitch_cos = std::cos(r[1]);
  } else if (c.GEOMETRY == 2 || c.GEOMETRY == 3) {
    c.geometry_delta = r[0] * std::numbers::pi / 180.0;
    c.NO_LAYERS = v[1];
    c.alternative_metric = c.METRIC_MOD != -1 ? 1 : 0;
  }
}

} // namespace tesmora
