// Assembly of the global curl-curl and conductivity matrices on structured meshes: the gradient
// kernel, the energy as the sum of the element energies, the doubling rule, and the asymmetric
// pair of a steady-current job with its moving-conductor term.
#include "equations/assembly.hpp"
#include "equations/element_matrices.hpp"
#include "input/control_data_writable.hpp"
#include "input/regular_mesh.hpp"
#include "job/memory.hpp"
#include "job/run_files.hpp"
#include "materials/material_tables.hpp"
#include "mesh/gauss.hpp"
#include "mesh/mesh_builder.hpp"
#include "mesh/mesh_converters.hpp"
#include "mesh/mesh_reader.hpp"
#include "mesh/model_building.hpp"
#include "mesh/potentials.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

class Assembly : public ::testing::Test {
protected:
  void SetUp() override {
    writable_control_data() = CONTROL_DATA{};
    writable_control_data().release = 12.0;
    make_gauss(3, 7, 5);
  }
  void TearDown() override {
    free_matrix_profile(&profile);
    free_gauss(active_gauss());
    free_model_arrays(model);
    free_potential_store();
  }
  // The material table of a test; read once per test process.
  void materials(const std::string &cards) {
    read_material_cards(files.open_card_text("materials", cards), 1);
    have_materials = true;
  }
  void number_model(int tree_gauge = -1, bool uses_phi = false) {
    no_unknowns = number_natural_model(model, tree_gauge, uses_phi);
  }
  // A model with every edge free (no tree, natural boundary), its element files and profile.
  void make(const MESH_BUILDER &builder, bool a_only) {
    if (!have_materials) materials("2 0 0\n1 0 0 0 100 0 0 0 0\n2 0 0 5.8e7 1 0 0 0 0\n");
    model = builder.build();
    number_model(-1, !a_only);
    options.a_only = a_only;
    make_element_matrices(model, options);
    profile = build_model_profile(model, no_unknowns, profile_lower_with_diagonal, a_only);
  }
  double *assemble(FFILE *file, bool h) {
    open_ffile(file, "r");
    double *values = h ? assemble_h_matrix(*profile, model, file)
                       : assemble_c_matrix(*profile, model, file, options.a_only);
    close_ffile(file);
    return values;
  }
  ScopedJobFiles files;
  MESHED_MODEL model;
  MATRIX_PROFILE *profile = nullptr;
  ELEMENT_MATRIX_OPTIONS options;
  int no_unknowns = 0;
  bool have_materials = false;
};

// The unknowns of a vector on edges: the A term's position of each edge.
std::vector<double> to_unknowns(const MESHED_MODEL &m, int n, const std::vector<double> &on_edges) {
  std::vector<double> x(static_cast<std::size_t>(n), 0.0);
  for (int e = 0; e < m.no_edges; ++e)
    if (const POTENTIAL_TERM *t = find_potential_term(m.edges[e].potentials, A_EDGE))
      x[static_cast<std::size_t>(t->position - 1)] = t->coefficient * on_edges[static_cast<std::size_t>(e)];
  return x;
}

// Sum of the element energies of a vector on edges, each element's values signed by its edges.
double element_energy_sum(const MESHED_MODEL &m, const std::vector<double> &on_edges,
                          const ELEMENT_MATRIX_OPTIONS &o, bool h) {
  ELEMENT_MATRICES *matrices = new ELEMENT_MATRICES;
  TRANSFORM_SCRATCH scratch;
  double sum = 0.0;
  for (int k = 0; k < m.no_v_elements; ++k) {
    const V_ELEMENT &element = m.v_elements[k];
    element_matrices(element, o, *matrices, scratch);
    if ((h ? matrices->h_count : matrices->c_count) == 0) continue;
    std::vector<double> x(static_cast<std::size_t>(element.type->no_edges));
    std::vector<int> sign(x.size());
    for (int i = 0; i < element.type->no_edges; ++i) {
      x[static_cast<std::size_t>(i)] = on_edges[static_cast<std::size_t>(element.edges[i]->id - 1)];
      sign[static_cast<std::size_t>(i)] = ((element.edge_direction >> i) & 1u) ? 1 : -1;
    }
    sum += element_energy_real(h ? matrices->h : matrices->c, element.type->no_edges, x.data(), sign.data());
  }
  delete matrices;
  return sum;
}

// The circulations of a gradient are differences of nodal values: H a = 0 (relative to the
// largest entry, within `tolerance`); and for a random vector the global energy is the sum of
// the element energies (rounding of the sums).
void expect_gradient_kernel_and_element_energies(const MESHED_MODEL &m, const MATRIX_PROFILE &profile,
                                                 const double *h, int n,
                                                 const ELEMENT_MATRIX_OPTIONS &options, unsigned seed,
                                                 double tolerance) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  std::vector<double> phi(static_cast<std::size_t>(m.no_nodes));
  for (double &p : phi) p = value(random);
  std::vector<double> gradient(static_cast<std::size_t>(m.no_edges));
  for (int e = 0; e < m.no_edges; ++e)
    gradient[static_cast<std::size_t>(e)] = phi[static_cast<std::size_t>(m.edges[e].end - m.nodes)] -
                                            phi[static_cast<std::size_t>(m.edges[e].start - m.nodes)];
  const std::vector<double> g = to_unknowns(m, n, gradient);
  std::vector<double> hg(g.size(), 0.0);
  double largest = 0.0;
  for (int row = 0; row < profile.dimension; ++row)
    for (int k = profile.row_head_pointers[row]; k < profile.row_head_pointers[row + 1]; ++k) {
      const int column = profile.index[k] - 1;
      hg[static_cast<std::size_t>(row)] += h[k] * g[static_cast<std::size_t>(column)];
      if (column != row) hg[static_cast<std::size_t>(column)] += h[k] * g[static_cast<std::size_t>(row)];
      largest = std::max(largest, std::fabs(h[k]));
    }
  for (double r : hg) EXPECT_LT(std::fabs(r), tolerance * largest);
  std::vector<double> a(static_cast<std::size_t>(m.no_edges));
  for (double &v : a) v = value(random);
  expect_close(quadratic_form(profile, h, to_unknowns(m, n, a).data()),
               element_energy_sum(m, a, options, true), 1e-11, 0.0);
}

} // namespace

TEST_F(Assembly, CurlCurlOfTetrahedraAndHexahedra) {
  for (const bool tetrahedra : {true, false}) {
    SCOPED_TRACE(tetrahedra ? "tetrahedra" : "hexahedra");
    free_matrix_profile(&profile);
    free_model_arrays(model);
    make(tetrahedra ? MESH_BUILDER::tetrahedra(3, 0.1) : MESH_BUILDER::hexahedra(3, 0.1), true);
    ASSERT_EQ(no_unknowns, model.no_edges);
    double *h = assemble(run_files().element_h_matrices, true);
    expect_gradient_kernel_and_element_energies(model, *profile, h, no_unknowns, options, 3, 1e-10);
    free_named(h, "h_matrix");
  }
}

TEST_F(Assembly, ConductivityWithPhiRows) {
  make(MESH_BUILDER::hexahedra(2, 0.1), false);
  EXPECT_GT(no_unknowns, model.no_edges); // conductor nodes carry phi
  double *c = assemble(run_files().element_c_matrices, false);
  std::mt19937 random(5);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  std::vector<double> a(static_cast<std::size_t>(model.no_edges));
  for (double &v : a) v = value(random);
  // On the edge unknowns alone the global form is the sum over the conducting elements.
  ELEMENT_MATRIX_OPTIONS edges_only = options;
  expect_close(quadratic_form(*profile, c, to_unknowns(model, no_unknowns, a).data()),
               element_energy_sum(model, a, edges_only, false), 1e-11, 0.0);
  // A constant phi has no gradient: its phi columns sum to nothing in the node-node block.
  std::vector<double> x(static_cast<std::size_t>(no_unknowns), 0.0);
  for (int i = 0; i < model.no_nodes; ++i)
    if (const POTENTIAL_TERM *t = find_potential_term(model.nodes[i].potentials, PHI_NODE))
      x[static_cast<std::size_t>(t->position - 1)] = 1.0;
  EXPECT_LT(std::fabs(quadratic_form(*profile, c, x.data())), 1e-6); // sigma |grad 1|^2 = 0
  free_named(c, "c_matrix");
}

TEST_F(Assembly, PairOfEntriesOnOneVariableCountsTwice) {
  // One hexahedron whose second edge is tied to the first one's unknown, as a periodic image is:
  // the form at that unknown is K00 + 2 s0 s1 K01 + K11 (the off-diagonal term met twice).
  materials("2 0 0\n1 0 0 0 100 0 0 0 0\n2 0 0 5.8e7 1 0 0 0 0\n");
  model = MESH_BUILDER::hexahedra(1, 0.1).build();
  number_model(-1);
  const V_ELEMENT &element = model.v_elements[0];
  POTENTIAL_TERM &first = element.edges[0]->potentials->terms[0];
  POTENTIAL_TERM &second = element.edges[1]->potentials->terms[0];
  second.position = first.position;
  make_element_matrices(model, options);
  profile = build_model_profile(model, no_unknowns, profile_lower_with_diagonal, true);
  double *h = assemble(run_files().element_h_matrices, true);
  ELEMENT_MATRICES *matrices = new ELEMENT_MATRICES;
  TRANSFORM_SCRATCH scratch;
  element_matrices(element, options, *matrices, scratch);
  const double s0 = (element.edge_direction & 1u) ? 1.0 : -1.0;
  const double s1 = ((element.edge_direction >> 1) & 1u) ? 1.0 : -1.0;
  const double expected = matrices->h[packed_index(0, 0)] + 2.0 * s0 * s1 * matrices->h[packed_index(1, 0)] +
                          matrices->h[packed_index(1, 1)];
  const int v = first.position;
  expect_close(h[location_in_matrix(v, v, profile->row_head_pointers, profile->index)], expected, 1e-14, 0.0);
  delete matrices;
  free_named(h, "h_matrix");
}

TEST_F(Assembly, SecondMatrixOfAComplexPermeabilityIsItsImaginaryReluctivity) {
  // Every region of complex permeability mu0 (200 + 30 i): nu = (200 - 30 i) / (mu0 (200^2 + 30^2)),
  // so the e matrix is the h matrix times -30/200.
  CONTROL_DATA &control = writable_control_data();
  control.AC = 2;
  control.ac_mode = 2;
  materials("2 0 0\n1 0 0 0 1 0 1 0 0\n200 30\n2 0 0 0 1 0 1 0 0\n200 30\n");
  options.ac_mode = 2;
  model = MESH_BUILDER::tetrahedra(2, 0.1).build();
  number_model(0);
  open_ffile(run_files().element_e_matrices, "w"); // created by the element stage
  close_ffile(run_files().element_e_matrices);
  make_element_matrices(model, options);
  profile = build_model_profile(model, no_unknowns, profile_lower_with_diagonal, true);
  double *h = assemble(run_files().element_h_matrices, true);
  open_ffile(run_files().element_e_matrices, "r");
  double *e = assemble_e_matrix(*profile, model, run_files().element_e_matrices);
  close_ffile(run_files().element_e_matrices);
  double largest = 0.0;
  for (int k = 0; k < profile->size; ++k) largest = std::max(largest, std::fabs(h[k]));
  for (int k = 0; k < profile->size; ++k)
    EXPECT_NEAR(e[k], -30.0 / 200.0 * h[k], 1e-12 * largest) << k; // rounding of one product
  free_named(h, "h_matrix");
  free_named(e, "e_matrix");
}

TEST_F(Assembly, GmshBoxOfTetrahedra) {
  // The Gmsh mesh of the air box with an iron block and a copper plate (tests/data/mesh): with no
  // tree and a natural boundary every edge is an unknown; H annihilates discrete gradients and its
  // energy is the sum of the element energies. Every entry assembly touches exists in the profile,
  // or the location search would have stopped the job.
  std::string cards = "20 0 0\n";
  for (int mat = 1; mat <= 20; ++mat)
    cards += std::to_string(mat) + (mat == 10 ? " 0 0 0 1000 0 0 0 0\n" : " 0 0 0 1 0 0 0 0\n");
  materials(cards);
  write_file(files.dir().file("pre_geom.nas"),
             read_file(std::string(TESMORA_SOURCE_DIR) + "/tests/data/mesh/tet_free.bdf"));
  convert_mesh("pre_geom", 3);
  FFILE *file = files.open_card_text("pre_geom", read_file(files.dir().file("pre_geom")));
  read_pre_geom(model, file, 0, 0,
                MESH_READ_SETTINGS{.unit_factor = 1.0, .node_order = 1, .edge_order = 1, .quad_tri = 0});
  number_model(-1);
  ASSERT_EQ(no_unknowns, model.no_edges);
  make_element_matrices(model, options);
  profile = build_model_profile(model, no_unknowns, profile_lower_with_diagonal, true);
  double *h = assemble(run_files().element_h_matrices, true);
  // Round-off of sums of a few dozen terms.
  expect_gradient_kernel_and_element_energies(model, *profile, h, no_unknowns, options, 9, 1e-9);
  free_named(h, "h_matrix");
}

// The model's profile, gathered row by row and sorted, is the pattern that sorted insertion into
// per-row lists gives, for the lower and the full types, on an unstructured Gmsh mesh whose
// unknowns are shuffled so that rows are met in no order.
TEST_F(Assembly, ModelProfileIsThePatternOfTheElementsConnections) {
  materials("20 0 0\n" + [] {
    std::string cards;
    for (int mat = 1; mat <= 20; ++mat) cards += std::to_string(mat) + " 0 0 0 1 0 0 0 0\n";
    return cards;
  }());
  write_file(files.dir().file("pre_geom.nas"),
             read_file(std::string(TESMORA_SOURCE_DIR) + "/tests/data/mesh/tet_free.bdf"));
  convert_mesh("pre_geom", 3);
  FFILE *file = files.open_card_text("pre_geom", read_file(files.dir().file("pre_geom")));
  read_pre_geom(model, file, 0, 0,
                MESH_READ_SETTINGS{.unit_factor = 1.0, .node_order = 1, .edge_order = 1, .quad_tri = 0});
  number_model(-1);
  std::vector<int> shuffle(static_cast<std::size_t>(no_unknowns));
  std::iota(shuffle.begin(), shuffle.end(), 1);
  std::mt19937 random(11);
  std::shuffle(shuffle.begin(), shuffle.end(), random);
  for (int e = 0; e < model.no_edges; ++e)
    for (int k = 0; model.edges[e].potentials && k < model.edges[e].potentials->no_terms; ++k) {
      int &position = model.edges[e].potentials->terms[k].position;
      position = shuffle[static_cast<std::size_t>(position - 1)];
    }
  PROFILE_LISTS *lists = make_profile_lists(no_unknowns);
  CONNECTION_VECTOR *vector = make_connection_vector(8);
  for (int k = 0; k < model.no_v_elements; ++k) {
    clear_connection_vector(vector);
    for (int i = 0; i < model.v_elements[k].type->no_edges; ++i)
      if (const POTENTIAL_TERMS *t = model.v_elements[k].edges[i]->potentials)
        for (int j = 0; j < t->no_terms; ++j) add_to_connection_vector(vector, t->terms[j].position);
    add_connections(lists, vector);
  }
  for (const int type : {profile_lower_with_diagonal, profile_full}) {
    SCOPED_TRACE(type);
    MATRIX_PROFILE *expected = make_matrix_profile(no_unknowns, type);
    build_profile(expected, lists);
    MATRIX_PROFILE *built = build_model_profile(model, no_unknowns, type, true);
    ASSERT_EQ(built->size, expected->size);
    EXPECT_TRUE(std::equal(built->row_head_pointers, built->row_head_pointers + no_unknowns + 1,
                           expected->row_head_pointers));
    EXPECT_TRUE(std::equal(built->index, built->index + built->size, expected->index));
    free_matrix_profile(&expected);
    free_matrix_profile(&built);
  }
  free_connection_vector(&vector);
  free_profile_lists(&lists);
}

TEST_F(Assembly, GivenCurrentEdgesGoToCouplingAndMutual) {
  // One hexahedron whose edges 3 and 5 carry a given-current source (kind 12, source 1) instead
  // of unknowns: coupling_1[v] = -sum over i in {3,5} of K_ij s_i s_j, and the mutual term is
  // K_33 + K_55 + 2 s_3 s_5 K_53.
  materials("2 0 0\n1 0 0 0 100 0 0 0 0\n2 0 0 5.8e7 1 0 0 0 0\n");
  model = MESH_BUILDER::hexahedra(1, 0.1).build();
  number_model(-1);
  const V_ELEMENT &element = model.v_elements[0];
  for (int i : {3, 5}) element.edges[i]->potentials->terms[0] = POTENTIAL_TERM{1.0, 1, A_EDGE_GIVEN};
  make_element_matrices(model, options);
  profile = build_model_profile(model, no_unknowns, profile_lower_with_diagonal, true);
  SOURCE_COUPLING *coupling = make_source_coupling(1, no_unknowns);
  open_ffile(run_files().element_h_matrices, "r");
  double *h = assemble_h_matrix(*profile, model, run_files().element_h_matrices, coupling);
  close_ffile(run_files().element_h_matrices);
  ELEMENT_MATRICES *m = new ELEMENT_MATRICES;
  TRANSFORM_SCRATCH scratch;
  element_matrices(element, options, *m, scratch);
  auto k = [&](int i, int j) { return m->h[i >= j ? packed_index(i, j) : packed_index(j, i)]; };
  auto s = [&](int i) { return ((element.edge_direction >> i) & 1u) ? 1.0 : -1.0; };
  for (int j = 0; j < element.type->no_edges; ++j) {
    if (j == 3 || j == 5) continue;
    const int v = element.edges[j]->potentials->terms[0].position;
    const double expected = -(k(3, j) * s(3) + k(5, j) * s(5)) * s(j);
    expect_close(coupling->coupling[0][v - 1], expected, 1e-12, 1e-12 * std::fabs(k(0, 0))); // one product
  }
  expect_close(symmetric_entry(coupling->mutual, 0, 0), k(3, 3) + k(5, 5) + 2 * s(3) * s(5) * k(5, 3), 1e-12,
               0.0);
  delete m;
  free_named(h, "h_matrix");
  free_source_coupling(&coupling);
}

TEST_F(Assembly, MarksAndPhiScaleOfTheConductivityScatter) {
  make(MESH_BUILDER::hexahedra(2, 0.1), false);
  std::vector<int> marks(static_cast<std::size_t>(profile->size), -1);
  double *plain = assemble(run_files().element_c_matrices, false);
  open_ffile(run_files().element_c_matrices, "r");
  double *scaled =
      assemble_c_matrix(*profile, model, run_files().element_c_matrices, false, 2.0, marks.data());
  close_ffile(run_files().element_c_matrices);
  // An unknown is A when some edge holds it, else phi.
  std::vector<char> is_phi(static_cast<std::size_t>(no_unknowns), 1);
  for (int e = 0; e < model.no_edges; ++e)
    if (const POTENTIAL_TERM *t = find_potential_term(model.edges[e].potentials, A_EDGE))
      is_phi[static_cast<std::size_t>(t->position - 1)] = 0;
  int checked = 0;
  for (int row = 0; row < profile->dimension; ++row)
    for (int at = profile->row_head_pointers[row]; at < profile->row_head_pointers[row + 1]; ++at) {
      const int column = profile->index[at] - 1;
      if (marks[static_cast<std::size_t>(at)] < 0) continue; // not touched by a conductor
      ++checked;
      const bool row_phi = is_phi[static_cast<std::size_t>(row)],
                 column_phi = is_phi[static_cast<std::size_t>(column)];
      EXPECT_EQ(marks[static_cast<std::size_t>(at)], row_phi && column_phi ? 2 : 1);
      // phi rows and columns carry the scale; A-A entries don't.
      expect_close(scaled[at], (row_phi || column_phi ? 2.0 : 1.0) * plain[at], 1e-14, 0.0);
    }
  EXPECT_GT(checked, 0);
  free_named(plain, "c_matrix");
  free_named(scaled, "c_matrix");
}

namespace {

// The edge of the model whose ends are those of `edge` moved by `shift` along x, and +1 or -1 as
// it runs the same way or against; {nullptr, 0} when the mesh has no such edge.
std::pair<const EDGE *, double> translated_edge(const MESHED_MODEL &m, const EDGE &edge, double shift) {
  auto same = [](const NODE *a, const NODE *b, double dx) {
    return std::fabs(a->x + dx - b->x) < 1e-9 && std::fabs(a->y - b->y) < 1e-9 &&
           std::fabs(a->z - b->z) < 1e-9;
  };
  for (int e = 0; e < m.no_edges; ++e) {
    const EDGE &other = m.edges[e];
    if (same(edge.start, other.start, shift) && same(edge.end, other.end, shift)) return {&other, 1.0};
    if (same(edge.start, other.end, shift) && same(edge.end, other.start, shift)) return {&other, -1.0};
  }
  return {nullptr, 0.0};
}

// Dense n x n rows of a symmetric array on the profile.
std::vector<std::vector<double>> dense_symmetric(const MATRIX_PROFILE &p, const double *values) {
  std::vector<std::vector<double>> a(p.dimension, std::vector<double>(p.dimension, 0.0));
  for (int row = 0; row < p.dimension; ++row)
    for (int k = p.row_head_pointers[row]; k < p.row_head_pointers[row + 1]; ++k)
      a[row][p.index[k] - 1] = a[p.index[k] - 1][row] = values[k];
  return a;
}

} // namespace

TEST_F(Assembly, MovingConductorTermIsTheMassTimesTheUpwindDifference) {
  // 3x3x3 hexahedra of side 0.1, the conductors (material 2) moving along x. Every edge gets its
  // translated images as shifted variables: upstream (kind 5) one cell towards -x, downstream
  // (kind 6) towards +x, with the sign of their relative direction. The term is then, for each
  // ordered pair, v K_ij s_i s_j (A_j - A_image(j)): globally v C (I - S) with C the symmetric
  // conductivity matrix and S the map of each unknown to its image. The asymmetric pair must hold
  // H + v C (I - S): below the diagonal in the lower array, above it in the upper one (stored at
  // the transposed place), the diagonal in both. The upwind kind follows the sign of v.
  for (const double v : {3.0, -3.0}) {
    SCOPED_TRACE(v);
    free_matrix_profile(&profile);
    free_model_arrays(model);
    free_potential_store();
    if (!have_materials) materials("2 0 0\n1 0 0 0 100 0 0 0 0\n2 0 0 5.8e7 1 0 0 0 0\n");
    model = MESH_BUILDER::hexahedra(3, 0.1).build();
    number_model(-1);
    make_element_matrices(model, options);
    const int n = no_unknowns;
    std::vector<std::vector<double>> image(n, std::vector<double>(n, 0.0)); // S of the kind in use
    for (int e = 0; e < model.no_edges; ++e) {
      EDGE &edge = model.edges[e];
      const int b = edge.potentials->terms[0].position;
      for (const int kind : {UPWIND, DOWNWIND}) {
        const auto [other, sign] = translated_edge(model, edge, kind == UPWIND ? -0.1 : 0.1);
        if (!other) continue; // the inflow wall: the image is a fixed zero
        const int u = other->potentials->terms[0].position;
        add_potential_term(edge.potentials, kind, u, sign);
        if ((kind == UPWIND) == (v > 0)) image[b - 1][u - 1] = sign;
      }
    }
    const std::vector<double> velocities = conductor_velocities(model, {REGULAR_MESH{v, 2, {2}}});
    for (int k = 0; k < model.no_v_elements; ++k)
      EXPECT_EQ(velocities[k], model.v_elements[k].mat_id == 2 ? v : 0.0);
    profile = build_model_profile(model, n, profile_lower_with_diagonal, true, velocities.data());
    double *h = assemble(run_files().element_h_matrices, true);
    double *c = assemble(run_files().element_c_matrices, false);
    std::vector<double> lower(h, h + profile->size), upper = lower;
    open_ffile(run_files().element_c_matrices, "r");
    assemble_c_matrix_lower_upper(lower.data(), upper.data(), *profile, model, run_files().element_c_matrices,
                                  velocities.data());
    close_ffile(run_files().element_c_matrices);
    const auto dense_h = dense_symmetric(*profile, h), dense_c = dense_symmetric(*profile, c);
    double largest = 0.0;
    for (int k = 0; k < profile->size; ++k)
      largest = std::max(largest, std::fabs(h[k]) + std::fabs(v * c[k]));
    int upwind_entries = 0;
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) {
        double expected = dense_h[i][j] + v * dense_c[i][j];
        for (int b = 0; b < n; ++b) expected -= v * dense_c[i][b] * image[b][j];
        if (expected == 0.0 && dense_h[i][j] == 0.0 && dense_c[i][j] == 0.0) continue;
        const int at = location_in_matrix(i + 1, j + 1, profile->row_head_pointers, profile->index);
        if (dense_c[i][j] == 0.0 && expected != dense_h[i][j]) ++upwind_entries;
        const double actual = i >= j ? lower[at] : upper[at];
        EXPECT_NEAR(actual, expected, 1e-12 * largest) << i << " " << j; // rounding of a few sums
        if (i == j) {
          EXPECT_EQ(upper[at], lower[at]);
        }
      }
    EXPECT_GT(upwind_entries, 0); // the images reach beyond the element's own pattern
    free_named(h, "h_matrix");
    free_named(c, "c_matrix");
  }
}
