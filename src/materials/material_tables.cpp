// The material section: volume and surface material cards, duplicates, the thin-element card.
#include "materials/material_tables.hpp"

#include "input/card_reader.hpp"
#include "input/control_data.hpp"
#include "input/coordinates.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "materials/bh_curve.hpp"

#include <cmath>
#include <map>

namespace tesmora {
namespace {

MATERIAL_TABLES the_tables;

// The fields of a volume material card.
struct MATERIAL_CARD {
  int id = 0, potential = 0, curve_id = 0, anisotropy = 0, iron_loss = 0, sigma_depend = 0;
  double sigma = 0.0, mu = 0.0, packing = 0.0, eps = 0.0;
};

// "* COORD_ID * FX(FR) * FY(FT) * FZ *": an anisotropy of `scale` times the three factors.
LinearAnisotropy *read_factor_card(FFILE *file, double scale, int *cylindrical) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  read_card(file, "%d %lf %lf %lf", "* COORD_ID  *  FX(FR)   *  FY(FT)  *  FZ  *\n", &v[0], &r[0], &r[1],
            &r[2]);
  if (v[0] < 0 || r[0] < 0.0 || r[1] < 0.0 || r[2] < 0.0) card_error(file);
  auto *anisotropy = new_record<LinearAnisotropy>("LinearAnisotropy");
  anisotropy->coordinate = find_coordinate(v[0]);
  anisotropy->x = scale * r[0];
  anisotropy->y = scale * r[1];
  anisotropy->z = scale * r[2];
  *cylindrical = anisotropy->coordinate->type == 2 ? 1 : 0;
  return anisotropy;
}

// Conductivity of a card's SIGMA: none, isotropic, or anisotropic from its factor card.
ConductivityProperty *read_conductivity(FFILE *file, double sigma, const char *tag) {
  if (sigma == 0.0) return nullptr;
  auto *property = new_record<ConductivityProperty>(tag);
  if (sigma > 0.0) {
    property->value = sigma;
  } else {
    property->kind = 1;
    property->anisotropy = read_factor_card(file, -sigma, &property->cylindrical);
  }
  return property;
}

ConductivityProperty *real_permeability(FFILE *file, double mu) {
  auto *property = new_record<ConductivityProperty>("mat_property->mu");
  if (mu >= 0.0) {
    property->value = mu * mu0;
  } else {
    property->kind = 1;
    property->anisotropy = read_factor_card(file, -mu * mu0, &property->cylindrical);
  }
  return property;
}

ConductivityProperty *complex_permeability(FFILE *file, int anisotropy) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  auto *property = new_record<ConductivityProperty>("mat_property->mu");
  property->scalar_type = 2;
  if (anisotropy == 1) {
    read_card(file, "%lf %lf", "* MU_Re *  MU_Im *\n", &r[0], &r[1]);
    if (r[0] < 0.0 || r[1] < 0.0) card_error(file);
    property->complex_value[0] = r[0] * mu0;
    property->complex_value[1] = r[1] * mu0;
    return property;
  }
  // The card shows seven columns but only the first four are scanned; the checks still look at
  // all seven, the last three being 0. x.re and y.re come from the first and third values, the
  // rest from columns that were never scanned: MU_X(Im) is dropped. Inputs rely on this.
  read_card(file, "%d %lf %lf %lf",
            "* COORD_ID  * MU_X(Re) * MU_X(Im) * MU_Y(Re) * MU_Y(Im) * MU_Z(Re) * MU_Z(Im) *\n", &v[0], &r[0],
            &r[1], &r[2]);
  if (v[0] < 0 || r[0] < 0.0 || r[1] < 0.0 || r[2] < 0.0 || r[3] < 0.0 || r[4] < 0.0 || r[5] < 0.0)
    card_error(file);
  property->kind = 1;
  auto *values = new_record<ComplexLinearAnisotropy>("ComplexLinearAnisotropy");
  values->coordinate = find_coordinate(v[0]);
  const double unscanned = r[5];
  values->value[0] = r[0] * mu0;
  values->value[1] = unscanned * mu0;
  values->value[2] = r[2] * mu0;
  values->value[3] = r[3] * mu0;
  values->value[4] = r[4] * mu0;
  values->value[5] = 0.0;
  property->cylindrical = values->coordinate->type == 2 ? 1 : 0;
  property->complex_anisotropy = values;
  return property;
}

MagneticProperty *read_magnetic_property(FFILE *file, const MATERIAL_CARD &card,
                                         const CONTROL_DATA &control) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  const bool nonlinear = control.NON_LINEAR == 1;
  MagneticProperty *property = nullptr;
  if (nonlinear && card.anisotropy == 1) {
    property = create_magnetic_property(anisotropic_nonlinear);
    read_card(file, "%d %d %d %d %lf %lf %lf",
              "* COORD_ID  * B_H_x(r) * B_H_y(t) * B_H_z * MU_x(r)  * MU_y(t) * MU_z *\n", &v[0], &v[1],
              &v[2], &v[3], &r[0], &r[1], &r[2]);
    if (v[0] < 0 || v[1] < 0 || v[2] < 0 || v[3] < 0 || r[0] < 0.0 || r[1] < 0.0 || r[2] < 0.0)
      card_error(file);
    property->anisotropic = new_record<ANISOTROPIC_NONLINEAR>("AnisotropicNonlinear");
    *property->anisotropic =
        ANISOTROPIC_NONLINEAR{v[0], {v[1], v[2], v[3]}, {r[0] * mu0, r[1] * mu0, r[2] * mu0}};
  } else if (nonlinear && card.anisotropy == 3) {
    property = create_magnetic_property(coupled_2d_anisotropy);
    read_card(file, "%d %d %d %lf", "* COORD_ID * B_H_xy * B_H_z * MU_z *\n", &v[0], &v[1], &v[2], &r[0]);
    if (v[1] < 1) card_error(file);
    property->coupled = new_record<COUPLED_2D_ANISOTROPY>("Coupled2DAnisotropy");
    *property->coupled = COUPLED_2D_ANISOTROPY{v[0], v[1], v[2], r[0] * mu0};
    the_tables.uses_2d_curves = 1;
  } else if (nonlinear && (card.anisotropy == 4 || card.anisotropy == 5)) {
    property = create_magnetic_property(card.anisotropy == 4 ? jiles_atherton_2d : play_model_2d);
    the_tables.hysteresis = 1;
  } else if (nonlinear && card.curve_id != 0 && card.anisotropy == 0) {
    if (card.packing != 0.0 && card.packing != 1.0)
      stop_at_unbuilt(UNBUILT::input_data, "packed-layer direction");
    property = create_magnetic_property(isotropic_nonlinear);
    property->curve_id = card.curve_id;
  } else if (nonlinear && card.curve_id != 0 && card.anisotropy == 2) {
    property = create_magnetic_property(temperature_dependent_nonlinear);
    property->curve_id = card.curve_id;
  } else if (control.AC == 2 && control.NON_LINEAR == 0 && (card.anisotropy == 1 || card.anisotropy == 2)) {
    property = create_magnetic_property(linear_property);
    property->linear = complex_permeability(file, card.anisotropy);
  } else {
    property = create_magnetic_property(linear_property);
    property->linear = real_permeability(file, card.mu);
  }
  return property;
}

std::uint8_t material_flags(const MATERIAL_CARD &card, const CONTROL_DATA &control) {
  std::uint8_t flags = 0;
  if (card.sigma != 0.0) {
    flags |= mat_conducting | mat_eddy_region;
    if (control.is_static && !control.steady_current) flags &= static_cast<std::uint8_t>(~mat_eddy_region);
  }
  const bool free_space =
      card.mu == 1.0 && card.anisotropy == 0 && (control.NON_LINEAR != 1 || card.curve_id == 0);
  if (!free_space) flags |= mat_magnetic;
  if (flags & (mat_conducting | mat_magnetic)) flags |= mat_needs_element;
  return flags;
}

void read_volume_material(FFILE *file, MAT_PROPERTY &mat, const CONTROL_DATA &control) {
  MATERIAL_CARD card;
  if (control.AC == 3) {
    read_card(
        file, "%d %d %d %lf %lf %lf %d %d %lf",
        "* MAT_ID  *  POTENTIAL * B_H_CURVE_ID *  SIGMA * MU  * PACKING *  ANISOTROPY * IRON_LOSS * EPS  *\n",
        &card.id, &card.potential, &card.curve_id, &card.sigma, &card.mu, &card.packing, &card.anisotropy,
        &card.iron_loss, &card.eps);
  } else {
    read_card(file, "%d %d %d %lf %lf %lf %d %d %d",
              "* MAT_ID  *  POTENTIAL * B_H_CURVE_ID * SIGMA * MU  * PACKING *  ANISOTROPY * IRON_LOSS * "
              "SIGMA_DEPEND_ID *\n",
              &card.id, &card.potential, &card.curve_id, &card.sigma, &card.mu, &card.packing,
              &card.anisotropy, &card.iron_loss, &card.sigma_depend);
  }
  if (card.id < 1 || card.potential < 0 || !(card.curve_id >= 1 || card.mu != 0.0) || card.anisotropy < 0 ||
      card.anisotropy > 5 || card.iron_loss < 0 || card.iron_loss > 2 || card.sigma_depend < 0)
    card_error(file);
  // A conductivity from the temperature table needs a conductor to scale.
  if (card.sigma_depend >= 1 && card.sigma == 0.0) card_error(file);
  mat.id = card.id;
  mat.potential_flags = static_cast<std::uint8_t>(card.potential & 3);
  mat.sigma = read_conductivity(file, card.sigma, "mat_property->sigma");
  mat.magnetic = read_magnetic_property(file, card, control);
  mat.flags = material_flags(card, control);
  mat.iron_loss = card.iron_loss;
  if (card.sigma_depend >= 1) {
    // The temperature table supplies the conductivity; the card keeps only its directions.
    mat.potential_flags |= 1u << 2;
    mat.sigma_depend = card.sigma_depend;
    if (mat.sigma->kind == 0) {
      mat.sigma->value = 1.0;
    } else {
      mat.sigma->anisotropy->x /= -card.sigma;
      mat.sigma->anisotropy->y /= -card.sigma;
      mat.sigma->anisotropy->z /= -card.sigma;
    }
  }
  if (card.iron_loss != 0) stop_at_unbuilt(UNBUILT::input_data, "iron-loss property");
}

void read_old_surface_material(FFILE *file, SMAT_PROPERTY &smat) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  read_card(file, "%d %lf %lf %lf", "* SMAT_ID  * SIGMA *   MU  * THICK *\n", &v[0], &r[0], &r[1], &r[2]);
  if (v[0] == 0 || r[0] < 0.0 || r[1] < 1.0) card_error(file);
  if (v[0] < 0) {
    smat.id = -v[0];
    smat.type = smat_gap;
    smat.mu = r[1] * mu0;
    smat.thickness = r[2];
    the_tables.gap_elements = 1;
  } else {
    smat.id = v[0];
    smat.type = smat_linear_impedance;
    smat.sigma = r[0];
    smat.mu = r[1] * mu0;
    the_tables.surface_impedance = 1;
  }
}

void read_impedance(FFILE *file, SMAT_PROPERTY &smat, double sigma, double mu, double fifth,
                    const CONTROL_DATA &control) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  the_tables.surface_impedance = 1;
  smat.sigma = sigma;
  smat.mu = mu * mu0;
  if (fifth == 0.0 || control.NON_LINEAR == 0) {
    smat.type = smat_linear_impedance;
  } else if (control.NON_LINEAR == 2) {
    smat.type = smat_nonlinear_impedance;
    smat.imp_type = static_cast<int>(fifth);
    read_card(file, "%d %lf %lf %lf", "*B_H_CURVE * AGARWAL *   K  *    HK  *\n", &v[0], &r[0], &r[1], &r[2]);
    if (v[0] < 1 || !(r[0] > 0.0) || r[1] < 0.0) card_error(file);
    smat.curve_id = v[0];
    smat.AGARWAL = r[0];
    smat.K = r[1];
    smat.HK = r[2];
  } else {
    // NON_LINEAR 1 with an impedance type: a record with no law, as inputs have always had it.
    smat.type = smat_none;
  }
}

void read_surface_material(FFILE *file, SMAT_PROPERTY &smat, const CONTROL_DATA &control) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  const bool second_form = control.ac_mode != 0 && control.NON_LINEAR == 0;
  read_card(file, "%d %d %lf %lf %lf",
            second_form ? "* SMAT_ID*TYPE*  SIGMA  *  MU   *  THICK * SIGMA_DEPEND *\n"
                        : "* SMAT_ID*TYPE*  SIGMA  *  MU   *IMP_TYPE or THICK *\n",
            &v[0], &v[1], &r[0], &r[1], &r[2]);
  if (v[0] < 1) card_error(file);
  smat.id = v[0];
  const double sigma = r[0];
  const double mu = r[1];
  const double fifth = r[2];
  switch (v[1]) {
  case 1:
    if (!(sigma > 0.0) || mu < 1.0 || (second_form && fifth != 0.0)) card_error(file);
    read_impedance(file, smat, sigma, mu, fifth, control);
    break;
  case 2:
    if (mu < 1.0 || fifth < 0.0) card_error(file);
    smat.type = smat_gap;
    smat.mu = mu * mu0;
    smat.thickness = fifth;
    the_tables.gap_elements = 1;
    if (!control.is_static) the_tables.gap_static = 0;
    break;
  case 3:
    if (sigma == 0.0 || mu != 1.0 || !(fifth > 0.0)) card_error(file);
    smat.type = smat_thin_conductor;
    smat.mu = mu * mu0;
    smat.thickness = fifth;
    smat.thin_sigma = read_conductivity(file, sigma, "smat_property->sigma");
    the_tables.thin_conductor = 1;
    break;
  default:
    card_error(file);
  }
}

// The first id, in table order, that a later entry repeats; 0 when all differ.
template <class T> int first_repeated_id(const T *records, int count) {
  std::map<int, std::pair<int, int>> seen; // id -> first index, occurrences
  for (int k = 0; k < count; ++k) {
    auto [entry, fresh] = seen.emplace(records[k].id, std::pair{k, 0});
    ++entry->second.second;
  }
  int first_index = count;
  int repeated = 0;
  for (const auto &[id, where] : seen)
    if (where.second > 1 && where.first < first_index) {
      first_index = where.first;
      repeated = id;
    }
  return repeated;
}

void check_duplicates() {
  if (const int id = first_repeated_id(the_tables.mat_properties, the_tables.no_mat_properties)) {
    write_fault("***** mat_property %d is overlapped in input file!\n", id);
    stop_job(1);
  }
  if (const int id = first_repeated_id(the_tables.smat_properties, the_tables.no_smat_properties)) {
    write_fault("***** smat_property %d is overlapped in input file!\n", id);
    stop_job(1);
  }
}

} // namespace

const MATERIAL_TABLES &material_tables() { return the_tables; }

void switch_gap_static_off() { the_tables.gap_static = 0; }

void read_material_cards(FFILE *file, int module_flag) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  const CONTROL_DATA &control = control_data();
  read_card(file, "%d %d %d", "* NO_MAT_IDS *  EXTEND_TOTAL *  NO_SMAT_IDS \n", &v[0], &v[1], &v[2]);
  if (v[0] < 0 || !is_flag(v[1]) || v[2] < 0) card_error(file);
  MATERIAL_TABLES &t = the_tables;
  t.no_mat_properties = v[0];
  t.extend_total = v[1];
  t.no_smat_properties = v[2];
  t.mat_properties = static_cast<MAT_PROPERTY *>(
      calloc_named(static_cast<std::uint64_t>(t.no_mat_properties), sizeof(MAT_PROPERTY), "mat_properties"));
  t.smat_properties = static_cast<SMAT_PROPERTY *>(calloc_named(
      static_cast<std::uint64_t>(t.no_smat_properties), sizeof(SMAT_PROPERTY), "smat_properties"));
  if (module_flag != 1 || control.STATIC == 2 || control.STATIC == 3) {
    if (t.no_mat_properties > 0) stop_at_unbuilt(UNBUILT::input_data, "electrostatic material");
  }
  if (control.STATIC == 4 && t.no_mat_properties > 0)
    stop_at_unbuilt(UNBUILT::input_data, "thermal material");
  for (int k = 0; k < t.no_mat_properties; ++k) {
    t.mat_properties[k] = MAT_PROPERTY{};
    read_volume_material(file, t.mat_properties[k], control);
  }
  for (int k = 0; k < t.no_smat_properties; ++k) {
    t.smat_properties[k] = SMAT_PROPERTY{};
    if (control.release < 6.3)
      read_old_surface_material(file, t.smat_properties[k]);
    else
      read_surface_material(file, t.smat_properties[k], control);
  }
  check_duplicates();
  if (control.thin_element != 0.0) {
    read_card(file, "%lf %d", "* THIN_CRITERION * NO_MAT_IDS *\n", &r[0], &v[0]);
    if (r[0] < 2.0 || v[0] < 1) card_error(file);
    t.thin_criterion = r[0];
    t.thin_region = read_mat_property_region(file, v[0]);
  }
  set_output_flags(control.NUMBER_OUTPUT_MATS, control.output_mat_nos);
  const FFILE *output = run_files().print_out;
  if (output && output->state != 0) print_material_table(output->stream);
}

MAT_PROPERTY_REGION *read_mat_property_region(FFILE *file, int count) {
  auto *region = new_record<MAT_PROPERTY_REGION>("MAT_PROPERTY_REGION");
  region->count = count;
  region->nos = calloc_int(static_cast<std::uint64_t>(count), "MAT_PROPERTY_REGION->nos");
  read_int_list(file, "* MAT_IDS *\n", count, region->nos);
  for (int k = 0; k < count; ++k)
    if (region->nos[k] < 1) card_error(file);
  return region;
}

int is_in_region(const MAT_PROPERTY_REGION &region, int id) {
  for (int k = 0; k < region.count; ++k)
    if (region.nos[k] == id) return 1;
  return 0;
}

const MAT_PROPERTY *find_mat_property(int id) {
  for (int k = 0; k < the_tables.no_mat_properties; ++k)
    if (the_tables.mat_properties[k].id == id) return &the_tables.mat_properties[k];
  write_fault("***** mat_property %d is not found. \n", id);
  stop_job(1);
}

const SMAT_PROPERTY *find_smat_property(int id) {
  for (int k = 0; k < the_tables.no_smat_properties; ++k)
    if (the_tables.smat_properties[k].id == id) return &the_tables.smat_properties[k];
  write_fault("***** smat_property %d is not found. \n", id);
  stop_job(1);
}

void set_output_flags(int number_output_mats, std::span<const int> listed) {
  auto selected = [&](int id) {
    bool in_list = false;
    for (int listed_id : listed) in_list = in_list || listed_id == id;
    return number_output_mats == 0 || (number_output_mats > 0 ? in_list : !in_list);
  };
  for (int k = 0; k < the_tables.no_mat_properties; ++k) {
    MAT_PROPERTY &mat = the_tables.mat_properties[k];
    mat.flags =
        static_cast<std::uint8_t>(selected(mat.id) ? mat.flags | mat_output : mat.flags & ~mat_output);
  }
  for (int k = 0; k < the_tables.no_smat_properties; ++k) {
    SMAT_PROPERTY &smat = the_tables.smat_properties[k];
    smat.flags = static_cast<std::uint8_t>(selected(smat.id) ? smat.flags | 1u : smat.flags & ~1u);
  }
}

void bind_curves() {
  for (int k = 0; k < the_tables.no_mat_properties; ++k) {
    MAT_PROPERTY &mat = the_tables.mat_properties[k];
    MagneticProperty *magnetic = mat.magnetic;
    if (!magnetic) continue;
    if (!can_evaluate(magnetic->type)) {
      write_fault(
          "**** Material %d needs the magnetic law %s, which this build can't evaluate. Job is stopped. "
          "****\n",
          mat.id, magnetic_kind_name(magnetic->type));
      stop_job(1);
    }
    if (magnetic->type == isotropic_nonlinear) magnetic->curve = find_b_h_curve(magnetic->curve_id);
  }
  for (int k = 0; k < the_tables.no_smat_properties; ++k) {
    SMAT_PROPERTY &smat = the_tables.smat_properties[k];
    if (smat.type == smat_nonlinear_impedance) smat.curve = find_b_h_curve(smat.curve_id);
  }
}

void bind_mat_properties(std::span<ELEMENT_MATERIAL> volume, std::span<SURFACE_MATERIAL> surface) {
  for (ELEMENT_MATERIAL &element : volume) {
    const MAT_PROPERTY *mat = nullptr;
    for (int k = 0; k < the_tables.no_mat_properties && !mat; ++k)
      if (the_tables.mat_properties[k].id == element.mat_id) mat = &the_tables.mat_properties[k];
    if (!mat) {
      write_fault("***** mat_property %d is not found to v_element %d \n", element.mat_id, element.number);
      stop_job(1);
    }
    element.mat = mat;
    element.potential_bits = mat->potential_flags & 3;
  }
  // A surface element whose id is no surface material keeps its kind.
  constexpr int surface_kind_of_type[] = {0, 2, 2, 4, 5};
  for (SURFACE_MATERIAL &element : surface)
    for (int k = 0; k < the_tables.no_smat_properties; ++k) {
      const SMAT_PROPERTY &smat = the_tables.smat_properties[k];
      if (smat.id != element.smat_id) continue;
      if (smat.type >= 1 && smat.type <= 4) element.kind = surface_kind_of_type[smat.type];
      break;
    }
}

} // namespace tesmora
