// EM_COIL_Assembly: the sum over pieces and mirror images, and the piece builders' helpers.
#include "sources/coil_elements/assembly.hpp"

#include <cmath>

namespace tesmora {

void EM_COIL_Assembly::build(const int symmetry[3], const double centre_in[3], double tolerance) {
  for (int i = 0; i < 3; ++i) centre[i] = centre_in[i];
  mirror_x = symmetry[0] != 0 && std::abs(centre[0]) <= tolerance;
  mirror_y = symmetry[1] != 0 && std::abs(centre[1]) <= tolerance;
  if (mirror_x && mirror_y) {
    build_quarter();
  } else if (mirror_x) {
    build_half_one();
  } else if (mirror_y) {
    build_half_other();
  } else {
    build_full();
  }
}

void EM_COIL_Assembly::add_piece(std::unique_ptr<COIL_ELEMENT> piece) {
  if (count < max_pieces) pieces[count++] = std::move(piece);
}

void EM_COIL_Assembly::add_side(const double start[2], const double end[2], const double outward[2]) {
  const double s[3] = {centre[0] + start[0], centre[1] + start[1], centre[2]};
  const double e[3] = {centre[0] + end[0], centre[1] + end[1], centre[2]};
  const double w1[3] = {width * outward[0], width * outward[1], 0.0};
  const double w2[3] = {0.0, 0.0, height};
  auto side = make_gce_piece(current, s, e, w1, w2);
  if (start[0] == end[0] && start[1] == end[1]) side->active = 0; // no straight part
  add_piece(std::move(side));
}

void EM_COIL_Assembly::add_corner(double x, double y, double phi1, double phi2) {
  const double c[3] = {centre[0] + x, centre[1] + y, centre[2]};
  add_piece(make_arc_piece(current, c, radius, height, width, phi1, phi2));
}

// The coil's current is odd under a mirror M in a plane through its centre: J(Mx) = -M J(x).
// So the mirrored half adds -M A(Mp) to A and M B(Mp) to B (B is an axial vector); two
// mirrors compose to a half turn with A and B both M f(Mp).
void EM_COIL_Assembly::sum(const double p[3], const COIL_OPTIONS &options, bool want_A, double out[3]) const {
  out[0] = out[1] = out[2] = 0.0;
  for (int image = 0; image < 4; ++image) {
    const bool flip_x = (image & 1) != 0;
    const bool flip_y = (image & 2) != 0;
    if ((flip_x && !mirror_x) || (flip_y && !mirror_y)) continue;
    const double M[3] = {flip_x ? -1.0 : 1.0, flip_y ? -1.0 : 1.0, 1.0};
    double q[3];
    for (int i = 0; i < 3; ++i) q[i] = centre[i] + M[i] * (p[i] - centre[i]);
    const double sign = (want_A && flip_x != flip_y) ? -1.0 : 1.0;
    for (int k = 0; k < count; ++k) {
      if (pieces[k]->is_excluded()) continue;
      double v[3];
      if (want_A) {
        pieces[k]->A(q, options, v);
      } else {
        pieces[k]->B(q, options, v);
      }
      for (int i = 0; i < 3; ++i) out[i] += sign * M[i] * v[i];
    }
  }
}

void EM_COIL_Assembly::A(const double p[3], const COIL_OPTIONS &options, double A_out[3]) const {
  sum(p, options, true, A_out);
}

void EM_COIL_Assembly::B(const double p[3], const COIL_OPTIONS &options, double B_out[3]) const {
  sum(p, options, false, B_out);
}

} // namespace tesmora
