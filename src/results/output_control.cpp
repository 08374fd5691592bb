// The post stage of a run of steps: output ranges, the walk through solutions, step reports and
// post files.
#include "results/output_control.hpp"

#include "analyses/solutions_file.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "mesh/model.hpp"
#include "results/field_quantities.hpp"
#include "results/json_report.hpp"
#include "results/post_writer.hpp"
#include "sources/field_sources.hpp"

#include <algorithm>
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
  POST_FILE *to_magnetic = nullptr; // where the flux density goes; null: not written
};

void open_all_post_files(const CONTROL_DATA &control, const POST_FORMAT &format, POST_FILES &files) {
  if (control.POST_DATA_FILE == 0) return;
  const POST_WRITER &writer = format.writer;
  if (format.single_file) {
    files.single.file = create_ffile(format.single_file, 0);
    files.single.out = POST_STREAM{.file = open_ffile(files.single.file, "w"), .wide = control.WIDE};
    writer.file_start(files.single.out);
    if (control.post.MAGNETIC || control.post.MAGNETIZATION) files.to_magnetic = &files.single;
    return;
  }
  // The magnetisation goes to the flux density's file, after B.
  if (control.post.MAGNETIC || control.post.MAGNETIZATION) {
    files.magnetic.file = run_files().post_magnetic;
    files.magnetic.out = POST_STREAM{.file = open_ffile(files.magnetic.file, "w"), .wide = control.WIDE};
    writer.file_start(files.magnetic.out);
    files.to_magnetic = &files.magnetic;
  }
}

void close_all_post_files(POST_FILES &files) {
  if (files.single.file) {
    close_ffile(files.single.file);
    free_ffile(files.single.file, single_stream_tag);
  } else if (files.magnetic.file) {
    close_ffile(files.magnetic.file);
  }
  files.single = files.magnetic = POST_FILE{};
  files.to_magnetic = nullptr;
}

// Outputs and report tables the selection cards may ask for that this build doesn't compute:
// said once in the report, not silently dropped.
void report_outputs_not_built(const CONTROL_DATA &control) {
  const POST_SELECTION &post = control.post;
  const PRINT_SELECTION &print = control.print;
  const std::pair<int, const char *> outputs[] = {{post.CURRENT, "CURRENT"},
                                                  {post.FORCE_J_B, "FORCE_J_B"},
                                                  {post.FORCE_NODAL, "FORCE_NODAL"},
                                                  {post.DISP, "DISP"},
                                                  {post.ELEM, "ELEM"},
                                                  {post.HEAT, "HEAT"},
                                                  {post.IRON_LOSS, "IRON_LOSS"},
                                                  {post.E, "E"},
                                                  {post.COIL_FORCE, "COIL_FORCE"}};
  const std::pair<int, const char *> tables[] = {{print.A, "A"},
                                                 {print.V, "V"},
                                                 {print.B_INTEG, "B_INTEG"},
                                                 {print.Q_AVERAGE, "Q_AVERAGE"},
                                                 {print.HEAT, "HEAT"},
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

void write_post_step(POST_FILES &files, const POST_FORMAT &format, const MESHED_MODEL &first_part,
                     const double *solution, int step, double time) {
  const CONTROL_DATA &control = control_data();
  if (control.POST_DATA_FILE == 0) return;
  if (!files.to_magnetic) return;
  COIL_FIELD_AT_POINTS coil;
  make_coil_field_at_points(first_part, coil);
  if (control.post.MAGNETIC)
    flux_density_output(files.to_magnetic->out, format.writer, first_part, solution, coil, step, time);
  if (control.post.MAGNETIZATION)
    magnetization_output(files.to_magnetic->out, format.writer, first_part, solution, coil, step, time);
  free_coil_field_at_points(coil);
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
  double *solution =
      calloc_double(static_cast<std::uint64_t>(std::max(n, 1)), "solution in transient_output_control");
  POST_FILES files;
  open_all_post_files(control, format, files);
  report_outputs_not_built(control);
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
    if (!is_output_step(ranges, step)) continue;
    set_source_amplitudes(time);
    write_step_report(step, time);
    write_post_step(files, format, first_part, solution, step, time);
  }
  close_ffile(run.solutions);
  close_all_post_files(files);
  free_named(solution, "solution in transient_output_control");
}

} // namespace tesmora
