// The time cards: steps of a transient or static job with their output ranges, or the
// frequency and phases of an AC job.
#include "input/card_reader.hpp"
#include "input/control_cards.hpp"
#include "job/report.hpp"
#include "job/terminal.hpp"

#include <cstdlib>
#include <numbers>

namespace tesmora {
namespace {

void read_step_cards(FFILE *file, CONTROL_DATA &c) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  read_card(
      file, "%d %lf %lf %d %d %d %d %d %d %d",
      "* NO_STEPS * INITIAL_TIME(s) *  DELTA_TIME(s) * NO_DATA * CYCLE * N_CORRECT * N_BACK * TP_EEC_OPTION "
      "* TP_STEP * CYCLE_OPTION *\n",
      &v[0], &r[0], &r[1], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7]);
  const int no_data = v[1] == 0 ? 1 : v[1];
  // A cycle needs a single row of steps.
  const bool cycle_ok = v[2] == 0 || (v[2] >= 1 && no_data == 1);
  if (v[0] < 1 || !(r[1] > 0.0) || v[1] < 0 || !cycle_ok || v[4] < 0 || !(v[5] <= 1 || v[5] == 3) || v[7] < 0)
    card_error(file);
  TIME_CONTROL &t = c.time_control;
  t.rows.assign(1, TIME_ROW{v[0], r[1]});
  t.initial_time = r[0];
  t.total_steps = v[0];
  t.cycle = v[2];
  t.tp_step = std::abs(v[6]);
  t.tp_step_sign = v[6] < 0 ? -1 : 1;
  t.cycle_option = v[7] == 0 ? 1 : v[7];
  TIME_PERIODIC_CORRECTION &tp = c.time_periodic_correction;
  tp = TIME_PERIODIC_CORRECTION{};
  if (v[3] != 0) {
    tp.exists = true;
    tp.no_correct = std::abs(v[3]);
    tp.correct_sign = v[3] < 0 ? -1 : 1;
    tp.n_back = v[4];
    tp.tp_eec_option = v[5];
  }
  for (int row = 1; row < no_data; ++row) {
    read_card(file, "%d %lf", "* NO_STEPS *  DELTA_TIME(s) * \n", &v[0], &r[0]);
    if (v[0] < 1 || !(r[0] > 0.0)) card_error(file);
    t.rows.push_back(TIME_ROW{v[0], r[0]});
    t.total_steps += v[0];
  }
  if (tp.exists && (tp.tp_eec_option < 0 || tp.tp_eec_option == 3))
    stop_at_unbuilt(UNBUILT::input_data, "time-periodic correction");
  read_output_step_cards(file, c);
}

void read_phase_card(FFILE *file, CONTROL_DATA &c) {
  double *r = card_scratch().card_reals;
  read_card(file, "%lf %lf %lf", "* INITIAL_PHASE * LAST_PHSE * PHASE_INTERVAL \n", &r[0], &r[1], &r[2]);
  if (r[1] < r[0] || !(r[2] > 0.0)) card_error(file);
  c.output_phases = OUTPUT_PHASES{r[0], r[2], r[1]};
}

void read_frequency_cards(FFILE *file, CONTROL_DATA &c) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  c.time_control.rows.assign(1, TIME_ROW{1, 0.0});
  c.time_control.total_steps = 1;
  OMEGA_CONTROL &w = c.omega_control;
  w = OMEGA_CONTROL{};
  if (c.release >= 7.9) {
    read_card(file, "%lf %lf %lf %d", "* FREQUENCY *\n", &r[0], &r[1], &r[2], &v[0]);
    if (!(r[0] > 0.0) || !(r[1] == 0.0 || r[1] >= r[0]) || r[2] < 0.0 || v[0] < 0) card_error(file);
    w.frequency = r[0];
    w.omega = 2.0 * std::numbers::pi * r[0];
    w.frequency_initial = r[0];
    w.frequency_last = r[1];
    w.frequency_interval = r[2];
    w.no_frequencies = v[0];
  } else {
    // Older inputs take the frequency from the first sine time evolution; a value given here
    // counts for nothing, which its writer may not know.
    read_card(file, "%d", "* FREQUENCY *\n", &v[0]);
    if (v[0] != 0)
      write_terminal("warning: %s = %d is ignored by input release %s\n", "FREQUENCY", v[0], c.release_text);
  }
  read_phase_card(file, c);
}

} // namespace

void read_output_step_cards(FFILE *file, CONTROL_DATA &c) {
  int *v = card_scratch().card_ints;
  read_card(
      file, "%d %d %d %d %d %d %d",
      "* INITIAL_STEP * LAST_STEP * STEP_INTERVAL * TIME_DIFF * RESTART_FILE_OPTION * ALL_STEP_OUTPUT * "
      "CONT *\n",
      &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6]);
  const int total = c.time_control.total_steps;
  if (v[0] < 1 || v[0] > total || v[1] < v[0] || v[2] < 1 || !is_flag(v[4]) || v[5] < 0 || v[6] < 0)
    card_error(file);
  MULTI_OUTPUT_STEPS &out = c.multi_output_steps;
  out.steps.assign(1, OUTPUT_STEP_RANGE{v[0], v[1], v[2]});
  out.time_diff = v[3] == 2 ? 2 : 3;
  out.restart_file_option = v[4];
  out.all_step_output = v[5];
  const int no_ranges = v[6] == 0 ? 1 : v[6];
  for (int range = 1; range < no_ranges; ++range) {
    read_card(file, "%d %d %d", "* INITIAL_STEP * LAST_STEP * STEP_INTERVAL *\n", &v[0], &v[1], &v[2]);
    if (v[0] < out.steps.back().last_step || v[1] < v[0] || v[2] < 1) card_error(file);
    out.steps.push_back(OUTPUT_STEP_RANGE{v[0], v[1], v[2]});
  }
}

void read_time_cards(FFILE *file, CONTROL_DATA &control) {
  if (control.ac_mode != 0)
    read_frequency_cards(file, control);
  else
    read_step_cards(file, control);
}

} // namespace tesmora
