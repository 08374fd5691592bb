// Material tables: the cards and every check, duplicates and look-ups, flags, binding, the
// report table, and the linear laws in rotated and cylindrical frames.
#include "input/control_data_writable.hpp"
#include "input/coordinates.hpp"
#include "job/memory.hpp"
#include "job/run_files.hpp"
#include "materials/bh_curve.hpp"
#include "materials/material_tables.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

// Reads a material section from `text` in a child job with the given control settings.
CHILD_JOB read_materials_in_child(const std::string &text, const CONTROL_DATA &control) {
  return run_job_in_child([&] {
    writable_control_data() = control;
    FFILE *deck = open_job_card_file("input", text);
    read_material_cards(deck, 1);
  });
}

CONTROL_DATA nonlinear_job() {
  CONTROL_DATA c;
  c.release = 12.0;
  c.NON_LINEAR = 1;
  c.non_linear = 1;
  return c;
}

// Restores the control data a test changes.
struct ControlGuard {
  ControlGuard() : saved(control_data()) {}
  ~ControlGuard() { writable_control_data() = saved; }
  CONTROL_DATA saved;
};

} // namespace

TEST(MaterialTables, ValidDeckTheTableAndItsFlags) {
  ScopedJobFiles files;
  ControlGuard guard;
  writable_control_data() = nonlinear_job();
  writable_control_data().is_static = 1;
  open_ffile(run_files().print_out, "w");
  // Frames first: 1 Cartesian rotated, 2 cylindrical.
  read_coordinates(
      files.open_card_text("frames", "COORD 2\n1 1 0 0 0\n0 1 0\n0 0 1\n2 2 0 0 0\n1 0 0\n0 0 1\n"));
  const std::string deck = "5 0 2\n"
                           "1 0 0 0 1 0 0 0 0\n"        // free space
                           "2 1 3 5.8e7 0 0 0 0 0\n"    // iron with a curve, conducting
                           "3 2 0 -1.0e6 500 0 0 0 0\n" // anisotropic conductivity in frame 2
                           "2 1.0 0.5 0.0\n"
                           "4 0 0 0 -1 0 0 0 0\n" // anisotropic permeability in frame 1
                           "1 1000 10 1\n"
                           "6 3 0 2.0e6 1 0 0 0 0\n" // conductor
                           "1 1 1e6 1 0\n"           // surface impedance
                           "2 2 0 1 0.001\n";        // gap
  read_material_cards(files.open_card_text("input", deck), 1);
  const MATERIAL_TABLES &t = material_tables();
  ASSERT_EQ(t.no_mat_properties, 5);
  const MAT_PROPERTY *air = find_mat_property(1);
  EXPECT_EQ(air->flags & mat_needs_element, 0);
  EXPECT_EQ(air->flags & mat_output, mat_output);
  const MAT_PROPERTY *iron = find_mat_property(2);
  EXPECT_EQ(iron->magnetic->type, isotropic_nonlinear);
  EXPECT_EQ(iron->magnetic->curve_id, 3);
  EXPECT_EQ(iron->flags & (mat_conducting | mat_magnetic | mat_needs_element),
            mat_conducting | mat_magnetic | mat_needs_element);
  EXPECT_EQ(iron->flags & mat_eddy_region, 0); // a static job has no eddy regions
  const MAT_PROPERTY *laminated = find_mat_property(3);
  ASSERT_EQ(laminated->sigma->kind, 1);
  EXPECT_EQ(laminated->sigma->cylindrical, 1);
  EXPECT_EQ(laminated->sigma->anisotropy->y, 0.5e6);
  EXPECT_EQ(laminated->potential_flags, 2);
  const MAT_PROPERTY *oriented = find_mat_property(4);
  EXPECT_EQ(oriented->magnetic->linear->kind, 1);
  expect_close(oriented->magnetic->linear->anisotropy->x, 1000 * mu0, 1e-15, 0.0);
  EXPECT_EQ(find_smat_property(1)->type, smat_linear_impedance);
  EXPECT_EQ(find_smat_property(2)->type, smat_gap);
  EXPECT_EQ(find_smat_property(2)->thickness, 0.001);
  EXPECT_EQ(t.surface_impedance, 1);
  EXPECT_EQ(t.gap_elements, 1);

  close_ffile(run_files().print_out);
  // Rows in the report's columns: id in 3 after 12 blanks and a colon, region number in 2 after
  // 14, conductivity in 12 after 15 (or 27 blanks), permeability in 12 after 12.
  auto row = [](const std::string &id, const std::string &potential, const std::string &sigma,
                const std::string &mu) {
    auto right = [](const std::string &text, std::size_t width) {
      return std::string(width - text.size(), ' ') + text;
    };
    const std::string head =
        id.empty() ? std::string(31, ' ')
                   : std::string(12, ' ') + right(id, 3) + ":" + std::string(14, ' ') + right(potential, 2);
    const std::string sigma_column =
        sigma.empty() ? std::string(27, ' ') : std::string(15, ' ') + right(sigma, 12);
    const std::string mu_column = mu.empty() ? "" : std::string(12, ' ') + right(mu, 12);
    return head + sigma_column + mu_column + "\n";
  };
  const std::string stars(97, '*');
  const std::string expected =
      stars + "\n" +
      "*                     Material properties           no_mat_propertie =     5                    *\n" +
      stars + "\n" + "                           Potential            Electric                Relative \n" +
      "             No.           Region No            conductivity            permeability \n" +
      row("1", "0", "", "1.00000e+00") + row("2", "1", "5.80000e+07", "Iso B_H    3") +
      row("3", "2", "1.00000e+06", "5.00000e+02") + row("", "", "5.00000e+05", "") +
      row("", "", "0.00000e+00", "") + row("4", "0", "", "1.00000e+03") + row("", "", "", "1.00000e+01") +
      row("", "", "", "1.00000e+00") + row("6", "3", "2.00000e+06", "1.00000e+00") + "\n\n";
  EXPECT_EQ(read_file(files.dir().file("output")), expected);
}

TEST(MaterialTables, EveryCardCheckStopsAtItsCard) {
  CONTROL_DATA linear;
  linear.release = 12.0;
  CONTROL_DATA thin = linear;
  thin.thin_element = 1.0;
  CONTROL_DATA ac2 = linear;
  ac2.AC = 2;
  ac2.ac_mode = 2;
  CONTROL_DATA nonlinear2 = linear;
  nonlinear2.NON_LINEAR = 2;
  CONTROL_DATA old = linear;
  old.release = 6.0;
  struct CASE {
    const char *deck;
    CONTROL_DATA control;
    int card;
  };
  const CASE cases[] = {
      {"-1 0 0\n", linear, 1},                                            // NO_MAT_IDS
      {"1 2 0\n", linear, 1},                                             // EXTEND_TOTAL
      {"0 0 -1\n", linear, 1},                                            // NO_SMAT_IDS
      {"1 0 0\n0 0 0 0 1 0 0 0 0\n", linear, 2},                          // MAT_ID
      {"1 0 0\n1 -1 0 0 1 0 0 0 0\n", linear, 2},                         // POTENTIAL
      {"1 0 0\n1 0 0 0 0 0 0 0 0\n", linear, 2},                          // neither curve nor MU
      {"1 0 0\n1 0 0 0 1 0 6 0 0\n", linear, 2},                          // ANISOTROPY
      {"1 0 0\n1 0 0 0 1 0 0 3 0\n", linear, 2},                          // IRON_LOSS
      {"1 0 0\n1 0 0 0 1 0 0 0 -1\n", linear, 2},                         // SIGMA_DEPEND_ID
      {"1 0 0\n1 0 0 -5 1 0 0 0 0\n0 1 -1 1\n", linear, 3},               // conductivity factor
      {"1 0 0\n1 0 0 0 -5 0 0 0 0\n-1 1 1 1\n", linear, 3},               // permeability frame id
      {"1 0 0\n1 0 0 0 1 0 1 0 0\n0 1 1 1 -1 0 0\n", nonlinear_job(), 3}, // per-axis MU
      {"1 0 0\n1 0 0 0 1 0 3 0 0\n0 0 1 1\n", nonlinear_job(), 3},        // B_H_xy
      {"1 0 0\n1 0 0 0 1 0 1 0 0\n-1 0\n", ac2, 3},                       // complex MU_Re
      {"1 0 0\n1 0 0 0 1 0 2 0 0\n0 1 -1 1\n", ac2, 3}, // MU_X(Im), scanned and dropped, still checked
      {"0 0 1\n0 1 1e6 1 0\n", linear, 2},              // SMAT_ID
      {"0 0 1\n1 1 0 1 0\n", linear, 2},                // impedance SIGMA
      {"0 0 1\n1 1 1e6 0.5 0\n", linear, 2},            // impedance MU
      {"0 0 1\n1 1 1e6 1 0.1\n", ac2, 2},               // THICK in the AC form
      {"0 0 1\n1 1 1e6 1 2\n1 0 0 0\n", nonlinear2, 3}, // impedance curve
      {"0 0 1\n1 2 0 0.5 0\n", linear, 2},              // gap MU
      {"0 0 1\n1 3 1e6 2 0.1\n", linear, 2},            // thin conductor MU
      {"0 0 1\n1 3 1e6 1 0\n", linear, 2},              // thin conductor THICK
      {"0 0 1\n1 7 1e6 1 0\n", linear, 2},              // TYPE
      {"0 0 1\n0 1 1 0\n", old, 2},                     // old form SMAT_ID
      {"0 0 1\n1 1 0.5 0\n", old, 2},                   // old form MU
      {"0 0 0\n1.5 1\n", thin, 2},                      // THIN_CRITERION
      {"0 0 0\n2.0 0\n", thin, 2},                      // thin NO_MAT_IDS
      {"0 0 0\n2.0 2\n3 0\n", thin, 3},                 // thin id
  };
  for (const CASE &c : cases) {
    SCOPED_TRACE(c.deck);
    const CHILD_JOB job = read_materials_in_child(c.deck, c.control);
    EXPECT_EQ(job.exit_status, 1);
    const std::string tail = "Error in card No." + std::to_string(c.card) +
                             " in file input\n Job stops.\n"
                             "exception error occured!! no.= 1\n";
    ASSERT_GE(job.check.size(), tail.size());
    EXPECT_EQ(job.check.substr(job.check.size() - tail.size()), tail) << job.check;
  }
}

TEST(MaterialTables, DuplicatesAndLookups) {
  CONTROL_DATA linear;
  linear.release = 12.0;
  // The first id that a later one repeats is reported, in table order.
  CHILD_JOB job = read_materials_in_child("4 0 0\n1 0 0 0 1 0 0 0 0\n2 0 0 0 1 0 0 0 0\n2 0 0 0 1 0 0 0 0\n"
                                          "1 0 0 0 1 0 0 0 0\n",
                                          linear);
  EXPECT_EQ(job.exit_status, 1);
  EXPECT_EQ(job.error,
            "***** mat_property 1 is overlapped in input file!\nexception error occured!! no.= 1\n");
  job = read_materials_in_child("0 0 2\n3 2 0 1 0\n3 2 0 1 0\n", linear);
  EXPECT_EQ(job.error,
            "***** smat_property 3 is overlapped in input file!\nexception error occured!! no.= 1\n");
  job = run_job_in_child([] { find_mat_property(8); });
  EXPECT_EQ(job.error, "***** mat_property 8 is not found. \nexception error occured!! no.= 1\n");
  job = run_job_in_child([] { find_smat_property(9); });
  EXPECT_EQ(job.error, "***** smat_property 9 is not found. \nexception error occured!! no.= 1\n");
}

TEST(MaterialTables, BindingElementsAndOutputSelection) {
  ScopedJobFiles files;
  ControlGuard guard;
  writable_control_data().release = 12.0;
  read_material_cards(files.open_card_text("input",
                                           "3 0 3\n1 0 0 0 1 0 0 0 0\n2 3 0 0 1 0 0 0 0\n"
                                           "7 1 0 1e6 1 0 0 0 0\n1 1 1e6 1 0\n2 2 0 1 0\n3 3 1e6 1 0.1\n"),
                      1);
  ELEMENT_MATERIAL volume[] = {{1, 7}, {2, 2}, {3, 1}};
  SURFACE_MATERIAL surface[] = {{1, 0}, {2, 0}, {3, 0}, {42, 9}};
  bind_mat_properties(volume, surface);
  EXPECT_EQ(volume[0].mat, find_mat_property(7));
  EXPECT_EQ(volume[0].potential_bits, 1);
  EXPECT_EQ(volume[1].potential_bits, 3);
  EXPECT_EQ(surface[0].kind, 2);
  EXPECT_EQ(surface[1].kind, 4);
  EXPECT_EQ(surface[2].kind, 5);
  EXPECT_EQ(surface[3].kind, 9); // not a surface material: the element keeps its kind
  const int listed[] = {2, 7};
  set_output_flags(-2, listed);
  EXPECT_EQ(find_mat_property(1)->flags & mat_output, mat_output);
  EXPECT_EQ(find_mat_property(2)->flags & mat_output, 0);
  set_output_flags(2, listed);
  EXPECT_EQ(find_mat_property(1)->flags & mat_output, 0);
  EXPECT_EQ(find_mat_property(7)->flags & mat_output, mat_output);
  EXPECT_EQ(find_smat_property(2)->flags & 1, 1);
  EXPECT_EQ(find_smat_property(1)->flags & 1, 0);

  const CHILD_JOB job = run_job_in_child([] {
    writable_control_data().release = 12.0;
    FFILE *deck = open_job_card_file("input", "1 0 0\n1 0 0 0 1 0 0 0 0\n");
    read_material_cards(deck, 1);
    ELEMENT_MATERIAL unknown[] = {{17, 4}};
    bind_mat_properties(unknown, {});
  });
  EXPECT_EQ(job.error,
            "***** mat_property 4 is not found to v_element 17 \nexception error occured!! no.= 1\n");
}

TEST(MaterialTables, KindsThisBuildCannotEvaluateStopAtBinding) {
  CONTROL_DATA control = nonlinear_job();
  const CHILD_JOB job = run_job_in_child([&] {
    writable_control_data() = control;
    FFILE *deck = open_job_card_file("input", "1 0 0\n4 0 0 0 1 0 1 0 0\n0 1 2 0 0 0 1\n");
    read_material_cards(deck, 1);
    bind_curves();
  });
  EXPECT_EQ(job.exit_status, 1);
  EXPECT_EQ(job.error,
            "**** Material 4 needs the magnetic law AnisotropicNonlinear, which this build can't evaluate. "
            "Job is stopped. ****\nexception error occured!! no.= 1\n");
}

TEST(MaterialTables, ComplexPermeabilityCardsKeepTheirQuirk) {
  ScopedJobFiles files;
  ControlGuard guard;
  CONTROL_DATA &c = writable_control_data();
  c = CONTROL_DATA{};
  c.release = 12.0;
  c.AC = 2;
  c.ac_mode = 2;
  read_material_cards(files.open_card_text("input", "2 0 0\n1 0 0 0 1 0 1 0 0\n200 30\n"
                                                    "2 0 0 0 1 0 2 0 0\n0 100 20 300 40 500 60\n"),
                      1);
  const ConductivityProperty &isotropic = *find_mat_property(1)->magnetic->linear;
  EXPECT_EQ(isotropic.scalar_type, 2);
  expect_close(isotropic.complex_value[0], 200 * mu0, 1e-15, 0.0);
  expect_close(isotropic.complex_value[1], 30 * mu0, 1e-15, 0.0);
  const ComplexLinearAnisotropy &axes = *find_mat_property(2)->magnetic->linear->complex_anisotropy;
  // Only COORD_ID, MU_X(Re), MU_X(Im), MU_Y(Re) are scanned: x.re = 100, y.re = 300, the rest 0.
  expect_close(axes.value[0], 100 * mu0, 1e-15, 0.0);
  EXPECT_EQ(axes.value[1], 0.0);
  expect_close(axes.value[2], 300 * mu0, 1e-15, 0.0);
  EXPECT_EQ(axes.value[3], 0.0);
  EXPECT_EQ(axes.value[4], 0.0);
  EXPECT_EQ(axes.value[5], 0.0);
  // Its reluctivity: 1 / (200 + 30i) mu0 on the diagonal.
  double nu[18];
  linear_reluctivity_complex(isotropic, MATERIAL_POINT{}, nu);
  const double norm = (200.0 * 200.0 + 30.0 * 30.0) * mu0;
  expect_close(nu[0], 200.0 / norm, 1e-14, 0.0);
  expect_close(nu[1], -30.0 / norm, 1e-14, 0.0);
  EXPECT_EQ(nu[2], 0.0);
}

TEST(LinearProperty, AnisotropicTangentInRotatedAndCylindricalFrames) {
  const double origin[3] = {0.5, -0.2, 0.0};
  const double x_axis[3] = {1.0, 1.0, 0.3};
  const double z_axis[3] = {0.2, -0.1, 1.0};
  std::mt19937 random(5);
  std::uniform_real_distribution<double> value(-1.5, 1.5);
  for (const int type : {1, 2}) {
    SCOPED_TRACE(type);
    const COORDINATE frame = make_coordinate(1, type, origin, x_axis, z_axis);
    LinearAnisotropy axes{&frame, 1000 * mu0, 50 * mu0, 2 * mu0};
    ConductivityProperty mu;
    mu.kind = 1;
    mu.cylindrical = type == 2;
    mu.anisotropy = &axes;
    MagneticProperty *property = create_magnetic_property(linear_property);
    property->linear = &mu;
    for (int trial = 0; trial < 10; ++trial) {
      MATERIAL_POINT point;
      for (double &p : point.position) p = value(random);
      const double B[3] = {value(random), value(random), value(random)};
      double H[3];
      double tangent[9];
      property->evaluate(*property, B, point, H, tangent);
      // Independent: components along the local axes at the point, each over its permeability.
      double e1[3], e2[3];
      double c = 1.0, s = 0.0;
      if (type == 2) {
        double x = 0, y = 0;
        for (int i = 0; i < 3; ++i) {
          x += (point.position[i] - origin[i]) * frame.ex[i];
          y += (point.position[i] - origin[i]) * frame.ey[i];
        }
        c = x / std::hypot(x, y);
        s = y / std::hypot(x, y);
      }
      for (int i = 0; i < 3; ++i) {
        e1[i] = c * frame.ex[i] + s * frame.ey[i];
        e2[i] = -s * frame.ex[i] + c * frame.ey[i];
      }
      double b1 = 0, b2 = 0, b3 = 0;
      for (int i = 0; i < 3; ++i) {
        b1 += B[i] * e1[i];
        b2 += B[i] * e2[i];
        b3 += B[i] * frame.ez[i];
      }
      for (int i = 0; i < 3; ++i) {
        const double expected = b1 / axes.x * e1[i] + b2 / axes.y * e2[i] + b3 / axes.z * frame.ez[i];
        expect_close(H[i], expected, 1e-12, 1e-6); // rounding of a 3x3 product of values ~1e5
      }
      // The tangent against central differences of H (a linear law: exact up to rounding).
      for (int col = 0; col < 3; ++col) {
        double plus[3] = {B[0], B[1], B[2]};
        double minus[3] = {B[0], B[1], B[2]};
        plus[col] += 1e-3;
        minus[col] -= 1e-3;
        double Hp[3], Hm[3], unused[9];
        property->evaluate(*property, plus, point, Hp, unused);
        property->evaluate(*property, minus, point, Hm, unused);
        for (int row = 0; row < 3; ++row)
          expect_close(tangent[3 * row + col], (Hp[row] - Hm[row]) / 2e-3, 1e-8, 1e-3); // rounding/step
      }
      // The inverse takes H back to B; energy is B.H/2.
      double back[3];
      double unused[9];
      property->inverse(*property, H, point, back, unused);
      for (int i = 0; i < 3; ++i) expect_close(back[i], B[i], 1e-10, 1e-12);
      double energy = 0;
      double H2[3];
      property->energy(*property, B, point, H2, &energy);
      expect_close(energy, 0.5 * (B[0] * H[0] + B[1] * H[1] + B[2] * H[2]), 1e-12, 0.0);
    }
    free_named(property, "MagneticProperty");
  }
}
