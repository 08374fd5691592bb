// The mesh converters: the table, the native text they write, each foreign format against a
// hand-written file, the Gmsh meshes of one geometry read in every format, and the card errors.
#include "mesh/mesh_converters.hpp"

#include "job/ffile.hpp"
#include "materials/material_tables.hpp"
#include "mesh/mesh_reader.hpp"
#include "mesh/mesh_test_support.hpp"
#include "mesh/model_building.hpp"
#include "support/job_results.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <map>
#include <numbers>
#include <set>
#include <string>

using namespace tesmora;
using namespace tesmora::testing;

TEST(MeshConverters, TableRowsAreFilledAndUnique) {
  std::set<int> formats;
  for (const MESH_CONVERTER &row : mesh_converters()) {
    SCOPED_TRACE(row.input_mesh_file);
    EXPECT_NE(row.convert, nullptr);
    EXPECT_EQ(row.extension[0], '.');
    EXPECT_TRUE(formats.insert(row.input_mesh_file).second);
    EXPECT_EQ(find_mesh_converter(row.input_mesh_file), &row);
  }
  // The native text and the direct formats have no converter; 12 reads the ".msh" listing.
  for (int format : {0, 2, 13, 14}) EXPECT_EQ(find_mesh_converter(format), nullptr);
  EXPECT_STREQ(find_mesh_converter(12)->extension, ".msh");
  EXPECT_EQ(find_mesh_converter(12)->convert, find_mesh_converter(16)->convert);
  EXPECT_EQ(find_mesh_converter(3)->convert, find_mesh_converter(8)->convert);
}

namespace {

// Exact quadrature of affine elements; sums of a few thousand volumes: rounding only.
constexpr double volume_tol = 1e-12;
// A converted mesh passes through the native text, whose nodes keep 9 significant digits: each
// coordinate moves by up to 5e-9 relative, and a volume by a few times that.
constexpr double converted_tol = 1e-8;

MESH_READ_SETTINGS linear_settings(int node_order = 1) {
  return {.unit_factor = 1.0, .node_order = node_order, .edge_order = 1, .quad_tri = 0};
}

// Converts `text` written as "pre_geom" + extension in the job folder and reads the result.
void convert_and_read(ScopedJobFiles &files, MESHED_MODEL &mesh, int format, const std::string &text,
                      int node_order = 1, int want_lines = 0) {
  write_file(files.dir().file(std::string("pre_geom") + find_mesh_converter(format)->extension), text);
  convert_mesh("pre_geom", format);
  FFILE *file = files.open_card_text("pre_geom", read_file(files.dir().file("pre_geom")));
  read_pre_geom(mesh, file, want_lines, 0, linear_settings(node_order));
}

std::string data_file(const std::string &name) {
  return read_file(std::string(TESMORA_SOURCE_DIR) + "/tests/data/mesh/" + name);
}

// Lines of `text` that begin with `word` followed by a blank or a comma.
int count_cards(const std::string &text, const std::string &word) {
  int count = 0;
  for (const std::string &line : split_lines(text))
    if (line.rfind(word, 0) == 0 && line.size() > word.size() &&
        (line[word.size()] == ' ' || line[word.size()] == ','))
      ++count;
  return count;
}

// Corner coordinates of the cube [0,2]^3 in the usual hexahedron order.
constexpr double cube2[8][3] = {{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {0, 2, 0},
                                {0, 0, 2}, {2, 0, 2}, {2, 2, 2}, {0, 2, 2}};

std::array<double, 3> midpoint(int a, int b) {
  return {(cube2[a][0] + cube2[b][0]) / 2, (cube2[a][1] + cube2[b][1]) / 2, (cube2[a][2] + cube2[b][2]) / 2};
}

// The 20 nodes of a brick in the order of a foreign format: corners, then the mid nodes of the
// listed corner pairs (0-based).
std::vector<std::array<double, 3>> brick_nodes(const std::vector<std::array<int, 2>> &mid_edges) {
  std::vector<std::array<double, 3>> nodes;
  for (const auto &c : cube2) nodes.push_back({c[0], c[1], c[2]});
  for (const auto &e : mid_edges) nodes.push_back(midpoint(e[0], e[1]));
  return nodes;
}

// Every local node of the stored element sits at its reference coordinates shifted by 1.
void expect_nodes_at_reference(const V_ELEMENT &e) {
  for (int i = 0; i < e.type->no_nodes; ++i) {
    const POINT_3D &r = e.type->node_coordinates[static_cast<std::size_t>(i)];
    EXPECT_DOUBLE_EQ(e.nodes[i]->x, r[0] + 1.0) << "local node " << i + 1;
    EXPECT_DOUBLE_EQ(e.nodes[i]->y, r[1] + 1.0) << "local node " << i + 1;
    EXPECT_DOUBLE_EQ(e.nodes[i]->z, r[2] + 1.0) << "local node " << i + 1;
  }
}

// Each mid node of a stored 8-node quadrilateral lies halfway between the two corners that the
// catalogue's reference coordinates put on either side of it.
void expect_quad8_mid_nodes(const S_ELEMENT &s) {
  ASSERT_EQ(s.type->no_nodes, 8);
  for (int k = 4; k < 8; ++k) {
    const POINT_2D &r = s.type->node_coordinates[static_cast<std::size_t>(k)];
    int ends[2], found = 0;
    for (int c = 0; c < 4 && found < 2; ++c) {
      const POINT_2D &q = s.type->node_coordinates[static_cast<std::size_t>(c)];
      if ((r[0] == 0 && q[1] == r[1]) || (r[1] == 0 && q[0] == r[0])) ends[found++] = c;
    }
    ASSERT_EQ(found, 2);
    const NODE &a = *s.nodes[ends[0]], &b = *s.nodes[ends[1]], &mid = *s.nodes[k];
    EXPECT_DOUBLE_EQ(mid.x, (a.x + b.x) / 2) << "local node " << k + 1;
    EXPECT_DOUBLE_EQ(mid.y, (a.y + b.y) / 2) << "local node " << k + 1;
    EXPECT_DOUBLE_EQ(mid.z, (a.z + b.z) / 2) << "local node " << k + 1;
  }
}

std::string fixed_field(const std::string &text, int width) {
  std::string field = text;
  field.resize(static_cast<std::size_t>(width), ' ');
  return field;
}

} // namespace

// The Gmsh meshes of one geometry (tests/data/mesh/PROVENANCE.md): a unit box of air with an
// iron block [0.2,0.6]x[0.3,0.7]^2 pierced along z by a hole of radius 0.1, and a copper plate
// [0.7,0.8]x[0.2,0.8]^2. The geometry's physical volumes are air 1, iron 2 and copper 3; the
// universal and ABAQUS files carry them (dataset 2477, "*ELSET" sets) and so give them as
// mat_id. The NASTRAN files carry only Gmsh's volume numbers: iron 10, copper 7, 11 and 15.
struct GMSH_CASE {
  const char *mesh;   // "tet" or "hexprism"
  const char *file;   // data file
  int format;         // INPUT_MESH_FILE
  const char *counts; // the NASTRAN file whose cards give the node and element counts
  double tol;         // relative volume tolerance from the coordinates' digits in the file
  bool groups;        // mat_id is the physical group, not the volume number
};

bool is_iron(const GMSH_CASE &c, int mat) { return c.groups ? mat == 2 : mat == 10; }
bool is_copper(const GMSH_CASE &c, int mat) {
  return c.groups ? mat == 3 : mat == 7 || mat == 11 || mat == 15;
}

// Gmsh writes NASTRAN fields of 8 columns with 6 significant digits: each coordinate moves by up
// to 5e-7 relative and a volume by a few times that.
constexpr double small_field_tol = 1e-5;

class GmshMeshes : public ::testing::TestWithParam<GMSH_CASE> {};

TEST_P(GmshMeshes, SameModelInEveryFormat) {
  const GMSH_CASE c = GetParam();
  SCOPED_TRACE(c.file);
  ScopedJobFiles files;
  ScopedMesh m;
  convert_and_read(files, m.mesh, c.format, data_file(c.file));
  const MESHED_MODEL &mesh = m.mesh;
  // Counts from the cards of Gmsh's own NASTRAN file.
  const std::string reference = data_file(c.counts);
  EXPECT_EQ(mesh.no_nodes, count_cards(reference, "GRID") + count_cards(reference, "GRID*"));
  const std::map<std::string, int> types = count_per_type(mesh);
  const int tetras = count_cards(reference, "CTETRA"), hexas = count_cards(reference, "CHEXA");
  const int prisms = count_cards(reference, "CPENTA");
  EXPECT_EQ(mesh.no_v_elements, tetras + hexas + prisms);
  EXPECT_EQ(types.count("TETRA_N4E6") ? types.at("TETRA_N4E6") : 0, tetras);
  EXPECT_EQ(types.count("HEXA_N8E12") ? types.at("HEXA_N8E12") : 0, hexas);
  EXPECT_EQ(types.count("PRISM_N6E9") ? types.at("PRISM_N6E9") : 0, prisms);
  if (std::string(c.mesh) == "hexprism") {
    EXPECT_GT(hexas, 0);
    EXPECT_GT(prisms, 0);
  }

  ScopedGauss gauss;
  double iron = 0, copper = 0, air = 0;
  for (int i = 0; i < mesh.no_v_elements; ++i) {
    const double v = stored_element_volume(mesh.v_elements[i]);
    ASSERT_GT(v, 0.0) << "element " << mesh.v_elements[i].id;
    const int mat = mesh.v_elements[i].mat_id;
    (is_iron(c, mat) ? iron : is_copper(c, mat) ? copper : air) += v;
  }
  // The plate and the box have flat faces: their volumes are exact.
  expect_close(copper, 0.1 * 0.6 * 0.6, c.tol, 0.0);
  expect_close(iron + copper + air, 1.0, c.tol, 0.0);
  // The hole's circle carries 8 nodes and its wall is structured, so in both meshes the hole
  // is the prism of height 0.4 on the inscribed octagon, of area 8/2 r^2 sin(2 pi/8).
  const double r = 0.1, h = 0.4;
  const double octagon = 4 * r * r * std::sin(std::numbers::pi / 4);
  expect_close(iron, 0.4 * 0.4 * 0.4 - h * octagon, c.tol, 0.0);

  // The model of the mesh: the box is a solid ball topologically, so V - E + F - C = 1 and its
  // outer surface is a sphere, V - E + F = 2; the tree of a natural boundary spans the nodes.
  std::string cards = "20 0 0\n";
  for (int mat = 1; mat <= 20; ++mat)
    cards += std::to_string(mat) + (is_copper(c, mat) ? " 0 0 5.8e7 1 0 0 0 0\n" : " 0 0 0 1 0 0 0 0\n");
  ScopedControlData control;
  writable_control_data().release = 12.0;
  read_material_cards(files.open_card_text("materials", cards), 1);
  BOUNDARY_DATA boundary;
  boundary.far_boundary_condition = 1;
  make_model(m.mesh, boundary, 0, false);
  const FACE_COUNTS faces = count_faces(mesh);
  EXPECT_EQ(mesh.no_nodes - mesh.no_edges + faces.faces - mesh.no_v_elements, 1);
  int boundary_nodes = 0, boundary_edges = 0, tree_edges = 0;
  for (int i = 0; i < mesh.no_nodes; ++i) boundary_nodes += mesh.nodes[i].on_bnd;
  for (int e = 0; e < mesh.no_edges; ++e) {
    boundary_edges += mesh.edges[e].on_bnd;
    tree_edges += mesh.edges[e].tree;
  }
  EXPECT_EQ(boundary_nodes - boundary_edges + faces.outer_faces, 2);
  EXPECT_EQ(tree_edges, mesh.no_nodes - 1);
}

INSTANTIATE_TEST_SUITE_P(
    Gmsh, GmshMeshes,
    ::testing::Values(GMSH_CASE{"tet", "tet.unv", 1, "tet.bdf", converted_tol, true},
                      GMSH_CASE{"tet", "tet.bdf", 3, "tet.bdf", small_field_tol, false},
                      GMSH_CASE{"tet", "tet_free.bdf", 8, "tet.bdf", small_field_tol, false},
                      GMSH_CASE{"tet", "tet.inp", 7, "tet.bdf", converted_tol, true},
                      GMSH_CASE{"hexprism", "hexprism.unv", 1, "hexprism_free.bdf", converted_tol, true},
                      GMSH_CASE{"hexprism", "hexprism.bdf", 3, "hexprism_free.bdf", converted_tol, false},
                      GMSH_CASE{"hexprism", "hexprism_free.bdf", 3, "hexprism_free.bdf", small_field_tol,
                                false},
                      GMSH_CASE{"hexprism", "hexprism.inp", 7, "hexprism_free.bdf", converted_tol, true}));

// The slab of tests/data/mesh/slab_groups.geo exported by Gmsh as NASTRAN, universal and ABAQUS
// files: physical volume 7 is the air (volumes 1 below and 3 above), 12 the iron slab
// 0.4 <= z <= 0.6 (volume 2), physical surface 21 the bottom face z = 0 (surface 5). Which
// material an element belongs to is taken from the geometry, by where its centroid lies, so the
// expected numbers do not come from any reader. With the groups taken out of the universal and
// ABAQUS files the readers fall back to the entity numbers.
TEST(GmshGroups, EveryReaderGivesThePhysicalGroupsElseTheEntities) {
  const std::string bdf = data_file("slab_groups.bdf");
  const struct {
    const char *name;
    int format;
    std::string text;
    bool groups;
  } cases[] = {
      {"bdf", 3, bdf, true},
      {"unv", 1, data_file("slab_groups.unv"), true},
      {"inp", 7, data_file("slab_groups.inp"), true},
      {"unv without 2477", 1, without_universal_groups(data_file("slab_groups.unv")), false},
      {"inp without *ELSET", 7, without_abaqus_sets(data_file("slab_groups.inp")), false},
  };
  std::map<int, int> first_mat_ids; // element id -> mat_id from the NASTRAN file
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    ScopedJobFiles files;
    ScopedMesh m;
    convert_and_read(files, m.mesh, c.format, c.text);
    const MESHED_MODEL &mesh = m.mesh;
    ASSERT_EQ(mesh.no_v_elements, count_cards(bdf, "CTETRA"));
    ASSERT_EQ(mesh.no_input_s_elements, count_cards(bdf, "CTRIA3"));
    std::map<int, int> mat_ids;
    std::set<int> seen;
    for (int i = 0; i < mesh.no_v_elements; ++i) {
      const V_ELEMENT &e = mesh.v_elements[i];
      double z = 0;
      for (int k = 0; k < e.type->no_nodes; ++k) z += e.nodes[k]->z / e.type->no_nodes;
      // The mesh follows the slab's faces, so no centroid lies on them.
      const int expected = z > 0.4 && z < 0.6 ? (c.groups ? 12 : 2) : c.groups ? 7 : z < 0.4 ? 1 : 3;
      EXPECT_EQ(e.mat_id, expected) << "element " << e.id;
      mat_ids[e.id] = e.mat_id;
      seen.insert(e.mat_id);
    }
    EXPECT_EQ(seen.size(), c.groups ? 2u : 3u);
    for (int i = 0; i < mesh.no_input_s_elements; ++i) {
      const S_ELEMENT &s = mesh.input_s_elements[i];
      EXPECT_EQ(s.boundary_id, c.groups ? 21 : 5) << "surface element " << s.id;
      for (int k = 0; k < s.type->no_nodes; ++k) EXPECT_EQ(s.nodes[k]->z, 0.0);
    }
    // Gmsh numbers the elements alike in every export.
    if (first_mat_ids.empty()) {
      first_mat_ids = mat_ids;
    } else if (c.groups) {
      EXPECT_EQ(mat_ids, first_mat_ids);
    }
  }
}

// A set listed by GENERATE (first, last, step) and a set whose name ends in no number: the first
// gives its elements its number, the second is passed over, and elements in no numbered set keep
// the number of their "*ELEMENT" list. An element listed in two numbered sets keeps the first;
// a set named like the option is no GENERATE list. A second-order surface list is read away.
TEST(Abaqus, GeneratedSetsAndUnnumberedSets) {
  const std::string text = "*NODE\n1, 0, 0, 0\n2, 1, 0, 0\n3, 0, 1, 0\n4, 0, 0, 1\n5, 1, 1, 1\n"
                           "6, 0.5, 0, 0\n7, 0.5, 0.5, 0\n8, 0, 0.5, 0\n"
                           "*ELEMENT, type=CPS6, ELSET=Surface2\n10, 1, 2, 3, 6, 7, 8\n"
                           "*ELEMENT, type=C3D4, ELSET=Volume1\n1, 1, 2, 3, 4\n2, 2, 3, 4, 5\n"
                           "3, 1, 2, 3, 5\n4, 1, 2, 4, 5\n"
                           "*ELSET,ELSET=PhysicalVolume9, GENERATE\n1, 3, 2\n"
                           "*ELSET,ELSET=coil\n2\n*ELSET,ELSET=Coil5\n1\n*ELSET, ELSET=GENERATE4\n2\n";
  ScopedJobFiles files;
  ScopedMesh m;
  convert_and_read(files, m.mesh, 7, text);
  ASSERT_EQ(m.mesh.no_v_elements, 4);
  EXPECT_EQ(m.mesh.no_input_s_elements, 0);
  std::map<int, int> mat_ids;
  for (int i = 0; i < m.mesh.no_v_elements; ++i)
    mat_ids[m.mesh.v_elements[i].id] = m.mesh.v_elements[i].mat_id;
  EXPECT_EQ(mat_ids, (std::map<int, int>{{1, 9}, {2, 4}, {3, 9}, {4, 1}}));
  // Without the GENERATE option the same line lists elements 1, 3 and 2, all in set 9; 4 stays in no set.
  const std::string listed = text.substr(0, text.find(", GENERATE")) + text.substr(text.find("\n1, 3, 2\n"));
  ScopedMesh l;
  convert_and_read(files, l.mesh, 7, listed);
  ASSERT_EQ(l.mesh.no_v_elements, 4);
  for (int i = 0; i < l.mesh.no_v_elements; ++i)
    EXPECT_EQ(l.mesh.v_elements[i].mat_id, l.mesh.v_elements[i].id == 4 ? 1 : 9);
}

TEST(Nastran, CylindricalGridAndLargeFields) {
  ScopedJobFiles files;
  ScopedMesh m;
  // System 1: x is the radius, y the angle in degrees. The large form takes z from its
  // continuation line. Exponents in the short notation.
  std::string text = "$ comment\n";
  text += fixed_field("GRID", 8) + fixed_field("1", 8) + fixed_field("1", 8) + fixed_field("2.0", 8) +
          fixed_field("90.", 8) + fixed_field("5.-1", 8) + "\n";
  text += fixed_field("GRID*", 8) + fixed_field("2", 16) + fixed_field("0", 16) + fixed_field("1.5+1", 16) +
          fixed_field("-2.5", 16) + "*N2\n";
  text += fixed_field("*N2", 8) + fixed_field("3.25", 16) + "\n";
  convert_and_read(files, m.mesh, 3, text);
  ASSERT_EQ(m.mesh.no_nodes, 2);
  // Not exactly 0; the native text keeps 9 significant digits.
  expect_close(m.mesh.nodes[0].x, 2.0 * std::cos(90.0 * std::numbers::pi / 180.0), 1e-8, 0.0);
  EXPECT_NE(m.mesh.nodes[0].x, 0.0);
  EXPECT_DOUBLE_EQ(m.mesh.nodes[0].y, 2.0);
  EXPECT_DOUBLE_EQ(m.mesh.nodes[0].z, 0.5);
  EXPECT_DOUBLE_EQ(m.mesh.nodes[1].x, 15.0);
  EXPECT_DOUBLE_EQ(m.mesh.nodes[1].y, -2.5);
  EXPECT_DOUBLE_EQ(m.mesh.nodes[1].z, 3.25);
}

TEST(Nastran, TwentyNodeBrickAndQuad8InEveryForm) {
  // NASTRAN order: corners, the lower mid nodes, the vertical ones, the upper ones.
  const auto nodes = brick_nodes(
      {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}, {1, 5}, {2, 6}, {3, 7}, {4, 5}, {5, 6}, {6, 7}, {7, 4}});
  std::string fixed, free_form = "GRID,1,0,0.,0.,0.\n";
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    const std::string id = std::to_string(i + 1);
    char xyz[3][16];
    for (int d = 0; d < 3; ++d) std::snprintf(xyz[d], 16, "%.1f", nodes[i][static_cast<std::size_t>(d)]);
    fixed += fixed_field("GRID", 8) + fixed_field(id, 8) + fixed_field("", 8) + fixed_field(xyz[0], 8) +
             fixed_field(xyz[1], 8) + fixed_field(xyz[2], 8) + "\n";
    if (i > 0) free_form += "GRID," + id + ",0," + xyz[0] + "," + xyz[1] + "," + xyz[2] + "\n";
  }
  // The lower face (corners 1-4, mid nodes 9-12) as a CQUAD8 as well.
  std::string small = fixed_field("CHEXA", 8) + fixed_field("7", 8) + fixed_field("3", 8);
  for (int i = 1; i <= 6; ++i) small += fixed_field(std::to_string(i), 8);
  small += "+C1\n" + fixed_field("+C1", 8);
  for (int i = 7; i <= 14; ++i) small += fixed_field(std::to_string(i), 8);
  small += "+C2\n" + fixed_field("+C2", 8);
  for (int i = 15; i <= 20; ++i) small += fixed_field(std::to_string(i), 8);
  small += "\n" + fixed_field("CQUAD8", 8) + fixed_field("8", 8) + fixed_field("4", 8);
  for (int i : {1, 4, 3, 2, 12, 11}) small += fixed_field(std::to_string(i), 8);
  small += "+Q\n" + fixed_field("+Q", 8) + fixed_field("10", 8) + fixed_field("9", 8) + "\n";
  std::string free_cards = "CHEXA,7,3,1,2,3,4,5,6,+C1\n+C1,7,8,9,10,11,12,13,14,+C2\n+C2,15,16,17,18,19,20\n";
  free_cards += "CQUAD8,8,4,1,4,3,2,12,11,10,9\nCROD,9,5,1,7\n";
  const struct {
    const char *form;
    std::string text;
  } forms[] = {{"fixed", fixed + small}, {"free", free_form + free_cards}};
  for (const auto &f : forms) {
    SCOPED_TRACE(f.form);
    ScopedJobFiles files;
    ScopedMesh m;
    convert_and_read(files, m.mesh, 3, f.text, 2, 1);
    ASSERT_EQ(m.mesh.no_v_elements, 1);
    const V_ELEMENT &e = m.mesh.v_elements[0];
    EXPECT_STREQ(e.type->name, "HEXA_N20E12");
    EXPECT_EQ(e.mat_id, 3);
    expect_nodes_at_reference(e);
    ASSERT_EQ(m.mesh.no_input_s_elements, 1);
    const S_ELEMENT &s = m.mesh.input_s_elements[0];
    EXPECT_STREQ(s.type->name, "QUAD_N8E4");
    expect_quad8_mid_nodes(s);
    EXPECT_EQ(m.mesh.no_lines, std::string(f.form) == "free" ? 1 : 0); // CROD only in the free form
  }
}

TEST(Abaqus, BrickQuadAndPyramid) {
  // ABAQUS order: corners, lower mid nodes, upper mid nodes, vertical mid nodes.
  const auto nodes = brick_nodes(
      {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {4, 5}, {5, 6}, {6, 7}, {7, 4}, {0, 4}, {1, 5}, {2, 6}, {3, 7}});
  std::string text = "*Heading\n** comment\n*NODE\n";
  for (std::size_t i = 0; i < nodes.size(); ++i)
    text += std::to_string(i + 1) + ", " + std::to_string(nodes[i][0]) + ", " + std::to_string(nodes[i][1]) +
            ", " + std::to_string(nodes[i][2]) + "\n";
  text += "21, 1.0, 1.0, 4.0\n";
  text += "*ELEMENT, type=C3D20, ELSET=Iron2\n5, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15,\n"
          "16, 17, 18, 19, 20\n";
  text += "*ELEMENT, type=C3D5, ELSET=Cap3\n6, 5, 6, 7, 8, 21\n";
  text += "*ELEMENT, type=S8R, ELSET=Face4\n7, 1, 4, 3, 2, 12, 11, 10, 9\n*ELSET, ELSET=all\n5, 6\n";
  ScopedJobFiles files;
  ScopedMesh m;
  convert_and_read(files, m.mesh, 7, text, 2);
  ASSERT_EQ(m.mesh.no_v_elements, 2);
  EXPECT_EQ(m.mesh.v_elements[0].mat_id, 2);
  expect_nodes_at_reference(m.mesh.v_elements[0]);
  // The pyramid on the upper face, apex 2 above it: a third of base 4 times height 2.
  EXPECT_STREQ(m.mesh.v_elements[1].type->name, "PYRAMID_N5E8");
  ScopedGauss gauss;
  expect_close(stored_element_volume(m.mesh.v_elements[1]), 4.0 * 2.0 / 3.0, volume_tol, 0.0);
  ASSERT_EQ(m.mesh.no_input_s_elements, 1);
  EXPECT_EQ(m.mesh.input_s_elements[0].boundary_id, 4);
  expect_quad8_mid_nodes(m.mesh.input_s_elements[0]);
}

TEST(Universal, OlderDatasetsAndSkippedDescriptors) {
  // Dataset 15 (one line per node), 780 elements with physical property 4, a beam (descriptor
  // 21, with its orientation record) and a parabolic triangle (92) that are skipped.
  std::string text = "    -1\n   151\nmodel\n    -1\n    -1\n    15\n";
  const double p[4][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  for (int i = 0; i < 4; ++i) {
    char line[128];
    std::snprintf(line, sizeof line, "%10d%10d%10d%10d%13.5E%13.5E%13.5E\n", i + 1, 0, 0, 0, p[i][0], p[i][1],
                  p[i][2]);
    text += line;
  }
  text += "    -1\n    -1\n   780\n";
  text += "         1       111         1         4         1         9         7         4\n"
          "         1         2         3         4\n";
  text += "         2        21         1         4         1         9         7         2\n"
          "         0         0         0\n         1         2\n";
  text += "         3        92         1         4         1         9         7         6\n"
          "         1         2         3         4         1         2\n    -1\n";
  ScopedJobFiles files;
  ScopedMesh m;
  convert_and_read(files, m.mesh, 1, text);
  ASSERT_EQ(m.mesh.no_nodes, 4);
  ASSERT_EQ(m.mesh.no_v_elements, 1);
  EXPECT_EQ(m.mesh.v_elements[0].mat_id, 4);
  ScopedGauss gauss;
  expect_close(stored_element_volume(m.mesh.v_elements[0]), 1.0 / 6.0, volume_tol, 0.0);
}

TEST(Neutral, NodeSlotsOfTetrahedronAndWedge) {
  // A tetrahedron keeps slots 0, 1, 2 and 4; a wedge 0, 1, 2 and 4, 5, 6.
  std::string text = "   -1\n   100\n<NULL>\n4.41,\n   -1\n   -1\n   403\n";
  const double p[7][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {0, 1, 1}, {0, 0, -1}};
  for (int i = 0; i < 7; ++i)
    text += std::to_string(i + 1) + ",0,0,1,46,0,0,0,0,0,0," + std::to_string(p[i][0]) + "," +
            std::to_string(p[i][1]) + "," + std::to_string(p[i][2]) + ",\n";
  text += "-1,0,0,0,0,0,0,0,0,0,0,0.,0.,0.,\n   -1\n   -1\n   404\n";
  const std::string tail = "0.,0.,0.,\n0.,0.,0.,\n0.,0.,0.,\n0,0,0,0,0,0,0,0,0,0,0,0,\n";
  text += "1,124,5,25,6,1,0,0,\n1,3,2,0,7,0,0,0,0,0,\n0,0,0,0,0,0,0,0,0,0,\n" + tail;
  text += "2,124,6,25,7,1,0,0,\n1,2,3,0,4,5,6,0,0,0,\n0,0,0,0,0,0,0,0,0,0,\n" + tail;
  text += "-1,0,0,0,0,0,0,0,\n   -1\n";
  ScopedJobFiles files;
  ScopedMesh m;
  convert_and_read(files, m.mesh, 5, text);
  ASSERT_EQ(m.mesh.no_v_elements, 2);
  EXPECT_EQ(m.mesh.v_elements[0].mat_id, 5);
  EXPECT_STREQ(m.mesh.v_elements[0].type->name, "TETRA_N4E6");
  EXPECT_STREQ(m.mesh.v_elements[1].type->name, "PRISM_N6E9");
  ScopedGauss gauss;
  expect_close(stored_element_volume(m.mesh.v_elements[0]), 1.0 / 6.0, volume_tol, 0.0);
  expect_close(stored_element_volume(m.mesh.v_elements[1]), 0.5, volume_tol, 0.0);
}

// Card errors of the converters: exit status 1 with the file name and the line at fault.
TEST(ConverterFaults, CardErrorsNameFileAndLine) {
  const std::string tet_grid = "GRID,1,0,0.,0.,0.\nGRID,2,0,1.,0.,0.\nGRID,3,0,0.,1.,0.\nGRID,4,0,0.,0.,1.\n";
  const std::string nas_fixed_bad =
      fixed_field("CTETRA", 8) + fixed_field("1", 8) + fixed_field("0", 8) + "1       2       3       4";
  const struct {
    int format;
    std::string text;
    std::string message;
  } cases[] = {
      {3, tet_grid + "CTETRA,1,0,1,2,3,4\n",
       "**** Error in File pre_geom.nas near data ****\n** CARD ** CTETRA,1,0,1,2,3,4\n"},
      {3, "GRID    1       0       0.      0.      0.\n" + nas_fixed_bad + "\n",
       "**** Error in File pre_geom.nas near data ****\n** CARD ** " + nas_fixed_bad + "\n"},
      {3, "GRID    1       0       0.      0.      0.\nCTETRA  5\n",
       "**** Error in File pre_geom.nas near data ****\n** CARD ** CTETRA  5\n"},
      {7, "*NODE\n1, 0, 0, 0\n*ELEMENT, type=C3D10, ELSET=Volume1\n1, 1, 1, 1, 1\n",
       "**** Error in File pre_geom.inp near data ****\n** CARD ** *ELEMENT, type=C3D10, ELSET=Volume1\n"},
      {7, "*NODE\n1, 0, 0, 0\n*ELEMENT, type=C3D4, ELSET=air\n1, 1, 1, 1, 1\n",
       "**** Error in File pre_geom.inp near data ****\n** CARD ** *ELEMENT, type=C3D4, ELSET=air\n"},
      {12, "0\n2\n#1\n0 0 0\n#2\nx y z\n",
       "**** Error in File pre_geom.msh near data ****\n** CARD ** x y z\n"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.message);
    const CHILD_JOB job = run_job_in_child([&] {
      write_file(job_options_folder() + "pre_geom" + find_mesh_converter(c.format)->extension, c.text);
      convert_mesh("pre_geom", c.format);
    });
    EXPECT_EQ(job.exit_status, 1);
    EXPECT_NE(job.check.find(c.message), std::string::npos) << job.check;
    EXPECT_NE(job.error.find(c.message), std::string::npos) << job.error;
  }
  const CHILD_JOB unopenable = run_job_in_child([] { convert_mesh("pre_geom", 7); });
  EXPECT_EQ(unopenable.exit_status, 1);
  EXPECT_NE(unopenable.check.find("****  file pre_geom.inp cannot be opened **** "), std::string::npos);
  const CHILD_JOB ksw = run_job_in_child([] { convert_mesh("pre_geom", 4); });
  EXPECT_EQ(ksw.exit_status, 1);
  EXPECT_NE(ksw.check.find("**** The ksw mesh data can't be read by this build of the program."),
            std::string::npos);
}
