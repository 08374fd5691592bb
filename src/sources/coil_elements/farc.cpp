// FARC_ELEMENT (FARC): a filament arc about a tilted axis, integrated along its angle.
#include "sources/coil_elements/coil_kinds.hpp"

#include <cmath>

namespace tesmora {

namespace {

constexpr double degree = 0.017453292519943295;

class FARC_ELEMENT final : public COIL_ELEMENT {
public:
  explicit FARC_ELEMENT(const ARC_SHAPE &shape) : shape(shape) {}
  COIL_KIND kind() const override { return COIL_KIND::FARC; }
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
  ARC_SHAPE shape; // widths 0: the filament form
};

} // namespace

std::unique_ptr<COIL_ELEMENT> make_farc(const COIL_ELEMENT_DATA &data) {
  // X, Y, Z, RADIUS, then ALPHA, BETA, PHI1, PHI2 in degrees.
  const double *v = data.values;
  ARC_SHAPE shape;
  for (int i = 0; i < 3; ++i) shape.frame.centre[i] = v[i];
  shape.frame.ca = std::cos(v[4] * degree);
  shape.frame.sa = std::sin(v[4] * degree);
  shape.frame.cb = std::cos(v[5] * degree);
  shape.frame.sb = std::sin(v[5] * degree);
  shape.current = data.current;
  shape.radius = v[3];
  shape.phi1 = v[6] * degree;
  shape.phi2 = v[7] * degree;
  return std::make_unique<FARC_ELEMENT>(shape);
}

} // namespace tesmora
