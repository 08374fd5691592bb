// Flux density of a step at element centres and nodes, and the coil field it adds in reduced regions.
#include "results/field_quantities.hpp"
#include "results/field_support.hpp"

#include "input/control_data.hpp"
#include "input/coordinates.hpp"
#include "job/memory.hpp"
#include "materials/bh_curve.hpp"
#include "materials/magnetic_property.hpp"
#include "materials/material_tables.hpp"
#include "mesh/model.hpp"
#include "sources/coil_cards.hpp"
#include "sources/external_field.hpp"
#include "sources/field_sources.hpp"
#include "sources/source_matrices.hpp"

#include <cmath>
#include <cstdint>
#include <vector>

namespace tesmora {
namespace {

constexpr const char *nodes_tag = "B_source_at_nodes";
constexpr const char *centers_tag = "B_source_at_element_centers";

// Sum of amplitude times B of the coils whose field the region of these potential bits carries.
void coil_B(int potential_bits, const COIL_EVALUATION &evaluation, const double x[3], double B[3]) {
  B[0] = B[1] = B[2] = 0.0;
  const FIELD_SOURCES &sources = field_sources();
  for (int s = 0; s < sources.no_sources; ++s) {
    const FIELD_SOURCE &source = sources.data[s];
    if (source.type != source_coil || !source.external || source.amplitude == 0.0) continue;
    if (!region_carries_coil(potential_bits, source.external->potential_option)) continue;
    double b[3];
    external_field_B(*source.external, evaluation, x, b);
    for (int c = 0; c < 3; ++c) B[c] += source.amplitude * b[c];
  }
}

// Evaluates the unit field of every coil source at the nodes and centres that make_coil_field_at_points
// fills; a point outside a source's regions keeps zeros there.
void make_shapes(const std::vector<const NODE *> &node_of, const std::vector<const V_ELEMENT *> &element_of,
                 int potential, COIL_FIELD_SHAPES &shapes) {
  const FIELD_SOURCES &sources = field_sources();
  const COIL_EVALUATION evaluation{coil_options(), nullptr};
  const int no_coils = shapes.no_coils;
  const int no_nodes = static_cast<int>(node_of.size()), no_elements = static_cast<int>(element_of.size());
  auto unit_fields = [&](int potential_bits, const double x[3], double *out) {
    for (int s = 0; s < sources.no_sources; ++s) {
      const int j = shapes.column[static_cast<std::size_t>(s)];
      if (j >= 0 && region_carries_coil(potential_bits, sources.data[s].external->potential_option))
        external_field_B(*sources.data[s].external, evaluation, x, out + 3 * j);
    }
  };
  if (potential > 0) {
    shapes.at_nodes = TaggedArray<double>(3 * std::int64_t{no_coils} * no_nodes, "unit B_source_at_nodes");
    double *at_nodes = shapes.at_nodes.data();
#pragma omp parallel for schedule(dynamic, 256)
    for (int n = 0; n < no_nodes; ++n) {
      const NODE *node = node_of[static_cast<std::size_t>(n)];
      if (!node) continue;
      const double x[3] = {node->x, node->y, node->z};
      unit_fields(potential, x, at_nodes + 3 * std::int64_t{no_coils} * n);
    }
  }
  shapes.at_centers =
      TaggedArray<double>(3 * std::int64_t{no_coils} * no_elements, "unit B_source_at_element_centers");
  double *at_centers = shapes.at_centers.data();
#pragma omp parallel for schedule(dynamic, 256)
  for (int e = 0; e < no_elements; ++e) {
    const V_ELEMENT &element = *element_of[static_cast<std::size_t>(e)];
    double xyz[max_element_nodes][3], x[3];
    element_coordinates(element, xyz);
    const POINT_3D &c = element.type->center;
    TRANSFORM_SCRATCH scratch; // each thread its own
    element_point(*element.type, xyz, c[0], c[1], c[2], x, scratch);
    unit_fields(static_cast<int>(element.potential_bits), x, at_centers + 3 * std::int64_t{no_coils} * e);
  }
}

// The step's field from the unit fields: the sum coil_B makes, source by source in table order.
void combine_shapes(const COIL_FIELD_SHAPES &shapes, int potential_bits, const double *unit, double B[3]) {
  B[0] = B[1] = B[2] = 0.0;
  const FIELD_SOURCES &sources = field_sources();
  for (int s = 0; s < sources.no_sources; ++s) {
    const int j = shapes.column[static_cast<std::size_t>(s)];
    const FIELD_SOURCE &source = sources.data[s];
    if (j < 0 || source.amplitude == 0.0) continue;
    if (!region_carries_coil(potential_bits, source.external->potential_option)) continue;
    for (int c = 0; c < 3; ++c) B[c] += source.amplitude * unit[3 * j + c];
  }
}

} // namespace

void make_coil_field_at_points(const MESHED_MODEL &first_part, COIL_FIELD_AT_POINTS &field,
                               COIL_FIELD_SHAPES *shapes) {
  free_coil_field_at_points(field);
  if (control_data().no_coil_field || !field_sources().has_coil) return;
  // The node values are kept for the POTENTIAL option the coils share (the usual case); coils of
  // differing options are evaluated at each corner instead.
  const FIELD_SOURCES &sources = field_sources();
  field.potential = 0;
  int no_coils = 0;
  for (int s = 0; s < sources.no_sources; ++s) {
    const FIELD_SOURCE &source = sources.data[s];
    if (source.type != source_coil || !source.external) continue;
    const int option = source.external->potential_option;
    field.potential = field.potential == 0 || field.potential == option ? option : -1;
    ++no_coils;
  }
  const CHAIN_OFFSETS o = chain_offsets(first_part);
  field.at_centers = calloc_double(3 * static_cast<std::uint64_t>(o.no_elements), centers_tag);
  std::vector<const NODE *> node_of(static_cast<std::size_t>(o.no_nodes), nullptr);
  std::vector<const V_ELEMENT *> element_of(static_cast<std::size_t>(o.no_elements), nullptr);
  std::size_t p = 0;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next, ++p)
    for (int k = 0; k < part->no_v_elements; ++k) {
      const V_ELEMENT &element = part->v_elements[k];
      element_of[static_cast<std::size_t>(o.elements[p] + k)] = &element;
      if (field.potential < 0 ||
          !region_carries_coil(static_cast<int>(element.potential_bits), field.potential))
        continue;
      for (int i = 0; i < element.type->no_nodes; ++i)
        node_of[static_cast<std::size_t>(o.nodes[p] + (element.nodes[i] - part->nodes))] = element.nodes[i];
    }
  if (shapes && !shapes->made) {
    shapes->made = true;
    const std::int64_t bytes =
        3 * std::int64_t{no_coils} * (o.no_nodes + o.no_elements) * static_cast<std::int64_t>(sizeof(double));
    if (bytes <= shapes->max_bytes) {
      shapes->no_coils = no_coils;
      shapes->column.assign(static_cast<std::size_t>(sources.no_sources), -1);
      for (int s = 0, j = 0; s < sources.no_sources; ++s)
        if (sources.data[s].type == source_coil && sources.data[s].external)
          shapes->column[static_cast<std::size_t>(s)] = j++;
      make_shapes(node_of, element_of, field.potential, *shapes);
    }
  }
  const bool use_shapes = shapes && shapes->no_coils > 0;
  const std::int64_t stride = 3 * std::int64_t{use_shapes ? shapes->no_coils : 0};
  const COIL_EVALUATION evaluation{coil_options(), nullptr};
  if (field.potential > 0) {
    field.at_nodes = calloc_double(3 * static_cast<std::uint64_t>(o.no_nodes), nodes_tag);
    double *at_nodes = field.at_nodes;
    const int potential = field.potential;
#pragma omp parallel for schedule(dynamic, 256)
    for (int n = 0; n < o.no_nodes; ++n) {
      const NODE *node = node_of[static_cast<std::size_t>(n)];
      if (!node) continue;
      if (use_shapes) {
        combine_shapes(*shapes, potential, shapes->at_nodes.data() + stride * n, at_nodes + 3 * n);
        continue;
      }
      const double x[3] = {node->x, node->y, node->z};
      coil_B(potential, evaluation, x, at_nodes + 3 * n);
    }
  }
  double *at_centers = field.at_centers;
#pragma omp parallel for schedule(dynamic, 256)
  for (int e = 0; e < o.no_elements; ++e) {
    const V_ELEMENT &element = *element_of[static_cast<std::size_t>(e)];
    if (use_shapes) {
      combine_shapes(*shapes, static_cast<int>(element.potential_bits),
                     shapes->at_centers.data() + stride * e, at_centers + 3 * e);
      continue;
    }
    double xyz[max_element_nodes][3], x[3];
    element_coordinates(element, xyz);
    const POINT_3D &c = element.type->center;
    TRANSFORM_SCRATCH scratch; // each thread its own
    element_point(*element.type, xyz, c[0], c[1], c[2], x, scratch);
    coil_B(static_cast<int>(element.potential_bits), evaluation, x, at_centers + 3 * e);
  }
}

void coil_field_at_node(const COIL_FIELD_AT_POINTS &field, const V_ELEMENT &element, int node,
                        const double x[3], double B[3]) {
  B[0] = B[1] = B[2] = 0.0;
  if (!field.at_centers) return;
  if (field.potential < 0) {
    const COIL_EVALUATION evaluation{coil_options(), nullptr};
    coil_B(static_cast<int>(element.potential_bits), evaluation, x, B);
  } else if (region_carries_coil(static_cast<int>(element.potential_bits), field.potential)) {
    for (int d = 0; d < 3; ++d) B[d] = field.at_nodes[3 * node + d];
  }
}

void free_coil_field_at_points(COIL_FIELD_AT_POINTS &field) {
  if (field.at_nodes) free_named(field.at_nodes, nodes_tag);
  if (field.at_centers) free_named(field.at_centers, centers_tag);
  field = COIL_FIELD_AT_POINTS{};
}

double element_edge_potential(const V_ELEMENT &element, int i, const double *solution) {
  const POTENTIAL_TERMS *terms = element.edges[i]->potentials;
  double a = 0.0;
  for (int t = 0; terms && t < terms->no_terms; ++t)
    if (terms->terms[t].name == A_EDGE)
      a += terms->terms[t].coefficient * solution[terms->terms[t].position - 1];
  return ((element.edge_direction >> i) & 1u) ? a : -a;
}

void element_curl_A(const V_ELEMENT &element, const double *solution, const double reference[3], double B[3],
                    TRANSFORM_SCRATCH &scratch) {
  B[0] = B[1] = B[2] = 0.0;
  if (!element.edges) return;
  const V_ELEMENT_TYPE &type = *element.type;
  double xyz[max_element_nodes][3], inverse[3][3], values[max_element_edges][3], curls[max_element_edges][3];
  element_coordinates(element, xyz);
  element_transform_edges(type, xyz, reference[0], reference[1], reference[2], inverse, values, curls,
                          scratch);
  for (int i = 0; i < type.no_edges; ++i) {
    const double a = element_edge_potential(element, i, solution);
    for (int c = 0; c < 3; ++c) B[c] += a * curls[i][c];
  }
}

namespace {

// B at an element's centre: curl A and, in a region that carries a coil, the coil's field at the
// centre (`index` is the element's place in the chain).
void centre_B(const V_ELEMENT &element, const double *solution, const COIL_FIELD_AT_POINTS &coil, int index,
              double B[3], TRANSFORM_SCRATCH &scratch) {
  const POINT_3D &c = element.type->center;
  const double reference[3] = {c[0], c[1], c[2]};
  element_curl_A(element, solution, reference, B, scratch);
  if (coil.at_centers)
    for (int d = 0; d < 3; ++d) B[d] += coil.at_centers[3 * index + d];
}

} // namespace

void flux_density_output(POST_STREAM &out, const POST_WRITER &writer, const MESHED_MODEL &first_part,
                         const double *solution, const COIL_FIELD_AT_POINTS &coil, int step, double time) {
  const CONTROL_DATA &control = control_data();
  const CHAIN_OFFSETS o = chain_offsets(first_part);
  const COORDINATE *frame = control.POST_COORDINATE ? find_coordinate(control.POST_COORDINATE) : nullptr;
  writer.set_counts(out, o.no_elements, 4, o.no_nodes, 5);
  writer.step_start(out, step, post_B_elements, time);
  TRANSFORM_SCRATCH scratch;
  if (control.ELEM_OUT) {
    writer.element_block_start(out, step, post_B_elements, time, "ELEMENT - BX, BY, BZ, |B|", 4);
    std::size_t p = 0;
    for (const MESHED_MODEL *part = &first_part; part; part = part->next, ++p)
      for (int k = 0; k < part->no_v_elements; ++k) {
        const V_ELEMENT &element = part->v_elements[k];
        if (!selected(element)) continue;
        double values[4];
        centre_B(element, solution, coil, o.elements[p] + k, values, scratch);
        to_post_frame(frame, values, element.center);
        values[3] = magnitude(values);
        writer.element_value_row(out, element.id, 4, values, element.type->no_nodes);
      }
    writer.end_of_block(out);
  }
  if (control.NODE_OUT)
    // The fifth value, the flux function, exists in the two-dimensional models only: 0 here.
    write_node_means(
        out, writer, first_part, step, post_B_nodes, time, "NODE - BX, BY, BZ, |B|, FLUX", 5, frame,
        "B_at_nodes[ixyz]", [](const V_ELEMENT &) { return true; },
        [&](const V_ELEMENT &element, int corner, int node, double v[4]) {
          const POINT_3D &r = element.type->node_coordinates[static_cast<std::size_t>(corner)];
          const double reference[3] = {r[0], r[1], r[2]};
          element_curl_A(element, solution, reference, v, scratch);
          // The coil field at a corner is that of the element's own region.
          const NODE &at = *element.nodes[corner];
          const double x[3] = {at.x, at.y, at.z};
          double b_coil[3];
          coil_field_at_node(coil, element, node, x, b_coil);
          for (int d = 0; d < 3; ++d) v[d] += b_coil[d];
          v[3] = 0.0;
        });
  writer.flush_stored(out, step, "BMAG", post_B_elements, time);
  writer.step_block_end(out);
  std::fflush(out.file);
}

void magnetization_output(POST_STREAM &out, const POST_WRITER &writer, const MESHED_MODEL &first_part,
                          const double *solution, const COIL_FIELD_AT_POINTS &coil, int step, double time) {
  const CONTROL_DATA &control = control_data();
  const CHAIN_OFFSETS o = chain_offsets(first_part);
  const COORDINATE *frame = control.POST_COORDINATE ? find_coordinate(control.POST_COORDINATE) : nullptr;
  writer.set_counts(out, o.no_elements, 4, 0, 0);
  writer.step_start(out, step, post_M_elements, time);
  if (control.ELEM_OUT) {
    writer.element_block_start(out, step, post_M_elements, time, "MAGNETIZATION - MX, MY, MZ, |M|", 4);
    TRANSFORM_SCRATCH scratch;
    std::size_t p = 0;
    for (const MESHED_MODEL *part = &first_part; part; part = part->next, ++p)
      for (int k = 0; k < part->no_v_elements; ++k) {
        const V_ELEMENT &element = part->v_elements[k];
        if (!selected(element)) continue;
        double values[4] = {0.0, 0.0, 0.0, 0.0};
        const MagneticProperty *magnetic = element.material ? element.material->magnetic : nullptr;
        if (magnetic && element.edges) {
          // M = B / mu0 - H(B) of the element's law at its centre: zero in free space, |M| near the
          // saturation magnetisation in saturated iron.
          double B[3], H[3], tangent[9];
          centre_B(element, solution, coil, o.elements[p] + k, B, scratch);
          const POINT_3D &c = element.type->center;
          MATERIAL_POINT point{
              &element, c[0], c[1], c[2], {element.center[0], element.center[1], element.center[2]}};
          magnetic->evaluate(*magnetic, B, point, H, tangent);
          for (int d = 0; d < 3; ++d) values[d] = B[d] / mu0 - H[d];
        }
        to_post_frame(frame, values, element.center);
        values[3] = magnitude(values);
        writer.element_value_row(out, element.id, 4, values, element.type->no_nodes);
      }
    writer.end_of_block(out);
  }
  writer.flush_stored(out, step, "MAGNET", post_M_elements, time);
  writer.step_block_end(out);
  std::fflush(out.file);
}

} // namespace tesmora
