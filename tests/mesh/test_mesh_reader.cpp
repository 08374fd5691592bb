// The native mesh reader: blocks, units, codes and their types, collapsed prisms and
// hexahedra (by their volumes), node orders, the direct formats, the driver and every fault.
#include "mesh/mesh_reader.hpp"

#include "job/report.hpp"
#include "job/run_files.hpp"
#include "mesh/mesh_converters.hpp"
#include "mesh/mesh_test_support.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

// Exact quadrature of an affine element's constant det J: rounding only.
constexpr double volume_tol = 1e-13;

MESH_READ_SETTINGS settings_with(int node_order = 1, double factor = 1.0) {
  return {.unit_factor = factor, .node_order = node_order, .edge_order = 1, .quad_tri = 0};
}

void read_text(ScopedJobFiles &files, MESHED_MODEL &mesh, const std::string &text,
               const MESH_READ_SETTINGS &settings, int want_lines = 0, int nodes_only = 0) {
  FFILE *file = files.open_card_text("pre_geom", text);
  read_pre_geom(mesh, file, want_lines, nodes_only, settings);
}

std::string grid_line(int id, double x, double y, double z) {
  char text[128];
  std::snprintf(text, sizeof text, "%12d %16.8e %16.8e %16.8e\n", id, x, y, z);
  return text;
}

std::string element_line(int id, int code, int mat, const std::vector<int> &nodes) {
  std::string text = std::to_string(id) + " " + std::to_string(code) + " " + std::to_string(mat);
  for (int n : nodes) text += " " + std::to_string(n);
  return text + "\n";
}

// A unit cube's corners, ids 1..8 in hexahedron order.
std::string cube_grid() {
  const double c[8][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                          {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
  std::string text = "GRID    (I12,3E17.8)\n";
  for (int i = 0; i < 8; ++i) text += grid_line(i + 1, c[i][0], c[i][1], c[i][2]);
  return text + "-1\n";
}

} // namespace

TEST(PreGeom, BlocksUnitsCodesAndSorting) {
  ScopedJobFiles files;
  ScopedMesh m;
  // Two GRID blocks out of order, comments between blocks, two CONC blocks, an unknown volume
  // code and an unknown code read away, a surface element and a line element.
  std::string text = "comment line before anything\nUNIT MM\nGRID    (I12,3E17.8)\n";
  text += grid_line(30, 1000, 0, 0) + grid_line(10, 0, 0, 0) + "-1\nfree text\n";
  text += "GRID    (I12,3E17.8)\n" + grid_line(20, 0, 1000, 0) + grid_line(40, 0, 0, 1000) + "-1\n";
  text += "CONC    (8I12)\n" + element_line(7, 304, 2, {10, 30, 20, 40});
  text +=
      element_line(8, 307, 2, {10, 20, 30, 40, 10, 20, 30}) + element_line(9, 999, 1, {1, 2, 3, 4, 5, 6, 7});
  text += "-1 rest of the line\nCONC    (8I12)\n" + element_line(5, 203, 4, {10, 30, 20});
  text += element_line(6, 102, 3, {10, 40}) + "-1\n";
  read_text(files, m.mesh, text, settings_with(), 1);
  const MESHED_MODEL &mesh = m.mesh;
  ASSERT_EQ(mesh.no_nodes, 4);
  EXPECT_EQ(mesh.min_node_id, 10);
  EXPECT_EQ(mesh.max_node_id, 40);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(mesh.nodes[i].id, 10 * (i + 1));
  // UNIT MM: 1000 in the file is 1 m.
  EXPECT_DOUBLE_EQ(mesh.nodes[2].x, 1.0);
  EXPECT_DOUBLE_EQ(mesh.nodes[3].z, 1.0);
  ASSERT_EQ(mesh.no_v_elements, 1);
  EXPECT_EQ(mesh.v_elements[0].id, 7);
  EXPECT_EQ(mesh.v_elements[0].mat_id, 2);
  EXPECT_STREQ(mesh.v_elements[0].type->name, "TETRA_N4E6");
  EXPECT_EQ(mesh.v_elements[0].nodes[1]->id, 30);
  ASSERT_EQ(mesh.no_input_s_elements, 1);
  EXPECT_EQ(mesh.input_s_elements[0].boundary_id, 4);
  EXPECT_EQ(mesh.input_s_elements[0].kind, s_mesh_boundary);
  EXPECT_STREQ(mesh.input_s_elements[0].type->name, "TRIANGLE_N3E3");
  ASSERT_EQ(mesh.no_lines, 1);
  EXPECT_EQ(mesh.lines[0].mat_id, 3);
  EXPECT_EQ(mesh.nodes[mesh.lines[0].end].id, 40);
  EXPECT_EQ(mesh.no_node_pointers, 4 + 3);
  // The tetrahedron (0,0,0), (1,0,0), (0,1,0), (0,0,1) has volume 1/6.
  ScopedGauss gauss;
  expect_close(stored_element_volume(mesh.v_elements[0]), 1.0 / 6.0, volume_tol, 0.0);
}

TEST(PreGeom, UnitWordsAndTheCardFactor) {
  const std::string body = "GRID    (I12,3E17.8)\n" + grid_line(1, 2, 0, 0) + "-1\n";
  const struct {
    const char *head;
    double factor, x;
  } cases[] = {{"", 0.001, 0.002}, {"UNIT MM\n", 1.0, 0.002}, {"UNIT M\n", 1.0e-6, 2.0e-6}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.head);
    ScopedJobFiles files;
    ScopedMesh m;
    read_text(files, m.mesh, c.head + body, settings_with(1, c.factor));
    ASSERT_EQ(m.mesh.no_nodes, 1);
    expect_close(m.mesh.nodes[0].x, c.x, 1e-15, 0.0); // one rounding of the product
  }
}

TEST(PreGeom, GridFormatsOtherThanTheDefault) {
  ScopedJobFiles files;
  ScopedMesh m;
  // Fixed columns that run together: no blank between the fields, a D exponent.
  read_text(files, m.mesh, "GRID (I5,3F10.3)\n    7     1.500-2.250E+0   3.0D+00\n", settings_with());
  ASSERT_EQ(m.mesh.no_nodes, 1);
  EXPECT_EQ(m.mesh.nodes[0].id, 7);
  EXPECT_DOUBLE_EQ(m.mesh.nodes[0].x, 1.5);
  EXPECT_DOUBLE_EQ(m.mesh.nodes[0].y, -2.25);
  EXPECT_DOUBLE_EQ(m.mesh.nodes[0].z, 3.0);
}

// A pyramid written as a prism whose vertical pair `pair` coincides: apex (0,0,0), base the
// rectangle (1,0,0), (0,1,0), (0,1,1), (1,0,1), of area sqrt 2 at distance 1/sqrt 2 from the
// apex: volume 1/3.
class CollapsedPrism : public ::testing::TestWithParam<int> {};

TEST_P(CollapsedPrism, IsAPyramidOfTheRightVolume) {
  const int pair = GetParam();
  ScopedJobFiles files;
  ScopedMesh m;
  std::string text = "GRID    (I12,3E17.8)\n" + grid_line(1, 0, 0, 0) + grid_line(2, 1, 0, 0) +
                     grid_line(3, 0, 1, 0) + grid_line(5, 1, 0, 1) + grid_line(6, 0, 1, 1) + "-1\n";
  // Lower (1,2,3), upper (1,5,6), turned so that the pair stands at position `pair`.
  std::array<int, 3> lower = {1, 2, 3}, upper = {1, 5, 6};
  std::rotate(lower.begin(), lower.begin() + (3 - pair) % 3, lower.end());
  std::rotate(upper.begin(), upper.begin() + (3 - pair) % 3, upper.end());
  text += "CONC    (8I12)\n" +
          element_line(1, 306, 1, {lower[0], lower[1], lower[2], upper[0], upper[1], upper[2]}) + "-1\n";
  read_text(files, m.mesh, text, settings_with());
  ASSERT_EQ(m.mesh.no_v_elements, 1);
  const V_ELEMENT &e = m.mesh.v_elements[0];
  EXPECT_EQ(e.type->id, 11);
  EXPECT_EQ(e.nodes[0]->id, 1); // the apex
  EXPECT_EQ(m.mesh.no_node_pointers, 6);
  ScopedGauss gauss;
  expect_close(stored_element_volume(e), 1.0 / 3.0, volume_tol, 0.0);
}

INSTANTIATE_TEST_SUITE_P(PreGeom, CollapsedPrism, ::testing::Values(0, 1, 2));

TEST(PreGeom, PrismWithTwoPairsTakesTheFirst) {
  ScopedJobFiles files;
  ScopedMesh m;
  std::string text = "GRID    (I12,3E17.8)\n" + grid_line(1, 0, 0, 0) + grid_line(2, 1, 0, 0) +
                     grid_line(3, 0, 1, 0) + grid_line(6, 0, 1, 1) + "-1\nCONC    (8I12)\n" +
                     element_line(1, 306, 1, {3, 2, 1, 6, 2, 1}) + "-1\n";
  read_text(files, m.mesh, text, settings_with());
  ASSERT_EQ(m.mesh.no_v_elements, 1);
  EXPECT_EQ(m.mesh.v_elements[0].type->id, 11);
  EXPECT_EQ(m.mesh.v_elements[0].nodes[0]->id, 2); // pair 1 (node 2) before pair 2 (node 1)
}

// collapse_hexa's seven patterns on a unit cube whose collapsed nodes meet at their centroid:
// each result is a pyramid of a unit-area planar base and height 1 (pattern 7: base sqrt(5)/2
// by 1, height 2/sqrt(5)), so of volume 1/3.
class CollapsedHexa : public ::testing::TestWithParam<int> {};

TEST_P(CollapsedHexa, IsAPyramidOfVolumeOneThird) {
  static constexpr std::array<std::array<int, 8>, 7> merged = {{
      {0, 0, 0, 0, 4, 5, 6, 7}, // lower face
      {0, 1, 2, 3, 4, 4, 4, 4}, // upper face
      {0, 0, 2, 3, 0, 0, 6, 7}, // side a1 a2 b2 b1
      {0, 1, 1, 3, 4, 1, 1, 7}, // side a2 a3 b3 b2
      {0, 1, 2, 2, 4, 5, 2, 2}, // side a3 a4 b4 b3
      {0, 1, 2, 0, 0, 5, 6, 0}, // side a4 b4 b1 a1
      {0, 1, 2, 0, 4, 5, 2, 4}, // a1 = a4, b1 = b4, a3 = b3
  }};
  const int pattern = GetParam();
  const double cube[8][3] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},
                             {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}};
  // Node k of the hexahedron is file node merged[k] + 1 placed at the centroid of its group.
  std::string text = "GRID    (I12,3E17.8)\n";
  for (int g = 0; g < 8; ++g) {
    double c[3] = {}, count = 0;
    for (int k = 0; k < 8; ++k)
      if (merged[pattern][k] == g) {
        for (int d = 0; d < 3; ++d) c[d] += cube[k][d];
        ++count;
      }
    if (count > 0) text += grid_line(g + 1, c[0] / count, c[1] / count, c[2] / count);
  }
  std::vector<int> ids;
  for (int k = 0; k < 8; ++k) ids.push_back(merged[pattern][k] + 1);
  text += "-1\nCONC    (8I12)\n" + element_line(3, 308, 1, ids) + "-1\n";
  ScopedJobFiles files;
  ScopedMesh m;
  read_text(files, m.mesh, text, settings_with());
  ASSERT_EQ(m.mesh.no_v_elements, 1);
  EXPECT_EQ(m.mesh.v_elements[0].type->id, 11);
  EXPECT_EQ(m.mesh.no_node_pointers, 6); // the collapsed prism's six file nodes
  ScopedGauss gauss;
  expect_close(stored_element_volume(m.mesh.v_elements[0]), 1.0 / 3.0, volume_tol, 0.0);
}

INSTANTIATE_TEST_SUITE_P(PreGeom, CollapsedHexa, ::testing::Range(0, 7));

TEST(PreGeom, HexahedronWithoutCollapseStays) {
  int nodes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_FALSE(collapse_hexa(nodes));
  for (int i = 0; i < 8; ++i) EXPECT_EQ(nodes[i], i + 1);
}

// A 20-node brick in native file order: the lower ring corner by corner with its mid nodes,
// the vertical mid nodes, the upper ring. Each stored node must sit where the catalogue's
// reference coordinates put it on the cube [0,2]^3.
std::string hexa20_text() {
  const int corner[8][3] = {{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0},
                            {0, 0, 2}, {2, 0, 2}, {2, 2, 2}, {0, 2, 2}};
  std::vector<std::array<int, 3>> points;
  const auto mid = [&](int a, int b) {
    return std::array<int, 3>{(corner[a][0] + corner[b][0]) / 2, (corner[a][1] + corner[b][1]) / 2,
                              (corner[a][2] + corner[b][2]) / 2};
  };
  for (int level = 0; level < 2; ++level) {
    if (level == 1)
      for (int k = 0; k < 4; ++k) points.push_back(mid(k, k + 4));
    for (int k = 0; k < 4; ++k) {
      const int a = 4 * level + k, b = 4 * level + (k + 1) % 4;
      points.push_back({corner[a][0], corner[a][1], corner[a][2]});
      points.push_back(mid(a, b));
    }
  }
  std::string text = "GRID    (I12,3E17.8)\n";
  std::vector<int> ids;
  for (std::size_t i = 0; i < points.size(); ++i) {
    text += grid_line(static_cast<int>(i) + 100, points[i][0], points[i][1], points[i][2]);
    ids.push_back(static_cast<int>(i) + 100);
  }
  return text + "-1\nCONC    (8I12)\n" + element_line(1, 320, 1, ids) + "-1\n";
}

TEST(PreGeom, TwentyNodeBrickByNodeOrder) {
  {
    SCOPED_TRACE("NODE_ORDER 2");
    ScopedJobFiles files;
    ScopedMesh m;
    read_text(files, m.mesh, hexa20_text(), settings_with(2));
    const V_ELEMENT &e = m.mesh.v_elements[0];
    ASSERT_STREQ(e.type->name, "HEXA_N20E12");
    for (int i = 0; i < 20; ++i) {
      const POINT_3D &r = e.type->node_coordinates[static_cast<std::size_t>(i)];
      EXPECT_DOUBLE_EQ(e.nodes[i]->x, r[0] + 1.0) << "node " << i + 1;
      EXPECT_DOUBLE_EQ(e.nodes[i]->y, r[1] + 1.0) << "node " << i + 1;
      EXPECT_DOUBLE_EQ(e.nodes[i]->z, r[2] + 1.0) << "node " << i + 1;
    }
    ScopedGauss gauss;
    expect_close(stored_element_volume(e), 8.0, volume_tol, 0.0);
  }
  {
    SCOPED_TRACE("NODE_ORDER 1");
    ScopedJobFiles files;
    ScopedMesh m;
    read_text(files, m.mesh, hexa20_text(), settings_with(1));
    const V_ELEMENT &e = m.mesh.v_elements[0];
    EXPECT_STREQ(e.type->name, "HEXA_N8E12");
    EXPECT_EQ(m.mesh.no_nodes, 20); // the mid nodes stay, unused
    ScopedGauss gauss;
    expect_close(stored_element_volume(e), 8.0, volume_tol, 0.0);
  }
}

TEST(PreGeom, NodesOnlyKeepsCoordinates) {
  ScopedJobFiles files;
  ScopedMesh m;
  read_text(files, m.mesh,
            cube_grid() + "CONC\n" + element_line(1, 308, 0, {1, 2, 3, 4, 5, 6, 7, 8}) + "-1\n",
            settings_with(), 0, 1);
  EXPECT_EQ(m.mesh.no_nodes, 8);
  EXPECT_EQ(m.mesh.no_v_elements, 0); // and mat_id 0 isn't looked at
}

TEST(PreGeom, ReportNamesFileAndCounts) {
  ScopedJobFiles files;
  open_ffile(run_files().print_out, "w");
  ScopedMesh m;
  read_text(files, m.mesh,
            cube_grid() + "CONC\n" + element_line(4, 308, 1, {1, 2, 3, 4, 5, 6, 7, 8}) +
                element_line(9, 204, 1, {1, 2, 3, 4}) + "-1\n",
            settings_with());
  close_ffile(run_files().print_out);
  EXPECT_EQ(read_file(files.dir().file("output")), "*** pre_geom file has been read ******************\n"
                                                   "    Number of elements 2 : min 4 : max 9\n"
                                                   "    Number of nodes    8 : min 1 : max 8\n\n");
}

TEST(DirectFormats, PointListMakesPrismsAndHexahedra) {
  ScopedJobFiles files;
  ScopedMesh m;
  // Points in millimetres, the header behind -1; a triangle and a square of the unit square.
  FFILE *file = files.open_card_text("pre_geom", "-1\n5 2\n0 0\n1000 0\n1000 1000\n0 1000\n2000 0\n"
                                                 "1 4 3 0 1 2 3 4\n2 3 5 0 2 5 3\n");
  read_point_list_mesh(m.mesh, file, settings_with(1, 1.0));
  ASSERT_EQ(m.mesh.no_nodes, 10);
  EXPECT_DOUBLE_EQ(m.mesh.nodes[1].x, 1.0);
  EXPECT_DOUBLE_EQ(m.mesh.nodes[9].z, 1.0);
  ASSERT_EQ(m.mesh.no_v_elements, 2);
  EXPECT_STREQ(m.mesh.v_elements[0].type->name, "HEXA_N8E12");
  EXPECT_STREQ(m.mesh.v_elements[1].type->name, "PRISM_N6E9");
  EXPECT_EQ(m.mesh.v_elements[1].mat_id, 5);
  ScopedGauss gauss;
  // Unit square times a height of 1, and the triangle (1,0), (2,0), (1,1) of area 1/2.
  expect_close(stored_element_volume(m.mesh.v_elements[0]), 1.0, volume_tol, 0.0);
  expect_close(stored_element_volume(m.mesh.v_elements[1]), 0.5, volume_tol, 0.0);
}

TEST(DirectFormats, CountedListWithUnit) {
  ScopedJobFiles files;
  ScopedMesh m;
  FFILE *file = files.open_card_text("pre_geom", "4\n4 0 0 0 1000\n1 0 0 0 0\n2 0 1000 0 0\n3 0 0 1000 0\n"
                                                 "1 0 0\n11 4 7 0 1 2 3 4\n");
  read_counted_mesh(m.mesh, file, settings_with(1, 0.001));
  ASSERT_EQ(m.mesh.no_nodes, 4);
  EXPECT_EQ(m.mesh.nodes[3].id, 4);
  EXPECT_DOUBLE_EQ(m.mesh.nodes[3].z, 1.0);
  ASSERT_EQ(m.mesh.no_v_elements, 1);
  EXPECT_EQ(m.mesh.v_elements[0].id, 11);
  EXPECT_EQ(m.mesh.v_elements[0].mat_id, 7);
  ScopedGauss gauss;
  expect_close(stored_element_volume(m.mesh.v_elements[0]), 1.0 / 6.0, volume_tol, 0.0);
}

TEST(ReadMesh, DriverReadsTheFormatInForce) {
  // 12 takes the listing from "pre_geom.msh"; 14 the counted list from "pre_geom" directly.
  const struct {
    int format;
    const char *file;
    const char *text;
  } cases[] = {
      {12, "pre_geom.msh", "0\n4\n#1\n0 0 0\n#2\n1 0 0\n#3\n0 1 0\n#4\n0 0 1\n1\ngroup\n1 1\n1\n4 1 2 3 4\n"},
      {14, "pre_geom", "4\n1 0 0 0 0\n2 0 1 0 0\n3 0 0 1 0\n4 0 0 0 1\n1 0 0\n1 4 1 0 1 2 3 4\n"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.format);
    const CHILD_JOB job = run_job_in_child([&] {
      ScopedControlData guard;
      CONTROL_DATA &control = writable_control_data();
      control.INPUT_MESH_FILE = c.format;
      write_file(job_options_folder() + c.file, c.text);
      MESHED_MODEL mesh;
      read_mesh(mesh);
      if (mesh.no_nodes != 4 || mesh.no_v_elements != 1) stop_job(3);
    });
    EXPECT_EQ(job.exit_status, 0) << job.check;
  }
}

TEST(ReadMesh, MeshlessAndUnbuiltSources) {
  const CHILD_JOB meshless = run_job_in_child([] {
    writable_control_data().meshless = 1;
    MESHED_MODEL mesh;
    mesh.no_nodes = 5;
    read_mesh(mesh);
    if (mesh.no_nodes != 0) stop_job(3);
  });
  EXPECT_EQ(meshless.exit_status, 0);
  const CHILD_JOB block = run_job_in_child([] {
    writable_control_data().INPUT_MESH_FILE = 0;
    MESHED_MODEL mesh;
    read_mesh(mesh);
  });
  EXPECT_EQ(block.exit_status, 1);
  EXPECT_NE(block.check.find("**** The block mesh data can't be read by this build of the program."),
            std::string::npos);
}

// Each fault of the reader: exit status 1 and the exact message in check and stderr.
TEST(ReadMeshFaults, EveryMessage) {
  const struct {
    const char *what;
    std::string text;
    const char *message;
  } cases[] = {
      {"mat_id below 1", cube_grid() + "CONC\n" + element_line(12, 308, 0, {1, 2, 3, 4, 5, 6, 7, 8}) + "-1\n",
       "**** mat_id is not defined in element No. 12****\n"},
      {"node given twice",
       "GRID (I12,3E17.8)\n" + grid_line(5, 0, 0, 0) + grid_line(3, 0, 0, 0) + grid_line(5, 1, 0, 0) +
           grid_line(3, 1, 0, 0) + "-1\n",
       "**** Node No.5 is input in double ****\n"},
      {"node above the largest", cube_grid() + "CONC\n" + element_line(2, 304, 1, {1, 2, 3, 99}) + "-1\n",
       "**** Node 99 is not found for element No. 2****\n"},
      {"node in a gap",
       "GRID (I12,3E17.8)\n" + grid_line(1, 0, 0, 0) + grid_line(5, 1, 0, 0) + grid_line(9, 0, 1, 0) +
           grid_line(12, 0, 0, 1) + "-1\nCONC\n" + element_line(4, 304, 1, {1, 5, 7, 12}) + "-1\n",
       "**** Node 7 is not found for element No. 4****\n"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const CHILD_JOB job = run_job_in_child([&] {
      ScopedMesh m;
      FFILE *file = open_job_card_file("pre_geom", c.text);
      read_pre_geom(m.mesh, file, 0, 0, settings_with());
    });
    EXPECT_EQ(job.exit_status, 1);
    EXPECT_NE(job.check.find(c.message), std::string::npos) << job.check;
    EXPECT_NE(job.error.find(c.message), std::string::npos) << job.error;
  }
  const CHILD_JOB missing = run_job_in_child([] {
    writable_control_data().INPUT_MESH_FILE = 2;
    MESHED_MODEL mesh;
    read_mesh(mesh);
  });
  EXPECT_EQ(missing.exit_status, 1);
  EXPECT_NE(missing.check.find("****  file pre_geom cannot be opened **** "), std::string::npos)
      << missing.check;
}
