// Model building on structured meshes of every family: edge orientation, Euler counts, the
// outer boundary, planes, the tree against a direct implementation of the label relabelling,
// and the numbering of unknowns.
#include "input/control_data_writable.hpp"
#include "job/memory.hpp"
#include "materials/material_tables.hpp"
#include "mesh/element_catalogue.hpp"
#include "mesh/gauss.hpp"
#include "mesh/mesh_builder.hpp"
#include "mesh/model_building.hpp"
#include "mesh/model_report.hpp"
#include "mesh/potentials.hpp"
#include "mesh/saved_model.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numeric>
#include <utility>
#include <vector>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

// A model built from a mesh builder, with materials 1 (iron) and 2 (copper, conducting).
class ModelTest : public ::testing::Test {
protected:
  void SetUp() override {
    writable_control_data() = CONTROL_DATA{};
    writable_control_data().release = 12.0;
    read_material_cards(
        files.open_card_text("materials", "2 0 0\n1 0 0 0 1000 0 0 0 0\n2 0 0 5.8e7 1 0 0 0 0\n"), 1);
    make_gauss(3, 7, 5);
  }
  void TearDown() override {
    free_gauss(active_gauss());
    free_model_arrays(model);
    free_potential_store();
  }
  void make(const MESH_BUILDER &builder, const BOUNDARY_DATA &boundary, int tree_gauge) {
    free_model_arrays(model);
    model = builder.build();
    make_model(model, boundary, tree_gauge, false);
  }
  int count_edges(const std::function<bool(const EDGE &)> &test) const {
    int count = 0;
    for (int e = 0; e < model.no_edges; ++e) count += test(model.edges[e]) ? 1 : 0;
    return count;
  }
  int count_nodes(const std::function<bool(const NODE &)> &test) const {
    int count = 0;
    for (int i = 0; i < model.no_nodes; ++i) count += test(model.nodes[i]) ? 1 : 0;
    return count;
  }
  ScopedJobFiles files;
  MESHED_MODEL model;
};

BOUNDARY_DATA natural_boundary() {
  BOUNDARY_DATA b;
  b.far_boundary_condition = 1;
  return b;
}

std::vector<MESH_BUILDER> every_family(int n) {
  return {MESH_BUILDER::hexahedra(n, 0.1), MESH_BUILDER::tetrahedra(n, 0.1), MESH_BUILDER::prisms(n, 0.1),
          MESH_BUILDER::pyramids(n, 0.1)};
}

// The tree as the label array builds it: every merge relabels all nodes of one label.
std::vector<char> relabelling_tree(const MESHED_MODEL &m, int tree_gauge, int far_boundary_condition) {
  std::vector<int> label(static_cast<std::size_t>(m.no_nodes));
  std::iota(label.begin(), label.end(), 0);
  std::vector<char> tree(static_cast<std::size_t>(m.no_edges), 0);
  auto index = [&](const NODE *n) { return static_cast<std::size_t>(n - m.nodes); };
  auto join = [&](const EDGE &e) {
    const int from = label[index(e.end)];
    const int to = label[index(e.start)];
    if (from == to) return false;
    for (int &l : label)
      if (l == from) l = to;
    return true;
  };
  if (tree_gauge == -1) return tree;
  for (int e = 0; e < m.no_edges; ++e)
    if (m.edges[e].on_Bn0) join(m.edges[e]);
  if (far_boundary_condition != 1)
    for (int e = 0; e < m.no_edges; ++e)
      if (m.edges[e].on_bnd) join(m.edges[e]);
  for (int pass = 0; pass < 2; ++pass)
    for (int e = 0; e < m.no_edges; ++e) {
      const EDGE &edge = m.edges[e];
      if ((pass == 0) != (edge.on_cnd != 0)) continue;
      double weight = 1.0;
      if (tree_gauge >= 1) {
        const double d[3] = {edge.end->x - edge.start->x, edge.end->y - edge.start->y,
                             edge.end->z - edge.start->z};
        weight = d[tree_gauge - 1] * d[tree_gauge - 1] / (d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
      }
      if (weight >= 0.933 && join(edge)) tree[static_cast<std::size_t>(e)] = 1;
    }
  return tree;
}

} // namespace

TEST_F(ModelTest, EdgesRunAsTheFirstElementThatMeetsThem) {
  for (const MESH_BUILDER &builder : every_family(2)) {
    make(builder, natural_boundary(), 0);
    SCOPED_TRACE(model.v_elements[0].type->name);
    std::vector<char> seen(static_cast<std::size_t>(model.no_edges), 0);
    for (int k = 0; k < model.no_v_elements; ++k) {
      const V_ELEMENT &element = model.v_elements[k];
      for (int i = 0; i < element.type->no_edges; ++i) {
        const EDGE &edge = *element.edges[i];
        const NODE *a = element.nodes[element.type->edge_nodes[static_cast<std::size_t>(i)][0] - 1];
        const NODE *b = element.nodes[element.type->edge_nodes[static_cast<std::size_t>(i)][1] - 1];
        const bool forward = (element.edge_direction >> i) & 1u;
        ASSERT_EQ(forward ? edge.start : edge.end, a);
        ASSERT_EQ(forward ? edge.end : edge.start, b);
        // The first element that meets an edge gives its direction.
        if (!seen[static_cast<std::size_t>(edge.id - 1)]) {
          EXPECT_TRUE(forward);
        }
        seen[static_cast<std::size_t>(edge.id - 1)] = 1;
      }
    }
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), model.no_edges);
  }
  // Hexahedra: 3 n (n+1)^2 edges on an n^3 grid, and edges are numbered in creation order.
  make(MESH_BUILDER::hexahedra(3, 0.1), natural_boundary(), 0);
  EXPECT_EQ(model.no_edges, 3 * 3 * 16);
  EXPECT_EQ(model.edges[0].id, 1);
  EXPECT_EQ(model.edges[0].next, &model.edges[1]);
}

TEST_F(ModelTest, EulerCharacteristicOfTheSolidAndItsBoundary) {
  for (const MESH_BUILDER &builder : every_family(3)) {
    make(builder, natural_boundary(), 0);
    SCOPED_TRACE(model.v_elements[0].type->name);
    const FACE_COUNTS faces = count_faces(model);
    // A solid cube: V - E + F - C = 1; its surface, a sphere: V - E + F = 2.
    EXPECT_EQ(model.no_nodes - model.no_edges + faces.faces - model.no_v_elements, 1);
    const int boundary_nodes = count_nodes([](const NODE &n) { return n.on_bnd; });
    const int boundary_edges = count_edges([](const EDGE &e) { return e.on_bnd; });
    EXPECT_EQ(boundary_nodes - boundary_edges + faces.outer_faces, 2);
    EXPECT_EQ(boundary_nodes, 4 * 4 * 4 - 2 * 2 * 2); // the grid's nodes less its inner ones
  }
}

TEST_F(ModelTest, SpanningTreeOnAConnectedMeshWithANaturalBoundary) {
  for (const MESH_BUILDER &builder : every_family(3)) {
    make(builder, natural_boundary(), 0);
    SCOPED_TRACE(model.v_elements[0].type->name);
    // nodes - 1 edges, and no cycle: each tree edge joins two different components.
    std::vector<int> parent(static_cast<std::size_t>(model.no_nodes));
    std::iota(parent.begin(), parent.end(), 0);
    std::function<int(int)> root = [&](int i) {
      return parent[static_cast<std::size_t>(i)] == i
                 ? i
                 : parent[static_cast<std::size_t>(i)] = root(parent[static_cast<std::size_t>(i)]);
    };
    int tree_edges = 0;
    for (int e = 0; e < model.no_edges; ++e) {
      const EDGE &edge = model.edges[e];
      if (!edge.tree) continue;
      ++tree_edges;
      const int a = root(static_cast<int>(edge.start - model.nodes));
      const int b = root(static_cast<int>(edge.end - model.nodes));
      ASSERT_NE(a, b) << "cycle at edge " << edge.id;
      parent[static_cast<std::size_t>(a)] = b;
    }
    EXPECT_EQ(tree_edges, model.no_nodes - 1);
    // Conductor edges (material 2 of the hexahedra) enter first.
    VARIABLE_OPTIONS options;
    options.far_boundary_condition = 1;
    EXPECT_EQ(make_variables(model, options), model.no_edges - tree_edges);
  }
}

TEST_F(ModelTest, TreeMatchesTheRelabellingOfTheLabelArray) {
  BOUNDARY_DATA boundary;
  boundary.bn0_planes = {PLANE{1, 0, 0, 0}}; // x = 0
  for (const MESH_BUILDER &builder : every_family(3)) {
    for (const int far : {0, 1}) {
      for (const int gauge : {0, 1, 2, 3}) {
        boundary.far_boundary_condition = far;
        make(builder, boundary, gauge);
        SCOPED_TRACE(std::string(model.v_elements[0].type->name) + " far " + std::to_string(far) + " gauge " +
                     std::to_string(gauge));
        const std::vector<char> expected = relabelling_tree(model, gauge, far);
        for (int e = 0; e < model.no_edges; ++e)
          ASSERT_EQ(model.edges[e].tree, expected[static_cast<std::size_t>(e)]) << e;
        // Fixed edges never enter the tree; A unknowns are the edges left.
        const int fixed = count_edges([&](const EDGE &e) { return e.on_Bn0 || (far == 0 && e.on_bnd); });
        const int tree = count_edges([](const EDGE &e) { return e.tree; });
        EXPECT_EQ(count_edges([&](const EDGE &e) { return e.tree && (e.on_Bn0 || (far == 0 && e.on_bnd)); }),
                  0);
        VARIABLE_OPTIONS options;
        options.far_boundary_condition = far;
        EXPECT_EQ(make_variables(model, options), model.no_edges - tree - fixed);
      }
    }
  }
}

TEST_F(ModelTest, AxisTreeIsEmptyWhenNoEdgeLiesNearTheAxis) {
  MESH_BUILDER builder = MESH_BUILDER::hexahedra(2, 0.1);
  const double c = std::cos(M_PI / 4);
  builder.rotate({1, 0, 0, 0, c, -c, 0, c, c}); // 45 degrees about x: no edge within 15 degrees of z
  make(builder, natural_boundary(), 3);
  EXPECT_EQ(count_edges([](const EDGE &e) { return e.tree; }), 0);
  make(builder, natural_boundary(), 1); // edges along x stay along x
  EXPECT_GT(count_edges([](const EDGE &e) { return e.tree; }), 0);
  make(builder, natural_boundary(), -1);
  EXPECT_EQ(count_edges([](const EDGE &e) { return e.tree; }), 0);
}

TEST_F(ModelTest, PlanesMarkTheirFacesAndHtWinsOnAFaceOnBoth) {
  BOUNDARY_DATA boundary = natural_boundary();
  boundary.bn0_planes = {PLANE{1, 0, 0, 0}, PLANE{0, 0, 1, -0.3}}; // x = 0, z = 0.3
  boundary.ht0_planes = {PLANE{0, 1, 0, 0}, PLANE{1, 0, 0, 0}};    // y = 0, and x = 0 again
  make(MESH_BUILDER::hexahedra(3, 0.1), boundary, 0);
  for (int i = 0; i < model.no_nodes; ++i) {
    const NODE &n = model.nodes[i];
    const bool x0 = std::fabs(n.x) < 1e-9, y0 = std::fabs(n.y) < 1e-9, z3 = std::fabs(n.z - 0.3) < 1e-9;
    EXPECT_EQ(n.on_Ht0, x0 || y0) << i;
    EXPECT_EQ(n.on_Bn0, z3) << i; // x = 0 takes the Ht=0 branch
  }
  // A node on z = 0.3 and y = 0 has both flags. Faces on planes are no outer boundary: only the
  // faces x = 0.3, y = 0.3 and z = 0 are.
  EXPECT_GT(count_nodes([](const NODE &n) { return n.on_Bn0 && n.on_Ht0; }), 0);
  for (int i = 0; i < model.no_nodes; ++i) {
    const NODE &n = model.nodes[i];
    const bool outer = std::fabs(n.x - 0.3) < 1e-9 || std::fabs(n.y - 0.3) < 1e-9 || std::fabs(n.z) < 1e-9;
    EXPECT_EQ(n.on_bnd, outer) << i;
  }
}

TEST_F(ModelTest, LinesOfFixedAMarkTheirEdgesAndNodes) {
  BOUNDARY_DATA boundary = natural_boundary();
  boundary.a_fixed_lines = {A_FIXED_LINE{{0, 0, 0}, {0, 0, 0.3}}}; // the z axis
  make(MESH_BUILDER::hexahedra(3, 0.1), boundary, 0);
  EXPECT_EQ(count_edges([](const EDGE &e) { return e.on_Bn0; }), 3);
  EXPECT_EQ(count_nodes([](const NODE &n) { return n.on_Bn0; }), 4);
}

TEST_F(ModelTest, ConductorNodesCarryTheElectricPotential) {
  make(MESH_BUILDER::hexahedra(2, 0.1), natural_boundary(), 0);
  // Material 2 conducts: its elements, its edges and its nodes are marked.
  int conductor_elements = 0;
  for (int k = 0; k < model.no_v_elements; ++k) conductor_elements += model.v_elements[k].conductor;
  EXPECT_EQ(conductor_elements, 4);
  const int conductor_nodes = count_nodes([](const NODE &n) { return n.on_cnd; });
  EXPECT_GT(conductor_nodes, 0);
  VARIABLE_OPTIONS options;
  options.far_boundary_condition = 1;
  options.uses_phi = true;
  const int with_phi = make_variables(model, options);
  const int tree = count_edges([](const EDGE &e) { return e.tree; });
  EXPECT_EQ(with_phi, model.no_edges - tree + conductor_nodes);
  // Terms: a free edge has one A term of +1; positions are 1..n without gaps.
  std::vector<int> used(static_cast<std::size_t>(with_phi) + 1, 0);
  for (int e = 0; e < model.no_edges; ++e) {
    const POTENTIAL_TERM *term = find_potential_term(model.edges[e].potentials, A_EDGE);
    ASSERT_EQ(term != nullptr, !model.edges[e].tree);
    if (term) {
      EXPECT_EQ(term->coefficient, 1.0);
      ++used[static_cast<std::size_t>(term->position)];
    }
  }
  for (int i = 0; i < model.no_nodes; ++i)
    if (const POTENTIAL_TERM *term = find_potential_term(model.nodes[i].potentials, PHI_NODE))
      ++used[static_cast<std::size_t>(term->position)];
  for (int p = 1; p <= with_phi; ++p) EXPECT_EQ(used[static_cast<std::size_t>(p)], 1) << p;
}

TEST(PotentialTerms, AddMergesReusesAndSkipsZero) {
  POTENTIAL_TERMS *terms = nullptr;
  add_potential_term(terms, A_EDGE, 3, 0.0);
  EXPECT_EQ(terms, nullptr); // a zero coefficient makes no list
  add_potential_term(terms, A_EDGE, 3, 0.5);
  add_potential_term(terms, A_EDGE, 3, 0.25);
  ASSERT_EQ(terms->no_terms, 1);
  EXPECT_EQ(terms->terms[0].coefficient, 0.75);
  add_potential_term(terms, A_EDGE, 4, -1.0);
  add_potential_term(terms, PHI_NODE, 3, 1.0);
  add_potential_term(terms, OMEGA_NODE, 9, 2.0); // grows past the first chunk
  ASSERT_EQ(terms->no_terms, 4);
  terms->terms[1].name = FREE_TERM;
  add_potential_term(terms, A_EDGE_GIVEN, 1, 1.0); // takes the free slot
  EXPECT_EQ(terms->no_terms, 4);
  EXPECT_EQ(terms->terms[1].name, A_EDGE_GIVEN);
  EXPECT_EQ(find_potential_term(terms, OMEGA_NODE)->position, 9);
  EXPECT_EQ(find_potential_term(terms, UPWIND), nullptr);
  EXPECT_EQ(find_potential_term(nullptr, A_EDGE), nullptr);
  free_potential_store();
}

TEST_F(ModelTest, SavedModelRestoresToTheSameTables) {
  BOUNDARY_DATA boundary;
  boundary.bn0_planes = {PLANE{0, 0, 1, 0}};
  for (const MESH_BUILDER &builder : every_family(2)) {
    make(builder, boundary, 0);
    compute_element_geometry(model);
    SCOPED_TRACE(model.v_elements[0].type->name);
    FFILE *file = create_ffile("mesh_data", 1);
    open_ffile(file, "w");
    save_model(model, file);
    close_ffile(file);
    open_ffile(file, "r");
    MESHED_MODEL restored;
    restore_model(restored, file);
    close_ffile(file);
    free_ffile(file, "ffile");

    auto tables = [](const MESHED_MODEL &m) {
      std::FILE *out = std::tmpfile();
      print_nodes(out, m);
      print_edges(out, m);
      print_v_elements(out, m);
      print_s_elements(out, m);
      VARIABLE_OPTIONS options;
      make_variables(const_cast<MESHED_MODEL &>(m), options);
      print_potentials(out, m);
      std::rewind(out);
      std::string text;
      for (int c; (c = std::fgetc(out)) != EOF;) text.push_back(static_cast<char>(c));
      std::fclose(out);
      return text;
    };
    const std::string original = tables(model);
    EXPECT_EQ(tables(restored), original);
    EXPECT_NE(original.find("Edges        no_edges = "), std::string::npos);
    free_model_arrays(restored);
  }
}

TEST_F(ModelTest, ElementGeometryGivesCentresAndTheVolumeOfTheCube) {
  for (const MESH_BUILDER &builder : every_family(2)) {
    make(builder, natural_boundary(), 0);
    compute_element_geometry(model);
    SCOPED_TRACE(model.v_elements[0].type->name);
    double volume = 0.0;
    for (int k = 0; k < model.no_v_elements; ++k) volume += model.v_elements[k].volume;
    expect_close(volume, 0.2 * 0.2 * 0.2, 1e-12, 0.0); // straight-sided elements: exact quadrature
    const V_ELEMENT &first = model.v_elements[0];
    for (int d = 0; d < 3; ++d) {
      EXPECT_GT(first.center[d], 0.0);
      EXPECT_LT(first.center[d], 0.1 + 1e-12);
    }
  }
}

TEST_F(ModelTest, RegionNeighboursAreTheMaterialPairsThatShareAFace) {
  // The hexahedral grid alternates materials 1 and 2 like a chequerboard; the tetrahedral one
  // is all material 1, many shared faces but no pair.
  model = MESH_BUILDER::hexahedra(3, 0.1).build();
  EXPECT_EQ(find_region_neighbours(model), (std::vector<std::pair<int, int>>{{1, 2}}));
  free_model_arrays(model);
  model = MESH_BUILDER::tetrahedra(2, 0.1).build();
  EXPECT_TRUE(find_region_neighbours(model).empty());
  // Unit cubes by their low corners: A (material 1) at the origin, B (3) beside it along x,
  // D (5) on top of B along y, E (1) on top of A along z, and C (2) touching A along an edge
  // only. Faces are shared by A-B, B-D and A-E (one material); A-D, B-E and A-C share edges.
  const V_ELEMENT_TYPE &hexa = *select_v_element_type(308, false, 1, 1, 0);
  MESH_BUILDER cubes;
  auto add_cube = [&](double x, double y, double z, int mat_id) {
    std::vector<POINT> positions;
    for (const POINT_3D &r : hexa.node_coordinates)
      positions.push_back({x + (r[0] + 1) / 2, y + (r[1] + 1) / 2, z + (r[2] + 1) / 2});
    cubes.add(hexa, positions, mat_id);
  };
  add_cube(0, 0, 0, 1);
  add_cube(1, 0, 0, 3);
  add_cube(-1, 1, 0, 2);
  add_cube(1, 1, 0, 5);
  add_cube(0, 0, 1, 1);
  free_model_arrays(model);
  model = cubes.build();
  EXPECT_EQ(find_region_neighbours(model), (std::vector<std::pair<int, int>>{{1, 3}, {3, 5}}));
}
