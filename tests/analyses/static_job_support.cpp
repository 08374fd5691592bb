// Decks of the whole static jobs of the tests.
#include "static_job_support.hpp"

#include <sstream>

namespace tesmora::testing {

std::string static_deck(const STATIC_DECK &d) {
  std::ostringstream s;
  s << "r12.0\n" << d.stages << "\n";
  s << "1 0 1 0 0 " << d.non_linear << " 0 0\n"; // STATIC STEP AC TRANSIENT MOTION NON_LINEAR ...
  s << "0 0 0 0\n";                              // POTENTIAL NODAL_FORCE_OPTION PHI_OPTION FIXED_COORDINATE
  s << d.tree_gauge << " " << d.regularization << " 1 0 " << d.line_search
    << " 0\n";              // TREE_GAUGE REGULARIZATION RENUMBERING SCALING LINE_SEARCH ...
  s << "1 1 0 0 0 0 0 0\n"; // NODE_ORDER EDGE_ORDER ...
  s << d.iccg_conv << " -1.2 1.0e3 100 0 0.8 0 0 20000\n"; // ICCG_CONV ... SOLVER 0
  s << d.non_linear_card << "\n";
  s << "3 7 " << d.mat_points << "\n";           // POINTS_IN_1D POINT_IN_TRIANGLE MAT_POINTS
  s << "0 0 0.0 0\n";                            // INITIAL_STEP DATA_TYPE INITIAL_PHASE MULTI
  s << d.no_steps << " 0.0 1.0 0 0 0 0 0 0 0\n"; // NO_STEPS INITIAL_TIME DELTA_TIME ...
  s << "1 " << (d.last_output_step ? d.last_output_step : d.no_steps) << " 1 3 0 0 0\n"; // output steps
  s << d.input_mesh_file << " 0 0 0\n"; // INPUT_MESH_FILE UNIT NO_MESH MESHLESS
  if (d.output_materials.empty())
    s << d.post_data_file << " 1 1 0 0 0 0 " << d.post_coordinate << " 0 0\n";
  else
    s << d.post_data_file << " 1 1 " << d.output_materials << "\n"; // POST_DATA_FILE ELEM_OUT NODE_OUT ...
  s << d.mesh_post << " 0 1 0 0 0 0 0 " << d.magnetization << " 0 0 0\n"; // post selection: MAGNETIC
  s << "0 0 0 0 0 0\n0 0 0 0\n0 0 0 0\n";                                 // print tables
  s << "0 0.0 0 0 0.0\n";                                                 // GEOMETRY ...
  s << d.coordinates << "\n";                                             // no local frames
  s << d.far_boundary << "\n1.0e-4\n" << d.bn0_planes.size() << "\n";
  for (const std::string &plane : d.bn0_planes) s << plane << "\n";
  s << d.ht0_planes.size() << "\n";
  for (const std::string &plane : d.ht0_planes) s << plane << "\n";
  s << "0\n0 0 0 0 0.0 0 0\n"; // A0 lines, cyclic
  s << d.materials.size() << " 0 0\n";
  for (const std::string &m : d.materials) s << m << "\n";
  s << "SOURCE\nCOIL 1 1 " << d.no_coil_elements << " 0 0 0\n" << d.coil_elements << "\nEND\nEND\n";
  s << "1 0\n1 0\n1 0 0 0 0 0 0\n0 0 0\n"; // time evolution 1: constant 1
  s << d.bh_curves;
  return s.str();
}

} // namespace tesmora::testing
