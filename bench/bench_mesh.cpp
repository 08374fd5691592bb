// Benchmark of the native mesh reader on a generated mesh of about one million tetrahedra:
// read time, and the process's peak resident memory after the read.
#include "equations/assembly.hpp"
#include "equations/element_matrices.hpp"
#include "job/ffile.hpp"
#include "job/job_options_writable.hpp"
#include "job/memory.hpp"
#include "job/run_files.hpp"
#include "materials/material_tables.hpp"
#include "mesh/gauss.hpp"
#include "mesh/mesh_converters.hpp"
#include "mesh/mesh_reader.hpp"
#include "mesh/model_building.hpp"
#include "mesh/potentials.hpp"

#include <benchmark/benchmark.h>

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <utility>

using namespace tesmora;

namespace {

// A cube of n^3 cells, each split into 6 tetrahedra along its main diagonal (Kuhn split),
// written as a native text with the nodes in reverse order, so the reader has to sort them.
void write_tetra_cube(const std::string &path, int n) {
  std::FILE *out = std::fopen(path.c_str(), "w");
  const int p = n + 1;
  const auto id = [p](int i, int j, int k) { return 1 + i + p * (j + p * k); };
  write_grid_header(out);
  for (int k = p - 1; k >= 0; --k)
    for (int j = p - 1; j >= 0; --j)
      for (int i = p - 1; i >= 0; --i) write_node(out, id(i, j, k), i * 1.0 / n, j * 1.0 / n, k * 1.0 / n);
  write_end(out);
  write_conc_header(out);
  // The six paths from corner 000 to 111, one per tetrahedron.
  const int steps[6][2][3] = {{{1, 0, 0}, {1, 1, 0}}, {{1, 0, 0}, {1, 0, 1}}, {{0, 1, 0}, {1, 1, 0}},
                              {{0, 1, 0}, {0, 1, 1}}, {{0, 0, 1}, {1, 0, 1}}, {{0, 0, 1}, {0, 1, 1}}};
  int element = 0;
  for (int k = 0; k < n; ++k)
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        for (const auto &s : steps) {
          int nodes[4] = {id(i, j, k), id(i + s[0][0], j + s[0][1], k + s[0][2]),
                          id(i + s[1][0], j + s[1][1], k + s[1][2]), id(i + 1, j + 1, k + 1)};
          // Positive orientation: the first three edges from node 1 form a right-handed triple.
          const int a[3] = {s[0][0], s[0][1], s[0][2]}, b[3] = {s[1][0], s[1][1], s[1][2]}, c[3] = {1, 1, 1};
          const int triple = a[0] * (b[1] * c[2] - b[2] * c[1]) - a[1] * (b[0] * c[2] - b[2] * c[0]) +
                             a[2] * (b[0] * c[1] - b[1] * c[0]);
          if (triple < 0) std::swap(nodes[1], nodes[2]);
          write_element(out, ++element, 304, 1 + (i * 2) / n, nodes, 4);
        }
  write_end(out);
  std::fclose(out);
}

// A folder of its own holding the generated cube of n^3 cells as "pre_geom", made the work
// directory of the job files.
std::filesystem::path generated_mesh_folder(const std::string &name, int n) {
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / (name + std::to_string(getpid()));
  std::filesystem::create_directories(folder);
  writable_job_options().work_directory = folder.string() + "/";
  write_tetra_cube((folder / "pre_geom").string(), n);
  return folder;
}

// Reads the generated mesh of the work directory.
void read_generated_mesh(MESHED_MODEL &mesh) {
  const MESH_READ_SETTINGS settings{.unit_factor = 1.0, .node_order = 1, .edge_order = 1, .quad_tri = 0};
  FFILE *file = create_ffile("pre_geom", 0);
  open_ffile(file, "r");
  read_pre_geom(mesh, file, 0, 0, settings);
  free_ffile(file, "ffile");
}

long peak_rss_kib() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

} // namespace

static void BM_ReadPreGeomMillionTetrahedra(benchmark::State &state) {
  const int n = static_cast<int>(state.range(0));
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("tesmora_bench_mesh_" + std::to_string(getpid()));
  std::filesystem::create_directories(folder);
  writable_job_options().work_directory = folder.string() + "/";
  write_tetra_cube((folder / "pre_geom").string(), n);
  const MESH_READ_SETTINGS settings{.unit_factor = 1.0, .node_order = 1, .edge_order = 1, .quad_tri = 0};
  const long rss_before = peak_rss_kib();
  int elements = 0;
  for (auto _ : state) {
    MESHED_MODEL mesh;
    FFILE *file = create_ffile("pre_geom", 0);
    open_ffile(file, "r");
    read_pre_geom(mesh, file, 0, 0, settings);
    free_ffile(file, "ffile");
    elements = mesh.no_v_elements;
    benchmark::DoNotOptimize(mesh.nodes);
    free_mesh_arrays(mesh);
  }
  state.counters["elements"] = elements;
  state.counters["file_MB"] = static_cast<double>(std::filesystem::file_size(folder / "pre_geom")) / 1.0e6;
  state.counters["peak_rss_MB_before"] = static_cast<double>(rss_before) / 1024.0;
  state.counters["peak_rss_MB"] = static_cast<double>(peak_rss_kib()) / 1024.0;
  std::filesystem::remove_all(folder);
}
// 6 x 55^3 = 998250 tetrahedra on 56^3 = 175616 nodes.
BENCHMARK(BM_ReadPreGeomMillionTetrahedra)->Arg(55)->Unit(benchmark::kSecond)->Iterations(3);

// Model making on the same mesh, stage by stage: edges, conductor marks and surfaces, the tree,
// and the numbering of the unknowns; seconds of each as counters.
static void BM_MakeModelMillionTetrahedra(benchmark::State &state) {
  const std::filesystem::path folder =
      generated_mesh_folder("tesmora_bench_model_", static_cast<int>(state.range(0)));
  MESHED_MODEL mesh;
  read_generated_mesh(mesh);
  using clock = std::chrono::steady_clock;
  auto seconds = [](clock::time_point a, clock::time_point b) {
    return std::chrono::duration<double>(b - a).count();
  };
  double edges = 0, surfaces = 0, tree = 0, variables = 0;
  BOUNDARY_DATA boundary;
  for (auto _ : state) {
    const auto t0 = clock::now();
    make_edges(mesh);
    const auto t1 = clock::now();
    mark_conductor_nodes(mesh);
    find_surfaces(mesh, boundary);
    const auto t2 = clock::now();
    make_tree(mesh, 0, boundary.far_boundary_condition);
    const auto t3 = clock::now();
    benchmark::DoNotOptimize(make_variables(mesh, VARIABLE_OPTIONS{}));
    const auto t4 = clock::now();
    edges += seconds(t0, t1);
    surfaces += seconds(t1, t2);
    tree += seconds(t2, t3);
    variables += seconds(t3, t4);
    state.PauseTiming();
    free_potential_store();
    free_named(mesh.edges, "edges");
    free_named(mesh.edge_pointers, "edge_pointers");
    mesh.edges = nullptr;
    mesh.edge_pointers = nullptr;
    for (int i = 0; i < mesh.no_nodes; ++i)
      mesh.nodes[i] = NODE{mesh.nodes[i].x, mesh.nodes[i].y, mesh.nodes[i].z, mesh.nodes[i].id};
    state.ResumeTiming();
  }
  const double runs = static_cast<double>(state.iterations());
  state.counters["edges_s"] = edges / runs;
  state.counters["surfaces_s"] = surfaces / runs;
  state.counters["tree_s"] = tree / runs;
  state.counters["variables_s"] = variables / runs;
  state.counters["no_edges"] = mesh.no_edges;
  state.counters["peak_rss_MB"] = static_cast<double>(peak_rss_kib()) / 1024.0;
  free_model_arrays(mesh);
  std::filesystem::remove_all(folder);
}
BENCHMARK(BM_MakeModelMillionTetrahedra)->Arg(55)->Unit(benchmark::kSecond)->Iterations(2);

// Assembly of about one million unknowns: element matrices to their file, the profile of the
// unknowns and the scatter of the curl-curl matrix; seconds of each as counters.
static void BM_AssembleMillionUnknowns(benchmark::State &state) {
  const std::filesystem::path folder =
      generated_mesh_folder("tesmora_bench_assembly_", static_cast<int>(state.range(0)));
  MESHED_MODEL mesh;
  read_generated_mesh(mesh);
  // One linear material for every element.
  ConductivityProperty mu;
  mu.value = 1000 * 1.2566370614359173e-06;
  MagneticProperty *magnetic = create_magnetic_property(linear_property);
  magnetic->linear = &mu;
  MAT_PROPERTY material;
  material.magnetic = magnetic;
  for (int k = 0; k < mesh.no_v_elements; ++k) mesh.v_elements[k].material = &material;
  BOUNDARY_DATA boundary;
  make_edges(mesh);
  find_surfaces(mesh, boundary);
  make_tree(mesh, 0, boundary.far_boundary_condition);
  const int unknowns = make_variables(mesh, VARIABLE_OPTIONS{});
  GAUSS *gauss = make_gauss(3, 7, 5);
  create_run_files("input");
  using clock = std::chrono::steady_clock;
  auto seconds = [](clock::time_point a, clock::time_point b) {
    return std::chrono::duration<double>(b - a).count();
  };
  double element_s = 0, profile_s = 0, scatter_s = 0;
  long long entries = 0;
  for (auto _ : state) {
    const auto t0 = clock::now();
    make_element_matrices(mesh, ELEMENT_MATRIX_OPTIONS{});
    const auto t1 = clock::now();
    MATRIX_PROFILE *profile = build_model_profile(mesh, unknowns, profile_lower_with_diagonal, true);
    const auto t2 = clock::now();
    open_ffile(run_files().element_h_matrices, "r");
    double *h = assemble_h_matrix(*profile, mesh, run_files().element_h_matrices);
    close_ffile(run_files().element_h_matrices);
    const auto t3 = clock::now();
    element_s += seconds(t0, t1);
    profile_s += seconds(t1, t2);
    scatter_s += seconds(t2, t3);
    entries = profile->size;
    free_named(h, "h_matrix");
    free_matrix_profile(&profile);
  }
  const double runs = static_cast<double>(state.iterations());
  state.counters["unknowns"] = unknowns;
  state.counters["entries"] = static_cast<double>(entries);
  state.counters["element_matrices_s"] = element_s / runs;
  state.counters["profile_s"] = profile_s / runs;
  state.counters["scatter_s"] = scatter_s / runs;
  state.counters["peak_rss_MB"] = static_cast<double>(peak_rss_kib()) / 1024.0;
  free_run_files();
  free_gauss(gauss);
  free_named(magnetic, "MagneticProperty");
  free_potential_store();
  free_model_arrays(mesh);
  std::filesystem::remove_all(folder);
}
BENCHMARK(BM_AssembleMillionUnknowns)->Arg(55)->Unit(benchmark::kSecond)->Iterations(1);
