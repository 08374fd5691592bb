// Time evolutions against closed forms: wave forms with their phase rules, tables with jumps
// and cycles, sines stored as wave forms, simulator links, polynomials, mechanical systems.
#include "analyses/mechanical_system.hpp"
#include "input/card_reader.hpp"
#include "input/expression_parser.hpp"
#include "input/time_evolution.hpp"
#include "job/memory.hpp"

#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using namespace tesmora;
using namespace tesmora::testing;

namespace {

constexpr double pi = std::numbers::pi;
// A few operations on values of order one.
constexpr double rounding = 1e-13;

} // namespace

TEST(TimeEvolution, WaveFormsAgainstTheirClosedForms) {
  ScopedJobFiles files;
  FFILE *file = files.open_card_text("evolutions", "4 0\n"
                                                   "1 0\n1 0 0 0 0 0 0\n0 0 0\n"     // constant, TCYCLE 0
                                                   "2 0\n0 0 0 0 2 0 0\n0 0.02 30\n" // C4 with a phase
                                                   "3 0\n0 0 0 1 2 0 0\n0 0.02 30\n" // C3 and C4 with a phase
                                                   "4 0\n0.5 2 3 0 0 0 0.25\n0.1 0.04 0\n");
  read_time_evolutions(file);
  const TIME_EVOLUTION *constant = find_time_evolution(1);
  const TIME_EVOLUTION *shifted = find_time_evolution(2);
  const TIME_EVOLUTION *quirk = find_time_evolution(3);
  const TIME_EVOLUTION *decaying = find_time_evolution(4);
  EXPECT_EQ(shifted->amplitude, 2.0);
  expect_close(shifted->omega, 2 * pi / 0.02, rounding, 0.0);
  expect_close(shifted->phase, pi / 6, rounding, 0.0);
  for (double t = -0.03; t <= 0.05; t += 0.0013) {
    SCOPED_TRACE(t);
    EXPECT_EQ(time_value(t, constant, 0), 1.0);
    // C4 cos(x) with a phase of 30 degrees is 2 cos(x + 30 degrees).
    expect_close(time_value(t, shifted, 0), 2 * std::cos(2 * pi * t / 0.02 + pi / 6), rounding, rounding);
    // With C3 given too the phase scales C4 by its sine: sin x + 2 sin(30 degrees) cos x.
    expect_close(time_value(t, quirk, 0), std::sin(2 * pi * t / 0.02) + std::cos(2 * pi * t / 0.02), rounding,
                 rounding);
    const double e = std::exp(-t / 0.1);
    const double x = 2 * pi * t / 0.04;
    expect_close(time_value(t, decaying, 0), 0.5 + 2 * t + 3 * e + 0.25 * e * std::cos(x), rounding,
                 rounding);
  }
  EXPECT_EQ(time_value(1.0, nullptr, 0), 0.0);
  EXPECT_EQ(find_time_evolution(0), nullptr);
}

TEST(TimeEvolution, TablesJumpCycleAndExtend) {
  ScopedJobFiles files;
  FFILE *file = files.open_card_text("evolutions", "3 0\n"
                                                   "1 1\n4 0\n0 0\n1 0\n1 1\n2 1\n"
                                                   "2 1\n3 2.0\n0 0\n1 1\n2 0\n"
                                                   "3 1\n2 0\n0 0\n1 2\n");
  read_time_evolutions(file);
  const TIME_EVOLUTION *step = find_time_evolution(1);
  const TIME_EVOLUTION *triangle = find_time_evolution(2);
  const TIME_EVOLUTION *line = find_time_evolution(3);
  EXPECT_EQ(step->table->epsilon, 1e-10); // smallest non-zero step 1 s
  // The jump at t = 1: the value before it from the left, after it from the right.
  EXPECT_EQ(time_value(1.0, step, -1), 0.0);
  EXPECT_EQ(time_value(1.0, step, 1), 1.0);
  EXPECT_EQ(time_value(0.5, step, 0), 0.0);
  EXPECT_EQ(time_value(1.5, step, 0), 1.0);
  // A triangle of period 2 repeats, also before time 0.
  for (double t : {0.25, 0.5, 1.5}) {
    const double expected = t <= 1.0 ? t : 2.0 - t;
    for (int period = -2; period <= 3; ++period)
      expect_close(time_value(t + 2.0 * period, triangle, 0), expected, rounding, rounding);
  }
  // Beyond the table the end segments go on.
  expect_close(time_value(2.5, line, 0), 5.0, rounding, 0.0);
  expect_close(time_value(-1.0, line, 0), -2.0, rounding, 0.0);
}

TEST(TimeEvolution, SineIsStoredAsAWaveForm) {
  ScopedJobFiles files;
  FFILE *file = files.open_card_text("evolutions", "1 0\n5 2\n3.0 0.02 45\n");
  read_time_evolutions(file);
  const TIME_EVOLUTION *sine = find_time_evolution(5);
  EXPECT_EQ(sine->option, 0);
  EXPECT_EQ(sine->amplitude, 3.0);
  expect_close(sine->wave_form->TCYCLE, 0.02, rounding, 0.0);
  // -A sin(phase) sin(x) + A cos(phase) cos(x) = A cos(x + phase).
  for (double t = 0.0; t < 0.04; t += 0.001)
    expect_close(time_value(t, sine, 0), 3.0 * std::cos(2 * pi * t / 0.02 + pi / 4), rounding, rounding);
}

TEST(TimeEvolution, SimulatorLinkInterpolatesItsTwoValues) {
  ScopedJobFiles files;
  FFILE *file = files.open_card_text("evolutions", "2 0\n8 4\n3 0\n9 4\n4 2\n");
  read_time_evolutions(file);
  EXPECT_EQ(time_evolutions().no_psim_evolutions, 2);
  EXPECT_EQ(time_evolutions().no_psim_outputs, 1);
  EXPECT_EQ(time_evolutions().psim_exchange, 1);
  TIME_EVOLUTION *link = find_psim_evolution(3);
  ASSERT_NE(link, nullptr);
  EXPECT_EQ(link->id, 8);
  EXPECT_EQ(find_psim_evolution(99), nullptr);
  *link->psim = PSIM_LINK{
      .psim_id = 3, .previous_time = 1.0, .present_time = 3.0, .previous_value = 10.0, .present_value = 20.0};
  // ((t - t0) v1 + (t1 - t) v0) / (t1 - t0) at t = 1.5: (0.5*20 + 1.5*10)/2 = 12.5
  EXPECT_EQ(time_value(1.5, link, 0), 12.5);
}

TEST(TimeEvolution, CardErrors) {
  for (const char *deck : {"0 0\n", "1 0\n5 5\n", "1 0\n0 0\n", "1 0\n1 1\n1 0\n",
                           "1 0\n1 0\n0 0 0 0 0 0 0\n-1 0 0\n", "1 0\n1 2\n1 0 0\n", "1 0\n1 4\n0 0\n"}) {
    SCOPED_TRACE(deck);
    const CHILD_JOB job = run_job_in_child([deck] {
      FFILE *file = open_job_card_file("deck", deck);
      read_time_evolutions(file);
    });
    EXPECT_EQ(job.exit_status, 1);
    EXPECT_NE(job.check.find(" in file deck\n Job stops.\n"), std::string::npos) << job.check;
  }
  const CHILD_JOB missing = run_job_in_child([] { find_time_evolution(77); });
  EXPECT_EQ(missing.exit_status, 1);
  EXPECT_EQ(missing.check,
            "**** Time Evolution ID 77 is not found. *******\nexception error occured!! no.= 1\n");
}

TEST(TimeEvolution, EvaluationAllocatesNothing) {
  ScopedJobFiles files;
  FFILE *file =
      files.open_card_text("evolutions", "2 0\n1 0\n1 2 3 4 5 6 7\n0.1 0.02 10\n2 1\n3 0\n0 0\n1 1\n2 0\n");
  read_time_evolutions(file);
  const TIME_EVOLUTION *wave = find_time_evolution(1);
  const TIME_EVOLUTION *table = find_time_evolution(2);
  // Any tagged allocation from here on would fail and end the test process.
  fail_nth_allocation(1);
  double sum = 0.0;
  for (int i = 0; i < 100000; ++i) sum += time_value(i * 1e-5, wave, 0) + time_value(i * 1e-5, table, 1);
  fail_nth_allocation(0);
  EXPECT_TRUE(std::isfinite(sum));
}

TEST(Polynominal, HornerValueAndDerivative) {
  double c[4] = {1.0, -2.0, 0.5, 3.0}; // 1 - 2x + x^2/2 + 3x^3
  const POLYNOMINAL p{3, c};
  for (double x : {-2.0, 0.0, 0.7, 3.0}) {
    expect_close(polynominal_value(p, x), 1 - 2 * x + 0.5 * x * x + 3 * x * x * x, rounding, rounding);
    expect_close(polynominal_derivative(p, x), -2 + x + 9 * x * x, rounding, rounding);
  }
  double constant[1] = {4.0};
  const POLYNOMINAL q{0, constant};
  EXPECT_EQ(polynominal_value(q, 5.0), 4.0);
  EXPECT_EQ(polynominal_derivative(q, 5.0), 0.0);
}

TEST(MechanicalSystem, CardsOfSpringsDampersRegionAndMassTable) {
  ScopedJobFiles files;
  const std::string deck = "1 0\n6 3\n"
                           "0.01 0.5 1e-4 0 0 0 0 0\n"         // position, velocity, error, PSIM fields
                           "-999.0 0.02 0 0.3\n"               // limits and reflections
                           "-1 4.0 0.1 0 0 0\n"                // a negative mass asks for a mass table
                           "2 3 0\n"                           // springs, dampers, no formula
                           "0 -1 1\n100 0.005\n"               // linear spring
                           "1 -1 1\n3\n0 0\n0.01 -1 0.02 -3\n" // tabulated spring
                           "0 -1 1\n2\n0 5\n1 6\n"             // c(x) damper
                           "1 -1 1\n2\n-1 1 1 -1\n"            // force(v) damper
                           "2 -1 1\n0.1 0.2 0.3 0.4\n"         // polynomial damper
                           "4 2.0 3 1\n"                       // rotation of three materials
                           "5 6\n7\n"
                           "2 2\n0 1.5\n0.1 2.5\n";
  FFILE *file = files.open_card_text("evolutions", deck);
  read_time_evolutions(file);
  const TIME_EVOLUTION *motion = find_time_evolution(6);
  ASSERT_NE(motion->system, nullptr);
  const MECHANICAL_SYSTEM &s = *motion->system;
  EXPECT_EQ(time_value(0.3, motion, 0), 0.01); // the present position
  EXPECT_EQ(s.velocity, 0.5);
  EXPECT_EQ(s.lower_limit, -999.0);
  EXPECT_EQ(s.upper_reflection, 0.3);
  EXPECT_EQ(s.const_force, 4.0);
  ASSERT_EQ(s.no_springs, 2);
  EXPECT_EQ(s.springs[0].spring_const, 100.0);
  EXPECT_EQ(s.springs[1].table->y[0][2], -3.0);
  ASSERT_EQ(s.no_dampers, 3);
  EXPECT_EQ(s.dampers[0].table->y[0][1], 6.0);
  EXPECT_EQ(s.dampers[1].table->x[1], 1.0);
  EXPECT_EQ(s.dampers[2].c[3], 0.4);
  EXPECT_EQ(s.motion_type, 4);
  EXPECT_EQ(s.region_factor, 2.0);
  ASSERT_EQ(s.no_mat_ids, 3);
  EXPECT_EQ(s.mat_ids[2], 7);
  EXPECT_EQ(s.mass_option, 2);
  EXPECT_EQ(s.mass_table->y[0][1], 2.5);
}

TEST(TimeEvolution, FormulaOfTheDeckMatchesTheSameFunctionInCpp) {
  ScopedJobFiles files;
  FFILE *file =
      files.open_card_text("evolutions", "2 0\n"
                                         "3 11\n"
                                         "* a damped 50 Hz wave on a ramp\n"
                                         "w = 2*PI*50 ;\n"
                                         "f(t) = 1.5*exp(-t/0.02)*sin(w*t) + t**2/3 - 0.25 # offset # ;;\n"
                                         "4 0\n1 0 0 0 0 0 0\n0 0 0\n");
  read_time_evolutions(file);
  const TIME_EVOLUTION *formula = find_time_evolution(3);
  EXPECT_EQ(formula->option, 11);
  EXPECT_EQ(time_value(0.0, find_time_evolution(4), 0), 1.0); // the cards after the block are read on
  for (double t = -0.01; t <= 0.1; t += 0.000731) {
    const double expected = 1.5 * std::exp(-t / 0.02) * std::sin(2 * pi * 50 * t) + t * t / 3 - 0.25;
    expect_close(time_value(t, formula, 0), expected, 1e-13, 1e-14); // same operations, rounding only
  }
  EXPECT_NE(files.check_text().find("* FUNCTION f(t) * t(sec) *\n"), std::string::npos);
}

TEST(MechanicalSystem, ForceFormulaOfPositionAndVelocity) {
  ScopedJobFiles files;
  const std::string deck = "1 0\n6 3\n0 0 0 0 0 0 0 0\n-999 -999 0 0\n1 0 0 0 0 0\n0 0 1\n"
                           "1 1.0 0 0\n"
                           "F(x, v) = -200*x - 3*v ;;\n";
  read_time_evolutions(files.open_card_text("evolutions", deck));
  const MECHANICAL_SYSTEM &s = *find_time_evolution(6)->system;
  ASSERT_NE(s.force_function, nullptr);
  const double xv[2] = {0.01, -0.5};
  expect_close(evaluate_function(s.force_function, nullptr, xv), -200 * 0.01 + 1.5, 1e-14, 0.0);
}
