// Incomplete Cholesky, incomplete LU and complex incomplete Cholesky without fill, with the
// raising of the diagonal shift when a pivot becomes too small.
//
// The factor is M = L S U with L unit lower (U = L^T when symmetric) on the pattern of A and
// Diag = S^-1. While row i is worked on, L holds its unscaled values l_ik = (L S)_ik, which the
// merge with the finished (scaled) rows needs; at the end of the row they are scaled by Diag.
#include "equations/iccg.hpp"

#include "job/report.hpp"

#include <algorithm>
#include <complex>

namespace tesmora {

namespace {

constexpr double small_pivot = 1e-6;
constexpr double shift_step = 0.01;
constexpr double largest_shift = 5.0;

// Sum over common columns k < limit of a[k] (row i, from ia) times b[k] (row j, from jb).
template <class T>
T merge_rows(const int *index, int ia, int ia_end, const T *a, int jb, int jb_end, const T *b) {
  T sum{};
  while (ia < ia_end && jb < jb_end) {
    const int ca = index[ia], cb = index[jb];
    if (ca == cb)
      sum += a[ia++] * b[jb++];
    else if (ca < cb)
      ++ia;
    else
      ++jb;
  }
  return sum;
}

[[noreturn]] void zero_pivot(int row) {
  write_fault("****  Zero division Incomplete Cholesky Dicomposition at  %d.****\n", row + 1);
  stop_job(1);
}

// One row of the symmetric factor. Returns the pivot s.
double cholesky_row(int i, const int *rhp, const int *index, const double *lower, double *L,
                    const double *Diag, double alpha) {
  const int first = rhp[i], diagonal = rhp[i + 1] - 1;
  for (int k = first; k < diagonal; ++k) {
    const int j = index[k];
    L[k] = lower[k] - merge_rows(index, first, k, L, rhp[j], rhp[j + 1] - 1, L);
  }
  const double a_ii = lower[diagonal];
  double s = a_ii > 0.0 ? a_ii * alpha : a_ii;
  for (int k = first; k < diagonal; ++k) {
    const double scaled = L[k] * Diag[index[k]];
    s -= L[k] * scaled;
    L[k] = scaled;
  }
  return s;
}

} // namespace

int incomplete_cholesky(int n, const int *rhp, const int *index, const double *lower, double *L, double *Diag,
                        double &alpha, int fixed_accel) {
  alpha = std::max(alpha, 1.0);
  int restarts = 0;
  for (int i = 0; i < n; ++i) {
    const int diagonal = rhp[i + 1] - 1;
    const double s = cholesky_row(i, rhp, index, lower, L, Diag, alpha);
    if (!fixed_accel && s < small_pivot && lower[diagonal] > 0.0 && alpha < largest_shift) {
      alpha += shift_step; // raise the shift and start the whole factorisation over
      ++restarts;
      i = -1;
      continue;
    }
    if (fixed_accel && s == 0.0) zero_pivot(i);
    Diag[i] = 1.0 / s;
    L[diagonal] = 1.0;
  }
  return restarts;
}

int incomplete_lu(int n, const int *rhp, const int *index, const double *lower, const double *upper,
                  double *L, double *U, double *Diag, double &alpha, int fixed_accel) {
  alpha = std::max(alpha, 1.0);
  int restarts = 0;
  for (int i = 0; i < n; ++i) {
    const int first = rhp[i], diagonal = rhp[i + 1] - 1;
    for (int k = first; k < diagonal; ++k) {
      const int j = index[k];
      L[k] = lower[k] - merge_rows(index, first, k, L, rhp[j], rhp[j + 1] - 1, U);
      U[k] = upper[k] - merge_rows(index, first, k, U, rhp[j], rhp[j + 1] - 1, L);
    }
    const double a_ii = lower[diagonal];
    double s = a_ii > 0.0 ? a_ii * alpha : a_ii;
    for (int k = first; k < diagonal; ++k) {
      const double d = Diag[index[k]];
      s -= L[k] * U[k] * d;
      L[k] *= d;
      U[k] *= d;
    }
    if (!fixed_accel && s < small_pivot && a_ii > 0.0 && alpha < largest_shift) {
      alpha += shift_step;
      ++restarts;
      i = -1;
      continue;
    }
    if (fixed_accel && s == 0.0) zero_pivot(i);
    Diag[i] = 1.0 / s;
    L[diagonal] = 1.0;
    U[diagonal] = 1.0;
  }
  return restarts;
}

int incomplete_cholesky_complex(int n, const int *rhp, const int *index, const double *lower_pairs,
                                double *L_pairs, double *Diag_pairs, double &alpha, int fixed_accel) {
  using complex = std::complex<double>;
  // The constants of the complex form are single-precision values widened to double.
  constexpr double small_pivot_single = static_cast<double>(1e-6f);
  constexpr double ratio_single = static_cast<double>(0.2f);
  constexpr double step_single = static_cast<double>(0.01f);
  constexpr double largest_shift_complex = 1.5;
  const auto *lower = reinterpret_cast<const complex *>(lower_pairs);
  auto *L = reinterpret_cast<complex *>(L_pairs);
  auto *Diag = reinterpret_cast<complex *>(Diag_pairs);
  alpha = std::max(alpha, 1.0);
  int restarts = 0;
  for (int i = 0; i < n; ++i) {
    const int first = rhp[i], diagonal = rhp[i + 1] - 1;
    for (int k = first; k < diagonal; ++k) {
      const int j = index[k];
      L[k] = lower[k] - merge_rows(index, first, k, L, rhp[j], rhp[j + 1] - 1, L);
    }
    const complex a_ii = lower[diagonal];
    complex s = a_ii.real() > 0.0 ? a_ii * alpha : a_ii;
    for (int k = first; k < diagonal; ++k) {
      const complex scaled = L[k] * Diag[index[k]];
      s -= L[k] * scaled;
      L[k] = scaled;
    }
    const double a_single = static_cast<double>(static_cast<float>(a_ii.real()));
    if (!fixed_accel && s.real() < small_pivot_single && a_single > 0.0 &&
        s.real() < a_single * ratio_single && alpha <= largest_shift_complex) {
      alpha += step_single;
      ++restarts;
      i = -1;
      continue;
    }
    if (fixed_accel && s == complex(0.0, 0.0)) zero_pivot(i);
    // 1/s by real arithmetic.
    const double modulus2 = s.real() * s.real() + s.imag() * s.imag();
    Diag[i] = complex(s.real() / modulus2, -s.imag() / modulus2);
    L[diagonal] = complex(1.0, 0.0);
  }
  return restarts;
}

} // namespace tesmora
