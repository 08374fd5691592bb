// ARC_ELEMENT (ARC): an arc of rectangular section about a tilted axis, and the arc field
// shared with the filament arc and the corners of the assemblies.
#include "sources/coil_elements/coil_kinds.hpp"
#include "sources/coil_kernels.hpp"

#include <algorithm>
#include <cmath>

namespace tesmora {

namespace {

constexpr double pi = 3.14159265358979323846;
constexpr double degree = 0.017453292519943295;

class ARC_ELEMENT final : public COIL_ELEMENT {
public:
  explicit ARC_ELEMENT(const ARC_SHAPE &shape) : shape(shape) {}
  COIL_KIND kind() const override { return COIL_KIND::ARC; }
  void A(const double p[3], const COIL_OPTIONS &options, double A_out[3]) const override {
    arc_field(shape, p, options, true, A_out);
  }
  void B(const double p[3], const COIL_OPTIONS &options, double B_out[3]) const override {
    arc_field(shape, p, options, false, B_out);
  }
  bool current_point(double s, double xi, double eta, CURRENT_POINT &out) const override {
    return arc_current_point(shape, s, xi, eta, out);
  }

private:
  ARC_SHAPE shape;
};

} // namespace

void arc_field(const ARC_SHAPE &arc, const double p[3], const COIL_OPTIONS &options, bool want_A,
               double out[3]) {
  out[0] = out[1] = out[2] = 0.0;
  double q[3];
  arc.frame.point_to_arc(p, q);
  const double r = std::hypot(q[0], q[1]);
  const double phi_point = r > 0.0 ? std::atan2(q[1], q[0]) : 0.0;
  // Source angles counted from the point's azimuth, the start brought into [-pi, pi).
  double start = arc.phi1 - phi_point;
  while (start < -pi) start += 2.0 * pi;
  while (start >= pi) start -= 2.0 * pi;
  const double end = start + (arc.phi2 - arc.phi1);
  const double dist2 = (r - arc.radius) * (r - arc.radius) + q[2] * q[2];
  const double limit = std::max(arc.radial_w, arc.axial_w) * options.line_approx_limit / 2.0;
  const bool section = arc.radial_w > 0.0 && arc.axial_w > 0.0;
  double values[5] = {};
  double scale = mu0_over_4pi * arc.current;
  if (section && dist2 < limit * limit) {
    const SECTION_INTEGRAND f(r, q[2], arc.radius - 0.5 * arc.radial_w, arc.radius + 0.5 * arc.radial_w,
                              -0.5 * arc.axial_w, 0.5 * arc.axial_w);
    integrate_angles(f, start, end, 1e-6, values);
    scale /= arc.radial_w * arc.axial_w;
  } else {
    if (dist2 < 1e-20 * arc.radius * arc.radius) return; // on the filament itself
    if (section) write_coil_note_once(COIL_NOTE::ARC_BY_FARC);
    const FILAMENT_ARC_INTEGRAND f(r, q[2], arc.radius, 0.0);
    integrate_angles(f, start, end, 1e-6, values);
  }
  const double *own = want_A ? values : values + 2; // (radial, azimuthal) of the point
  const double in_point[3] = {scale * own[0], scale * own[1], want_A ? 0.0 : scale * values[4]};
  double in_arc[3];
  azimuthal_to_cartesian(std::cos(phi_point), std::sin(phi_point), in_point, in_arc);
  arc.frame.vector_from_arc(in_arc, out);
}

bool arc_current_point(const ARC_SHAPE &arc, double s, double xi, double eta, CURRENT_POINT &out) {
  const double phi = arc.phi1 + s * (arc.phi2 - arc.phi1);
  const double r = arc.radius + 0.5 * xi * arc.radial_w;
  const double c = std::cos(phi), sn = std::sin(phi);
  const double x[3] = {r * c, r * sn, 0.5 * eta * arc.axial_w};
  const double t[3] = {-sn, c, 0.0};
  arc.frame.point_from_arc(x, out.x);
  arc.frame.vector_from_arc(t, out.direction);
  out.weight = arc.current * r * (arc.phi2 - arc.phi1) / 4.0;
  return true;
}

void integrate_angles(const INTEGRAND &f, double start, double end, double rel_tol, double out[5]) {
  constexpr double two_degrees = 0.0349065850398;
  const double breaks[6] = {-two_degrees,           0.0,      two_degrees,
                            2.0 * pi - two_degrees, 2.0 * pi, 2.0 * pi + two_degrees};
  for (int c = 0; c < 5; ++c) out[c] = 0.0;
  double from = start;
  for (int i = 0; i <= 6; ++i) {
    const double to = i < 6 ? breaks[i] : end;
    if (to <= from) continue;
    const double upper = std::min(to, end);
    double part[5] = {};
    integrate_adaptive(f, from, upper, 5, rel_tol, 0.0, part);
    for (int c = 0; c < 5; ++c) out[c] += part[c];
    from = upper;
    if (from >= end) break;
  }
}

std::unique_ptr<COIL_ELEMENT> make_arc_piece(double current, const double centre[3], double radius,
                                             double axial_w, double radial_w, double phi1, double phi2) {
  ARC_SHAPE shape;
  for (int i = 0; i < 3; ++i) shape.frame.centre[i] = centre[i];
  shape.current = current;
  shape.radius = radius;
  shape.axial_w = axial_w;
  shape.radial_w = radial_w;
  shape.phi1 = phi1;
  shape.phi2 = phi2;
  return std::make_unique<ARC_ELEMENT>(shape);
}

std::unique_ptr<COIL_ELEMENT> make_arc(const COIL_ELEMENT_DATA &data) {
  // X, Y, Z, RADIUS, AXIAL_W, RADIAL_W, then ALPHA, BETA, PHI1, PHI2 in degrees.
  const double *v = data.values;
  ARC_SHAPE shape;
  for (int i = 0; i < 3; ++i) shape.frame.centre[i] = v[i];
  shape.frame.ca = std::cos(v[6] * degree);
  shape.frame.sa = std::sin(v[6] * degree);
  shape.frame.cb = std::cos(v[7] * degree);
  shape.frame.sb = std::sin(v[7] * degree);
  shape.current = data.current;
  shape.radius = v[3];
  shape.axial_w = v[4];
  shape.radial_w = v[5];
  shape.phi1 = v[8] * degree;
  shape.phi2 = v[9] * degree;
  return std::make_unique<ARC_ELEMENT>(shape);
}

} // namespace tesmora
