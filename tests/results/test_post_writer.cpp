// The post-file writers: the table of every format, the edge cases of the formats, the strings of
// each format's node and value blocks against hand-written lines, and the geometry read back by
// the mesh importers and by Gmsh.
#include "results/post_writer.hpp"

#include "input/control_data_writable.hpp"
#include "job/ffile.hpp"
#include "materials/material_tables.hpp"
#include "mesh/mesh_builder.hpp"
#include "mesh/mesh_converters.hpp"
#include "mesh/mesh_reader.hpp"
#include "mesh/mesh_test_support.hpp"
#include "results/post_formats/post_formats.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

constexpr int all_formats[] = {1, 2, 3, 4, 5, 6, 7, 8, 11, 15};

// What `body` writes to a stream.
std::string capture(const std::function<void(std::FILE *)> &body) {
  std::FILE *stream = std::tmpfile();
  body(stream);
  std::fflush(stream);
  std::rewind(stream);
  std::string text;
  char buffer[4096];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, stream)) > 0;) text.append(buffer, n);
  std::fclose(stream);
  return text;
}

// A model freed at the end of the scope.
struct ScopedModel {
  MESHED_MODEL model;
  explicit ScopedModel(const MESH_BUILDER &builder) : model(builder.build()) {}
  ScopedModel(const ScopedModel &) = delete;
  ScopedModel &operator=(const ScopedModel &) = delete;
  ~ScopedModel() { free_model_arrays(model); }
};

// The unit tetrahedron (nodes 1 to 4 at the origin and on the axes) of material 3.
MESH_BUILDER unit_tetrahedron() {
  MESH_BUILDER b;
  b.add(*find_v_element_type(6), {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, 3);
  return b;
}

// A node block, an element value block and a node value block of step 2 at time 0.5.
void write_sample(const POST_WRITER &w, POST_STREAM &out, const MESHED_MODEL &model) {
  write_geometry(model, w, out, false);
  const double element_values[4] = {1.0, -2.0, 0.25, 3.0};
  const double node_values[5] = {0.5, 0.0, -1.5, 1.25, 7.0};
  w.set_counts(out, 1, 4, 1, 5);
  w.step_start(out, 2, post_B_elements, 0.5);
  w.element_block_start(out, 2, post_B_elements, 0.5, "ELEMENT - BX, BY, BZ, |B|", 4);
  w.element_value_row(out, 1, 4, element_values, 4);
  w.end_of_block(out);
  w.node_block_start(out, 2, post_B_nodes, 0.5, "NODE - BX, BY, BZ, |B|, FLUX", 5);
  w.node_value_row(out, 4, 5, node_values);
  w.end_of_block(out);
  w.flush_stored(out, 2, "BMAG", post_B_elements, 0.5);
  w.step_block_end(out);
}

// The sample in a format; `out` is the stream record it was written through.
std::string sample_text(int format, int wide, POST_STREAM &out) {
  ScopedModel m(unit_tetrahedron());
  const POST_WRITER &w = find_post_format(format).writer;
  return capture([&](std::FILE *s) {
    out = POST_STREAM{.file = s, .wide = wide};
    write_sample(w, out, m.model);
  });
}

std::string sample_text(int format, int wide) {
  POST_STREAM out;
  return sample_text(format, wide, out);
}

bool has_line(const std::string &text, const std::string &line) {
  for (const std::string &l : split_lines(text))
    if (l == line) return true;
  return false;
}

// The line after the first one equal to `line`, or "" when there is none.
std::string line_after(const std::string &text, const std::string &line, int offset = 1) {
  const std::vector<std::string> lines = split_lines(text);
  for (std::size_t i = 0; i < lines.size(); ++i)
    if (lines[i] == line && i + static_cast<std::size_t>(offset) < lines.size())
      return lines[i + static_cast<std::size_t>(offset)];
  return "";
}

std::vector<double> numbers_of(const std::string &line) {
  std::istringstream in(line);
  std::vector<double> numbers;
  for (double v; in >> v;) numbers.push_back(v);
  return numbers;
}

} // namespace

TEST(PostWriterTable, EveryFormatFillsEverySlot) {
  for (int format : all_formats) {
    SCOPED_TRACE(format);
    const POST_FORMAT &found = find_post_format(format);
    EXPECT_TRUE(all_slots_filled(found.writer));
    EXPECT_NE(std::find(found.codes.begin(), found.codes.end(), format), found.codes.end());
    // The writers keep the stream's WIDE setting as they found it.
    POST_STREAM out;
    sample_text(format, 2, out);
    EXPECT_EQ(out.wide, 2);
  }
  EXPECT_TRUE(all_slots_filled(find_post_format(0).writer));
  EXPECT_TRUE(all_slots_filled(find_post_format(9).writer));
  EXPECT_STREQ(find_post_format(1).geometry_extension, ".unv");
  EXPECT_STREQ(find_post_format(8).geometry_extension, ".nas");
  EXPECT_STREQ(find_post_format(2).geometry_extension, "");
}

// Every row of the table: no null slot, each of its codes found back, and, where the mesh reader
// has a converter of the row's first code (INPUT_MESH_FILE 1 for the post codes 1 and 11, and so
// on), a geometry file named as that converter's files are. A row that takes its geometry from
// another format names one whose files end the same way.
TEST(PostWriterTable, EveryRowIsComplete) {
  ASSERT_FALSE(post_formats().empty());
  int named_as_mesh_files = 0;
  for (const POST_FORMAT &format : post_formats()) {
    SCOPED_TRACE(format.name);
    EXPECT_TRUE(all_slots_filled(format.writer));
    ASSERT_FALSE(format.codes.empty());
    for (int code : format.codes) EXPECT_EQ(&find_post_format(code), &format) << code;
    if (const MESH_CONVERTER *mesh = find_mesh_converter(format.codes.front())) {
      EXPECT_STREQ(format.geometry_extension, mesh->extension);
      ++named_as_mesh_files;
    }
    EXPECT_STREQ(find_post_format(format.geometry_code).geometry_extension, format.geometry_extension);
  }
  // UNV, NASTRAN, .ksw, FEMAP, CADAS, ABAQUS and HyperView's NASTRAN geometry.
  EXPECT_EQ(named_as_mesh_files, 7);
  // 0 and every value no row lists fall to the silent row, the first one.
  EXPECT_EQ(&find_post_format(0), &post_formats()[0]);
  for (int code = -1; code <= 20; ++code) {
    bool listed = false;
    for (const POST_FORMAT &format : post_formats())
      listed = listed || std::find(format.codes.begin(), format.codes.end(), code) != format.codes.end();
    if (!listed) {
      EXPECT_EQ(&find_post_format(code), &post_formats()[0]) << code;
    }
  }
  for (int code : all_formats) EXPECT_NE(&find_post_format(code), &post_formats()[0]) << code;
}

// A HyperView job's geometry file is the NASTRAN job's, byte for byte with each WIDE: the ALTAIR
// head belongs to the result stream only.
TEST(GeometryFile, HyperViewJobsWriteTheNastranFile) {
  ScopedModel m(unit_tetrahedron());
  ScopedJobFiles files;
  ScopedControlData control;
  writable_control_data().release = 12.0;
  writable_control_data().post.MESH = 1;
  read_material_cards(files.open_card_text("materials", "1 0 0\n3 0 0 0 1 0 0 0 0\n"), 1);
  set_output_flags(0, std::vector<int>{});
  for (int wide : {0, 1, 2}) {
    SCOPED_TRACE(wide);
    writable_control_data().WIDE = wide;
    std::string texts[2];
    for (int k = 0; k < 2; ++k) {
      const int code = k == 0 ? 3 : 8;
      writable_control_data().POST_DATA_FILE = code;
      write_geometry_file(m.model, find_post_format(code));
      texts[k] = read_file(files.dir().file("post_geom.nas"));
    }
    EXPECT_EQ(texts[1], texts[0]);
    EXPECT_EQ(texts[1].rfind("BEGIN BULK\n", 0), 0u);
    EXPECT_NE(texts[1].find("CTETRA"), std::string::npos);
  }
}

TEST(PostWriterTable, FormatZeroCallsNothing) {
  ScopedModel m(unit_tetrahedron());
  const POST_WRITER &w = find_post_format(0).writer;
  // Every slot of format 0 goes to a function that leaves the stream alone: a null stream
  // would crash any that wrote.
  POST_STREAM none{.file = nullptr};
  write_sample(w, none, m.model);
  w.file_end(none);
  w.line_element_row(none, 1, 1, 2, 1);
  w.displacement_block_start(none, 1, post_displacement_nodes, 0.0, "DISP - DX, DY, DZ, - NODAL", 3);
  w.displacement_row(none, 1, 3, std::array<double, 3>{}.data());
  POST_STREAM out;
  EXPECT_EQ(sample_text(0, 0, out), "");
  EXPECT_EQ(out.stored.stored_node_no, nullptr);

  // With format 0 no geometry file is made, even with MESH selected.
  ScopedJobFiles files;
  ScopedControlData control;
  writable_control_data().POST_DATA_FILE = 0;
  writable_control_data().post.MESH = 1;
  write_geometry_file(m.model, find_post_format(0));
  EXPECT_FALSE(file_exists(files.dir().file("post_geom")));
}

TEST(PostWriterEdgeCases, UnvRowOfFourValuesWritesSix) {
  const POST_WRITER &w = find_post_format(1).writer;
  const double values[4] = {1.0, -2.0, 0.25, 3.0};
  const std::string text = capture([&](std::FILE *s) {
    POST_STREAM out{.file = s};
    w.element_value_row(out, 7, 4, values, 4);
  });
  const std::vector<std::string> lines = split_lines(text);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "         7         6");
  EXPECT_EQ(lines[1], "  1.00000e+00 -2.00000e+00  2.50000e-01  3.00000e+00  0.00000e+00  0.00000e+00");
  const std::vector<double> numbers = numbers_of(lines[1]);
  ASSERT_EQ(numbers.size(), 6u);
  EXPECT_EQ(numbers[4], 0.0);
  EXPECT_EQ(numbers[5], 0.0);
}

TEST(PostWriterEdgeCases, KswTwentyNodeRowBreaksBehindNodesSixAndFifteen) {
  const POST_WRITER &w = find_post_format(4).writer;
  V_ELEMENT element;
  element.type = find_v_element_type(1); // HEXA_N20E12
  int nodes[20];
  for (int i = 0; i < 20; ++i) nodes[i] = 101 + i; // local node L has the identity 100 + L
  const std::string text = capture([&](std::FILE *s) {
    POST_STREAM out{.file = s};
    w.volume_element_row(out, 1, element, nodes, 3);
  });
  const std::vector<std::string> lines = split_lines(text);
  ASSERT_EQ(lines.size(), 3u);
  // The sheet lists the upper face first: corners 5 6 7 8 1 2 3 4, then the mid nodes of the
  // upper face (12 15 11 14), of the lower face (9 16 10 13), and the vertical ones (17 to 20).
  EXPECT_EQ(lines[0], "         1    20       3      20     105     106     107     108     101     102");
  EXPECT_EQ(lines[1], "             103     104     112     115     111     114     109     116     110");
  EXPECT_EQ(lines[2], "             113     117     118     119     120");
}

// Wide integers change the integer columns only: with the blanks taken out, the texts of WIDE 1
// and WIDE 2 are the same but for the integer widths named in the heads.
TEST(PostWriterEdgeCases, WideTwoChangesOnlyIntegerColumns) {
  auto squeeze = [](std::string text) {
    std::string out;
    for (char c : text)
      if (c != ' ') out += c;
    for (std::size_t at; (at = out.find("I12")) != std::string::npos;) out.replace(at, 3, "I8");
    return out;
  };
  for (int format : all_formats) {
    SCOPED_TRACE(format);
    const std::string wide1 = sample_text(format, 1), wide2 = sample_text(format, 2);
    std::string a = squeeze(wide1), b = squeeze(wide2);
    // The displacement head of WIDE 2 keeps the narrow real width.
    if (format == 2 || format == 15) {
      EXPECT_NE(wide1, wide2);
      EXPECT_TRUE(has_line(wide2, "           1   0.00000000e+00   0.00000000e+00   0.00000000e+00"));
      EXPECT_TRUE(has_line(wide1, "       1   0.00000000e+00   0.00000000e+00   0.00000000e+00"));
    }
    // The .ksw head holds the clock, which may tick between the two texts.
    if (format == 4) a = a.substr(a.find("\n2\n")), b = b.substr(b.find("\n2\n"));
    EXPECT_EQ(a, b);
  }
}

// The unit tetrahedron and one B data set in each format, checked against lines written here
// from the formats' record layouts.
TEST(PostFormats, Universal) {
  const std::string text = sample_text(1, 0);
  EXPECT_EQ(text.rfind("    -1\n  2411\n", 0), 0u);
  EXPECT_EQ(line_after(text, "  2411", 3), "         2         0         0        15");
  EXPECT_EQ(line_after(text, "  2411", 4),
            "       1.000000000000e+00       0.000000000000e+00       0.000000000000e+00");
  EXPECT_EQ(line_after(text, "  2412"), "         1       111         3         3         7         4");
  EXPECT_EQ(line_after(text, "  2412", 2), "         1         2         3         4");
  EXPECT_EQ(line_after(text, "    56"), "ELEMENT - BX, BY, BZ, |B|");
  EXPECT_EQ(line_after(text, "    56", 2), "Element Data ");
  EXPECT_EQ(line_after(text, "    56", 6), "         1         4         3         8         2         6");
  EXPECT_EQ(line_after(text, "    56", 7), "         2         1         2         2");
  EXPECT_EQ(line_after(text, "    56", 8), "  5.00000e-01");
  EXPECT_EQ(line_after(text, "    55", 2), "Node Data");
  EXPECT_EQ(line_after(text, "    55", 9), "         4         6");
  EXPECT_EQ(line_after(text, "    55", 10),
            "  5.00000e-01  0.00000e+00 -1.50000e+00  1.25000e+00  7.00000e+00  0.00000e+00");
}

TEST(PostFormats, InHouseNeutral) {
  const std::string text = sample_text(2, 0);
  EXPECT_EQ(line_after(text, "GRID    (I8,3E14.5)"), "       1   0.00000e+00   0.00000e+00   0.00000e+00");
  EXPECT_EQ(line_after(text, "GRID    (I8,3E14.5)", 5), "      -1");
  EXPECT_EQ(line_after(text, "CONC    (8I8)"), "       1     304       3       1       2       3       4");
  EXPECT_EQ(line_after(text, "STEP    (2I5,E12.0)"), "    2    1   5.000e-01");
  EXPECT_EQ(line_after(text, "STRE   3(I8,6E14.0)"),
            "       1   1.00000e+00  -2.00000e+00   2.50000e-01   3.00000e+00");
  EXPECT_EQ(line_after(text, "EVAL   4(I8,6E14.0)"),
            "       4   5.00000e-01   0.00000e+00  -1.50000e+00   1.25000e+00   7.00000e+00");
  const std::string wide = sample_text(2, 2);
  EXPECT_EQ(line_after(wide, "GRID    (I12,3E17.8)"),
            "           1   0.00000000e+00   0.00000000e+00   0.00000000e+00");
  EXPECT_EQ(line_after(wide, "STEP    (2I5,E18.0)"), "    2    1   5.000000000e-01");
  EXPECT_TRUE(has_line(wide, "CONC    (8I12)"));
}

TEST(PostFormats, Nastran) {
  const std::string text = sample_text(3, 0);
  EXPECT_EQ(line_after(text, "BEGIN BULK"),
            "GRID           1       0 0.00000 0.00000 0.00000       0       0");
  EXPECT_EQ(line_after(text, "BEGIN BULK", 2),
            "GRID           2       0 1.00000 0.00000 0.00000       0       0");
  EXPECT_EQ(line_after(text, "BEGIN BULK", 5), "CTETRA         1       3       1       2       3       4");
  EXPECT_EQ(split_lines(text).back(), "ENDDATA");
  const std::string wide = sample_text(3, 1);
  EXPECT_EQ(line_after(wide, "BEGIN BULK"),
            "GRID*                  1               0   0.0000000e+00   0.0000000e+00*G000001");
  EXPECT_EQ(line_after(wide, "BEGIN BULK", 2), "*G000001   0.0000000e+00               0");
  EXPECT_EQ(line_after(wide, "BEGIN BULK", 9),
            "CTETRA*                1               3               1               2");
  EXPECT_EQ(line_after(wide, "BEGIN BULK", 10),
            "*" + std::string(22, ' ') + "3" + std::string(15, ' ') + "4");
}

TEST(PostFormats, HyperView) {
  const std::string text = sample_text(8, 0);
  EXPECT_EQ(text.rfind("ALTAIR ASCII FILE\n$TITLE   = $TITLE = ELECTROMAGNETIC ANALYSIS BY TESMORAPRO\n"
                       "$SUBCASE = 1\tSubcase 1\n",
                       0),
            0u);
  EXPECT_TRUE(has_line(text, "$TIME =    5.000e-01"));
  EXPECT_EQ(line_after(text, "$BINDING = ELEMENT", 2), "$RESULT_TYPE = B-elem(v), B-elem-abs(s)");
  EXPECT_EQ(line_after(text, "$BINDING = ELEMENT", 3),
            "       1    1.00000e+00  -2.00000e+00   2.50000e-01   3.00000e+00");
  EXPECT_EQ(line_after(text, "$BINDING = NODE", 2), "$RESULT_TYPE = B-node(v), B-node-abs(s), FLUX(s)");
  EXPECT_TRUE(has_line(sample_text(8, 1), "$TIME =    5.000000000e-01"));
}

TEST(PostFormats, KswSheet) {
  ScopedControlData control;
  writable_control_data().release = 12.0;
  POST_STREAM out;
  const std::string text = sample_text(4, 0, out);
  const std::vector<std::string> lines = split_lines(text);
  ASSERT_GT(lines.size(), 8u);
  EXPECT_EQ(lines[0], " 1");
  EXPECT_EQ(lines[1].rfind("VERSION  12.0 DATE ", 0), 0u);
  EXPECT_EQ(lines[2], " 2");
  EXPECT_EQ(lines[3], " ***** Tesmora Results *****");
  EXPECT_EQ(lines[6], "         1       0       0  000000         0.00000e+00  0.00000e+00  0.00000e+00");
  // The tetrahedron of the sheet lists nodes 1 2 4 3.
  EXPECT_EQ(lines[10], "         1     4       3       4       1       2       4       3");
  // The stored data set: the element vector, its magnitude, then the node vector, its magnitude
  // and the flux, each a block with its component count, row count and label.
  EXPECT_EQ(lines[11], " 3       1 B -E-");
  EXPECT_EQ(lines[12], "         1     4");
  EXPECT_EQ(lines[13], "    5.00000e-01");
  EXPECT_EQ(lines[14], "         1     4              1.00000e+00 -2.00000e+00  2.50000e-01");
  EXPECT_EQ(lines[15], " 1       1 B -E-");
  EXPECT_EQ(lines[18], "         1     4              3.00000e+00");
  EXPECT_EQ(lines[19], " 3       1 B -N-");
  EXPECT_EQ(lines[22], "         4       5.00000e-01  0.00000e+00 -1.50000e+00");
  EXPECT_EQ(lines[26], "         4       1.25000e+00");
  EXPECT_EQ(lines.back(), "         4       7.00000e+00");
  EXPECT_EQ(out.stored.stored_element_no, nullptr); // freed by flush_stored
  EXPECT_STREQ(ksw_label(10), "Dispacement -N-");
}

TEST(PostFormats, FemapNeutral) {
  const std::string text = sample_text(5, 0);
  EXPECT_EQ(text.rfind("   -1\n   100\n<NULL>\n4.41,\n   -1\n   -1\n   403\n", 0), 0u);
  EXPECT_TRUE(has_line(text, "2,0,0,1,46,0,0,0,0,0,0,  1.00000e+00,  0.00000e+00,  0.00000e+00,"));
  // A linear solid (25) of topology 6; the tetrahedron leaves slot 4 empty.
  EXPECT_EQ(line_after(text, "   404"), "1,124,3,25,6,1,0,0,");
  EXPECT_EQ(line_after(text, "   404", 2), "1,2,3,0,4,0,0,0,0,0,");
  EXPECT_EQ(line_after(text, "   404", 3), "0,0,0,0,0,0,0,0,0,0,");
  EXPECT_EQ(line_after(text, "   450", 2), "STEP:2 Time: 5.00000e-01");
  EXPECT_EQ(line_after(text, "   451"), "2, 1,1,");
  EXPECT_EQ(line_after(text, "   451", 2), "BMAG-elem-1");
  EXPECT_EQ(line_after(text, "   451", 6), "0,0,3,8,");
  EXPECT_EQ(line_after(text, "   451", 8), "1,   1.00000e+00,");
  EXPECT_EQ(line_after(text, "   451", 9), "-1,0.,");
  EXPECT_TRUE(has_line(text, "BMAG-node-5"));
  EXPECT_TRUE(has_line(text, "4,   7.00000e+00,"));
  const std::string wide = sample_text(5, 1);
  EXPECT_EQ(line_after(wide, "  1051"), "1,4,1.00000000e+00,-2.00000000e+00,2.50000000e-01,3.00000000e+00,");
}

TEST(PostFormats, Cadas) {
  const std::string text = sample_text(6, 0);
  const std::vector<std::string> lines = split_lines(text);
  ASSERT_EQ(lines.size(), 10u);
  EXPECT_EQ(lines[0], "TSM3D-MJ OUTPUT" + std::string(65, ' '));
  EXPECT_EQ(lines[2], "       2  1.00000e+00  0.00000e+00  0.00000e+00");
  EXPECT_EQ(lines[5], "       1       3       4");
  EXPECT_EQ(lines[6], "       1       2       3       4");
  EXPECT_EQ(lines[7], "BMAG         2  5.00000e-01");
  EXPECT_EQ(lines[8], "       1  1.00000e+00 -2.00000e+00  2.50000e-01  3.00000e+00");
  EXPECT_EQ(lines[9], "       4  5.00000e-01  0.00000e+00 -1.50000e+00  1.25000e+00  7.00000e+00");
}

TEST(PostFormats, Abaqus) {
  const std::string text = sample_text(7, 0);
  EXPECT_EQ(line_after(text, "*NODE, NSET=GLOBAL", 4), "       4,  0.00000e+00,  0.00000e+00,  1.00000e+00");
  EXPECT_EQ(line_after(text, "*ELEMENT, TYPE=C3D4, ELSET=P3"),
            "       1,       1,       2,       3,       4");
  // The "$" lines are 72 columns and the running line number.
  const std::string pad(32, ' ');
  EXPECT_TRUE(has_line(text, "$TIME STEP =   5.00000e-01" + std::string(46, ' ') + "       1"));
  EXPECT_TRUE(has_line(text, "$TITLE = MAGNETIC ANALYSIS BY TESMORAPRO" + pad + "       2"));
  EXPECT_TRUE(has_line(text, "$ELEMENT TYPE = 3" + std::string(55, ' ') + "       7"));
  EXPECT_TRUE(has_line(text, "           1" + std::string(17, ' ') +
                                 "1.00000e+00    -2.00000e+00     2.50000e-01       8"));
  EXPECT_TRUE(has_line(text, "-CONT-" + std::string(23, ' ') + "3.00000e+00" + pad + "       9"));
  EXPECT_TRUE(has_line(text, "           4" + std::string(17, ' ') +
                                 "5.00000e-01     0.00000e+00    -1.50000e+00      15"));
  EXPECT_TRUE(has_line(text, "-CONT-" + std::string(23, ' ') + "1.25000e+00     7.00000e+00" +
                                 std::string(16, ' ') + "      16"));
  for (const std::string &line : split_lines(text))
    if (line[0] == '$' || line.rfind("-CONT-", 0) == 0) {
      EXPECT_EQ(line.size(), 80u) << line;
    }
}

namespace {

MESH_READ_SETTINGS read_settings(int node_order) {
  return {.unit_factor = 1.0, .node_order = node_order, .edge_order = 1, .quad_tri = 0};
}

// Runs the importer of `input_mesh_file` on the file "pre_geom" + its extension of the job folder
// (the in-house text is read as it stands) and reads the native text into `mesh`.
void import_mesh(ScopedJobFiles &files, MESHED_MODEL &mesh, int input_mesh_file, int node_order) {
  if (input_mesh_file != 2) convert_mesh("pre_geom", input_mesh_file);
  FFILE *file = files.open_card_text("pre_geom", read_file(files.dir().file("pre_geom")));
  read_pre_geom(mesh, file, 0, 0, read_settings(node_order));
}

// Writes the geometry of `model` in post format `format` as the mesh file of `input_mesh_file`.
void write_mesh_file(ScopedJobFiles &files, const MESHED_MODEL &model, int format, int wide,
                     int input_mesh_file) {
  const std::string name =
      std::string("pre_geom") + (input_mesh_file == 2 ? "" : find_mesh_converter(input_mesh_file)->extension);
  std::FILE *stream = std::fopen(files.dir().file(name).c_str(), "w");
  ASSERT_NE(stream, nullptr);
  POST_STREAM out{.file = stream, .wide = wide};
  write_geometry(model, find_post_format(format).writer, out, false);
  std::fclose(stream);
}

// Same nodes (identity and position), and the same elements in the same order: identity, type,
// material and the identity of every local node.
void expect_same_model(const MESHED_MODEL &a, const MESHED_MODEL &b, double coordinate_tol) {
  ASSERT_EQ(a.no_nodes, b.no_nodes);
  for (int i = 0; i < a.no_nodes; ++i) {
    ASSERT_EQ(a.nodes[i].id, b.nodes[i].id);
    expect_close(b.nodes[i].x, a.nodes[i].x, 0.0, coordinate_tol);
    expect_close(b.nodes[i].y, a.nodes[i].y, 0.0, coordinate_tol);
    expect_close(b.nodes[i].z, a.nodes[i].z, 0.0, coordinate_tol);
  }
  ASSERT_EQ(a.no_v_elements, b.no_v_elements);
  for (int k = 0; k < a.no_v_elements; ++k) {
    const V_ELEMENT &ea = a.v_elements[k], &eb = b.v_elements[k];
    SCOPED_TRACE(ea.id);
    ASSERT_EQ(ea.id, eb.id);
    ASSERT_STREQ(ea.type->name, eb.type->name);
    EXPECT_EQ(ea.type->id, eb.type->id);
    EXPECT_EQ(ea.mat_id, eb.mat_id);
    for (int i = 0; i < ea.type->no_nodes; ++i)
      ASSERT_EQ(ea.nodes[i]->id, eb.nodes[i]->id) << "local " << i + 1;
  }
}

struct ROUND_TRIP {
  int format;          // POST_DATA_FILE of the writer
  int wide;            // WIDE
  int input_mesh_file; // the importer that reads it back
  double tol;          // m; from the digits of the writer's coordinates
};

// The digits of the coordinates written: the universal file keeps 13 significant digits and the
// long NASTRAN fields 8, both finer than the native text (9 digits) that the original and the
// copy have passed through, so they come back within rounding of the 9-digit value; ABAQUS
// narrow keeps 6 digits (5e-6 relative on coordinates up to 1 m); NASTRAN small fields keep 5
// decimals (5e-6 absolute).
constexpr ROUND_TRIP round_trips[] = {
    {1, 0, 1, 1e-9}, {11, 2, 1, 1e-9}, {2, 0, 2, 5e-6}, {15, 1, 2, 1e-8}, {3, 0, 3, 5e-6},
    {3, 1, 3, 1e-8}, {8, 2, 3, 1e-8},  {7, 0, 7, 5e-6}, {7, 1, 7, 1e-8},  {5, 0, 5, 5e-6},
};

// The Gmsh meshes of tests/data/mesh (tetrahedra; hexahedra and prisms).
class GeometryRoundTrip : public ::testing::TestWithParam<const char *> {};

} // namespace

TEST_P(GeometryRoundTrip, ImportersReadBackTheSameModel) {
  ScopedJobFiles files;
  ScopedMesh original;
  write_file(files.dir().file("pre_geom.unv"),
             read_file(std::string(TESMORA_SOURCE_DIR) + "/tests/data/mesh/" + GetParam()));
  import_mesh(files, original.mesh, 1, 1);
  ASSERT_GT(original.mesh.no_v_elements, 100);
  for (const ROUND_TRIP &c : round_trips) {
    SCOPED_TRACE(::testing::Message() << "format " << c.format << " wide " << c.wide);
    write_mesh_file(files, original.mesh, c.format, c.wide, c.input_mesh_file);
    ScopedMesh copy;
    import_mesh(files, copy.mesh, c.input_mesh_file, 1);
    expect_same_model(original.mesh, copy.mesh, c.tol);
  }
}

INSTANTIATE_TEST_SUITE_P(Gmsh, GeometryRoundTrip, ::testing::Values("tet.unv", "hexprism.unv"));

// Second-order bricks, wedges and tetrahedra and the first-order pyramid, placed at their
// reference coordinates: the node order of each format must bring every mid node back to its
// place. Each importer takes the types it has a form for: the universal one reads one wedge
// descriptor for both wedges and no pyramid, the ABAQUS one no second-order wedge or tetrahedron,
// the neutral one no pyramid; the NASTRAN one reads the corners of all but the brick.
TEST(GeometryRoundTrip, QuadraticElementsKeepTheirNodeOrder) {
  struct CASE {
    int format, input_mesh_file;
    std::vector<int> type_ids;
  };
  const CASE cases[] = {
      {1, 1, {1, 7}}, {2, 2, {1, 5, 7, 10}}, {3, 3, {1, 5, 7, 10}}, {7, 7, {1, 10}}, {5, 5, {1, 5, 7}}};
  for (const CASE &c : cases) {
    SCOPED_TRACE(c.format);
    MESH_BUILDER builder;
    int mat = 1;
    for (int id : c.type_ids) {
      const V_ELEMENT_TYPE &type = *find_v_element_type(id);
      std::vector<POINT> positions;
      for (const POINT_3D &r : type.node_coordinates) positions.push_back({r[0] + 4.0 * mat, r[1], r[2]});
      builder.add(type, positions, mat++);
    }
    ScopedModel m(builder);
    ScopedJobFiles files;
    write_mesh_file(files, m.model, c.format, 1, c.input_mesh_file);
    ScopedMesh copy;
    import_mesh(files, copy.mesh, c.input_mesh_file, 2);
    ASSERT_EQ(copy.mesh.no_v_elements, m.model.no_v_elements);
    for (int k = 0; k < m.model.no_v_elements; ++k) {
      const V_ELEMENT &a = m.model.v_elements[k], &b = copy.mesh.v_elements[k];
      SCOPED_TRACE(a.type->name);
      EXPECT_EQ(b.mat_id, a.mat_id);
      const bool corners_only = c.format == 3 && a.type->id != 1;
      const int compared =
          corners_only ? find_v_element_type(a.type->linear_type)->no_nodes : a.type->no_nodes;
      if (!corners_only) {
        EXPECT_STREQ(b.type->name, a.type->name);
      }
      for (int i = 0; i < compared; ++i) {
        EXPECT_EQ(b.nodes[i]->x, a.nodes[i]->x) << "local " << i + 1;
        EXPECT_EQ(b.nodes[i]->y, a.nodes[i]->y) << "local " << i + 1;
        EXPECT_EQ(b.nodes[i]->z, a.nodes[i]->z) << "local " << i + 1;
      }
    }
  }
}

namespace {

// Counts of Gmsh's version 2 file: the numbers under "$Nodes" and "$Elements".
std::pair<int, int> msh2_counts(const std::string &text) {
  const std::vector<std::string> lines = split_lines(text);
  int nodes = -1, elements = -1;
  for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
    if (lines[i] == "$Nodes") nodes = std::atoi(lines[i + 1].c_str());
    if (lines[i] == "$Elements") elements = std::atoi(lines[i + 1].c_str());
  }
  return {nodes, elements};
}

} // namespace

TEST(GeometryRoundTrip, GmshOpensTheUniversalFile) {
  if (std::system("command -v gmsh > /dev/null 2>&1") != 0) GTEST_SKIP() << "gmsh is not on PATH";
  ScopedJobFiles files;
  ScopedMesh original;
  write_file(files.dir().file("pre_geom.unv"),
             read_file(std::string(TESMORA_SOURCE_DIR) + "/tests/data/mesh/hexprism.unv"));
  import_mesh(files, original.mesh, 1, 1);
  const std::string unv = files.dir().file("written.unv"), msh = files.dir().file("out.msh");
  std::FILE *stream = std::fopen(unv.c_str(), "w");
  ASSERT_NE(stream, nullptr);
  POST_STREAM out{.file = stream};
  write_geometry(original.mesh, find_post_format(1).writer, out, false);
  std::fclose(stream);
  const std::string command = "gmsh -0 '" + unv + "' -o '" + msh + "' -format msh2 > /dev/null 2>&1";
  ASSERT_EQ(std::system(command.c_str()), 0);
  const auto [nodes, elements] = msh2_counts(read_file(msh));
  EXPECT_EQ(nodes, original.mesh.no_nodes);
  EXPECT_EQ(elements, original.mesh.no_v_elements + original.mesh.no_input_s_elements);
}

// The job's geometry file: post_geom with the format's extension, of the selected materials.
TEST(GeometryFile, SelectedMaterialsOnly) {
  ScopedJobFiles files;
  ScopedControlData control;
  MESH_BUILDER builder = MESH_BUILDER::hexahedra(2, 0.5); // materials 1 and 2 alternate
  ScopedModel m(builder);
  writable_control_data().release = 12.0;
  read_material_cards(files.open_card_text("materials", "2 0 0\n1 0 0 0 1 0 0 0 0\n2 0 0 0 1 0 0 0 0\n"), 1);
  set_output_flags(1, std::vector<int>{2});
  writable_control_data().POST_DATA_FILE = 3;
  writable_control_data().post.MESH = 1;
  write_geometry_file(m.model, find_post_format(3));
  const std::string text = read_file(files.dir().file("post_geom.nas"));
  int hexas = 0, grids = 0;
  for (const std::string &line : split_lines(text)) {
    hexas += line.rfind("CHEXA", 0) == 0 && line.substr(16, 8) == "       2";
    grids += line.rfind("GRID ", 0) == 0;
    EXPECT_FALSE(line.rfind("CHEXA", 0) == 0 && line.substr(16, 8) == "       1") << line;
  }
  // Of the 8 cubes those with i + j + k odd have material 2; every node is written.
  EXPECT_EQ(hexas, 4);
  EXPECT_EQ(grids, 27);
}
