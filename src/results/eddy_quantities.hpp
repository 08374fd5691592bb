// Eddy-current quantities of a step: the electric field E = -d/dt (A + grad phi), the current
// density J = sigma E and the Joule heat density J . E in the conducting elements, averaged at
// nodes through the post-writer table, and the Joule loss per element and per material.
//
// In a region that carries a coil's field the potential is A_r + a(t) A_coil, so the rate of the
// coil's amplitude enters E with the coil's own A (by Biot-Savart at the point). An AC phasor X
// has the rate j omega X: the instantaneous rate at the phase theta of the cycle is
// -omega (Re X sin theta + Im X cos theta).
#pragma once

#include "job/tagged_array.hpp"
#include "mesh/element_transform.hpp"
#include "results/post_writer.hpp"

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace tesmora {

struct MESHED_MODEL;
struct NODE;
struct V_ELEMENT;

// The coils' own A per unit amplitude at the points where E is taken in the conducting elements
// (each element's Gauss points, then its corners), made once for all the states of a post stage:
// Biot-Savart is the dearest part of E, and the phases or steps, the heat and the current density
// all ask for the same points. A corner is kept once per node: the elements around a node place
// their corner on it exactly. A table that would pass `max_bytes` is not made, and E then
// evaluates the coils at each point.
class COIL_POTENTIALS {
public:
  explicit COIL_POTENTIALS(const MESHED_MODEL &first_part, std::int64_t max_bytes = std::int64_t{256} << 20);
  // The unit A of source s (3 values) at point `point` of the element; null when the table does
  // not hold it (the element does not conduct, the source is no coil, or no table was made).
  const double *at(const V_ELEMENT &element, int point, int s) const;

private:
  std::unordered_map<const V_ELEMENT *, std::int64_t> first_; // the element's first Gauss point
  std::unordered_map<const NODE *, std::int64_t> corner_;     // the node's point
  std::vector<int> column_;                                   // per source: its coil column, or -1
  int no_coils_ = 0;
  TaggedArray<double> values_; // per point, 3 values for each coil source
};

// The time derivative of one state: of every unknown (0-based) and of every source's amplitude
// (source table order), and the table of the coils' A when one was made.
struct EDDY_RATE {
  const double *unknowns = nullptr;
  const double *sources = nullptr;
  const COIL_POTENTIALS *coil = nullptr;
};

// The integral of J . E over a conducting element (W), by its Gauss points; 0 elsewhere.
double element_joule_loss(const V_ELEMENT &element, const EDDY_RATE &rate, TRANSFORM_SCRATCH &scratch);

// The Joule loss of every volume element of the chain (W, chain order, 0 where it does not
// conduct), averaged over the given states with equal weights (one state: instantaneous; two
// states a quarter period apart: the cycle average of an AC phasor, their mean being half the
// sum of |Re E|^2 and |Im E|^2). Made once per output state, for the table and the heat file.
TaggedArray<double> element_losses(const MESHED_MODEL &first_part, const std::vector<EDDY_RATE> &states);

// The Joule loss of each conducting material of the chain, by material id, from the elements'.
struct MATERIAL_LOSS {
  int mat_id = 0;
  double loss = 0.0; // W
};
std::vector<MATERIAL_LOSS> joule_loss_by_material(const MESHED_MODEL &first_part, const double *losses);

// The Joule totals in `output` (the HEAT report; the cycle-average heading in AC) and, always, in
// the JSON results: "HEAT" "JOULE" per material id, and the total under index 0.
void report_joule_loss(const std::vector<MATERIAL_LOSS> &losses, bool print, bool cycle_average);

// The current density data set ("CURR"): node means of JX, JY, JZ, |J|, Q over the selected
// conducting elements, when NODE_OUT is on.
void current_density_output(POST_STREAM &out, const POST_WRITER &writer, const MESHED_MODEL &first_part,
                            const EDDY_RATE &rate, int step, double time);
// The Joule heat data set ("HEAT"): per selected conducting element its mean heat density and its
// loss (Q, Q*V), when ELEM_OUT is on, from the elements' losses.
void heat_output(POST_STREAM &out, const POST_WRITER &writer, const MESHED_MODEL &first_part,
                 const double *losses, int step, double time);

} // namespace tesmora
