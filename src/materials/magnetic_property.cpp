// The slots of the linear and isotropic nonlinear magnetic kinds, and the kind table.
#include "materials/magnetic_property.hpp"

#include "input/coordinates.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"
#include "materials/bh_curve.hpp"

#include <cmath>

namespace tesmora {
namespace {

// Local axes of an anisotropy at a point: rows e1, e2, e3 in global components. A cylindrical
// frame turns its first two axes to the radial and circumferential directions of the point.
void local_axes(const COORDINATE &frame, int cylindrical, const double position[3], double axes[9]) {
  double c = 1.0;
  double s = 0.0;
  if (cylindrical) {
    double p[3];
    for (int i = 0; i < 3; ++i) p[i] = position[i] - frame.origin[i];
    const double x = p[0] * frame.ex[0] + p[1] * frame.ex[1] + p[2] * frame.ex[2];
    const double y = p[0] * frame.ey[0] + p[1] * frame.ey[1] + p[2] * frame.ey[2];
    const double r = std::sqrt(x * x + y * y);
    if (r > 0.0) {
      c = x / r;
      s = y / r;
    }
  }
  for (int i = 0; i < 3; ++i) {
    axes[i] = c * frame.ex[i] + s * frame.ey[i];
    axes[3 + i] = -s * frame.ex[i] + c * frame.ey[i];
    axes[6 + i] = frame.ez[i];
  }
}

// Rt diag(d) R for the rows R of `axes`.
void rotate_diagonal(const double axes[9], const double d[3], double out[9]) {
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) {
      double sum = 0.0;
      for (int k = 0; k < 3; ++k) sum += axes[3 * k + r] * d[k] * axes[3 * k + c];
      out[3 * r + c] = sum;
    }
}

// A zero permeability stands for no magnetic conduction: the largest reluctivity.
double reluctivity_of(double mu) { return mu > 0.0 ? 1.0 / mu : nu_max; }

void multiply(const double m[9], const double v[3], double out[3]) {
  for (int r = 0; r < 3; ++r) out[r] = m[3 * r] * v[0] + m[3 * r + 1] * v[1] + m[3 * r + 2] * v[2];
}

void linear_evaluate(const MagneticProperty &p, const double B[3], const MATERIAL_POINT &point, double H[3],
                     double out[]) {
  linear_reluctivity(*p.linear, point, out);
  multiply(out, B, H);
}

void linear_secant(const MagneticProperty &p, const double B[3], const MATERIAL_POINT &point, double H[3],
                   double out[]) {
  double nu[9];
  linear_reluctivity(*p.linear, point, nu);
  multiply(nu, B, H);
  out[0] = nu[0];
  out[1] = nu[4];
  out[2] = nu[8];
}

// B of H: the permeability tensor applied to H; the tangent returned is dH/dB, as for evaluate.
void linear_inverse(const MagneticProperty &p, const double H[3], const MATERIAL_POINT &point, double B[3],
                    double out[]) {
  const ConductivityProperty &mu = *p.linear;
  double permeability[9];
  if (mu.kind == 0) {
    const double d[3] = {mu.value, mu.value, mu.value};
    const double identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    rotate_diagonal(identity, d, permeability);
  } else {
    double axes[9];
    local_axes(*mu.anisotropy->coordinate, mu.cylindrical, point.position, axes);
    const double d[3] = {mu.anisotropy->x, mu.anisotropy->y, mu.anisotropy->z};
    rotate_diagonal(axes, d, permeability);
  }
  multiply(permeability, H, B);
  linear_reluctivity(mu, point, out);
}

void linear_energy(const MagneticProperty &p, const double B[3], const MATERIAL_POINT &point, double H[3],
                   double out[]) {
  double nu[9];
  linear_reluctivity(*p.linear, point, nu);
  multiply(nu, B, H);
  out[0] = 0.5 * (B[0] * H[0] + B[1] * H[1] + B[2] * H[2]);
}

void curve_evaluate(const MagneticProperty &p, const double B[3], const MATERIAL_POINT &, double H[3],
                    double out[]) {
  bh_field_vector(*p.curve, B, H, out);
}
void curve_secant(const MagneticProperty &p, const double B[3], const MATERIAL_POINT &, double H[3],
                  double out[]) {
  bh_secant_vector(*p.curve, B, H, out);
}
void curve_inverse(const MagneticProperty &p, const double H[3], const MATERIAL_POINT &, double B[3],
                   double out[]) {
  bh_inverse_vector(*p.curve, H, B, out);
}
void curve_energy(const MagneticProperty &p, const double B[3], const MATERIAL_POINT &, double H[3],
                  double out[]) {
  bh_energy_vector(*p.curve, B, H, out);
}

// The slot of every kind whose law this build lacks: reaching it is a fault, as binding
// refuses such materials first.
void unavailable_kind(const MagneticProperty &p, const double[3], const MATERIAL_POINT &, double[3],
                      double[]) {
  write_fault("**** MagneticProperty %s can't be evaluated by this build. Job is stopped. ****\n",
              magnetic_kind_name(p.type));
  stop_job(1);
}

struct KIND_ENTRY {
  const char *name;
  bool can_evaluate;
  MAGNETIC_SLOT evaluate, evaluate_secant, inverse, energy;
};

constexpr KIND_ENTRY kind_table[] = {
    {"LinearProperty", true, linear_evaluate, linear_secant, linear_inverse, linear_energy},
    {"IsotropicNonlinear", true, curve_evaluate, curve_secant, curve_inverse, curve_energy},
    {"PackedLayers", false, unavailable_kind, unavailable_kind, unavailable_kind, unavailable_kind},
    {"AnisotropicNonlinear", false, unavailable_kind, unavailable_kind, unavailable_kind, unavailable_kind},
    {"Coupled2DAnisotropy", false, unavailable_kind, unavailable_kind, unavailable_kind, unavailable_kind},
    {"TemparatureDependentNonlinear", false, unavailable_kind, unavailable_kind, unavailable_kind,
     unavailable_kind},
    {"J_A_2D_parameter", false, unavailable_kind, unavailable_kind, unavailable_kind, unavailable_kind},
    {"PlayModel2DParameter", false, unavailable_kind, unavailable_kind, unavailable_kind, unavailable_kind},
    {"MagnetNonlinear", false, unavailable_kind, unavailable_kind, unavailable_kind, unavailable_kind},
    {"TemperatureaDepend_MagnetNonlinear", false, unavailable_kind, unavailable_kind, unavailable_kind,
     unavailable_kind},
};
constexpr int no_kinds = static_cast<int>(sizeof kind_table / sizeof kind_table[0]);

consteval bool every_slot_filled() {
  for (const KIND_ENTRY &entry : kind_table)
    if (!entry.name || !entry.evaluate || !entry.evaluate_secant || !entry.inverse || !entry.energy)
      return false;
  return true;
}
static_assert(every_slot_filled());

} // namespace

const char *magnetic_kind_name(int type) {
  return type >= 0 && type < no_kinds ? kind_table[type].name : "unknown";
}

bool can_evaluate(int type) { return type >= 0 && type < no_kinds && kind_table[type].can_evaluate; }

MagneticProperty *create_magnetic_property(int type) {
  if (type < 0 || type >= no_kinds) {
    write_fault("MagneticProperty type %d is not allowed\n", type);
    stop_job(1);
  }
  auto *property =
      static_cast<MagneticProperty *>(calloc_named(1, sizeof(MagneticProperty), "MagneticProperty"));
  *property = MagneticProperty{};
  property->type = type;
  const KIND_ENTRY &entry = kind_table[type];
  property->evaluate = entry.evaluate;
  property->evaluate_secant = entry.evaluate_secant;
  property->inverse = entry.inverse;
  property->energy = entry.energy;
  return property;
}

void linear_tensor(const ConductivityProperty &property, const MATERIAL_POINT &point, double out[9]) {
  if (property.kind == 0) {
    for (int k = 0; k < 9; ++k) out[k] = k % 4 == 0 ? property.value : 0.0;
    return;
  }
  double axes[9];
  local_axes(*property.anisotropy->coordinate, property.cylindrical, point.position, axes);
  const double d[3] = {property.anisotropy->x, property.anisotropy->y, property.anisotropy->z};
  rotate_diagonal(axes, d, out);
}

void linear_reluctivity(const ConductivityProperty &mu, const MATERIAL_POINT &point, double nu[9]) {
  if (mu.kind == 0) {
    const double value = reluctivity_of(mu.value);
    for (int k = 0; k < 9; ++k) nu[k] = k % 4 == 0 ? value : 0.0;
    return;
  }
  double axes[9];
  local_axes(*mu.anisotropy->coordinate, mu.cylindrical, point.position, axes);
  const double d[3] = {reluctivity_of(mu.anisotropy->x), reluctivity_of(mu.anisotropy->y),
                       reluctivity_of(mu.anisotropy->z)};
  rotate_diagonal(axes, d, nu);
}

void linear_reluctivity_complex(const ConductivityProperty &mu, const MATERIAL_POINT &point, double nu[18]) {
  // 1 / (re + i im) per axis.
  auto invert = [](double re, double im, double out[2]) {
    const double norm = re * re + im * im;
    out[0] = norm > 0.0 ? re / norm : nu_max;
    out[1] = norm > 0.0 ? -im / norm : 0.0;
  };
  double d[3][2];
  double axes[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
  if (mu.kind == 0) {
    for (auto &axis : d) invert(mu.complex_value[0], mu.complex_value[1], axis);
  } else {
    const double *v = mu.complex_anisotropy->value;
    for (int k = 0; k < 3; ++k) invert(v[2 * k], v[2 * k + 1], d[k]);
    local_axes(*mu.complex_anisotropy->coordinate, mu.cylindrical, point.position, axes);
  }
  for (int part = 0; part < 2; ++part) {
    const double diagonal[3] = {d[0][part], d[1][part], d[2][part]};
    double rotated[9];
    rotate_diagonal(axes, diagonal, rotated);
    for (int k = 0; k < 9; ++k) nu[2 * k + part] = rotated[k];
  }
}

} // namespace tesmora
