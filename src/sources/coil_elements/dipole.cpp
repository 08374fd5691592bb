// DIPOLE_FIELD (DIPO): the linear field B = (k z, 0, k x) of a gradient dBz/dx = k.
#include "sources/coil_elements/coil_kinds.hpp"

namespace tesmora {

namespace {

class DIPOLE_FIELD final : public COIL_ELEMENT {
public:
  explicit DIPOLE_FIELD(double k) : k(k) {}
  COIL_KIND kind() const override { return COIL_KIND::DIPO; }
  void A(const double p[3], const COIL_OPTIONS &, double A_out[3]) const override {
    A_out[0] = 0.0;
    A_out[1] = 0.5 * k * (p[0] * p[0] - p[2] * p[2]);
    A_out[2] = 0.0;
  }
  void B(const double p[3], const COIL_OPTIONS &, double B_out[3]) const override {
    B_out[0] = k * p[2];
    B_out[1] = 0.0;
    B_out[2] = k * p[0];
  }

private:
  double k; // T/m
};

} // namespace

std::unique_ptr<COIL_ELEMENT> make_dipole_field(const COIL_ELEMENT_DATA &data) {
  return std::make_unique<DIPOLE_FIELD>(data.values[0]);
}

} // namespace tesmora
