// FGENERAL_CURRENT_ELEMENT (FGCE): a straight filament of finite length.
#include "sources/coil_elements/coil_kinds.hpp"
#include "sources/coil_kernels.hpp"

namespace tesmora {

namespace {

class FGENERAL_CURRENT_ELEMENT final : public COIL_ELEMENT {
public:
  FGENERAL_CURRENT_ELEMENT(double current, const double start[3], const double end[3]) : current(current) {
    for (int i = 0; i < 3; ++i) {
      this->start[i] = start[i];
      this->end[i] = end[i];
    }
  }
  COIL_KIND kind() const override { return COIL_KIND::FGCE; }
  void A(const double p[3], const COIL_OPTIONS &, double A_out[3]) const override {
    filament_segment_A(start, end, current, p, A_out);
  }
  void B(const double p[3], const COIL_OPTIONS &, double B_out[3]) const override {
    filament_segment_B(start, end, current, p, B_out);
  }
  bool current_point(double s, double, double, CURRENT_POINT &out) const override {
    double d[3];
    for (int i = 0; i < 3; ++i) d[i] = end[i] - start[i];
    const double length = norm3(d);
    for (int i = 0; i < 3; ++i) {
      out.x[i] = start[i] + s * d[i];
      out.direction[i] = d[i] / length;
    }
    out.weight = current * length / 4.0;
    return true;
  }

private:
  double current;                    // A
  double start[3] = {}, end[3] = {}; // m
};

} // namespace

std::unique_ptr<COIL_ELEMENT> make_fgce(const COIL_ELEMENT_DATA &data) {
  return std::make_unique<FGENERAL_CURRENT_ELEMENT>(data.current, data.values, data.values + 3);
}

} // namespace tesmora
