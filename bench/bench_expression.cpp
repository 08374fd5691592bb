// Benchmarks of the expression parser: evaluating a compiled time function, and parsing one.
#include "input/expression_parser.hpp"

#include "job/ffile.hpp"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <numbers>
#include <string>

using namespace tesmora;

namespace {

PARSED_FUNCTION *parse_text(const std::string &text) {
  std::string buffer = text;
  FFILE ffile;
  ffile.stream = fmemopen(buffer.data(), buffer.size(), "r");
  const char *names[] = {"t"};
  PARSED_FUNCTION *parsed = parse_functions(&ffile, names, nullptr, nullptr, 0);
  std::fclose(ffile.stream);
  return parsed;
}

} // namespace

// The target: a time function of a few operations, evaluated as the time stepping does.
static void BM_EvaluateTimeFunction(benchmark::State &state) {
  PARSED_FUNCTION *parsed = parse_text("f(t) = 3*t**2 + sin(2*PI*50*t)\n;;\n");
  double t = 0.0;
  double sum = 0.0;
  for (auto _ : state) {
    t = t < 1.0 ? t + 1e-6 : 0.0;
    sum += evaluate_function(parsed, nullptr, &t);
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(state.iterations());
  delete_parsed_function(parsed);
}
BENCHMARK(BM_EvaluateTimeFunction);

// The same with a call of a user function and a range, the slower paths of the machine.
static void BM_EvaluateComposedFunction(benchmark::State &state) {
  PARSED_FUNCTION *parsed =
      parse_text("w = 2*PI*50; g(t) = sin(w*t); [t = 0 : 1000] f(t) = 3*t**2 + g(t) - g(2*t)/3;;\n");
  double t = 0.0;
  double sum = 0.0;
  for (auto _ : state) {
    t = t < 1.0 ? t + 1e-6 : 0.0;
    sum += evaluate_function(parsed, nullptr, &t);
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(state.iterations());
  delete_parsed_function(parsed);
}
BENCHMARK(BM_EvaluateComposedFunction);

// The same formula compiled as C++, for scale.
static void BM_NativeTimeFunction(benchmark::State &state) {
  double t = 0.0;
  double sum = 0.0;
  for (auto _ : state) {
    t = t < 1.0 ? t + 1e-6 : 0.0;
    benchmark::DoNotOptimize(t);
    sum += 3 * t * t + std::sin(2 * std::numbers::pi * 50 * t);
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_NativeTimeFunction);

// Reading and compiling one block (the tables are emptied each time, else they grow).
static void BM_ParseBlock(benchmark::State &state) {
  for (auto _ : state) {
    delete_parsed_function(parse_text("a = 2; f(t) = a*exp(-t/0.02)*cos(2*PI*50*t + PI/6);;\n"));
    free_parser_tables();
  }
}
BENCHMARK(BM_ParseBlock);
