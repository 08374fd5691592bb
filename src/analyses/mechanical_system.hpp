// MECHANICAL_SYSTEM: the one-degree-of-freedom equation of a moving part (mass, springs,
// dampers, stops, external coupling) and the reader of its cards.
#pragma once

#include "input/card_reader.hpp"
#include "job/ffile.hpp"

namespace tesmora {

struct PARSED_FUNCTION;

struct SPRING {
  int type = 0;             // 0 linear; 1 force table
  double lower_range = 0.0; // position range where it acts
  double upper_range = 0.0;
  double spring_const = 0.0; // type 0: N/m (or N m/deg for rotation)
  double equil_position = 0.0;
  XY_TABLE *table = nullptr; // type 1: position, force
};

struct DAMPER {
  int type = 0; // 0 c(x) table; 1 force(v) table; 2 polynomial of v
  double lower_range = 0.0;
  double upper_range = 0.0;
  XY_TABLE *table = nullptr; // types 0 and 1
  double c[4] = {};          // type 2: C0 + C1 v + C2 v^2 + C3 v^3
};

struct MECHANICAL_SYSTEM {
  double initial_position = 0.0;
  double position = 0.0; // the present position: the value of a time evolution of this kind
  double initial_velocity = 0.0;
  double velocity = 0.0;
  double old_position = 0.0, old_velocity = 0.0;
  double force = 0.0, old_force = 0.0; // magnetic force
  double position_error = 0.0;
  int PSIM_IN = 0, PSIM_FORCE_OUT = 0, PSIM_POS_OUT = 0, PSIM_V_OUT = 0, PSIM_CONST_F_IN = 0;
  int is_psim = 0;
  double lower_limit = -999.0, upper_limit = -999.0; // -999.0: no stop
  double lower_reflection = 0.0, upper_reflection = 0.0;
  double mass = 0.0;
  double const_force = 0.0;
  double static_friction = 0.0;
  int time_const_force = 0; // time evolution id of the constant force
  double mass_acceleration = 0.0;
  double const_displacement = 0.0;
  int no_springs = 0;
  SPRING *springs = nullptr; // no_springs, 0-based; tag "system->springs"
  int no_dampers = 0;
  DAMPER *dampers = nullptr; // no_dampers, 0-based; tag "system->dampers"
  int math_eq = 0;
  PARSED_FUNCTION *force_function = nullptr; // F(x, v) when math_eq is set
  int motion_type = 0;                       // 1, 2, 3 translation along x, y, z; 4 rotation about the axis
  double region_factor = 0.0;
  int force_type = 0;
  int no_mat_ids = 0;
  int *mat_ids = nullptr;         // no_mat_ids, 0-based; tag "dynamic->region->mats"
  XY_TABLE *mass_table = nullptr; // position, mass; read when MASS is negative
  int mass_option = 0;
  int no_mesh_change = 0;
  int output_flag = 0;
};

// Reads the cards of one mechanical system from `file` into a new record (tag "MECHANICAL_SYSTEM").
MECHANICAL_SYSTEM *read_mechanical_system(FFILE *file);

} // namespace tesmora
