// Reading of the input file into the control data.
#include "input/control_data.hpp"
#include "input/control_data_writable.hpp"

#include "job/ffile.hpp"
#include "job/run_files.hpp"

namespace tesmora {
namespace {

CONTROL_DATA the_control_data;

} // namespace

const CONTROL_DATA &control_data() { return the_control_data; }
CONTROL_DATA &writable_control_data() { return the_control_data; }

void read_control_data() {
  FFILE *input = run_files().control_input;
  open_ffile(input, "r");
  // The card readers are not wired in yet: the job runs with the default settings.
  close_ffile(input);
}

} // namespace tesmora
