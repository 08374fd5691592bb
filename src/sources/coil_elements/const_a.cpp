// CONST_A_FIELD (CONSTA): a constant vector potential, hence no B.
#include "sources/coil_elements/coil_kinds.hpp"

namespace tesmora {

namespace {

class CONST_A_FIELD final : public COIL_ELEMENT {
public:
  CONST_A_FIELD(double ax, double ay, double az) : ax(ax), ay(ay), az(az) {}
  COIL_KIND kind() const override { return COIL_KIND::CONSTA; }
  void A(const double[3], const COIL_OPTIONS &, double A_out[3]) const override {
    A_out[0] = ax;
    A_out[1] = ay;
    A_out[2] = az;
  }
  void B(const double[3], const COIL_OPTIONS &, double B_out[3]) const override {
    B_out[0] = B_out[1] = B_out[2] = 0.0;
  }

private:
  double ax, ay, az; // Wb/m
};

} // namespace

std::unique_ptr<COIL_ELEMENT> make_const_a_field(const COIL_ELEMENT_DATA &data) {
  return std::make_unique<CONST_A_FIELD>(data.values[0], data.values[1], data.values[2]);
}

} // namespace tesmora
