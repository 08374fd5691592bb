// Assembly: the profile of a model's unknowns, and the scatter of the element-matrix files into
// the global value arrays through the variable lists of edges and nodes.
#pragma once

#include "equations/matrix_profile.hpp"
#include "job/ffile.hpp"
#include "mesh/model.hpp"

namespace tesmora {

// The pattern of the unknowns of the model's chain: each element couples the variables of its
// edges (A) and, when phi is an unknown, of its nodes. Type 1 or 2.
MATRIX_PROFILE *build_model_profile(const MESHED_MODEL &first_part, int no_unknowns, int type, bool a_only);

// Sums the h records of `file` (open for reading) into a new array of the profile's size (tag
// "h_matrix"): each element row and column goes through its edge's terms with the edge's sign,
// and a pair of different entries that fall on one variable counts twice.
double *assemble_h_matrix(const MATRIX_PROFILE &profile, const MESHED_MODEL &first_part, FFILE *file);
// The same for the c records (tag "c_matrix"), with the node rows of phi when a_only is false.
double *assemble_c_matrix(const MATRIX_PROFILE &profile, const MESHED_MODEL &first_part, FFILE *file,
                          bool a_only);

// The same for the e records (tag "e_matrix"): the second matrix of an AC job.
double *assemble_e_matrix(const MATRIX_PROFILE &profile, const MESHED_MODEL &first_part, FFILE *file);

// x^T M x of a symmetric matrix stored as its lower part with the diagonal (profile type 1).
double quadratic_form(const MATRIX_PROFILE &profile, const double *values, const double *x);

} // namespace tesmora
