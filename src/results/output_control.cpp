// The post stage of a run of steps: output ranges, the walk through solutions, step reports and
// post files.
#include "results/output_control.hpp"

#include "analyses/solutions_file.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "mesh/model.hpp"
#include "results/eddy_quantities.hpp"
#include "results/field_quantities.hpp"
#include "results/json_report.hpp"
#include "results/post_writer.hpp"
#include "sources/field_sources.hpp"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

namespace tesmora {
namespace {

constexpr const char *single_stream_tag = "ffile_CADAS_post";

// One post file of the run and the record its writers keep.
struct POST_FILE {
  FFILE *file = nullptr;
  POST_STREAM out;
};

// The post files of the run: one file per selected output, or with a format that keeps
// everything in one file (post.cad, post.hwascii) a single file that every output points to.
// Made in place and not moved: the outputs point into it.
struct POST_FILES {
  POST_FILE single;                 // the single file, owned here; no file: one file per output
  POST_FILE magnetic;               // the flux density's own file
  POST_FILE current;                // the eddy-current density's
  POST_FILE heat;                   // the Joule heat's
  POST_FILE *to_magnetic = nullptr; // where the flux density goes; null: not written
  POST_FILE *to_current = nullptr;
  POST_FILE *to_heat = nullptr;
};

// Whether the job's analysis has eddy currents, whose outputs (CURRENT, HEAT) it then writes.
bool has_eddy_currents(const CONTROL_DATA &control) { return control.is_transient || control.ac_mode != 0; }

void open_all_post_files(const CONTROL_DATA &control, const POST_FORMAT &format, POST_FILES &files) {
  if (control.POST_DATA_FILE == 0) return;
  const POST_WRITER &writer = format.writer;
  const bool eddy = has_eddy_currents(control);
  const bool magnetic = control.post.MAGNETIC || control.post.MAGNETIZATION;
  const bool current = eddy && control.post.CURRENT;
  const bool heat = eddy && control.post.HEAT;
  if (format.single_file) {
    files.single.file = create_ffile(format.single_file, 0);
    files.single.out = POST_STREAM{.file = open_ffile(files.single.file, "w"), .wide = control.WIDE};
    writer.file_start(files.single.out);
    if (magnetic) files.to_magnetic = &files.single;
    if (current) files.to_current = &files.single;
    if (heat) files.to_heat = &files.single;
    return;
  }
  auto open = [&](bool wanted, POST_FILE &file, FFILE *run_file, POST_FILE *&to) {
    if (!wanted) return;
    file.file = run_file;
    file.out = POST_STREAM{.file = open_ffile(file.file, "w"), .wide = control.WIDE};
    writer.file_start(file.out);
    to = &file;
  };
  // The magnetisation goes to the flux density's file, after B.
  RUN_FILES &run = run_files();
  open(magnetic, files.magnetic, run.post_magnetic, files.to_magnetic);
  open(current, files.current, run.post_current, files.to_current);
  open(heat, files.heat, run.post_heat, files.to_heat);
}

void close_all_post_files(POST_FILES &files) {
  if (files.single.file) {
    close_ffile(files.single.file);
    free_ffile(files.single.file, single_stream_tag);
  } else {
    for (POST_FILE *file : {&files.magnetic, &files.current, &files.heat})
      if (file->file) close_ffile(file->file);
  }
  files = POST_FILES{};
}

// Outputs and report tables the selection cards may ask for that this build doesn't compute:
// said once in the report, not silently dropped.
void report_outputs_not_built(const CONTROL_DATA &control) {
  const POST_SELECTION &post = control.post;
  const PRINT_SELECTION &print = control.print;
  // A static job has no eddy currents: its CURRENT and HEAT would need conductor sources.
  const bool eddy = has_eddy_currents(control);
  const std::pair<int, const char *> outputs[] = {{eddy ? 0 : post.CURRENT, "CURRENT"},
                                                  {post.FORCE_J_B, "FORCE_J_B"},
                                                  {post.FORCE_NODAL, "FORCE_NODAL"},
                                                  {post.DISP, "DISP"},
                                                  {post.ELEM, "ELEM"},
                                                  {eddy ? 0 : post.HEAT, "HEAT"},
                                                  {post.IRON_LOSS, "IRON_LOSS"},
                                                  {post.E, "E"},
                                                  {post.COIL_FORCE, "COIL_FORCE"}};
  const std::pair<int, const char *> tables[] = {{print.A, "A"},
                                                 {print.V, "V"},
                                                 {print.B_INTEG, "B_INTEG"},
                                                 {print.Q_AVERAGE, "Q_AVERAGE"},
                                                 {eddy ? 0 : print.HEAT, "HEAT"},
                                                 {print.MAG_FLUX, "MAG_FLUX"},
                                                 {print.CUR_FLUX, "CUR_FLUX"},
                                                 {print.FORCE_J_B, "FORCE_J_B"},
                                                 {print.FORCE_NODAL, "FORCE_NODAL"},
                                                 {print.MAGNETIC_ENERGY, "MAGNETIC_ENERGY"},
                                                 {print.IRON_LOSS, "IRON_LOSS"}};
  std::FILE *output = run_files().print_out->stream;
  for (const auto &[on, name] : outputs)
    if (on && control.POST_DATA_FILE != 0)
      write_report(output,
                   "**** The %s post output is not part of this build of the program; it is skipped. ****\n",
                   name);
  for (const auto &[on, name] : tables)
    if (on)
      write_report(
          output, "**** The %s report is not part of this build of the program; it is skipped. ****\n", name);
}

// The post data sets of one state: B (and M) of the solution, and in an eddy-current job J of the
// rates and the elements' Joule losses (the rate's own in a transient step, the cycle average in
// AC).
void write_post_step(POST_FILES &files, const POST_FORMAT &format, const MESHED_MODEL &first_part,
                     const double *solution, const EDDY_RATE *rate, const double *losses,
                     COIL_FIELD_SHAPES &coil_shapes, int step, double time) {
  const CONTROL_DATA &control = control_data();
  if (control.POST_DATA_FILE == 0) return;
  const POST_WRITER &writer = format.writer;
  if (files.to_magnetic) {
    COIL_FIELD_AT_POINTS coil;
    make_coil_field_at_points(first_part, coil, &coil_shapes);
    if (control.post.MAGNETIC)
      flux_density_output(files.to_magnetic->out, writer, first_part, solution, coil, step, time);
    if (control.post.MAGNETIZATION)
      magnetization_output(files.to_magnetic->out, writer, first_part, solution, coil, step, time);
    free_coil_field_at_points(coil);
  }
  if (!rate) return;
  if (files.to_current) current_density_output(files.to_current->out, writer, first_part, *rate, step, time);
  if (files.to_heat) heat_output(files.to_heat->out, writer, first_part, losses, step, time);
}

[[noreturn]] void stop_at_missing_step(int step) {
  write_fault("****  time step %d cannot be read from file_solutions ****\n", step);
  stop_job(1);
}

} // namespace

bool is_output_step(const MULTI_OUTPUT_STEPS &ranges, int step) {
  for (const OUTPUT_STEP_RANGE &r : ranges.steps)
    if (step >= r.initial_step && step <= r.last_step && (step - r.initial_step) % r.step_interval == 0)
      return true;
  return false;
}

int last_output_step(const MULTI_OUTPUT_STEPS &ranges) {
  int last = 0;
  for (const OUTPUT_STEP_RANGE &r : ranges.steps) last = std::max(last, r.last_step);
  return last;
}

void write_step_report(int step, double time) {
  const CONTROL_DATA &control = control_data();
  std::FILE *output = run_files().print_out->stream;
  const std::string stars(104, '*');
  write_report(output, "%s\n", stars.c_str());
  write_report(
      output, "*                            Step No. %5d    Time %18.10e sec                             *\n",
      step, time);
  write_report(output, "%s\n\n", stars.c_str());
  json_step("STEP", "TIME", time);
  if (!control.POST_FFT) print_sources(output, control.WIDE);
  std::fflush(output);
}

void transient_output_control(MESHED_MODEL &first_part, const POST_FORMAT &format) {
  const CONTROL_DATA &control = control_data();
  RUN_FILES &run = run_files();
  open_ffile(run.solutions, "r");
  SOLUTIONS_COUNTS counts;
  if (!read_solutions_header(run.solutions, counts, nullptr)) stop_at_missing_step(1);
  const int n = counts.no_variables;
  const std::uint64_t length = static_cast<std::uint64_t>(std::max(n, 1));
  double *solution = calloc_double(length, "solution in transient_output_control");
  // The step before (the start of the run before the first: zero, the sources as they stood),
  // for the rates of the eddy currents.
  const bool eddy = control.is_transient != 0;
  double *previous = eddy ? calloc_double(length, "old_solution in transient_output_control") : nullptr;
  double *rate = eddy ? calloc_double(length, "t_dot_of_solution in transient_output_control") : nullptr;
  double previous_time = control.time_control.initial_time;
  set_source_amplitudes(previous_time, -1);
  std::vector<double> previous_amplitudes = source_amplitudes();
  POST_FILES files;
  open_all_post_files(control, format, files);
  report_outputs_not_built(control);
  // The coils' fields per unit amplitude, made once for the steps.
  COIL_FIELD_SHAPES coil_shapes;
  const std::unique_ptr<COIL_POTENTIALS> coil_potentials =
      eddy ? std::make_unique<COIL_POTENTIALS>(first_part) : nullptr;
  const MULTI_OUTPUT_STEPS &ranges = control.multi_output_steps;
  const int last = last_output_step(ranges);
  int step = 0;
  double time = 0.0;
  int read_steps = 0;
  while (step < last) {
    if (!read_solution_record(run.solutions, step, time, solution, n)) {
      // A run that solved fewer steps than the ranges ask for ends its output here, normally.
      write_report(run.print_out->stream, "\n****  time step %d cannot be read from file_solutions ****\n",
                   read_steps + 1);
      break;
    }
    ++read_steps;
    set_source_amplitudes(time);
    std::vector<double> amplitudes = source_amplitudes();
    std::vector<double> source_rates(amplitudes.size());
    const double delta_t = time - previous_time;
    if (eddy && delta_t > 0.0) {
      for (int i = 0; i < n; ++i) rate[i] = (solution[i] - previous[i]) / delta_t;
      for (std::size_t s = 0; s < amplitudes.size(); ++s)
        source_rates[s] = (amplitudes[s] - previous_amplitudes[s]) / delta_t;
    }
    if (is_output_step(ranges, step)) {
      write_step_report(step, time);
      const EDDY_RATE state{rate, source_rates.data(), coil_potentials.get()};
      const EDDY_RATE *eddy_rate = eddy ? &state : nullptr;
      TaggedArray<double> losses;
      if (eddy) {
        losses = element_losses(first_part, {state});
        report_joule_loss(joule_loss_by_material(first_part, losses.data()), control.print.HEAT != 0, false);
      }
      write_post_step(files, format, first_part, solution, eddy_rate, losses.data(), coil_shapes, step, time);
    }
    if (eddy) {
      for (int i = 0; i < n; ++i) previous[i] = solution[i];
      previous_time = time;
      previous_amplitudes = std::move(amplitudes);
    }
  }
  close_ffile(run.solutions);
  close_all_post_files(files);
  free_named(solution, "solution in transient_output_control");
  if (previous) free_named(previous, "old_solution in transient_output_control");
  if (rate) free_named(rate, "t_dot_of_solution in transient_output_control");
}

void AC_output_control(MESHED_MODEL &first_part, const POST_FORMAT &format) {
  const CONTROL_DATA &control = control_data();
  RUN_FILES &run = run_files();
  open_ffile(run.solutions, "r");
  SOLUTIONS_COUNTS counts;
  if (!read_solutions_header(run.solutions, counts, nullptr)) stop_at_missing_step(0);
  const int n = counts.no_variables;
  const std::uint64_t length = 2 * static_cast<std::uint64_t>(std::max(n, 1));
  double *c_solution = calloc_double(length, "c_solution in AC_output_control");
  double *solution = calloc_double(length, "solution in AC_output_control");
  double *rates = calloc_double(length, "t_dot_of_solution in AC_output_control");
  int step = 0;
  double time = 0.0;
  if (!read_solution_record(run.solutions, step, time, c_solution, 2 * n)) stop_at_missing_step(0);
  close_ffile(run.solutions);
  const FIELD_SOURCES &sources = field_sources();
  std::vector<double> phasors(2 * static_cast<std::size_t>(sources.no_sources));
  for (int s = 0; s < sources.no_sources; ++s)
    source_phasor(sources.data[s], &phasors[2 * static_cast<std::size_t>(s)]);
  const double omega = control.omega_control.omega;
  // The instantaneous rates at a phase theta: -omega (Re X sin theta + Im X cos theta), for the
  // unknowns in `rate` and for the sources in `source_rates`.
  std::vector<double> source_rates[2];
  auto rates_at = [&](double theta, double *rate, std::vector<double> &source_rate) {
    const double sine = std::sin(theta), cosine = std::cos(theta);
    for (int i = 0; i < n; ++i)
      rate[i] = -omega * (c_solution[2 * i] * sine + c_solution[2 * i + 1] * cosine);
    source_rate.resize(static_cast<std::size_t>(sources.no_sources));
    for (std::size_t s = 0; s < source_rate.size(); ++s)
      source_rate[s] = -omega * (phasors[2 * s] * sine + phasors[2 * s + 1] * cosine);
  };
  POST_FILES files;
  open_all_post_files(control, format, files);
  report_outputs_not_built(control);
  // The cycle average of the Joule heat: the mean of the states at 0 and 90 degrees.
  rates_at(0.0, rates, source_rates[0]);
  rates_at(std::numbers::pi / 2.0, rates + n, source_rates[1]);
  COIL_FIELD_SHAPES coil_shapes;
  const COIL_POTENTIALS coil_potentials(first_part);
  const std::vector<EDDY_RATE> cycle{EDDY_RATE{rates, source_rates[0].data(), &coil_potentials},
                                     EDDY_RATE{rates + n, source_rates[1].data(), &coil_potentials}};
  const TaggedArray<double> losses = element_losses(first_part, cycle);
  report_joule_loss(joule_loss_by_material(first_part, losses.data()), control.print.HEAT != 0, true);
  const OUTPUT_PHASES &phases = control.output_phases;
  int phase_step = 0;
  // A tolerance of a millionth of the interval keeps the last phase despite rounding.
  for (double phase = phases.initial; phase <= phases.last + 1e-6 * phases.interval;
       phase += phases.interval) {
    const double theta = phase * std::numbers::pi / 180.0;
    const double sine = std::sin(theta), cosine = std::cos(theta);
    for (int i = 0; i < n; ++i) solution[i] = c_solution[2 * i] * cosine - c_solution[2 * i + 1] * sine;
    std::vector<double> source_rate;
    rates_at(theta, solution + n, source_rate);
    set_source_amplitudes_at_phase(theta);
    ++phase_step;
    write_step_report(phase_step, phase);
    const EDDY_RATE state{solution + n, source_rate.data(), &coil_potentials};
    write_post_step(files, format, first_part, solution, &state, losses.data(), coil_shapes, phase_step,
                    phase);
  }
  close_all_post_files(files);
  free_named(c_solution, "c_solution in AC_output_control");
  free_named(solution, "solution in AC_output_control");
  free_named(rates, "t_dot_of_solution in AC_output_control");
}

} // namespace tesmora
