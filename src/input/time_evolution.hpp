// Time evolutions: functions of time, picked by TIME_ID, by which sources and motions scale.
#pragma once

#include "job/ffile.hpp"

namespace tesmora {

struct MECHANICAL_SYSTEM;
struct PARSED_FUNCTION;

// Kinds of time evolution (the OPTION field; a sine is stored as a wave form).
enum TIME_EVOLUTION_KIND {
  wave_form_kind = 0,
  time_table_kind = 1,
  mechanical_kind = 3,
  psim_kind = 4,
  formula_kind = 11
};

// C0 + C1 t + C2 e + C3 sin x + C4 cos x + C5 e sin x + C6 e cos x, x = 2 pi t / TCYCLE,
// e = exp(-t / TEXP).
struct WAVE_FORM {
  double C0 = 0, C1 = 0, C2 = 0, C3 = 0, C4 = 0, C5 = 0, C6 = 0;
  double TEXP = 0.0;   // s
  double TCYCLE = 0.0; // s
  double PHASE4 = 0.0; // rad
};

// Piecewise linear in time, optionally cyclic. Equal successive times make a jump.
struct TIME_TABLE {
  int no_points = 0;
  double *time = nullptr;  // no_points, 0-based; tag "time_table.time"
  double *value = nullptr; // no_points, 0-based; tag "time_table.value"
  double epsilon = 0.0;    // 1e-10 of the smallest non-zero time step of the table
  double cycle = 0.0;      // period, 0: none
};

// Link to an external circuit simulator, filled each step by the exchange.
struct PSIM_LINK {
  int psim_id = 0;
  int psim_out_id = 0;
  double value = 0.0;
  double previous_time = 0.0, present_time = 0.0;
  double previous_value = 0.0, present_value = 0.0;
};

struct TIME_EVOLUTION {
  int id = 0;             // TIME_ID
  int option = 0;         // TIME_EVOLUTION_KIND
  double amplitude = 0.0; // the largest single term
  double omega = 0.0;     // rad/s, or 0
  double phase = 0.0;     // rad
  // The record of the kind; only the one of `option` is set.
  WAVE_FORM *wave_form = nullptr;
  TIME_TABLE *table = nullptr;
  MECHANICAL_SYSTEM *system = nullptr;
  PSIM_LINK *psim = nullptr;
  PARSED_FUNCTION *formula = nullptr;
};

// The job's evolutions; records never move once added.
struct TIME_EVOLUTIONS {
  TIME_EVOLUTION **data = nullptr; // no_time_evolutions pointers, 0-based; tag "time_evolutions.data"
  int no_time_evolutions = 0;
  int no_psim_evolutions = 0;
  int no_psim_outputs = 0;
  int psim_exchange = 0;    // a simulator link exists
  int ac_frequency_set = 0; // an old AC input took its frequency from a sine
};

const TIME_EVOLUTIONS &time_evolutions();

// Reads the time-evolution section. In an AC job a sine takes the job's omega; in an AC input
// older than release 7.9 the first sine sets the job's frequency instead.
void read_time_evolutions(FFILE *file);
// A new empty record at the end of the table.
TIME_EVOLUTION *add_time_evolution();
// Id 0 gives null; an unknown id ends the job with "**** Time Evolution ID %d is not found.".
TIME_EVOLUTION *find_time_evolution(int id);
// The simulator-link evolution with that id, or null.
TIME_EVOLUTION *find_psim_evolution(int psim_id);

// The value at t. `side` selects the limit at a jump of a table: 1 from the right, -1 from the
// left, 0 none. A null evolution is 0. Allocates nothing.
double time_value(double t, const TIME_EVOLUTION *evolution, int side);
// The complex amplitude P of an evolution in an AC job, such that its value at the phase omega t
// is Re(P e^{j omega t}): for a wave form (C0 + C4, -C3), its sine and cosine at the job's
// frequency (a constant term counts as a real amplitude); any other kind its value at t = 0, real.
// A null evolution is 0.
void time_phasor(const TIME_EVOLUTION *evolution, double phasor[2]);
// The parts of time_value, for callers that hold the record of the kind.
double wave_form_value(double t, const WAVE_FORM &wave);
double time_table_value(double t, const TIME_TABLE &table, int side);

// A polynomial sum c[i] x^i (tag "POLYNOMINAL").
struct POLYNOMINAL {
  int degree = 0;
  double *c = nullptr; // degree + 1 coefficients; tag "POLYNOMINAL->c"
};
double polynominal_value(const POLYNOMINAL &p, double x);
double polynominal_derivative(const POLYNOMINAL &p, double x);

} // namespace tesmora
