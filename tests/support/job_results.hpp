// Readers of what a whole job leaves and of its mesh, for the tests: the UNV values of a post file
// and the points and tetrahedra of a NASTRAN mesh, written independently of the program's readers.
#pragma once

#include <array>
#include <map>
#include <string>
#include <vector>

namespace tesmora::testing {

// Element or node values of the UNV data set (56 elements, 55 nodes) of the last step in a file:
// number -> six values.
std::map<int, std::array<double, 6>> read_unv_values(const std::string &path, int data_set);
// Every data set of that number in the file, in order (one per step or phase).
std::vector<std::map<int, std::array<double, 6>>> read_unv_steps(const std::string &path, int data_set);

// The GRID points of a small-field or free-field NASTRAN file, by node number.
std::map<int, std::array<double, 3>> read_grid_points(const std::string &path);

// Centroids of the CTETRA cards of a small-field or free-field NASTRAN file (Gmsh's "bdf"), by
// element number, with their property.
struct TET_CENTROID {
  double x[3];
  int property;
};
std::map<int, TET_CENTROID> read_tet_centroids(const std::string &path);

// The tetrahedra of such a file with their corner points, in the order of the CTETRA cards.
struct TET_MESH {
  std::vector<std::array<double, 3>> points; // 0-based, one per GRID point used
  std::vector<std::array<int, 4>> corners;   // 0-based rows into points, one per tetrahedron
  std::vector<int> numbers;                  // element number of each tetrahedron
  std::vector<int> properties;               // its property
  std::size_t size() const { return corners.size(); }
  std::array<double, 3> centroid(std::size_t t) const;
  double volume(std::size_t t) const;
};
TET_MESH read_tet_mesh(const std::string &path);

// A Gmsh export stripped of its physical groups, as for a model that has none: the universal
// file without its dataset 2477, the ABAQUS file without its "*ELSET" lists. What is left still
// names each element's geometric entity.
std::string without_universal_groups(const std::string &text);
std::string without_abaqus_sets(const std::string &text);

} // namespace tesmora::testing
