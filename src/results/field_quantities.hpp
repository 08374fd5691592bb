// Field quantities of a step's solution: the flux density at element centres and averaged at
// nodes, written through the post-writer table (so the routine doesn't know the file format).
#pragma once

#include "job/tagged_array.hpp"
#include "mesh/element_transform.hpp"
#include "results/post_writer.hpp"

#include <cstdint>
#include <vector>

namespace tesmora {

struct MESHED_MODEL;
struct V_ELEMENT;

// The coil field of the sources at their present amplitudes, at the nodes and element centres of
// the regions that carry it ("B_source_at_nodes", "B_source_at_element_centers"); made once per
// step and shared by the routines of the step.
struct COIL_FIELD_AT_POINTS {
  double *at_nodes = nullptr;   // 3 per node of the chain, chain order; null: no coil field
  double *at_centers = nullptr; // 3 per volume element of the chain, chain order
  int potential = 0;            // the POTENTIAL option the coils share; -1: they differ
};
// The coil field per unit amplitude of each coil source at the same nodes and centres, made by
// the first step of a post stage and kept for the others, whose amplitudes alone differ:
// Biot-Savart is the dearest part of a step's output. Each step's sum is the one the step would
// make from scratch, term by term. A table that would pass `max_bytes` is not kept.
struct COIL_FIELD_SHAPES {
  bool made = false;
  std::vector<int> column; // per source: its place among the coil sources, or -1
  int no_coils = 0;
  TaggedArray<double> at_nodes, at_centers; // per point, 3 values for each coil source
  std::int64_t max_bytes = std::int64_t{256} << 20;
};
// The coil field an element of this region adds at a node (chain index) or a global point.
void coil_field_at_node(const COIL_FIELD_AT_POINTS &field, const V_ELEMENT &element, int node,
                        const double x[3], double B[3]);
// `shapes`, when given, is made on the first call and used on the later ones.
void make_coil_field_at_points(const MESHED_MODEL &first_part, COIL_FIELD_AT_POINTS &field,
                               COIL_FIELD_SHAPES *shapes = nullptr);
void free_coil_field_at_points(COIL_FIELD_AT_POINTS &field);

// The edge potential of an element's local edge i: the sum of its A terms over the solution,
// signed by the edge's direction in the element.
double element_edge_potential(const V_ELEMENT &element, int i, const double *solution);

// curl A of the solution at a reference point of the element (the reduced field where a coil
// adds its own).
void element_curl_A(const V_ELEMENT &element, const double *solution, const double reference[3], double B[3],
                    TRANSFORM_SCRATCH &scratch);

// The flux density data set ("BMAG") of one step: element-centre values when ELEM_OUT is on,
// node means when NODE_OUT is on, for the elements of the materials selected for output.
void flux_density_output(POST_STREAM &out, const POST_WRITER &writer, const MESHED_MODEL &first_part,
                         const double *solution, const COIL_FIELD_AT_POINTS &coil, int step, double time);

// The magnetisation data set ("MAGNET") of one step: M = B/mu0 - H of each selected element's
// magnetic law at its centre (0 in free space), when ELEM_OUT is on. In a nonlinear job it shows
// the saturation state: H is B/mu0 - M and the reluctivity used |H|/|B|.
void magnetization_output(POST_STREAM &out, const POST_WRITER &writer, const MESHED_MODEL &first_part,
                          const double *solution, const COIL_FIELD_AT_POINTS &coil, int step, double time);

} // namespace tesmora
