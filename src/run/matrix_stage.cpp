// The matrix stage: the unknowns numbered and renumbered, the profile, the assembled matrices of
// the analysis (one table row per matrix), the sources' load columns and the saved numbering.
#include "run/stages.hpp"

#include "analyses/regularization.hpp"
#include "analyses/solutions_file.hpp"
#include "equations/assembly.hpp"
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
#include "mesh/model.hpp"
#include "mesh/potentials.hpp"
#include "sources/field_sources.hpp"
#include "sources/source_matrices.hpp"

#include <string>
#include <vector>

namespace tesmora {
namespace {

// What every assembler of the stage works on.
struct MATRIX_JOB {
  const CONTROL_DATA &control;
  const MESHED_MODEL &model;
  const MATRIX_PROFILE &profile;
  bool a_only;            // A on edges only: no node rows of phi
  const double *moving;   // conductor velocity per element (steady-current job), or null
  FFILE *system_matrices; // open for writing, after the profile
};

std::uint64_t matrix_size(const MATRIX_JOB &job) { return static_cast<std::uint64_t>(job.profile.size); }

void write_matrix(const MATRIX_JOB &job, const double *values) {
  write_blocks(values, sizeof(double), matrix_size(job), job.system_matrices);
}

// The matrix of a static solve: the h matrix as it stands, with its profile.
void write_t_matrix(const MATRIX_PROFILE &profile, const double *h) {
  FFILE *file = run_files().system_t_matrix;
  open_ffile(file, "w");
  write_matrix_profile(file, &profile);
  write_blocks(h, sizeof(double), static_cast<std::uint64_t>(profile.size), file);
  close_ffile(file);
}

// The curl-curl matrix of a magnetic job; a static job also keeps it as its t matrix.
void write_h_matrix(const MATRIX_JOB &job, FFILE *element_file) {
  double *h = assemble_h_matrix(job.profile, job.model, element_file);
  write_matrix(job, h);
  if (job.control.is_static) write_t_matrix(job.profile, h);
  free_named(h, "h_matrix");
}

// A steady-current job: h becomes the lower array of the asymmetric pair, its copy the upper
// one. Both take the moving-conductor term from the c records and are written, the lower first.
void write_steady_current_pair(const MATRIX_JOB &job, FFILE *element_file) {
  FFILE *h_file = run_files().element_h_matrices;
  open_ffile(h_file, "r");
  double *h = assemble_h_matrix(job.profile, job.model, h_file);
  close_ffile(h_file);
  const std::uint64_t size = matrix_size(job);
  double *upper = calloc_double(size, "c_matrix_upper");
  for (std::uint64_t k = 0; k < size; ++k) upper[k] = h[k];
  assemble_c_matrix_lower_upper(h, upper, job.profile, job.model, element_file, job.moving);
  write_matrix(job, h);
  write_matrix(job, upper);
  free_named(upper, "c_matrix_upper");
  free_named(h, "h_matrix");
}

// The second h of an AC 2 job: the imaginary reluctivities.
void write_e_matrix(const MATRIX_JOB &job, FFILE *element_file) {
  double *e = assemble_e_matrix(job.profile, job.model, element_file);
  write_matrix(job, e);
  free_named(e, "e_matrix");
}

// The conductivity matrix of a transient or AC job, with the thin conducting surfaces.
void write_c_matrix(const MATRIX_JOB &job, FFILE *element_file) {
  double *c = assemble_c_matrix(job.profile, job.model, element_file, job.a_only);
  const std::vector<double> conductances = thin_surface_conductances(job.model); // kind-5 surfaces
  add_thin_surface_c_matrix(c, job.profile, job.model, job.a_only, conductances.data());
  write_matrix(job, c);
  free_named(c, "c_matrix");
}

bool is_magnetic(const CONTROL_DATA &c) { return c.electric_kind == 0 && !c.is_thermal && c.POTENTIAL != 4; }
bool needs_h_matrix(const CONTROL_DATA &c) { return is_magnetic(c) && !c.steady_current; }
bool needs_steady_current_pair(const CONTROL_DATA &c) { return is_magnetic(c) && c.steady_current; }
bool needs_e_matrix(const CONTROL_DATA &c) { return is_magnetic(c) && c.ac_mode == 2; }
bool needs_c_matrix(const CONTROL_DATA &c) { return c.is_transient || c.ac_mode != 0; }

// One matrix that the stage may write to "system_matrices": when the analysis needs it, which
// element-matrix file its assembler reads, and the assembler that writes it.
struct SYSTEM_MATRIX_ROW {
  bool (*is_needed)(const CONTROL_DATA &control);
  FFILE *RUN_FILES::*element_file;
  void (*write)(const MATRIX_JOB &job, FFILE *element_file);
};

// In the order the matrices follow each other in the file.
constexpr SYSTEM_MATRIX_ROW system_matrix_rows[] = {
    {.is_needed = needs_h_matrix, .element_file = &RUN_FILES::element_h_matrices, .write = write_h_matrix},
    {.is_needed = needs_steady_current_pair,
     .element_file = &RUN_FILES::element_c_matrices,
     .write = write_steady_current_pair},
    {.is_needed = needs_e_matrix, .element_file = &RUN_FILES::element_e_matrices, .write = write_e_matrix},
    {.is_needed = needs_c_matrix, .element_file = &RUN_FILES::element_c_matrices, .write = write_c_matrix},
};

consteval bool all_matrix_rows_filled() {
  for (const SYSTEM_MATRIX_ROW &row : system_matrix_rows)
    if (!row.is_needed || !row.element_file || !row.write) return false;
  return true;
}
static_assert(all_matrix_rows_filled());

// What the element matrices and the numbering take from the potential mode of the job.
bool job_a_only(const CONTROL_DATA &c) { return c.POTENTIAL <= 1; }

VARIABLE_OPTIONS variable_options(const CONTROL_DATA &c) {
  VARIABLE_OPTIONS options;
  options.far_boundary_condition = boundary_data().far_boundary_condition;
  options.uses_phi = !job_a_only(c) && !c.is_static;
  options.sliding = c.sliding_motion != 0;
  options.nonconformal = c.mesh_connection == 2;
  options.electric_mode_2 = c.electric_kind == 2;
  // Without phi the potential in a conductor carries the eddy currents itself: no tree edge
  // there may lose its unknown.
  options.keep_conductor_tree_edges = job_a_only(c) && (c.is_transient || c.ac_mode != 0);
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

// The ordering of the unknowns that RENUMBERING asks for, on the full pattern of the system.
void renumber_unknowns(MESHED_MODEL &model, int no_unknowns, bool a_only, const double *moving) {
  const CONTROL_DATA &control = control_data();
  const int renumbering = solver_settings().cg_iteration.renumbering - 1;
  if (renumbering <= 0 || no_unknowns == 0 || control.sliding_motion || control.mesh_connection == 2) return;
  MATRIX_PROFILE *full = build_model_profile(model, no_unknowns, profile_full, a_only, moving);
  std::vector<int> new_number(static_cast<std::size_t>(no_unknowns));
  auto *work = calloc_int(4 * static_cast<std::uint64_t>(no_unknowns), "work for renumber_variables");
  renumber_variables(full, renumbering, new_number.data(), work);
  free_named(work, "work for renumber_variables");
  free_matrix_profile(&full);
  apply_renumbering(model, new_number);
}

void write_system_matrix_table(std::FILE *output, int no_unknowns, int no_entries) {
  write_report(output, "                      *****************  System matrix    ***************** \n\n");
  write_report(output, "                         Number of unknowns                      = %9d\n",
               no_unknowns);
  write_report(output, "                         Number of non_zero elements             = %9d\n",
               no_entries);
  write_report(output, "%s\n\n\n", std::string(97, '*').c_str());
  std::fflush(output);
}

// The sources' load columns and the numbering of the unknowns, for the solve stage of this run
// or a later one.
void save_sources_and_numbering(MESHED_MODEL &model, int no_unknowns) {
  RUN_FILES &files = run_files();
  // The nodal problem of the regularization, on the final numbering; made once the system
  // matrices are written and freed, and kept only while the columns are made.
  REGULARIZATION_WORK *regularization = solver_settings().cg_iteration.regularization != 0
                                            ? make_regularization_work(model, no_unknowns)
                                            : nullptr;
  COLUMN_PROJECTION project;
  if (regularization) project = [&](double *column) { regularize(column, *regularization, model); };
  make_source_matrices(model, no_unknowns, project);
  free_regularization_work(&regularization);
  open_ffile(files.source_matrix, "w");
  save_sources(files.source_matrix, chain_edge_count(model));
  close_ffile(files.source_matrix);
  open_ffile(files.potentials, "w");
  write_solutions_header(files.potentials, model, no_unknowns, no_unknowns);
  close_ffile(files.potentials);
}

} // namespace

void make_system_matrices() {
  const CONTROL_DATA &control = control_data();
  if (control.MAKE_SYSTEM_MATRICES == 0) return;
  MESHED_MODEL &model = global_model();
  const bool a_only = job_a_only(control);
  const int no_unknowns = make_variables(model, variable_options(control));
  // A steady-current job couples the moving conductors' edges with their shifted images.
  const std::vector<double> velocities =
      control.steady_current ? conductor_velocities(model, regular_meshes()) : std::vector<double>{};
  const double *moving = velocities.empty() ? nullptr : velocities.data();
  renumber_unknowns(model, no_unknowns, a_only, moving);
  MATRIX_PROFILE *profile =
      build_model_profile(model, no_unknowns, profile_lower_with_diagonal, a_only, moving);
  write_system_matrix_table(run_files().print_out->stream, no_unknowns, profile->size);

  RUN_FILES &files = run_files();
  open_ffile(files.system_matrices, "w");
  write_matrix_profile(files.system_matrices, profile);
  const MATRIX_JOB job{.control = control,
                       .model = model,
                       .profile = *profile,
                       .a_only = a_only,
                       .moving = moving,
                       .system_matrices = files.system_matrices};
  for (const SYSTEM_MATRIX_ROW &row : system_matrix_rows) {
    if (!row.is_needed(control)) continue;
    FFILE *element_file = files.*row.element_file;
    open_ffile(element_file, "r");
    row.write(job, element_file);
    close_ffile(element_file);
  }
  close_ffile(files.system_matrices);
  free_matrix_profile(&profile);
  save_sources_and_numbering(model, no_unknowns);
}

} // namespace tesmora
