// B-H curves: reading, energy table, and the evaluation routines.
#include "materials/bh_curve.hpp"

#include "input/card_reader.hpp"
#include "input/control_data.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "job/terminal.hpp"
#include "materials/material_tables.hpp"

#include <cmath>

namespace tesmora {
namespace {

B_H_CURVES the_curves;

// H on the segment i at b, and the segment's slope dH/dB.
void segment_field(const B_H_CURVE &c, int i, double b, double *h, double *slope) {
  *slope = (c.H[i] - c.H[i - 1]) / (c.B[i] - c.B[i - 1]);
  *h = (b - c.B[i - 1]) * *slope + c.H[i - 1];
}

// A slope that is too steep, flat or falling is replaced by the largest reluctivity.
double clamped_slope(double slope) { return slope > nu_max || !(slope > 0.0) ? nu_max : slope; }

// nu I + (slope - nu) B Bt / b^2 from the real vector v of magnitude b.
void write_tangent(double nu, double slope, const double v[3], double b2, double tangent[9]) {
  const double factor = (slope - nu) / b2;
  for (int r = 0; r < 3; ++r)
    for (int c = 0; c < 3; ++c) tangent[3 * r + c] = (r == c ? nu : 0.0) + factor * v[r] * v[c];
}

void write_diagonal(double value, double tangent[9]) {
  for (int k = 0; k < 9; ++k) tangent[k] = k % 4 == 0 ? value : 0.0;
}

double energy_at(const B_H_CURVE &c, int i, double b, double h) {
  return c.energy[i - 1] + 0.5 * (c.B[i - 1] + b) * (h - c.H[i - 1]);
}

void read_one_curve(FFILE *file, B_H_CURVE &curve) {
  int *v = card_scratch().card_ints;
  read_card(file, "%d %d", "* BH_CURVE_ID * NO_DATA *\n", &v[0], &v[1]);
  if (v[0] < 1 || v[1] < 2) card_error(file);
  curve.id = v[0];
  curve.no_data = v[1];
  curve.H = calloc_double(static_cast<std::uint64_t>(curve.no_data), "b_h_curve->H");
  curve.B = calloc_double(static_cast<std::uint64_t>(curve.no_data), "b_h_curve->B");
  curve.energy = calloc_double(static_cast<std::uint64_t>(curve.no_data), "b_h_curve->energy");
  write_check("*   H_AT/M     *      B_T    *\n");
  bool flat_told = false; // the terminal hears of a flat piece once per curve
  for (int i = 0; i < curve.no_data; ++i) {
    double h = 0.0;
    double b = 0.0;
    const int fields = read_card(file, "%lf %lf", nullptr, &h, &b);
    // The curve starts exactly at the origin; a not-a-number fails every comparison.
    if (i == 0 && !(fields == 2 && h == 0.0 && b == 0.0)) card_error(file);
    if (i > 0 && !(h > 0.0 && b > 0.0)) card_error(file);
    curve.H[i] = h;
    curve.B[i] = b;
    if (i > 0 && (b - curve.B[i - 1]) / (h - curve.H[i - 1]) / mu0 < 1.0) {
      write_report(run_files().print_out ? run_files().print_out->stream : nullptr,
                   "Warning:Differential relative permeability is less than 1.\n");
      if (!flat_told)
        write_terminal("warning: B-H curve %d: differential relative permeability below 1 from point %d "
                       "(H %g A/m, B %g T) on\n",
                       curve.id, i + 1, h, b);
      flat_told = true;
    }
  }
  make_energy_table(curve);
}

// True when another card follows in the file; the file stays where it was.
bool has_more_cards(FFILE *file) {
  const long at = std::ftell(file->stream);
  char line[card_length + 1];
  const bool more = read_line(line, sizeof line, file->stream) != nullptr;
  std::fseek(file->stream, at, SEEK_SET);
  return more;
}

} // namespace

const B_H_CURVES &b_h_curves() { return the_curves; }

void make_energy_table(B_H_CURVE &c) {
  for (int i = 0; i < c.no_data; ++i)
    c.energy[i] =
        c.B[i] == 0.0 || i == 0 ? 0.0 : c.energy[i - 1] + 0.5 * (c.B[i] + c.B[i - 1]) * (c.H[i] - c.H[i - 1]);
}

void read_b_h_curves(FFILE *file) {
  if (!has_more_cards(file)) {
    bind_curves();
    return;
  }
  int *v = card_scratch().card_ints;
  read_card(file, "%d %d %d %d %d",
            "* NO_CURVES * NO_T_DEPEND_CURVES * NO_2D_B_H * NO_B_H_MAGNET_CURVES * "
            "NO_T_DEPEND_B_H_MAGNET_CURVES *\n",
            &v[0], &v[1], &v[2], &v[3], &v[4]);
  if (v[0] < 0 || v[1] < 0 || v[2] < 0 || v[3] < 0 || v[4] < 0) card_error(file);
  const CONTROL_DATA &control = control_data();
  B_H_CURVES &all = the_curves;
  all.no_curves = v[0];
  all.no_2d_curves = v[2];
  all.no_magnet_curves = v[3];
  all.no_t_depend_curves = control.TEMP_DEPEND ? v[1] : 0;
  all.no_t_depend_magnet_curves = control.TEMP_DEPEND ? v[4] : 0;
  if (control.NON_LINEAR != 0) {
    all.curves = static_cast<B_H_CURVE *>(
        calloc_named(static_cast<std::uint64_t>(all.no_curves), sizeof(B_H_CURVE), "b_h_curves"));
    for (int k = 0; k < all.no_curves; ++k) read_one_curve(file, all.curves[k]);
    if (all.no_t_depend_curves > 0) stop_at_unbuilt(UNBUILT::input_data, "temperature-dependent B-H curve");
    if (all.no_2d_curves > 0) stop_at_unbuilt(UNBUILT::input_data, "two-dimensional B-H curve");
    if (all.no_magnet_curves > 0) stop_at_unbuilt(UNBUILT::input_data, "magnet B-H curve");
    if (all.no_t_depend_magnet_curves > 0)
      stop_at_unbuilt(UNBUILT::input_data, "temperature-dependent magnet curve");
  }
  bind_curves();
}

const B_H_CURVE *find_b_h_curve(int id) {
  for (int k = 0; k < the_curves.no_curves; ++k)
    if (the_curves.curves[k].id == id) return &the_curves.curves[k];
  write_fault("***** B_H_curve No. %d is not found.\n", id);
  stop_job(1);
}

int bh_search(const B_H_CURVE &c, double b) {
  const int last = c.no_data - 1;
  if (b >= c.B[last]) return last;
  int lo = 0;
  int hi = last;
  while (hi - lo > 1) {
    const int mid = (lo + hi) / 2;
    if (c.B[mid] > b)
      hi = mid;
    else
      lo = mid;
  }
  return hi;
}

int bh_search_h(const B_H_CURVE &c, double h) {
  const int last = c.no_data - 1;
  if (h >= c.H[last]) return last;
  int lo = 0;
  int hi = last;
  while (hi - lo > 1) {
    const int mid = (lo + hi) / 2;
    if (c.H[mid] > h)
      hi = mid;
    else
      lo = mid;
  }
  return hi;
}

void bh_reluctivity(const B_H_CURVE &c, double b2, double *nu, double *dnu) {
  const double b = std::sqrt(b2);
  const int i = bh_search(c, b);
  if (i < 2) {
    *nu = c.H[i] / c.B[i];
    *dnu = 0.0;
  } else {
    const double t = (b - c.B[i - 1]) / (c.B[i] - c.B[i - 1]);
    const double h = c.H[i - 1] + (c.H[i] - c.H[i - 1]) * t;
    *nu = h / b;
    const double slope = (c.H[i] - c.H[i - 1]) / (c.B[i] - c.B[i - 1]);
    *dnu = (slope - *nu) / (2.0 * b2);
  }
  if (*nu > nu_max) {
    *nu = nu_max;
    *dnu = 0.0;
  }
  if (b2 > dnu_floor_b2 && *dnu < -*nu / (2.0 * b2)) *dnu = -*nu / (2.0 * b2);
}

void bh_field(const B_H_CURVE &c, double b, double *h, double *slope) {
  const double magnitude = std::fabs(b);
  double raw_slope = 0.0;
  segment_field(c, bh_search(c, magnitude), magnitude, h, &raw_slope);
  if (b < 0.0) *h = -*h;
  *slope = clamped_slope(raw_slope);
}

void bh_field_vector(const B_H_CURVE &c, const double B[3], double H[3], double tangent[9]) {
  const double b2 = B[0] * B[0] + B[1] * B[1] + B[2] * B[2];
  const double b = std::sqrt(b2);
  double h = 0.0;
  double slope = 0.0;
  segment_field(c, bh_search(c, b), b, &h, &slope);
  slope = clamped_slope(slope);
  if (b == 0.0) {
    H[0] = H[1] = H[2] = 0.0;
    write_diagonal(slope, tangent);
    return;
  }
  const double nu = h / b;
  for (int k = 0; k < 3; ++k) H[k] = nu * B[k];
  write_tangent(nu, slope, B, b2, tangent);
}

void bh_field_vector_complex(const B_H_CURVE &c, const double B[6], double H[6], double tangent[9]) {
  const double re[3] = {B[0], B[2], B[4]};
  const double b2 = re[0] * re[0] + re[1] * re[1] + re[2] * re[2];
  const double b = std::sqrt(b2);
  double h = 0.0;
  double slope = 0.0;
  segment_field(c, bh_search(c, b), b, &h, &slope);
  slope = clamped_slope(slope);
  // With no real part the reluctivity is that of the first segment, the limit at b = 0.
  const double nu = b == 0.0 ? slope : h / b;
  for (int k = 0; k < 6; ++k) H[k] = nu * B[k];
  if (b == 0.0)
    write_diagonal(slope, tangent);
  else
    write_tangent(nu, slope, re, b2, tangent);
}

void bh_secant_vector(const B_H_CURVE &c, const double B[3], double H[3], double nu[3]) {
  const double b = std::sqrt(B[0] * B[0] + B[1] * B[1] + B[2] * B[2]);
  double h = 0.0;
  double slope = 0.0;
  segment_field(c, bh_search(c, b), b, &h, &slope);
  const double secant = b == 0.0 ? c.H[1] / c.B[1] : h / b;
  for (int k = 0; k < 3; ++k) {
    H[k] = b == 0.0 ? 0.0 : secant * B[k];
    nu[k] = secant;
  }
}

void bh_inverse_vector(const B_H_CURVE &c, const double H[3], double B[3], double tangent[9]) {
  const double h = std::sqrt(H[0] * H[0] + H[1] * H[1] + H[2] * H[2]);
  const int i = bh_search_h(c, h);
  const double g = (c.B[i] - c.B[i - 1]) / (c.H[i] - c.H[i - 1]);
  const double b = c.B[i - 1] + g * (h - c.H[i - 1]);
  if (h == 0.0) {
    B[0] = B[1] = B[2] = 0.0;
    write_diagonal(1.0 / g, tangent);
    return;
  }
  for (int k = 0; k < 3; ++k) B[k] = b * H[k] / h;
  write_tangent(h / b, 1.0 / g, B, b * b, tangent);
}

void bh_energy(const B_H_CURVE &c, double b, double *h, double *energy) {
  const double magnitude = std::fabs(b);
  const int i = bh_search(c, magnitude);
  double slope = 0.0;
  segment_field(c, i, magnitude, h, &slope);
  *energy = energy_at(c, i, magnitude, *h);
  if (b < 0.0) *h = -*h;
}

void bh_energy_b2(const B_H_CURVE &c, double b2, double *h, double *energy) {
  bh_energy(c, std::sqrt(b2), h, energy);
}

void bh_energy_vector(const B_H_CURVE &c, const double B[3], double H[3], double *energy) {
  const double b = std::sqrt(B[0] * B[0] + B[1] * B[1] + B[2] * B[2]);
  double h = 0.0;
  bh_energy(c, b, &h, energy);
  for (int k = 0; k < 3; ++k) H[k] = b == 0.0 ? 0.0 : h * B[k] / b;
}

void bh_energy_vector_complex(const B_H_CURVE &c, const double B[6], double H[6], double *energy) {
  const double b = std::sqrt(B[0] * B[0] + B[2] * B[2] + B[4] * B[4]);
  double h = 0.0;
  bh_energy(c, b, &h, energy);
  for (int k = 0; k < 6; ++k) H[k] = b == 0.0 ? 0.0 : h * B[k] / b;
}

double bh_flux_density(const B_H_CURVE &c, double h) {
  const int i = bh_search_h(c, h);
  return c.B[i - 1] + (c.B[i] - c.B[i - 1]) * (h - c.H[i - 1]) / (c.H[i] - c.H[i - 1]);
}

} // namespace tesmora
