// The field source table: every excitation of a job, its card reader, amplitudes and report.
#pragma once

#include "job/ffile.hpp"

#include <cstdint>
#include <cstdio>
#include <vector>

namespace tesmora {

struct TIME_EVOLUTION;
struct EXTERNAL_FIELD;
struct SPARSE_VECTOR;

// Kinds of field source, by their keyword.
enum SOURCE_KIND {
  source_coil = 0,
  source_elmcur = 1,
  source_magnet = 2,
  source_sufcur = 3,
  source_sdefcoil = 4,
  source_phicoil = 5,
  source_dccurr = 6,
  source_epotsuf = 7,
  source_epotvol = 8,
  source_wgmode = 9,
  source_tempsuf = 10,
  source_heatvol = 11,
  source_mpotsuf = 12,
};

// A current fixed on a surface ("data->field.current_fix").
struct CURRENT_FIX {
  int surface_mat_id = 0;
  double current = 0.0; // A
  int spare = 0;
};

// A potential forced on a surface ("data->field.electric_potential_surface").
struct POTENTIAL_SURFACE {
  int surface_mat_id = 0;
};

// Circuit quantities of a source ("data->circuit_parm").
struct CIRCUIT_PARM {
  double unused = 0.0;
  double flux = 0.0;    // Wb
  double voltage = 0.0; // V
  double current = 0.0; // A
  double circuit = 0.0; // for the circuit's use
};

struct FIELD_SOURCE {
  int series_no = 0;                              // SERIES_NO of the card
  int index = 0;                                  // running number in card order, from 0
  int type = 0;                                   // SOURCE_KIND
  int time_id = 0;                                // TIME_ID of the card
  const TIME_EVOLUTION *time_evolution = nullptr; // bound from time_id
  double amplitude = 0.0;
  EXTERNAL_FIELD *external = nullptr;             // source_coil
  CURRENT_FIX *current_fix = nullptr;             // source_sufcur
  POTENTIAL_SURFACE *potential_surface = nullptr; // source_mpotsuf
  std::int16_t circuit_flag = 0;                  // a circuit or network drives it
  std::int16_t in_rotor = 0;
  CIRCUIT_PARM *circuit_parm = nullptr;
  int motion_id = 0;                      // MOTIN_ID of a coil in a MOTION 1 job
  int potential = 0;                      // POTENTIAL of a coil
  double joule_loss = 0.0;                // W, resistive heat of a conductor source
  SPARSE_VECTOR *source_vector = nullptr; // the load column, once made
  // COIL in a transient or AC job: the column of its potential in the conductors that carry it,
  // -integral of sigma N . A_s (edge rows, and sigma grad L . A_s on phi rows); the load is the
  // rate of change of the amplitude times it.
  SPARSE_VECTOR *conductor_vector = nullptr;
  double *A_source = nullptr; // COIL: circulation of A along each edge of the chain, by chain index;
                              // tag "field_source->field.external->A_source"
};

struct FIELD_SOURCES {
  FIELD_SOURCE *data = nullptr; // no_sources, 0-based; tag "field_sources.data"
  int no_sources = 0;
  int no_coil_elements = 0; // elements of all coils
  int has_coil = 0;
  int no_forced_potentials = 0; // MPOTSUF with a time function
  double region_factor = 1.0;
  double inv_region_parallel = 1.0;
  double *resistances = nullptr; // no_sources; tag "field_sources.resistances"
  double *inductances = nullptr; // no_sources squared, row-major; tag "field_sources.inductance"
};
const FIELD_SOURCES &field_sources();
// The table for the code that makes the sources' load columns and amplitudes.
FIELD_SOURCES &field_sources_writable();

// Reads the source section, from the card whose first word is SOURCE to END.
void read_source_section(FFILE *file, int module_flag);
// A new record at the end of the table (records may move while the table grows).
FIELD_SOURCE *new_field_source();
// The first source of that series, or the job stops with "Field source data series_no %d is not found.".
const FIELD_SOURCE *find_field_source(int series_no);
// Binds each source that has a time function to its evolution.
void bind_field_sources();
// The amplitude of every source at time t; at a jump of a table, side -1 takes the value before
// it, 1 the value after it (time_value).
void set_source_amplitudes(double t, int side = 0);
// The amplitudes of the sources now, in table order.
std::vector<double> source_amplitudes();
// The complex amplitude of a source in an AC job (0 when a circuit drives it): its value at the
// phase omega t of the cycle is Re(P e^{j omega t}).
void source_phasor(const FIELD_SOURCE &source, double phasor[2]);
// The amplitude of every source at one phase of an AC cycle (radians): Re(P e^{j phase}).
void set_source_amplitudes_at_phase(double phase);
// The source table of the report, narrow or wide.
void print_sources(std::FILE *output, int wide);
// Joule heat of the conductor sources.
void print_joule_loss(std::FILE *output, int cycle_average);

} // namespace tesmora
