// Assembly: the profile of a model's unknowns, and the scatter of the element-matrix files into
// the global value arrays through the variable lists of edges and nodes.
#pragma once

#include "equations/matrix_profile.hpp"
#include "equations/sparse_matrix.hpp"
#include "input/regular_mesh.hpp"
#include "job/ffile.hpp"
#include "mesh/model.hpp"

#include <vector>

namespace tesmora {

// The pattern of the unknowns of the model's chain: each element couples the variables of its
// edges (A) and, when phi is an unknown, of its nodes, and so does each impedance or thin
// conducting surface (kinds 2 and 5) of the mesh file's surface elements. Type 1 or 2. With velocities (one
// per element, list order; a steady-current job) a moving element also couples the shifted image variables of
// its edges and nodes: upstream (kind 5) when its velocity is positive, downstream (kind 6) when negative.
MATRIX_PROFILE *build_model_profile(const MESHED_MODEL &first_part, int no_unknowns, int type, bool a_only,
                                    const double *velocities = nullptr);

// The couplings of given-current sources that the h scatter collects: an edge term of kind 12
// names a source (its position is the source number, 1-based), not a matrix row.
struct SOURCE_COUPLING {
  int no_sources = 0;
  int no_unknowns = 0;
  double **coupling = nullptr;        // no_sources dense columns of no_unknowns; "coupling[i]"
  SYMMETRIC_MATRIX *mutual = nullptr; // no_sources x no_sources
};
SOURCE_COUPLING *make_source_coupling(int no_sources, int no_unknowns);
void free_source_coupling(SOURCE_COUPLING **coupling);

// Sums the h records of `file` (open for reading) into a new array of the profile's size (tag
// "h_matrix"): each element row and column goes through its edge's terms with the edge's sign,
// and a pair of different entries that fall on one variable counts twice. Pairs of an unknown
// and a given-current source go to coupling (subtracted), pairs of two sources to mutual;
// coupling may be null when the job has no such sources.
double *assemble_h_matrix(const MATRIX_PROFILE &profile, const MESHED_MODEL &first_part, FFILE *file,
                          SOURCE_COUPLING *coupling = nullptr);
// The same for the c records (tag "c_matrix"), with the node rows of phi when a_only is false,
// multiplied by phi_scale. marks, when not null, gets per touched entry 0 when both sides are
// source-related phi (kind 13), 2 when both are plain phi (kind 2), else 1; for a node row
// against an edge column, 1 only when the node's entry is plain phi.
double *assemble_c_matrix(const MATRIX_PROFILE &profile, const MESHED_MODEL &first_part, FFILE *file,
                          bool a_only, double phi_scale = 1.0, int *marks = nullptr);

// The moving-conductor term of a steady-current job, from the c records of `file` (open for
// reading), added into c_lower and c_upper (the lower and upper arrays of one asymmetric matrix
// on the profile, which already hold the rest of the system). An element with velocity v (one per
// element, list order; 0.0 adds nothing) adds for every ordered pair of its edge rows i, j and
// every A term a of row i: K_ij s_i s_j c_a c_b v against each A term b of row j, and the negative
// against each image term b of row j (upstream for v > 0, downstream for v < 0). Each (row,
// column) goes by the two-array rule of add_in_asymmetric.
void assemble_c_matrix_lower_upper(double *c_lower, double *c_upper, const MATRIX_PROFILE &profile,
                                   const MESHED_MODEL &first_part, FFILE *file, const double *velocities);

// After the c scatter: each thin conducting surface (surface element of kind 5 among the mesh
// file's surface elements of the chain) adds its surface matrix (surface_matrices.hpp; with the
// node rows unless a_only) times its conductance into c, with the expansion and doubling of the
// c scatter. conductances has one entry per surface element, list order.
void add_thin_surface_c_matrix(double *c, const MATRIX_PROFILE &profile, const MESHED_MODEL &first_part,
                               bool a_only, const double *conductances);
// The conductance of each surface element of the chain (list order): sigma times thickness of
// the thin-conductor record of a kind-5 surface, else 0.0.
std::vector<double> thin_surface_conductances(const MESHED_MODEL &first_part);

// The far-boundary terms: the h records of `file` (open for reading; element number k is
// elements[k - 1], edge block only) scattered into h by the rules of the h scatter.
void assemble_boundary_h_matrix(double *h, const MATRIX_PROFILE &profile, const S_ELEMENT *elements,
                                FFILE *file);

// The conductor velocity of every volume element of the chain (list order): the velocity of the
// regular mesh whose material ids hold the element's material id, else 0.0.
std::vector<double> conductor_velocities(const MESHED_MODEL &first_part,
                                         const std::vector<REGULAR_MESH> &meshes);

// The same for the e records (tag "e_matrix"): the second matrix of an AC job.
double *assemble_e_matrix(const MATRIX_PROFILE &profile, const MESHED_MODEL &first_part, FFILE *file);

// x^T M x of a symmetric matrix stored as its lower part with the diagonal (profile type 1).
double quadratic_form(const MATRIX_PROFILE &profile, const double *values, const double *x);

} // namespace tesmora
