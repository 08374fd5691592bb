// EM_COIL_Assembly: a coil made of straight and arc pieces (RECT, RACE), built whole or, when
// symmetry planes of the model pass through its centre, as a half or a quarter whose mirror
// images supply the rest of the field.
#pragma once

#include "sources/coil_elements/coil_kinds.hpp"

#include <memory>

namespace tesmora {

class EM_COIL_Assembly : public COIL_ELEMENT {
public:
  void A(const double p[3], const COIL_OPTIONS &options, double A_out[3]) const override;
  void B(const double p[3], const COIL_OPTIONS &options, double B_out[3]) const override;
  int no_pieces() const override { return count; }
  const COIL_ELEMENT *piece(int i) const override { return pieces[i].get(); }
  // The mirror planes x = 0 and y = 0 (of the element frame) whose images the field adds.
  bool mirrors_x() const { return mirror_x; }
  bool mirrors_y() const { return mirror_y; }

protected:
  // Chooses the planes from the symmetry flags and the centre, then calls one builder.
  void build(const int symmetry[3], const double centre[3], double tolerance);
  void add_piece(std::unique_ptr<COIL_ELEMENT> piece);
  // A straight side from start to end (x, y relative to the centre), width W outward along
  // `outward` (unit, in the plane), height H; a side of zero length is kept but excluded.
  void add_side(const double start[2], const double end[2], const double outward[2]);
  // An arc corner about (x, y) relative to the centre, from phi1 to phi2 (rad).
  void add_corner(double x, double y, double phi1, double phi2);

  // The number of pieces under the chosen planes, and the four builders.
  virtual int piece_count() const = 0;
  virtual void build_full() = 0;
  virtual void build_half_one() = 0;   // the half x >= 0, plane x = 0
  virtual void build_half_other() = 0; // the half y >= 0, plane y = 0
  virtual void build_quarter() = 0;    // x >= 0 and y >= 0

  double current = 0.0;  // A
  double centre[3] = {}; // X, Y, Z (m)
  double radius = 0.0;   // R (m): corner radius at the section's centre
  double width = 0.0;    // W (m): in the plane of the coil
  double height = 0.0;   // H (m): along its axis
  bool mirror_x = false, mirror_y = false;

private:
  void sum(const double p[3], const COIL_OPTIONS &options, bool want_A, double out[3]) const;

  static constexpr int max_pieces = 8;
  std::unique_ptr<COIL_ELEMENT> pieces[max_pieces];
  int count = 0;
};

} // namespace tesmora
