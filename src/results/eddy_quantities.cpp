// Electric field, current density and Joule heat of the conducting elements.
#include "results/eddy_quantities.hpp"

#include "input/control_data.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "materials/magnetic_property.hpp"
#include "materials/material_tables.hpp"
#include "mesh/gauss.hpp"
#include "results/field_support.hpp"
#include "results/json_report.hpp"
#include "sources/coil_cards.hpp"
#include "sources/external_field.hpp"
#include "sources/field_sources.hpp"
#include "sources/source_matrices.hpp"

#include <algorithm>
#include <cstdint>
#include <map>

namespace tesmora {
namespace {

bool conducting(const V_ELEMENT &element) {
  return element.edges && element.material && element.material->sigma;
}

// The rate of the unknown of a node's electric scalar potential, 0 when it has none.
double node_phi_rate(const NODE &node, const double *rate) {
  const POTENTIAL_TERMS *terms = node.potentials;
  double value = 0.0;
  for (int t = 0; terms && t < terms->no_terms; ++t)
    if (terms->terms[t].name == PHI_NODE)
      value += terms->terms[t].coefficient * rate[terms->terms[t].position - 1];
  return value;
}

// dA/dt + grad dphi/dt at a point whose edge functions, node gradients and global position are
// given: the element's unknowns and the coils' own potential at their amplitudes' rates.
void potential_rate_at(const V_ELEMENT &element, const EDDY_RATE &rate, const double (*values)[3],
                       const double (*gradients)[3], const double x[3], int point, double out[3]) {
  out[0] = out[1] = out[2] = 0.0;
  const V_ELEMENT_TYPE &type = *element.type;
  for (int i = 0; i < type.no_edges; ++i) {
    const POTENTIAL_TERMS *terms = element.edges[i]->potentials;
    double a = 0.0;
    for (int t = 0; terms && t < terms->no_terms; ++t)
      if (terms->terms[t].name == A_EDGE)
        a += terms->terms[t].coefficient * rate.unknowns[terms->terms[t].position - 1];
    if (!((element.edge_direction >> i) & 1u)) a = -a;
    for (int c = 0; c < 3; ++c) out[c] += a * values[i][c];
  }
  for (int k = 0; k < type.no_nodes; ++k) {
    const double phi = node_phi_rate(*element.nodes[k], rate.unknowns);
    if (phi != 0.0)
      for (int c = 0; c < 3; ++c) out[c] += phi * gradients[k][c];
  }
  const FIELD_SOURCES &sources = field_sources();
  if (control_data().no_coil_field) return;
  const COIL_EVALUATION evaluation{coil_options(), nullptr};
  for (int s = 0; s < sources.no_sources; ++s) {
    const FIELD_SOURCE &source = sources.data[s];
    if (source.type != source_coil || !source.external || rate.sources[s] == 0.0) continue;
    if (!region_carries_coil(static_cast<int>(element.potential_bits), source.external->potential_option))
      continue;
    double A[3];
    const double *kept = rate.coil ? rate.coil->at(element, point, s) : nullptr;
    if (kept)
      std::copy(kept, kept + 3, A);
    else
      external_field_A(*source.external, evaluation, x, A);
    for (int c = 0; c < 3; ++c) out[c] += rate.sources[s] * A[c];
  }
}

// E at a reference point (the element's point `point`: Gauss points, then corners), and the
// conductivity tensor there.
void field_and_sigma(const V_ELEMENT &element, const EDDY_RATE &rate, const double reference[3],
                     int point_index, double E[3], double sigma[9], double *det, TRANSFORM_SCRATCH &scratch) {
  const V_ELEMENT_TYPE &type = *element.type;
  double xyz[max_element_nodes][3], inverse[3][3], values[max_element_edges][3], curls[max_element_edges][3];
  double gradients[max_element_nodes][3];
  element_coordinates(element, xyz);
  const double xi = reference[0], eta = reference[1], zeta = reference[2];
  const double d = element_transform_edges(type, xyz, xi, eta, zeta, inverse, values, curls, scratch);
  element_transform_nodes(type, xyz, xi, eta, zeta, inverse, gradients, scratch);
  MATERIAL_POINT point{&element, xi, eta, zeta, {}};
  element_point(type, xyz, xi, eta, zeta, point.position, scratch);
  potential_rate_at(element, rate, values, gradients, point.position, point_index, E);
  for (int c = 0; c < 3; ++c) E[c] = -E[c];
  linear_tensor(*element.material->sigma, point, sigma);
  if (det) *det = d;
}

void times(const double m[9], const double v[3], double out[3]) {
  for (int r = 0; r < 3; ++r) out[r] = m[3 * r] * v[0] + m[3 * r + 1] * v[1] + m[3 * r + 2] * v[2];
}

double dot(const double a[3], const double b[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

// Mean of the states' losses of one element.
double mean_loss(const V_ELEMENT &element, const std::vector<EDDY_RATE> &states, TRANSFORM_SCRATCH &scratch) {
  double sum = 0.0;
  for (const EDDY_RATE &rate : states) sum += element_joule_loss(element, rate, scratch);
  return states.empty() ? 0.0 : sum / static_cast<double>(states.size());
}

const COORDINATE *post_frame() {
  const CONTROL_DATA &control = control_data();
  return control.POST_COORDINATE ? find_coordinate(control.POST_COORDINATE) : nullptr;
}

} // namespace

COIL_POTENTIALS::COIL_POTENTIALS(const MESHED_MODEL &first_part, std::int64_t max_bytes) {
  if (control_data().no_coil_field || !field_sources().has_coil) return;
  const FIELD_SOURCES &sources = field_sources();
  column_.assign(static_cast<std::size_t>(sources.no_sources), -1);
  for (int s = 0; s < sources.no_sources; ++s)
    if (sources.data[s].type == source_coil && sources.data[s].external)
      column_[static_cast<std::size_t>(s)] = no_coils_++;
  // The table's points: per conducting element its Gauss points, then per node of those elements
  // one corner, placed by the first element that has it.
  struct POINT_OWNER {
    const V_ELEMENT *element;
    int first_gauss, no_gauss; // the element's Gauss points, or its corner `corner`
    int corner;
  };
  std::vector<POINT_OWNER> owners;
  std::int64_t no_points = 0;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next)
    for (int k = 0; k < part->no_v_elements; ++k) {
      const V_ELEMENT &element = part->v_elements[k];
      if (!conducting(element)) continue;
      const int no_gauss = gauss_points(element.type->gauss).no_points;
      first_.emplace(&element, no_points);
      owners.push_back(POINT_OWNER{&element, static_cast<int>(no_points), no_gauss, -1});
      no_points += no_gauss;
    }
  const std::size_t no_elements = owners.size();
  for (std::size_t e = 0; e < no_elements; ++e) {
    const V_ELEMENT &element = *owners[e].element;
    for (int c = 0; c < element.type->no_nodes; ++c)
      if (corner_.emplace(element.nodes[c], no_points).second) {
        owners.push_back(POINT_OWNER{&element, static_cast<int>(no_points), 1, c});
        ++no_points;
      }
  }
  const std::int64_t stride = 3 * std::int64_t{no_coils_};
  if (no_coils_ == 0 || no_points == 0 ||
      stride * no_points * static_cast<std::int64_t>(sizeof(double)) > max_bytes) {
    no_coils_ = 0;
    first_.clear();
    corner_.clear();
    return;
  }
  values_ = TaggedArray<double>(stride * no_points, "coil A at the conductors' points");
  double *values = values_.data();
  const COIL_EVALUATION evaluation{coil_options(), nullptr};
  const int count = static_cast<int>(owners.size());
#pragma omp parallel
  {
    TRANSFORM_SCRATCH scratch; // each thread its own
#pragma omp for schedule(dynamic, 64)
    for (int o = 0; o < count; ++o) {
      const POINT_OWNER &owner = owners[static_cast<std::size_t>(o)];
      const V_ELEMENT &element = *owner.element;
      const V_ELEMENT_TYPE &type = *element.type;
      const GAUSS_POINTS &points = gauss_points(type.gauss);
      double xyz[max_element_nodes][3];
      element_coordinates(element, xyz);
      // The points as field_and_sigma places them.
      for (int q = 0; q < owner.no_gauss; ++q) {
        double reference[3];
        if (owner.corner < 0) {
          for (int c = 0; c < 3; ++c) reference[c] = points.p[c][q];
        } else {
          const POINT_3D &r = type.node_coordinates[static_cast<std::size_t>(owner.corner)];
          for (int c = 0; c < 3; ++c) reference[c] = r[c];
        }
        double x[3];
        element_point(type, xyz, reference[0], reference[1], reference[2], x, scratch);
        double *out = values + stride * (owner.first_gauss + q);
        for (int s = 0; s < sources.no_sources; ++s) {
          const int j = column_[static_cast<std::size_t>(s)];
          // A node's corner serves every element around it, whatever coils they carry.
          if (j >= 0 &&
              (owner.corner >= 0 || region_carries_coil(static_cast<int>(element.potential_bits),
                                                        sources.data[s].external->potential_option)))
            external_field_A(*sources.data[s].external, evaluation, x, out + 3 * j);
        }
      }
    }
  }
}

const double *COIL_POTENTIALS::at(const V_ELEMENT &element, int point, int s) const {
  if (no_coils_ == 0) return nullptr;
  const int j = column_[static_cast<std::size_t>(s)];
  if (j < 0) return nullptr;
  const int no_gauss = gauss_points(element.type->gauss).no_points;
  std::int64_t index = -1;
  if (point < no_gauss) {
    const auto found = first_.find(&element);
    if (found != first_.end()) index = found->second + point;
  } else {
    const auto found = corner_.find(element.nodes[point - no_gauss]);
    if (found != corner_.end()) index = found->second;
  }
  return index < 0 ? nullptr : values_.data() + 3 * std::int64_t{no_coils_} * index + 3 * j;
}

double element_joule_loss(const V_ELEMENT &element, const EDDY_RATE &rate, TRANSFORM_SCRATCH &scratch) {
  if (!conducting(element)) return 0.0;
  const GAUSS_POINTS &points = gauss_points(element.type->gauss);
  double loss = 0.0;
  for (int q = 0; q < points.no_points; ++q) {
    const double reference[3] = {points.p[0][q], points.p[1][q], points.p[2][q]};
    double E[3], sigma[9], J[3], det = 0.0;
    field_and_sigma(element, rate, reference, q, E, sigma, &det, scratch);
    times(sigma, E, J);
    loss += det * points.w[q] * dot(J, E);
  }
  return loss;
}

TaggedArray<double> element_losses(const MESHED_MODEL &first_part, const std::vector<EDDY_RATE> &states) {
  std::vector<const V_ELEMENT *> elements;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next)
    for (int k = 0; k < part->no_v_elements; ++k) elements.push_back(&part->v_elements[k]);
  const int count = static_cast<int>(elements.size());
  TaggedArray<double> losses(std::max(count, 1), "element losses in the post stage");
  double *out = losses.data();
#pragma omp parallel
  {
    TRANSFORM_SCRATCH scratch; // each thread its own
#pragma omp for schedule(dynamic, 256)
    for (int e = 0; e < count; ++e) {
      const V_ELEMENT &element = *elements[static_cast<std::size_t>(e)];
      if (conducting(element)) out[e] = mean_loss(element, states, scratch);
    }
  }
  return losses;
}

std::vector<MATERIAL_LOSS> joule_loss_by_material(const MESHED_MODEL &first_part, const double *losses) {
  std::map<int, double> by_id;
  std::int64_t e = 0;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next)
    for (int k = 0; k < part->no_v_elements; ++k, ++e) {
      const V_ELEMENT &element = part->v_elements[k];
      if (conducting(element)) by_id[element.mat_id] += losses[e];
    }
  std::vector<MATERIAL_LOSS> materials;
  for (const auto &[id, loss] : by_id) materials.push_back(MATERIAL_LOSS{id, loss});
  return materials;
}

void report_joule_loss(const std::vector<MATERIAL_LOSS> &losses, bool print, bool cycle_average) {
  double total = 0.0;
  for (const MATERIAL_LOSS &m : losses) {
    json_source("HEAT", "JOULE", m.mat_id, m.loss);
    total += m.loss;
  }
  json_source("HEAT", "JOULE", 0, total);
  if (!print) return;
  std::FILE *output = run_files().print_out->stream;
  const bool wide = control_data().WIDE != 0;
  write_report(output, cycle_average
                           ? "***      Total Joule heatin loss ( 1 cycle average ) in regions       "
                             "**********************\n"
                           : "*** Total Joule heatin loss in regions  **********************\n");
  write_report(output, "        MAT No.       Q (W)\n");
  for (const MATERIAL_LOSS &m : losses)
    write_report(output, wide ? "         %4d      %16.8e\n" : "         %4d      %11.4e\n", m.mat_id,
                 m.loss);
  write_report(output, wide ? "        Total      %16.8e\n\n" : "        Total      %11.4e\n\n", total);
  std::fflush(output);
}

void current_density_output(POST_STREAM &out, const POST_WRITER &writer, const MESHED_MODEL &first_part,
                            const EDDY_RATE &rate, int step, double time) {
  const CONTROL_DATA &control = control_data();
  const CHAIN_OFFSETS o = chain_offsets(first_part);
  writer.set_counts(out, o.no_elements, 0, o.no_nodes, 5);
  writer.step_start(out, step, post_J_nodes, time);
  if (control.NODE_OUT) {
    TRANSFORM_SCRATCH scratch;
    write_node_means(
        out, writer, first_part, step, post_J_nodes, time, "NODE - JX, JY, JZ, |J|, Q", 5, post_frame(),
        "J_at_nodes[ixyz]", conducting, [&](const V_ELEMENT &element, int corner, int /*node*/, double v[4]) {
          const POINT_3D &r = element.type->node_coordinates[static_cast<std::size_t>(corner)];
          const double reference[3] = {r[0], r[1], r[2]};
          double E[3], sigma[9];
          const int no_gauss = gauss_points(element.type->gauss).no_points;
          field_and_sigma(element, rate, reference, no_gauss + corner, E, sigma, nullptr, scratch);
          times(sigma, E, v);
          v[3] = dot(v, E); // Q, the fourth sum
        });
  }
  writer.flush_stored(out, step, "CURR", post_J_nodes, time);
  writer.step_block_end(out);
  std::fflush(out.file);
}

void heat_output(POST_STREAM &out, const POST_WRITER &writer, const MESHED_MODEL &first_part,
                 const double *losses, int step, double time) {
  const CONTROL_DATA &control = control_data();
  const CHAIN_OFFSETS o = chain_offsets(first_part);
  writer.set_counts(out, o.no_elements, 2, 0, 0);
  writer.step_start(out, step, post_heat_elements, time);
  if (control.ELEM_OUT) {
    writer.element_block_start(out, step, post_heat_elements, time, "HEAT - Q, Q*V", 2);
    std::int64_t e = 0;
    for (const MESHED_MODEL *part = &first_part; part; part = part->next)
      for (int k = 0; k < part->no_v_elements; ++k, ++e) {
        const V_ELEMENT &element = part->v_elements[k];
        if (!selected(element) || !conducting(element)) continue;
        const double loss = losses[e];
        const double values[2] = {element.volume > 0.0 ? loss / element.volume : 0.0, loss};
        writer.element_value_row(out, element.id, 2, values, element.type->no_nodes);
      }
    writer.end_of_block(out);
  }
  writer.flush_stored(out, step, "HEAT", post_heat_elements, time);
  writer.step_block_end(out);
  std::fflush(out.file);
}

} // namespace tesmora
