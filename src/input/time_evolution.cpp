// Time evolutions: reading, look-up and evaluation.
#include "input/time_evolution.hpp"

#include "analyses/mechanical_system.hpp"
#include "input/card_reader.hpp"
#include "input/control_data_writable.hpp"
#include "input/expression_parser.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"

#include <cmath>
#include <numbers>

namespace tesmora {
namespace {

TIME_EVOLUTIONS the_time_evolutions;

constexpr double two_pi = 2.0 * std::numbers::pi;

void read_wave_form(FFILE *file, TIME_EVOLUTION &evolution) {
  double *r = card_scratch().card_reals;
  WAVE_FORM &w = *(evolution.wave_form = new_record<WAVE_FORM>("wave_form"));
  read_card(file, "%lf %lf %lf %lf %lf %lf %lf",
            "*   C0    *   C1    *   C2    *   C3     *   C4     *  C5    *   C6    *\n", &w.C0, &w.C1, &w.C2,
            &w.C3, &w.C4, &w.C5, &w.C6);
  read_card(file, "%lf %lf%lf %lf", "*  TEXP   *   TCYCLE  *    PHASE4   *\n", &r[0], &r[1], &r[2], &r[3]);
  if (r[0] < 0.0 || r[1] < 0.0) card_error(file);
  w.TEXP = r[0];
  w.TCYCLE = r[1];
  w.PHASE4 = r[2] * std::numbers::pi / 180.0;
  evolution.amplitude = w.C4;
  evolution.omega = w.TCYCLE == 0.0 ? 0.0 : two_pi / w.TCYCLE;
  evolution.phase = w.PHASE4;
  const double phase = w.PHASE4;
  if (w.C3 == 0.0 && w.C4 != 0.0 && phase != 0.0) {
    w.C3 = -w.C4 * std::sin(phase);
    w.C4 = w.C4 * std::cos(phase);
  } else if (phase != 0.0) {
    // Kept as the wave form has always been read: the sine of the phase, not its cosine.
    w.C4 = w.C4 * std::sin(phase);
  }
}

void read_time_table(FFILE *file, TIME_EVOLUTION &evolution) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  read_card(file, "%d %lf", "* NO_TIME_POINTS * CYCLE *\n", &v[0], &r[0]);
  if (v[0] < 2 || r[0] < 0.0) card_error(file);
  TIME_TABLE &table = *(evolution.table = new_record<TIME_TABLE>("time_table"));
  table.no_points = v[0];
  table.cycle = r[0];
  table.time = calloc_double(static_cast<std::uint64_t>(table.no_points), "time_table.time");
  table.value = calloc_double(static_cast<std::uint64_t>(table.no_points), "time_table.value");
  write_check("*   Time (sec)   *   Value  *\n");
  double smallest = 1e10;
  for (int i = 0; i < table.no_points; ++i) {
    read_card(file, "%lf %lf", nullptr, &table.time[i], &table.value[i]);
    if (i > 0) {
      const double step = std::fabs(table.time[i] - table.time[i - 1]);
      if (step != 0.0 && step < smallest) smallest = step;
    }
  }
  table.epsilon = smallest * 1e-10;
}

void read_sine(FFILE *file, TIME_EVOLUTION &evolution) {
  double *r = card_scratch().card_reals;
  read_card(file, "%lf %lf %lf", "*  AMPLITUDE   *  TCYCLE(s)   *   PHASE(deg)  *\n", &r[0], &r[1], &r[2]);
  if (!(r[1] > 0.0)) card_error(file);
  CONTROL_DATA &control = writable_control_data();
  const bool ac = control.ac_mode != 0;
  evolution.amplitude = r[0];
  evolution.omega = two_pi / r[1];
  evolution.phase = r[2] * std::numbers::pi / 180.0;
  if (ac && control.release >= 7.9) {
    evolution.omega = control.omega_control.omega;
  } else if (ac && !the_time_evolutions.ac_frequency_set) {
    // Older AC inputs give the job's frequency with their first sine.
    control.omega_control.frequency = 1.0 / r[1];
    control.omega_control.omega = evolution.omega;
    the_time_evolutions.ac_frequency_set = 1;
  }
  WAVE_FORM &w = *(evolution.wave_form = new_record<WAVE_FORM>("wave_form"));
  w.C3 = -evolution.amplitude * std::sin(evolution.phase);
  w.C4 = evolution.amplitude * std::cos(evolution.phase);
  w.TCYCLE = evolution.omega == 0.0 ? 0.0 : two_pi / evolution.omega;
  evolution.option = wave_form_kind;
}

void read_psim_link(FFILE *file, TIME_EVOLUTION &evolution) {
  int *v = card_scratch().card_ints;
  read_card(file, "%d %d", "* PSIM_ID* PSIM_OUT_ID \n", &v[0], &v[1]);
  if (v[0] < 1 || v[1] < 0) card_error(file);
  PSIM_LINK &link = *(evolution.psim = new_record<PSIM_LINK>("psim"));
  link.psim_id = v[0];
  link.psim_out_id = v[1];
  ++the_time_evolutions.no_psim_evolutions;
  if (v[1] != 0) ++the_time_evolutions.no_psim_outputs;
  the_time_evolutions.psim_exchange = 1;
}

} // namespace

const TIME_EVOLUTIONS &time_evolutions() { return the_time_evolutions; }

TIME_EVOLUTION *add_time_evolution() {
  TIME_EVOLUTIONS &all = the_time_evolutions;
  const std::uint64_t count = static_cast<std::uint64_t>(all.no_time_evolutions) + 1;
  all.data = static_cast<TIME_EVOLUTION **>(
      realloc_named(all.data, count * sizeof(TIME_EVOLUTION *), all.data ? "time_evolutions.data" : "data"));
  TIME_EVOLUTION *evolution = new_record<TIME_EVOLUTION>("TIME_EVOLUTION");
  all.data[all.no_time_evolutions++] = evolution;
  return evolution;
}

void read_time_evolutions(FFILE *file) {
  int *v = card_scratch().card_ints;
  read_card(file, "%d %d", "* NO_DATA *\n", &v[0], &v[1]);
  if (v[0] < 1) card_error(file);
  if (v[1] != 0) stop_at_unbuilt(UNBUILT::input_data, "external field time table");
  const int count = v[0];
  the_time_evolutions.no_psim_evolutions = 0;
  the_time_evolutions.no_psim_outputs = 0;
  for (int k = 0; k < count; ++k) {
    TIME_EVOLUTION &evolution = *add_time_evolution();
    read_card(file, "%d %d", "* TIME_ID * OPTION *\n", &v[0], &v[1]);
    const int option = v[1];
    const bool known =
        option == 0 || option == 1 || option == 2 || option == 3 || option == 4 || option == 11;
    if (v[0] < 1 || !known) card_error(file);
    evolution.id = v[0];
    evolution.option = option;
    switch (option) {
    case 0:
      read_wave_form(file, evolution);
      break;
    case 1:
      read_time_table(file, evolution);
      break;
    case 2:
      read_sine(file, evolution);
      break;
    case 3:
      evolution.system = read_mechanical_system(file);
      break;
    case 4:
      read_psim_link(file, evolution);
      break;
    default: {
      write_check("* FUNCTION f(t) * t(sec) *\n");
      const char *const variables[] = {"t"};
      evolution.formula = parse_functions(file, variables, nullptr, nullptr, 0);
    }
    }
  }
}

TIME_EVOLUTION *find_time_evolution(int id) {
  if (id == 0) return nullptr;
  const TIME_EVOLUTIONS &all = the_time_evolutions;
  for (int k = 0; k < all.no_time_evolutions; ++k)
    if (all.data[k]->id == id) return all.data[k];
  write_fault("**** Time Evolution ID %d is not found. *******\n", id);
  stop_job(1);
}

TIME_EVOLUTION *find_psim_evolution(int psim_id) {
  const TIME_EVOLUTIONS &all = the_time_evolutions;
  for (int k = 0; k < all.no_time_evolutions; ++k) {
    TIME_EVOLUTION *evolution = all.data[k];
    if (evolution->option == psim_kind && evolution->psim && evolution->psim->psim_id == psim_id)
      return evolution;
  }
  return nullptr;
}

double wave_form_value(double t, const WAVE_FORM &w) {
  // Terms with a zero coefficient are skipped, so that a zero TEXP or TCYCLE is harmless.
  double value = w.C0;
  if (w.C1 != 0.0) value += w.C1 * t;
  const bool uses_exp = w.C2 != 0.0 || w.C5 != 0.0 || w.C6 != 0.0;
  const bool uses_angle = w.C3 != 0.0 || w.C4 != 0.0 || w.C5 != 0.0 || w.C6 != 0.0;
  const double e = uses_exp ? std::exp(-t / w.TEXP) : 0.0;
  const double x = uses_angle ? two_pi * t / w.TCYCLE : 0.0;
  if (w.C2 != 0.0) value += w.C2 * e;
  if (w.C3 != 0.0) value += w.C3 * std::sin(x);
  if (w.C4 != 0.0) value += w.C4 * std::cos(x);
  if (w.C5 != 0.0) value += w.C5 * e * std::sin(x);
  if (w.C6 != 0.0) value += w.C6 * e * std::cos(x);
  return value;
}

double time_table_value(double t, const TIME_TABLE &table, int side) {
  const double h = 0.5 * table.epsilon;
  const double shift = side == 1 ? h : side == -1 ? -h : 0.0;
  double point = t + shift;
  if (table.cycle != 0.0 && (point < 0.0 || point > table.cycle)) {
    point = std::fmod(point, table.cycle);
    if (point < 0.0) point += table.cycle;
  }
  const int last = table.no_points - 1;
  int i = 1;
  if (point > table.time[0]) {
    while (i < last && point > table.time[i]) ++i;
  }
  point -= shift;
  const double t0 = table.time[i - 1];
  const double t1 = table.time[i];
  // A jump at the very start of a table has no slope: take its side's value.
  if (t1 == t0) return side < 0 ? table.value[i - 1] : table.value[i];
  return table.value[i - 1] + (table.value[i] - table.value[i - 1]) / (t1 - t0) * (point - t0);
}

double time_value(double t, const TIME_EVOLUTION *evolution, int side) {
  if (!evolution) return 0.0;
  switch (evolution->option) {
  case wave_form_kind:
    return wave_form_value(t, *evolution->wave_form);
  case time_table_kind:
    return time_table_value(t, *evolution->table, side);
  case mechanical_kind:
    return evolution->system->position;
  case formula_kind:
    return evaluate_function(evolution->formula, nullptr, &t);
  case psim_kind: {
    const PSIM_LINK &p = *evolution->psim;
    if (p.present_time == p.previous_time) return p.present_value;
    // The values stand crosswise to a plain interpolation; that is the exchange's convention.
    return ((t - p.previous_time) * p.present_value + (p.present_time - t) * p.previous_value) /
           (p.present_time - p.previous_time);
  }
  default:
    return 0.0;
  }
}

void time_phasor(const TIME_EVOLUTION *evolution, double phasor[2]) {
  phasor[0] = phasor[1] = 0.0;
  if (!evolution) return;
  if (evolution->option == wave_form_kind) {
    // C3 sin + C4 cos is Re((C4 - j C3) e^{j omega t}); a constant C0 counts as a real amplitude.
    const WAVE_FORM &w = *evolution->wave_form;
    phasor[0] = w.C0 + w.C4;
    phasor[1] = -w.C3;
    return;
  }
  phasor[0] = time_value(0.0, evolution, 0);
}

double polynominal_value(const POLYNOMINAL &p, double x) {
  double value = p.c[p.degree];
  for (int i = p.degree - 1; i >= 0; --i) value = value * x + p.c[i];
  return value;
}

double polynominal_derivative(const POLYNOMINAL &p, double x) {
  if (p.degree == 0) return 0.0;
  double value = p.degree * p.c[p.degree];
  for (int i = p.degree - 1; i >= 1; --i) value = value * x + i * p.c[i];
  return value;
}

} // namespace tesmora
