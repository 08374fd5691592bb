// Field evaluations of a RECT coil per second, at points near the conductor and far away.
#include "sources/coil_element.hpp"

#include <benchmark/benchmark.h>

using namespace tesmora;

namespace {

std::unique_ptr<COIL_ELEMENT> rect_coil() {
  COIL_ELEMENT_DATA data;
  data.kind = COIL_KIND::RECT;
  data.current = 1000.0;
  const double values[8] = {0, 0, 0, 0.4, 0.2, 0.05, 0.02, 0.04}; // X Y Z A B R W H
  for (int i = 0; i < 8; ++i) data.values[i] = values[i];
  return make_coil_element(data);
}

void evaluate(benchmark::State &state, const double p[3], bool want_A) {
  const auto coil = rect_coil();
  const COIL_OPTIONS options;
  double out[3];
  for (auto _ : state) {
    if (want_A) {
      coil->A(p, options, out);
    } else {
      coil->B(p, options, out);
    }
    benchmark::DoNotOptimize(out);
  }
  state.SetItemsProcessed(state.iterations());
}

// Near: 1 cm beside a corner's section; far: 30 m away (beyond 1000 section widths / 2).
const double near_point[3] = {0.29, 0.18, 0.01};
const double far_point[3] = {20.0, 15.0, 15.0};

void BM_RectBNear(benchmark::State &state) { evaluate(state, near_point, false); }
void BM_RectANear(benchmark::State &state) { evaluate(state, near_point, true); }
void BM_RectBFar(benchmark::State &state) { evaluate(state, far_point, false); }
void BM_RectAFar(benchmark::State &state) { evaluate(state, far_point, true); }

} // namespace

BENCHMARK(BM_RectBNear);
BENCHMARK(BM_RectANear);
BENCHMARK(BM_RectBFar);
BENCHMARK(BM_RectAFar);
