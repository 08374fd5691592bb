// EM_RaceTrackCOIL (RACE): two straight GCE sides joined by two half-circle ARC ends.
#include "sources/coil_elements/assembly.hpp"

namespace tesmora {

namespace {

constexpr double half_pi = 1.5707963267948966;

// The sides have length A along x at y = -R and y = R; the ends are half circles of radius R
// about (-A/2, 0) and (A/2, 0); the section is W in the plane by H along z; the current runs
// anticlockwise about z.
class EM_RaceTrackCOIL final : public EM_COIL_Assembly {
public:
  EM_RaceTrackCOIL(const COIL_ELEMENT_DATA &data) {
    // X, Y, Z, A, R, W, H
    const double *v = data.values;
    current = data.current;
    half_a = 0.5 * v[3];
    radius = v[4];
    width = v[5];
    height = v[6];
    build(data.symmetry, v, data.symmetry_tolerance);
  }
  COIL_KIND kind() const override { return COIL_KIND::RACE; }

private:
  int piece_count() const override { return mirror_x && mirror_y ? 2 : (mirror_x || mirror_y ? 3 : 4); }
  void bottom(double from_x) {
    const double s[2] = {from_x, -radius}, e[2] = {half_a, -radius}, n[2] = {0, -1};
    add_side(s, e, n);
  }
  void top(double to_x) {
    const double s[2] = {half_a, radius}, e[2] = {to_x, radius}, n[2] = {0, 1};
    add_side(s, e, n);
  }
  void build_full() override {
    bottom(-half_a);
    add_corner(half_a, 0.0, -half_pi, half_pi);
    top(-half_a);
    add_corner(-half_a, 0.0, half_pi, 3.0 * half_pi);
  }
  void build_half_one() override {
    bottom(0.0);
    add_corner(half_a, 0.0, -half_pi, half_pi);
    top(0.0);
  }
  void build_half_other() override {
    add_corner(half_a, 0.0, 0.0, half_pi);
    top(-half_a);
    add_corner(-half_a, 0.0, half_pi, 2.0 * half_pi);
  }
  void build_quarter() override {
    add_corner(half_a, 0.0, 0.0, half_pi);
    top(0.0);
  }

  double half_a = 0.0; // m
};

} // namespace

std::unique_ptr<COIL_ELEMENT> make_race_coil(const COIL_ELEMENT_DATA &data) {
  return std::make_unique<EM_RaceTrackCOIL>(data);
}

} // namespace tesmora
