// The source section of the input, the source table, amplitudes and the source report.
#include "sources/field_sources.hpp"

#include "input/card_reader.hpp"
#include "input/control_data.hpp"
#include "input/time_evolution.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"
#include "materials/material_tables.hpp"
#include "results/json_report.hpp"
#include "sources/coil_cards.hpp"
#include "sources/external_field.hpp"

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

namespace tesmora {
namespace {

FIELD_SOURCES the_sources;

// The first word of the next card, without consuming it; false at the end of the file.
bool peek_keyword(FFILE *file, char *word) {
  const long at = std::ftell(file->stream);
  char line[card_length + 1];
  const bool found = read_line(line, sizeof line, file->stream) != nullptr;
  std::fseek(file->stream, at, SEEK_SET);
  word[0] = '\0';
  if (found) std::sscanf(line, "%s", word);
  return found;
}

// A card the job refuses: its message, then the bad-card stop naming it.
[[noreturn]] void refuse(FFILE *file, const char *message) {
  write_fault("%s", message);
  card_error(file);
}

FIELD_SOURCE &add_source(int type, int series_no, int time_id, int in_rotor, bool with_circuit) {
  FIELD_SOURCE &source = *new_field_source();
  source.type = type;
  source.series_no = series_no;
  source.time_id = time_id;
  source.in_rotor = static_cast<std::int16_t>(in_rotor);
  if (with_circuit) source.circuit_parm = new_record<CIRCUIT_PARM>("data->circuit_parm");
  return source;
}

void read_coil(FFILE *file, const CONTROL_DATA &control) {
  int *v = card_scratch().card_ints;
  char word[card_length + 1];
  read_card(file, "%s %d %d %d %d %d %d",
            "*COIL   * SERIES_NO  *  TIME_ID * NO_ELEMENTS * MOTIN_ID * IN_ROTOR * POTENTIAL *\n", word,
            &v[0], &v[1], &v[2], &v[3], &v[4], &v[5]);
  if (v[0] < 1 || v[1] < 0 || v[2] < 1 || v[3] < 0 || !is_flag(v[4]) || v[5] < 0) card_error(file);
  std::unique_ptr<EXTERNAL_FIELD> field = make_external_field(v[2], control.MOTION == 1 ? v[3] : 0, v[5]);
  FIELD_SOURCE &source = add_source(source_coil, v[0], v[1], v[4], true);
  source.motion_id = control.MOTION == 1 ? v[3] : 0;
  source.potential = v[5];
  the_sources.no_coil_elements += v[2];
  the_sources.has_coil = 1;
  read_coil_cards(file, *field);
  // The table owns the coil for the rest of the run.
  the_sources.data[the_sources.no_sources - 1].external = field.release();
}

// The conductor sources: keyword card with series number, parts and IN_ROTOR.
void read_conductor_source(FFILE *file, const char *header, const char *keyword) {
  int *v = card_scratch().card_ints;
  char word[card_length + 1];
  read_card(file, "%s %d %d %d", header, word, &v[0], &v[1], &v[2]);
  if (v[0] < 1 || v[1] < 1 || !is_flag(v[2])) card_error(file);
  stop_at_unbuilt(UNBUILT::input_data, keyword);
}

void read_elmcur(FFILE *file) {
  int *v = card_scratch().card_ints;
  char word[card_length + 1];
  read_card(file, "%s %d %d %d %d", "*ELMCUR  *SERIES_NO *NO_MAT_IDS *OPTION * IN_ROTOR *\n", word, &v[0],
            &v[1], &v[2], &v[3]);
  if (v[0] < 1 || v[1] < 1 || !is_flag(v[2]) || !is_flag(v[3])) card_error(file);
  stop_at_unbuilt(UNBUILT::input_data, "ELMCUR source");
}

void read_wgmode(FFILE *file) {
  int *v = card_scratch().card_ints;
  char word[card_length + 1];
  read_card(file, "%s %d %d %d %d %d",
            "*WGMODE  *SERIES_NO * SURFACE_MAT_ID * COORD_ID * TYPE * MATCHING *\n", word, &v[0], &v[1],
            &v[2], &v[3], &v[4]);
  if (v[0] < 1 || v[1] < 1 || v[2] < 0 || v[3] < 0 || !is_flag(v[4])) card_error(file);
  stop_at_unbuilt(UNBUILT::input_data, "WGMODE source");
}

void read_magnet(FFILE *file) {
  int *v = card_scratch().card_ints;
  char word[card_length + 1];
  read_card(file, "%s %d %d %d %d", "* MAGNET *  SERIES_NO * TIME_ID *  NO_DATA * INPUT_TYPE *\n", word,
            &v[0], &v[1], &v[2], &v[3]);
  if (v[0] < 1 || v[1] < 0 || v[2] < 1 || v[3] > 5) card_error(file);
  stop_at_unbuilt(UNBUILT::input_data, "MAGNET source");
}

void read_sufcur(FFILE *file, const CONTROL_DATA &control) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  char word[card_length + 1];
  read_card(file, "%s %d %d %d %lf %d %d",
            "*SUFCUR  *  SERIES_NO * TIME_ID * SURFACE_MAT_ID * CURRENT * IN_ROTOR *\n", word, &v[0], &v[1],
            &v[2], &r[0], &v[3], &v[4]);
  if (v[0] < 1 || v[1] < 0 || v[2] < 1 || !is_flag(v[3])) card_error(file);
  if (control.is_static && !control.steady_current)
    refuse(file, "**** SUFCUR cannot be used in static calculation.****\n");
  FIELD_SOURCE &source = add_source(source_sufcur, v[0], v[1], v[3], true);
  source.current_fix = new_record<CURRENT_FIX>("data->field.current_fix");
  source.current_fix->surface_mat_id = v[2];
  source.current_fix->current = r[0] == 0.0 ? 1.0 : r[0];
  switch_gap_static_off();
}

void read_mpotsuf(FFILE *file, const CONTROL_DATA &control) {
  int *v = card_scratch().card_ints;
  char word[card_length + 1];
  read_card(file, "%s %d %d %d", "*MPOTSUF  *  SERIES_NO  * SURFACE_MAT_ID * TIME_ID *\n", word, &v[0], &v[1],
            &v[2]);
  if (v[0] < 1 || v[1] < 1 || v[2] < 0) card_error(file);
  if (control.electric_kind != 0)
    refuse(file, "**** MPOTSUF can be used only in magnetic calculation.****\n");
  FIELD_SOURCE &source = add_source(source_mpotsuf, v[0], v[2], 0, false);
  source.potential_surface = new_record<POTENTIAL_SURFACE>("data->field.electric_potential_surface");
  source.potential_surface->surface_mat_id = v[1];
  if (v[2] != 0) ++the_sources.no_forced_potentials;
}

// Cards of the electrostatic and thermal kinds: refused outside their analysis.
void read_scalar_kind(FFILE *file, const CONTROL_DATA &control, const char *keyword) {
  char word[card_length + 1];
  const bool electric = std::strcmp(keyword, "EPOTSUF") == 0 || std::strcmp(keyword, "EPOTVOL") == 0;
  read_card(file, "%s", nullptr, word);
  if (electric && control.electric_kind == 0)
    refuse(file, "**** EPOTSUF can be used only in electro_static calculation.****\n");
  if (!electric && !control.is_thermal) {
    refuse(file, std::strcmp(keyword, "TEMPSUF") == 0
                     ? "**** TEMPSUF can be used only in thermal_static calculation.****\n"
                     : "**** HEATVOL can be used only in thermal_static calculation.****\n");
  }
  stop_at_unbuilt(UNBUILT::input_data, electric ? "electrostatic source" : "thermal source");
}

void read_network(FFILE *file) {
  double *r = card_scratch().card_reals;
  char word[card_length + 1];
  read_card(file, "%s %lf %lf", "*NETWORK * REGION_FACTOR * REGION_PARALLEL *\n", word, &r[0], &r[1]);
  if (r[0] < 0.0) card_error(file);
  const double factor = r[0] == 0.0 ? 1.0 : r[0];
  const double parallel = r[1] == 0.0 ? 1.0 : r[1];
  the_sources.inv_region_parallel = 1.0 / parallel;
  the_sources.region_factor = factor * the_sources.inv_region_parallel;
  stop_at_unbuilt(UNBUILT::input_data, "NETWORK");
}

} // namespace

const FIELD_SOURCES &field_sources() { return the_sources; }
FIELD_SOURCES &field_sources_writable() { return the_sources; }

FIELD_SOURCE *new_field_source() {
  FIELD_SOURCES &all = the_sources;
  const std::uint64_t count = static_cast<std::uint64_t>(all.no_sources) + 1;
  all.data = static_cast<FIELD_SOURCE *>(
      realloc_named(all.data, count * sizeof(FIELD_SOURCE), "field_sources.data"));
  FIELD_SOURCE &source = all.data[all.no_sources];
  source = FIELD_SOURCE{};
  source.index = all.no_sources++;
  return &source;
}

void read_source_section(FFILE *file, int /*module_flag*/) {
  const CONTROL_DATA &control = control_data();
  char word[card_length + 1];
  do read_card(file, "%s", "* SOURCE *\n", word);
  while (!same_word(word, "SOURCE"));
  for (;;) {
    if (!peek_keyword(file, word))
      read_card(file, "%s", nullptr, word); // ends the job: input is insufficient
    if (same_word(word, "COIL")) {
      read_coil(file, control);
    } else if (same_word(word, "WGMODE")) {
      read_wgmode(file);
    } else if (same_word(word, "ELMCUR")) {
      read_elmcur(file);
    } else if (same_word(word, "SDEFCOIL")) {
      read_conductor_source(file, "*SDEFCOIL  *SERIES_NO *NO_PARTS * IN_ROTOR *\n", "SDEFCOIL source");
    } else if (same_word(word, "PHICOIL")) {
      read_conductor_source(file, "*PHICOIL  *SERIES_NO * NO_PARTS * IN_ROTOR *\n", "PHICOIL source");
    } else if (same_word(word, "DCCURR")) {
      read_conductor_source(file, "*DCCURR  * SERIES_NO * NO_PARTS * IN_ROTOR *\n", "DCCURR source");
    } else if (same_word(word, "MAGNET")) {
      read_magnet(file);
    } else if (same_word(word, "SUFCUR")) {
      read_sufcur(file, control);
    } else if (same_word(word, "MPOTSUF")) {
      read_mpotsuf(file, control);
    } else if (same_word(word, "EPOTSUF") || same_word(word, "EPOTVOL")) {
      read_scalar_kind(file, control, same_word(word, "EPOTSUF") ? "EPOTSUF" : "EPOTVOL");
    } else if (same_word(word, "TEMPSUF") || same_word(word, "HEATVOL")) {
      read_scalar_kind(file, control, same_word(word, "TEMPSUF") ? "TEMPSUF" : "HEATVOL");
    } else if (same_word(word, "CIRCUIT")) {
      read_card(file, nullptr, "*CIRCUIT *\n");
      stop_at_unbuilt(UNBUILT::input_data, "CIRCUIT");
    } else if (same_word(word, "NETWORK")) {
      read_network(file);
    } else if (same_word(word, "END")) {
      read_card(file, "%s", "*END of SOURCE *\n", word);
      return;
    } else if (same_word(word, "ITER")) {
      char name[card_length + 1] = {};
      read_card(file, "%s %s", "*ITER * FILE_NAME *\n", word, name);
      stop_at_unbuilt(UNBUILT::input_data, "ITER coil file");
    } else {
      read_card(file, "%s", nullptr, word);
      card_error(file);
    }
  }
}

const FIELD_SOURCE *find_field_source(int series_no) {
  for (int k = 0; k < the_sources.no_sources; ++k)
    if (the_sources.data[k].series_no == series_no) return &the_sources.data[k];
  write_fault("Field source data series_no %d is not found.\n", series_no);
  stop_job(1);
}

void bind_field_sources() {
  for (int k = 0; k < the_sources.no_sources; ++k) {
    FIELD_SOURCE &source = the_sources.data[k];
    // Conductor sources and ports take their amplitude from their parts or their circuit.
    const bool own_time = ((0x272u >> source.type) & 1u) == 0;
    if (own_time) source.time_evolution = find_time_evolution(source.time_id);
  }
}

void set_source_amplitudes(double t, int side) {
  for (int k = 0; k < the_sources.no_sources; ++k) {
    FIELD_SOURCE &source = the_sources.data[k];
    source.amplitude = source.circuit_flag != 0 ? 0.0 : time_value(t, source.time_evolution, side);
  }
}

std::vector<double> source_amplitudes() {
  std::vector<double> amplitudes(static_cast<std::size_t>(the_sources.no_sources));
  for (int k = 0; k < the_sources.no_sources; ++k)
    amplitudes[static_cast<std::size_t>(k)] = the_sources.data[k].amplitude;
  return amplitudes;
}

void source_phasor(const FIELD_SOURCE &source, double phasor[2]) {
  phasor[0] = phasor[1] = 0.0;
  if (source.circuit_flag == 0) time_phasor(source.time_evolution, phasor);
}

void set_source_amplitudes_at_phase(double phase) {
  for (int k = 0; k < the_sources.no_sources; ++k) {
    FIELD_SOURCE &source = the_sources.data[k];
    double phasor[2];
    source_phasor(source, phasor);
    source.amplitude = phasor[0] * std::cos(phase) - phasor[1] * std::sin(phase);
  }
}

void print_sources(std::FILE *output, int wide) {
  write_report(output, "***  Sources   *********************************************************\n");
  write_report(output, "       ID No.      Amplitude(Current)    Voltage              Flux \n");
  for (int k = 0; k < the_sources.no_sources; ++k) {
    const FIELD_SOURCE &s = the_sources.data[k];
    const double voltage = s.circuit_parm ? s.circuit_parm->voltage : 0.0;
    const double flux = s.circuit_parm ? s.circuit_parm->flux : 0.0;
    const bool three = s.type == source_coil || s.type == source_elmcur || s.type == source_sdefcoil ||
                       s.type == source_phicoil || s.type == source_dccurr || s.type == source_wgmode;
    if (three)
      write_report(output,
                   wide ? "       %5d       %16.8e      %16.8e      %16.8e\n"
                        : "       %5d       %13.5e      %13.5e      %13.5e\n",
                   s.series_no, s.amplitude, voltage, flux);
    else if (s.type == source_sufcur)
      write_report(output,
                   wide ? "       %5d       %16.8e      %16.8e\n" : "       %5d       %13.5e      %13.5e\n",
                   s.series_no, s.amplitude, voltage);
    else
      write_report(output, wide ? "       %5d       %16.8e\n" : "       %5d       %13.5e\n", s.series_no,
                   s.amplitude);
    // The JSON results get the columns the line shows, numbered by the source's place in the table
    // (1-based): series numbers repeat when a series has several sources.
    const int number = k + 1;
    json_source("SOURCES", "AMPLITUDE", number, s.amplitude);
    if (three || s.type == source_sufcur) json_source("SOURCES", "VOLTAGE", number, voltage);
    if (three) json_source("SOURCES", "FLUX", number, flux);
  }
  write_report(output, "\n\n");
}

void print_joule_loss(std::FILE *output, int cycle_average) {
  bool heading = false;
  for (int k = 0; k < the_sources.no_sources; ++k) {
    const FIELD_SOURCE &s = the_sources.data[k];
    const bool conductor = s.type == source_elmcur || s.type == source_sdefcoil || s.type == source_phicoil ||
                           s.type == source_dccurr;
    if (!conductor || s.joule_loss == 0.0) continue;
    if (!heading) {
      write_report(output, cycle_average
                               ? "*** Joule loss in sources ( 1 cycle average ) **********************\n"
                               : "*** Joule loss in sources  **********************\n");
      write_report(output, "        ID No.       Q (W)\n");
      heading = true;
    }
    write_report(output, "         %4d      %11.4e\n", s.series_no, s.joule_loss);
    json_source("HEAT", "SOURCE", k + 1, s.joule_loss); // numbered as in "SOURCES"
  }
}

} // namespace tesmora
