// UNIFORM_FIELD (UNIF): a constant B with A in one of three gauges.
#include "sources/coil_elements/coil_kinds.hpp"

namespace tesmora {

namespace {

class UNIFORM_FIELD final : public COIL_ELEMENT {
public:
  UNIFORM_FIELD(double bx, double by, double bz, int a_form) : bx(bx), by(by), bz(bz), a_form(a_form) {}
  COIL_KIND kind() const override { return COIL_KIND::UNIF; }

  // Three potentials with the same curl: 0 the symmetric gauge B x p / 2, 1 and 2 the two
  // cyclic gauges in which each component depends on one coordinate only.
  void A(const double p[3], const COIL_OPTIONS &, double A_out[3]) const override {
    const double x = p[0], y = p[1], z = p[2];
    if (a_form == 1) {
      A_out[0] = by * z;
      A_out[1] = bz * x;
      A_out[2] = bx * y;
    } else if (a_form == 2) {
      A_out[0] = -bz * y;
      A_out[1] = -bx * z;
      A_out[2] = -by * x;
    } else {
      A_out[0] = 0.5 * (z * by - y * bz);
      A_out[1] = 0.5 * (x * bz - z * bx);
      A_out[2] = 0.5 * (y * bx - x * by);
    }
  }
  void B(const double[3], const COIL_OPTIONS &, double B_out[3]) const override {
    B_out[0] = bx;
    B_out[1] = by;
    B_out[2] = bz;
  }

private:
  double bx, by, bz; // T
  int a_form;        // 0, 1, 2
};

} // namespace

std::unique_ptr<COIL_ELEMENT> make_uniform_field(const COIL_ELEMENT_DATA &data) {
  return std::make_unique<UNIFORM_FIELD>(data.values[0], data.values[1], data.values[2], data.a_form);
}

} // namespace tesmora
