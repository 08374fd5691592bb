// EM_RectangleCOIL (RECT): four straight GCE sides and four quarter ARC corners.
#include "sources/coil_elements/assembly.hpp"

namespace tesmora {

namespace {

constexpr double half_pi = 1.5707963267948966;

// The sides have lengths A (along x) and B (along y) between the corner centres; the corners
// have radius R; the section is W in the plane by H along z; the current runs anticlockwise
// about z.
class EM_RectangleCOIL final : public EM_COIL_Assembly {
public:
  EM_RectangleCOIL(const COIL_ELEMENT_DATA &data) {
    // X, Y, Z, A, B, R, W, H
    const double *v = data.values;
    current = data.current;
    half_a = 0.5 * v[3];
    half_b = 0.5 * v[4];
    radius = v[5];
    width = v[6];
    height = v[7];
    build(data.symmetry, v, data.symmetry_tolerance);
  }
  COIL_KIND kind() const override { return COIL_KIND::RECT; }

private:
  int piece_count() const override { return mirror_x && mirror_y ? 3 : (mirror_x || mirror_y ? 5 : 8); }
  void bottom(double from_x) {
    const double s[2] = {from_x, -(half_b + radius)}, e[2] = {half_a, -(half_b + radius)}, n[2] = {0, -1};
    add_side(s, e, n);
  }
  void right(double from_y) {
    const double s[2] = {half_a + radius, from_y}, e[2] = {half_a + radius, half_b}, n[2] = {1, 0};
    add_side(s, e, n);
  }
  void top(double to_x) {
    const double s[2] = {half_a, half_b + radius}, e[2] = {to_x, half_b + radius}, n[2] = {0, 1};
    add_side(s, e, n);
  }
  void left(double to_y) {
    const double s[2] = {-(half_a + radius), half_b}, e[2] = {-(half_a + radius), to_y}, n[2] = {-1, 0};
    add_side(s, e, n);
  }
  void build_full() override {
    bottom(-half_a);
    add_corner(half_a, -half_b, -half_pi, 0.0);
    right(-half_b);
    add_corner(half_a, half_b, 0.0, half_pi);
    top(-half_a);
    add_corner(-half_a, half_b, half_pi, 2.0 * half_pi);
    left(-half_b);
    add_corner(-half_a, -half_b, 2.0 * half_pi, 3.0 * half_pi);
  }
  void build_half_one() override {
    bottom(0.0);
    add_corner(half_a, -half_b, -half_pi, 0.0);
    right(-half_b);
    add_corner(half_a, half_b, 0.0, half_pi);
    top(0.0);
  }
  void build_half_other() override {
    right(0.0);
    add_corner(half_a, half_b, 0.0, half_pi);
    top(-half_a);
    add_corner(-half_a, half_b, half_pi, 2.0 * half_pi);
    left(0.0);
  }
  void build_quarter() override {
    right(0.0);
    add_corner(half_a, half_b, 0.0, half_pi);
    top(0.0);
  }

  double half_a = 0.0, half_b = 0.0; // m
};

} // namespace

std::unique_ptr<COIL_ELEMENT> make_rect_coil(const COIL_ELEMENT_DATA &data) {
  return std::make_unique<EM_RectangleCOIL>(data);
}

} // namespace tesmora
