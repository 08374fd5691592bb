// Z_SYMMETRIC_LOOP (LOOP): a circular coil about the z axis, a filament or a rectangular section.
#include "sources/coil_elements/coil_kinds.hpp"
#include "sources/coil_kernels.hpp"

#include <algorithm>
#include <cmath>

namespace tesmora {

namespace {

constexpr double pi = 3.14159265358979323846;
constexpr double two_degrees = 0.0349065850398; // the panel next to the point's own azimuth

class Z_SYMMETRIC_LOOP final : public COIL_ELEMENT {
public:
  Z_SYMMETRIC_LOOP(double current, double radius, double center_z, double radial_w, double axial_w)
      : current(current), radius(radius), center_z(center_z), radial_w(radial_w), axial_w(axial_w) {}
  COIL_KIND kind() const override { return COIL_KIND::LOOP; }

  void A(const double p[3], const COIL_OPTIONS &options, double A_out[3]) const override {
    double A_phi = 0.0, B_r = 0.0, B_z = 0.0;
    field(p, options, A_phi, B_r, B_z);
    const double r = std::hypot(p[0], p[1]);
    A_out[2] = 0.0;
    if (r < 1e-10) {
      A_out[0] = A_out[1] = 0.0;
      return;
    }
    A_out[0] = -A_phi * p[1] / r;
    A_out[1] = A_phi * p[0] / r;
  }
  void B(const double p[3], const COIL_OPTIONS &options, double B_out[3]) const override {
    double A_phi = 0.0, B_r = 0.0, B_z = 0.0;
    field(p, options, A_phi, B_r, B_z);
    const double r = std::hypot(p[0], p[1]);
    B_out[2] = B_z;
    if (r < 1e-10) {
      B_out[0] = B_out[1] = 0.0;
      return;
    }
    B_out[0] = B_r * p[0] / r;
    B_out[1] = B_r * p[1] / r;
  }

  bool current_point(double s, double xi, double eta, CURRENT_POINT &out) const override {
    const double phi = 2.0 * pi * s;
    const double r = radius + 0.5 * xi * radial_w;
    out.x[0] = r * std::cos(phi);
    out.x[1] = r * std::sin(phi);
    out.x[2] = center_z + 0.5 * eta * axial_w;
    out.direction[0] = -std::sin(phi);
    out.direction[1] = std::cos(phi);
    out.direction[2] = 0.0;
    out.weight = current * 2.0 * pi * r / 4.0;
    return true;
  }

private:
  void field(const double p[3], const COIL_OPTIONS &options, double &A_phi, double &B_r, double &B_z) const;
  void section_near_field(double r, double dz, double limit2, double &A_phi, double &B_r, double &B_z) const;

  double current;  // A
  double radius;   // m, of the section's centre
  double center_z; // m
  double radial_w; // m
  double axial_w;  // m
};

void Z_SYMMETRIC_LOOP::field(const double p[3], const COIL_OPTIONS &options, double &A_phi, double &B_r,
                             double &B_z) const {
  const double r = std::hypot(p[0], p[1]);
  const double dz = p[2] - center_z;
  A_phi = B_r = B_z = 0.0;
  const bool filament = radial_w == 0.0 || axial_w == 0.0;
  const double limit = std::max(radial_w, axial_w) * options.line_approx_limit / 2.0;
  const double dist2 = (r - radius) * (r - radius) + dz * dz;
  if (filament || dist2 >= limit * limit) {
    // The polynomial elliptic integrals belong to the older method; method 0 uses the mean.
    const bool exact = !filament || options.integral_method == 0;
    const LOOP_FIELD f = filament_loop_field(r, dz, radius, current, exact);
    A_phi = r > 0.0 ? f.r_A_phi / r : 0.0;
    B_r = f.B_r;
    B_z = f.B_z;
    return;
  }
  section_near_field(r, dz, limit * limit, A_phi, B_r, B_z);
}

void Z_SYMMETRIC_LOOP::section_near_field(double r, double dz, double limit2, double &A_phi, double &B_r,
                                          double &B_z) const {
  const double a1 = radius - 0.5 * radial_w, a2 = radius + 0.5 * radial_w;
  const double J = current / (radial_w * axial_w);
  if (r < 1e-10 * radius) {
    B_z = section_loop_axis_Bz(J, a1, a2, dz - 0.5 * axial_w, dz + 0.5 * axial_w);
    return;
  }
  // Source angles are counted from the point's azimuth; the half circle 0..pi is doubled.
  const SECTION_INTEGRAND section(r, dz, a1, a2, -0.5 * axial_w, 0.5 * axial_w);
  double near[5] = {}, close[5] = {}, far[5] = {};
  constexpr double rel_tol = 1e-6;
  integrate_adaptive(section, two_degrees, 0.5 * pi, 5, rel_tol, 0.0, near);
  integrate_adaptive(section, 0.0, two_degrees, 5, rel_tol, 0.0, close);
  double scale_far = 2.0 * mu0_over_4pi * J;
  const double dist2 = (r - radius) * (r - radius) + dz * dz;
  if (dist2 + 2.0 * r * radius < limit2) {
    integrate_adaptive(section, 0.5 * pi, pi, 5, rel_tol, 0.0, far);
  } else {
    const FILAMENT_ARC_INTEGRAND filament(r, dz, radius, 0.0);
    integrate_adaptive(filament, 0.5 * pi, pi, 5, rel_tol, 0.0, far);
    scale_far = 2.0 * mu0_over_4pi * current;
    write_coil_note_once(COIL_NOTE::LOOP_BY_FARC);
  }
  const double scale = 2.0 * mu0_over_4pi * J;
  A_phi = scale * (near[1] + close[1]) + scale_far * far[1];
  B_r = scale * (near[2] + close[2]) + scale_far * far[2];
  B_z = scale * (near[4] + close[4]) + scale_far * far[4];
}

} // namespace

std::unique_ptr<COIL_ELEMENT> make_loop(const COIL_ELEMENT_DATA &data) {
  const double *v = data.values;
  return std::make_unique<Z_SYMMETRIC_LOOP>(data.current, v[0], v[1], v[2], v[3]);
}

} // namespace tesmora
