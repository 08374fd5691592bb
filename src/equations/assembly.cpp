// Profile of the model's unknowns and the scatter of element matrices.
#include "equations/assembly.hpp"

#include "equations/element_matrices.hpp"
#include "equations/surface_matrices.hpp"
#include "job/block_io.hpp"
#include "job/memory.hpp"
#include "materials/material_tables.hpp"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace tesmora {
namespace {

// The volume elements of the chain in list order: record number k is element k - 1.
std::vector<const V_ELEMENT *> elements_of(const MESHED_MODEL &first_part) {
  std::vector<const V_ELEMENT *> elements;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next)
    for (int k = 0; k < part->no_v_elements; ++k) elements.push_back(&part->v_elements[k]);
  return elements;
}

// One row of an element matrix: the terms it expands into and its sign.
struct ROW_TERMS {
  const POTENTIAL_TERMS *terms = nullptr;
  double sign = 1.0;
};

bool is_edge_kind(int name) { return name == A_EDGE; }
bool is_node_kind(int name) { return name == PHI_NODE || name == PHI_NODE_SUFCUR; }

// The kind of the shifted image variables that the moving-conductor term of an element with
// velocity v takes: upstream for a positive velocity, downstream for a negative one; -1 none.
int image_kind(double velocity) {
  if (velocity > 0.0) return UPWIND;
  if (velocity < 0.0) return DOWNWIND;
  return -1;
}

// Element rows: edges first (signed by the direction bits), then nodes (when wanted).
int element_rows(EDGE *const *edges, int no_edges, std::uint64_t direction, NODE *const *nodes, int no_nodes,
                 bool with_nodes, ROW_TERMS *rows) {
  int n = 0;
  if (edges)
    for (int i = 0; i < no_edges; ++i)
      rows[n++] = ROW_TERMS{edges[i]->potentials, ((direction >> i) & 1u) ? 1.0 : -1.0};
  if (with_nodes)
    for (int k = 0; k < no_nodes; ++k) rows[n++] = ROW_TERMS{nodes[k]->potentials, 1.0};
  return n;
}
int element_rows(const V_ELEMENT &element, bool with_nodes, ROW_TERMS *rows) {
  return element_rows(element.edges, element.type->no_edges, element.edge_direction, element.nodes,
                      element.type->no_nodes, with_nodes, rows);
}
int element_rows(const S_ELEMENT &element, bool with_nodes, ROW_TERMS *rows) {
  return element_rows(element.edges, element.type->no_edges, element.edge_direction, element.nodes,
                      element.type->no_nodes, with_nodes, rows);
}

// The surface elements of the chain from the mesh file, in list order.
std::vector<const S_ELEMENT *> surfaces_of(const MESHED_MODEL &first_part) {
  std::vector<const S_ELEMENT *> surfaces;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next)
    for (int k = 0; k < part->no_input_s_elements; ++k) surfaces.push_back(&part->input_s_elements[k]);
  return surfaces;
}

// Where the entries of a scatter go, and what a pass may touch.
struct SCATTER {
  const MATRIX_PROFILE *profile;
  double *values;
  SOURCE_COUPLING *coupling; // h only
  int *marks;                // c only
  double phi_scale;          // c node rows
};

// The mark of a touched c entry from the kinds of its two sides.
int mark_of(int row_name, int column_name, bool node_against_edge) {
  if (node_against_edge) return row_name == PHI_NODE ? 1 : 0;
  if (row_name == PHI_NODE_SUFCUR && column_name == PHI_NODE_SUFCUR) return 0;
  if (row_name == PHI_NODE && column_name == PHI_NODE) return 2;
  return 1;
}

// Adds K_ij of rows i, j (j <= i) over all pairs of their entries. Edge rows take A terms (and
// in h the given-current terms of kind 12); node rows take the phi kinds.
void scatter_pair(const SCATTER &to, double k_ij, const ROW_TERMS &ri, const ROW_TERMS &rj, bool same_row,
                  bool row_is_node, bool column_is_node) {
  if (!ri.terms || !rj.terms || k_ij == 0.0) return;
  const double scale = row_is_node || column_is_node ? to.phi_scale : 1.0;
  for (int a = 0; a < ri.terms->no_terms; ++a) {
    const POTENTIAL_TERM &ta = ri.terms->terms[a];
    const bool a_source = !row_is_node && to.coupling && ta.name == A_EDGE_GIVEN;
    if (!(row_is_node ? is_node_kind(ta.name) : is_edge_kind(ta.name)) && !a_source) continue;
    const int limit = same_row ? a + 1 : rj.terms->no_terms;
    for (int b = 0; b < limit; ++b) {
      const POTENTIAL_TERM &tb = rj.terms->terms[b];
      const bool b_source = !column_is_node && to.coupling && tb.name == A_EDGE_GIVEN;
      if (!(column_is_node ? is_node_kind(tb.name) : is_edge_kind(tb.name)) && !b_source) continue;
      // A pair of different entries on one variable is met once but counts twice.
      const double twice =
          ta.position == tb.position && ta.name == tb.name && !(same_row && a == b) ? 2.0 : 1.0;
      const double product = k_ij * ri.sign * rj.sign * ta.coefficient * tb.coefficient;
      if (a_source && b_source) {
        symmetric_entry(to.coupling->mutual, ta.position - 1, tb.position - 1) += twice * product;
      } else if (a_source) {
        to.coupling->coupling[ta.position - 1][tb.position - 1] -= product;
      } else if (b_source) {
        to.coupling->coupling[tb.position - 1][ta.position - 1] -= product;
      } else {
        const int at =
            location_in_matrix(ta.position, tb.position, to.profile->row_head_pointers, to.profile->index);
        to.values[at] += twice * scale * product;
        if (to.marks) to.marks[at] = mark_of(ta.name, tb.name, row_is_node && !column_is_node);
      }
    }
  }
}

// Scatters a packed matrix of n rows, the first `edges` of them edge rows.
void scatter_packed(const SCATTER &to, const double *packed, const ROW_TERMS *rows, int n, int edges) {
  for (int i = 0; i < n; ++i)
    for (int j = 0; j <= i; ++j)
      scatter_pair(to, packed[packed_index(i, j)], rows[i], rows[j], i == j, i >= edges, j >= edges);
}

// Reads one record; false at the closing -1 or the end of the file.
bool read_record(FFILE *file, std::int32_t *number, std::vector<double> &values) {
  if (read_blocks(number, sizeof *number, 1, file) != 1 || *number < 0) return false;
  std::int32_t count = 0;
  if (read_blocks(&count, sizeof count, 1, file) != 1) return false;
  values.resize(static_cast<std::size_t>(count));
  return count == 0 ||
         read_blocks(values.data(), sizeof(double), static_cast<std::uint64_t>(count), file) == 1;
}

double *scatter_file(const MATRIX_PROFILE &profile, const MESHED_MODEL &first_part, FFILE *file,
                     bool with_nodes, const char *tag, SOURCE_COUPLING *coupling, double phi_scale,
                     int *marks) {
  auto *values = calloc_double(static_cast<std::uint64_t>(profile.size), tag);
  const SCATTER to{&profile, values, coupling, marks, phi_scale};
  const std::vector<const V_ELEMENT *> elements = elements_of(first_part);
  std::vector<double> packed;
  std::int32_t number = 0;
  ROW_TERMS rows[max_element_edges + max_element_nodes];
  while (read_record(file, &number, packed)) {
    const V_ELEMENT &element = *elements[static_cast<std::size_t>(number - 1)];
    const int edges = element.edges ? element.type->no_edges : 0;
    const bool nodes = with_nodes && packed.size() > static_cast<std::size_t>(edges * (edges + 1) / 2);
    scatter_packed(to, packed.data(), rows, element_rows(element, nodes, rows), edges);
  }
  return values;
}

} // namespace

namespace {

// Calls visit(vector) with the variables of every element (and of every impedance or thin
// surface when phi is an unknown) of the chain: each pair of them is coupled.
template <class VISIT>
void for_each_connection(const MESHED_MODEL &first_part, bool a_only, const double *velocities,
                         CONNECTION_VECTOR *vector, const VISIT &visit) {
  ROW_TERMS rows[max_element_edges + max_element_nodes];
  const std::vector<const V_ELEMENT *> elements = elements_of(first_part);
  for (std::size_t e = 0; e < elements.size(); ++e) {
    clear_connection_vector(vector);
    const int image = velocities ? image_kind(velocities[e]) : -1;
    const int n = element_rows(*elements[e], !a_only || image >= 0, rows);
    const int edges = elements[e]->edges ? elements[e]->type->no_edges : 0;
    for (int i = 0; i < n; ++i)
      for (int k = 0; rows[i].terms && k < rows[i].terms->no_terms; ++k) {
        const POTENTIAL_TERM &term = rows[i].terms->terms[k];
        const bool node = i >= edges;
        if ((!node && is_edge_kind(term.name)) || (!a_only && node && is_node_kind(term.name)) ||
            term.name == image)
          add_to_connection_vector(vector, term.position);
      }
    visit(*vector);
  }
  // Impedance and thin conducting surfaces couple the A of their edges and the potentials of
  // their nodes.
  for (const S_ELEMENT *surface : a_only ? std::vector<const S_ELEMENT *>{} : surfaces_of(first_part)) {
    if (surface->kind != s_impedance && surface->kind != s_thin_5) continue;
    clear_connection_vector(vector);
    const int n = element_rows(*surface, true, rows);
    const int edges = surface->edges ? surface->type->no_edges : 0;
    for (int i = 0; i < n; ++i)
      for (int k = 0; rows[i].terms && k < rows[i].terms->no_terms; ++k) {
        const POTENTIAL_TERM &term = rows[i].terms->terms[k];
        if (i < edges ? is_edge_kind(term.name) : is_node_kind(term.name))
          add_to_connection_vector(vector, term.position);
      }
    visit(*vector);
  }
}

} // namespace

MATRIX_PROFILE *build_model_profile(const MESHED_MODEL &first_part, int no_unknowns, int type, bool a_only,
                                    const double *velocities) {
  // The lower columns of each row are gathered in two passes over the elements (count, then
  // fill, repeats included), then sorted and made unique row by row: the pattern that sorted
  // insertion into per-row lists gives, at a fraction of its cost on large unstructured meshes.
  const auto n = static_cast<std::uint64_t>(no_unknowns);
  auto *row_starts = static_cast<std::int64_t *>(calloc_named(n + 1, sizeof(std::int64_t), "row_starts"));
  int *row_lengths = calloc_int(n + 1, "row_lengths");
  CONNECTION_VECTOR *vector = make_connection_vector(81);
  for_each_connection(first_part, a_only, velocities, vector, [&](const CONNECTION_VECTOR &v) {
    for (int a = 0; a < v.no_elements; ++a)
      for (int b = 0; b < v.no_elements; ++b)
        if (v.v[a] > v.v[b]) ++row_starts[v.v[a]];
  });
  for (std::uint64_t r = 0; r < n; ++r) row_starts[r + 1] += row_starts[r];
  int *columns = calloc_int(static_cast<std::uint64_t>(row_starts[n]) + 1, "columns in build_model_profile");
  for_each_connection(first_part, a_only, velocities, vector, [&](const CONNECTION_VECTOR &v) {
    for (int a = 0; a < v.no_elements; ++a)
      for (int b = 0; b < v.no_elements; ++b)
        if (v.v[a] > v.v[b]) {
          const int row = v.v[a] - 1;
          columns[row_starts[row] + row_lengths[row]++] = v.v[b];
        }
  });
  free_connection_vector(&vector);
  for (std::uint64_t r = 0; r < n; ++r) {
    int *first = columns + row_starts[r];
    int *last = first + row_lengths[r];
    std::sort(first, last);
    row_lengths[r] = static_cast<int>(std::unique(first, last) - first);
  }
  MATRIX_PROFILE *profile = make_matrix_profile(no_unknowns, type);
  build_profile_from_rows(profile, row_starts, row_lengths, columns);
  free_named(columns, "columns in build_model_profile");
  free_named(row_lengths, "row_lengths");
  free_named(row_starts, "row_starts");
  return profile;
}

SOURCE_COUPLING *make_source_coupling(int no_sources, int no_unknowns) {
  SOURCE_COUPLING *coupling = new_record<SOURCE_COUPLING>("coupling");
  coupling->no_sources = no_sources;
  coupling->no_unknowns = no_unknowns;
  coupling->coupling = static_cast<double **>(
      calloc_named(static_cast<std::uint64_t>(no_sources), sizeof(double *), "coupling"));
  for (int k = 0; k < no_sources; ++k)
    coupling->coupling[k] = calloc_double(static_cast<std::uint64_t>(no_unknowns), "coupling[i]");
  coupling->mutual = make_symmetric_matrix(no_sources);
  return coupling;
}

void free_source_coupling(SOURCE_COUPLING **coupling) {
  if (!*coupling) return;
  for (int k = 0; k < (*coupling)->no_sources; ++k) free_named((*coupling)->coupling[k], "coupling[i]");
  free_named((*coupling)->coupling, "coupling");
  free_symmetric_matrix(&(*coupling)->mutual);
  free_named(*coupling, "coupling");
  *coupling = nullptr;
}

double *assemble_h_matrix(const MATRIX_PROFILE &profile, const MESHED_MODEL &first_part, FFILE *file,
                          SOURCE_COUPLING *coupling) {
  return scatter_file(profile, first_part, file, false, "h_matrix", coupling, 1.0, nullptr);
}

double *assemble_c_matrix(const MATRIX_PROFILE &profile, const MESHED_MODEL &first_part, FFILE *file,
                          bool a_only, double phi_scale, int *marks) {
  return scatter_file(profile, first_part, file, !a_only, "c_matrix", nullptr, phi_scale, marks);
}

namespace {

// The moving-conductor term of one element: every ordered pair of edge rows (i, j) of the packed
// c matrix K, row entries of kind 0 against column entries of kind 0 (+) or of the image kind
// (-). Each ordered pair is visited once, so no pair needs doubling.
void add_convection(const V_ELEMENT &element, const std::vector<double> &packed, double velocity,
                    const MATRIX_PROFILE &profile, double *c_lower, double *c_upper) {
  ROW_TERMS rows[max_element_edges + max_element_nodes];
  const int edges = element_rows(element, false, rows);
  const int image = image_kind(velocity);
  for (int i = 0; i < edges; ++i) {
    if (!rows[i].terms) continue;
    for (int j = 0; j < edges; ++j) {
      if (!rows[j].terms) continue;
      const double k_ij = packed[static_cast<std::size_t>(i >= j ? packed_index(i, j) : packed_index(j, i))];
      const double signed_k = k_ij * rows[i].sign * rows[j].sign * velocity;
      for (int a = 0; a < rows[i].terms->no_terms; ++a) {
        const POTENTIAL_TERM &ta = rows[i].terms->terms[a];
        if (ta.name != A_EDGE) continue;
        for (int b = 0; b < rows[j].terms->no_terms; ++b) {
          const POTENTIAL_TERM &tb = rows[j].terms->terms[b];
          if (tb.name != A_EDGE && tb.name != image) continue;
          const double value = (tb.name == A_EDGE ? 1.0 : -1.0) * signed_k * ta.coefficient * tb.coefficient;
          add_in_asymmetric(ta.position, tb.position, value, c_lower, c_upper, profile.row_head_pointers,
                            profile.index);
        }
      }
    }
  }
}

} // namespace

void assemble_c_matrix_lower_upper(double *c_lower, double *c_upper, const MATRIX_PROFILE &profile,
                                   const MESHED_MODEL &first_part, FFILE *file, const double *velocities) {
  const std::vector<const V_ELEMENT *> elements = elements_of(first_part);
  std::vector<double> packed;
  std::int32_t number = 0;
  while (read_record(file, &number, packed)) {
    const double velocity = velocities[number - 1];
    const V_ELEMENT &element = *elements[static_cast<std::size_t>(number - 1)];
    if (velocity == 0.0 || !element.edges) continue;
    add_convection(element, packed, velocity, profile, c_lower, c_upper);
  }
}

void add_thin_surface_c_matrix(double *c, const MATRIX_PROFILE &profile, const MESHED_MODEL &first_part,
                               bool a_only, const double *conductances) {
  const SCATTER to{&profile, c, nullptr, nullptr, 1.0};
  const std::vector<const S_ELEMENT *> surfaces = surfaces_of(first_part);
  std::vector<double> packed(max_ce_entries);
  ROW_TERMS rows[max_element_edges + max_element_nodes];
  for (std::size_t k = 0; k < surfaces.size(); ++k) {
    const S_ELEMENT &surface = *surfaces[k];
    if (surface.kind != s_thin_5 || conductances[k] == 0.0) continue;
    const int count = surface_element_matrix(surface, !a_only, packed.data());
    for (int i = 0; i < count; ++i) packed[static_cast<std::size_t>(i)] *= conductances[k];
    const int edges = surface.edges ? surface.type->no_edges : 0;
    scatter_packed(to, packed.data(), rows, element_rows(surface, !a_only, rows), edges);
  }
}

std::vector<double> thin_surface_conductances(const MESHED_MODEL &first_part) {
  const std::vector<const S_ELEMENT *> surfaces = surfaces_of(first_part);
  std::vector<double> conductances(surfaces.size(), 0.0);
  for (std::size_t k = 0; k < surfaces.size(); ++k) {
    if (surfaces[k]->kind != s_thin_5) continue;
    const SMAT_PROPERTY *smat = find_smat_property(surfaces[k]->boundary_id);
    if (smat && smat->thin_sigma) conductances[k] = smat->thin_sigma->value * smat->thickness;
  }
  return conductances;
}

void assemble_boundary_h_matrix(double *h, const MATRIX_PROFILE &profile, const S_ELEMENT *elements,
                                FFILE *file) {
  const SCATTER to{&profile, h, nullptr, nullptr, 1.0};
  std::vector<double> packed;
  std::int32_t number = 0;
  ROW_TERMS rows[max_element_edges + max_element_nodes];
  while (read_record(file, &number, packed)) {
    const S_ELEMENT &element = elements[number - 1];
    const int edges = element.edges ? element.type->no_edges : 0;
    if (packed.size() < static_cast<std::size_t>(edges * (edges + 1) / 2)) continue;
    scatter_packed(to, packed.data(), rows, element_rows(element, false, rows), edges);
  }
}

std::vector<double> conductor_velocities(const MESHED_MODEL &first_part,
                                         const std::vector<REGULAR_MESH> &meshes) {
  const std::vector<const V_ELEMENT *> elements = elements_of(first_part);
  std::vector<double> velocities(elements.size(), 0.0);
  for (std::size_t e = 0; e < elements.size(); ++e)
    for (const REGULAR_MESH &mesh : meshes)
      for (const int id : mesh.mat_ids)
        if (id == elements[e]->mat_id) velocities[e] = mesh.velocity;
  return velocities;
}

double *assemble_e_matrix(const MATRIX_PROFILE &profile, const MESHED_MODEL &first_part, FFILE *file) {
  return scatter_file(profile, first_part, file, false, "e_matrix", nullptr, 1.0, nullptr);
}

double quadratic_form(const MATRIX_PROFILE &profile, const double *values, const double *x) {
  double sum = 0.0;
  for (int row = 0; row < profile.dimension; ++row)
    for (int k = profile.row_head_pointers[row]; k < profile.row_head_pointers[row + 1]; ++k) {
      const int column = profile.index[k] - 1;
      sum += (column == row ? 1.0 : 2.0) * values[k] * x[row] * x[column];
    }
  return sum;
}

} // namespace tesmora
