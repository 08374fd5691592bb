// The stage functions of the driver. Each subsystem hangs its work on the step of its stage.
#include "run/stages.hpp"

#include "analyses/solve_driver.hpp"
#include "equations/element_matrices.hpp"
#include "input/control_data.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "mesh/boundary.hpp"
#include "mesh/mesh_reader.hpp"
#include "mesh/model_building.hpp"
#include "mesh/model_report.hpp"
#include "mesh/saved_model.hpp"
#include "results/output_control.hpp"
#include "results/post_writer.hpp"
#include "sources/field_sources.hpp"

namespace tesmora {
namespace {

// What the element matrices take from the potential mode of the job.
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
      warn_unused_materials(model);
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

void solve_equation() {
  if (control_data().SOLVE_EQUATION == 0) return;
  solve_equation_stage(global_model());
}

void post_processing() {
  const CONTROL_DATA &control = control_data();
  if (control.POST_PROCESSING == 0) return;
  if (control.AVERAGE) stop_at_unbuilt(UNBUILT::work, "averaging over a period");
  if (control.POST_FFT) stop_at_unbuilt(UNBUILT::work, "Fourier output of the time series");
  MESHED_MODEL &model = global_model();
  // The post stage reads the unknowns through the numbering the matrix stage made.
  if (!control.MAKE_SYSTEM_MATRICES && !control.SOLVE_EQUATION) restore_model_variables(model);
  if (control.ac_mode)
    AC_output_control(model, find_post_format(control.POST_DATA_FILE));
  else
    transient_output_control(model, find_post_format(control.POST_DATA_FILE));
}

} // namespace tesmora
