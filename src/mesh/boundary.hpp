// The boundary section: far boundary, boundary-element terms, the distance tolerance, Bn=0 and
// Ht=0 planes and lines of fixed A, and the geometric tests that use them.
#pragma once

#include "job/ffile.hpp"

#include <vector>

namespace tesmora {

// A plane CX x + CY y + CZ z + C = 0.
struct PLANE {
  double cx = 0.0, cy = 0.0, cz = 0.0, c = 0.0;
};
// A line segment from start to end (m).
struct A_FIXED_LINE {
  double start[3] = {};
  double end[3] = {};
};

struct BOUNDARY_DATA {
  int far_boundary_condition = 0; // 0 tangential A = 0; 1 natural; 2 boundary-element terms
  int no_be_terms = 3;
  double be_center[3] = {};
  int be_normal = 0;            // -1 turns the normal term off
  double distance_judge = 1e-4; // m
  double distance_judge_squared = 1e-8;
  std::vector<PLANE> bn0_planes;
  std::vector<PLANE> ht0_planes;
  std::vector<A_FIXED_LINE> a_fixed_lines;
  int cyclic = 0; // a cyclic symmetry was asked for
};

const BOUNDARY_DATA &boundary_data();

// Reads the boundary section, up to and including the card that opens the cyclic data.
void read_boundary_data(FFILE *file);

// The first plane on which all the points lie within the tolerance, or null.
const PLANE *on_plane(const double (*points)[3], int count, const std::vector<PLANE> &planes,
                      double distance_judge_squared);
// mode 0: squared distance of the point from the line's carrier below the tolerance;
// mode 1: taking the end nearer the origin as start, |p| - p.d/|d| below the squared tolerance.
bool on_line(const double point[3], const A_FIXED_LINE &line, int mode, double distance_judge_squared);
// x^2 + y^2 below the squared tolerance.
bool is_on_axis(const double point[3], double distance_judge_squared);

} // namespace tesmora
