// Mutual inductance and force of two coaxial loops against Maxwell's formula, and the card
// reader's defaults and faults.
#include "coil_test_helpers.hpp"
#include "input/card_reader.hpp"
#include "job/ffile.hpp"
#include "sources/coil_cards.hpp"
#include "sources/coil_forces.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>

using namespace tesmora;
using namespace tesmora::testing;
using namespace coil_test;

namespace {

// Reads `no_elements` coil elements from `deck` in a child job; returns how it ended.
CHILD_JOB read_deck_in_child(const char *deck, int no_elements) {
  return run_job_in_child([deck, no_elements] {
    FFILE *file = create_ffile("coil", 0);
    std::FILE *out = std::fopen((job_options_folder() + "coil").c_str(), "w");
    std::fputs(deck, out);
    std::fclose(out);
    open_ffile(file, "r");
    auto field = make_external_field(no_elements, 0, 0);
    read_coil_cards(file, *field);
  });
}

// Maxwell's mutual inductance of coaxial circles of radii a, b at axial distance d:
// M = mu0 sqrt(a b) ((2/k - k) K - 2/k E), k^2 = 4 a b / ((a + b)^2 + d^2).
double maxwell_M(double a, double b, double d) {
  const double m = 4.0 * a * b / ((a + b) * (a + b) + d * d);
  const double k = std::sqrt(m);
  double K = 0.0, E = 0.0;
  agm_KE(m, K, E);
  return 4e-7 * M_PI * std::sqrt(a * b) * ((2.0 / k - k) * K - 2.0 / k * E);
}

// A source of one element made from its data.
std::unique_ptr<EXTERNAL_FIELD> one_element(const COIL_ELEMENT_DATA &data, int ndiv) {
  auto field = make_external_field(1, 0, 0);
  field->field[0].element = make_coil_element(data);
  field->field[0].ndiv = ndiv;
  field->field[0].int_x = 1;
  field->field[0].int_z = 1;
  return field;
}

class SOURCE_B final : public POINT_FIELD {
public:
  explicit SOURCE_B(const EXTERNAL_FIELD &field) : field(field) {}
  void at(const double x[3], double out[3]) const override { external_field_B(field, evaluation, x, out); }
  const EXTERNAL_FIELD &field;
  COIL_EVALUATION evaluation;
};

} // namespace

TEST(CoilForces, CoaxialLoopsFollowMaxwell) {
  const double a = 0.3, b = 0.2, d = 0.15, I1 = 100.0, I2 = 40.0;
  auto first = one_element(element_data(COIL_KIND::LOOP, I1, {a, 0.0, 0, 0}), 0);
  auto second_at = [&](double z) { return one_element(element_data(COIL_KIND::LOOP, I2, {b, z, 0, 0}), 12); };
  auto second = second_at(d);
  const COIL_SERIES one{1, first.get(), 1.0}, two{2, second.get(), 1.0};
  int evaluations = 0;
  const COIL_EVALUATION evaluation;
  // Values per unit amplitude carry the card currents I1 I2; adaptive rule to 1e-4 (but A_phi
  // is constant along a coaxial circle, so the rule is exact to rounding).
  const double M = coil_mutual_inductance(one, two, evaluation, evaluations) / (I1 * I2);
  expect_close(M, maxwell_M(a, b, d), 1e-10, 0.0);
  EXPECT_GT(evaluations, 0);

  // Fz on the second loop = I1 I2 dM/dd; the central difference of Maxwell's M with step
  // 1e-4 m is good to (h/d)^2 ~ 1e-6.
  const SOURCE_B field_of_first(*first);
  std::vector<COIL_FORCE> forces;
  std::FILE *report = std::tmpfile();
  calculate_COIL_forces(std::span<const COIL_SERIES>(&two, 1), field_of_first, report, forces);
  ASSERT_EQ(forces.size(), 12u);
  double Fz = 0.0;
  for (const COIL_FORCE &f : forces) Fz += f.F[2];
  const double h = 1e-4;
  const double dM = (maxwell_M(a, b, d + h) - maxwell_M(a, b, d - h)) / (2 * h);
  expect_close(Fz, I1 * I2 * dM, 1e-6, 0.0);
  // The force-only loop gives no field of its own.
  double B[3];
  const double centre[3] = {0, 0, d};
  external_field_B(*second, evaluation, centre, B);
  EXPECT_EQ(B[2], 0.0);
  std::rewind(report);
  char line[200] = {};
  ASSERT_TRUE(std::fgets(line, sizeof line, report));
  EXPECT_STREQ(line,
               "*** COIL Forces "
               "****************************************************************************************\n");
  std::fclose(report);
}

TEST(CoilCards, ReadsElementsModifiersAndForceDefaults) {
  ScopedJobFiles files;
  reset_coil_job_settings();
  FFILE *file = files.open_card_text("coil", "LINE_APPROX 500\n"
                                             "DELTA 0.1\n"
                                             "CONDUCTIVITY 5e7\n"
                                             "LOOP 100 0.5 0.1 0 0\n"
                                             "LOOP- 100 0.5 0.3 0.01 0.02\n"
                                             "0 0 0 0\n"
                                             "ARC- 50\n0 0 0 0.4 0.02 0.03\n0 0 10 100\n"
                                             "1 0 4 0\n"
                                             "INTEG 0 4 0 4\n"
                                             "RECT 300 1\n0 0 0 0.4 0.2 0.05 0.02 0.03\n"
                                             "END\n");
  auto field = make_external_field(4, 0, 0);
  read_coil_cards(file, *field);
  EXPECT_EQ(coil_job_settings().line_approx_limit, 500.0);
  EXPECT_EQ(field->conductivity, 5e7);
  EXPECT_EQ(field->field_ids[0], 3);
  EXPECT_EQ(field->field[0].ndiv, 0);
  EXPECT_EQ(field->field[1].ndiv, 12); // NDIV 0 -> 1 -> 12 for a loop
  EXPECT_EQ(field->field[1].int_x, 5);
  EXPECT_EQ(field->field[1].int_z, 5); // INT_Y 0 forces INT_Z to 5
  EXPECT_EQ(field->field[2].ndiv, 3);  // 90 degrees: int(90/30 + 0.999)
  EXPECT_EQ(field->field[2].int_y, 4);
  EXPECT_EQ(field->field[2].int_z, 3); // INT_Y given, INT_Z 0 -> 3
  EXPECT_EQ(field->field[3].ndiv, 1);  // RECT with INTEGRAL takes INTEG
  EXPECT_EQ(field->field[3].int_x, 4);
  EXPECT_NE(files.check_text().find("   INTEG_DELTA is set to 1.0 in the version.\n!"), std::string::npos);
  EXPECT_NE(files.check_text().find("   No use CONDUCTIVITY in the version.\n!"), std::string::npos);
  reset_coil_job_settings();
}

TEST(CoilCards, BadCardsStopTheJob) {
  const char *const decks[] = {
      "LOOP 100 -0.5 0 0 0\nEND\n",                       // radius not positive
      "GCE 10\n0 0 0 0 0 0\n1 0 0 0 1 0\nEND\n",          // start equal to end
      "FARC 10\n0 0 0 1\n0 0 90 40\nEND\n",               // PHI2 not above PHI1
      "UNIF 0 0 1 3\nEND\n",                              // A_FORM above 2
      "SYMMETRY 2 0 0\nLOOP 1 1 0 0 0\nEND\n",            // XSYM out of range
      "WIRE 1\nEND\n",                                    // unknown keyword
      "LOOP 1 1 0 0 0\nLOOP 1 1 0 0 0\nLOOP 1 1 0 0 0\n", // no END after the last
  };
  const int bad_card[] = {1, 3, 3, 1, 1, 1, 3}; // the card count at the fault
  for (int i = 0; i < 7; ++i) {
    SCOPED_TRACE(decks[i]);
    const CHILD_JOB job = read_deck_in_child(decks[i], i == 6 ? 2 : 1);
    EXPECT_EQ(job.exit_status, 1);
    const std::string message =
        "Error in card No." + std::to_string(bad_card[i]) + " in file coil\n Job stops.\n";
    EXPECT_NE(job.check.find(message), std::string::npos);
  }
  const CHILD_JOB short_deck = read_deck_in_child("LOOP 1 1 0 0 0\n", 2);
  EXPECT_EQ(short_deck.exit_status, 1);
  EXPECT_NE(short_deck.check.find("input is insufficient.\n"), std::string::npos);
}
