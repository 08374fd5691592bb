// Decks of the whole jobs of the tests.
#include "static_job_support.hpp"

#include <sstream>

namespace tesmora::testing {

std::string static_deck(const STATIC_DECK &d) {
  std::ostringstream s;
  s << "r12.0\n" << d.stages << "\n";
  // STATIC STEP AC TRANSIENT MOTION NON_LINEAR ...: neither STATIC nor AC is a transient job.
  const bool ac = d.analysis == "ac", transient = d.analysis == "transient";
  s << (ac || transient ? "0 0 " : "1 0 ") << (ac ? 1 : 0) << " " << (transient ? 1 : 0) << " 0 "
    << d.non_linear << " 0 0\n";
  s << "0 0 0 0\n"; // POTENTIAL NODAL_FORCE_OPTION PHI_OPTION FIXED_COORDINATE
  s << d.tree_gauge << " " << d.regularization << " 1 0 " << d.line_search
    << " 0\n";              // TREE_GAUGE REGULARIZATION RENUMBERING SCALING LINE_SEARCH ...
  s << "1 1 0 0 0 0 0 0\n"; // NODE_ORDER EDGE_ORDER ...
  s << d.iccg_conv << " -1.2 1.0e3 100 0 " << d.theta << " 0 0 20000\n"; // ICCG_CONV ... SOLVER 0 THETA
  s << d.non_linear_card << "\n";
  s << "3 7 " << d.mat_points << "\n"; // POINTS_IN_1D POINT_IN_TRIANGLE MAT_POINTS
  s << "0 0 0.0 0\n";                  // INITIAL_STEP DATA_TYPE INITIAL_PHASE MULTI
  if (ac) {
    s << d.frequency_card << "\n" << d.phase_card << "\n";
  } else {
    s << d.no_steps << " 0.0 " << d.delta_time << " 0 " << d.cycle << " 0 0 0 " << d.tp_step
      << " 0\n"; // NO_STEPS INITIAL_TIME DELTA_TIME NO_DATA CYCLE N_CORRECT N_BACK TP_EEC_OPTION TP_STEP ...
    s << "1 " << (d.last_output_step ? d.last_output_step : d.no_steps) << " 1 3 0 0 0\n"; // output steps
  }
  s << d.input_mesh_file << " 0 0 0\n"; // INPUT_MESH_FILE UNIT NO_MESH MESHLESS
  if (d.output_materials.empty())
    s << d.post_data_file << " 1 " << d.node_out << " 0 0 0 0 " << d.post_coordinate << " 0 0\n";
  else
    s << d.post_data_file << " 1 " << d.node_out << " " << d.output_materials
      << "\n"; // POST_DATA_FILE ELEM_OUT NODE_OUT ...
  // MESH CURRENT MAGNETIC FORCE_J_B FORCE_NODAL DISP ELEM HEAT MAGNETIZATION IRON_LOSS E COIL_FORCE
  s << d.mesh_post << " " << d.current << " 1 0 0 0 0 " << d.heat << " " << d.magnetization << " 0 "
    << d.electric << " 0\n";
  s << "0 0 0 0 0 0\n0 " << d.print_heat << " 0 0\n0 0 0 0\n"; // print tables: Q_AVERAGE HEAT ...
  s << "0 0.0 0 0 0.0\n";                                      // GEOMETRY ...
  s << d.coordinates << "\n";                                  // no local frames
  s << d.far_boundary << "\n1.0e-4\n" << d.bn0_planes.size() << "\n";
  for (const std::string &plane : d.bn0_planes) s << plane << "\n";
  s << d.ht0_planes.size() << "\n";
  for (const std::string &plane : d.ht0_planes) s << plane << "\n";
  s << "0\n0 0 0 0 0.0 0 0\n"; // A0 lines, cyclic
  s << d.materials.size() << " 0 0\n";
  for (const std::string &m : d.materials) s << m << "\n";
  s << "SOURCE\nCOIL 1 1 " << d.no_coil_elements << " 0 0 0\n" << d.coil_elements << "\nEND\nEND\n";
  s << d.time_evolutions;
  s << d.bh_curves;
  return s.str();
}

} // namespace tesmora::testing
