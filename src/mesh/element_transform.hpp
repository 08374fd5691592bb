// The map from an element's reference coordinates to real space: Jacobian, its inverse, real
// points and gradients, the element volume and the volume check before assembly.
//
// Every operation takes its scratch as an argument, so that each thread of a parallel loop works
// on its own TRANSFORM_SCRATCH; there is no shared fallback.
#pragma once

#include "mesh/element_catalogue.hpp"

namespace tesmora {

// Forms J[i][j] = sum over nodes of x_i(node) dN/dxi_j: real coordinates in the rows.
using JACOBIAN_FUNCTION = void (*)(int no_nodes, const double (*xyz)[3], const double (*derivatives)[3],
                                   double (*j)[3]);
void form_jacobian(int no_nodes, const double (*xyz)[3], const double (*derivatives)[3], double (*j)[3]);

// Work space of one thread's transformation; nothing in it outlives a call but the results.
struct TRANSFORM_SCRATCH {
  double shape[max_element_nodes] = {};                // shape function values of the last point
  double derivatives[max_element_nodes][3] = {};       // reference derivatives of the last point
  double jacobian_matrix[3][3] = {};                   // J of the last point
  double jacobian = 0.0;                               // det J of the last point
  JACOBIAN_FUNCTION jacobian_function = form_jacobian; // replaceable J routine
};

// xyz holds the element's node coordinates, one row per local node (no_nodes rows, in m).
// Returns det J and fills `inverse`, whose row i is the real-space gradient of reference
// coordinate i (the g of the edge functions).
double element_transform(const V_ELEMENT_TYPE &type, const double (*xyz)[3], double xi, double eta,
                         double zeta, double (*inverse)[3], TRANSFORM_SCRATCH &scratch);
// The same, and the real-space gradients of the shape functions (no_nodes rows).
double element_transform_nodes(const V_ELEMENT_TYPE &type, const double (*xyz)[3], double xi, double eta,
                               double zeta, double (*inverse)[3], double (*node_gradients)[3],
                               TRANSFORM_SCRATCH &scratch);
// The same, and the real-space edge functions and their curls (no_edges rows each).
double element_transform_edges(const V_ELEMENT_TYPE &type, const double (*xyz)[3], double xi, double eta,
                               double zeta, double (*inverse)[3], double (*edge_values)[3],
                               double (*edge_curls)[3], TRANSFORM_SCRATCH &scratch);

// Real coordinates of a reference point, through coordinate_function.
void element_point(const V_ELEMENT_TYPE &type, const double (*xyz)[3], double xi, double eta, double zeta,
                   double *out, TRANSFORM_SCRATCH &scratch);

// out_i = v_i M for `count` 3-vectors (rows of `vectors`) and a 3 x 3 matrix.
void real_vector_at(int count, const double (*vectors)[3], const double (*matrix)[3], double (*out)[3]);

// Sum of the weights times det J over the points of `points` (the type's shape).
double element_volume(const V_ELEMENT_TYPE &type, const double (*xyz)[3], const GAUSS_POINTS &points,
                      TRANSFORM_SCRATCH &scratch);

// The check before assembly with the active Gauss points of the type: a negative volume stops
// the job with "**** Volume of the element No. %d:(...) is negative in Material ID = %d. ****",
// a volume of exactly 0 with "... is zero ...", each followed by " Node IDs =" and the node ids.
// Returns the volume when it is positive.
double check_element_volume(int element_no, int material_id, const V_ELEMENT_TYPE &type,
                            const double (*xyz)[3], const int *node_ids, TRANSFORM_SCRATCH &scratch);

} // namespace tesmora
