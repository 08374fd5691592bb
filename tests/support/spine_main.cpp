// A TesmoraBatch for the tests of the job frame: the same driver, with an input file that is
// opened and closed but whose cards are not read, and the four stage switches off. It tests
// whole runs of the driver's frame apart from the input and the stages' work.
#include "input/control_data_writable.hpp"
#include "job/ffile.hpp"
#include "job/run_files.hpp"
#include "run/driver.hpp"

int main(int argc, char **argv) {
  using namespace tesmora;
  if (!start_job(argc, argv)) return 0;
  open_ffile(run_files().control_input, "r");
  close_ffile(run_files().control_input);
  CONTROL_DATA &control = writable_control_data();
  control.PRE_PROCESSING = control.MAKE_SYSTEM_MATRICES = control.SOLVE_EQUATION = control.POST_PROCESSING =
      0;
  run_stages_and_finish();
  return 0;
}
