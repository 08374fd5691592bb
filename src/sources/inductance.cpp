// Inductance between coil series: the line integral of one series' A along the other's paths.
#include "job/report.hpp"
#include "sources/coil_forces.hpp"
#include "sources/coil_integrator.hpp"
#include "sources/coil_kernels.hpp"

#include <chrono>

namespace tesmora {

namespace {

constexpr int across_order = 3; // Gauss points across a section in each direction

// J . A_from at one position s along an element, averaged across its section.
class FLUX_INTEGRAND final : public INTEGRAND {
public:
  FLUX_INTEGRAND(const FIELD_ENTRY &entry, const COIL_ELEMENT &element, const EXTERNAL_FIELD &from,
                 const COIL_EVALUATION &evaluation)
      : entry(entry), element(element), from(from), evaluation(evaluation) {
    gauss_legendre(across_order, xi, w);
  }
  void evaluate(double s, double *values) const override {
    values[0] = 0.0;
    for (int i = 0; i < across_order; ++i)
      for (int j = 0; j < across_order; ++j) {
        CURRENT_POINT point;
        if (!element.current_point(s, xi[i], xi[j], point)) return;
        double x[3], t[3], A[3];
        entry_point_to_global(entry, point.x, x);
        entry_vector_to_global(entry, point.direction, t);
        external_field_A(from, evaluation, x, A);
        values[0] += w[i] * w[j] * point.weight * dot3(t, A);
      }
  }

private:
  const FIELD_ENTRY &entry;
  const COIL_ELEMENT &element;
  const EXTERNAL_FIELD &from;
  const COIL_EVALUATION &evaluation;
  double xi[across_order] = {}, w[across_order] = {};
};

double element_flux(const FIELD_ENTRY &entry, const COIL_ELEMENT &element, const EXTERNAL_FIELD &from,
                    const COIL_EVALUATION &evaluation, int &evaluations) {
  if (element.is_excluded()) return 0.0;
  if (element.no_pieces() > 0) {
    double sum = 0.0;
    for (int k = 0; k < element.no_pieces(); ++k)
      sum += element_flux(entry, *element.piece(k), from, evaluation, evaluations);
    return sum;
  }
  CURRENT_POINT probe;
  if (!element.current_point(0.0, 0.0, 0.0, probe)) return 0.0;
  const FLUX_INTEGRAND f(entry, element, from, evaluation);
  double value = 0.0;
  evaluations += integrate_adaptive(f, 0.0, 1.0, 1, 1e-4, 0.0, &value) * across_order * across_order;
  return value;
}

} // namespace

double coil_mutual_inductance(const COIL_SERIES &from, const COIL_SERIES &to,
                              const COIL_EVALUATION &evaluation, int &evaluations) {
  double sum = 0.0;
  for (const FIELD_ENTRY &entry : to.field->field)
    sum += element_flux(entry, *entry.element, *from.field, evaluation, evaluations);
  return sum;
}

std::vector<double> report_coil_inductances(std::span<const COIL_SERIES> series,
                                            const COIL_EVALUATION &evaluation, std::FILE *report,
                                            std::FILE *log) {
  const auto started = std::chrono::steady_clock::now();
  std::vector<double> values;
  int evaluations = 0;
  write_report(report, "\n ************ Inductance between COIL series ***************************\n");
  for (std::size_t i = 0; i < series.size(); ++i)
    for (std::size_t j = i + 1; j < series.size(); ++j) {
      double total = 0.0;
      const auto &entries = series[j].field->field;
      for (std::size_t e = 0; e < entries.size(); ++e) {
        const double partial =
            element_flux(entries[e], *entries[e].element, *series[i].field, evaluation, evaluations);
        write_report(log, "*  Partial inductance from Ser. %d to Ser. %d coil %d = %15.5e\n",
                     series[i].series_no, series[j].series_no, int(e) + 1, partial);
        total += partial;
      }
      write_report(report, "      Series No. %d -- No. %d : %15.5e (H) ***\n", series[i].series_no,
                   series[j].series_no, total);
      values.push_back(total);
    }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  write_report(report, "*** Time for Inductunce calculation  %15.5e (sec) , Evaluation points: %d ***\n",
               seconds, evaluations);
  return values;
}

} // namespace tesmora
