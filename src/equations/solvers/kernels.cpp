// Matrix-vector products, preconditioner substitutions and inner products of the solvers.
#include "equations/solvers/solver_internal.hpp"

#include "job/run_files.hpp"

#include <cstring>

namespace tesmora {

void matrix_vector_product(int n, const int *row_head_pointers, const int * /*no_elements*/, const int *index,
                           const double *matrix_lower, const double *x, double *y) {
  // Row i gathers its lower part and scatters its transpose into the earlier rows, whose sums
  // are complete by then only in the sense that they only receive: one pass over the matrix.
  for (int i = 0; i < n; ++i) {
    const int first = row_head_pointers[i], diagonal = row_head_pointers[i + 1] - 1;
    const double xi = x[i];
    double sum = matrix_lower[diagonal] * xi;
    for (int k = first; k < diagonal; ++k) {
      const int j = index[k];
      sum += matrix_lower[k] * x[j];
      y[j] += matrix_lower[k] * xi;
    }
    y[i] = sum;
  }
}

void asymmetric_vector_product(int n, const int *row_head_pointers, const int *index, const double *lower,
                               const double *upper, double factor, const double *x, double *y) {
  for (int i = 0; i < n; ++i) {
    const int first = row_head_pointers[i], diagonal = row_head_pointers[i + 1] - 1;
    const double xi = factor * x[i];
    double sum = lower[diagonal] * x[i];
    for (int k = first; k < diagonal; ++k) {
      const int j = index[k];
      sum += lower[k] * x[j];
      y[j] += upper[k] * xi; // a_ji x_i, stored at the place of (i,j)
    }
    y[i] += factor * sum;
  }
}

void forward_backward_substitution(int n, const int *row_head_pointers, const int *index, const double *L,
                                   const double *U, const double *Diag, const double *r, double *z) {
  // L y = r by rows (gather), w = S^-1 y, then U z = w by rows of the transpose (scatter).
  for (int i = 0; i < n; ++i) {
    double sum = r[i];
    const int diagonal = row_head_pointers[i + 1] - 1;
    for (int k = row_head_pointers[i]; k < diagonal; ++k) sum -= L[k] * z[index[k]];
    z[i] = sum;
  }
  for (int i = 0; i < n; ++i) z[i] *= Diag[i];
  for (int i = n - 1; i > 0; --i) {
    const double zi = z[i];
    const int diagonal = row_head_pointers[i + 1] - 1;
    for (int k = row_head_pointers[i]; k < diagonal; ++k) z[index[k]] -= U[k] * zi;
  }
}

namespace solver_detail {

namespace {

// Symmetric Gauss-Seidel: M = (D + L) D^-1 (D + L)^T with the matrix's own lower part and
// Diag = its diagonal.
void gauss_seidel_substitution(const SYSTEM_VIEW &s, const double *r, double *z) {
  const int *rhp = s.row_head_pointers;
  for (int i = 0; i < s.n; ++i) {
    double sum = r[i];
    const int diagonal = rhp[i + 1] - 1;
    for (int k = rhp[i]; k < diagonal; ++k) sum -= s.lower[k] * z[s.index[k]];
    z[i] = sum / s.Diag[i];
  }
  for (int i = s.n - 1; i > 0; --i) {
    const double zi = z[i];
    const int diagonal = rhp[i + 1] - 1;
    for (int k = rhp[i]; k < diagonal; ++k) z[s.index[k]] -= s.lower[k] * zi / s.Diag[s.index[k]];
  }
}

} // namespace

double apply_matrix_quadratic(const SYSTEM_VIEW &s, const double *p, double *q) {
  // The one-pass product of matrix_vector_product; row i also gives its share of p . A p,
  // p_i (a_ii p_i + 2 sum_j<i a_ij p_j), so no second pass over p and q is needed.
  const int *rhp = s.row_head_pointers;
  double pq = 0.0;
  for (int i = 0; i < s.n; ++i) {
    const int first = rhp[i], diagonal = rhp[i + 1] - 1;
    const double pi = p[i];
    double sum = s.lower[diagonal] * pi, off_diagonal = 0.0;
    for (int k = first; k < diagonal; ++k) {
      const int j = s.index[k];
      const double a = s.lower[k];
      sum += a * p[j];
      off_diagonal += a * p[j];
      q[j] += a * pi;
    }
    q[i] = sum;
    pq += pi * (sum + off_diagonal);
  }
  return pq;
}

RESIDUAL_SUMS update_residual_forward(const SYSTEM_VIEW &s, double alpha, double *r, double *q, double *z) {
  // Row i: r_i -= alpha q_i, then y_i = r_i - sum_j<i l_ij y_j (unit lower factor, by rows) and
  // z_i = Diag_i y_i. y overwrites q, which row i no longer needs. The factor's inverse pivots
  // are applied as each row ends, and r . z = y^T Diag y is summed here instead of after the
  // backward sweep. y_(i-1), the usual last term, comes from a register: the chain from one row
  // to the next then holds no store and reload.
  const int *rhp = s.row_head_pointers;
  RESIDUAL_SUMS sums;
  double y_previous = 0.0;
  for (int i = 0; i < s.n; ++i) {
    const int first = rhp[i], diagonal = rhp[i + 1] - 1;
    const double ri = r[i] - alpha * q[i];
    r[i] = ri;
    sums.rr += ri * ri;
    const bool previous_last = diagonal > first && s.index[diagonal - 1] == i - 1;
    const int end = previous_last ? diagonal - 1 : diagonal;
    double sum = ri;
    for (int k = first; k < end; ++k) sum -= s.L[k] * q[s.index[k]];
    if (previous_last) sum -= s.L[end] * y_previous;
    q[i] = sum;
    y_previous = sum;
    const double zi = s.Diag[i] * sum;
    z[i] = zi;
    sums.rz += zi * sum;
  }
  return sums;
}

void update_directions_backward(const SYSTEM_VIEW &s, double alpha, double beta, double *z, double *x,
                                double *p) {
  // z = U^-1 z by rows of the transpose from the last row (scatter). z_i is final when row i is
  // reached, so the CG updates x_i += alpha p_i and p_i = z_i + beta p_i follow at once. The
  // contribution of row i to z_(i-1), the last one z_(i-1) receives, stays in a register.
  const int *rhp = s.row_head_pointers;
  double carried = 0.0;
  bool has_carried = false;
  for (int i = s.n - 1; i >= 0; --i) {
    const int first = rhp[i], diagonal = rhp[i + 1] - 1;
    const double zi = has_carried ? carried : z[i];
    z[i] = zi;
    x[i] += alpha * p[i];
    p[i] = zi + beta * p[i];
    has_carried = diagonal > first && s.index[diagonal - 1] == i - 1;
    const int end = has_carried ? diagonal - 1 : diagonal;
    for (int k = first; k < end; ++k) z[s.index[k]] -= s.U[k] * zi;
    if (has_carried) carried = z[i - 1] - s.U[end] * zi;
  }
}

void apply_matrix(const SYSTEM_VIEW &s, const double *x, double *y) {
  if (!s.upper) {
    matrix_vector_product(s.n, s.row_head_pointers, nullptr, s.index, s.lower, x, y);
    return;
  }
  std::memset(y, 0, sizeof(double) * static_cast<std::size_t>(s.n));
  asymmetric_vector_product(s.n, s.row_head_pointers, s.index, s.lower, s.upper, 1.0, x, y);
}

void apply_transpose(const SYSTEM_VIEW &s, const double *x, double *y) {
  if (!s.upper) {
    matrix_vector_product(s.n, s.row_head_pointers, nullptr, s.index, s.lower, x, y);
    return;
  }
  std::memset(y, 0, sizeof(double) * static_cast<std::size_t>(s.n));
  asymmetric_vector_product(s.n, s.row_head_pointers, s.index, s.upper, s.lower, 1.0, x, y);
}

void apply_preconditioner(const SYSTEM_VIEW &s, const double *r, double *z) {
  if (s.preconditioner == PRECONDITIONER::incomplete_factor)
    forward_backward_substitution(s.n, s.row_head_pointers, s.index, s.L, s.U, s.Diag, r, z);
  else if (s.preconditioner == PRECONDITIONER::gauss_seidel)
    gauss_seidel_substitution(s, r, z);
  else
    std::memcpy(z, r, sizeof(double) * static_cast<std::size_t>(s.n));
}

void apply_preconditioner_transposed(const SYSTEM_VIEW &s, const double *r, double *z) {
  if (s.preconditioner == PRECONDITIONER::incomplete_factor)
    forward_backward_substitution(s.n, s.row_head_pointers, s.index, s.U, s.L, s.Diag, r, z);
  else
    apply_preconditioner(s, r, z);
}

void apply_matrix_complex(const SYSTEM_VIEW &s, const complex *x, complex *y) {
  const auto *a = reinterpret_cast<const complex *>(s.lower);
  for (int i = 0; i < s.n; ++i) {
    const int first = s.row_head_pointers[i], diagonal = s.row_head_pointers[i + 1] - 1;
    const complex xi = x[i];
    complex sum = a[diagonal] * xi;
    for (int k = first; k < diagonal; ++k) {
      const int j = s.index[k];
      sum += a[k] * x[j];
      y[j] += a[k] * xi;
    }
    y[i] = sum;
  }
}

void apply_preconditioner_complex(const SYSTEM_VIEW &s, const complex *r, complex *z) {
  if (s.preconditioner != PRECONDITIONER::incomplete_factor) {
    std::memcpy(static_cast<void *>(z), r, sizeof(complex) * static_cast<std::size_t>(s.n));
    return;
  }
  const auto *L = reinterpret_cast<const complex *>(s.L);
  const auto *Diag = reinterpret_cast<const complex *>(s.Diag);
  const int *rhp = s.row_head_pointers;
  for (int i = 0; i < s.n; ++i) {
    complex sum = r[i];
    const int diagonal = rhp[i + 1] - 1;
    for (int k = rhp[i]; k < diagonal; ++k) sum -= L[k] * z[s.index[k]];
    z[i] = sum;
  }
  for (int i = 0; i < s.n; ++i) z[i] *= Diag[i];
  for (int i = s.n - 1; i > 0; --i) {
    const complex zi = z[i];
    const int diagonal = rhp[i + 1] - 1;
    for (int k = rhp[i]; k < diagonal; ++k) z[s.index[k]] -= L[k] * zi;
  }
}

double dot(int n, const double *x, const double *y) {
  double sum = 0.0;
  for (int i = 0; i < n; ++i) sum += x[i] * y[i];
  return sum;
}

complex dot_bilinear(int n, const complex *x, const complex *y) {
  double re = 0.0, im = 0.0;
  for (int i = 0; i < n; ++i) {
    re += x[i].real() * y[i].real() - x[i].imag() * y[i].imag();
    im += x[i].real() * y[i].imag() + x[i].imag() * y[i].real();
  }
  return {re, im};
}

double norm2(int n, const complex *x) {
  double sum = 0.0;
  for (int i = 0; i < n; ++i) sum += x[i].real() * x[i].real() + x[i].imag() * x[i].imag();
  return sum;
}

REPORT_STREAMS report_streams() {
  const RUN_FILES &files = run_files();
  REPORT_STREAMS streams;
  if (files.print_out && files.print_out->state != 0) streams.output = files.print_out->stream;
  if (files.check && files.check->state != 0) streams.check = files.check->stream;
  return streams;
}

} // namespace solver_detail

} // namespace tesmora
