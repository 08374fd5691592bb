// Gauss point sets of the seven reference shapes, the active set and its slot table.
//
// A `gauss` record holds one point set per shape, made for the orders of the control data. The
// element types do not point at a set but at a slot of `gauus_pointer`, so that making another
// set active (set_gauss) changes the points of all types at once.
#pragma once

namespace tesmora {

// Slots of gauus_pointer, in its order.
enum GAUSS_SLOT : int {
  GAUSS_LINE = 0,
  GAUSS_QUADRILATERAL = 1,
  GAUSS_HEXAHEDRON = 2,
  GAUSS_TRIANGLE = 3,
  GAUSS_PRISM = 4,
  GAUSS_TETRAHEDRON = 5,
  GAUSS_PYRAMID = 6,
};
inline constexpr int no_gauss_slots = 7;

// One point set: point i has coordinates p[0][i] .. p[no_dimensions-1][i] and weight w[i].
// p is allocated under "gauss->p", each p[d] under "gauss->p[i]", w under "gauss->w".
struct GAUSS_POINTS {
  int no_dimensions = 0;
  int no_points = 0;
  double **p = nullptr; // no_dimensions arrays of no_points coordinates
  double *w = nullptr;  // no_points weights
};

// A full set for one choice of orders; the record is allocated under "gauss".
struct GAUSS {
  int line_order = 0;     // points of the 1-D rule, 1 to 12
  int triangle_order = 0; // triangle rule: -3, 1, 3, 4, 6, 7 or 12
  int tetra_order = 0;    // tetrahedron rule: 1, 4 or 5
  GAUSS_POINTS line;
  GAUSS_POINTS quadrilateral;
  GAUSS_POINTS triangle;
  GAUSS_POINTS hexahedron;
  GAUSS_POINTS prism;
  GAUSS_POINTS tetrahedron;
  GAUSS_POINTS pyramid;
};

// Builds all sets for the orders and makes the record the active one (its sets fill the slots).
// An order outside the lists leaves that shape's set with unset (zero) points and weights.
GAUSS *make_gauss(int line_order, int triangle_order, int tetra_order);
// Points the seven slots at the sets of `record`.
void set_gauss(GAUSS *record);
// Frees a record and its sets; when it is the active one the slots become empty.
void free_gauss(GAUSS *record);
// The record last made by make_gauss, or null.
GAUSS *active_gauss();

// A one-dimensional set of n points on [-1, 1], for line integrals; freed by free_gauss_points.
GAUSS_POINTS *make_line_gauss(int n);
void free_gauss_points(GAUSS_POINTS *points);

// The slot table (seven entries, tag "gauus_pointer"); an empty slot is null.
GAUSS_POINTS *const *gauus_pointer();
// The set in a slot; the slot must be filled.
const GAUSS_POINTS &gauss_points(GAUSS_SLOT slot);

// Point i (0-based) of the n-point Gauss-Legendre rule on [-1, 1], n = 1 to 12, ascending.
double legendre_point(int n, int i);
double legendre_weight(int n, int i);

} // namespace tesmora
