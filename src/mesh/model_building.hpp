// Model building: element materials, edges with their orientation, conductor marks, the
// surfaces between regions and the outer boundary, and the tree gauge.
#pragma once

#include "mesh/boundary.hpp"
#include "mesh/model.hpp"

#include <utility>
#include <vector>

namespace tesmora {

// Points every volume element at its material and takes the material's region and conductor
// flag; an unknown id ends the job with "***** mat_property %d is not found to v_element %d ".
// With scalar_regions on, the material's POTENTIAL makes the element a potential-only region.
void bind_model_materials(MESHED_MODEL &part, bool scalar_regions);
// Warns on the terminal of every material of the table that no volume element of any part of
// the chain has: legal input, but usually a mistyped id in the deck or the mesh.
void warn_unused_materials(const MESHED_MODEL &first_part);

// Makes the edges of a part: each edge runs as the first element that meets it, in element
// order, sees it locally. Elements of potential-only regions get none.
void make_edges(MESHED_MODEL &part);
// Mesh numbers on all nodes, on_cnd on the nodes of conductors.
void mark_conductor_nodes(MESHED_MODEL &part);
// Faces on Ht=0 and Bn=0 planes, inner pairs (interfaces between regions become surface
// elements), A=0 lines, and the outer boundary: the faces that find no partner.
void find_surfaces(MESHED_MODEL &part, const BOUNDARY_DATA &boundary);
// The gauge tree of TREE_GAUGE (-2 to 4).
void make_tree(MESHED_MODEL &part, int tree_gauge, int far_boundary_condition);

// All of model making for each part of the chain, in order.
void make_model(MESHED_MODEL &first_part, const BOUNDARY_DATA &boundary, int tree_gauge, bool scalar_regions);

// Counts of a part's faces, for checks: every face once, outer faces, faces between regions.
struct FACE_COUNTS {
  long long faces = 0;
  long long outer_faces = 0;
};
FACE_COUNTS count_faces(const MESHED_MODEL &part);

// The pairs of material ids (first < second, sorted, each once) whose volume elements share a
// face somewhere in the part.
std::vector<std::pair<int, int>> find_region_neighbours(const MESHED_MODEL &part);

} // namespace tesmora
