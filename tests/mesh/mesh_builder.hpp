// Small structured meshes of every element family, built in the tests from node positions.
#pragma once

#include "mesh/model.hpp"

#include <array>
#include <map>
#include <vector>

namespace tesmora::testing {

using POINT = std::array<double, 3>;

// Collects elements given by the positions of their nodes (in catalogue order) and makes a
// MESHED_MODEL whose arrays come from the tagged allocator (free with free_model_arrays).
class MESH_BUILDER {
public:
  void add(const V_ELEMENT_TYPE &type, const std::vector<POINT> &positions, int mat_id = 1);
  MESHED_MODEL build() const;

  // Structured grids of n x n x n cubes of side h, split into each family.
  static MESH_BUILDER hexahedra(int n, double h);
  static MESH_BUILDER tetrahedra(int n, double h);
  static MESH_BUILDER prisms(int n, double h);
  static MESH_BUILDER pyramids(int n, double h);

  // Turns every position by the rotation matrix r (row-major) before building.
  void rotate(const std::array<double, 9> &r);

private:
  struct ELEMENT {
    const V_ELEMENT_TYPE *type;
    std::vector<int> nodes; // indices into points
    int mat_id;
  };
  int node_at(const POINT &p);
  std::map<std::array<long long, 3>, int> index_;
  std::vector<POINT> points_;
  std::vector<ELEMENT> elements_;
};

// Makes the model (edges, surfaces, flags; materials must be read) with a natural boundary and
// the given tree (-1: none, so every edge is an unknown) and numbers its unknowns; returns their
// count.
int number_natural_model(MESHED_MODEL &model, int tree_gauge = -1, bool uses_phi = false);
// The same with the outer faces fixed (far boundary condition 0: their edges are no unknowns) or
// natural (1).
int number_model(MESHED_MODEL &model, int far_boundary_condition, int tree_gauge = -1, bool uses_phi = false);

} // namespace tesmora::testing
