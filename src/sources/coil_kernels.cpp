// Closed forms and integrands shared by the coil elements (see coil_kernels.hpp).
#include "sources/coil_kernels.hpp"

#include "job/report.hpp"

#include <algorithm>
#include <cmath>

namespace tesmora {

namespace {

constexpr double half_pi = 1.5707963267948966;

// ln(x + sqrt(x^2 + rho2)) without the cancellation of a negative x: for x < 0 it is
// ln(rho2 / (R - x)). The caller makes sure rho2 > 0 or x > 0 where the value is used.
double log_plus(double x, double rho2) {
  const double R = std::sqrt(x * x + rho2);
  if (x >= 0.0) return std::log(x + R);
  return std::log(rho2 / (R - x));
}

// coefficient * log_plus(x, rho2), 0 when the coefficient is 0 (the limit at a singular edge).
double times_log(double coefficient, double x, double rho2) {
  if (coefficient == 0.0) return 0.0;
  return coefficient * log_plus(x, rho2);
}

// times_log with the logarithm already taken.
double times_given_log(double coefficient, double log) {
  return coefficient == 0.0 ? 0.0 : coefficient * log;
}

// q atan(u d / (q R)), whose limit at q = 0 is 0.
double q_atan(double q, double u, double d, double R) {
  if (q == 0.0 || R == 0.0) return 0.0;
  return q * std::atan(u * d / (q * R));
}

// The power series of K, E and the two combinations that cancel for small m:
// C1 = (1 - m/2) K - E and C2 = (1 - m/2) E - (1 - m) K. Converges for m < 1; used below 0.25.
void elliptic_series(double m, double &K, double &E, double &C1, double &C2) {
  double c2 = 1.0; // square of (2n)! / (2^2n n!^2)
  double power = 1.0;
  double k_previous = 0.0, e_previous = 0.0; // coefficients of m^(n-1)
  K = E = C1 = C2 = 0.0;
  for (int n = 0; n < 80; ++n) {
    if (n > 0) {
      const double ratio = (2.0 * n - 1.0) / (2.0 * n);
      c2 *= ratio * ratio;
      power *= m;
    }
    const double k_n = c2;
    const double e_n = c2 / (1.0 - 2.0 * n);
    K += k_n * power;
    E += e_n * power;
    C1 += (k_n - 0.5 * k_previous - e_n) * power;
    C2 += (e_n - 0.5 * e_previous - k_n + k_previous) * power;
    k_previous = k_n;
    e_previous = e_n;
    if (n > 2 && k_n * power < 1e-17 * K) break;
  }
  K *= half_pi;
  E *= half_pi;
  C1 *= half_pi;
  C2 *= half_pi;
}

} // namespace

bool elliptic_KE_approx(double m, double &K, double &E) {
  if (!(1.0 < 1.0 + m && 1.0 + m < 2.0)) {
    write_check(" elliptic_KE_approx: m = %.15e, m1 = %.15e\n", m, 1.0 - m);
    K = E = 0.0;
    return false;
  }
  const double m1 = 1.0 - m;
  const double L = std::log(1.0 / m1);
  K = 1.38629436112 +
      m1 * (0.09666344259 + m1 * (0.03590092383 + m1 * (0.03742563713 + m1 * 0.01451196212))) +
      L * (0.5 + m1 * (0.12498593597 + m1 * (0.06880248576 + m1 * (0.03328355346 + m1 * 0.00441787012))));
  E = 1.0 + m1 * (0.44325141463 + m1 * (0.06260601220 + m1 * (0.04757383546 + m1 * 0.01736506451))) +
      L * m1 * (0.24998368310 + m1 * (0.09200180037 + m1 * (0.04069697526 + m1 * 0.00526449639)));
  return true;
}

void elliptic_KE_exact(double m, double &K, double &E) {
  double a = 1.0;
  double b = std::sqrt(1.0 - m);
  double sum = m; // sum of 2^n c_n^2, c_0^2 = m
  double weight = 1.0;
  for (int n = 0; n < 60 && std::abs(a - b) > 1e-16 * a; ++n) {
    const double c = 0.5 * (a - b);
    const double a_next = 0.5 * (a + b);
    b = std::sqrt(a * b);
    a = a_next;
    weight *= 2.0;
    sum += weight * c * c;
  }
  K = half_pi / a;
  E = K * (1.0 - 0.5 * sum);
}

LOOP_FIELD filament_loop_field(double r, double dz, double a, double current, bool exact) {
  LOOP_FIELD out;
  const double D = dz * dz + a * a;
  if (r + 1.0 == 1.0) { // on the axis: the closed form of the axial field
    out.B_z = 4e-7 * current * 3.1415926535898 / 2.0 * a * a / (D * std::sqrt(D));
    return out;
  }
  const double s = r * r + a * a + dz * dz;
  const double t = 2.0 * r * a;
  const double beta2 = s + t;
  const double alpha2 = s - t;
  const double m = 2.0 * t / beta2;
  double K = 0.0, E = 0.0, C1 = 0.0, C2 = 0.0;
  if (m < 0.25) {
    elliptic_series(m, K, E, C1, C2);
  } else {
    if (exact) {
      elliptic_KE_exact(m, K, E);
    } else if (!elliptic_KE_approx(m, K, E)) {
      return out;
    }
    C1 = (1.0 - 0.5 * m) * K - E;
    C2 = (1.0 - 0.5 * m) * E - (1.0 - m) * K;
  }
  if (alpha2 <= 0.0) return out; // on the filament itself
  const double beta = std::sqrt(beta2);
  const double f = 2e-7 * current / (alpha2 * beta);
  out.B_z = f * (2.0 * a * a * E - beta2 * C2);
  out.B_r = f * dz * beta2 * C2 / r;
  out.r_A_phi = 4e-7 * current * std::sqrt(a * r / m) * C1;
  return out;
}

void filament_segment_A(const double S[3], const double E[3], double current, const double p[3],
                        double A_out[3]) {
  double u[3] = {E[0] - S[0], E[1] - S[1], E[2] - S[2]};
  const double h = 0.5 * norm3(u);
  A_out[0] = A_out[1] = A_out[2] = 0.0;
  if (h == 0.0) return;
  for (double &x : u) x /= 2.0 * h;
  const double d[3] = {p[0] - 0.5 * (S[0] + E[0]), p[1] - 0.5 * (S[1] + E[1]), p[2] - 0.5 * (S[2] + E[2])};
  const double z = dot3(d, u);
  double c[3];
  cross3(u, d, c);
  const double rho2 = dot3(c, c);
  const double z1 = z - h;
  const double z2 = z + h;
  const double tiny = h * 1e-20;
  // ln((z2 + r2) / (z1 + r1)), formed on the side where neither sum cancels.
  double L = 0.0;
  if (z <= 0.0) {
    const double r1 = std::sqrt(z1 * z1 + rho2);
    const double r2 = std::sqrt(z2 * z2 + rho2);
    if (r2 - z2 >= tiny) L = std::log((r1 - z1) / (r2 - z2));
  } else {
    const double r1 = std::sqrt(z1 * z1 + rho2);
    const double r2 = std::sqrt(z2 * z2 + rho2);
    if (z1 + r1 >= tiny) L = std::log((z2 + r2) / (z1 + r1));
  }
  for (int i = 0; i < 3; ++i) A_out[i] = mu0_over_4pi * current * L * u[i];
}

void filament_segment_B(const double S[3], const double E[3], double current, const double p[3],
                        double B_out[3]) {
  double u[3] = {E[0] - S[0], E[1] - S[1], E[2] - S[2]};
  const double h = 0.5 * norm3(u);
  B_out[0] = B_out[1] = B_out[2] = 0.0;
  if (h == 0.0) return;
  for (double &x : u) x /= 2.0 * h;
  const double d[3] = {p[0] - 0.5 * (S[0] + E[0]), p[1] - 0.5 * (S[1] + E[1]), p[2] - 0.5 * (S[2] + E[2])};
  const double z = dot3(d, u);
  double c[3];
  cross3(u, d, c);
  const double rho2 = dot3(c, c);
  if (std::sqrt(rho2) < h * 1e-20) return;
  const double z1 = z - h;
  const double z2 = z + h;
  const double r1 = std::sqrt(z1 * z1 + rho2);
  const double r2 = std::sqrt(z2 * z2 + rho2);
  const double g = mu0_over_4pi * current * (z2 / r2 - z1 / r1) / rho2;
  for (int i = 0; i < 3; ++i) B_out[i] = g * c[i];
}

namespace {

// The antiderivative of 1/R over a box, F(x, y, z) with R = |(x, y, z)|.
double box_corner(double x, double y, double z) {
  const double R = std::sqrt(x * x + y * y + z * z);
  double value = times_log(x * y, z, x * x + y * y) + times_log(y * z, x, y * y + z * z) +
                 times_log(z * x, y, z * z + x * x);
  if (R == 0.0) return value;
  if (x != 0.0) value -= 0.5 * x * x * std::atan(y * z / (x * R));
  if (y != 0.0) value -= 0.5 * y * y * std::atan(z * x / (y * R));
  if (z != 0.0) value -= 0.5 * z * z * std::atan(x * y / (z * R));
  return value;
}

// Its derivative along x: the antiderivative of 1/R over the face (y, z) at distance x.
double face_corner(double x, double y, double z) {
  const double R = std::sqrt(x * x + y * y + z * z);
  return times_log(y, z, x * x + y * y) + times_log(z, y, x * x + z * z) - q_atan(x, y, z, R);
}

} // namespace

double box_potential(double a, double b, double c, double hx, double hy, double hz) {
  // X = a - x' runs from a - hx to a + hx as x' runs backwards; a corner's sign is the product
  // of + at the upper and - at the lower end of each range, so + for an odd count of upper ends.
  const double X[2] = {a - hx, a + hx}, Y[2] = {b - hy, b + hy}, Z[2] = {c - hz, c + hz};
  double sum = 0.0;
  for (int i = 0; i < 2; ++i)
    for (int j = 0; j < 2; ++j)
      for (int k = 0; k < 2; ++k) {
        const double sign = ((i + j + k) % 2 == 1) ? 1.0 : -1.0;
        sum += sign * box_corner(X[i], Y[j], Z[k]);
      }
  return sum;
}

void box_potential_gradient(double a, double b, double c, double hx, double hy, double hz, double grad[3]) {
  const double X[2] = {a - hx, a + hx}, Y[2] = {b - hy, b + hy}, Z[2] = {c - hz, c + hz};
  grad[0] = grad[1] = grad[2] = 0.0;
  for (int i = 0; i < 2; ++i)
    for (int j = 0; j < 2; ++j)
      for (int k = 0; k < 2; ++k) {
        const double sign = ((i + j + k) % 2 == 1) ? 1.0 : -1.0;
        grad[0] += sign * face_corner(X[i], Y[j], Z[k]);
        grad[1] += sign * face_corner(Y[j], Z[k], X[i]);
        grad[2] += sign * face_corner(Z[k], X[i], Y[j]);
      }
}

void SECTION_INTEGRAND::evaluate(double phi, double *values) const {
  // Source point (r' cos phi, r' sin phi, z'), current along (-sin phi, cos phi, 0). With
  // u = r' - r cos phi, q = r sin phi, d = z - z', R^2 = u^2 + q^2 + d^2, the section integrals
  // of (r'/R), r' d / R^3 and r' u / R^3 have the corner functions GA, Gr, Gz below.
  const double c = std::cos(phi);
  const double s = std::sin(phi);
  const double rc = r_ * c;
  const double q = r_ * s;
  const double U[2] = {a1_ - rc, a2_ - rc};
  const double Dd[2] = {z_ - z2_, z_ - z1_};
  double GA = 0.0, Gr = 0.0, Gz = 0.0;
  for (int i = 0; i < 2; ++i)
    for (int j = 0; j < 2; ++j) {
      const double sign = (i == j) ? 1.0 : -1.0;
      const double u = U[i], d = Dd[j];
      const double R = std::sqrt(u * u + q * q + d * d);
      const double rho_ud2 = q * q + d * d; // for ln(u + R)
      const double rho_dd2 = u * u + q * q; // for ln(d + R)
      const double T = q_atan(q, u, d, R);
      // The two logarithms of the corner, each shared by three and two of the terms.
      const double log_u = log_plus(u, rho_ud2), log_d = log_plus(d, rho_dd2);
      const double face_log = times_given_log(rc * u + 0.5 * rho_dd2, log_d);
      GA += sign * (face_log + times_given_log(rc * d, log_u) - rc * T + 0.5 * d * R);
      Gr += sign * (-R - times_given_log(rc, log_u));
      Gz += sign * (times_given_log(d, log_u) - T - times_given_log(rc, log_d));
    }
  values[0] = -s * GA;
  values[1] = c * GA;
  values[2] = c * Gr;
  values[3] = s * Gr;
  values[4] = Gz;
}

void FILAMENT_ARC_INTEGRAND::evaluate(double phi, double *values) const {
  const double c = std::cos(phi);
  const double s = std::sin(phi);
  const double d = z_ - z0_;
  const double R2 = r_ * r_ + a_ * a_ - 2.0 * r_ * a_ * c + d * d;
  if (R2 <= 0.0) {
    for (int i = 0; i < 5; ++i) values[i] = 0.0;
    return;
  }
  const double R = std::sqrt(R2);
  const double R3 = R2 * R;
  values[0] = -s * a_ / R;
  values[1] = c * a_ / R;
  values[2] = a_ * c * d / R3;
  values[3] = a_ * s * d / R3;
  values[4] = a_ * (a_ - r_ * c) / R3;
}

double section_loop_axis_Bz(double J, double a1, double a2, double z1, double z2) {
  auto term = [&](double z) {
    const double R1 = std::sqrt(a1 * a1 + z * z);
    const double R2 = std::sqrt(a2 * a2 + z * z);
    return z * std::log((a2 + R2) / (a1 + R1));
  };
  return mu0_over_4pi * J * 6.2831853071796 * (term(z2) - term(z1));
}

} // namespace tesmora
