// Local coordinate systems: Cartesian or cylindrical frames that materials, sources and post
// output give their vectors in. Id 0 is always the global frame.
#pragma once

#include "job/ffile.hpp"

#include <vector>

namespace tesmora {

struct COORDINATE {
  int id = 0;               // COORD_ID, 1 or more; 0 the global frame
  int type = 0;             // 0 global; 1 Cartesian; 2 cylindrical
  double origin[3] = {};    // X0, Y0, Z0 (m)
  double ex[3] = {1, 0, 0}; // orthonormal axes in global components
  double ey[3] = {0, 1, 0};
  double ez[3] = {0, 0, 1};
};

// Reads the COORDINATE section into the job's table.
void read_coordinates(FFILE *file);
// The frames read, in input order.
const std::vector<COORDINATE> &coordinates();
// Id 0 gives the global frame; an unknown id ends the job with "**** Coordinate ID %d is not found.".
const COORDINATE *find_coordinate(int id);

// A frame from its origin, a given x direction and the z direction: z is kept (normalised),
// x is made perpendicular to it, y = z cross x.
COORDINATE make_coordinate(int id, int type, const double origin[3], const double x_axis[3],
                           const double z_axis[3]);

// Vector components between frames. For a cylindrical frame with a position, the local first
// two components are radial and circumferential at that position (ex is radial on the axis).
void global_to_local(const COORDINATE *frame, const double in[3], double out[3], const double *position);
void local_to_global(const COORDINATE *frame, const double in[3], double out[3], const double *position);
// Positions between frames.
void point_to_global(const COORDINATE *frame, const double in[3], double out[3]);
void point_to_local(const COORDINATE *frame, const double in[3], double out[3]);
// A Cartesian frame whose z axis is `axis` given in `frame`; a cylindrical frame is returned
// as it is.
COORDINATE coordinate_from_axis(const COORDINATE &frame, const double axis[3]);

} // namespace tesmora
