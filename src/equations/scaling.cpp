// Symmetric diagonal scaling of the stored matrices: real, complex and asymmetric.
//
// Row by row, D_i = 1/sqrt(|a_ii|); a zero diagonal takes instead the largest |a_ij D_j| of the
// row's off-diagonal entries (all earlier columns, whose factors exist) as reference, D_i = 1/m.
// Every entry of the row is multiplied by D_i D_j in the same step.
#include "equations/renumbering.hpp"

#include <algorithm>
#include <cmath>

namespace tesmora {

namespace {

// The factor of row i from the modulus of its diagonal and, for a zero diagonal, its
// off-diagonal moduli (not yet scaled) times the column factors.
double row_factor(double diagonal_modulus, int first, int diagonal, const int *columns, const double *values,
                  int width, const double *D) {
  if (diagonal_modulus != 0.0) return 1.0 / std::sqrt(diagonal_modulus);
  double largest = 0.0;
  for (int k = first; k < diagonal; ++k) {
    const double re = values[width * k], im = width == 2 ? values[width * k + 1] : 0.0;
    largest = std::max(largest, std::hypot(re, im) * D[columns[k]]);
  }
  return 1.0 / largest;
}

void scale_rows(int n, SPARSE_MATRIX *m, int width) {
  SOLVER_PATTERN p = solver_pattern(m);
  for (int i = 0; i < n; ++i) {
    const int first = p.row_head_pointers[i], diagonal = p.row_head_pointers[i + 1] - 1;
    const double re = p.lower[width * diagonal], im = width == 2 ? p.lower[width * diagonal + 1] : 0.0;
    m->D[i] = row_factor(std::hypot(re, im), first, diagonal, p.columns, p.lower, width, m->D);
    for (int k = first; k <= diagonal; ++k) {
      const double factor = m->D[i] * m->D[p.columns[k]];
      for (int w = 0; w < width; ++w) {
        p.lower[width * k + w] *= factor;
        if (m->asymmetric && p.upper) p.upper[width * k + w] *= factor;
      }
    }
  }
  m->is_scaled = 1;
}

} // namespace

void scale_matrix(int n, SPARSE_MATRIX *matrix) { scale_rows(n, matrix, 1); }
void scale_matrix_complex(int n, SPARSE_MATRIX *matrix) { scale_rows(n, matrix, 2); }
void scale_matrix_asymmetric(int n, SPARSE_MATRIX *matrix) {
  scale_rows(n, matrix, matrix->is_complex ? 2 : 1);
}

} // namespace tesmora
