// EXTERNAL_FIELD: the elements of one COIL source with their frames and force settings, and the
// sum of their A and B at a point, moved with the source and the job.
#pragma once

#include "input/coordinates.hpp"
#include "job/tagged_array.hpp"
#include "sources/coil_element.hpp"

#include <memory>
#include <vector>

namespace tesmora {

// A rigid displacement x -> rotation x + shift of a coil (or of the moving part of a job).
struct RIGID_MOTION {
  double rotation[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}; // orthonormal, row-major
  double shift[3] = {};                                      // m
};

// The force and integration settings of the INTEG card.
struct COIL_INTEG {
  int ndiv = 1;                        // NDIV, 0 read as 1
  int int_x = 0, int_y = 0, int_z = 0; // integration orders
};

struct FIELD_ENTRY {
  std::unique_ptr<COIL_ELEMENT> element;  // owned
  const COORDINATE *coordinate = nullptr; // local frame of the element; null for the global one
  int ndiv = 0;                           // force divisions; not 0: a force target
  int int_x = 0, int_y = 0, int_z = 0;    // integration orders for force
};

struct EXTERNAL_FIELD {
  int no_elements = 0;                  // NO_ELEMENTS of the COIL card
  TaggedArray<int> field_ids;           // no_elements kinds, 0-based; tag "external_field.field_ids"
  std::vector<FIELD_ENTRY> field;       // no_elements entries, 0-based, in card order
  int motion_id = 0;                    // MOTIN_ID; 0 when the source does not move
  const RIGID_MOTION *motion = nullptr; // the source's motion once bound; null: at rest
  std::unique_ptr<COIL_INTEG> integ;    // INTEG card, empty by default
  std::unique_ptr<int[]> symmetry;      // XSYM, YSYM, ZSYM of the SYMMETRY card, empty by default
  double conductivity = 0.0;            // CONDUCTIVITY (S/m), kept only
  int potential_option = 1;             // POTENTIAL of the COIL card, 0 read as 1
};

// The job's side of a field evaluation: the far-field settings and the motion of the job's
// moving part (null when the job has none or it is at fixed coordinates).
struct COIL_EVALUATION {
  COIL_OPTIONS options;
  const RIGID_MOTION *job_motion = nullptr;
};

// The sum of the field-giving elements of a source at a global point: force-only elements
// (NDIV set, other than RECT and RACE) give nothing. Re-entrant.
void external_field_A(const EXTERNAL_FIELD &field, const COIL_EVALUATION &evaluation, const double point[3],
                      double A_out[3]);
void external_field_B(const EXTERNAL_FIELD &field, const COIL_EVALUATION &evaluation, const double point[3],
                      double B_out[3]);

// A point of the entry's local frame in global coordinates, and a local vector in global axes
// (for forces and inductance, which walk the elements' own current distribution).
void entry_point_to_global(const FIELD_ENTRY &entry, const double local[3], double global[3]);
void entry_vector_to_global(const FIELD_ENTRY &entry, const double local[3], double global[3]);

} // namespace tesmora
