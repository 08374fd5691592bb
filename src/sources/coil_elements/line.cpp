// INFINITE_LINE (LINE): a straight current of infinite length through a point.
#include "sources/coil_elements/coil_kinds.hpp"
#include "sources/coil_kernels.hpp"

#include <algorithm>
#include <cmath>

namespace tesmora {

namespace {

class INFINITE_LINE final : public COIL_ELEMENT {
public:
  INFINITE_LINE(double current, const double point[3], const double direction[3]) : current(current) {
    const double length = norm3(direction);
    for (int i = 0; i < 3; ++i) {
      this->point[i] = point[i];
      u[i] = direction[i] / length;
    }
  }
  COIL_KIND kind() const override { return COIL_KIND::LINE; }

  // A = -(mu0 I / 2 pi) ln(rho) u, B = (mu0 I / 2 pi) (u x d) / rho^2.
  void A(const double p[3], const COIL_OPTIONS &, double A_out[3]) const override {
    double rho2 = 0.0;
    double d[3];
    distance(p, d, rho2);
    const double value = -2e-7 * current * 0.5 * std::log(rho2);
    for (int i = 0; i < 3; ++i) A_out[i] = value * u[i];
  }
  void B(const double p[3], const COIL_OPTIONS &, double B_out[3]) const override {
    double rho2 = 0.0;
    double d[3];
    distance(p, d, rho2);
    cross3(u, d, B_out);
    for (int i = 0; i < 3; ++i) B_out[i] *= 2e-7 * current / rho2;
  }

private:
  void distance(const double p[3], double d[3], double &rho2) const {
    for (int i = 0; i < 3; ++i) d[i] = p[i] - point[i];
    const double z = dot3(d, u);
    rho2 = std::max(dot3(d, d) - z * z, 1e-20);
  }

  double current;  // A
  double point[3]; // a point of the line (m)
  double u[3];     // unit direction
};

} // namespace

std::unique_ptr<COIL_ELEMENT> make_infinite_line(const COIL_ELEMENT_DATA &data) {
  return std::make_unique<INFINITE_LINE>(data.current, data.values, data.values + 3);
}

} // namespace tesmora
