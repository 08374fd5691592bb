// read_control_data: the control cards and then every section of the input file in its order.
#include "input/control_data.hpp"

#include "input/card_reader.hpp"
#include "input/control_cards.hpp"
#include "input/control_data_writable.hpp"
#include "input/coordinates.hpp"
#include "input/time_evolution.hpp"
#include "job/ffile.hpp"
#include "job/run_files.hpp"

namespace tesmora {
namespace {

CONTROL_DATA the_control_data;
SOLVER_SETTINGS the_solver_settings;

// The sections behind the control cards. Each one's reader stands at its place; a section
// whose reader this build lacks stops the job there, naming the section.
void read_sections(FFILE *input, CONTROL_DATA &control) {
  if (control.release > 2.15) {
    read_coordinates(input);
    find_coordinate(control.POST_COORDINATE);
  }
  stop_at_unavailable_section("boundary");
  // Further sections, in order: nonconformal faces (mesh_connection 2), regular meshes, block
  // mesh, materials, sources, time evolutions, motion, B-H curves, sigma curves.
}

} // namespace

const CONTROL_DATA &control_data() { return the_control_data; }
CONTROL_DATA &writable_control_data() { return the_control_data; }
const SOLVER_SETTINGS &solver_settings() { return the_solver_settings; }
SOLVER_SETTINGS &writable_solver_settings() { return the_solver_settings; }

void read_control_data() {
  FFILE *input = run_files().control_input;
  open_ffile(input, "r");
  open_card_file(input);
  CONTROL_DATA &control = the_control_data;
  SOLVER_SETTINGS &solver = the_solver_settings;
  read_job_cards(input, control, solver);
  read_solver_cards(input, control, solver);
  read_time_cards(input, control);
  read_output_cards(input, control);
  read_geometry_card(input, control);
  read_sections(input, control);
  close_card_file(input);
  close_ffile(input);
}

} // namespace tesmora
