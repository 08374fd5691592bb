// Helpers of the mesh-import tests: a mesh freed at the end of the scope, element volumes from
// the stored node coordinates, and a guard that restores the control data.
#pragma once

#include "input/control_data_writable.hpp"
#include "mesh/element_transform.hpp"
#include "mesh/gauss.hpp"
#include "mesh/mesh_reader.hpp"

#include <map>

namespace tesmora::testing {

struct ScopedMesh {
  MESHED_MODEL mesh;
  ScopedMesh() = default;
  ScopedMesh(const ScopedMesh &) = delete;
  ScopedMesh &operator=(const ScopedMesh &) = delete;
  ~ScopedMesh() { free_mesh_arrays(mesh); }
};

struct ScopedGauss {
  GAUSS *record = make_gauss(3, 7, 5);
  ScopedGauss() = default;
  ScopedGauss(const ScopedGauss &) = delete;
  ScopedGauss &operator=(const ScopedGauss &) = delete;
  ~ScopedGauss() { free_gauss(record); }
};

struct ScopedControlData {
  CONTROL_DATA saved = writable_control_data();
  ScopedControlData() = default;
  ScopedControlData(const ScopedControlData &) = delete;
  ScopedControlData &operator=(const ScopedControlData &) = delete;
  ~ScopedControlData() { writable_control_data() = saved; }
};

// Volume of a stored element by the Gauss points of its type (a ScopedGauss must be alive).
inline double stored_element_volume(const V_ELEMENT &element) {
  double xyz[max_element_nodes][3];
  for (int i = 0; i < element.type->no_nodes; ++i) {
    const NODE &n = *element.nodes[i];
    xyz[i][0] = n.x, xyz[i][1] = n.y, xyz[i][2] = n.z;
  }
  TRANSFORM_SCRATCH scratch;
  return element_volume(*element.type, xyz, gauss_points(element.type->gauss), scratch);
}

// Sum of element volumes per mat_id.
inline std::map<int, double> volume_per_material(const MESHED_MODEL &mesh) {
  std::map<int, double> volumes;
  for (int i = 0; i < mesh.no_v_elements; ++i)
    volumes[mesh.v_elements[i].mat_id] += stored_element_volume(mesh.v_elements[i]);
  return volumes;
}

// Number of volume elements per type name.
inline std::map<std::string, int> count_per_type(const MESHED_MODEL &mesh) {
  std::map<std::string, int> counts;
  for (int i = 0; i < mesh.no_v_elements; ++i) ++counts[mesh.v_elements[i].type->name];
  return counts;
}

} // namespace tesmora::testing
