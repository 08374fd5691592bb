// Mesh import: the driver that fills the model from the job's mesh files, the reader of the
// native "pre_geom" text, the two direct formats and the test for collapsed hexahedra.
//
// Every foreign format is first translated into a "pre_geom" text (mesh/mesh_converters.hpp);
// the readers here then fill one MESHED_MODEL: nodes sorted by identity with coordinates in
// metres, volume and surface elements in file order, their node arrays in one pooled block,
// and the line elements of sliding and nonconformal faces when they are wanted.
#pragma once

#include "job/ffile.hpp"
#include "mesh/model.hpp"

namespace tesmora {

// What a reader needs from the control data: the length unit and the element-code rules.
struct MESH_READ_SETTINGS {
  double unit_factor = 1.0; // metres per file unit (UNIT 0: 1, 1: 0.001, 2: 1e-6)
  int node_order = 1;       // NODE_ORDER: 1 stores every element as its linear type
  int edge_order = 1;       // EDGE_ORDER
  int quad_tri = 0;         // QUAD_TRI
};

// The settings of the job in force, taken from control_data().
MESH_READ_SETTINGS mesh_read_settings();
// Metres per file unit for the card value UNIT: 0 metres, 1 millimetres, 2 micrometres, else 1.
double mesh_unit_factor(int unit);

// Reads the job's meshes into `model` (the head of the model chain): the meshless case, the
// conversion of a foreign file to "pre_geom", the native or direct reading, and the report.
// Parts that this build lacks (block mesher, layered 2-D input, rotor and deformed meshes)
// stop the job with a message that names them.
void read_mesh(MESHED_MODEL &model);

// Reads a native mesh text from `file` (opened for reading) into `mesh`. want_lines 1 keeps the
// line elements (code 102); nodes_only 1 stores the nodes alone (a deformed position). A fault
// (mat_id below 1, a node given twice, an unknown node) writes its message and stops the job.
void read_pre_geom(MESHED_MODEL &mesh, FFILE *file, int want_lines, int nodes_only,
                   const MESH_READ_SETTINGS &settings);
// Format 13: a 2-D point list in millimetres, each point giving a node at z = 0 and one at
// z = 1, and elements of 3 or 4 points that become prisms and hexahedra between the two.
void read_point_list_mesh(MESHED_MODEL &mesh, FFILE *file, const MESH_READ_SETTINGS &settings);
// Format 14: a counted node list and a counted element list.
void read_counted_mesh(MESHED_MODEL &mesh, FFILE *file, const MESH_READ_SETTINGS &settings);

// Tests the 8 node identities of a hexahedron (nodes[0..7], lower face then upper face) for a
// face or side collapsed to one node. When one is found the first six entries are rewritten as
// a collapsed prism (p, q, r, p, s, t) and true is returned; else nothing changes.
bool collapse_hexa(int *nodes);

// Frees the arrays a reader made and zeroes the counts of the mesh.
void free_mesh_arrays(MESHED_MODEL &mesh);

} // namespace tesmora
