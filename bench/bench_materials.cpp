// Benchmarks of the B-H curve routines on the innermost loop of nonlinear assembly.
#include "materials/bh_curve.hpp"

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

using namespace tesmora;

namespace {

// A saturating curve of n points, B = 2 tanh(H / 800) + mu0 H.
struct Curve {
  explicit Curve(int n) : H(static_cast<std::size_t>(n)), B(H.size()), energy(H.size()) {
    for (int i = 1; i < n; ++i) {
      H[static_cast<std::size_t>(i)] = 50000.0 * std::pow(static_cast<double>(i) / (n - 1), 2.0);
      B[static_cast<std::size_t>(i)] =
          2.0 * std::tanh(H[static_cast<std::size_t>(i)] / 800.0) + mu0 * H[static_cast<std::size_t>(i)];
    }
    curve = B_H_CURVE{1, n, H.data(), B.data(), energy.data()};
    make_energy_table(curve);
  }
  std::vector<double> H, B, energy;
  B_H_CURVE curve;
};

} // namespace

static void BM_BhFieldVector(benchmark::State &state) {
  const Curve c(static_cast<int>(state.range(0)));
  double B[3] = {0.3, -0.7, 0.9};
  double H[3];
  double tangent[9];
  double sum = 0.0;
  for (auto _ : state) {
    bh_field_vector(c.curve, B, H, tangent);
    sum += tangent[4];
    B[0] = B[0] > 2.2 ? 0.01 : B[0] * 1.0007 + 1e-4; // walk over the curve
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_BhFieldVector)->Arg(50)->Arg(1000)->Arg(10000);
