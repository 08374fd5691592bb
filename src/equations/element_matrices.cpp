// Element integration of the curl-curl, conductivity and second matrices, and their files.
#include "equations/element_matrices.hpp"

#include "job/block_io.hpp"
#include "job/memory.hpp"
#include "job/run_files.hpp"
#include "materials/bh_curve.hpp"
#include "materials/material_tables.hpp"
#include "mesh/gauss.hpp"

#include <cstdint>
#include <cstring>

namespace tesmora {
namespace {

void multiply(const double m[9], const double v[3], double out[3]) {
  for (int r = 0; r < 3; ++r) out[r] = m[3 * r] * v[0] + m[3 * r + 1] * v[1] + m[3 * r + 2] * v[2];
}
double dot(const double a[3], const double b[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

// Adds w * (u_i . T u_j) over i, j <= i into the packed rows starting at `row0`.
void add_block(double *packed, int rows, const double (*u)[3], const double tensor[9], double weight) {
  double tu[max_element_edges][3];
  for (int j = 0; j < rows; ++j) multiply(tensor, u[j], tu[j]);
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j <= i; ++j) packed[packed_index(i, j)] += weight * dot(u[i], tu[j]);
}

// The node rows of a c or e matrix: node against edge, then node against node.
void add_node_block(double *packed, int edges, int nodes, const double (*n)[3], const double (*g)[3],
                    const double tensor[9], double weight) {
  double tg[max_element_nodes][3];
  for (int l = 0; l < nodes; ++l) multiply(tensor, g[l], tg[l]);
  for (int k = 0; k < nodes; ++k) {
    const int row = edges + k;
    for (int j = 0; j < edges; ++j) packed[packed_index(row, j)] += weight * dot(n[j], tg[k]);
    for (int l = 0; l <= k; ++l) packed[packed_index(row, edges + l)] += weight * dot(g[l], tg[k]);
  }
}

void write_record(FFILE *file, int number, int count, const double *values) {
  const std::int32_t head[2] = {number, count};
  write_blocks(head, sizeof(std::int32_t), 2, file);
  write_blocks(values, sizeof(double), static_cast<std::uint64_t>(count), file);
}

void close_list(FFILE *file) {
  const std::int32_t end = -1;
  write_blocks(&end, sizeof end, 1, file);
}

} // namespace

void element_matrices(const V_ELEMENT &element, const ELEMENT_MATRIX_OPTIONS &options, ELEMENT_MATRICES &out,
                      TRANSFORM_SCRATCH &scratch) {
  const V_ELEMENT_TYPE &type = *element.type;
  const int E = type.no_edges;
  const int N = type.no_nodes;
  const MAT_PROPERTY *mat = element.material;
  const MagneticProperty *magnetic = mat ? mat->magnetic : nullptr;
  const bool linear = magnetic && magnetic->type == linear_property && magnetic->linear;
  const bool complex_mu = linear && magnetic->linear->scalar_type == 2;
  const bool need_h = linear && !options.scalar_only;
  const bool need_c = mat && mat->sigma && !options.scalar_only;
  const bool need_e = need_h && complex_mu && options.ac_mode == 2;
  const int edge_block = E * (E + 1) / 2;
  const int ce_rows = options.a_only ? E : E + N;
  out.h_count = need_h ? edge_block : 0;
  out.c_count = need_c ? ce_rows * (ce_rows + 1) / 2 : 0;
  out.e_count = need_e ? edge_block : 0;
  std::memset(out.h, 0, sizeof(double) * static_cast<std::size_t>(out.h_count));
  std::memset(out.c, 0, sizeof(double) * static_cast<std::size_t>(out.c_count));
  std::memset(out.e, 0, sizeof(double) * static_cast<std::size_t>(out.e_count));

  double xyz[max_element_nodes][3];
  int node_ids[max_element_nodes];
  for (int i = 0; i < N; ++i) {
    xyz[i][0] = element.nodes[i]->x;
    xyz[i][1] = element.nodes[i]->y;
    xyz[i][2] = element.nodes[i]->z;
    node_ids[i] = element.nodes[i]->id;
  }
  const GAUSS_POINTS &points = gauss_points(type.gauss);
  double inverse[3][3];
  double values[max_element_edges][3];
  double curls[max_element_edges][3];
  double gradients[max_element_nodes][3];
  double volume = 0.0;
  for (int q = 0; q < points.no_points; ++q) {
    const double xi = points.p[0][q], eta = points.p[1][q], zeta = points.p[2][q];
    const double det = element_transform_edges(type, xyz, xi, eta, zeta, inverse, values, curls, scratch);
    const double weight = det * points.w[q];
    volume += weight;
    MATERIAL_POINT point{&element, xi, eta, zeta, {}};
    element_point(type, xyz, xi, eta, zeta, point.position, scratch);
    if (need_h) {
      if (complex_mu) {
        double nu[18];
        linear_reluctivity_complex(*magnetic->linear, point, nu);
        double re[9], im[9];
        for (int k = 0; k < 9; ++k) {
          re[k] = nu[2 * k];
          im[k] = nu[2 * k + 1];
        }
        add_block(out.h, E, curls, re, weight);
        if (need_e) add_block(out.e, E, curls, im, weight);
      } else {
        double nu[9];
        linear_reluctivity(*magnetic->linear, point, nu);
        if (options.source_reluctivity)
          for (int k = 0; k < 9; ++k) nu[k] = (k % 4 == 0 ? 1.0 / mu0 : 0.0) - nu[k];
        add_block(out.h, E, curls, nu, weight);
      }
    }
    if (need_c) {
      double sigma[9];
      linear_tensor(*mat->sigma, point, sigma);
      add_block(out.c, E, values, sigma, weight);
      if (!options.a_only) {
        element_transform_nodes(type, xyz, xi, eta, zeta, inverse, gradients, scratch);
        add_node_block(out.c, E, N, values, gradients, sigma, weight);
      }
    }
  }
  // A bad element is reported by the element check, which stops the job.
  if (!(volume > 0.0)) check_element_volume(element.id, element.mat_id, type, xyz, node_ids, scratch);
  out.volume = volume;
}

double element_energy_real(const double *packed, int n, const double *x, const int *sign) {
  double sum = 0.0;
  for (int i = 0; i < n; ++i) {
    const double xi = sign ? sign[i] * x[i] : x[i];
    for (int j = 0; j < i; ++j) sum += 2.0 * packed[packed_index(i, j)] * xi * (sign ? sign[j] * x[j] : x[j]);
    sum += packed[packed_index(i, i)] * xi * xi;
  }
  return sum;
}

int make_element_matrices(MESHED_MODEL &first_part, const ELEMENT_MATRIX_OPTIONS &options) {
  RUN_FILES &files = run_files();
  open_ffile(files.element_h_matrices, "w");
  open_ffile(files.element_c_matrices, "w");
  const bool e_file = options.ac_mode == 2 || options.ac_time_domain;
  if (e_file) open_ffile(files.element_e_matrices, "w");
  auto *matrices =
      static_cast<ELEMENT_MATRICES *>(calloc_named(1, sizeof(ELEMENT_MATRICES), "element_matrices"));
  TRANSFORM_SCRATCH scratch;
  int number = 0;
  for (MESHED_MODEL *part = &first_part; part; part = part->next)
    for (int k = 0; k < part->no_v_elements; ++k) {
      ++number;
      element_matrices(part->v_elements[k], options, *matrices, scratch);
      if (matrices->h_count) write_record(files.element_h_matrices, number, matrices->h_count, matrices->h);
      if (matrices->c_count) write_record(files.element_c_matrices, number, matrices->c_count, matrices->c);
      if (e_file && matrices->e_count)
        write_record(files.element_e_matrices, number, matrices->e_count, matrices->e);
    }
  close_list(files.element_h_matrices);
  close_list(files.element_c_matrices);
  if (e_file) close_list(files.element_e_matrices);
  close_ffile(files.element_h_matrices);
  close_ffile(files.element_c_matrices);
  close_ffile(files.element_e_matrices);
  free_named(matrices, "element_matrices");
  return 1;
}

} // namespace tesmora
