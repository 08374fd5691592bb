// MagneticProperty: the magnetic law of a material behind four function slots, and the linear
// and isotropic nonlinear kinds.
//
// All slots share one call form: B and the place of the integration point in, H and `out`
// back. `out` holds the 3x3 tangent dH/dB (row-major) for evaluate and inverse, the three
// diagonal reluctivities H/B for evaluate_secant, and the energy density for energy.
#pragma once

namespace tesmora {

struct V_ELEMENT;
struct COORDINATE;
struct B_H_CURVE;

// Where a property is evaluated: the element, the local coordinates of the point, and its
// global position (m), which the assembly has at hand and a cylindrical frame needs.
struct MATERIAL_POINT {
  const V_ELEMENT *element = nullptr;
  double u = 0.0, v = 0.0, w = 0.0;
  double position[3] = {};
};

enum MAGNETIC_KIND {
  linear_property = 0,
  isotropic_nonlinear = 1,
  packed_layers = 2,
  anisotropic_nonlinear = 3,
  coupled_2d_anisotropy = 4,
  temperature_dependent_nonlinear = 5,
  jiles_atherton_2d = 6,
  play_model_2d = 7,
  magnet_nonlinear = 8,
  temperature_depend_magnet_nonlinear = 9,
};

// Record names of the kinds, as the reports and messages give them.
const char *magnetic_kind_name(int type);

// Shape of a linear conductivity, permittivity or permeability.
struct LinearAnisotropy {
  const COORDINATE *coordinate = nullptr;
  double x = 0.0, y = 0.0, z = 0.0; // along x (r), y (theta), z
};
struct ComplexLinearAnisotropy {
  const COORDINATE *coordinate = nullptr;
  double value[6] = {}; // x.re, x.im, y.re, y.im, z.re, z.im
};
struct ConductivityProperty {
  int kind = 0;                                          // 0 isotropic, 1 anisotropic
  int cylindrical = 0;                                   // the anisotropy's frame is cylindrical
  int scalar_type = 1;                                   // 1 real, 2 complex
  double value = 0.0;                                    // kind 0, real
  double complex_value[2] = {};                          // kind 0, complex: re, im ("Complex")
  LinearAnisotropy *anisotropy = nullptr;                // kind 1, real
  ComplexLinearAnisotropy *complex_anisotropy = nullptr; // kind 1, complex
};

// Curves and permeabilities of the per-axis and coupled anisotropic kinds, by id until bound.
struct ANISOTROPIC_NONLINEAR {
  int coordinate_id = 0;
  int curve_ids[3] = {}; // x (r), y (t), z; 0 means that axis is linear
  double mu[3] = {};     // H/m, for the linear axes
};
struct COUPLED_2D_ANISOTROPY {
  int coordinate_id = 0;
  int curve_2d_id = 0;
  int curve_z_id = 0;
  double mu_z = 0.0; // H/m
};

struct MagneticProperty;
using MAGNETIC_SLOT = void (*)(const MagneticProperty &property, const double B[3],
                               const MATERIAL_POINT &point, double H[3], double out[]);

struct MagneticProperty {
  int type = 0;                           // MAGNETIC_KIND
  ConductivityProperty *linear = nullptr; // linear_property: the permeability
  int curve_id = 0;                       // kinds with one curve, until bound
  const B_H_CURVE *curve = nullptr;       // isotropic_nonlinear and the like, once bound
  ANISOTROPIC_NONLINEAR *anisotropic = nullptr;
  COUPLED_2D_ANISOTROPY *coupled = nullptr;
  MAGNETIC_SLOT evaluate = nullptr;        // H and the tangent dH/dB
  MAGNETIC_SLOT evaluate_secant = nullptr; // H and the secant reluctivities
  MAGNETIC_SLOT inverse = nullptr;         // B of H and the tangent (B and H swap roles)
  MAGNETIC_SLOT energy = nullptr;          // H and the energy density
  void *loss = nullptr;                    // iron-loss data, none in this build
};

// A property of the given kind with its slots set (tag "MagneticProperty"). A kind whose
// evaluation this build lacks gets slots that stop the job naming the kind.
MagneticProperty *create_magnetic_property(int type);
// True for the kinds this build can evaluate.
bool can_evaluate(int type);

// The tensor (3x3 row-major) of a real linear conductivity or permeability at a point: the
// value times the unit matrix, or the three axis values turned into global components.
void linear_tensor(const ConductivityProperty &property, const MATERIAL_POINT &point, double out[9]);

// Reluctivity tensor (3x3 row-major, m/H) of a real linear permeability at a point.
void linear_reluctivity(const ConductivityProperty &mu, const MATERIAL_POINT &point, double nu[9]);
// Complex reluctivity tensor of a complex linear permeability, pairs (re, im) in row order.
void linear_reluctivity_complex(const ConductivityProperty &mu, const MATERIAL_POINT &point, double nu[18]);

} // namespace tesmora
