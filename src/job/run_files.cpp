// The table of the job's named files.
#include "job/run_files.hpp"

#include <string>

namespace tesmora {
namespace {

RUN_FILES the_run_files;

constexpr RUN_FILE_ENTRY run_file_entries[] = {
    {"input", 0, "ffile_control_input", &RUN_FILES::control_input},
    {"check", 0, "ffile_check", &RUN_FILES::check},
    {"2D_to_3D", 0, "ffile_mesh_gen", &RUN_FILES::mesh_gen},
    {"mesh_data", 1, "ffile_mesh_data", &RUN_FILES::mesh_data},
    {"element_h_matrices", 1, "ffile_element_h_matrices", &RUN_FILES::element_h_matrices},
    {"element_c_matrices", 1, "ffile_element_c_matrice", &RUN_FILES::element_c_matrices},
    {"element_e_matrices", 1, "ffile_element_e_matrice", &RUN_FILES::element_e_matrices},
    {"system_matrices", 1, "ffile_system_matrices", &RUN_FILES::system_matrices},
    {"system_r_matrix", 1, "ffile_r_matrix", &RUN_FILES::system_r_matrix},
    {"system_t_matrix", 1, "ffile_t_matrix", &RUN_FILES::system_t_matrix},
    {"system_c_matrix_members", 1, "", &RUN_FILES::system_c_matrix_members},
    {"source_matrix", 1, "ffile_source_matrix", &RUN_FILES::source_matrix},
    {"solutions", 1, "ffile_solutions", &RUN_FILES::solutions},
    {"old_solutions", 1, "ffile_old_solutions", &RUN_FILES::old_solutions},
    {"output", 0, "ffile_print_out", &RUN_FILES::print_out},
    {"output.json", 0, "fflie_print_json", &RUN_FILES::print_json},
    {"post_geom", 0, "ffile_post_geom", &RUN_FILES::post_geom},
    {"current", 0, "", &RUN_FILES::post_current},
    {"magnetic", 0, "", &RUN_FILES::post_magnetic},
    {"magnetization", 0, "", &RUN_FILES::post_magnetization},
    {"force_J_B", 0, "", &RUN_FILES::post_force_J_B},
    {"force", 0, "", &RUN_FILES::post_force},
    {"torque_to_nodes", 0, "ffile_post_torque_to_nodes", &RUN_FILES::torque_to_nodes},
    {"potentials", 1, "ffile_potentials", &RUN_FILES::potentials},
    {"load_vector", 1, "ffile_load_vector", &RUN_FILES::load_vector},
    {"tmp", 0, "ffile_tmp", &RUN_FILES::tmp},
    {"history", 0, "ffile_history", &RUN_FILES::history},
    {"fcheck", 0, "ffile_fcheck", &RUN_FILES::fcheck},
    {"disp", 0, "", &RUN_FILES::post_disp},
    {"s_def_coil", 0, "ffile_s_def_coil", &RUN_FILES::s_def_coil},
    {"elem", 0, "ffile_element", &RUN_FILES::element},
    {"surface_current", 0, "", &RUN_FILES::post_surface_current},
    {"heat", 0, "", &RUN_FILES::post_heat},
    {"surface_heat", 0, "", &RUN_FILES::post_surface_heat},
    {"flux", 0, "", &RUN_FILES::post_flux},
    {"motion", 0, "ffile_motion", &RUN_FILES::motion},
    {"electric", 0, "", &RUN_FILES::post_electric},
    {"cyclic_source", 1, "ffile_cyclic_source", &RUN_FILES::cyclic_source},
    {"PSIMout", 0, "ffile_PSIM", &RUN_FILES::PSIM},
    {"tesmora.log", 0, "", &RUN_FILES::run_log},
};

consteval bool every_entry_complete() {
  for (const auto &entry : run_file_entries)
    if (entry.name.empty() || entry.free_tag == nullptr || entry.member == nullptr) return false;
  return true;
}
static_assert(every_entry_complete());

} // namespace

std::span<const RUN_FILE_ENTRY> run_file_table() { return run_file_entries; }

RUN_FILES &run_files() { return the_run_files; }

void create_run_files(const char *input_name) {
  for (const auto &entry : run_file_entries) {
    const std::string name = entry.member == &RUN_FILES::control_input ? input_name : std::string(entry.name);
    the_run_files.*entry.member = create_ffile(name.c_str(), entry.binary);
  }
}

void free_run_files() {
  for (const auto &entry : run_file_entries) {
    FFILE *&ffile = the_run_files.*entry.member;
    if (!ffile) continue;
    // Records without a tag of their own are freed under the record's creation tag.
    free_ffile(ffile, entry.free_tag[0] ? entry.free_tag : "ffile");
    ffile = nullptr;
  }
}

std::string mesh_file_name(int index) {
  if (index == 0) return "pre_geom";
  if (index == 1) return "rotor_mesh";
  return "rotor_mesh" + std::to_string(index);
}

} // namespace tesmora
