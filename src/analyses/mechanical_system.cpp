// Reading of the cards of a mechanical system.
#include "analyses/mechanical_system.hpp"

#include "input/expression_parser.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"

namespace tesmora {
namespace {

void read_springs(FFILE *file, MECHANICAL_SYSTEM &system) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  for (int k = 0; k < system.no_springs; ++k) {
    SPRING &spring = system.springs[k];
    read_card(file, "%d %lf %lf ", "* SPRING_TYPE  * LOWER_RANGE * UPPER_RANGE * \n", &v[0], &r[0], &r[1]);
    if (!is_flag(v[0])) card_error(file);
    spring.type = v[0];
    spring.lower_range = r[0];
    spring.upper_range = r[1];
    if (spring.type == 0) {
      read_card(file, "%lf %lf ", "* SPRING_CONST *  EQUIL_POSITION * \n", &r[0], &r[1]);
      spring.spring_const = r[0];
      spring.equil_position = r[1];
    } else {
      read_card(file, "%d", "* NO_POINTS *\n", &v[0]);
      if (v[0] < 1) card_error(file);
      spring.table = read_xy_table(file, k + 1, v[0], "* POSITION * FORCE *\n", 2);
    }
  }
}

void read_dampers(FFILE *file, MECHANICAL_SYSTEM &system) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  for (int k = 0; k < system.no_dampers; ++k) {
    DAMPER &damper = system.dampers[k];
    read_card(file, "%d %lf %lf ", "* DAMPER_TYPE * LOWER_RANGE * UPPER_RANGE * \n", &v[0], &r[0], &r[1]);
    if (v[0] < 0 || v[0] > 2) card_error(file);
    damper.type = v[0];
    damper.lower_range = r[0];
    damper.upper_range = r[1];
    if (damper.type == 2) {
      read_card(file, "%lf %lf %lf %lf", "* C0 * C1 * C2 * C3 *\n", &damper.c[0], &damper.c[1], &damper.c[2],
                &damper.c[3]);
    } else {
      read_card(file, "%d", "* NO_POINTS *\n", &v[0]);
      if (v[0] < 1) card_error(file);
      damper.table = read_xy_table(file, k + 1, v[0],
                                   damper.type == 0 ? "* POSITION * C1 *\n" : "* VELOCITY * FORCE *\n", 2);
    }
  }
}

// The start card: initial position and velocity, the position tolerance and the PSIM switches.
void read_initial_state(FFILE *file, MECHANICAL_SYSTEM &s) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  read_card(
      file, "%lf %lf %lf %d %d %d %d %d",
      "*  INITIAL_POSITION  * INITIAL_VELOCITY  * POSITION_ERROR * PSIM_IN * PSIM_FORCE_OUT * PSIM_POS_OUT * "
      "PSIM_V_OUT * PSIM_CONST_F_IN *\n",
      &r[0], &r[1], &r[2], &v[0], &v[1], &v[2], &v[3], &v[4]);
  s.initial_position = s.position = s.old_position = r[0];
  s.initial_velocity = s.velocity = s.old_velocity = r[1];
  s.position_error = r[2];
  s.PSIM_IN = v[0];
  s.PSIM_FORCE_OUT = v[1];
  s.PSIM_POS_OUT = v[2];
  s.PSIM_V_OUT = v[3];
  s.PSIM_CONST_F_IN = v[4];
  s.is_psim = v[0] || v[1] || v[2] || v[3] || v[4] ? 1 : 0;
}

// The limits of the motion with their reflections, then the mass and the constant force.
void read_limits_and_mass(FFILE *file, MECHANICAL_SYSTEM &s) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  read_card(file, "%lf %lf %lf %lf ",
            "*  LOWER_LIMIT  * UPPER_LIMIT * LOWER_REFLECTION * UPPER_REFRECTION *\n", &r[0], &r[1], &r[2],
            &r[3]);
  s.lower_limit = r[0];
  s.upper_limit = r[1];
  s.lower_reflection = r[2];
  s.upper_reflection = r[3];

  read_card(file, "%lf %lf %lf %d %lf %lf",
            "*    MASS    * CONST_FORCE  * STATIC_FRICTION * TIME_CONST_FORCE * MASS_ACCELERATION * "
            "CONST_DISPLACEMENT *\n",
            &r[0], &r[1], &r[2], &v[0], &r[3], &r[4]);
  s.mass = r[0];
  s.const_force = r[1];
  s.static_friction = r[2];
  s.time_const_force = v[0];
  s.mass_acceleration = r[3];
  s.const_displacement = r[4];
}

// The counts of springs and dampers with their tables.
void read_springs_and_dampers(FFILE *file, MECHANICAL_SYSTEM &s) {
  int *v = card_scratch().card_ints;
  read_card(file, "%d %d %d", "* NO_SPRINGS * NO_DAMPERS * MATH_EQ *\n", &v[0], &v[1], &v[2]);
  if (v[0] < 0 || v[1] < 0) card_error(file);
  s.no_springs = v[0];
  s.no_dampers = v[1];
  s.math_eq = v[2];
  s.springs = static_cast<SPRING *>(
      calloc_named(static_cast<std::uint64_t>(s.no_springs), sizeof(SPRING), "system->springs"));
  s.dampers = static_cast<DAMPER *>(
      calloc_named(static_cast<std::uint64_t>(s.no_dampers), sizeof(DAMPER), "system->dampers"));
  for (int k = 0; k < s.no_springs; ++k) s.springs[k] = SPRING{};
  for (int k = 0; k < s.no_dampers; ++k) s.dampers[k] = DAMPER{};
  read_springs(file, s);
  read_dampers(file, s);
}

// The moving region: the kind of motion, its materials and the force that drives it.
void read_motion_region(FFILE *file, MECHANICAL_SYSTEM &s) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  read_card(file, "%d %lf %d %d", "* MOTION_TYPE   *  REGION_FACTOR  *  NO_MAT_IDS * FORCE_TYPE *\n", &v[0],
            &r[0], &v[1], &v[2]);
  if (v[0] < 1 || v[0] > 4 || v[1] < 0) card_error(file);
  s.motion_type = v[0];
  s.region_factor = r[0];
  s.no_mat_ids = v[1];
  s.force_type = v[2];
  s.mat_ids = calloc_int(static_cast<std::uint64_t>(s.no_mat_ids), "dynamic->region->mats");
  read_int_list(file, "* MAT_IDS *\n", s.no_mat_ids, s.mat_ids);
}

} // namespace

MECHANICAL_SYSTEM *read_mechanical_system(FFILE *file) {
  auto *system =
      static_cast<MECHANICAL_SYSTEM *>(calloc_named(1, sizeof(MECHANICAL_SYSTEM), "MECHANICAL_SYSTEM"));
  *system = MECHANICAL_SYSTEM{};
  MECHANICAL_SYSTEM &s = *system;
  read_initial_state(file, s);
  read_limits_and_mass(file, s);
  read_springs_and_dampers(file, s);
  read_motion_region(file, s);
  if (s.math_eq != 0) {
    write_check("* FUNCTION F(x, v)  * x(m), v(m/s), F(N) or x(deg), v(deg/sec), F(N/m) *\n");
    const char *const variables[] = {"x", "v"};
    s.force_function = parse_functions(file, variables, nullptr, nullptr, 0);
  }
  // A negative mass asks for the mass as a table of the position.
  if (s.mass < 0.0) {
    int *v = card_scratch().card_ints;
    read_card(file, "%d %d", "* NO_POINTS * OPTION *\n", &v[0], &v[1]);
    if (v[0] < 1) card_error(file);
    s.mass_option = v[1];
    s.mass_table = read_xy_table(file, 0, v[0], "* POSITION * MASS *\n", 2);
  }
  return system;
}

} // namespace tesmora
