// Forces on coil elements and inductance between coil series: volume integrals of J x B and
// J . A over the elements' own current distribution, with their report lines.
#pragma once

#include "sources/coil_element.hpp"
#include "sources/external_field.hpp"

#include <cstdio>
#include <span>
#include <vector>

namespace tesmora {

// One COIL source as the force and inductance reports see it.
struct COIL_SERIES {
  int series_no = 0;                     // SERIES_NO of the source
  const EXTERNAL_FIELD *field = nullptr; // its elements
  double amplitude = 1.0;                // the source's present amplitude (its current factor)
};

// The force on one division of one element (or piece of an assembly).
struct COIL_FORCE {
  int series_no = 0;
  int entry = 0;    // element of the source, 1-based
  int division = 0; // division of the element, or piece of an assembly, 1-based
  COIL_KIND kind = COIL_KIND::LOOP;
  double F[3] = {}; // N, global axes
};

// Forces on every force target (NDIV set) of every series in the flux density `b_field` (the
// B of the whole job, global axes). Appends one record a division to `forces`, writes the
// force table to `report` (null: none) and returns the number of evaluation points.
int calculate_COIL_forces(std::span<const COIL_SERIES> series, const POINT_FIELD &b_field, std::FILE *report,
                          std::vector<COIL_FORCE> &forces);

// Hook for the JSON results ("COIL_FORCE" with series and division): the JSON recorder does not
// exist yet, so this records nothing for now.
void record_coil_forces_json(std::span<const COIL_FORCE> forces);

// The mutual inductance (H) that the elements of `to` see in the field of `from`, per unit
// amplitude of both: the sum over to's elements of their current times the section mean of the
// line integral of A_from. Adds the evaluation points used to `evaluations`.
double coil_mutual_inductance(const COIL_SERIES &from, const COIL_SERIES &to,
                              const COIL_EVALUATION &evaluation, int &evaluations);

// The inductance report between each pair of series: partial lines per element to `log`, the
// total per pair and the timing line to `report`. Returns the pair values in order
// (1,2), (1,3), ..., (2,3), ...
std::vector<double> report_coil_inductances(std::span<const COIL_SERIES> series,
                                            const COIL_EVALUATION &evaluation, std::FILE *report,
                                            std::FILE *log);

} // namespace tesmora
