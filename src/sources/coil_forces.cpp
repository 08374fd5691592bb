// Forces on coil elements: J x B over each division of each force target.
#include "sources/coil_forces.hpp"

#include "job/report.hpp"
#include "sources/coil_integrator.hpp"
#include "sources/coil_kernels.hpp"

#include <algorithm>
#include <chrono>

namespace tesmora {

namespace {

// J x B integrated across the section at one position s along an element: a fixed Gauss rule
// of order_xi by order_eta points.
class FORCE_INTEGRAND final : public INTEGRAND {
public:
  FORCE_INTEGRAND(const FIELD_ENTRY &entry, const COIL_ELEMENT &element, const POINT_FIELD &b_field,
                  int order_xi, int order_eta, double amplitude)
      : entry(entry), element(element), b_field(b_field), amplitude(amplitude),
        order_xi(std::clamp(order_xi, 1, 10)), order_eta(std::clamp(order_eta, 1, 10)) {
    gauss_legendre(this->order_xi, xi, w_xi);
    gauss_legendre(this->order_eta, eta, w_eta);
  }
  void evaluate(double s, double *values) const override {
    values[0] = values[1] = values[2] = 0.0;
    for (int i = 0; i < order_xi; ++i)
      for (int j = 0; j < order_eta; ++j) {
        CURRENT_POINT point;
        if (!element.current_point(s, xi[i], eta[j], point)) return;
        double x[3], t[3], B[3], f[3];
        entry_point_to_global(entry, point.x, x);
        entry_vector_to_global(entry, point.direction, t);
        b_field.at(x, B);
        cross3(t, B, f);
        const double w = w_xi[i] * w_eta[j] * point.weight * amplitude;
        for (int c = 0; c < 3; ++c) values[c] += w * f[c];
      }
  }
  int points_per_call() const { return order_xi * order_eta; }

private:
  const FIELD_ENTRY &entry;
  const COIL_ELEMENT &element;
  const POINT_FIELD &b_field;
  double amplitude;
  int order_xi, order_eta;
  double xi[10] = {}, w_xi[10] = {}, eta[10] = {}, w_eta[10] = {};
};

// The force on the part s0..s1 of an element: INT_Y points along with INT_Y set, else the
// adaptive rule along; INT_X by INT_Z points across. Returns the evaluation points.
int division_force(const FIELD_ENTRY &entry, const COIL_ELEMENT &element, const POINT_FIELD &b_field,
                   double amplitude, double s0, double s1, double F[3]) {
  const FORCE_INTEGRAND f(entry, element, b_field, entry.int_x, entry.int_z, amplitude);
  F[0] = F[1] = F[2] = 0.0;
  if (entry.int_y != 0) {
    const int order = std::clamp(entry.int_y, 1, 10);
    double s[10], w[10];
    gauss_legendre(order, s, w);
    for (int k = 0; k < order; ++k) {
      double v[3];
      f.evaluate(s0 + 0.5 * (s[k] + 1.0) * (s1 - s0), v);
      for (int c = 0; c < 3; ++c) F[c] += 0.5 * (s1 - s0) * w[k] * v[c];
    }
    return order * f.points_per_call();
  }
  return integrate_adaptive(f, s0, s1, 3, 1e-6, 0.0, F) * f.points_per_call();
}

void write_force_line(std::FILE *report, const COIL_FORCE &force) {
  write_report(report, " %4d  %4s%2d  %13.5e   %13.5e  %13.5e\n", force.series_no, coil_kind_name(force.kind),
               force.division, force.F[0], force.F[1], force.F[2]);
}

} // namespace

int calculate_COIL_forces(std::span<const COIL_SERIES> series, const POINT_FIELD &b_field, std::FILE *report,
                          std::vector<COIL_FORCE> &forces) {
  const auto started = std::chrono::steady_clock::now();
  int evaluations = 0;
  const std::size_t first = forces.size();
  for (const COIL_SERIES &source : series) {
    for (std::size_t e = 0; e < source.field->field.size(); ++e) {
      const FIELD_ENTRY &entry = source.field->field[e];
      if (entry.ndiv < 1 || entry.element->is_excluded()) continue;
      const COIL_ELEMENT &element = *entry.element;
      const int no_pieces = element.no_pieces();
      // A single element is divided along its length; each piece of an assembly is one division.
      const int no_divisions = no_pieces > 0 ? no_pieces : entry.ndiv;
      for (int k = 0; k < no_divisions; ++k) {
        const COIL_ELEMENT *part = no_pieces > 0 ? element.piece(k) : &element;
        if (part->is_excluded()) continue;
        COIL_FORCE force{.series_no = source.series_no,
                         .entry = static_cast<int>(e) + 1,
                         .division = k + 1,
                         .kind = part->kind()};
        const double s0 = no_pieces > 0 ? 0.0 : double(k) / entry.ndiv;
        const double s1 = no_pieces > 0 ? 1.0 : double(k + 1) / entry.ndiv;
        evaluations += division_force(entry, *part, b_field, source.amplitude, s0, s1, force.F);
        forces.push_back(force);
      }
    }
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  write_report(report,
               "*** COIL Forces "
               "****************************************************************************************\n");
  write_report(report, "  Ser. Type Div.    Fx(N)          Fy(N)          Fz(N)\n");
  for (std::size_t i = first; i < forces.size(); ++i) write_force_line(report, forces[i]);
  record_coil_forces_json(std::span<const COIL_FORCE>(forces).subspan(first));
  write_report(report, "*** Time for force calculation %15.5e (sec) , Evaluation points: %d ***\n", seconds,
               evaluations);
  return evaluations;
}

void record_coil_forces_json(std::span<const COIL_FORCE>) {}

} // namespace tesmora
