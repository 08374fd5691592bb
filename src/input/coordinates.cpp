// Coordinate frames: reading, look-up and the transforms of vectors and points.
#include "input/coordinates.hpp"

#include "input/card_reader.hpp"
#include "job/report.hpp"

#include <cmath>

namespace tesmora {
namespace {

std::vector<COORDINATE> the_coordinates;
constexpr COORDINATE global_frame{};

double dot(const double a[3], const double b[3]) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

void cross(const double a[3], const double b[3], double out[3]) {
  out[0] = a[1] * b[2] - a[2] * b[1];
  out[1] = a[2] * b[0] - a[0] * b[2];
  out[2] = a[0] * b[1] - a[1] * b[0];
}

void normalise(double v[3]) {
  const double length = std::sqrt(dot(v, v));
  if (length == 0.0) return;
  for (int i = 0; i < 3; ++i) v[i] /= length;
}

// Cosine and sine of the angle of a position about a cylindrical frame's axis; (1, 0) on it.
void cylinder_angle(const COORDINATE &frame, const double *position, double &c, double &s) {
  double p[3];
  for (int i = 0; i < 3; ++i) p[i] = position[i] - frame.origin[i];
  const double x = dot(p, frame.ex);
  const double y = dot(p, frame.ey);
  const double r = std::sqrt(x * x + y * y);
  c = r == 0.0 ? 1.0 : x / r;
  s = r == 0.0 ? 0.0 : y / r;
}

} // namespace

const std::vector<COORDINATE> &coordinates() { return the_coordinates; }

COORDINATE make_coordinate(int id, int type, const double origin[3], const double x_axis[3],
                           const double z_axis[3]) {
  COORDINATE frame;
  frame.id = id;
  frame.type = type;
  for (int i = 0; i < 3; ++i) {
    frame.origin[i] = origin[i];
    frame.ez[i] = z_axis[i];
  }
  normalise(frame.ez);
  const double along = dot(x_axis, frame.ez);
  for (int i = 0; i < 3; ++i) frame.ex[i] = x_axis[i] - along * frame.ez[i];
  normalise(frame.ex);
  cross(frame.ez, frame.ex, frame.ey);
  return frame;
}

void read_coordinates(FFILE *file) {
  int *v = card_scratch().card_ints;
  double *r = card_scratch().card_reals;
  char keyword[card_length + 1] = {};
  read_card(file, "%s %d", "*COORDINATE * NO_COORDINATES *\n", keyword, &v[0]);
  if (!same_prefix(keyword, "COORDINATE", 5) || v[0] < 0) card_error(file);
  const int count = v[0];
  the_coordinates.clear();
  for (int k = 0; k < count; ++k) {
    read_card(file, "%d %d %lf %lf %lf", "*  COORD_ID  *   TYPE      *    X0    *    Y0     *   Z0    *\n",
              &v[0], &v[1], &r[0], &r[1], &r[2]);
    if (v[0] < 1 || (v[1] != 1 && v[1] != 2)) card_error(file);
    const int id = v[0];
    const int type = v[1];
    const double origin[3] = {r[0], r[1], r[2]};
    double x_axis[3];
    double z_axis[3];
    read_card(file, "%lf %lf %lf", "*                           *    EX_X  *    EX_Y   *   EX_Z  *\n",
              &x_axis[0], &x_axis[1], &x_axis[2]);
    read_card(file, "%lf %lf %lf", "*                           *    EZ_X  *    EZ_Y   *   EZ_Z  *\n",
              &z_axis[0], &z_axis[1], &z_axis[2]);
    the_coordinates.push_back(make_coordinate(id, type, origin, x_axis, z_axis));
  }
}

const COORDINATE *find_coordinate(int id) {
  if (id == 0) return &global_frame;
  for (const COORDINATE &frame : the_coordinates)
    if (frame.id == id) return &frame;
  write_fault("**** Coordinate ID %d is not found. *******\n", id);
  stop_job(1);
}

void global_to_local(const COORDINATE *frame, const double in[3], double out[3], const double *position) {
  if (!frame || frame->type == 0) {
    for (int i = 0; i < 3; ++i) out[i] = in[i];
    return;
  }
  const double u[3] = {dot(frame->ex, in), dot(frame->ey, in), dot(frame->ez, in)};
  out[0] = u[0];
  out[1] = u[1];
  out[2] = u[2];
  if (frame->type == 2 && position) {
    double c = 1.0;
    double s = 0.0;
    cylinder_angle(*frame, position, c, s);
    out[0] = c * u[0] + s * u[1];
    out[1] = c * u[1] - s * u[0];
  }
}

void local_to_global(const COORDINATE *frame, const double in[3], double out[3], const double *position) {
  if (!frame || frame->type == 0) {
    for (int i = 0; i < 3; ++i) out[i] = in[i];
    return;
  }
  double u[3] = {in[0], in[1], in[2]};
  if (frame->type == 2 && position) {
    double c = 1.0;
    double s = 0.0;
    cylinder_angle(*frame, position, c, s);
    u[0] = c * in[0] - s * in[1];
    u[1] = s * in[0] + c * in[1];
  } else if (frame->type != 1 && frame->type != 2) {
    u[0] = u[1] = u[2] = 0.0;
  }
  for (int i = 0; i < 3; ++i) out[i] = u[0] * frame->ex[i] + u[1] * frame->ey[i] + u[2] * frame->ez[i];
}

void point_to_global(const COORDINATE *frame, const double in[3], double out[3]) {
  for (int i = 0; i < 3; ++i)
    out[i] = frame->origin[i] + in[0] * frame->ex[i] + in[1] * frame->ey[i] + in[2] * frame->ez[i];
}

void point_to_local(const COORDINATE *frame, const double in[3], double out[3]) {
  double p[3];
  for (int i = 0; i < 3; ++i) p[i] = in[i] - frame->origin[i];
  out[0] = dot(p, frame->ex);
  out[1] = dot(p, frame->ey);
  out[2] = dot(p, frame->ez);
}

COORDINATE coordinate_from_axis(const COORDINATE &frame, const double axis[3]) {
  if (frame.type == 2) return frame;
  COORDINATE made;
  made.type = 1;
  for (int i = 0; i < 3; ++i) made.origin[i] = frame.origin[i];
  local_to_global(frame.type != 0 ? &frame : nullptr, axis, made.ez, nullptr);
  normalise(made.ez);
  if (made.ez[2] > -0.5 && made.ez[2] < 0.5) {
    made.ex[0] = -made.ez[1];
    made.ex[1] = made.ez[0];
    made.ex[2] = 0.0;
  } else {
    made.ex[0] = made.ez[2];
    made.ex[1] = 0.0;
    made.ex[2] = -made.ez[0];
  }
  normalise(made.ex);
  cross(made.ez, made.ex, made.ey);
  return made;
}

} // namespace tesmora
