// Load columns of the field sources: the coil potential on edges and its coupling into the unknowns.
#include "sources/source_matrices.hpp"

#include "equations/element_matrices.hpp"
#include "equations/sparse_matrix.hpp"
#include "input/control_data.hpp"
#include "job/block_io.hpp"
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
#include "mesh/model_building.hpp"
#include "sources/coil_cards.hpp"
#include "sources/external_field.hpp"
#include "sources/field_sources.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace tesmora {
namespace {

constexpr const char *A_source_tag = "field_source->field.external->A_source";

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// A coil's field takes part in an element when the element's region carries it: linear, or
// nonlinear (whose element then takes the whole 1/mu0 B_coil here and H(B) in the Newton loop).
bool element_takes_part(const V_ELEMENT &element, int coil_potential) {
  if (!element.edges || !region_carries_coil(element.potential_bits, coil_potential)) return false;
  const MAT_PROPERTY *mat = element.material;
  if (!mat || !mat->magnetic) return false;
  return mat->magnetic->type != linear_property || mat->magnetic->linear;
}

bool coil_reaches_a_region(const MESHED_MODEL &first_part, int coil_potential) {
  for (const MESHED_MODEL *part = &first_part; part; part = part->next)
    for (int k = 0; k < part->no_v_elements; ++k)
      if (region_carries_coil(part->v_elements[k].potential_bits, coil_potential)) return true;
  return false;
}

// The material id pairs that share a face, over all parts of the chain.
std::vector<std::pair<int, int>> chain_region_neighbours(const MESHED_MODEL &first_part) {
  std::vector<std::pair<int, int>> pairs;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next) {
    const std::vector<std::pair<int, int>> more = find_region_neighbours(*part);
    pairs.insert(pairs.end(), more.begin(), more.end());
  }
  std::sort(pairs.begin(), pairs.end());
  pairs.erase(std::unique(pairs.begin(), pairs.end()), pairs.end());
  return pairs;
}

// Stops a job in which a region that does not carry the coil's field shares faces with a region
// that does. Across such a face the potential jumps by the coil's own A, and this build has no
// interface terms for that jump: the coil's field would silently be left out of the region (in
// iron, the whole magnetisation). The job is refused, naming the regions and the remedy.
void stop_at_regions_left_out(const FIELD_SOURCE &source,
                              const std::vector<std::pair<int, int>> &neighbours) {
  const int coil_potential = source.external->potential_option;
  auto carries = [&](int mat_id) {
    return region_carries_coil(find_mat_property(mat_id)->potential_flags & 3, coil_potential);
  };
  std::vector<int> left_out;
  for (const auto &[a, b] : neighbours) {
    if (carries(a) && !carries(b)) left_out.push_back(b);
    if (carries(b) && !carries(a)) left_out.push_back(a);
  }
  if (left_out.empty()) return;
  std::sort(left_out.begin(), left_out.end());
  left_out.erase(std::unique(left_out.begin(), left_out.end()), left_out.end());
  std::string regions;
  for (const int region : left_out) regions += (regions.empty() ? "" : ", ") + std::to_string(region);
  char what[512];
  std::snprintf(what, sizeof what,
                "coupling of the field of COIL source %d across the faces of region%s %s, which lack%s its "
                "POTENTIAL %d while a neighbour has it (the coil's field would be missing there; give such "
                "regions the coil's POTENTIAL, which is exact in iron too)",
                source.series_no, left_out.size() > 1 ? "s" : "", regions.c_str(),
                left_out.size() > 1 ? "" : "s", coil_potential);
  stop_at_unbuilt(UNBUILT::work, what);
}

// The chain index of every edge: the parts' edges one after the other.
std::vector<int> part_offsets(const MESHED_MODEL &first_part) {
  std::vector<int> offsets;
  int offset = 0;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next) {
    offsets.push_back(offset);
    offset += part->no_edges;
  }
  return offsets;
}

// The row of the unknowns an element edge feeds: its signed A terms.
void scatter_edge_row(const EDGE &edge, double value, double *work) {
  const POTENTIAL_TERMS *terms = edge.potentials;
  for (int t = 0; terms && t < terms->no_terms; ++t)
    if (terms->terms[t].name == A_EDGE)
      work[terms->terms[t].position - 1] += terms->terms[t].coefficient * value;
}

// One element's rows of a coil's load column, in the element's local edge directions: the
// integral of curl N_i . (nu0 I - nu) B_s. Elements whose reluctivity is nu0 (air) give zeros
// without evaluating the coil.
void element_source_load(const V_ELEMENT &element, const EXTERNAL_FIELD &field,
                         const COIL_EVALUATION &evaluation, double *y, TRANSFORM_SCRATCH &scratch) {
  const V_ELEMENT_TYPE &type = *element.type;
  const int E = type.no_edges, N = type.no_nodes;
  // A nonlinear law keeps its reluctivity in the Newton residual: here nu counts as 0.
  const MagneticProperty &magnetic = *element.material->magnetic;
  const ConductivityProperty *linear = magnetic.type == linear_property ? magnetic.linear : nullptr;
  double xyz[max_element_nodes][3];
  for (int i = 0; i < N; ++i) {
    xyz[i][0] = element.nodes[i]->x;
    xyz[i][1] = element.nodes[i]->y;
    xyz[i][2] = element.nodes[i]->z;
  }
  for (int i = 0; i < E; ++i) y[i] = 0.0;
  const GAUSS_POINTS &points = gauss_points(type.gauss);
  double inverse[3][3], values[max_element_edges][3], curls[max_element_edges][3];
  for (int q = 0; q < points.no_points; ++q) {
    const double xi = points.p[0][q], eta = points.p[1][q], zeta = points.p[2][q];
    MATERIAL_POINT point{&element, xi, eta, zeta, {}};
    element_point(type, xyz, xi, eta, zeta, point.position, scratch);
    double nu[9] = {};
    if (linear && linear->scalar_type == 2) {
      double complex_nu[18];
      linear_reluctivity_complex(*linear, point, complex_nu);
      for (int m = 0; m < 9; ++m) nu[m] = complex_nu[2 * m];
    } else if (linear) {
      linear_reluctivity(*linear, point, nu);
    }
    double difference[9];
    bool zero = true;
    for (int m = 0; m < 9; ++m) {
      difference[m] = (m % 4 == 0 ? 1.0 / mu0 : 0.0) - nu[m];
      zero = zero && std::fabs(difference[m]) <= 1e-12 / mu0;
    }
    if (zero) continue;
    const double det = element_transform_edges(type, xyz, xi, eta, zeta, inverse, values, curls, scratch);
    double B[3], H[3];
    external_field_B(field, evaluation, point.position, B);
    for (int r = 0; r < 3; ++r)
      H[r] = difference[3 * r] * B[0] + difference[3 * r + 1] * B[1] + difference[3 * r + 2] * B[2];
    const double weight = det * points.w[q];
    for (int i = 0; i < E; ++i)
      y[i] += weight * (curls[i][0] * H[0] + curls[i][1] * H[1] + curls[i][2] * H[2]);
  }
}

// One conducting element's rows of a coil's conductor column: -integral of sigma N_i . A_s over
// the element for its edges (local directions) and -integral of
// sigma grad L_k . A_s for its nodes (kept only where a node carries phi), with the coil's A_s by Biot-Savart
// at the Gauss points. `y` takes E + N values.
void element_conductor_load(const V_ELEMENT &element, const EXTERNAL_FIELD &field,
                            const COIL_EVALUATION &evaluation, double *y, TRANSFORM_SCRATCH &scratch) {
  const V_ELEMENT_TYPE &type = *element.type;
  const int E = type.no_edges, N = type.no_nodes;
  double xyz[max_element_nodes][3];
  for (int i = 0; i < N; ++i) {
    xyz[i][0] = element.nodes[i]->x;
    xyz[i][1] = element.nodes[i]->y;
    xyz[i][2] = element.nodes[i]->z;
  }
  for (int i = 0; i < E + N; ++i) y[i] = 0.0;
  const GAUSS_POINTS &points = gauss_points(type.gauss);
  double inverse[3][3], values[max_element_edges][3], curls[max_element_edges][3];
  double gradients[max_element_nodes][3];
  for (int q = 0; q < points.no_points; ++q) {
    const double xi = points.p[0][q], eta = points.p[1][q], zeta = points.p[2][q];
    MATERIAL_POINT point{&element, xi, eta, zeta, {}};
    element_point(type, xyz, xi, eta, zeta, point.position, scratch);
    const double det = element_transform_edges(type, xyz, xi, eta, zeta, inverse, values, curls, scratch);
    double sigma[9], A[3], J[3];
    linear_tensor(*element.material->sigma, point, sigma);
    external_field_A(field, evaluation, point.position, A);
    for (int r = 0; r < 3; ++r)
      J[r] = sigma[3 * r] * A[0] + sigma[3 * r + 1] * A[1] + sigma[3 * r + 2] * A[2];
    const double weight = det * points.w[q];
    for (int i = 0; i < E; ++i)
      y[i] -= weight * (values[i][0] * J[0] + values[i][1] * J[1] + values[i][2] * J[2]);
    element_transform_nodes(type, xyz, xi, eta, zeta, inverse, gradients, scratch);
    for (int k = 0; k < N; ++k)
      y[E + k] -= weight * (gradients[k][0] * J[0] + gradients[k][1] * J[1] + gradients[k][2] * J[2]);
  }
}

// The row of the electric scalar unknown of a node, if it has one.
void scatter_node_row(const NODE &node, double value, double *work) {
  const POTENTIAL_TERMS *terms = node.potentials;
  for (int t = 0; terms && t < terms->no_terms; ++t)
    if (terms->terms[t].name == PHI_NODE)
      work[terms->terms[t].position - 1] += terms->terms[t].coefficient * value;
}

// A count or flag of the file; -1 at its end.
int read_int(FFILE *file) {
  std::int32_t word = 0;
  return read_word(file, word) ? word : -1;
}

[[noreturn]] void stop_at_bad_source_file() {
  write_fault("**** File load_vector is incorrect. Job is stopped.. *******\n");
  stop_job(1);
}

} // namespace

int chain_edge_count(const MESHED_MODEL &first_part) {
  int count = 0;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next) count += part->no_edges;
  return count;
}

void external_field_source_A_on_edges(FIELD_SOURCE &source, const MESHED_MODEL &first_part,
                                      const COIL_EVALUATION &evaluation) {
  const int no_edges = chain_edge_count(first_part);
  if (!source.A_source) source.A_source = calloc_double(static_cast<std::uint64_t>(no_edges), A_source_tag);
  // Flag the edges of the regions that carry the field, each once, then integrate in parallel.
  std::vector<const EDGE *> edges(static_cast<std::size_t>(no_edges), nullptr);
  const std::vector<int> offsets = part_offsets(first_part);
  const int coil_potential = source.external->potential_option;
  std::size_t p = 0;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next, ++p)
    for (int k = 0; k < part->no_v_elements; ++k) {
      const V_ELEMENT &element = part->v_elements[k];
      if (!element.edges || !region_carries_coil(element.potential_bits, coil_potential)) continue;
      for (int i = 0; i < element.type->no_edges; ++i) {
        const EDGE *edge = element.edges[i];
        edges[static_cast<std::size_t>(offsets[p] + (edge - part->edges))] = edge;
      }
    }
  double *A_source = source.A_source;
  const EXTERNAL_FIELD &field = *source.external;
#pragma omp parallel for schedule(dynamic, 256)
  for (int e = 0; e < no_edges; ++e) {
    const EDGE *edge = edges[static_cast<std::size_t>(e)];
    if (!edge) {
      A_source[e] = 0.0;
      continue;
    }
    const double d[3] = {edge->end->x - edge->start->x, edge->end->y - edge->start->y,
                         edge->end->z - edge->start->z};
    const double middle[3] = {edge->start->x + 0.5 * d[0], edge->start->y + 0.5 * d[1],
                              edge->start->z + 0.5 * d[2]};
    double A[3];
    external_field_A(field, evaluation, middle, A);
    // Weight 2 of the one-point rule times the tangent (P2 - P1)/2.
    A_source[e] = A[0] * d[0] + A[1] * d[1] + A[2] * d[2];
  }
}

void load_vector_by_external_field_source(const FIELD_SOURCE &source, const MESHED_MODEL &first_part,
                                          double *work) {
  // Row i of the column is the integral over the carrying regions of curl N_i . (nu0 I - nu) B_s,
  // with the coil's B_s evaluated by Biot-Savart at each Gauss point. The curl of the edge
  // interpolant of A_s would do in air but not in iron: it differs from B_s by O(h grad B_s), and
  // that difference is not curl-free, so it acts as a spurious current inside the iron whose
  // field grows with mu_r. The exact B_s is curl-free wherever the coil has no current.
  const int coil_potential = source.external->potential_option;
  const COIL_EVALUATION evaluation{coil_options(), nullptr};
  const EXTERNAL_FIELD &field = *source.external;
  // Elements in parallel (the coil field dominates), summed into the column in element order.
  std::vector<const V_ELEMENT *> taking_part;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next)
    for (int k = 0; k < part->no_v_elements; ++k)
      if (element_takes_part(part->v_elements[k], coil_potential))
        taking_part.push_back(&part->v_elements[k]);
  const int count = static_cast<int>(taking_part.size());
  std::vector<double> rows(static_cast<std::size_t>(count) * max_element_edges, 0.0);
#pragma omp parallel
  {
    TRANSFORM_SCRATCH scratch;
#pragma omp for schedule(dynamic, 64)
    for (int k = 0; k < count; ++k)
      element_source_load(*taking_part[static_cast<std::size_t>(k)], field, evaluation,
                          rows.data() + static_cast<std::size_t>(k) * max_element_edges, scratch);
  }
  for (int k = 0; k < count; ++k) {
    const V_ELEMENT &element = *taking_part[static_cast<std::size_t>(k)];
    const double *y = rows.data() + static_cast<std::size_t>(k) * max_element_edges;
    for (int i = 0; i < element.type->no_edges; ++i) {
      const double sign = ((element.edge_direction >> i) & 1u) ? 1.0 : -1.0;
      scatter_edge_row(*element.edges[i], sign * y[i], work);
    }
  }
}

void conductor_vector_by_external_field_source(const FIELD_SOURCE &source, const MESHED_MODEL &first_part,
                                               double *work) {
  const int coil_potential = source.external->potential_option;
  const COIL_EVALUATION evaluation{coil_options(), nullptr};
  const EXTERNAL_FIELD &field = *source.external;
  std::vector<const V_ELEMENT *> conducting;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next)
    for (int k = 0; k < part->no_v_elements; ++k) {
      const V_ELEMENT &element = part->v_elements[k];
      if (element.edges && element.material && element.material->sigma &&
          region_carries_coil(element.potential_bits, coil_potential))
        conducting.push_back(&element);
    }
  const int count = static_cast<int>(conducting.size());
  constexpr int width = max_element_edges + max_element_nodes;
  std::vector<double> rows(static_cast<std::size_t>(count) * width, 0.0);
#pragma omp parallel
  {
    TRANSFORM_SCRATCH scratch;
#pragma omp for schedule(dynamic, 64)
    for (int k = 0; k < count; ++k)
      element_conductor_load(*conducting[static_cast<std::size_t>(k)], field, evaluation,
                             rows.data() + static_cast<std::size_t>(k) * width, scratch);
  }
  for (int k = 0; k < count; ++k) {
    const V_ELEMENT &element = *conducting[static_cast<std::size_t>(k)];
    const double *y = rows.data() + static_cast<std::size_t>(k) * width;
    const int E = element.type->no_edges;
    for (int i = 0; i < E; ++i) {
      const double sign = ((element.edge_direction >> i) & 1u) ? 1.0 : -1.0;
      scatter_edge_row(*element.edges[i], sign * y[i], work);
    }
    for (int i = 0; i < element.type->no_nodes; ++i) scatter_node_row(*element.nodes[i], y[E + i], work);
  }
}

void make_source_matrices(const MESHED_MODEL &first_part, int no_unknowns, const COLUMN_PROJECTION &project) {
  FIELD_SOURCES &sources = field_sources_writable();
  const CONTROL_DATA &control = control_data();
  std::FILE *output = run_files().print_out->stream;
  const int n = sources.no_sources;
  if (n == 0) return;
  if (!sources.resistances)
    sources.resistances = calloc_double(static_cast<std::uint64_t>(n), "field_sources.resistances");
  if (!sources.inductances)
    sources.inductances = calloc_double(static_cast<std::uint64_t>(n) * n, "field_sources.inductance");
  const COIL_EVALUATION evaluation{coil_options(), nullptr};
  double *work = calloc_double(static_cast<std::uint64_t>(no_unknowns), "work");
  std::vector<std::pair<int, int>> neighbours;
  bool neighbours_found = false;
  for (int s = 0; s < n; ++s) {
    FIELD_SOURCE &source = sources.data[s];
    // A moving coil without a circuit gets its column at each step, not here.
    if (source.type != source_coil || !source.external || control.no_coil_field) continue;
    if (control.MOTION == 1 && source.motion_id != 0 && source.circuit_flag == 0) continue;
    auto start = std::chrono::steady_clock::now();
    external_field_source_A_on_edges(source, first_part, evaluation);
    write_report(
        output,
        "      Calculation time( external_field_source_A_on_edges_direct_current); %15.5e (sec)  ***\n",
        seconds_since(start));
    start = std::chrono::steady_clock::now();
    for (int i = 0; i < no_unknowns; ++i) work[i] = 0.0;
    load_vector_by_external_field_source(source, first_part, work);
    for (int i = 0; i < no_unknowns; ++i) work[i] *= sources.region_factor;
    if (project) project(work);
    free_sparse_vector(&source.source_vector);
    source.source_vector = make_sparse_vector(no_unknowns, work);
    if (control.is_transient || control.ac_mode) {
      // Where the coil's potential enters a conductor, its rate of change drives eddy currents.
      for (int i = 0; i < no_unknowns; ++i) work[i] = 0.0;
      conductor_vector_by_external_field_source(source, first_part, work);
      for (int i = 0; i < no_unknowns; ++i) work[i] *= sources.region_factor;
      free_sparse_vector(&source.conductor_vector);
      source.conductor_vector = make_sparse_vector(no_unknowns, work);
    }
    if (!coil_reaches_a_region(first_part, source.external->potential_option)) {
      // Not an error (a job may keep a coil for its inductance), but rarely what is meant.
      const char *note = "**** COIL source series %d: no region has its POTENTIAL %d, so its field enters "
                         "nowhere. ****\n";
      write_report(output, note, source.series_no, source.external->potential_option);
      write_check(note, source.series_no, source.external->potential_option);
      write_terminal("warning: COIL source series %d: no region has its POTENTIAL %d, so its field enters "
                     "nowhere\n",
                     source.series_no, source.external->potential_option);
    } else {
      if (!neighbours_found) neighbours = chain_region_neighbours(first_part);
      neighbours_found = true;
      stop_at_regions_left_out(source, neighbours);
    }
    write_report(
        output,
        "      Calculation time( load_vector_by_external_field_source_direct_current2); %15.5e (sec)  ***\n",
        seconds_since(start));
  }
  free_named(work, "work");
  if (control.CALC_IND != 1) return;
  // Inductance of the coils through the regions that carry their potential: A_source of one
  // against the load column of the other.
  std::vector<int> edge_row;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next)
    for (int e = 0; e < part->no_edges; ++e) {
      const POTENTIAL_TERMS *terms = part->edges[e].potentials;
      edge_row.push_back(
          terms && terms->no_terms > 0 && terms->terms[0].name == A_EDGE ? terms->terms[0].position - 1 : -1);
    }
  for (int j = 0; j < n; ++j) {
    const FIELD_SOURCE &sj = sources.data[j];
    if (sj.type != source_coil || !sj.source_vector) continue;
    for (int i = j; i < n; ++i) {
      const FIELD_SOURCE &si = sources.data[i];
      if (si.type != source_coil || !si.A_source) continue;
      double sum = 0.0;
      for (std::size_t e = 0; e < edge_row.size(); ++e)
        if (edge_row[e] >= 0) sum += si.A_source[e] * sparse_vector_value(sj.source_vector, edge_row[e]);
      sources.inductances[i * n + j] += sum;
    }
  }
  for (int i = 0; i < n; ++i)
    for (int j = i + 1; j < n; ++j) sources.inductances[i * n + j] = sources.inductances[j * n + i];
}

void save_sources(FFILE *file, int no_edges) {
  const FIELD_SOURCES &sources = field_sources();
  write_word(file, sources.no_sources);
  for (int s = 0; s < sources.no_sources; ++s) {
    const FIELD_SOURCE &source = sources.data[s];
    write_word(file, source.series_no);
    write_word(file, source.source_vector ? 1 : 0);
    if (source.source_vector) write_sparse_vector(file, source.source_vector);
    if (source.type == source_coil) {
      write_word(file, source.conductor_vector ? 1 : 0);
      if (source.conductor_vector) write_sparse_vector(file, source.conductor_vector);
      write_word(file, source.A_source ? 1 : 0);
      if (source.A_source)
        write_blocks(source.A_source, sizeof(double), static_cast<std::uint64_t>(no_edges), file);
    }
  }
  const std::uint64_t n = static_cast<std::uint64_t>(sources.no_sources);
  if (n == 0) return;
  write_word(file, sources.resistances ? 1 : 0);
  if (sources.resistances) write_blocks(sources.resistances, sizeof(double), n, file);
  write_word(file, sources.inductances ? 1 : 0);
  if (sources.inductances) write_blocks(sources.inductances, sizeof(double), n * n, file);
}

void load_sources(FFILE *file, int no_edges) {
  FIELD_SOURCES &sources = field_sources_writable();
  if (read_int(file) != sources.no_sources) stop_at_bad_source_file();
  for (int s = 0; s < sources.no_sources; ++s) {
    FIELD_SOURCE &source = sources.data[s];
    if (read_int(file) != source.series_no) stop_at_bad_source_file();
    const int has_vector = read_int(file);
    if (has_vector < 0) stop_at_bad_source_file();
    free_sparse_vector(&source.source_vector);
    if (has_vector) source.source_vector = read_sparse_vector(file);
    if (source.type == source_coil) {
      const int has_conductor_vector = read_int(file);
      if (has_conductor_vector < 0) stop_at_bad_source_file();
      free_sparse_vector(&source.conductor_vector);
      if (has_conductor_vector) source.conductor_vector = read_sparse_vector(file);
      const int has_A = read_int(file);
      if (has_A < 0) stop_at_bad_source_file();
      if (has_A) {
        if (!source.A_source)
          source.A_source = calloc_double(static_cast<std::uint64_t>(no_edges), A_source_tag);
        if (read_blocks(source.A_source, sizeof(double), static_cast<std::uint64_t>(no_edges), file) != 1)
          stop_at_bad_source_file();
      }
    }
  }
  const std::uint64_t n = static_cast<std::uint64_t>(sources.no_sources);
  if (n == 0) return;
  if (read_int(file) == 1) {
    if (!sources.resistances) sources.resistances = calloc_double(n, "field_sources.resistances");
    if (read_blocks(sources.resistances, sizeof(double), n, file) != 1) stop_at_bad_source_file();
  }
  if (read_int(file) == 1) {
    if (!sources.inductances) sources.inductances = calloc_double(n * n, "field_sources.inductance");
    if (read_blocks(sources.inductances, sizeof(double), n * n, file) != 1) stop_at_bad_source_file();
  }
}

void free_source_matrices() {
  FIELD_SOURCES &sources = field_sources_writable();
  for (int s = 0; s < sources.no_sources; ++s) {
    free_sparse_vector(&sources.data[s].source_vector);
    free_sparse_vector(&sources.data[s].conductor_vector);
    if (sources.data[s].A_source) free_named(sources.data[s].A_source, A_source_tag);
    sources.data[s].A_source = nullptr;
  }
  if (sources.resistances) free_named(sources.resistances, "field_sources.resistances");
  if (sources.inductances) free_named(sources.inductances, "field_sources.inductance");
  sources.resistances = nullptr;
  sources.inductances = nullptr;
}

} // namespace tesmora
