// Orderings of the unknowns and the job-wide and per-solve renumbering.
#include "equations/renumbering.hpp"

#include "job/memory.hpp"
#include "job/report.hpp"
#include "job/tagged_array.hpp"

#include <algorithm>
#include <cstring>

namespace tesmora {

namespace {

constexpr int degree_bound = 10000; // degrees from here on are never picked as a start

// The unvisited row of smallest positive degree, first in index order; row 0 when none.
int pick_start(int n, const int *degree, const int *level) {
  int start = 0, smallest = degree_bound;
  for (int i = 0; i < n; ++i)
    if (level[i] < 0 && degree[i] > 0 && degree[i] < smallest) smallest = degree[i], start = i;
  return start;
}

// One breadth sweep from the rows of `current`; returns the rows it reached.
int sweep_level(int n, const int *profile, const int *rhp, const int *degree, int *level, int current,
                int &isolated) {
  int added = 0;
  for (int i = 0; i < n; ++i) {
    if (degree[i] < 1) ++isolated;
    if (level[i] != current) continue;
    for (int k = rhp[i]; k < rhp[i + 1]; ++k) {
      const int j = profile[k] - 1;
      if (j != i && level[j] < 0) level[j] = current + 1, ++added;
    }
  }
  return added;
}

} // namespace

void order_by_levels(int n, const int *profile, const int *rhp, int *new_number, int &connections,
                     int *work) {
  int *degree = work, *level = work + n;
  for (int i = 0; i < n; ++i) degree[i] = rhp[i + 1] - rhp[i] - 1, level[i] = -1, new_number[i] = -1;
  connections = 0;
  int current = 0, visited = 0, isolated = 0;
  while (n > 0) {
    const int start = pick_start(n, degree, level);
    level[start] = current;
    ++visited;
    for (int added = 1; added > 0; ++current) {
      added = sweep_level(n, profile, rhp, degree, level, current, isolated);
      visited += added;
    }
    isolated /= current; // counted once per sweep: an approximation with several components
    ++connections;
    ++current;
    if (visited + isolated == n || visited >= n) break;
  }
  write_check("scaling connect=%d\n", connections);
  // Number level by level, rows of a level in index order (a counting sort on the level).
  const int no_levels = current + 1;
  TaggedArray<int> counts(no_levels + 1, "work for renumber_variables");
  for (int i = 0; i < n; ++i)
    if (level[i] >= 0) ++counts[level[i] + 1];
  for (int l = 0; l < no_levels; ++l) counts[l + 1] += counts[l];
  int numbered = counts[no_levels];
  for (int i = 0; i < n; ++i)
    if (level[i] >= 0) new_number[i] = ++counts[level[i]];
  if (numbered < n) {
    write_check("no_independent variables = %d\n", n - numbered);
    for (int i = 0; i < n; ++i)
      if (level[i] < 0) new_number[i] = ++numbered;
  }
  for (int i = 0; i < n; ++i) new_number[i] = n + 1 - new_number[i];
}

void order_by_amd(int n, int size, int *profile, const int *rhp, int *new_number, int &connections,
                  int *work) {
  for (int k = 0; k < size; ++k) --profile[k];
  const AMD_OUTCOME outcome = run_amd_order(n, rhp, profile, work);
  write_check("finish AMD ordering=%d :AMD_OK=%d\n", outcome.status, 0);
  if (!outcome.ok) {
    write_check("AMD failed!\n");
    connections = -1;
    for (int i = 0; i < n; ++i) new_number[i] = i + 1;
  } else {
    connections = 1;
    for (int k = 0; k < n; ++k) new_number[work[k]] = k + 1;
  }
  for (int k = 0; k < size; ++k) ++profile[k];
}

int renumber_variables(const MATRIX_PROFILE *profile, int renumbering, int *new_number, int *work) {
  const int n = profile->dimension;
  int connections = 1;
  if (renumbering == renumbering_levels)
    order_by_levels(n, profile->index, profile->row_head_pointers, new_number, connections, work);
  else if (renumbering == renumbering_amd)
    order_by_amd(n, profile->size, profile->index, profile->row_head_pointers, new_number, connections, work);
  else
    for (int i = 0; i < n; ++i) new_number[i] = i + 1;
  if (connections != 1)
    write_check("*** Warning: System matrix is disconnected. Number of connections =%d\n", connections);
  return connections;
}

void renumber_variable_list(int count, int *variables, const int *kinds, const int *new_number) {
  for (int k = 0; k < count; ++k) {
    const int kind = kinds[k];
    if (kind == 1 || kind == 3 || kind == 12) continue; // not matrix rows
    variables[k] = new_number[variables[k] - 1];
  }
}

SOLVER_PATTERN solver_pattern(SPARSE_MATRIX *m) {
  SOLVER_PATTERN p;
  p.size = m->size;
  if (m->renumber_option && m->is_renumbered) {
    p.row_head_pointers = m->pattern.row_head_pointers + m->dimension + 1;
    p.columns = m->pattern.columns + m->size;
    p.lower = m->matrix_lower_renumbered;
    p.upper = m->matrix_upper_renumbered;
  } else {
    p.row_head_pointers = m->pattern.row_head_pointers;
    p.columns = m->pattern.columns;
    p.lower = m->matrix_lower;
    p.upper = m->matrix_upper;
  }
  return p;
}

namespace {

// The full pattern (both triangles and the diagonal, 1-based columns, as the orderings take it)
// of a type-1 lower pattern with 0-based columns.
void make_full_pattern(int n, const int *rhp, const int *columns, TaggedArray<int> &full_rhp,
                       TaggedArray<int> &full_index) {
  full_rhp = TaggedArray<int>(n + 1LL, "work for renumber_variables");
  for (int i = 0; i < n; ++i)
    for (int k = rhp[i]; k < rhp[i + 1]; ++k) {
      ++full_rhp[i + 1];
      if (columns[k] != i) ++full_rhp[columns[k] + 1];
    }
  for (int i = 0; i < n; ++i) full_rhp[i + 1] += full_rhp[i];
  full_index = TaggedArray<int>(full_rhp[n], "work for renumber_variables");
  TaggedArray<int> fill(n, "work for renumber_variables");
  for (int i = 0; i < n; ++i) fill[i] = full_rhp[i];
  for (int i = 0; i < n; ++i) // rows ascending, so every row of the result ascends
    for (int k = rhp[i]; k < rhp[i + 1]; ++k) {
      const int j = columns[k];
      full_index[fill[i]++] = j + 1;
      if (j != i) full_index[fill[j]++] = i + 1;
    }
  for (int i = 0; i < n; ++i) std::sort(full_index.data() + full_rhp[i], full_index.data() + full_rhp[i + 1]);
}

// The permuted lower pattern into the second halves of the pattern arrays. new_number holds
// 1-based numbers; the columns stay 0-based.
void make_permuted_pattern(int n, SPARSE_MATRIX *m) {
  const int *rhp = m->pattern.row_head_pointers, *columns = m->pattern.columns;
  const int *new_number = m->renumbering_index;
  int *rhp2 = m->pattern.row_head_pointers + n + 1, *columns2 = m->pattern.columns + m->size;
  std::memset(rhp2, 0, sizeof(int) * (n + 1));
  for (int i = 0; i < n; ++i)
    for (int k = rhp[i]; k < rhp[i + 1]; ++k) ++rhp2[std::max(new_number[i], new_number[columns[k]])];
  for (int i = 0; i < n; ++i) rhp2[i + 1] += rhp2[i];
  TaggedArray<int> fill(n, "work for renumber_variables");
  for (int i = 0; i < n; ++i) fill[i] = rhp2[i];
  for (int i = 0; i < n; ++i)
    for (int k = rhp[i]; k < rhp[i + 1]; ++k) {
      const int a = new_number[i], b = new_number[columns[k]];
      columns2[fill[std::max(a, b) - 1]++] = std::min(a, b) - 1;
    }
  for (int i = 0; i < n; ++i) std::sort(columns2 + rhp2[i], columns2 + rhp2[i + 1]); // diagonal ends last
  int *rows2 = m->pattern.no_elements_in_row + n;
  for (int i = 0; i < n; ++i) rows2[i] = rhp2[i + 1] - rhp2[i];
}

// The values into the renumbered arrays; lower and upper swap where the order reverses.
void copy_permuted_values(int n, SPARSE_MATRIX *m) {
  const int *rhp = m->pattern.row_head_pointers, *columns = m->pattern.columns;
  const int *rhp2 = rhp + n + 1, *columns2 = columns + m->size;
  const int width = m->is_complex ? 2 : 1;
  for (int i = 0; i < n; ++i)
    for (int k = rhp[i]; k < rhp[i + 1]; ++k) {
      const int a = m->renumbering_index[i], b = m->renumbering_index[columns[k]];
      const int target = location_in_pattern(a - 1, b - 1, rhp2, columns2);
      const bool reversed = a < b;
      for (int w = 0; w < width; ++w) {
        m->matrix_lower_renumbered[width * target + w] =
            reversed && m->asymmetric ? m->matrix_upper[width * k + w] : m->matrix_lower[width * k + w];
        if (m->asymmetric)
          m->matrix_upper_renumbered[width * target + w] =
              reversed ? m->matrix_lower[width * k + w] : m->matrix_upper[width * k + w];
      }
    }
}

} // namespace

void sparse_matrix_renumbering(int n, SPARSE_MATRIX *m, const double *rhs, const double *solution,
                               double *rhs_out, double *solution_out) {
  if (!m->renumber_option) return;
  if (!m->is_renumbered) {
    TaggedArray<int> full_rhp, full_index;
    make_full_pattern(n, m->pattern.row_head_pointers, m->pattern.columns, full_rhp, full_index);
    TaggedArray<int> work(4LL * n + 4, "work for renumber_variables");
    int connections = 1;
    if (m->renumber_option == renumbering_amd)
      order_by_amd(n, full_rhp[n], full_index.data(), full_rhp.data(), m->renumbering_index, connections,
                   work.data());
    else
      order_by_levels(n, full_index.data(), full_rhp.data(), m->renumbering_index, connections, work.data());
    if (connections != 1)
      write_check("*** Warning: System matrix is disconnected. Number of connections =%d\n", connections);
    m->connected = connections == 1 ? 1 : 0;
    make_permuted_pattern(n, m);
    m->is_renumbered = 1;
    m->renumbered_before = 1;
  }
  if (!m->is_factorised) copy_permuted_values(n, m);
  const int width = m->is_complex ? 2 : 1;
  for (int i = 0; i < n; ++i)
    for (int w = 0; w < width; ++w) {
      rhs_out[width * (m->renumbering_index[i] - 1) + w] = rhs[width * i + w];
      solution_out[width * (m->renumbering_index[i] - 1) + w] = solution[width * i + w];
    }
}

void sparse_matrix_restore_numbering(int n, const SPARSE_MATRIX *m, const double *solved, double *solution) {
  if (!m->renumber_option) return;
  const int width = m->is_complex ? 2 : 1;
  for (int i = 0; i < n; ++i)
    for (int w = 0; w < width; ++w)
      solution[width * i + w] = solved[width * (m->renumbering_index[i] - 1) + w];
}

void set_unit_rows(SPARSE_MATRIX *m, int count, const int *variables, int in_sliding) {
  const int width = m->is_complex ? 2 : 1;
  for (int k = 0; k < count; ++k) {
    const int row = variables[k];
    const int first = m->pattern.row_head_pointers[row - 1], diagonal = m->pattern.row_head_pointers[row] - 1;
    if (diagonal > first) write_check("wrong set disconnect variables[%d]\n", row);
    for (int w = 0; w < width; ++w) {
      m->matrix_lower[width * diagonal + w] = w == 0 ? 1.0 : 0.0;
      if (m->matrix_upper) m->matrix_upper[width * diagonal + w] = w == 0 ? 1.0 : 0.0;
    }
  }
  if (in_sliding)
    write_check("set disconnect variables in sliding_matrix =%d\n", count);
  else
    write_check("set disconnect variables in matrix =%d\n", count);
}

} // namespace tesmora
