// Helpers of the coil tests: element data for every kind, and reference integrals written
// independently of the library (trapezoidal sums over a circle, Gauss-Legendre by Newton).
#pragma once

#include "sources/coil_element.hpp"

#include <cmath>
#include <functional>
#include <vector>

namespace coil_test {

using tesmora::COIL_ELEMENT_DATA;
using tesmora::COIL_KIND;

inline COIL_ELEMENT_DATA element_data(COIL_KIND kind, double current, std::vector<double> values) {
  COIL_ELEMENT_DATA d;
  d.kind = kind;
  d.current = current;
  for (std::size_t i = 0; i < values.size() && i < 12; ++i) d.values[i] = values[i];
  return d;
}

// Gauss-Legendre nodes and weights on [-1, 1] by Newton's method on P_n (the test's own).
inline void legendre_rule(int n, std::vector<double> &x, std::vector<double> &w) {
  x.assign(n, 0.0);
  w.assign(n, 0.0);
  for (int i = 0; i < n; ++i) {
    double z = std::cos(M_PI * (i + 0.75) / (n + 0.5));
    double dp = 1.0;
    for (int it = 0; it < 100; ++it) {
      double p0 = 1.0, p1 = z;
      for (int k = 2; k <= n; ++k) {
        const double p2 = ((2.0 * k - 1.0) * z * p1 - (k - 1.0) * p0) / k;
        p0 = p1;
        p1 = p2;
      }
      dp = n * (z * p1 - p0) / (z * z - 1.0);
      const double dz = p1 / dp;
      z -= dz;
      if (std::abs(dz) < 1e-15) break;
    }
    x[i] = z;
    w[i] = 2.0 / ((1.0 - z * z) * dp * dp);
  }
}

// Integral over [a, b] of a vector function with a composite Gauss rule of `panels` panels of
// `order` points each.
inline std::vector<double> composite_gauss(const std::function<std::vector<double>(double)> &f, double a,
                                           double b, int panels, int order) {
  std::vector<double> x, w, sum;
  legendre_rule(order, x, w);
  const double h = (b - a) / panels;
  for (int p = 0; p < panels; ++p)
    for (int i = 0; i < order; ++i) {
      const std::vector<double> v = f(a + h * (p + 0.5 * (x[i] + 1.0)));
      if (sum.empty()) sum.assign(v.size(), 0.0);
      for (std::size_t c = 0; c < v.size(); ++c) sum[c] += 0.5 * h * w[i] * v[c];
    }
  return sum;
}

// Biot-Savart of a circular filament (radius a at height z0 about z, current I) by the
// trapezoidal rule, which converges geometrically for a smooth periodic integrand; the number
// of points doubles until two sums agree to rel. Returns A (0..2) and B (3..5).
inline std::vector<double> loop_biot_savart(double a, double z0, double I, const double p[3], double rel) {
  auto sum = [&](int n) {
    std::vector<double> v(6, 0.0);
    for (int k = 0; k < n; ++k) {
      const double phi = 2.0 * M_PI * (k + 0.5) / n;
      const double x[3] = {a * std::cos(phi), a * std::sin(phi), z0};
      const double dl[3] = {-a * std::sin(phi) * 2.0 * M_PI / n, a * std::cos(phi) * 2.0 * M_PI / n, 0.0};
      const double d[3] = {p[0] - x[0], p[1] - x[1], p[2] - x[2]};
      const double R = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
      for (int c = 0; c < 3; ++c) v[c] += 1e-7 * I * dl[c] / R;
      v[3] += 1e-7 * I * (dl[1] * d[2] - dl[2] * d[1]) / (R * R * R);
      v[4] += 1e-7 * I * (dl[2] * d[0] - dl[0] * d[2]) / (R * R * R);
      v[5] += 1e-7 * I * (dl[0] * d[1] - dl[1] * d[0]) / (R * R * R);
    }
    return v;
  };
  int n = 64;
  std::vector<double> old = sum(n);
  for (;;) {
    n *= 2;
    std::vector<double> now = sum(n);
    double diff = 0.0, size = 0.0;
    for (int c = 0; c < 6; ++c) {
      diff = std::max(diff, std::abs(now[c] - old[c]));
      size = std::max(size, std::abs(now[c]));
    }
    if (diff <= rel * size || n > (1 << 22)) return now;
    old = now;
  }
}

// Complete elliptic integrals by the arithmetic-geometric mean (the test's own).
inline void agm_KE(double m, double &K, double &E) {
  double a = 1.0, b = std::sqrt(1.0 - m), sum = 0.5 * m, power = 0.5;
  while (std::abs(a - b) > 1e-16 * a) {
    const double c = 0.5 * (a - b);
    const double an = 0.5 * (a + b);
    b = std::sqrt(a * b);
    a = an;
    power *= 2.0;
    sum += power * c * c;
  }
  K = M_PI / (2.0 * a);
  E = K * (1.0 - sum);
}

} // namespace coil_test
