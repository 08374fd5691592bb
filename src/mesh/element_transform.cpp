// The reference-to-real transformation of the elements, their volume and the volume check.
#include "mesh/element_transform.hpp"

#include "job/report.hpp"
#include "job/run_files.hpp"

#include <cstdio>

namespace tesmora {
namespace {

// det J by the rule of Sarrus.
double sarrus(const double (*j)[3]) {
  return j[0][0] * j[1][1] * j[2][2] + j[0][1] * j[1][2] * j[2][0] + j[0][2] * j[1][0] * j[2][1] -
         j[0][2] * j[1][1] * j[2][0] - j[0][0] * j[1][2] * j[2][1] - j[0][1] * j[1][0] * j[2][2];
}

// inverse = J^-1 (row-major); row i is the gradient of reference coordinate i, since
// d xi_i / d x_k = (J^-1)[i][k]. A singular J leaves the inverse zero.
void invert(const double (*j)[3], double det, double (*inverse)[3]) {
  const double d = det != 0.0 ? 1.0 / det : 0.0;
  inverse[0][0] = (j[1][1] * j[2][2] - j[1][2] * j[2][1]) * d;
  inverse[0][1] = (j[0][2] * j[2][1] - j[0][1] * j[2][2]) * d;
  inverse[0][2] = (j[0][1] * j[1][2] - j[0][2] * j[1][1]) * d;
  inverse[1][0] = (j[1][2] * j[2][0] - j[1][0] * j[2][2]) * d;
  inverse[1][1] = (j[0][0] * j[2][2] - j[0][2] * j[2][0]) * d;
  inverse[1][2] = (j[0][2] * j[1][0] - j[0][0] * j[1][2]) * d;
  inverse[2][0] = (j[1][0] * j[2][1] - j[1][1] * j[2][0]) * d;
  inverse[2][1] = (j[0][1] * j[2][0] - j[0][0] * j[2][1]) * d;
  inverse[2][2] = (j[0][0] * j[1][1] - j[0][1] * j[1][0]) * d;
}

} // namespace

void form_jacobian(int no_nodes, const double (*xyz)[3], const double (*derivatives)[3], double (*j)[3]) {
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) {
      double sum = 0.0;
      for (int n = 0; n < no_nodes; ++n) sum += xyz[n][r] * derivatives[n][c];
      j[r][c] = sum;
    }
}

double element_transform(const V_ELEMENT_TYPE &type, const double (*xyz)[3], double xi, double eta,
                         double zeta, double (*inverse)[3], TRANSFORM_SCRATCH &scratch) {
  type.shape_derivatives(xi, eta, zeta, scratch.derivatives);
  scratch.jacobian_function(type.no_nodes, xyz, scratch.derivatives, scratch.jacobian_matrix);
  scratch.jacobian = sarrus(scratch.jacobian_matrix);
  invert(scratch.jacobian_matrix, scratch.jacobian, inverse);
  return scratch.jacobian;
}

double element_transform_nodes(const V_ELEMENT_TYPE &type, const double (*xyz)[3], double xi, double eta,
                               double zeta, double (*inverse)[3], double (*node_gradients)[3],
                               TRANSFORM_SCRATCH &scratch) {
  const double det = element_transform(type, xyz, xi, eta, zeta, inverse, scratch);
  real_vector_at(type.no_nodes, scratch.derivatives, inverse, node_gradients);
  return det;
}

double element_transform_edges(const V_ELEMENT_TYPE &type, const double (*xyz)[3], double xi, double eta,
                               double zeta, double (*inverse)[3], double (*edge_values)[3],
                               double (*edge_curls)[3], TRANSFORM_SCRATCH &scratch) {
  const double det = element_transform(type, xyz, xi, eta, zeta, inverse, scratch);
  type.edge_function(xi, eta, zeta, inverse, edge_values);
  type.edge_curl(xi, eta, zeta, inverse, edge_curls);
  return det;
}

void element_point(const V_ELEMENT_TYPE &type, const double (*xyz)[3], double xi, double eta, double zeta,
                   double *out, TRANSFORM_SCRATCH &scratch) {
  type.coordinate_function(xi, eta, zeta, scratch.shape);
  for (int d = 0; d < 3; ++d) {
    double sum = 0.0;
    for (int n = 0; n < type.no_nodes; ++n) sum += scratch.shape[n] * xyz[n][d];
    out[d] = sum;
  }
}

void real_vector_at(int count, const double (*vectors)[3], const double (*matrix)[3], double (*out)[3]) {
  for (int i = 0; i < count; ++i)
    for (int k = 0; k < 3; ++k)
      out[i][k] = vectors[i][0] * matrix[0][k] + vectors[i][1] * matrix[1][k] + vectors[i][2] * matrix[2][k];
}

double element_volume(const V_ELEMENT_TYPE &type, const double (*xyz)[3], const GAUSS_POINTS &points,
                      TRANSFORM_SCRATCH &scratch) {
  double inverse[3][3];
  double volume = 0.0;
  for (int k = 0; k < points.no_points; ++k)
    volume += points.w[k] *
              element_transform(type, xyz, points.p[0][k], points.p[1][k], points.p[2][k], inverse, scratch);
  return volume;
}

double check_element_volume(int element_no, int material_id, const V_ELEMENT_TYPE &type,
                            const double (*xyz)[3], const int *node_ids, TRANSFORM_SCRATCH &scratch) {
  const double volume = element_volume(type, xyz, gauss_points(type.gauss), scratch);
  if (volume > 0.0) return volume;
  double centre[3];
  element_point(type, xyz, type.center[0], type.center[1], type.center[2], centre, scratch);
  const char *what = volume < 0.0 ? "negative" : "zero";
  std::FILE *report = run_files().print_out ? run_files().print_out->stream : nullptr;
  char message[256];
  std::snprintf(message, sizeof message,
                "**** Volume of the element No. %d:(%lf, %lf, %lf) is %s in Material ID = %d. ****\n",
                element_no, centre[0], centre[1], centre[2], what, material_id);
  write_fault("%s", message);
  write_report(report, "%s", message);
  write_fault(" Node IDs =");
  write_report(report, " Node IDs =");
  for (int n = 0; n < type.no_nodes; ++n) {
    write_fault("   %d", node_ids[n]);
    write_report(report, "   %d", node_ids[n]);
  }
  write_fault("\n");
  write_report(report, "\n");
  stop_job(1);
}

} // namespace tesmora
