// The stage functions of the driver. Each subsystem hangs its work on the step of its stage.
#include "job/stages.hpp"

#include "input/control_data.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "results/json_report.hpp"

namespace tesmora {
namespace {

// A stage whose work this build can't do yet stops the job rather than end it as if it had
// computed something.
[[noreturn]] void stop_at_unavailable_stage(const char *work) {
  write_fault("**** The %s is not part of this build of the program. Job is stopped. ****\n", work);
  stop_job(1);
}

} // namespace

void pre_processing() {
  if (control_data().PRE_PROCESSING != 0)
    stop_at_unavailable_stage("mesh reading of the pre-processing stage");
  std::FILE *output = run_files().print_out->stream;
  // The post files these lines announce are written only when their outputs are selected.
  write_report(output, "finish elem_file\n");
  std::fflush(output);
  write_report(output, "finish output_geom_file\n");
  std::fflush(output);
  write_report(output, "finish T_R_interface_file\n");
  std::fflush(output);
}

void make_system_matrices() {
  if (control_data().MAKE_SYSTEM_MATRICES == 0) return;
  stop_at_unavailable_stage("matrix stage");
}

void solve_equation() {
  if (control_data().SOLVE_EQUATION == 0) return;
  stop_at_unavailable_stage("solve stage");
}

void post_processing() {
  if (control_data().POST_PROCESSING == 0) return;
  stop_at_unavailable_stage("post-processing stage");
}

} // namespace tesmora
