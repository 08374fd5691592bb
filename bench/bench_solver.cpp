// Benchmarks of the sparse solver: profile building, the location search of assembly, and the
// time of one ICCG iteration on a 100^3 Laplacian against the memory-bandwidth bound measured in
// the same run (a plain sparse product and a vector triad), as medians over rounds.
#include "equations/iccg.hpp"
#include "equations/matrix_profile.hpp"
#include "equations/sparse_matrix.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <vector>

using namespace tesmora;

namespace {

// Profile lists of an nx^3 grid Laplacian (7-point stencil), as an assembly would fill them.
PROFILE_LISTS *grid_lists(int nx) {
  const int n = nx * nx * nx;
  PROFILE_LISTS *lists = make_profile_lists(n);
  for (int k = 0; k < nx; ++k)
    for (int j = 0; j < nx; ++j)
      for (int i = 0; i < nx; ++i) {
        const int row = 1 + i + nx * (j + nx * k);
        if (i > 0) add_connection(lists, row, row - 1);
        if (j > 0) add_connection(lists, row, row - nx);
        if (k > 0) add_connection(lists, row, row - nx * nx);
      }
  return lists;
}

// The grid Laplacian (6 on the diagonal, -1 off it) assembled through location_in_matrix.
SPARSE_MATRIX *grid_laplacian(int nx, int solver) {
  PROFILE_LISTS *lists = grid_lists(nx);
  const int n = nx * nx * nx;
  MATRIX_PROFILE *profile = make_matrix_profile(n, profile_lower_with_diagonal);
  build_profile(profile, lists);
  free_profile_lists(&lists);
  SPARSE_MATRIX *m = make_sparse_matrix(n, profile->size, {.solver = solver, .scaling = 1});
  set_sparse_matrix_profile(m, profile);
  free_matrix_profile(&profile);
  const int *rhp = m->pattern.row_head_pointers, *columns = m->pattern.columns;
  for (int row = 0; row < n; ++row)
    for (int k = rhp[row]; k < rhp[row + 1]; ++k) m->matrix_lower[k] = columns[k] == row ? 6.0 : -1.0;
  return m;
}

// CPU time of this thread: on a shared machine the time the scheduler gives to other
// processes would otherwise count as ours.
double thread_seconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

double seconds_since(double start) { return thread_seconds() - start; }

} // namespace

static void BM_BuildProfile(benchmark::State &state) {
  const int nx = static_cast<int>(state.range(0));
  for (auto _ : state) {
    PROFILE_LISTS *lists = grid_lists(nx);
    MATRIX_PROFILE *profile = make_matrix_profile(nx * nx * nx, profile_lower_with_diagonal);
    build_profile(profile, lists);
    benchmark::DoNotOptimize(profile->index);
    free_profile_lists(&lists);
    free_matrix_profile(&profile);
  }
  state.SetItemsProcessed(state.iterations() * nx * nx * nx);
}
BENCHMARK(BM_BuildProfile)->Arg(40)->Unit(benchmark::kMillisecond);

static void BM_LocationInMatrix(benchmark::State &state) {
  // Every stored entry of a 40^3 grid Laplacian, looked up in both orders.
  const int nx = 40;
  const int n = nx * nx * nx;
  PROFILE_LISTS *lists = grid_lists(nx);
  MATRIX_PROFILE *profile = make_matrix_profile(n, profile_lower_with_diagonal);
  build_profile(profile, lists);
  free_profile_lists(&lists);
  const int *rhp = profile->row_head_pointers, *index = profile->index;
  long long found = 0, lookups = 0;
  // The pairs to look up, in both orders, row by row as the elements of a sweep meet them.
  std::vector<std::pair<int, int>> pairs;
  for (int row = 1; row <= n; ++row)
    for (int k = rhp[row - 1]; k < rhp[row]; ++k)
      pairs.emplace_back(row, index[k]), pairs.emplace_back(index[k], row);
  for (auto _ : state) {
    for (const auto &[i, j] : pairs) found += location_in_matrix(i, j, rhp, index);
    lookups += static_cast<long long>(pairs.size());
    benchmark::DoNotOptimize(found);
  }
  state.SetItemsProcessed(lookups);
  free_matrix_profile(&profile);
}
BENCHMARK(BM_LocationInMatrix)->Unit(benchmark::kMillisecond);

namespace {

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  const std::size_t m = v.size() / 2;
  return v.size() % 2 ? v[m] : 0.5 * (v[m - 1] + v[m]);
}

} // namespace

static void BM_IccgIteration(benchmark::State &state) {
  const int nx = static_cast<int>(state.range(0));
  const int n = nx * nx * nx;
  SPARSE_MATRIX *m = grid_laplacian(nx, 0);
  SOLVER_SETTINGS settings;
  CG_ITERATION &cg = settings.cg_iteration;
  cg.convergence = 1e-30; // never reached: a fixed number of iterations
  cg.max_iterations = 40;
  cg.div_factor = 10.0;
  cg.div_iterations = 1000;
  SOLVE_FIGURES figures;
  sparse_matrix_preconditioning(m, cg, figures); // the factor is made once, outside the timing
  std::vector<double> b(static_cast<std::size_t>(n), 1.0), x(b.size()), y(b.size()), z(b.size());
  // Memory traffic of one iteration: the matrix once (8-byte value, 4-byte column), the factor
  // twice, the row pointers three times, and about 23 vector streams of doubles. The triad
  // moves 3 streams (24 n bytes): its bandwidth turns the traffic into a time bound.
  const double size = m->size;
  const double bytes = 12.0 * size + 24.0 * size + 12.0 * n + 23.0 * 8.0 * n;
  // The machine is shared: every round times the three in turn, and the figures are medians
  // over the rounds; the ratio is taken within each round, so a busy moment hits both sides.
  std::vector<double> iteration, product, triad, ratio;
  for (auto _ : state) {
    std::fill(b.begin(), b.end(), 1.0);
    std::fill(x.begin(), x.end(), 0.0);
    auto start = thread_seconds();
    solve_sparse_matrix(m, b.data(), x.data(), n, settings, figures);
    iteration.push_back(seconds_since(start) / cg.max_iterations);
    start = thread_seconds();
    for (int repeat = 0; repeat < 10; ++repeat)
      matrix_vector_product(n, m->pattern.row_head_pointers, nullptr, m->pattern.columns, m->matrix_lower,
                            x.data(), y.data());
    product.push_back(seconds_since(start) / 10);
    start = thread_seconds();
    for (int repeat = 0; repeat < 10; ++repeat)
      for (int i = 0; i < n; ++i) z[i] = x[i] + 0.5 * y[i];
    triad.push_back(seconds_since(start) / 10);
    benchmark::DoNotOptimize(z.data());
    ratio.push_back(iteration.back() / (bytes * triad.back() / (24.0 * n)));
  }
  const double bandwidth = 24.0 * n / median(triad);
  state.counters["iteration_ms"] = 1e3 * median(iteration);
  state.counters["spmv_ms"] = 1e3 * median(product);
  state.counters["triad_ms"] = 1e3 * median(triad);
  state.counters["bandwidth_GBps"] = bandwidth / 1e9;
  state.counters["bound_ms"] = 1e3 * bytes / bandwidth;
  state.counters["iteration_over_bound"] = median(ratio);
  state.counters["ratio_min"] = *std::min_element(ratio.begin(), ratio.end());
  state.counters["ratio_max"] = *std::max_element(ratio.begin(), ratio.end());
  free_sparse_matrix(&m);
}
BENCHMARK(BM_IccgIteration)->Arg(100)->Iterations(7)->Unit(benchmark::kMillisecond);
