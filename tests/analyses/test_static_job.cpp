// Whole static linear jobs through TesmoraBatch: what every post format, the post frame and the
// node means write, output steps beyond the solved ones, a model without unknowns, a job split
// over runs and output.json. The jobs checked against closed-form fields are the folders of
// tests/regression.
#include "static_job_support.hpp"
#include "support/job_results.hpp"
#include "support/strict_json.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace tesmora::testing {
namespace {

std::string mesh_path(const std::string &name) {
  return std::string(TESMORA_SOURCE_DIR) + "/tests/data/mesh/" + name;
}

// An iron slab (0.4 <= z <= 0.6, relative permeability mu_r) across a unit box of air, in a
// uniform field B0 along x. Tangential H is continuous at the slab's faces, so the exact field is
// B0 in the air and mu_r B0 in the iron: the reduced field is (mu_r - 1) B0 x in the slab,
// the curl of A_r = (0, -(mu_r - 1) B0 (z - 0.4), 0), piecewise linear in z and so exact in the
// lowest-order edge elements on a mesh that follows the slab. The planes y = 0 and y = 1 carry
// no normal B; the faces x = 0, 1 and z = 0, 1 are left natural (there H - B0/mu0 has no
// tangential part).
STATIC_DECK slab_deck(double mu_r) {
  STATIC_DECK deck;
  deck.far_boundary = 1;
  deck.bn0_planes = {"0.0 1.0 0.0 0.0", "0.0 1.0 0.0 -1.0"};
  char iron[128];
  std::snprintf(iron, sizeof iron, "2 1 0 0.0 %g 0 0 0 0", mu_r);
  deck.materials = {"1 1 0 0.0 1.0 0 0 0 0", iron, "3 1 0 0.0 1.0 0 0 0 0"};
  deck.coil_elements = "UNIF 1.0 0.0 0.0 0";
  return deck;
}

struct SLAB_RUN {
  BATCH_RUN run;
  std::string check;
  std::map<int, std::array<double, 6>> elements;
  std::map<int, TET_CENTROID> centroids;
};

SLAB_RUN run_slab(const TempDir &dir, const STATIC_DECK &deck) {
  write_file(dir.file("input"), static_deck(deck));
  write_file(dir.file("pre_geom.nas"), read_file(mesh_path("slab.bdf")));
  SLAB_RUN out;
  out.run = run_batch(dir.path(), {});
  out.check = read_file(dir.file("check"));
  out.elements = read_unv_values(dir.file("magnetic"), 56);
  out.centroids = read_tet_centroids(dir.file("pre_geom.nas"));
  return out;
}

// Each post format takes the slab job's geometry and flux density: the file of the mesh, and in
// the results the value mu_r B0 = 100 T (Bx and |B| of each iron element, and of the nodes
// inside the iron) as the format's numbers print it. NASTRAN has a geometry form only.
TEST(StaticJob, EveryPostFormatWritesTheGeometryAndTheFluxDensity) {
  struct FORMAT {
    int post_data_file;
    const char *geometry;
    const char *results;
  };
  const FORMAT formats[] = {{1, "post_geom.unv", "magnetic"},    {2, "post_geom", "magnetic"},
                            {3, "post_geom.nas", nullptr},       {4, "post_geom.ksw", "magnetic"},
                            {5, "post_geom.neu", "magnetic"},    {6, "post_geom.cad", "post.cad"},
                            {8, "post_geom.nas", "post.hwascii"}};
  int iron = 0;
  for (const auto &[number, c] : read_tet_centroids(mesh_path("slab.bdf"))) iron += c.property == 2;
  for (const FORMAT &format : formats) {
    SCOPED_TRACE(format.post_data_file);
    STATIC_DECK deck = slab_deck(100.0);
    deck.post_data_file = format.post_data_file;
    deck.mesh_post = 1;
    TempDir dir;
    const SLAB_RUN slab = run_slab(dir, deck);
    ASSERT_EQ(slab.run.exit_status, 0) << slab.check;
    EXPECT_GT(read_file(dir.file(format.geometry)).size(), 10000u);
    if (!format.results) continue;
    const std::string results = read_file(dir.file(format.results));
    std::size_t count = 0;
    for (std::size_t at = results.find("1.00000e+02"); at != std::string::npos;
         at = results.find("1.00000e+02", at + 1))
      ++count;
    EXPECT_GE(count, 2u * static_cast<std::size_t>(iron));
  }
}

// REGULARIZATION 2 on the ungauged slab job: the coil's column is a curl form, already orthogonal
// to the gradients, so the field stays the closed form mu_r B0 in the iron; the job reports the
// nodal solve and writes the correction field and potential under their titles to "elem".
TEST(StaticJob, RegularizationWritesItsFieldsAndKeepsTheClosedForm) {
  STATIC_DECK deck = slab_deck(100.0);
  deck.tree_gauge = -1;
  deck.regularization = 2;
  TempDir dir;
  const SLAB_RUN slab = run_slab(dir, deck);
  ASSERT_EQ(slab.run.exit_status, 0) << slab.check;
  EXPECT_NE(read_file(dir.file("output")).find("--- Calculation of regularization potential -----\n"),
            std::string::npos);
  const std::string elem = read_file(dir.file("elem"));
  EXPECT_NE(elem.find("REGULARIZATION - FIELDS"), std::string::npos);
  EXPECT_NE(elem.find("REGULARIZATION - POT"), std::string::npos);
  int iron = 0;
  for (const auto &[number, c] : slab.centroids) {
    if (c.property != 2) continue;
    ++iron;
    expect_close(slab.elements.at(number)[0], 100.0, 1e-6, 0.0);
  }
  EXPECT_GT(iron, 10);
}

// With POST_COORDINATE the vectors are written in that frame: a frame whose x axis is the global
// y and whose z is the global z has its y axis along -x, so the slab's 100 T along x reads
// (0, -100, 0) there, with the same magnitude.
TEST(StaticJob, VectorsAreWrittenInThePostFrame) {
  STATIC_DECK deck = slab_deck(100.0);
  deck.coordinates = "COORDINATE 1\n1 1 0.0 0.0 0.0\n0.0 1.0 0.0\n0.0 0.0 1.0";
  deck.post_coordinate = 1;
  TempDir dir;
  const SLAB_RUN slab = run_slab(dir, deck);
  ASSERT_EQ(slab.run.exit_status, 0) << slab.check;
  for (const auto &[number, c] : slab.centroids) {
    const std::array<double, 6> &B = slab.elements.at(number);
    const double expected = c.property == 2 ? 100.0 : 1.0;
    expect_close(B[0], 0.0, 0.0, 2e-3);
    expect_close(B[1], -expected, 2e-5, 1e-5);
    expect_close(B[3], expected, 2e-5, 1e-5);
  }
}

// Node values are the plain mean over the selected elements that touch the node: with the iron
// alone selected, every node of the slab (its faces included) shows the iron's 100 T, and the
// nodes of the air are left out.
TEST(StaticJob, NodeMeansTakeTheSelectedMaterialsOnly) {
  STATIC_DECK deck = slab_deck(100.0);
  deck.output_materials = "1 0 0 0 0 0 0\n2";
  TempDir dir;
  const SLAB_RUN slab = run_slab(dir, deck);
  ASSERT_EQ(slab.run.exit_status, 0) << slab.check;
  const std::map<int, std::array<double, 6>> nodes = read_unv_values(dir.file("magnetic"), 55);
  std::size_t iron_elements = 0;
  for (const auto &[number, c] : slab.centroids) iron_elements += c.property == 2;
  EXPECT_EQ(slab.elements.size(), iron_elements);
  EXPECT_GT(nodes.size(), 0u);
  for (const auto &[number, B] : nodes) {
    expect_close(B[0], 100.0, 2e-5, 0.0);
    expect_close(B[3], 100.0, 2e-5, 0.0);
  }
  // With every material selected a node on the slab's face mixes the iron's 100 T with the air's
  // 1 T, and the magnitude is that of the mean vector.
  TempDir all;
  const SLAB_RUN every = run_slab(all, slab_deck(100.0));
  ASSERT_EQ(every.run.exit_status, 0);
  const std::map<int, std::array<double, 6>> mixed = read_unv_values(all.file("magnetic"), 55);
  int on_face = 0;
  for (const auto &[number, B] : mixed) {
    EXPECT_GE(B[0], 1.0 - 1e-4);
    EXPECT_LE(B[0], 100.0 + 1e-3);
    expect_close(B[3], std::sqrt(B[0] * B[0] + B[1] * B[1] + B[2] * B[2]), 1e-5, 1e-5);
    on_face += B[0] > 1.001 && B[0] < 99.99;
  }
  EXPECT_GT(on_face, 0);
}

TEST(StaticJob, OutputStepsBeyondTheSolvedOnesEndThePostStageNormally) {
  STATIC_DECK deck = slab_deck(100.0);
  deck.last_output_step = 3;
  TempDir dir;
  const SLAB_RUN slab = run_slab(dir, deck);
  EXPECT_EQ(slab.run.exit_status, 0) << slab.check;
  const std::string output = read_file(dir.file("output"));
  EXPECT_NE(output.find("\n****  time step 2 cannot be read from file_solutions ****\n"), std::string::npos);
  EXPECT_NE(output.find("Step No.     1"), std::string::npos);
}

// One tetrahedron with its whole boundary fixed has no unknown: the job still ends normally, with
// the coil's own field as the answer. A coil whose POTENTIAL no region has acts nowhere, and the
// job says so.
TEST(StaticJob, AModelWithoutUnknownsAndACoilThatActsNowhereEndNormally) {
  const std::string tetrahedron = "GRID,1,0,0.0,0.0,0.0\nGRID,2,0,1.0,0.0,0.0\nGRID,3,0,0.0,1.0,0.0\n"
                                  "GRID,4,0,0.0,0.0,1.0\nCTETRA,1,1,1,2,3,4\n";
  for (const char *material : {"1 1 0 0.0 100 0 0 0 0", "1 0 0 0.0 100 0 0 0 0"}) {
    SCOPED_TRACE(material);
    STATIC_DECK deck;
    deck.materials = {material};
    deck.coil_elements = "UNIF 1.0 0.0 0.0 0";
    TempDir dir;
    write_file(dir.file("input"), static_deck(deck));
    write_file(dir.file("pre_geom.nas"), tetrahedron);
    const BATCH_RUN run = run_batch(dir.path(), {});
    const std::string check = read_file(dir.file("check"));
    ASSERT_EQ(run.exit_status, 0) << check;
    const std::array<double, 6> B = read_unv_values(dir.file("magnetic"), 56).at(1);
    const bool carries = material[2] == '1';
    EXPECT_EQ(B[0], carries ? 1.0 : 0.0);
    EXPECT_EQ(
        check.find("**** COIL source series 1: no region has its POTENTIAL 1, so its field enters nowhere. "
                   "****\n") == std::string::npos,
        carries);
  }
}

// What the post stage reports of a run's steps: from the first step heading to the end of the
// stage, without the lines that carry times.
std::string step_reports(const std::string &output) {
  const std::size_t from = output.find("Step No.");
  const std::size_t to = output.find("*******  Post_processing is completed");
  return from == std::string::npos || to == std::string::npos ? std::string()
                                                              : output.substr(from, to - from);
}

TEST(StaticJob, AJobSplitOverThreeRunsReportsWhatOneRunReports) {
  STATIC_DECK deck = slab_deck(100.0);
  TempDir whole, split;
  const SLAB_RUN one = run_slab(whole, deck);
  ASSERT_EQ(one.run.exit_status, 0) << one.check;

  write_file(split.file("pre_geom.nas"), read_file(mesh_path("slab.bdf")));
  for (const char *stages : {"1 1\n0 0", "0 0\n1 0", "0 0\n0 1"}) {
    SCOPED_TRACE(stages);
    deck.stages = stages;
    write_file(split.file("input"), static_deck(deck));
    const BATCH_RUN run = run_batch(split.path(), {});
    ASSERT_EQ(run.exit_status, 0) << read_file(split.file("check"));
  }
  const std::string reports = step_reports(read_file(split.file("output")));
  EXPECT_FALSE(reports.empty());
  EXPECT_EQ(reports, step_reports(read_file(whole.file("output"))));
  EXPECT_EQ(read_file(split.file("magnetic")), read_file(whole.file("magnetic")));
}

TEST(StaticJob, OutputJsonHoldsOneEntryPerStepAndStaysEmptyWhenTheJobStops) {
  STATIC_DECK deck = slab_deck(100.0);
  deck.no_steps = 2;
  TempDir dir;
  const SLAB_RUN slab = run_slab(dir, deck);
  ASSERT_EQ(slab.run.exit_status, 0) << slab.check;
  const std::string text = read_file(dir.file("output.json"));
  JSON_VALUE document;
  ASSERT_TRUE(StrictJsonParser(text).parse(document)) << text;
  const JSON_VALUE *step = document.member("STEP");
  const JSON_VALUE *iccg = document.member("ICCG");
  ASSERT_TRUE(step && iccg) << text;
  ASSERT_TRUE(step->member("TIME"));
  // A static run keeps its first step at the initial time; the second is one DELTA_TIME on.
  ASSERT_EQ(step->member("TIME")->items.size(), 2u);
  EXPECT_EQ(step->member("TIME")->items[0].number, 0.0);
  EXPECT_EQ(step->member("TIME")->items[1].number, 1.0);
  for (const char *key : {"CONVERGE", "ITERATION", "RESIDUAL"}) {
    SCOPED_TRACE(key);
    ASSERT_TRUE(iccg->member(key));
    EXPECT_EQ(iccg->member(key)->items.size(), 2u);
  }
  EXPECT_EQ(iccg->member("CONVERGE")->items[0].number, 1.0);
  EXPECT_LT(iccg->member("RESIDUAL")->items[0].number, 1e-9);
  EXPECT_EQ(document.member("NEWTON"), nullptr); // nothing nonlinear in the job

  // A mesh file that isn't there stops the job: output.json is left empty.
  TempDir stopped;
  write_file(stopped.file("input"), static_deck(slab_deck(100.0)));
  const BATCH_RUN run = run_batch(stopped.path(), {});
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_EQ(read_file(stopped.file("output.json")), "");
}

// A job on Gmsh's exports of tests/data/mesh/slab_groups.geo: the slab of slab_deck with the air
// in physical volume 7 and the iron in 12 (entities 1 and 3, and 2). NASTRAN (physical tag as
// property), universal and ABAQUS files must make the same job.
struct GMSH_EXPORT {
  const char *name;        // what the job reads
  int input_mesh_file;     // INPUT_MESH_FILE
  const char *extension;   // of the input name "pre_geom"
  bool groups;             // the file keeps its physical groups
  const char *report_line; // where the report says the mat_ids came from; null: no such line
};

struct GMSH_JOB {
  BATCH_RUN run;
  std::string check, output;
  int no_unknowns = -1;
  std::map<int, std::array<double, 6>> elements;
};

std::string gmsh_export_text(const GMSH_EXPORT &e) {
  if (e.input_mesh_file == 3) return read_file(mesh_path("slab_groups.bdf"));
  if (e.input_mesh_file == 1) {
    const std::string text = read_file(mesh_path("slab_groups.unv"));
    return e.groups ? text : without_universal_groups(text);
  }
  const std::string text = read_file(mesh_path("slab_groups.inp"));
  return e.groups ? text : without_abaqus_sets(text);
}

GMSH_JOB run_gmsh_export(const TempDir &dir, const GMSH_EXPORT &e) {
  STATIC_DECK deck = slab_deck(100.0); // materials 1 and 3 air, 2 iron: the entity numbers
  if (e.groups) deck.materials = {"7 1 0 0.0 1.0 0 0 0 0", "12 1 0 0.0 100 0 0 0 0"};
  deck.input_mesh_file = e.input_mesh_file;
  write_file(dir.file("input"), static_deck(deck));
  write_file(dir.file(std::string("pre_geom") + e.extension), gmsh_export_text(e));
  GMSH_JOB job;
  job.run = run_batch(dir.path(), {});
  job.check = read_file(dir.file("check"));
  job.output = read_file(dir.file("output"));
  const std::size_t at = job.output.find("Number of unknowns");
  if (at != std::string::npos) job.no_unknowns = std::atoi(job.output.c_str() + job.output.find('=', at) + 1);
  job.elements = read_unv_values(dir.file("magnetic"), 56);
  return job;
}

// Each job is checked against the closed form of slab_deck (B0 = 1 T in the air, mu_r B0 = 100 T
// in the iron, told apart by the NASTRAN file's properties), and against the NASTRAN job: the
// same unknowns and the same values per element. The files without groups take the entity
// numbers, and the report says which numbers each reader took.
TEST(StaticJob, GmshExportsWithAndWithoutGroupsMakeTheSameJob) {
  const GMSH_EXPORT exports[] = {
      {"bdf", 3, ".nas", true, nullptr},
      {"unv", 1, ".unv", true, "*** material ids from physical groups (dataset 2477) ***"},
      {"inp", 7, ".inp", true, "*** material ids from physical group sets (*ELSET lists) ***"},
      {"unv without 2477", 1, ".unv", false,
       "*** material ids from element property numbers (dataset 2412) ***"},
      {"inp without *ELSET", 7, ".inp", false, "*** material ids from the ELSET names of *ELEMENT lists ***"},
  };
  const std::map<int, TET_CENTROID> centroids = read_tet_centroids(mesh_path("slab_groups.bdf"));
  GMSH_JOB first;
  for (const GMSH_EXPORT &e : exports) {
    SCOPED_TRACE(e.name);
    TempDir dir;
    GMSH_JOB job = run_gmsh_export(dir, e);
    ASSERT_EQ(job.run.exit_status, 0) << job.check;
    if (e.report_line) {
      EXPECT_NE(job.output.find(e.report_line), std::string::npos) << job.output;
    } else {
      EXPECT_EQ(job.output.find("*** material ids from"), std::string::npos);
    }
    ASSERT_GT(job.no_unknowns, 0);
    ASSERT_EQ(centroids.size(), 1402u);
    for (const auto &[number, c] : centroids) {
      ASSERT_TRUE(job.elements.count(number)) << "element " << number;
      const std::array<double, 6> &B = job.elements.at(number);
      // Iterative solve to 1e-9, printed with 6 digits: as in the slab's other jobs.
      expect_close(B[0], c.property == 12 ? 100.0 : 1.0, 2e-5, 1e-5);
    }
    if (first.no_unknowns < 0) {
      first = job;
      continue;
    }
    EXPECT_EQ(job.no_unknowns, first.no_unknowns);
    ASSERT_EQ(job.elements.size(), first.elements.size());
    for (const auto &[number, B] : first.elements) {
      ASSERT_TRUE(job.elements.count(number)) << "element " << number;
      // The values print with 6 digits, so equal jobs agree to 1e-6 relative; the components
      // that vanish in the closed form are solver noise of order 1e-8 T.
      for (int k = 0; k < 6; ++k) expect_close(job.elements.at(number)[k], B[k], 1e-6, 1e-6);
    }
  }
}

} // namespace
} // namespace tesmora::testing
