// Regularization of the source columns: the nodal problem, its factor, and the correction.
#include "analyses/regularization.hpp"

#include "input/control_data.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "job/terminal.hpp"
#include "mesh/element_transform.hpp"
#include "mesh/gauss.hpp"
#include "mesh/model.hpp"
#include "results/post_writer.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <vector>

namespace tesmora {
namespace {

constexpr const char *work_tag = "REGULARIZATION_WORK";
constexpr const char *node_to_edge_tag = "node_to_edge_matrix";

// First-order edge elements of straight-sided tetrahedra, hexahedra and prisms: the gradient of
// the corner functions is the edge sum that the regularization relies on.
bool whitney_element(const V_ELEMENT &element) {
  const V_ELEMENT_TYPE &t = *element.type;
  return (t.no_nodes == 4 && t.no_edges == 6) || (t.no_nodes == 8 && t.no_edges == 12) ||
         (t.no_nodes == 6 && t.no_edges == 9);
}

// Chain index of the first node of each part.
std::vector<int> node_offsets(const MESHED_MODEL &first_part, int &total) {
  std::vector<int> offsets;
  total = 0;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next) {
    offsets.push_back(total);
    total += part->no_nodes;
  }
  return offsets;
}

// The single A_EDGE term of an edge that is an unknown of its own, or null.
const POTENTIAL_TERM *own_unknown(const EDGE &edge, const TaggedArray<int> &uses) {
  const POTENTIAL_TERMS *terms = edge.potentials;
  if (!terms || terms->no_terms != 1 || terms->terms[0].name != A_EDGE) return nullptr;
  const POTENTIAL_TERM &term = terms->terms[0];
  if (std::fabs(std::fabs(term.coefficient) - 1.0) > 1e-12) return nullptr;
  return uses[term.position - 1] == 1 ? &term : nullptr;
}

// Row numbers of the nodes that take part (flags), -1 for the others.
int mark_nodes(const MESHED_MODEL &first_part, int no_unknowns, TaggedArray<int> &flags) {
  int total = 0;
  const std::vector<int> offsets = node_offsets(first_part, total);
  flags = TaggedArray<int>(std::max(total, 1), "node_flags");
  TaggedArray<int> uses(std::max(no_unknowns, 1), "node_flags");
  for (const MESHED_MODEL *part = &first_part; part; part = part->next)
    for (int e = 0; e < part->no_edges; ++e) {
      const POTENTIAL_TERMS *terms = part->edges[e].potentials;
      for (int t = 0; terms && t < terms->no_terms; ++t)
        if (terms->terms[t].name == A_EDGE) ++uses[terms->terms[t].position - 1];
    }
  // 0 untouched, 1 in the domain, 2 held.
  TaggedArray<char> state(std::max(total, 1), "node_flags");
  std::size_t p = 0;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next, ++p)
    for (int k = 0; k < part->no_v_elements; ++k) {
      const V_ELEMENT &element = part->v_elements[k];
      if (!element.edges) continue;
      const bool whitney = whitney_element(element);
      for (int i = 0; i < element.type->no_nodes; ++i) {
        char &s = state[offsets[p] + (element.nodes[i] - part->nodes)];
        s = whitney ? std::max<char>(s, 1) : 2;
      }
      for (int i = 0; i < element.type->no_edges; ++i) {
        const EDGE &edge = *element.edges[i];
        if (own_unknown(edge, uses)) continue;
        state[offsets[p] + (edge.start - part->nodes)] = 2;
        state[offsets[p] + (edge.end - part->nodes)] = 2;
      }
    }
  int rows = 0;
  for (int n = 0; n < total; ++n) flags[n] = state[n] == 1 ? rows++ : -1;
  return rows;
}

// The incidence by edge unknowns: start and end rows and the sign of the edge's term, for the
// edges that touch a row (counted first, then stored).
void make_incidence(const MESHED_MODEL &first_part, REGULARIZATION_WORK &work) {
  int total = 0;
  const std::vector<int> offsets = node_offsets(first_part, total);
  auto for_each_edge = [&](auto &&visit) {
    std::size_t p = 0;
    for (const MESHED_MODEL *part = &first_part; part; part = part->next, ++p)
      for (int e = 0; e < part->no_edges; ++e) {
        const EDGE &edge = part->edges[e];
        const POTENTIAL_TERMS *terms = edge.potentials;
        if (!terms || terms->no_terms != 1 || terms->terms[0].name != A_EDGE) continue;
        const int a = work.node_flags[offsets[p] + static_cast<int>(edge.start - part->nodes)];
        const int b = work.node_flags[offsets[p] + static_cast<int>(edge.end - part->nodes)];
        if (a >= 0 || b >= 0) visit(terms->terms[0], a, b);
      }
  };
  int count = 0;
  for_each_edge([&](const POTENTIAL_TERM &, int, int) { ++count; });
  work.edge_position = TaggedArray<int>(std::max(count, 1), work_tag);
  work.edge_start_row = TaggedArray<int>(std::max(count, 1), work_tag);
  work.edge_end_row = TaggedArray<int>(std::max(count, 1), work_tag);
  work.edge_sign = TaggedArray<double>(std::max(count, 1), work_tag);
  int k = 0;
  for_each_edge([&](const POTENTIAL_TERM &term, int a, int b) {
    work.edge_position[k] = term.position - 1;
    work.edge_start_row[k] = a;
    work.edge_end_row[k] = b;
    work.edge_sign[k++] = term.coefficient;
  });
  work.no_incidences = count;
}

// One element's contribution: the local node-to-node and node-to-edge integrals.
struct ELEMENT_TERMS {
  int no_nodes = 0, no_edges = 0;
  int rows[max_element_nodes];     // node rows, -1 where held
  int unknowns[max_element_edges]; // 0-based unknowns, -1 where the edge has none of its own
  double signs[max_element_edges]; // global edge direction times the term's coefficient
  double nn[max_element_nodes][max_element_nodes];
  double ne[max_element_nodes][max_element_edges];
};

void element_terms(const V_ELEMENT &element, const int *node_rows, ELEMENT_TERMS &out,
                   TRANSFORM_SCRATCH &scratch) {
  const V_ELEMENT_TYPE &type = *element.type;
  out.no_nodes = type.no_nodes;
  out.no_edges = type.no_edges;
  double xyz[max_element_nodes][3];
  for (int i = 0; i < type.no_nodes; ++i) {
    xyz[i][0] = element.nodes[i]->x;
    xyz[i][1] = element.nodes[i]->y;
    xyz[i][2] = element.nodes[i]->z;
    out.rows[i] = node_rows[i];
  }
  for (int i = 0; i < type.no_edges; ++i) {
    const POTENTIAL_TERMS *terms = element.edges[i]->potentials;
    const bool own = terms && terms->no_terms == 1 && terms->terms[0].name == A_EDGE;
    out.unknowns[i] = own ? terms->terms[0].position - 1 : -1;
    const double direction = ((element.edge_direction >> i) & 1u) ? 1.0 : -1.0;
    out.signs[i] = own ? direction * terms->terms[0].coefficient : 0.0;
  }
  for (int a = 0; a < type.no_nodes; ++a) {
    for (int b = 0; b < type.no_nodes; ++b) out.nn[a][b] = 0.0;
    for (int i = 0; i < type.no_edges; ++i) out.ne[a][i] = 0.0;
  }
  const GAUSS_POINTS &points = gauss_points(type.gauss);
  double inverse[3][3], values[max_element_edges][3], curls[max_element_edges][3];
  double gradients[max_element_nodes][3];
  for (int q = 0; q < points.no_points; ++q) {
    const double xi = points.p[0][q], eta = points.p[1][q], zeta = points.p[2][q];
    const double det = element_transform_edges(type, xyz, xi, eta, zeta, inverse, values, curls, scratch);
    element_transform_nodes(type, xyz, xi, eta, zeta, inverse, gradients, scratch);
    const double w = det * points.w[q];
    for (int a = 0; a < type.no_nodes; ++a) {
      const double *g = gradients[a];
      for (int b = 0; b < type.no_nodes; ++b)
        out.nn[a][b] += w * (g[0] * gradients[b][0] + g[1] * gradients[b][1] + g[2] * gradients[b][2]);
      for (int i = 0; i < type.no_edges; ++i)
        out.ne[a][i] += w * (g[0] * values[i][0] + g[1] * values[i][1] + g[2] * values[i][2]);
    }
  }
}

// Walks the elements of the vector-potential region with the rows of their nodes.
template <class VISIT>
void for_each_element(const MESHED_MODEL &first_part, const int *flags, VISIT &&visit) {
  int total = 0;
  const std::vector<int> offsets = node_offsets(first_part, total);
  std::size_t p = 0;
  int rows[max_element_nodes];
  for (const MESHED_MODEL *part = &first_part; part; part = part->next, ++p)
    for (int k = 0; k < part->no_v_elements; ++k) {
      const V_ELEMENT &element = part->v_elements[k];
      if (!element.edges || !whitney_element(element)) continue;
      bool any = false;
      for (int i = 0; i < element.type->no_nodes; ++i) {
        rows[i] = flags[offsets[p] + (element.nodes[i] - part->nodes)];
        any = any || rows[i] >= 0;
      }
      if (any) visit(element, rows);
    }
}

// Compressed rows: heads (rows + 1 offsets) and ascending columns without repeats.
struct ROW_LISTS {
  TaggedArray<int> heads;
  TaggedArray<int> columns;
};

// Rows filled in two passes over the elements: `visit(element, rows, add)` calls add(row, column)
// for each candidate; the first pass counts, the second stores, then each row is sorted and its
// repeats dropped in place.
template <class VISIT>
ROW_LISTS collect_rows(const MESHED_MODEL &first_part, const int *flags, int no_rows, const char *tag,
                       VISIT &&visit) {
  TaggedArray<int> counts(no_rows + 1, tag);
  auto for_each = [&](auto &&add) {
    for_each_element(first_part, flags,
                     [&](const V_ELEMENT &element, const int *rows) { visit(element, rows, add); });
  };
  for_each([&](int row, int) { ++counts[row + 1]; });
  for (int r = 0; r < no_rows; ++r) counts[r + 1] += counts[r];
  TaggedArray<int> candidates(std::max(counts[no_rows], 1), tag);
  TaggedArray<int> fill(no_rows, tag);
  for_each([&](int row, int column) { candidates[counts[row] + fill[row]++] = column; });
  ROW_LISTS out{TaggedArray<int>(no_rows + 1, tag), TaggedArray<int>(1, tag)};
  int kept = 0;
  for (int r = 0; r < no_rows; ++r) {
    int *begin = candidates.data() + counts[r], *end = candidates.data() + counts[r + 1];
    std::sort(begin, end);
    end = std::unique(begin, end);
    for (int *c = begin; c < end; ++c) candidates[kept++] = *c;
    out.heads[r + 1] = kept;
  }
  out.columns = TaggedArray<int>(std::max(kept, 1), tag);
  std::copy(candidates.data(), candidates.data() + kept, out.columns.data());
  return out;
}

int find_column(const int *columns, int begin, int end, int column) {
  const int *at = std::lower_bound(columns + begin, columns + end, column);
  return static_cast<int>(at - columns);
}

void make_patterns(const MESHED_MODEL &first_part, REGULARIZATION_WORK &work, ROW_LISTS &nn, ROW_LISTS &ne) {
  const int *flags = work.node_flags.data();
  nn = collect_rows(first_part, flags, work.no_rows, "node_to_node_matrix->profile->no_elements_in_rows",
                    [](const V_ELEMENT &element, const int *rows, auto &&add) {
                      for (int a = 0; a < element.type->no_nodes; ++a)
                        for (int b = 0; b < element.type->no_nodes; ++b)
                          if (rows[a] >= 0 && rows[b] >= 0 && rows[b] <= rows[a]) add(rows[a], rows[b]);
                    });
  ne = collect_rows(first_part, flags, work.no_rows, node_to_edge_tag,
                    [](const V_ELEMENT &element, const int *rows, auto &&add) {
                      for (int a = 0; a < element.type->no_nodes; ++a)
                        for (int i = 0; rows[a] >= 0 && i < element.type->no_edges; ++i) {
                          const POTENTIAL_TERMS *terms = element.edges[i]->potentials;
                          if (terms && terms->no_terms == 1 && terms->terms[0].name == A_EDGE)
                            add(rows[a], terms->terms[0].position - 1);
                        }
                    });
}

// Integrates and adds the element terms into both matrices.
void assemble(const MESHED_MODEL &first_part, REGULARIZATION_WORK &work) {
  SPARSE_MATRIX &m = *work.node_to_node_matrix;
  const int *heads = m.pattern.row_head_pointers;
  const int *columns = m.pattern.columns;
  TRANSFORM_SCRATCH scratch;
  ELEMENT_TERMS terms;
  for_each_element(first_part, work.node_flags.data(), [&](const V_ELEMENT &element, const int *rows) {
    element_terms(element, rows, terms, scratch);
    for (int a = 0; a < terms.no_nodes; ++a) {
      const int r = rows[a];
      if (r < 0) continue;
      for (int b = 0; b < terms.no_nodes; ++b)
        if (rows[b] >= 0 && rows[b] <= r) {
          // The diagonal is the last entry of its row; the others are ascending before it.
          const int at =
              rows[b] == r ? heads[r + 1] - 1 : find_column(columns, heads[r], heads[r + 1] - 1, rows[b]);
          m.matrix_lower[at] += terms.nn[a][b];
        }
      const int begin = work.node_to_edge_heads[r], end = work.node_to_edge_heads[r + 1];
      for (int i = 0; i < terms.no_edges; ++i) {
        if (terms.unknowns[i] < 0) continue;
        const int at = find_column(work.node_to_edge_columns.data(), begin, end, terms.unknowns[i]);
        work.node_to_edge_values[at] += terms.signs[i] * terms.ne[a][i];
      }
    }
  });
}

// The nodal matrix with its pattern: lower triangle, ascending columns, the diagonal last.
void make_node_matrix(const ROW_LISTS &nn, REGULARIZATION_WORK &work) {
  const int n = work.no_rows;
  SPARSE_MATRIX_OPTIONS options;
  options.solver = work.cg_for_regularization.cg_iteration.solver;
  options.scaling = work.cg_for_regularization.cg_iteration.scaling;
  const int size = nn.heads[n];
  work.node_to_node_matrix = make_sparse_matrix(n, std::max(size, 1), options);
  SPARSE_PATTERN &pattern = work.node_to_node_matrix->pattern;
  for (int r = 0; r <= n; ++r) pattern.row_head_pointers[r] = nn.heads[r];
  for (int r = 0; r < n; ++r) pattern.no_elements_in_row[r] = nn.heads[r + 1] - nn.heads[r];
  // Each row's list is ascending and ends with the row itself, its largest column.
  std::copy(nn.columns.data(), nn.columns.data() + size, pattern.columns);
  work.node_to_node_matrix->size = size;
}

void write_heading_once(const REGULARIZATION_WORK &work) {
  if (work.no_calls == 0)
    write_report(run_files().print_out->stream, "--- Calculation of regularization potential -----\n");
}

// The correction field grad psi at an element's centre, from its corner potentials.
void element_field(const V_ELEMENT &element, const int *rows, const double *potential, double out[4],
                   TRANSFORM_SCRATCH &scratch) {
  const V_ELEMENT_TYPE &type = *element.type;
  double xyz[max_element_nodes][3], inverse[3][3], gradients[max_element_nodes][3];
  for (int i = 0; i < type.no_nodes; ++i) {
    xyz[i][0] = element.nodes[i]->x;
    xyz[i][1] = element.nodes[i]->y;
    xyz[i][2] = element.nodes[i]->z;
  }
  element_transform_nodes(type, xyz, type.center[0], type.center[1], type.center[2], inverse, gradients,
                          scratch);
  out[0] = out[1] = out[2] = 0.0;
  for (int i = 0; i < type.no_nodes; ++i)
    if (rows[i] >= 0)
      for (int d = 0; d < 3; ++d) out[d] += potential[rows[i]] * gradients[i][d];
  out[3] = std::sqrt(out[0] * out[0] + out[1] * out[1] + out[2] * out[2]);
}

// REGULARIZATION 2: the correction field per element and the potential per node, one output
// step per column, in the post file "elem".
void write_regularization_fields(REGULARIZATION_WORK &work, const MESHED_MODEL &first_part) {
  const CONTROL_DATA &control = control_data();
  const POST_FORMAT &format = find_post_format(control.POST_DATA_FILE);
  if (&format == &find_post_format(0)) return; // no post format: no post file
  const POST_WRITER &writer = format.writer;
  if (!work.post_open) {
    work.post = POST_STREAM{.file = open_ffile(run_files().element, "w"), .wide = control.WIDE};
    writer.file_start(work.post);
    work.post_open = true;
  }
  POST_STREAM &out = work.post;
  int no_nodes = 0, no_elements = 0;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next) {
    no_nodes += part->no_nodes;
    no_elements += part->no_v_elements;
  }
  const int step = ++work.no_output_steps;
  writer.set_counts(out, no_elements, 4, no_nodes, 1);
  writer.step_start(out, step, post_regularization_field_elements, 0.0);
  writer.element_block_start(out, step, post_regularization_field_elements, 0.0, "REGULARIZATION - FIELDS",
                             4);
  TRANSFORM_SCRATCH scratch;
  for_each_element(first_part, work.node_flags.data(), [&](const V_ELEMENT &element, const int *rows) {
    double values[4];
    element_field(element, rows, work.potential.data(), values, scratch);
    writer.element_value_row(out, element.id, 4, values, element.type->no_nodes);
  });
  writer.end_of_block(out);
  writer.node_block_start(out, step, post_regularization_potential_nodes, 0.0, "REGULARIZATION - POT", 1);
  int n = 0;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next)
    for (int i = 0; i < part->no_nodes; ++i, ++n) {
      const int row = work.node_flags[n];
      if (row >= 0) writer.node_value_row(out, part->nodes[i].id, 1, &work.potential[row]);
    }
  writer.end_of_block(out);
  writer.flush_stored(out, step, "REGU", post_regularization_field_elements, 0.0);
  writer.step_block_end(out);
  std::fflush(out.file);
}

} // namespace

REGULARIZATION_WORK *make_regularization_work(const MESHED_MODEL &first_part, int no_unknowns) {
  auto *work = static_cast<REGULARIZATION_WORK *>(calloc_named(1, sizeof(REGULARIZATION_WORK), work_tag));
  new (work) REGULARIZATION_WORK{};
  work->no_unknowns = no_unknowns;
  work->cg_for_regularization = solver_settings();
  // The nodal problem is real and symmetric whatever the field system is: plain ICCG.
  work->cg_for_regularization.cg_iteration.solver = 0;
  work->no_rows = mark_nodes(first_part, no_unknowns, work->node_flags);
  make_incidence(first_part, *work);
  const int rows = std::max(work->no_rows, 1);
  work->potential = TaggedArray<double>(rows, "system_equation->solution");
  work->rhs = TaggedArray<double>(rows, "system_equation->RHS");
  if (work->no_rows == 0) return work;
  ROW_LISTS nn, ne;
  make_patterns(first_part, *work, nn, ne);
  make_node_matrix(nn, *work);
  const int entries = ne.heads[work->no_rows];
  work->node_to_edge_heads = std::move(ne.heads);
  work->node_to_edge_columns = std::move(ne.columns);
  work->node_to_edge_values = TaggedArray<double>(std::max(entries, 1), node_to_edge_tag);
  assemble(first_part, *work);
  return work;
}

void gradient_load(const REGULARIZATION_WORK &work, const double *column, double *rows) {
  for (int r = 0; r < work.no_rows; ++r) rows[r] = 0.0;
  for (int k = 0; k < work.no_incidences; ++k) {
    const double value = work.edge_sign[k] * column[work.edge_position[k]];
    if (work.edge_end_row[k] >= 0) rows[work.edge_end_row[k]] += value;
    if (work.edge_start_row[k] >= 0) rows[work.edge_start_row[k]] -= value;
  }
}

void regularize(double *column, REGULARIZATION_WORK &work, const MESHED_MODEL &first_part) {
  write_heading_once(work);
  if (work.no_rows > 0) {
    gradient_load(work, column, work.rhs.data());
    for (int r = 0; r < work.no_rows; ++r) work.potential[r] = 0.0;
    // The factor is made by the first solve and kept for the columns that follow.
    const SOLVE_RESULT result =
        solve_sparse_matrix(work.node_to_node_matrix, work.rhs.data(), work.potential.data(), work.no_rows,
                            work.cg_for_regularization, work.figures);
    // A column corrected by an unconverged potential keeps part of its gradient: say so.
    if (result.judged && !result.converged)
      write_terminal("warning: the regularization potential of source column %d did not converge "
                     "(residual %.3e); the column keeps part of its gradient\n",
                     work.no_calls + 1, result.error);
    for (int r = 0; r < work.no_rows; ++r) {
      const double psi = work.potential[r];
      for (int k = work.node_to_edge_heads[r]; k < work.node_to_edge_heads[r + 1]; ++k)
        column[work.node_to_edge_columns[k]] -= work.node_to_edge_values[k] * psi;
    }
  }
  if (solver_settings().cg_iteration.regularization == 2) write_regularization_fields(work, first_part);
  ++work.no_calls;
}

void free_regularization_work(REGULARIZATION_WORK **work) {
  if (!*work) return;
  if ((*work)->post_open) {
    find_post_format(control_data().POST_DATA_FILE).writer.file_end((*work)->post);
    close_ffile(run_files().element);
  }
  free_sparse_matrix(&(*work)->node_to_node_matrix);
  (*work)->~REGULARIZATION_WORK();
  free_named(*work, work_tag);
  *work = nullptr;
}

} // namespace tesmora
