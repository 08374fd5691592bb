// The material table of the report.
#include "input/control_data.hpp"
#include "job/report.hpp"
#include "materials/bh_curve.hpp"
#include "materials/material_tables.hpp"

#include <string>

namespace tesmora {
namespace {

// One column of a conductivity: the value along the axis, or blanks for none.
void write_sigma_column(std::FILE *out, const ConductivityProperty *sigma, int axis) {
  if (!sigma || (axis > 0 && sigma->kind == 0)) {
    write_report(out, "                           ");
    return;
  }
  const double value = sigma->kind == 0 ? sigma->value
                       : axis == 0      ? sigma->anisotropy->x
                       : axis == 1      ? sigma->anisotropy->y
                                        : sigma->anisotropy->z;
  write_report(out, "               %12.5e", value);
}

bool is_real_linear(const MagneticProperty *m) {
  return m && m->type == linear_property && m->linear && m->linear->scalar_type == 1;
}

bool is_anisotropic(const MAT_PROPERTY &mat) {
  const bool sigma = mat.sigma && mat.sigma->kind == 1;
  const bool mu = is_real_linear(mat.magnetic) && mat.magnetic->linear->kind == 1;
  return sigma || mu;
}

// The permeability column of the first line: relative value, curve id, or nothing.
void write_magnetic_column(std::FILE *out, const MagneticProperty *m) {
  if (is_real_linear(m)) {
    const ConductivityProperty &mu = *m->linear;
    write_report(out, "            %12.5e\n", (mu.kind == 0 ? mu.value : mu.anisotropy->x) / mu0);
  } else if (m && m->type == isotropic_nonlinear) {
    write_report(out, "            Iso B_H %4d\n", m->curve_id);
  } else if (m && m->type == temperature_dependent_nonlinear) {
    write_report(out, "       T depend B_H %4d\n", m->curve_id);
  } else if (m && m->type == packed_layers) {
    write_report(out, "           Pack B_H %4d\n", m->curve_id);
  } else {
    write_report(out, "\n");
  }
}

} // namespace

void print_material_table(std::FILE *out) {
  const MATERIAL_TABLES &t = material_tables();
  const std::string stars(97, '*');
  write_report(out, "%s\n", stars.c_str());
  write_report(
      out,
      "*                     Material properties           no_mat_propertie = %5d                    *\n",
      t.no_mat_properties);
  write_report(out, "%s\n", stars.c_str());
  write_report(out, "                           Potential            Electric                Relative \n");
  write_report(out,
               "             No.           Region No            conductivity            permeability \n");
  for (int k = 0; k < t.no_mat_properties; ++k) {
    const MAT_PROPERTY &mat = t.mat_properties[k];
    write_report(out, "            %3d:", mat.id);
    write_report(out, "              %2d", mat.potential_flags & 3);
    write_sigma_column(out, mat.sigma, 0);
    write_magnetic_column(out, mat.magnetic);
    if (!is_anisotropic(mat)) continue;
    for (int axis = 1; axis <= 2; ++axis) {
      write_report(out, "                               ");
      write_sigma_column(out, mat.sigma, axis);
      const MagneticProperty *m = mat.magnetic;
      if (is_real_linear(m) && m->linear->kind == 1) {
        const LinearAnisotropy &a = *m->linear->anisotropy;
        write_report(out, "            %12.5e\n", (axis == 1 ? a.y : a.z) / mu0);
      } else {
        write_report(out, "\n");
      }
    }
  }
  write_report(out, "\n\n");
}

} // namespace tesmora
