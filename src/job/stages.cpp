// The stage functions of the driver. Each subsystem hangs its work on the step of its stage.
#include "job/stages.hpp"

#include "input/control_data.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "results/json_report.hpp"

namespace tesmora {

void pre_processing() {
  std::FILE *output = run_files().print_out->stream;
  // Mesh reading, material binding and model making come in ahead of these lines; the post
  // files they announce are written only when their outputs are selected.
  write_report(output, "finish elem_file\n");
  std::fflush(output);
  write_report(output, "finish output_geom_file\n");
  std::fflush(output);
  write_report(output, "finish T_R_interface_file\n");
  std::fflush(output);
}

void make_system_matrices() {
  if (control_data().MAKE_SYSTEM_MATRICES == 0) return;
}

void solve_equation() {
  if (control_data().SOLVE_EQUATION == 0) return;
}

void post_processing() {
  if (control_data().POST_PROCESSING == 0) return;
  // The JSON document is written when the post files close, at the end of this stage.
  close_json_report();
}

} // namespace tesmora
