// The stage functions of the driver. Each subsystem hangs its work on the step of its stage.
#include "job/stages.hpp"

#include "analyses/solutions_file.hpp"
#include "analyses/solve_driver.hpp"
#include "equations/assembly.hpp"
#include "equations/element_matrices.hpp"
#include "equations/matrix_profile.hpp"
#include "equations/renumbering.hpp"
#include "input/control_data.hpp"
#include "input/regular_mesh.hpp"
#include "input/solver_settings.hpp"
#include "job/block_io.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "mesh/boundary.hpp"
#include "mesh/mesh_reader.hpp"
#include "mesh/model_building.hpp"
#include "mesh/model_report.hpp"
#include "mesh/potentials.hpp"
#include "mesh/saved_model.hpp"
#include "results/json_report.hpp"
#include "results/output_control.hpp"
#include "results/post_writer.hpp"
#include "sources/field_sources.hpp"
#include "sources/source_matrices.hpp"

#include <string>
#include <vector>

namespace tesmora {
namespace {

// A stage whose work this build can't do yet stops the job rather than end it as if it had
// computed something.
[[noreturn]] void stop_at_unavailable_stage(const char *work) {
  write_fault("**** The %s is not part of this build of the program. Job is stopped. ****\n", work);
  stop_job(1);
}

// What the element matrices and the numbering take from the potential mode of the job.
bool job_a_only(const CONTROL_DATA &c) { return c.POTENTIAL <= 1; }
bool job_scalar_regions(const CONTROL_DATA &c) { return c.POTENTIAL == 1 || c.POTENTIAL == 3; }

ELEMENT_MATRIX_OPTIONS element_matrix_options(const CONTROL_DATA &c) {
  ELEMENT_MATRIX_OPTIONS options;
  options.a_only = job_a_only(c);
  options.scalar_only = c.POTENTIAL == 4;
  options.ac_mode = c.ac_mode;
  options.ac_time_domain = c.ac_time_domain != 0;
  return options;
}

VARIABLE_OPTIONS variable_options(const CONTROL_DATA &c) {
  VARIABLE_OPTIONS options;
  options.far_boundary_condition = boundary_data().far_boundary_condition;
  options.uses_phi = !job_a_only(c) && !c.is_static;
  options.sliding = c.sliding_motion != 0;
  options.nonconformal = c.mesh_connection == 2;
  options.electric_mode_2 = c.electric_kind == 2;
  return options;
}

// Gives every term of the model's chain its new position, for the kinds that are matrix rows.
void apply_renumbering(MESHED_MODEL &first_part, const std::vector<int> &new_number) {
  auto renumber = [&](POTENTIAL_TERMS *terms) {
    for (int k = 0; terms && k < terms->no_terms; ++k) {
      POTENTIAL_TERM &t = terms->terms[k];
      if (t.name != A_EDGE_SOURCE && t.name != A_EDGE_GIVEN && t.name != FREE_TERM)
        t.position = new_number[static_cast<std::size_t>(t.position - 1)];
    }
  };
  for (MESHED_MODEL *part = &first_part; part; part = part->next) {
    for (int e = 0; e < part->no_edges; ++e) renumber(part->edges[e].potentials);
    for (int i = 0; i < part->no_nodes; ++i) renumber(part->nodes[i].potentials);
  }
}

// The matrix of a static solve: the h matrix as it stands, with its profile.
void write_t_matrix(const MATRIX_PROFILE &profile, const double *h) {
  FFILE *file = run_files().system_t_matrix;
  open_ffile(file, "w");
  write_matrix_profile(file, &profile);
  write_blocks(h, sizeof(double), static_cast<std::uint64_t>(profile.size), file);
  close_ffile(file);
}

void print_mesh_tables(std::FILE *output, const MESHED_MODEL &first_part) {
  for (const MESHED_MODEL *part = &first_part; part; part = part->next) {
    print_nodes(output, *part);
    print_edges(output, *part);
    print_v_elements(output, *part);
    print_s_elements(output, *part);
  }
}

} // namespace

void pre_processing() {
  const CONTROL_DATA &control = control_data();
  bind_field_sources();
  MESHED_MODEL &model = global_model();
  std::FILE *output = run_files().print_out->stream;
  if (control.PRE_PROCESSING != 0) {
    read_mesh(model);
    if (control.PRE_PROCESSING > 0) {
      for (MESHED_MODEL *part = &model; part; part = part->next)
        bind_model_materials(*part, job_scalar_regions(control));
      make_element_matrices(model, element_matrix_options(control));
      make_model(model, boundary_data(), control.TREE_GAUGE, job_scalar_regions(control));
      for (MESHED_MODEL *part = &model; part; part = part->next) compute_element_geometry(*part);
      // Later runs of a split job read the model back from here.
      open_ffile(run_files().mesh_data, "w");
      save_model(model, run_files().mesh_data);
      close_ffile(run_files().mesh_data);
    }
  } else if (control.MAKE_SYSTEM_MATRICES || control.SOLVE_EQUATION || control.POST_PROCESSING) {
    // A later run of a split job takes the model that the first run saved.
    open_ffile(run_files().mesh_data, "r");
    restore_model(model, run_files().mesh_data);
    close_ffile(run_files().mesh_data);
    for (MESHED_MODEL *part = &model; part; part = part->next)
      bind_model_materials(*part, job_scalar_regions(control));
  }
  if (control.print.MESH) print_mesh_tables(output, model);
  std::fflush(output);
  // The post files these lines announce are written only when their outputs are selected.
  write_report(output, "finish elem_file\n");
  std::fflush(output);
  write_geometry_file(model, find_post_format(control.POST_DATA_FILE));
  write_report(output, "finish output_geom_file\n");
  std::fflush(output);
  write_report(output, "finish T_R_interface_file\n");
  std::fflush(output);
}

void make_system_matrices() {
  const CONTROL_DATA &control = control_data();
  if (control.MAKE_SYSTEM_MATRICES == 0) return;
  MESHED_MODEL &model = global_model();
  const bool a_only = job_a_only(control);
  int no_unknowns = make_variables(model, variable_options(control));
  // A steady-current job couples the moving conductors' edges with their shifted images.
  const std::vector<double> velocities =
      control.steady_current ? conductor_velocities(model, regular_meshes()) : std::vector<double>{};
  const double *moving = velocities.empty() ? nullptr : velocities.data();
  const int renumbering = solver_settings().cg_iteration.renumbering - 1;
  if (renumbering > 0 && no_unknowns > 0 && !control.sliding_motion && control.mesh_connection != 2) {
    MATRIX_PROFILE *full = build_model_profile(model, no_unknowns, profile_full, a_only, moving);
    std::vector<int> new_number(static_cast<std::size_t>(no_unknowns));
    auto *work = calloc_int(4 * static_cast<std::uint64_t>(no_unknowns), "work for renumber_variables");
    renumber_variables(full, renumbering, new_number.data(), work);
    free_named(work, "work for renumber_variables");
    free_matrix_profile(&full);
    apply_renumbering(model, new_number);
  }
  MATRIX_PROFILE *profile =
      build_model_profile(model, no_unknowns, profile_lower_with_diagonal, a_only, moving);
  std::FILE *output = run_files().print_out->stream;
  write_report(output, "                      *****************  System matrix    ***************** \n\n");
  write_report(output, "                         Number of unknowns                      = %9d\n",
               no_unknowns);
  write_report(output, "                         Number of non_zero elements             = %9d\n",
               profile->size);
  write_report(output, "%s\n\n\n", std::string(97, '*').c_str());
  std::fflush(output);

  RUN_FILES &files = run_files();
  open_ffile(files.system_matrices, "w");
  write_matrix_profile(files.system_matrices, profile);
  const bool magnetic = control.electric_kind == 0 && !control.is_thermal;
  if (magnetic && control.POTENTIAL != 4) {
    open_ffile(files.element_h_matrices, "r");
    double *h = assemble_h_matrix(*profile, model, files.element_h_matrices);
    close_ffile(files.element_h_matrices);
    if (control.steady_current) {
      // h becomes the lower array of the asymmetric pair; its copy the upper one. Both take the
      // moving-conductor term and are written, the lower first.
      const auto size = static_cast<std::uint64_t>(profile->size);
      double *upper = calloc_double(size, "c_matrix_upper");
      for (std::uint64_t k = 0; k < size; ++k) upper[k] = h[k];
      open_ffile(files.element_c_matrices, "r");
      assemble_c_matrix_lower_upper(h, upper, *profile, model, files.element_c_matrices, moving);
      close_ffile(files.element_c_matrices);
      write_blocks(h, sizeof(double), size, files.system_matrices);
      write_blocks(upper, sizeof(double), size, files.system_matrices);
      free_named(upper, "c_matrix_upper");
    } else {
      write_blocks(h, sizeof(double), static_cast<std::uint64_t>(profile->size), files.system_matrices);
      if (control.is_static) write_t_matrix(*profile, h);
    }
    free_named(h, "h_matrix");
    if (control.ac_mode == 2) {
      // The second h of an AC 2 job: the imaginary reluctivities.
      open_ffile(files.element_e_matrices, "r");
      double *e = assemble_e_matrix(*profile, model, files.element_e_matrices);
      close_ffile(files.element_e_matrices);
      write_blocks(e, sizeof(double), static_cast<std::uint64_t>(profile->size), files.system_matrices);
      free_named(e, "e_matrix");
    }
  }
  if (control.is_transient || control.ac_mode) {
    open_ffile(files.element_c_matrices, "r");
    double *c = assemble_c_matrix(*profile, model, files.element_c_matrices, a_only);
    close_ffile(files.element_c_matrices);
    const std::vector<double> conductances = thin_surface_conductances(model); // kind-5 surfaces
    add_thin_surface_c_matrix(c, *profile, model, a_only, conductances.data());
    write_blocks(c, sizeof(double), static_cast<std::uint64_t>(profile->size), files.system_matrices);
    free_named(c, "c_matrix");
  }
  close_ffile(files.system_matrices);
  free_matrix_profile(&profile);

  // The sources' load columns and the numbering of the unknowns, for the solve stage of this
  // run or a later one.
  make_source_matrices(model, no_unknowns);
  open_ffile(files.source_matrix, "w");
  save_sources(files.source_matrix, chain_edge_count(model));
  close_ffile(files.source_matrix);
  open_ffile(files.potentials, "w");
  write_solutions_header(files.potentials, model, no_unknowns, no_unknowns);
  close_ffile(files.potentials);
}

void solve_equation() {
  if (control_data().SOLVE_EQUATION == 0) return;
  solve_equation_stage(global_model());
}

void post_processing() {
  const CONTROL_DATA &control = control_data();
  if (control.POST_PROCESSING == 0) return;
  if (control.ac_mode) stop_at_unavailable_stage("AC post-processing");
  if (control.AVERAGE) stop_at_unavailable_stage("averaging over a period");
  MESHED_MODEL &model = global_model();
  // The post stage reads the unknowns through the numbering the matrix stage made.
  if (!control.MAKE_SYSTEM_MATRICES && !control.SOLVE_EQUATION) restore_model_variables(model);
  transient_output_control(model, find_post_format(control.POST_DATA_FILE));
}

} // namespace tesmora
