// B-H curves: the single-valued magnetisation law, piecewise linear in the H-B plane, and the
// family of evaluation routines the nonlinear iteration, energies and losses call.
//
// Three clamps make the law robust: the first segment is a constant reluctivity, the
// differential reluctivity returned by the tangent routines is capped at 1/mu0 (a falling or
// flat piece included), and the derivative of reluctivity is floored so that dH/dB >= 0.
// Every routine is one bisection on the curve: no allocation, no state, safe from many threads.
#pragma once

#include "job/ffile.hpp"

namespace tesmora {

inline constexpr double mu0 = 1.2566370614359173e-06; // H/m
inline constexpr double nu_max = 795774.7154594767;   // 1/mu0, the largest reluctivity returned
inline constexpr double dnu_floor_b2 = 1e-8;          // T^2; below it dnu is not floored

struct B_H_CURVE {
  int id = 0;               // BH_CURVE_ID
  int no_data = 0;          // points, at least 2
  double *H = nullptr;      // A/m, no_data, 0-based; H[0] = 0; tag "b_h_curve->H"
  double *B = nullptr;      // T, no_data, 0-based; B[0] = 0; tag "b_h_curve->B"
  double *energy = nullptr; // J/m^3, running integral of B dH; tag "b_h_curve->energy"
};

// The curves of the job, read by read_b_h_curves.
struct B_H_CURVES {
  B_H_CURVE *curves = nullptr; // no_curves, 0-based; tag "b_h_curves"
  int no_curves = 0;
  int no_t_depend_curves = 0;
  int no_2d_curves = 0;
  int no_magnet_curves = 0;
  int no_t_depend_magnet_curves = 0;
};
const B_H_CURVES &b_h_curves();

// Reads the curve section (optional: at the end of input nothing is read) and binds the
// curves of the materials and surface materials.
void read_b_h_curves(FFILE *file);
// The curve with that id, or the job stops with "***** B_H_curve No. %d is not found.".
const B_H_CURVE *find_b_h_curve(int id);
// Fills curve.energy from H and B by the trapezoid rule on B dH.
void make_energy_table(B_H_CURVE &curve);

// Index i of the segment B[i-1]..B[i] that holds b (i >= 1); b at or above the last point
// gives the last segment. The same search over H with search_h.
int bh_search(const B_H_CURVE &curve, double b);
int bh_search_h(const B_H_CURVE &curve, double h);

// nu = H/B and dnu = d nu / d(B^2) at B^2 = b2.
void bh_reluctivity(const B_H_CURVE &curve, double b2, double *nu, double *dnu);
// Signed H of a signed B and the differential reluctivity dH/dB.
void bh_field(const B_H_CURVE &curve, double b, double *h, double *slope);
// H[3] of B[3] and the tangent dH/dB, 3x3 row-major.
void bh_field_vector(const B_H_CURVE &curve, const double B[3], double H[3], double tangent[9]);
// Complex phasors B[6] (x.re, x.im, y.re, y.im, z.re, z.im): the saturation state is taken from
// the real parts alone; H[6] and a real tangent.
void bh_field_vector_complex(const B_H_CURVE &curve, const double B[6], double H[6], double tangent[9]);
// H[3] and the secant reluctivities nu[3] (all equal), without the clamp.
void bh_secant_vector(const B_H_CURVE &curve, const double B[3], double H[3], double nu[3]);
// B[3] of H[3] and the tangent dH/dB.
void bh_inverse_vector(const B_H_CURVE &curve, const double H[3], double B[3], double tangent[9]);
// Signed H of a signed B and the energy density (J/m^3).
void bh_energy(const B_H_CURVE &curve, double b, double *h, double *energy);
void bh_energy_b2(const B_H_CURVE &curve, double b2, double *h, double *energy);
void bh_energy_vector(const B_H_CURVE &curve, const double B[3], double H[3], double *energy);
void bh_energy_vector_complex(const B_H_CURVE &curve, const double B[6], double H[6], double *energy);
// B by linear interpolation in H, for an H magnitude.
double bh_flux_density(const B_H_CURVE &curve, double h);

} // namespace tesmora
