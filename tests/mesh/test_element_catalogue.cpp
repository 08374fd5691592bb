// The element tables: a walk over every row, face orientation and numbering, face edges,
// face points, the file-code rules, the searches, counts and face helpers.
#include "mesh/element_catalogue.hpp"

#include "job/report.hpp"

#include "mesh/element_test_support.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

// Reference coordinates are exact binary fractions; face points add and halve them.
constexpr double exact_tol = 1e-15;

POINT_3D node_at(const V_ELEMENT_TYPE &type, int node) { return type.node_coordinates[node - 1]; }

std::array<double, 3> minus(const POINT_3D &a, const POINT_3D &b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

bool is_pyramid13(const V_ELEMENT_TYPE &type) { return type.no_nodes == 13; }

class Types : public ::testing::TestWithParam<int> {};

} // namespace

TEST(ElementCatalogue, EveryRowIsComplete) {
  ASSERT_EQ(v_element_types().size(), 14u);
  ASSERT_EQ(s_element_types().size(), 8u);
  for (const V_ELEMENT_TYPE &type : v_element_types()) {
    SCOPED_TRACE(type_label(type));
    EXPECT_EQ(find_v_element_type(type.id), &type);
    EXPECT_TRUE(type.shape_function && type.coordinate_function && type.shape_derivatives &&
                type.edge_function && type.edge_curl && type.edge_coefficients && type.face_point);
    const V_ELEMENT_TYPE &linear = *find_v_element_type(type.linear_type);
    EXPECT_EQ(linear.edge_order, 1);
    EXPECT_EQ(linear.linear_type, linear.id);
    EXPECT_EQ(linear.gauss, type.gauss);
    if (type.quadratic_type >= 0) {
      EXPECT_EQ(find_v_element_type(type.quadratic_type)->linear_type, type.id);
    }
    // The file order names every node; the collapsed pyramids repeat the apex.
    std::set<int> named(type.input_node_order.begin(), type.input_node_order.end());
    EXPECT_EQ(static_cast<int>(named.size()), type.no_nodes);
    EXPECT_EQ(*named.begin(), 1);
    EXPECT_EQ(*named.rbegin(), type.no_nodes);
    for (const EDGE_ENDS &ends : type.edge_nodes) {
      EXPECT_GE(std::min(ends[0], ends[1]), 1);
      EXPECT_LE(std::max(ends[0], ends[1]), type.no_nodes);
    }
  }
  for (const S_ELEMENT_TYPE &type : s_element_types()) {
    EXPECT_EQ(find_s_element_type(type.id), &type);
    EXPECT_TRUE(type.shape_function && type.shape_derivatives && type.edge_function && type.edge_curl &&
                type.rotate_point);
    // Each rotation row is a permutation of the local nodes.
    for (const FACE_NODE_ROW &row : type.rotated_nodes) {
      std::set<int> seen(row.begin(), row.begin() + type.no_nodes);
      EXPECT_EQ(static_cast<int>(seen.size()), type.no_nodes) << type.name;
    }
  }
  EXPECT_EQ(find_v_element_type(14), nullptr);
  EXPECT_EQ(find_s_element_type(-1), nullptr);
}

// The right-hand normal of face_nodes_in points to the centre, that of face_nodes_out away
// from it; the out row keeps the first node and reverses the other corners.
TEST_P(Types, FacesAreOrientedAndMidNodesFollowTheirCorners) {
  const V_ELEMENT_TYPE &type = *find_v_element_type(GetParam());
  SCOPED_TRACE(type_label(type));
  for (int f = 0; f < type.no_faces; ++f) {
    SCOPED_TRACE("face " + std::to_string(f));
    const S_ELEMENT_TYPE &s = face_type(type, f);
    for (int outward = 0; outward < 2; ++outward) {
      const FACE_NODE_ROW &row = outward ? type.face_nodes_out[f] : type.face_nodes_in[f];
      const POINT_3D p0 = node_at(type, row[0]), p1 = node_at(type, row[1]), p2 = node_at(type, row[2]);
      const auto u = minus(p1, p0), v = minus(p2, p0);
      const std::array<double, 3> n = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                                       u[0] * v[1] - u[1] * v[0]};
      const auto to_centre = minus(type.center, p0);
      const double side = n[0] * to_centre[0] + n[1] * to_centre[1] + n[2] * to_centre[2];
      EXPECT_GT(outward ? -side : side, 0.0);
      // A mid node of the face sits halfway between the corners of its surface edge (the
      // 13-node pyramid's nodes 10 to 13 stand off the slant edges by design).
      if (s.no_nodes > s.no_corners && !(is_pyramid13(type) && f > 0)) {
        const S_ELEMENT_TYPE &corners = *find_s_element_type(s.linear_type);
        for (int e = 0; e < corners.no_edges; ++e) {
          const POINT_3D a = node_at(type, row[corners.edge_nodes[e][0] - 1]);
          const POINT_3D b = node_at(type, row[corners.edge_nodes[e][1] - 1]);
          const POINT_3D m = node_at(type, row[s.mid_nodes[e] - 1]);
          for (int d = 0; d < 3; ++d) expect_close(m[d], (a[d] + b[d]) / 2.0, 0.0, exact_tol);
        }
      }
    }
    EXPECT_EQ(type.face_nodes_out[f][0], type.face_nodes_in[f][0]);
    for (int k = 1; k < s.no_corners; ++k)
      EXPECT_EQ(type.face_nodes_out[f][k], type.face_nodes_in[f][s.no_corners - k]);
  }
}

// Surface edge k joins surface nodes p and q; the element edge named in the face row joins
// the element's nodes at p and q, in the same direction where the entry is positive.
TEST_P(Types, FaceEdgesJoinTheFaceNodesWithTheirDirection) {
  const V_ELEMENT_TYPE &type = *find_v_element_type(GetParam());
  SCOPED_TRACE(type_label(type));
  for (int f = 0; f < type.no_faces; ++f) {
    const S_ELEMENT_TYPE &s = face_type(type, f);
    for (int outward = 0; outward < 2; ++outward) {
      SCOPED_TRACE("face " + std::to_string(f) + (outward ? " out" : " in"));
      const FACE_NODE_ROW &nodes = outward ? type.face_nodes_out[f] : type.face_nodes_in[f];
      const FACE_EDGE_ROW &edges = outward ? type.face_edges_out[f] : type.face_edges_in[f];
      for (int k = 0; k < s.no_edges; ++k) {
        const int start = nodes[s.edge_nodes[k][0] - 1];
        const int end = nodes[s.edge_nodes[k][1] - 1];
        const int entry = edges[k];
        const EDGE_ENDS &element_edge = type.edge_nodes[std::abs(entry) - 1];
        if (entry > 0) {
          EXPECT_EQ(element_edge[0], start) << "surface edge " << k + 1;
          EXPECT_EQ(element_edge[1], end) << "surface edge " << k + 1;
        } else {
          EXPECT_EQ(element_edge[0], end) << "surface edge " << k + 1;
          EXPECT_EQ(element_edge[1], start) << "surface edge " << k + 1;
        }
      }
    }
  }
}

// face_point carries each node of the surface type onto the element node that face_nodes_out
// puts there.
TEST_P(Types, FacePointsLieOnTheirFace) {
  const V_ELEMENT_TYPE &type = *find_v_element_type(GetParam());
  SCOPED_TRACE(type_label(type));
  for (int f = 0; f < type.no_faces; ++f) {
    const S_ELEMENT_TYPE &s = face_type(type, f);
    const int checked = is_pyramid13(type) && f > 0 ? s.no_corners : s.no_nodes;
    for (int k = 0; k < checked; ++k) {
      double p[3];
      type.face_point(f, s.node_coordinates[k][0], s.node_coordinates[k][1], p);
      const POINT_3D expected = node_at(type, type.face_nodes_out[f][k]);
      SCOPED_TRACE("face " + std::to_string(f) + " node " + std::to_string(k + 1));
      for (int d = 0; d < 3; ++d) expect_close(p[d], expected[d], 0.0, exact_tol);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllVolumeTypes, Types, ::testing::Range(0, no_v_element_types));

TEST(ElementCatalogue, FileCodesFollowNodeAndEdgeOrder) {
  const auto name = [](int code, bool collapsed, int node, int edge, int quad_tri) {
    const V_ELEMENT_TYPE *t = select_v_element_type(code, collapsed, node, edge, quad_tri);
    return t ? std::string(t->name) + "/" + std::to_string(t->id) : std::string("none");
  };
  // First-order codes do not depend on the settings.
  EXPECT_EQ(name(308, false, 2, 2, 0), "HEXA_N8E12/0");
  EXPECT_EQ(name(306, false, 1, 1, 0), "PRISM_N6E9/4");
  EXPECT_EQ(name(306, true, 1, 1, 0), "PYRAMID_N5E8/11");
  EXPECT_EQ(name(304, false, 1, 1, 0), "TETRA_N4E6/6");
  EXPECT_EQ(name(305, false, 1, 1, 0), "PYRAMID_N5E8/10");
  // NODE_ORDER 1: the defaults stay (the reader takes their linear types).
  EXPECT_EQ(name(320, false, 1, 1, 0), "HEXA_N20E36/2");
  EXPECT_EQ(name(310, false, 1, 2, 1), "TETRA_N10E6/7");
  EXPECT_EQ(name(315, true, 1, 1, 0), "PYRAMID_N13E8/13");
  // NODE_ORDER 2, EDGE_ORDER 1.
  EXPECT_EQ(name(320, false, 2, 1, 0), "HEXA_N20E12/1");
  EXPECT_EQ(name(315, false, 2, 1, 0), "PRISM_N15E9/5");
  EXPECT_EQ(name(310, false, 2, 1, 1), "TETRA_N10E6/7");
  EXPECT_EQ(name(314, false, 2, 1, 0), "PYRAMID_N13E8/12");
  // NODE_ORDER 2, EDGE_ORDER 2: the tetrahedron follows QUAD_TRI.
  EXPECT_EQ(name(320, false, 2, 2, 0), "HEXA_N20E36/2");
  EXPECT_EQ(name(310, false, 2, 2, 1), "TETRA_N10E18/8");
  EXPECT_EQ(name(310, false, 2, 2, 0), "TETRA_N10E24/9");
  EXPECT_EQ(name(315, false, 2, 2, 0), "PRISM_N15E9/5");
  EXPECT_EQ(name(999, false, 2, 2, 0), "none");
  EXPECT_STREQ(select_s_element_type(208)->name, "QUAD_N8E4");
  EXPECT_STREQ(select_s_element_type(206)->name, "TRIANGLE_N6E3");
  EXPECT_STREQ(select_s_element_type(203)->name, "TRIANGLE_N3E3");
  EXPECT_EQ(select_s_element_type(205), nullptr);
}

TEST(ElementCatalogue, BuildIsRunOnceAndServesTheCodes) {
  const CHILD_JOB child = run_job_in_child([] {
    if (v_element_type_for_code(320, false) != nullptr) stop_job(2);
    build_v_element_types(2, 2, 0);
    build_v_element_types(2, 1, 1); // ignored: the tables are built once
    if (v_element_type_for_code(320, false)->id != 2) stop_job(3);
    if (v_element_type_for_code(310, false)->id != 9) stop_job(4);
    if (s_element_type_for_code(204)->id != 0) stop_job(5);
  });
  EXPECT_EQ(child.exit_status, 0);
}

TEST(ElementCatalogue, NeutralCodeSearchTakesTheFirstMatch) {
  EXPECT_STREQ(find_v_element_type_by_neutral_code(12)->name, "HEXA_N20E12");
  EXPECT_STREQ(find_v_element_type_by_neutral_code(7)->name, "PRISM_N6E9");
  EXPECT_STREQ(find_v_element_type_by_neutral_code(11)->name, "PRISM_N15E9");
  EXPECT_EQ(find_v_element_type_by_neutral_code(14)->id, 10);
  EXPECT_EQ(find_v_element_type_by_neutral_code(99), nullptr);
}

TEST(ElementCatalogue, CountsArePerType) {
  const int ids[] = {0, 0, 6, 10, 6, 6};
  count_v_element_types(6, ids);
  EXPECT_EQ(v_element_type_count(0), 2);
  EXPECT_EQ(v_element_type_count(6), 3);
  EXPECT_EQ(v_element_type_count(10), 1);
  EXPECT_EQ(v_element_type_count(4), 0);
  count_v_element_types(0, ids);
  EXPECT_EQ(v_element_type_count(0), 0);
  const int surface_ids[] = {4, 4, 0};
  count_s_element_types(3, surface_ids);
  EXPECT_EQ(s_element_type_count(4), 2);
}

TEST(ElementCatalogue, FaceNodesRotateWithTheirMidNodes) {
  const V_ELEMENT_TYPE &hexa20 = *find_v_element_type(1);
  int nodes[20];
  for (int i = 0; i < 20; ++i) nodes[i] = 100 + i + 1; // node ids 101..120
  int out[9];
  EXPECT_EQ(face_nodes(hexa20, nodes, 0, 0, 0, out).id, 1);
  EXPECT_EQ(std::vector<int>(out, out + 8), (std::vector<int>{101, 102, 103, 104, 109, 110, 113, 116}));
  // Starting at the second corner: corners 2 3 4 1; mid of (2,3) is 16, of (1,4)... by position:
  // quad mid 5 joins corners 1-2 (now 102-103: node 116), 6 joins 4-3 (101-104: 113),
  // 7 joins 1-4 (102-101: 109), 8 joins 2-3 (103-104: 110).
  face_nodes(hexa20, nodes, 0, 1, 0, out);
  EXPECT_EQ(std::vector<int>(out, out + 8), (std::vector<int>{102, 103, 104, 101, 116, 113, 109, 110}));
  face_corner_nodes(hexa20, nodes, 1, 2, 1, out);
  EXPECT_EQ(std::vector<int>(out, out + 4), (std::vector<int>{107, 108, 105, 106}));
  const V_ELEMENT_TYPE &tetra10 = *find_v_element_type(7);
  face_nodes(tetra10, nodes, 3, 1, 0, out); // 1 2 3 5 8 6 from the second corner
  EXPECT_EQ(std::vector<int>(out, out + 6), (std::vector<int>{102, 103, 101, 108, 106, 105}));
}

TEST(ElementCatalogue, FaceEdgesNeedBuiltEdges) {
  const V_ELEMENT_TYPE &prism = *find_v_element_type(4);
  int out[4], signs[4];
  EXPECT_EQ(face_edges(prism, nullptr, 1, 0, out), 0);
  const int edges[9] = {11, 12, 13, 14, 15, 16, 17, 18, 19};
  const int directions[9] = {1, 1, 1, 1, -1, 1, 1, 1, 1};
  ASSERT_EQ(face_edges(prism, edges, 1, 0, out), 3); // -6 -5 -4
  EXPECT_EQ(std::vector<int>(out, out + 3), (std::vector<int>{16, 15, 14}));
  ASSERT_EQ(face_edges_signed(prism, edges, directions, 1, 0, out, signs), 3);
  EXPECT_EQ(std::vector<int>(signs, signs + 3), (std::vector<int>{-1, 1, -1}));
}

TEST(ElementCatalogue, EdgeCoefficients) {
  double out[12];
  const V_ELEMENT_TYPE &hexa = *find_v_element_type(0);
  EXPECT_EQ(hexa.edge_coefficients(2, 3, out), -1.0);
  // to = 3: +1 on entry 1; from = 2: -1 on entries 1 and 4.
  EXPECT_EQ(std::vector<double>(out, out + 12), (std::vector<double>{0, 0, 0, -1, 0, 0, 0, 0, 0, 0, 0, 0}));
  hexa.edge_coefficients(4, 5, out); // to 5: -1 on entries 2 and 5; from 4: -1 on entry 8
  EXPECT_EQ(std::vector<double>(out, out + 12), (std::vector<double>{0, -1, 0, 0, -1, 0, 0, -1, 0, 0, 0, 0}));
  const V_ELEMENT_TYPE &prism = *find_v_element_type(4);
  EXPECT_EQ(prism.edge_coefficients(5, 2, out), -1.0);
  EXPECT_EQ(std::vector<double>(out, out + 9), (std::vector<double>{1, 0, -1, 1, 0, 0, 0, 0, 0}));
  EXPECT_EQ(find_v_element_type(6)->edge_coefficients(2, 3, out), 0.0); // tetrahedra have none
}
