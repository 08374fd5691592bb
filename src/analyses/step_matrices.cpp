// The theta-method pair of a transient step and the complex matrix of an AC solve.
#include "analyses/step_matrices.hpp"

#include "equations/matrix_profile.hpp"
#include "job/block_io.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "job/tagged_array.hpp"

#include <algorithm>
#include <cstdint>

namespace tesmora {
namespace {

// Values move from the file a slice at a time, so that a whole matrix is never read beside the
// arrays being made.
constexpr std::int64_t slice_values = 1 << 16;

void read_values(double *to, std::int64_t count, FFILE *file) {
  if (count > 0 && read_blocks(to, sizeof(double), static_cast<std::uint64_t>(count), file) != 1) {
    write_fault("FREAD error!\n");
    stop_job(1);
  }
}

// Reads the next matrix of the file (size values) and adds factor times it to out[stride k +
// offset], k = 0 .. size - 1; with `assign` the values are stored, not added.
void stream_matrix(FFILE *file, std::int64_t size, double factor, double *out, int stride, int offset,
                   bool assign) {
  TaggedArray<double> slice(std::min(std::max<std::int64_t>(size, 1), slice_values), "read_write_buffer");
  for (std::int64_t first = 0; first < size; first += slice_values) {
    const std::int64_t count = std::min(slice_values, size - first);
    read_values(slice.data(), count, file);
    for (std::int64_t k = 0; k < count; ++k) {
      double &value = out[stride * (first + k) + offset];
      value = assign ? factor * slice[k] : value + factor * slice[k];
    }
  }
}

// The matrix `values` with `profile`, written to `out`.
void write_with_profile(FFILE *out, const MATRIX_PROFILE &profile, const double *values) {
  open_ffile(out, "w");
  write_matrix_profile(out, &profile);
  write_blocks(values, sizeof(double), static_cast<std::uint64_t>(profile.size), out);
  close_ffile(out);
}

} // namespace

void make_r_t_matrices(FFILE *system_matrices, double theta, double delta_t, double *r, double *t) {
  // The profile is read once, kept for the two files, and skipped on the second pass.
  open_ffile(system_matrices, "r");
  MATRIX_PROFILE *profile = read_matrix_profile(system_matrices, nullptr);
  const std::int64_t size = profile->size;
  stream_matrix(system_matrices, size, -(1.0 - theta), r, 1, 0, true);
  stream_matrix(system_matrices, size, 1.0 / delta_t, r, 1, 0, false);
  open_ffile(system_matrices, "r"); // rewinds
  skip_matrix_profile(system_matrices);
  stream_matrix(system_matrices, size, theta, t, 1, 0, true);
  stream_matrix(system_matrices, size, 1.0 / delta_t, t, 1, 0, false);
  close_ffile(system_matrices);
  RUN_FILES &files = run_files();
  write_with_profile(files.system_r_matrix, *profile, r);
  write_with_profile(files.system_t_matrix, *profile, t);
  free_matrix_profile(&profile);
}

void make_complex_matrix(FFILE *system_matrices, double omega, int ac_mode, double *a) {
  open_ffile(system_matrices, "r");
  MATRIX_PROFILE *profile = read_matrix_profile(system_matrices, nullptr);
  const std::int64_t size = profile->size;
  free_matrix_profile(&profile);
  for (std::int64_t k = 0; k < size; ++k) a[2 * k + 1] = 0.0;
  stream_matrix(system_matrices, size, 1.0, a, 2, 0, true);
  if (ac_mode == 2) stream_matrix(system_matrices, size, 1.0, a, 2, 1, false);
  stream_matrix(system_matrices, size, omega, a, 2, 1, false);
  close_ffile(system_matrices);
}

} // namespace tesmora
