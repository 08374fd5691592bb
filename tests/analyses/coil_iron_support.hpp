// References and samplers of the whole-job tests of coil fields in iron: the closed-form field of a
// loop coil, point location in a tetrahedral mesh, fluxes of element values through a mesh plane,
// and meshes made by Gmsh at test time.
#pragma once

#include "support/job_results.hpp"

#include <array>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tesmora::testing {

// Flux density (T) of a filament loop of `current` (A) and `radius` (m) about the z axis, in the
// plane z = 0, at the point of radius rho >= 0 and height z: {B_rho, B_z}. The closed form in the
// complete elliptic integrals K(k) and E(k), k^2 = 4 radius rho / ((radius + rho)^2 + z^2).
std::array<double, 2> filament_loop_field(double current, double radius, double rho, double z);

// The loop of rectangular section radial_w by axial_w about the circle of `radius` at height
// center_z, the current spread evenly over the section: n by n Gauss-Legendre points (n 1 to 5)
// over the section, each a filament loop.
struct SECTION_LOOP {
  double current, radius, center_z, radial_w, axial_w;
};
std::array<double, 2> section_loop_field(const SECTION_LOOP &loop, double rho, double z, int n);

// Finds the tetrahedron that holds a point: a uniform grid of cells over the mesh's bounding box,
// each listing the tetrahedra whose bounding boxes meet it.
class TetLocator {
public:
  explicit TetLocator(const TET_MESH &mesh);
  // The 0-based tetrahedron that holds p; for a point on a face, one of its sides. A point
  // outside every tetrahedron by more than 1e-9 of its size in barycentric terms gives -1.
  long find(const std::array<double, 3> &p) const;

private:
  const TET_MESH &mesh_;
  std::array<double, 3> low_{}, cell_{};
  std::array<long, 3> cells_{};
  std::vector<long> first_; // start of each cell's list in members_, one more than the cells
  std::vector<long> members_;
  long cell_index(const std::array<double, 3> &p, std::size_t d) const;
};

// The barycentric coordinates of p in tetrahedron t.
std::array<double, 4> barycentric(const TET_MESH &mesh, std::size_t t, const std::array<double, 3> &p);

// The faces of the mesh that lie in the plane z = z0 (all three corners within tol of it), each
// with its tetrahedron, its area and the centroid of the face.
struct PLANE_FACE {
  std::size_t tet;
  double area;
  std::array<double, 3> centroid;
};
std::vector<PLANE_FACE> faces_in_plane_z(const TET_MESH &mesh, double z0, double tol);

// Runs Gmsh on a .geo script with `-setnumber name value` pairs and writes a 3-D mesh as
// free-field NASTRAN to `out`. Empty when it worked, else what went wrong, telling the user to run
// tools/setup.sh when Gmsh was not found at configure time.
std::string make_gmsh_mesh(const std::string &geo, const std::vector<std::pair<std::string, double>> &numbers,
                           const std::string &out);

} // namespace tesmora::testing
