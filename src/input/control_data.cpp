// read_control_data: the control cards and then every section of the input file in its order.
#include "input/control_data.hpp"

#include "input/card_reader.hpp"
#include "input/control_cards.hpp"
#include "input/control_data_writable.hpp"
#include "input/coordinates.hpp"
#include "input/expression_parser.hpp"
#include "input/regular_mesh.hpp"
#include "input/time_evolution.hpp"
#include "job/ffile.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "materials/bh_curve.hpp"
#include "materials/material_tables.hpp"
#include "mesh/boundary.hpp"
#include "sources/field_sources.hpp"

namespace tesmora {
namespace {

CONTROL_DATA the_control_data;
SOLVER_SETTINGS the_solver_settings;

// The sections behind the control cards, in their fixed order. Each one stands when its
// condition on the control data holds; a section whose reader this build lacks stops the job
// there, naming the section.
struct INPUT_SECTION {
  const char *name;
  bool (*is_present)(const CONTROL_DATA &);
  void (*read)(FFILE *, CONTROL_DATA &, const INPUT_SECTION &);
};

bool always(const CONTROL_DATA &) { return true; }
bool has_coordinates(const CONTROL_DATA &c) { return c.release > 2.15; }
bool has_nonconformal_faces(const CONTROL_DATA &c) { return c.mesh_connection == 2; }
bool has_regular_meshes(const CONTROL_DATA &c) {
  return c.steady_current || (c.data_type == 2 && c.MULTI != 0);
}
bool has_block_mesh(const CONTROL_DATA &c) { return c.INPUT_MESH_FILE == 0 && !c.meshless; }
bool has_motion(const CONTROL_DATA &c) { return c.moving != 0; }
bool has_sigma_curves(const CONTROL_DATA &c) { return c.TEMP_DEPEND != 0; }

void read_unavailable(FFILE *, CONTROL_DATA &, const INPUT_SECTION &section) {
  stop_at_unbuilt(UNBUILT::input_data, section.name);
}

void read_coordinate_section(FFILE *input, CONTROL_DATA &control, const INPUT_SECTION &) {
  read_coordinates(input);
  find_coordinate(control.POST_COORDINATE);
}

void read_regular_mesh_section(FFILE *input, CONTROL_DATA &, const INPUT_SECTION &) {
  read_regular_meshes(input);
}

void read_boundary_section(FFILE *input, CONTROL_DATA &, const INPUT_SECTION &) { read_boundary_data(input); }

void read_material_section(FFILE *input, CONTROL_DATA &, const INPUT_SECTION &) {
  read_material_cards(input, 1);
}

void read_source_cards(FFILE *input, CONTROL_DATA &, const INPUT_SECTION &) { read_source_section(input, 1); }

void read_curve_section(FFILE *input, CONTROL_DATA &, const INPUT_SECTION &) { read_b_h_curves(input); }

void read_time_evolution_section(FFILE *input, CONTROL_DATA &, const INPUT_SECTION &) {
  read_time_evolutions(input);
}

constexpr INPUT_SECTION input_sections[] = {
    {"coordinate", has_coordinates, read_coordinate_section},
    {"boundary", always, read_boundary_section},
    {"nonconformal face", has_nonconformal_faces, read_unavailable},
    {"regular mesh", has_regular_meshes, read_regular_mesh_section},
    {"block mesh", has_block_mesh, read_unavailable},
    {"material", always, read_material_section},
    {"source", always, read_source_cards},
    {"time evolution", always, read_time_evolution_section},
    {"motion", has_motion, read_unavailable},
    {"B-H curve", always, read_curve_section},
    {"sigma curve", has_sigma_curves, read_unavailable},
};

consteval bool every_section_complete() {
  for (const INPUT_SECTION &section : input_sections)
    if (!section.name || !section.is_present || !section.read) return false;
  return true;
}
static_assert(every_section_complete());

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
  for (const INPUT_SECTION &section : input_sections)
    if (section.is_present(control)) section.read(input, control, section);
  close_card_file(input);
  close_ffile(input);
  free_parser();
}

} // namespace tesmora
