// A TesmoraBatch for the tests of the job frame: the same driver, with an input file that is
// opened and closed but whose cards are not read. It lets whole runs of the driver be tested
// while the readers of the input sections are still incomplete.
#include "job/driver.hpp"
#include "job/ffile.hpp"
#include "job/run_files.hpp"

int main(int argc, char **argv) {
  using namespace tesmora;
  if (!start_job(argc, argv)) return 0;
  open_ffile(run_files().control_input, "r");
  close_ffile(run_files().control_input);
  run_stages_and_finish();
  return 0;
}
