// Whole static jobs for the tests: a deck made from a few settings, a run of the real
// TesmoraBatch, and readers of what the job leaves (UNV flux density, Gmsh NASTRAN meshes)
// written independently of the program's own readers.
#pragma once

#include <array>
#include <map>
#include <string>
#include <vector>

namespace tesmora::testing {

struct STATIC_DECK {
  std::string stages = "1 1\n1 1"; // PRE_PROCESSING MAKE_SYSTEM_MATRICES / SOLVE_EQUATION POST_PROCESSING
  int tree_gauge = 0;
  int far_boundary = 0;                // 0 fixed, 1 natural
  std::vector<std::string> bn0_planes; // "CX CY CZ C"
  std::vector<std::string>
      materials; // "MAT_ID POTENTIAL B_H_CURVE_ID SIGMA MU PACKING ANISOTROPY IRON_LOSS SIGMA_DEPEND_ID"
  std::string coil_elements; // the element cards of one COIL source
  int no_coil_elements = 1;
  int no_steps = 1;
  int post_data_file = 1;
  int mesh_post = 0;                        // MESH of the post selection: the geometry file
  std::string coordinates = "COORDINATE 0"; // the COORDINATE section
  int post_coordinate = 0;                  // POST_COORDINATE
  int last_output_step = 0;                 // LAST_STEP of the output range; 0: no_steps
  std::string output_materials;             // NUMBER_OUTPUT_MATS, then its list card when not 0
  double iccg_conv = 1e-9;
};

// The deck text.
std::string static_deck(const STATIC_DECK &deck);

// Element or node values of the UNV data set (56 elements, 55 nodes) of the last step in a file:
// number -> six values.
std::map<int, std::array<double, 6>> read_unv_values(const std::string &path, int data_set);

// The GRID points of a small-field or free-field NASTRAN file, by node number.
std::map<int, std::array<double, 3>> read_grid_points(const std::string &path);

// Centroids of the CTETRA cards of a small-field NASTRAN file (Gmsh's "bdf"), by element number,
// with their property.
struct TET_CENTROID {
  double x[3];
  int property;
};
std::map<int, TET_CENTROID> read_tet_centroids(const std::string &path);

} // namespace tesmora::testing
