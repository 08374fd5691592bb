// The table of the job's named files, created at the start of every job, and the stderr file.
#pragma once

#include "job/ffile.hpp"

#include <cstdio>
#include <span>
#include <string_view>

namespace tesmora {

// One FFILE per named file of the job, created whether or not the job ever opens it.
struct RUN_FILES {
  FFILE *control_input = nullptr; // the input file ("input" or the "-f" name)
  FFILE *check = nullptr;         // transcript and all error messages
  FFILE *mesh_gen = nullptr;      // "2D_to_3D"
  FFILE *mesh_data = nullptr;     // saved model
  FFILE *element_h_matrices = nullptr;
  FFILE *element_c_matrices = nullptr;
  FFILE *element_e_matrices = nullptr;
  FFILE *system_matrices = nullptr; // profile and assembled matrices
  FFILE *system_r_matrix = nullptr;
  FFILE *system_t_matrix = nullptr;
  FFILE *system_c_matrix_members = nullptr; // reserved
  FFILE *source_matrix = nullptr;
  FFILE *solutions = nullptr;
  FFILE *old_solutions = nullptr;
  FFILE *print_out = nullptr;  // "output": the report
  FFILE *print_json = nullptr; // "output.json"
  FFILE *post_geom = nullptr;
  FFILE *post_current = nullptr;
  FFILE *post_magnetic = nullptr;
  FFILE *post_magnetization = nullptr;
  FFILE *post_force_J_B = nullptr;
  FFILE *post_force = nullptr;
  FFILE *torque_to_nodes = nullptr; // reserved
  FFILE *potentials = nullptr;
  FFILE *load_vector = nullptr;
  FFILE *tmp = nullptr;
  FFILE *history = nullptr;
  FFILE *fcheck = nullptr; // reserved
  FFILE *post_disp = nullptr;
  FFILE *s_def_coil = nullptr; // reserved
  FFILE *element = nullptr;    // "elem"
  FFILE *post_surface_current = nullptr;
  FFILE *post_heat = nullptr;
  FFILE *post_surface_heat = nullptr;
  FFILE *post_flux = nullptr;
  FFILE *motion = nullptr;
  FFILE *post_electric = nullptr;
  FFILE *cyclic_source = nullptr;
  FFILE *PSIM = nullptr;    // "PSIMout"
  FFILE *run_log = nullptr; // "tesmora.log", opened by its own path

  std::FILE *error_stream = nullptr; // the "stderr" file: a bare stream, not an FFILE
};

// One row of the table: file name, binary flag, the tag its record is freed under ("" where
// the record has none of its own) and the member that holds it.
struct RUN_FILE_ENTRY {
  std::string_view name;
  int binary;
  const char *free_tag;
  FFILE *RUN_FILES::*member;
};

std::span<const RUN_FILE_ENTRY> run_file_table();

// The process-wide table; the FFILEs themselves are opened and closed through their functions.
RUN_FILES &run_files();

// Creates every record of the table, in the table's order; the input takes `input_name`.
void create_run_files(const char *input_name);
// Closes and frees every record and sets the pointers to null.
void free_run_files();

// "pre_geom" for 0, "rotor_mesh" for 1, "rotor_mesh<n>" otherwise.
std::string mesh_file_name(int index);

} // namespace tesmora
