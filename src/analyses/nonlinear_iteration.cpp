// The Newton-Raphson loop of a static step, its element routine, line search and stop rules.
#include "analyses/nonlinear_iteration.hpp"

#include "equations/element_matrices.hpp"
#include "equations/matrix_profile.hpp"
#include "input/control_data.hpp"
#include "input/solver_settings.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "job/terminal.hpp"
#include "materials/bh_curve.hpp"
#include "materials/magnetic_property.hpp"
#include "materials/material_tables.hpp"
#include "mesh/element_transform.hpp"
#include "mesh/gauss.hpp"
#include "mesh/model.hpp"
#include "sources/coil_cards.hpp"
#include "sources/external_field.hpp"
#include "sources/field_sources.hpp"
#include "sources/source_matrices.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <map>
#include <new>

namespace tesmora {
namespace {

constexpr const char *work_tag = "non_linear_iteration";

bool is_nonlinear(const V_ELEMENT &element) {
  const MAT_PROPERTY *mat = element.material;
  return element.edges && mat && mat->magnetic && mat->magnetic->type != linear_property;
}

void element_xyz(const V_ELEMENT &element, double (*xyz)[3]) {
  for (int i = 0; i < element.type->no_nodes; ++i) {
    xyz[i][0] = element.nodes[i]->x;
    xyz[i][1] = element.nodes[i]->y;
    xyz[i][2] = element.nodes[i]->z;
  }
}

// The element's edge values of x, each in the element's local direction.
void local_values(const V_ELEMENT &element, const double *x, double *a) {
  for (int i = 0; i < element.type->no_edges; ++i) {
    const POTENTIAL_TERMS *terms = element.edges[i]->potentials;
    double value = 0.0;
    for (int t = 0; terms && t < terms->no_terms; ++t)
      if (terms->terms[t].name == A_EDGE)
        value += terms->terms[t].coefficient * x[terms->terms[t].position - 1];
    a[i] = ((element.edge_direction >> i) & 1u) ? value : -value;
  }
}

// The curl of the edge values x at the element's centre (the coil's field not included).
void centre_curl(const V_ELEMENT &element, const double *x, double B[3], TRANSFORM_SCRATCH &scratch) {
  const V_ELEMENT_TYPE &type = *element.type;
  double xyz[max_element_nodes][3], inverse[3][3], values[max_element_edges][3], curls[max_element_edges][3];
  double a[max_element_edges];
  element_xyz(element, xyz);
  element_transform_edges(type, xyz, type.center[0], type.center[1], type.center[2], inverse, values, curls,
                          scratch);
  local_values(element, x, a);
  B[0] = B[1] = B[2] = 0.0;
  for (int i = 0; i < type.no_edges; ++i)
    for (int d = 0; d < 3; ++d) B[d] += a[i] * curls[i][d];
}

double dot3(const double *a, const double *b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

void tensor_times(const double *T, const double *v, double *out) {
  for (int r = 0; r < 3; ++r) out[r] = T[3 * r] * v[0] + T[3 * r + 1] * v[1] + T[3 * r + 2] * v[2];
}

// The coil field at an element's centre and Gauss points, per unit amplitude of one coil.
void coil_at_points(const V_ELEMENT &element, const EXTERNAL_FIELD &field, const COIL_EVALUATION &evaluation,
                    double *out, TRANSFORM_SCRATCH &scratch) {
  const V_ELEMENT_TYPE &type = *element.type;
  double xyz[max_element_nodes][3], p[3];
  element_xyz(element, xyz);
  element_point(type, xyz, type.center[0], type.center[1], type.center[2], p, scratch);
  external_field_B(field, evaluation, p, out);
  const GAUSS_POINTS &points = gauss_points(type.gauss);
  for (int q = 0; q < points.no_points; ++q) {
    element_point(type, xyz, points.p[0][q], points.p[1][q], points.p[2][q], p, scratch);
    external_field_B(field, evaluation, p, out + 3 * (q + 1));
  }
}

// Adds theta s_i s_j c_a c_b J_ij of an element into the lower part of the matrix, and
// -theta s_i c_a R_i into rhs: every ordered pair of local edges whose unknowns fall in the lower
// triangle, so that two edges on one unknown count twice.
void scatter_element(const V_ELEMENT &element, const double *J, const double *R, SPARSE_MATRIX *matrix,
                     double *rhs, double theta) {
  const int n = element.type->no_edges;
  for (int i = 0; i < n; ++i) {
    const POTENTIAL_TERMS *ti = element.edges[i]->potentials;
    const double si = ((element.edge_direction >> i) & 1u) ? 1.0 : -1.0;
    for (int a = 0; ti && a < ti->no_terms; ++a) {
      if (ti->terms[a].name != A_EDGE) continue;
      const int row = ti->terms[a].position - 1;
      const double ci = theta * (si * ti->terms[a].coefficient);
      rhs[row] -= ci * R[i];
      for (int j = 0; J && j < n; ++j) {
        const POTENTIAL_TERMS *tj = element.edges[j]->potentials;
        const double sj = ((element.edge_direction >> j) & 1u) ? 1.0 : -1.0;
        const double k = J[packed_index(std::max(i, j), std::min(i, j))];
        for (int b = 0; tj && b < tj->no_terms; ++b) {
          if (tj->terms[b].name != A_EDGE) continue;
          const int column = tj->terms[b].position - 1;
          if (column > row) continue;
          const int at =
              location_in_pattern(row, column, matrix->pattern.row_head_pointers, matrix->pattern.columns);
          matrix->matrix_lower[at] += ci * sj * tj->terms[b].coefficient * k;
        }
      }
    }
  }
}

double norm2(int n, const double *v) {
  double sum = 0.0;
  for (int i = 0; i < n; ++i) sum += v[i] * v[i];
  return sum;
}

double dot(int n, const double *a, const double *b) {
  double sum = 0.0;
  for (int i = 0; i < n; ++i) sum += a[i] * b[i];
  return sum;
}

const double *coil_of(const NONLINEAR_WORK &work, std::size_t k) {
  return work.no_coils ? work.coil_now.data() + 3 * work.first_point[k] : nullptr;
}

// The nonlinear methods: which law the element terms take.
enum class METHOD { newton = 0, fixed_point = 1, stored_tensor = 2 };

ELEMENT_LAW law_of(const NONLINEAR_WORK &work, METHOD method, std::size_t k) {
  ELEMENT_LAW law;
  if (method == METHOD::fixed_point) law.nu_fixed = work.nu_fixed.data() + 3 * k;
  if (method == METHOD::stored_tensor) law.stored = work.stored.data() + 12 * work.first_point[k];
  return law;
}

void add_element_terms(NONLINEAR_WORK &work, SPARSE_MATRIX *matrix, const double *x, double *rhs_out,
                       bool with_jacobian, METHOD method, double weight);

// rhs_out = b - K_lin x - the nonlinear elements' residuals; with `matrix` also their Jacobians
// added into the matrix (which then holds the linear values on entry). The stored-tensor method
// solves for the new solution itself: its right-hand side is b less the constant part of the
// stored law, without K_lin x.
void residual_and_jacobian(NONLINEAR_WORK &work, SPARSE_MATRIX *matrix, const double *x, double *rhs_out,
                           bool with_jacobian, int n, METHOD method = METHOD::newton) {
  const auto start = std::chrono::steady_clock::now();
  const SPARSE_PATTERN &p = matrix->pattern;
  if (method == METHOD::stored_tensor) {
    std::memcpy(rhs_out, work.rhs_vector.data(), sizeof(double) * static_cast<std::size_t>(n));
  } else {
    matrix_vector_product(n, p.row_head_pointers, p.no_elements_in_row, p.columns, work.linear_lower.data(),
                          x, work.product.data());
    for (int i = 0; i < n; ++i) rhs_out[i] = work.rhs_vector[i] - work.product[i];
  }
  add_element_terms(work, matrix, x, rhs_out, with_jacobian, method, work.theta);
  work.element_seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The nonlinear elements' terms at x: -weight R into rhs_out and, with_jacobian, weight J into
// the matrix.
void add_element_terms(NONLINEAR_WORK &work, SPARSE_MATRIX *matrix, const double *x, double *rhs_out,
                       bool with_jacobian, METHOD method, double weight) {
  const int mat_points = control_data().MAT_POINTS;
  // The element terms in parallel, a chunk at a time into buffers, then added in element order
  // so that the sums do not depend on the threads.
  constexpr int chunk = 2048;
  const int count = static_cast<int>(work.elements.size());
  int edges = 1;
  for (const V_ELEMENT *element : work.elements) edges = std::max(edges, element->type->no_edges);
  const int J_size = with_jacobian ? edges * (edges + 1) / 2 : 0;
  TaggedArray<double> J(std::max(static_cast<std::int64_t>(chunk) * J_size, std::int64_t{1}),
                        "element_matrices");
  TaggedArray<double> R(static_cast<std::int64_t>(chunk) * edges, "element_matrices");
  for (int first = 0; first < count; first += chunk) {
    const int last = std::min(count, first + chunk);
#pragma omp parallel for schedule(dynamic, 32)
    for (int k = first; k < last; ++k) {
      const std::size_t e = static_cast<std::size_t>(k);
      newton_element(*work.elements[e], x, coil_of(work, e), mat_points,
                     with_jacobian ? J.data() + static_cast<std::int64_t>(k - first) * J_size : nullptr,
                     R.data() + static_cast<std::int64_t>(k - first) * edges, law_of(work, method, e));
    }
    for (int k = first; k < last; ++k)
      scatter_element(*work.elements[static_cast<std::size_t>(k)],
                      with_jacobian ? J.data() + static_cast<std::int64_t>(k - first) * J_size : nullptr,
                      R.data() + static_cast<std::int64_t>(k - first) * edges, matrix, rhs_out, weight);
  }
}

// Max delta B over the nonlinear elements at their centres, for the update factor `factor`.
double max_delta_B(const NONLINEAR_WORK &work, const double *delta, double factor, double limit,
                   int &element_no, int &unsatisfied) {
  double largest = 0.0;
  element_no = 0;
  unsatisfied = 0;
  TRANSFORM_SCRATCH scratch;
  for (std::size_t k = 0; k < work.elements.size(); ++k) {
    const V_ELEMENT &element = *work.elements[k];
    double dB[3];
    centre_curl(element, delta, dB, scratch);
    const double size = std::fabs(factor) * std::sqrt(dot3(dB, dB));
    if (size >= limit) ++unsatisfied;
    if (size > largest) {
      largest = size;
      element_no = element.id;
    }
  }
  return largest;
}

// The line search along delta from x (already moved to x + delta): the step that makes the
// residual orthogonal to delta, from three samples, clamped to [0.1, 2]. Returns tau.
double line_search(NONLINEAR_WORK &work, SPARSE_MATRIX *matrix, double *x, int n) {
  const double *d = work.delta.data();
  double g[3];
  g[0] = dot(n, work.residual.data(), d);
  write_check("tau= %12.4e  residual= %12.4e\n", 0.0, g[0]);
  if (g[0] == 0.0) {
    for (int i = 0; i < n; ++i) x[i] -= d[i];
    return 0.0;
  }
  TaggedArray<double> r(n, "residual");
  for (int i = 0; i < n; ++i) x[i] -= 0.5 * d[i];
  residual_and_jacobian(work, matrix, x, r.data(), false, n);
  g[1] = dot(n, r.data(), d);
  write_check("tau= %12.4e  residual= %12.4e\n", 0.5, g[1]);
  for (int i = 0; i < n; ++i) x[i] += 0.5 * d[i];
  residual_and_jacobian(work, matrix, x, r.data(), false, n);
  g[2] = dot(n, r.data(), d);
  write_check("tau= %12.4e  residual= %12.4e\n", 1.0, g[2]);
  if (g[0] < 0.0)
    for (double &v : g) v = -v;
  double tau = 1.0;
  if (g[1] >= 0.0) {
    if (g[1] < g[0] && g[2] < g[1]) tau = 0.5 - 0.5 * g[1] / (g[2] - g[1]);
  } else if (g[1] >= -10.0 * g[0]) {
    tau = -0.5 * g[0] / (g[1] - g[0]);
  }
  tau = std::clamp(tau, 0.1, 2.0);
  for (int i = 0; i < n; ++i) x[i] += (tau - 1.0) * d[i];
  write_check("searched tau= %12.4e\n\n", tau);
  write_report(run_files().print_out->stream, "searched tau= %12.4e\n", tau);
  return tau;
}

// The fixed-point method's reluctivities: the secant H/B of each nonlinear element's law at its
// centre, for the solution x.
void update_fixed_point_nu(NONLINEAR_WORK &work, const double *x) {
  TRANSFORM_SCRATCH scratch;
  for (std::size_t k = 0; k < work.elements.size(); ++k) {
    const V_ELEMENT &element = *work.elements[k];
    const V_ELEMENT_TYPE &type = *element.type;
    double B[3], H[3], xyz[max_element_nodes][3];
    centre_curl(element, x, B, scratch);
    element_xyz(element, xyz);
    if (const double *coil = coil_of(work, k))
      for (int d = 0; d < 3; ++d) B[d] += coil[d];
    MATERIAL_POINT point{&element, type.center[0], type.center[1], type.center[2], {}};
    element_point(type, xyz, point.u, point.v, point.w, point.position, scratch);
    const MagneticProperty &magnetic = *element.material->magnetic;
    magnetic.evaluate_secant(magnetic, B, point, H, work.nu_fixed.data() + 3 * k);
  }
}

// The stored-tensor method's laws: Newton's law at each Gauss point of every nonlinear element
// for the solution x, kept as its constant part and tangent.
void update_stored_tensors(NONLINEAR_WORK &work, const double *x) {
  const auto start = std::chrono::steady_clock::now();
  const int mat_points = control_data().MAT_POINTS;
  const int count = static_cast<int>(work.elements.size());
#pragma omp parallel
  {
    double R[max_element_edges];
#pragma omp for schedule(dynamic, 32)
    for (int k = 0; k < count; ++k) {
      const std::size_t e = static_cast<std::size_t>(k);
      ELEMENT_LAW law;
      law.store = work.stored.data() + 12 * work.first_point[e];
      newton_element(*work.elements[e], x, coil_of(work, e), mat_points, nullptr, R, law);
    }
  }
  work.element_seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Sum of the coils' unit fields at the step's amplitudes.
void update_coil_field(NONLINEAR_WORK &work) {
  if (work.no_coils == 0) return;
  const FIELD_SOURCES &sources = field_sources();
  const std::int64_t values = 3LL * work.no_points;
  for (std::int64_t i = 0; i < values; ++i) work.coil_now[i] = 0.0;
  for (int c = 0; c < work.no_coils; ++c) {
    const double amplitude = sources.data[work.coil_source[static_cast<std::size_t>(c)]].amplitude;
    const double *unit = work.coil_unit.data() + static_cast<std::int64_t>(c) * values;
    for (std::int64_t i = 0; i < values; ++i) work.coil_now[i] += amplitude * unit[i];
  }
}

} // namespace

void keep_linear_matrix(NONLINEAR_WORK &work, const SPARSE_MATRIX &matrix) {
  if (work.linear_lower.size() != std::max(matrix.size, 1))
    work.linear_lower = TaggedArray<double>(std::max(matrix.size, 1), "sparse_matrix->matrix_lower");
  std::memcpy(work.linear_lower.data(), matrix.matrix_lower,
              sizeof(double) * static_cast<std::size_t>(matrix.size));
}

void subtract_element_residuals(NONLINEAR_WORK &work, const double *x, double weight, double *rhs) {
  if (work.elements.empty() || weight == 0.0) return;
  const auto start = std::chrono::steady_clock::now();
  update_coil_field(work);
  add_element_terms(work, nullptr, x, rhs, false, METHOD::newton, weight);
  work.element_seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void newton_element(const V_ELEMENT &element, const double *x, const double *coil, int mat_points, double *J,
                    double *R, const ELEMENT_LAW &law) {
  const V_ELEMENT_TYPE &type = *element.type;
  const int E = type.no_edges;
  const MagneticProperty &magnetic = *element.material->magnetic;
  TRANSFORM_SCRATCH scratch;
  double xyz[max_element_nodes][3], inverse[3][3], values[max_element_edges][3], curls[max_element_edges][3];
  double a[max_element_edges];
  element_xyz(element, xyz);
  local_values(element, x, a);
  if (J) std::memset(J, 0, sizeof(double) * static_cast<std::size_t>(E * (E + 1) / 2));
  std::fill(R, R + E, 0.0);
  auto flux_density = [&](const double *coil_B, double *B) {
    B[0] = B[1] = B[2] = 0.0;
    for (int i = 0; i < E; ++i)
      for (int d = 0; d < 3; ++d) B[d] += a[i] * curls[i][d];
    if (coil_B)
      for (int d = 0; d < 3; ++d) B[d] += coil_B[d];
  };
  // With MAT_POINTS 0 the law is evaluated once, at the centre, and carried to the Gauss points
  // by its tangent.
  double Bc[3], Hc[3], Tc[9];
  if (mat_points == 0 && !law.nu_fixed && !law.stored) {
    element_transform_edges(type, xyz, type.center[0], type.center[1], type.center[2], inverse, values, curls,
                            scratch);
    MATERIAL_POINT point{&element, type.center[0], type.center[1], type.center[2], {}};
    element_point(type, xyz, point.u, point.v, point.w, point.position, scratch);
    flux_density(coil, Bc);
    magnetic.evaluate(magnetic, Bc, point, Hc, Tc);
  }
  const GAUSS_POINTS &points = gauss_points(type.gauss);
  for (int q = 0; q < points.no_points; ++q) {
    const double xi = points.p[0][q], eta = points.p[1][q], zeta = points.p[2][q];
    const double w =
        points.w[q] * element_transform_edges(type, xyz, xi, eta, zeta, inverse, values, curls, scratch);
    double B[3], H[3], T[9];
    const double *coil_B = coil ? coil + 3 * (q + 1) : nullptr;
    if (law.stored) {
      std::memcpy(H, law.stored + 12 * (q + 1), sizeof H);
      std::memcpy(T, law.stored + 12 * (q + 1) + 3, sizeof T);
    } else if (law.nu_fixed) {
      flux_density(coil_B, B);
      std::fill(T, T + 9, 0.0);
      for (int d = 0; d < 3; ++d) {
        T[4 * d] = law.nu_fixed[d];
        H[d] = law.nu_fixed[d] * B[d];
      }
    } else if (mat_points == 0) {
      flux_density(coil_B, B);
      const double dB[3] = {B[0] - Bc[0], B[1] - Bc[1], B[2] - Bc[2]};
      tensor_times(Tc, dB, H);
      for (int d = 0; d < 3; ++d) H[d] += Hc[d];
      std::memcpy(T, Tc, sizeof T);
    } else {
      flux_density(coil_B, B);
      MATERIAL_POINT point{&element, xi, eta, zeta, {}};
      element_point(type, xyz, xi, eta, zeta, point.position, scratch);
      magnetic.evaluate(magnetic, B, point, H, T);
    }
    if (law.store) {
      // The law linear in curl A = B - B_coil about this point: H = H0 + T curl A.
      double *kept = law.store + 12 * (q + 1);
      double curl_A[3], T_curl_A[3];
      for (int d = 0; d < 3; ++d) curl_A[d] = B[d] - (coil_B ? coil_B[d] : 0.0);
      tensor_times(T, curl_A, T_curl_A);
      for (int d = 0; d < 3; ++d) kept[d] = H[d] - T_curl_A[d];
      std::memcpy(kept + 3, T, sizeof T);
    }
    for (int i = 0; i < E; ++i) R[i] += w * dot3(curls[i], H);
    if (!J) continue;
    double Tcurl[max_element_edges][3];
    for (int j = 0; j < E; ++j) tensor_times(T, curls[j], Tcurl[j]);
    for (int i = 0; i < E; ++i)
      for (int j = 0; j <= i; ++j) J[packed_index(i, j)] += w * dot3(curls[i], Tcurl[j]);
  }
}

NONLINEAR_WORK *make_nonlinear_work(const MESHED_MODEL &first_part, int no_unknowns) {
  auto *work = static_cast<NONLINEAR_WORK *>(calloc_named(1, sizeof(NONLINEAR_WORK), work_tag));
  new (work) NONLINEAR_WORK{};
  int number = 0;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next)
    for (int k = 0; k < part->no_v_elements; ++k) {
      ++number;
      const V_ELEMENT &element = part->v_elements[k];
      if (!is_nonlinear(element)) continue;
      work->elements.push_back(&element);
      work->element_numbers.push_back(number);
      work->first_point.push_back(work->no_points);
      work->no_points += 1 + gauss_points(element.type->gauss).no_points;
    }
  const int n = std::max(no_unknowns, 1);
  for (TaggedArray<double> *v : {&work->rhs_vector, &work->delta, &work->product})
    *v = TaggedArray<double>(n, "solution in  loop_of_non_linear_iteration");
  work->residual = TaggedArray<double>(n, "residual");
  if (solver_settings().non_linear_iteration.method == 1)
    work->nu_fixed =
        TaggedArray<double>(std::max<std::int64_t>(3 * static_cast<std::int64_t>(work->elements.size()), 1),
                            "nu_for_fixed_point");
  if (solver_settings().non_linear_iteration.method == 2)
    work->stored = TaggedArray<double>(std::max<std::int64_t>(12LL * work->no_points, 1), "stored_tensors");
  work->norm_vector = TaggedArray<double>(n, "norm_vector");
  // The coils whose field a nonlinear element carries, and that field at the elements' points.
  const FIELD_SOURCES &sources = field_sources();
  const CONTROL_DATA &control = control_data();
  for (int s = 0; s < sources.no_sources && !control.no_coil_field; ++s) {
    const FIELD_SOURCE &source = sources.data[s];
    if (source.type != source_coil || !source.external) continue;
    const int potential = source.external->potential_option;
    if (std::any_of(work->elements.begin(), work->elements.end(),
                    [&](const V_ELEMENT *e) { return region_carries_coil(e->potential_bits, potential); }))
      work->coil_source.push_back(s);
  }
  work->no_coils = static_cast<int>(work->coil_source.size());
  if (work->no_coils == 0) return work;
  const std::int64_t values = 3LL * work->no_points;
  work->coil_unit = TaggedArray<double>(values * work->no_coils, "B_source_at_element_centers");
  work->coil_now = TaggedArray<double>(values, "B_source_at_element_centers");
  const COIL_EVALUATION evaluation{coil_options(), nullptr};
  const int count = static_cast<int>(work->elements.size());
  for (int c = 0; c < work->no_coils; ++c) {
    const EXTERNAL_FIELD &field = *sources.data[work->coil_source[static_cast<std::size_t>(c)]].external;
    double *unit = work->coil_unit.data() + c * values;
#pragma omp parallel
    {
      TRANSFORM_SCRATCH scratch;
#pragma omp for schedule(dynamic, 64)
      for (int k = 0; k < count; ++k) {
        const V_ELEMENT &element = *work->elements[static_cast<std::size_t>(k)];
        if (region_carries_coil(element.potential_bits, field.potential_option))
          coil_at_points(element, field, evaluation,
                         unit + 3 * work->first_point[static_cast<std::size_t>(k)], scratch);
      }
    }
  }
  return work;
}

void free_nonlinear_work(NONLINEAR_WORK **work) {
  if (!*work) return;
  (*work)->~NONLINEAR_WORK();
  free_named(*work, work_tag);
  *work = nullptr;
}

void write_saturation(const NONLINEAR_WORK &work, const double *x, int step) {
  struct STATE {
    double B = 0.0, H = 0.0, mu_low = 1e300, mu_high = 0.0;
  };
  std::map<int, STATE> materials; // by MAT_ID
  TRANSFORM_SCRATCH scratch;
  for (std::size_t k = 0; k < work.elements.size(); ++k) {
    const V_ELEMENT &element = *work.elements[k];
    const V_ELEMENT_TYPE &type = *element.type;
    double B[3], H[3], T[9], xyz[max_element_nodes][3];
    centre_curl(element, x, B, scratch);
    if (const double *coil = coil_of(work, k))
      for (int d = 0; d < 3; ++d) B[d] += coil[d];
    element_xyz(element, xyz);
    MATERIAL_POINT point{&element, type.center[0], type.center[1], type.center[2], {}};
    element_point(type, xyz, point.u, point.v, point.w, point.position, scratch);
    const MagneticProperty &magnetic = *element.material->magnetic;
    magnetic.evaluate(magnetic, B, point, H, T);
    const double b = std::sqrt(dot3(B, B)), h = std::sqrt(dot3(H, H));
    STATE &state = materials[element.material->id];
    state.B = std::max(state.B, b);
    state.H = std::max(state.H, h);
    if (h > 0.0) {
      const double mu_r = b / (mu0 * h);
      state.mu_low = std::min(state.mu_low, mu_r);
      state.mu_high = std::max(state.mu_high, mu_r);
    }
  }
  for (const auto &[id, state] : materials)
    write_terminal(
        "  step %d: material %d: largest |B| %.4g T, largest |H| %.4g A/m, B/(mu0 H) from %.4g to %.4g\n",
        step, id, state.B, state.H, state.mu_high > 0.0 ? state.mu_low : 0.0, state.mu_high);
}

NEWTON_RESULT loop_of_non_linear_iteration(SYSTEM_EQUATION &equation, NONLINEAR_WORK &work,
                                           SOLVE_FIGURES &figures, int step) {
  const int n = equation.no_unknowns;
  const SOLVER_SETTINGS &settings = solver_settings();
  const NON_LINEAR_ITERATION &nl = settings.non_linear_iteration;
  const double convergence_cg = settings.cg_iteration.convergence;
  std::FILE *output = run_files().print_out->stream;
  double *x = equation.solution;
  std::memcpy(work.rhs_vector.data(), equation.RHS, sizeof(double) * static_cast<std::size_t>(n));
  update_coil_field(work);
  if (nl.init_option == 1) std::fill(x, x + n, 0.0);
  // The matrix of the linear elements, read from its file by the first step only; each iteration
  // adds the Jacobian to a copy of its values.
  SPARSE_MATRIX *matrix = equation.t_matrix;
  if (work.linear_lower.size() == 0) {
    matrix = load_matrix(equation);
    keep_linear_matrix(work, *matrix);
  }
  // A transient step starts from the previous solution unless that is a bad guess for the
  // linear part of its system.
  if (work.start_threshold > 0.0) {
    std::memcpy(matrix->matrix_lower, work.linear_lower.data(),
                sizeof(double) * static_cast<std::size_t>(matrix->size));
    matrix->is_scaled = 0;
    choose_initial_value(*matrix, equation.RHS, x, n, work.start_threshold, work.periodic_start);
  }
  std::memcpy(work.norm_vector.data(), work.rhs_vector.data(), sizeof(double) * static_cast<std::size_t>(n));
  NEWTON_RESULT result;
  const double element_before = work.element_seconds, solve_before = work.solve_seconds;
  double e = 0.0;
  const METHOD method = nl.method == 1   ? METHOD::fixed_point
                        : nl.method == 0 ? METHOD::newton
                                         : METHOD::stored_tensor;
  for (int k = 0; k < std::max(nl.no_iterations, 0); ++k) {
    ++work.total_iterations;
    std::memcpy(matrix->matrix_lower, work.linear_lower.data(),
                sizeof(double) * static_cast<std::size_t>(matrix->size));
    matrix->is_factorised = 0;
    matrix->is_scaled = 0;
    double *rhs = equation.RHS;
    // The fixed-point method takes the secant reluctivities of the step's start.
    if (method == METHOD::fixed_point && k == 0) update_fixed_point_nu(work, x);
    // The stored-tensor method linearises the law about the iteration's start.
    if (method == METHOD::stored_tensor) update_stored_tensors(work, x);
    residual_and_jacobian(work, matrix, x, rhs, true, n, method);
    if (nl.line_search) std::memcpy(work.residual.data(), rhs, sizeof(double) * static_cast<std::size_t>(n));
    // A later step that starts converged ends without a solve.
    if (k == 0 && nl.check_b == 0.0 && step > 1 && control_data().INITIAL_STEP != -1) {
      const double b2 = norm2(n, work.norm_vector.data());
      // The stored-tensor right-hand side is not the residual: that is Newton's at x.
      if (method == METHOD::stored_tensor)
        residual_and_jacobian(work, matrix, x, work.residual.data(), false, n);
      const double r2 = norm2(n, method == METHOD::stored_tensor ? work.residual.data() : rhs);
      const double start = b2 > 0.0 ? std::sqrt(r2 / b2) : 0.0;
      if (start < nl.conv) {
        write_report(output, "Non_linear iteration No.%5d   error = %13.5e \n", 0, start);
        result = {1, 0, start};
        break;
      }
    }
    // Newton and the fixed point solve for the correction, from 0; the stored-tensor method for the
    // new solution, from the present one.
    if (method == METHOD::stored_tensor)
      std::memcpy(work.delta.data(), x, sizeof(double) * static_cast<std::size_t>(n));
    else
      std::fill(work.delta.data(), work.delta.data() + n, 0.0);
    SOLVE_REQUEST request;
    // Without nonlinear elements the one solve is the answer: it takes the linear tolerance.
    request.in_nonlinear = work.elements.empty() ? 0 : 1;
    request.recompute_norm = k == 0 ? 1 : 0;
    // Every solve of the step measures its residual against the step's source load.
    TaggedArray<double> norm_copy;
    if (k == 0 && nl.delta_a == 0) {
      norm_copy = TaggedArray<double>(n, "norm_vector");
      std::memcpy(norm_copy.data(), work.norm_vector.data(), sizeof(double) * static_cast<std::size_t>(n));
      request.norm_vector = norm_copy.data();
    }
    const bool zero_residual = norm2(n, rhs) == 0.0;
    const auto solve_start = std::chrono::steady_clock::now();
    const SOLVE_RESULT solve =
        solve_sparse_matrix(matrix, rhs, work.delta.data(), n, settings, figures, request);
    work.solve_seconds +=
        std::chrono::duration<double>(std::chrono::steady_clock::now() - solve_start).count();
    record_solve_result(solve);
    // A zero residual needs no solve: the error is 0.
    const bool zero = zero_residual || !solve.judged;
    e = zero ? 0.0 : figures.first_error;
    const double f = zero ? 0.0 : figures.error;
    // The update: a plain step, or Newton's line search along it.
    double factor = nl.relaxation;
    if (method == METHOD::stored_tensor) {
      // The solve gave the new solution; delta keeps the change, for Max delta B.
      factor = 1.0;
      for (int i = 0; i < n; ++i) {
        const double change = work.delta[i] - x[i];
        x[i] = work.delta[i];
        work.delta[i] = change;
      }
    } else if (method == METHOD::newton && nl.line_search) {
      for (int i = 0; i < n; ++i) x[i] += work.delta[i];
      const auto search_start = std::chrono::steady_clock::now();
      factor = line_search(work, matrix, x, n);
      work.search_seconds +=
          std::chrono::duration<double>(std::chrono::steady_clock::now() - search_start).count();
    } else {
      for (int i = 0; i < n; ++i) x[i] += nl.relaxation * work.delta[i];
    }
    if (method == METHOD::fixed_point) {
      update_fixed_point_nu(work, x);
      const double x2 = norm2(n, x);
      const double change =
          x2 > 0.0 ? std::fabs(nl.relaxation) * std::sqrt(norm2(n, work.delta.data()) / x2) : 0.0;
      write_report(output, "Non_linear iteration No.%5d   error = %13.5e   Fixed-Point error = %13.5e \n",
                   k + 1, e, change);
      write_check("Non_linear iteration No.%5d   error = %13.5e   Fixed-Point error = %13.5e \n", k + 1, e,
                  change);
    } else {
      write_report(output, "Non_linear iteration No.%5d   error = %13.5e \n", k + 1, e);
      write_check("Non_linear iteration No.%5d   error = %13.5e \n", k + 1, e);
    }
    write_newton_iteration(step, k + 1, e, solve.iterations);
    double delta_B = 0.0;
    if (nl.check_b != 0.0) {
      int element_no = 0, unsatisfied = 0;
      delta_B = max_delta_B(work, work.delta.data(), factor, nl.check_b, element_no, unsatisfied);
      write_report(output, "Non_linear iteration No.%5d   Max delta B = %11.2e\n", k + 1, delta_B);
      if (delta_B == 0.0)
        write_report(output, "Max delta B = 0.0\n");
      else
        write_report(output, "Max delta B = %11.2e, Element No.= %d, Number of unsatisfied elements= %d\n",
                     delta_B, element_no, unsatisfied);
    }
    result = {0, k + 1, nl.check_b_relative ? delta_B : e};
    // The stop rules: the error (or Max delta B alone) below its limit, unless the solve itself
    // fell short; else a solve that made no progress.
    const bool small = nl.check_b_relative ? delta_B < nl.check_b : e < nl.conv;
    bool stop = false;
    if (small && !(f >= convergence_cg && figures.status == 1)) stop = true;
    if (!stop && e == f) stop = true;
    // Without a nonlinear element one converged solve is the answer.
    if (!stop && work.elements.empty() && f < convergence_cg) stop = true;
    if (std::isnan(e)) break;
    if (stop) {
      result.converged = 1;
      break;
    }
    if (k + 1 == nl.no_iterations) write_report(output, "Max non_linear iteration.\n");
  }
  result.element_seconds = work.element_seconds - element_before;
  result.solve_seconds = work.solve_seconds - solve_before;
  return result;
}

} // namespace tesmora
