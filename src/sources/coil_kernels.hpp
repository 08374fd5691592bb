// Closed forms and integrands shared by the coil elements: vector helpers, complete elliptic
// integrals, the circular filament, the straight filament, the rectangular bar and the
// integrands over a source angle for arcs of filament and of rectangular section.
//
// mu0 / (4 pi) is taken as 1e-7 throughout. Every function here is pure.
#pragma once

#include "sources/coil_integrator.hpp"

#include <cmath>

namespace tesmora {

inline constexpr double mu0_over_4pi = 1e-7;

inline double dot3(const double a[3], const double b[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
inline void cross3(const double a[3], const double b[3], double out[3]) {
  const double x = a[1] * b[2] - a[2] * b[1];
  const double y = a[2] * b[0] - a[0] * b[2];
  const double z = a[0] * b[1] - a[1] * b[0];
  out[0] = x;
  out[1] = y;
  out[2] = z;
}
inline double norm3(const double a[3]) { return std::sqrt(dot3(a, a)); }

// K(m) and E(m) by the degree-4 polynomials 17.3.34 and 17.3.36 of Abramowitz and Stegun
// (|error| <= 2e-8). Outside 0 < m < 1 the arguments go to check by name and both are 0.
bool elliptic_KE_approx(double m, double &K, double &E);
// K(m) and E(m) to rounding by the arithmetic-geometric mean; for 0 <= m < 1.
void elliptic_KE_exact(double m, double &K, double &E);

// A circular filament of radius a about the z axis, current I, at a point of radius r and
// height dz above its plane: the flux function r A_phi and B_r, B_z. `exact` picks the elliptic
// integrals by the mean instead of the polynomials.
struct LOOP_FIELD {
  double r_A_phi = 0.0; // Wb
  double B_r = 0.0, B_z = 0.0;
};
LOOP_FIELD filament_loop_field(double r, double dz, double a, double current, bool exact);

// The straight filament from S to E, current I: A and B at p (global of the element).
void filament_segment_A(const double S[3], const double E[3], double current, const double p[3],
                        double A_out[3]);
void filament_segment_B(const double S[3], const double E[3], double current, const double p[3],
                        double B_out[3]);

// Integral of 1/|p - x'| over the box [-hx, hx] x [-hy, hy] x [-hz, hz] and its gradient with
// respect to the point (a, b, c) relative to the box centre.
double box_potential(double a, double b, double c, double hx, double hy, double hz);
void box_potential_gradient(double a, double b, double c, double hx, double hy, double hz, double grad[3]);

// Field point at (r, 0, z) in a frame whose z is the arc's axis. Source at angle phi of the point
// (the point's own azimuth is 0). Components, all per unit current density times 1e-7 for the
// section and per unit current times 1e-7 for the filament: A_x, A_y, B_x, B_y, B_z.
class SECTION_INTEGRAND final : public INTEGRAND {
public:
  // Section radii a1 < a2, heights z1 < z2 of the source; field point radius r, height z.
  SECTION_INTEGRAND(double r, double z, double a1, double a2, double z1, double z2)
      : r_(r), z_(z), a1_(a1), a2_(a2), z1_(z1), z2_(z2) {}
  void evaluate(double phi, double *values) const override;

private:
  double r_, z_, a1_, a2_, z1_, z2_;
};

class FILAMENT_ARC_INTEGRAND final : public INTEGRAND {
public:
  // Filament of radius a at height z0; field point radius r, height z.
  FILAMENT_ARC_INTEGRAND(double r, double z, double a, double z0) : r_(r), z_(z), a_(a), z0_(z0) {}
  void evaluate(double phi, double *values) const override;

private:
  double r_, z_, a_, z0_;
};

// The B of a rectangular-section loop on its own axis (closed form): current density J,
// radii a1 < a2, heights relative to the point z1 < z2 of the section.
double section_loop_axis_Bz(double J, double a1, double a2, double z1, double z2);

} // namespace tesmora
