// Reading of the boundary section and the plane and line tests.
#include "mesh/boundary.hpp"

#include "input/card_reader.hpp"
#include "input/control_data.hpp"
#include "job/report.hpp"

#include <cmath>

namespace tesmora {
namespace {

BOUNDARY_DATA the_boundary;

std::vector<PLANE> read_planes(FFILE *file, const char *title) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  read_card(file, "%d", title, &v[0]);
  if (v[0] < 0) card_error(file);
  std::vector<PLANE> planes(static_cast<std::size_t>(v[0]));
  for (PLANE &plane : planes) {
    read_card(file, "%lf %lf %lf %lf", "*     CX        *       CY        *      CZ       *      C(m)   *\n",
              &r[0], &r[1], &r[2], &r[3]);
    plane = PLANE{r[0], r[1], r[2], r[3]};
  }
  return planes;
}

// The card that opens the cyclic data. Cyclic symmetry itself is read by its own reader.
void read_cyclic_card(FFILE *file, const CONTROL_DATA &control) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  read_card(
      file, "%d %d %d %d %lf %d %d %d",
      control.sliding_motion
          ? "* CYCLIC  *  SYMMETRICITY * SLIDE_NDIV * SLIDE_MAT_ID * FITTNESS * LINE_INPUT * N_CYCLIC *\n"
          : "* CYCLIC  *  SYMMETRICITY * DIVISION * SURFACE_MAT_ID * FITTNESS * LINE_INPUT * N_CYCLIC *\n",
      &v[0], &v[1], &v[2], &v[3], &r[0], &v[4], &v[5], &v[6]);
  if (v[0] < 0 || v[0] > 5) card_error(file);
  the_boundary.cyclic = v[0] != 0 || v[5] != 0;
  if (the_boundary.cyclic) stop_at_unbuilt(UNBUILT::input_data, "cyclic symmetry");
}

} // namespace

const BOUNDARY_DATA &boundary_data() { return the_boundary; }

void read_boundary_data(FFILE *file) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  BOUNDARY_DATA &b = the_boundary;
  b = BOUNDARY_DATA{};
  read_card(file, "%d", "* FAR_BOUNDARY_CONDITION \n", &v[0]);
  if (v[0] < 0) card_error(file);
  b.far_boundary_condition = v[0];
  if (b.far_boundary_condition == 2) {
    read_card(file, "%d %lf %lf %lf %d", "* NO_BE_TERMS * BE_CENTER X(m), Y(m), Z(m) * NORMAL *\n", &v[0],
              &r[0], &r[1], &r[2], &v[1]);
    if (card_scratch().fields_read < 1) v[0] = 3;
    if (v[0] < 0 || (v[1] != 0 && v[1] != -1)) card_error(file);
    b.no_be_terms = v[0];
    b.be_center[0] = r[0];
    b.be_center[1] = r[1];
    b.be_center[2] = r[2];
    b.be_normal = v[1];
  }
  read_card(file, "%lf", "* DISTANCE_JUDGE(m) *\n", &r[0]);
  if (!(r[0] > 0.0)) card_error(file);
  b.distance_judge = r[0];
  b.distance_judge_squared = r[0] * r[0];
  b.bn0_planes = read_planes(file, "* NO_BN0_PLANES *\n");
  b.ht0_planes = read_planes(file, "* NO_HT0_PLANES *\n");
  read_card(file, "%d", "* NO_A0_LINES *\n", &v[0]);
  if (v[0] < 0) card_error(file);
  b.a_fixed_lines.assign(static_cast<std::size_t>(v[0]), A_FIXED_LINE{});
  for (A_FIXED_LINE &line : b.a_fixed_lines) {
    read_card(file, "%lf %lf %lf %lf %lf %lf",
              "*    SX(m) *    SY(m)  *    SZ(m)  *    EX(m)  *    EY(m)  *    EZ(m)  *\n", &r[0], &r[1],
              &r[2], &r[3], &r[4], &r[5]);
    line = A_FIXED_LINE{{r[0], r[1], r[2]}, {r[3], r[4], r[5]}};
  }
  read_cyclic_card(file, control_data());
}

const PLANE *on_plane(const double (*points)[3], int count, const std::vector<PLANE> &planes,
                      double distance_judge_squared) {
  for (const PLANE &plane : planes) {
    bool all = true;
    for (int k = 0; k < count && all; ++k) {
      const double value =
          plane.cx * points[k][0] + plane.cy * points[k][1] + plane.cz * points[k][2] + plane.c;
      all = value * value < distance_judge_squared;
    }
    if (all) return &plane;
  }
  return nullptr;
}

bool on_line(const double point[3], const A_FIXED_LINE &line, int mode, double distance_judge_squared) {
  const double *s = line.start;
  const double *e = line.end;
  if (mode == 1) {
    const double start_norm = s[0] * s[0] + s[1] * s[1] + s[2] * s[2];
    const double end_norm = e[0] * e[0] + e[1] * e[1] + e[2] * e[2];
    if (end_norm < start_norm) std::swap(s, e);
  }
  double d[3];
  double p[3];
  for (int i = 0; i < 3; ++i) {
    d[i] = e[i] - s[i];
    p[i] = point[i] - s[i];
  }
  const double dd = d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
  const double pd = p[0] * d[0] + p[1] * d[1] + p[2] * d[2];
  const double pp = p[0] * p[0] + p[1] * p[1] + p[2] * p[2];
  // Mode 1 compares a length with the squared tolerance; inputs have always been judged so.
  const double value = mode == 0 ? pp - pd * pd / dd : std::sqrt(pp) - pd / std::sqrt(dd);
  return value < distance_judge_squared;
}

bool is_on_axis(const double point[3], double distance_judge_squared) {
  return point[0] * point[0] + point[1] * point[1] < distance_judge_squared;
}

} // namespace tesmora
