// GENERAL_CURRENT_ELEMENT (GCE): a straight bar of rectangular section with uniform current
// density along its axis, in closed form near and as its axial filament far away.
#include "job/report.hpp"
#include "sources/coil_elements/coil_kinds.hpp"
#include "sources/coil_kernels.hpp"

#include <algorithm>
#include <cmath>

namespace tesmora {

namespace {

class GENERAL_CURRENT_ELEMENT final : public COIL_ELEMENT {
public:
  GENERAL_CURRENT_ELEMENT(double current, const double start[3], const double end[3], const double w1[3],
                          const double w2[3])
      : current(current) {
    for (int i = 0; i < 3; ++i) {
      this->start[i] = start[i];
      this->end[i] = end[i];
      this->w1[i] = w1[i];
      this->w2[i] = w2[i];
    }
    finish_geometry();
  }
  COIL_KIND kind() const override { return COIL_KIND::GCE; }

  void A(const double p[3], const COIL_OPTIONS &options, double A_out[3]) const override;
  void B(const double p[3], const COIL_OPTIONS &options, double B_out[3]) const override;

  bool current_point(double s, double xi, double eta, CURRENT_POINT &out) const override {
    for (int i = 0; i < 3; ++i) {
      out.x[i] = start[i] + s * (end[i] - start[i]) + 0.5 * xi * width_v * v[i] + 0.5 * eta * width_w * w[i];
      out.direction[i] = u[i];
    }
    out.weight = current * 2.0 * half_length / 4.0;
    return true;
  }

private:
  // The orthonormal frame: u along the axis, v along the part of w1 normal to u, w = u x v;
  // the widths are the length of w1 normal to u and the size of w2 along w.
  void finish_geometry();
  // The point in the bar's frame (v, w, u) relative to its centre; true when far.
  bool local_point(const double p[3], const COIL_OPTIONS &options, double &a, double &b, double &c) const;

  double current;                         // A
  double start[3], end[3], w1[3], w2[3];  // m
  double u[3] = {}, v[3] = {}, w[3] = {}; // unit frame
  double half_length = 0.0;               // m
  double width_v = 0.0, width_w = 0.0;    // m
};

void GENERAL_CURRENT_ELEMENT::finish_geometry() {
  for (int i = 0; i < 3; ++i) u[i] = end[i] - start[i];
  half_length = 0.5 * norm3(u);
  if (half_length == 0.0) return;
  for (double &x : u) x /= 2.0 * half_length;
  const double along = dot3(w1, u);
  for (int i = 0; i < 3; ++i) v[i] = w1[i] - along * u[i];
  width_v = norm3(v);
  if (width_v > 0.0)
    for (double &x : v) x /= width_v;
  cross3(u, v, w);
  width_w = std::abs(dot3(w2, w));
}

bool GENERAL_CURRENT_ELEMENT::local_point(const double p[3], const COIL_OPTIONS &options, double &a,
                                          double &b, double &c) const {
  if (half_length == 0.0) {
    write_fault("Edge of element is ZERO\n");
    stop_job(1);
  }
  double d[3];
  for (int i = 0; i < 3; ++i) d[i] = p[i] - 0.5 * (start[i] + end[i]);
  a = dot3(d, v);
  b = dot3(d, w);
  c = dot3(d, u);
  const double beyond = std::max(std::abs(c) - half_length, 0.0);
  const double dist2 = a * a + b * b + beyond * beyond;
  const double limit = std::max(width_v, width_w) * options.line_approx_limit / 2.0;
  return width_v == 0.0 || width_w == 0.0 || dist2 >= limit * limit;
}

void GENERAL_CURRENT_ELEMENT::A(const double p[3], const COIL_OPTIONS &options, double A_out[3]) const {
  double a = 0.0, b = 0.0, c = 0.0;
  if (local_point(p, options, a, b, c)) {
    write_coil_note_once(COIL_NOTE::GCE_BY_FGCE);
    filament_segment_A(start, end, current, p, A_out);
    return;
  }
  const double J = current / (width_v * width_w);
  const double phi = box_potential(a, b, c, 0.5 * width_v, 0.5 * width_w, half_length);
  for (int i = 0; i < 3; ++i) A_out[i] = mu0_over_4pi * J * phi * u[i];
}

void GENERAL_CURRENT_ELEMENT::B(const double p[3], const COIL_OPTIONS &options, double B_out[3]) const {
  double a = 0.0, b = 0.0, c = 0.0;
  if (local_point(p, options, a, b, c)) {
    write_coil_note_once(COIL_NOTE::GCE_BY_FGCE);
    filament_segment_B(start, end, current, p, B_out);
    return;
  }
  // B = curl(phi u) = grad(phi) x u; in the frame (v, w, u) that is (g_w, -g_v, 0).
  const double J = current / (width_v * width_w);
  double g[3];
  box_potential_gradient(a, b, c, 0.5 * width_v, 0.5 * width_w, half_length, g);
  for (int i = 0; i < 3; ++i) B_out[i] = mu0_over_4pi * J * (g[1] * v[i] - g[0] * w[i]);
}

} // namespace

std::unique_ptr<COIL_ELEMENT> make_gce_piece(double current, const double start[3], const double end[3],
                                             const double w1[3], const double w2[3]) {
  return std::make_unique<GENERAL_CURRENT_ELEMENT>(current, start, end, w1, w2);
}

std::unique_ptr<COIL_ELEMENT> make_gce(const COIL_ELEMENT_DATA &data) {
  const double *v = data.values;
  return make_gce_piece(data.current, v, v + 3, v + 6, v + 9);
}

} // namespace tesmora
