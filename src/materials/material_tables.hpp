// The material tables: volume materials (mat_properties) and surface, gap and thin-sheet
// materials (smat_properties), their card reader, look-ups, binding and the report table.
#pragma once

#include "job/ffile.hpp"
#include "materials/magnetic_property.hpp"

#include <cstdint>
#include <span>

namespace tesmora {

struct B_H_CURVE;

// Bits of MAT_PROPERTY::flags.
enum MAT_FLAG : std::uint8_t {
  mat_conducting = 1u << 0,    // SIGMA is not 0
  mat_eddy_region = 1u << 1,   // conducting and eddy currents flow (not in a static job)
  mat_magnetic = 1u << 2,      // anything but free space in its permeability
  mat_needs_element = 1u << 3, // conducting or magnetic
  mat_output = 1u << 4,        // takes part in the output
};

struct MAT_PROPERTY {
  int id = 0;                            // MAT_ID
  ConductivityProperty *sigma = nullptr; // S/m; null for a non-conducting material
  MagneticProperty *magnetic = nullptr;  // always present in a magnetic job
  ConductivityProperty *eps = nullptr;   // stays null: permittivity comes from the electric cards
  int magnetization_kind = 0;            // 2: a magnet
  std::uint8_t flags = 0;                // MAT_FLAG bits
  std::uint8_t potential_flags = 0;      // bits 0-1 POTENTIAL; bits 2-3 temperature-dependent sigma
  int sigma_depend = 0;                  // SIGMA_DEPEND_ID, 0 none
  int iron_loss = 0;                     // IRON_LOSS of the card
};

// Surface material kinds (SMAT_PROPERTY::type).
enum SMAT_KIND {
  smat_none = 0,
  smat_linear_impedance = 1,
  smat_nonlinear_impedance = 2,
  smat_gap = 3,
  smat_thin_conductor = 4
};

struct SMAT_PROPERTY {
  int id = 0;
  int type = 0;                            // SMAT_KIND
  std::uint8_t flags = 0;                  // bit 0: output
  double sigma = 0.0;                      // S/m, impedance kinds
  double mu = 0.0;                         // H/m, absolute
  double K = 0.0, HK = 0.0, AGARWAL = 0.0; // nonlinear impedance
  int imp_type = 0;
  int curve_id = 0; // nonlinear impedance: B-H curve id until bound
  const B_H_CURVE *curve = nullptr;
  double thickness = 0.0;                     // m, gap and thin conductor
  ConductivityProperty *thin_sigma = nullptr; // thin conductor
};

// A counted list of material ids (tag "MAT_PROPERTY_REGION").
struct MAT_PROPERTY_REGION {
  int count = 0;
  int *nos = nullptr; // count ids, 0-based; tag "MAT_PROPERTY_REGION->nos"
};

// The job's tables and the switches the material cards turn on.
struct MATERIAL_TABLES {
  MAT_PROPERTY *mat_properties = nullptr; // no_mat_properties, 0-based; tag "mat_properties"
  int no_mat_properties = 0;
  SMAT_PROPERTY *smat_properties = nullptr; // no_smat_properties, 0-based; tag "smat_properties"
  int no_smat_properties = 0;
  int extend_total = 0;
  double thin_criterion = 0.0;
  MAT_PROPERTY_REGION *thin_region = nullptr;
  int uses_2d_curves = 0;
  int hysteresis = 0;
  int surface_impedance = 0;
  int gap_elements = 0;
  int gap_static = 1;
  int thin_conductor = 0;
};
const MATERIAL_TABLES &material_tables();

// Turns the static-gap switch off (a surface current source does this).
void switch_gap_static_off();

// Reads the material section (magnetic job: module_flag 1).
void read_material_cards(FFILE *file, int module_flag);
// Linear search; an unknown id ends the job with "***** mat_property %d is not found. ".
const MAT_PROPERTY *find_mat_property(int id);
const SMAT_PROPERTY *find_smat_property(int id);
// Reads count ids (each at least 1) under "* MAT_IDS *".
MAT_PROPERTY_REGION *read_mat_property_region(FFILE *file, int count);
int is_in_region(const MAT_PROPERTY_REGION &region, int id);
// Sets the output bits from NUMBER_OUTPUT_MATS and its list.
void set_output_flags(int number_output_mats, std::span<const int> listed);
// Replaces curve ids by curves; refuses materials whose magnetic kind this build lacks.
void bind_curves();
// The material table of the report.
void print_material_table(std::FILE *output);

// What binding needs of an element until the model records exist.
struct ELEMENT_MATERIAL {
  int number = 0;                    // element number, for the message
  int mat_id = 0;                    // material id of the mesh
  const MAT_PROPERTY *mat = nullptr; // set by binding
  int potential_bits = 0;            // set by binding
};
struct SURFACE_MATERIAL {
  int smat_id = 0;
  int kind = 0; // surface kind: set to 2, 4 or 5 when the id is a surface material
};
// Points each element at its material; an unknown volume id ends the job with
// "***** mat_property %d is not found to v_element %d ".
void bind_mat_properties(std::span<ELEMENT_MATERIAL> volume, std::span<SURFACE_MATERIAL> surface);

} // namespace tesmora
