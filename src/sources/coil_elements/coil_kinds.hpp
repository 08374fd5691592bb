// The makers of each coil element kind and the pieces the assemblies are built from; used by
// the factory and the assemblies only.
#pragma once

#include "sources/coil_element.hpp"
#include "sources/coil_integrator.hpp"

#include <memory>

namespace tesmora {

std::unique_ptr<COIL_ELEMENT> make_uniform_field(const COIL_ELEMENT_DATA &data);
std::unique_ptr<COIL_ELEMENT> make_dipole_field(const COIL_ELEMENT_DATA &data);
std::unique_ptr<COIL_ELEMENT> make_const_a_field(const COIL_ELEMENT_DATA &data);
std::unique_ptr<COIL_ELEMENT> make_infinite_line(const COIL_ELEMENT_DATA &data);
std::unique_ptr<COIL_ELEMENT> make_loop(const COIL_ELEMENT_DATA &data);
std::unique_ptr<COIL_ELEMENT> make_gce(const COIL_ELEMENT_DATA &data);
std::unique_ptr<COIL_ELEMENT> make_arc(const COIL_ELEMENT_DATA &data);
std::unique_ptr<COIL_ELEMENT> make_fgce(const COIL_ELEMENT_DATA &data);
std::unique_ptr<COIL_ELEMENT> make_farc(const COIL_ELEMENT_DATA &data);
std::unique_ptr<COIL_ELEMENT> make_meshed_coil(const COIL_ELEMENT_DATA &data);
std::unique_ptr<COIL_ELEMENT> make_rect_coil(const COIL_ELEMENT_DATA &data);
std::unique_ptr<COIL_ELEMENT> make_race_coil(const COIL_ELEMENT_DATA &data);
std::unique_ptr<COIL_ELEMENT> make_exmag_field(const COIL_ELEMENT_DATA &data);

// A straight bar from start to end with width vectors w1, w2 (m), current (A).
std::unique_ptr<COIL_ELEMENT> make_gce_piece(double current, const double start[3], const double end[3],
                                             const double w1[3], const double w2[3]);
// An arc of rectangular section in the plane z = centre[2], axis along z, from phi1 to phi2 (rad).
std::unique_ptr<COIL_ELEMENT> make_arc_piece(double current, const double centre[3], double radius,
                                             double axial_w, double radial_w, double phi1, double phi2);

// The one-shot notes of the far-field replacements, once per job each.
enum class COIL_NOTE : int { LOOP_BY_FARC = 0, GCE_BY_FGCE = 1, ARC_BY_FARC = 2 };
void write_coil_note_once(COIL_NOTE note);

// Integrates an angle integrand over [start, end] (rad), splitting at the singular direction
// 0 (mod 2 pi) and 2 degrees either side of it; rel_tol for each part.
void integrate_angles(const INTEGRAND &f, double start, double end, double rel_tol, double out[5]);

// The vector `in` of a point's own frame (radial, azimuthal, z) at azimuth with cosine c and
// sine s, in Cartesian axes.
inline void azimuthal_to_cartesian(double c, double s, const double in[3], double out[3]) {
  out[0] = c * in[0] - s * in[1];
  out[1] = s * in[0] + c * in[1];
  out[2] = in[2];
}

// The frame of an arc: centre, and the axis turned from z by BETA about y, then by ALPHA about
// z. A point goes into the frame by the inverse turns, first about z, then about y.
struct ARC_FRAME {
  double centre[3] = {};     // m
  double ca = 1.0, sa = 0.0; // cosine and sine of ALPHA
  double cb = 1.0, sb = 0.0; // cosine and sine of BETA

  void point_to_arc(const double p[3], double out[3]) const {
    const double d[3] = {p[0] - centre[0], p[1] - centre[1], p[2] - centre[2]};
    const double x = ca * d[0] + sa * d[1];
    const double y = -sa * d[0] + ca * d[1];
    out[0] = cb * x - sb * d[2];
    out[1] = y;
    out[2] = sb * x + cb * d[2];
  }
  void vector_from_arc(const double v[3], double out[3]) const {
    const double x = cb * v[0] + sb * v[2];
    const double z = -sb * v[0] + cb * v[2];
    out[0] = ca * x - sa * v[1];
    out[1] = sa * x + ca * v[1];
    out[2] = z;
  }
  void point_from_arc(const double p[3], double out[3]) const {
    vector_from_arc(p, out);
    for (int i = 0; i < 3; ++i) out[i] += centre[i];
  }
};

// The A and B (flags) of an arc from phi1 to phi2 at point p of the element frame: a filament
// of radius a when the widths are 0 or `filament` is set, else a section radial_w by axial_w.
// Current in A; values in the element frame.
struct ARC_SHAPE {
  ARC_FRAME frame;
  double current = 0.0, radius = 0.0, axial_w = 0.0, radial_w = 0.0;
  double phi1 = 0.0, phi2 = 0.0; // rad, phi2 > phi1
};
void arc_field(const ARC_SHAPE &arc, const double p[3], const COIL_OPTIONS &options, bool want_A,
               double out[3]);
bool arc_current_point(const ARC_SHAPE &arc, double s, double xi, double eta, CURRENT_POINT &out);

} // namespace tesmora
