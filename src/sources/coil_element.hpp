// COIL_ELEMENT: the class family of current elements outside the mesh whose A and B come from
// closed forms and Biot-Savart integrals, with the factory that makes one element from its card.
//
// Every element works in its own local frame (the COORDINATE of its entry) and gives values per
// ampere-turn of its source: the card current is in the element, the time function is not.
// Field evaluation is re-entrant: it allocates nothing and keeps no state between calls, so
// parallel loops over edges and integration points may call it freely.
#pragma once

#include <cstdio>
#include <memory>

namespace tesmora {

// Element kinds in the order of the coil cards' table (the values are stored in field_ids).
enum class COIL_KIND : int {
  UNIF = 0,
  DIPO = 1,
  LINE = 2,
  LOOP = 3,
  GCE = 4,
  ARC = 5,
  FGCE = 6,
  FARC = 7,
  CONSTA = 8,
  MESH = 9,
  RECT = 10,
  RACE = 11,
  EXMAG = 12,
};

// The values a field evaluation needs from the job, passed in rather than read inside.
struct COIL_OPTIONS {
  double line_approx_limit = 1000.0; // far-field distance in section widths (LINE_APPROX LIMIT)
  int integral_method = 0;           // INTEGRAL_METHOD; only method 0 exists here
};

// A field at a point, in global axes: the B (or A) of the whole job for forces and inductance.
class POINT_FIELD {
public:
  virtual ~POINT_FIELD() = default;
  virtual void at(const double x[3], double out[3]) const = 0;
};

// One point of an element's current distribution, for the volume integrals of force and
// inductance. Along s in [0, 1] over the whole element, across xi, eta in [-1, 1].
struct CURRENT_POINT {
  double x[3] = {};         // position in the element's local frame (m)
  double direction[3] = {}; // unit direction of the current there
  double weight = 0.0;      // current (A) times d(length)/ds times d(area)/(dxi deta) / area:
                            // its integral over s, xi and eta is current times length (A m)
};

// The mesh of a meshed coil: linear hexahedra whose current runs from the bottom face (nodes
// 1-4) to the top face (nodes 5-8), the element's current spread evenly over its cross-section.
struct COIL_MESH {
  int no_nodes = 0;
  const double *xyz = nullptr; // 3 * no_nodes coordinates (m), node i at 3*(i-1); not owned
  int no_elements = 0;
  const int *nodes = nullptr; // 8 * no_elements node numbers, 1-based; not owned
};

class COIL_ELEMENT {
public:
  COIL_ELEMENT() = default;
  COIL_ELEMENT(const COIL_ELEMENT &) = delete;
  COIL_ELEMENT &operator=(const COIL_ELEMENT &) = delete;
  virtual ~COIL_ELEMENT() = default;

  // Vector potential (Wb/m) and flux density (T) at point p of the local frame.
  virtual void A(const double p[3], const COIL_OPTIONS &options, double A_out[3]) const = 0;
  virtual void B(const double p[3], const COIL_OPTIONS &options, double B_out[3]) const = 0;
  virtual COIL_KIND kind() const = 0;

  // The current distribution for force and inductance; false for kinds that have none
  // (uniform fields, the infinite line, assemblies, which forward to their pieces).
  virtual bool current_point(double s, double xi, double eta, CURRENT_POINT &out) const;
  // Pieces of an assembly (none for a single element); piece i counts from 0.
  virtual int no_pieces() const { return 0; }
  virtual const COIL_ELEMENT *piece(int /*i*/) const { return nullptr; }

  virtual bool is_excluded() const { return active == 0; }
  // A meshed coil takes its mesh here once it has been read; false for other kinds.
  virtual bool attach_mesh(const COIL_MESH * /*mesh*/) { return false; }

  unsigned char active = 1; // cleared to exclude a piece of an assembly
};

// Card values of one element, in card order after the keyword.
struct COIL_ELEMENT_DATA {
  COIL_KIND kind = COIL_KIND::UNIF;
  double current = 0.0;             // CURRENT (A); UNIF, DIPO, CONSTA have none
  double values[12] = {};           // the further real fields of the element's cards, in order
  int a_form = 0;                   // UNIF: A_FORM 0..2
  int mesh_id = 0;                  // MESH: MESH_ID
  int symmetry[3] = {};             // RECT, RACE: XSYM, YSYM, ZSYM of the source (-1, 0, 1)
  double symmetry_tolerance = 1e-9; // RECT, RACE: a centre closer than this to a plane is on it (m)
};

// Makes the element of a card. The values have been checked by the card reader.
std::unique_ptr<COIL_ELEMENT> make_coil_element(const COIL_ELEMENT_DATA &data);

// The keyword of a kind for force reports: "LOOP", "GCE ", "ARC ", "MESH" and so on.
const char *coil_kind_name(COIL_KIND kind);

} // namespace tesmora
