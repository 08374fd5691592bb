// The sum over an external_field's elements, with the source's and the job's motion.
#include "sources/external_field.hpp"

namespace tesmora {

namespace {

// x -> R^T (x - shift): a global point into the frame that moved.
void undo_motion(const RIGID_MOTION *motion, const double in[3], double out[3]) {
  if (!motion) {
    for (int i = 0; i < 3; ++i) out[i] = in[i];
    return;
  }
  const double d[3] = {in[0] - motion->shift[0], in[1] - motion->shift[1], in[2] - motion->shift[2]};
  for (int i = 0; i < 3; ++i)
    out[i] = motion->rotation[0][i] * d[0] + motion->rotation[1][i] * d[1] + motion->rotation[2][i] * d[2];
}

// v -> R v: a vector of the moved frame back in fixed axes.
void redo_rotation(const RIGID_MOTION *motion, double v[3]) {
  if (!motion) return;
  const double in[3] = {v[0], v[1], v[2]};
  for (int i = 0; i < 3; ++i)
    v[i] = motion->rotation[i][0] * in[0] + motion->rotation[i][1] * in[1] + motion->rotation[i][2] * in[2];
}

bool gives_field(const FIELD_ENTRY &entry) {
  if (entry.ndiv == 0) return true;
  const COIL_KIND kind = entry.element->kind();
  return kind == COIL_KIND::RECT || kind == COIL_KIND::RACE;
}

void field_sum(const EXTERNAL_FIELD &field, const COIL_EVALUATION &evaluation, const double point[3],
               bool want_A, double out[3]) {
  double moved[3], q[3];
  undo_motion(evaluation.job_motion, point, moved);
  undo_motion(field.motion, moved, q);
  out[0] = out[1] = out[2] = 0.0;
  for (const FIELD_ENTRY &entry : field.field) {
    if (!gives_field(entry) || entry.element->is_excluded()) continue;
    double p[3], local[3], global[3];
    if (entry.coordinate) {
      point_to_local(entry.coordinate, q, p);
    } else {
      for (int i = 0; i < 3; ++i) p[i] = q[i];
    }
    if (want_A) {
      entry.element->A(p, evaluation.options, local);
    } else {
      entry.element->B(p, evaluation.options, local);
    }
    entry_vector_to_global(entry, local, global);
    for (int i = 0; i < 3; ++i) out[i] += global[i];
  }
  redo_rotation(field.motion, out);
  redo_rotation(evaluation.job_motion, out);
}

} // namespace

void external_field_A(const EXTERNAL_FIELD &field, const COIL_EVALUATION &evaluation, const double point[3],
                      double A_out[3]) {
  field_sum(field, evaluation, point, true, A_out);
}

void external_field_B(const EXTERNAL_FIELD &field, const COIL_EVALUATION &evaluation, const double point[3],
                      double B_out[3]) {
  field_sum(field, evaluation, point, false, B_out);
}

void entry_point_to_global(const FIELD_ENTRY &entry, const double local[3], double global[3]) {
  if (entry.coordinate) {
    point_to_global(entry.coordinate, local, global);
    return;
  }
  for (int i = 0; i < 3; ++i) global[i] = local[i];
}

void entry_vector_to_global(const FIELD_ENTRY &entry, const double local[3], double global[3]) {
  if (entry.coordinate) {
    local_to_global(entry.coordinate, local, global, nullptr);
    return;
  }
  for (int i = 0; i < 3; ++i) global[i] = local[i];
}

} // namespace tesmora
