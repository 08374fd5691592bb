// Tests of the expression parser: blocks, grammar, arithmetic, built-ins, ranges, externs, messages.
#include "input/expression_internal.hpp"
#include "input/expression_parser.hpp"

#include "job/ffile.hpp"
#include "job/job_options.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"
#include "support/test_support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <numbers>
#include <ostream>
#include <string>
#include <vector>

namespace tesmora {
namespace {

using testing::expect_close;
using COMPLEX = std::complex<double>;
using NAMES = std::vector<const char *>;

constexpr double pi = std::numbers::pi;

// Parses a block held in a string, as if it stood in a card file.
PARSED_FUNCTION *parse_text(const std::string &text, const NAMES &names = {"t"},
                            const NAMES &extern_names = {}, const double *extern_values = nullptr) {
  std::string buffer = text;
  FFILE ffile;
  ffile.stream = fmemopen(buffer.data(), buffer.size(), "r");
  PARSED_FUNCTION *parsed = parse_functions(&ffile, names, extern_names.data(), extern_values,
                                            static_cast<int>(extern_names.size()));
  std::fclose(ffile.stream);
  return parsed;
}

double value_at(const PARSED_FUNCTION *parsed, double t) { return evaluate_function(parsed, nullptr, &t); }

// Every test starts from fresh parser tables: only "PI" is defined.
class ExpressionParser : public ::testing::Test {
protected:
  void SetUp() override { free_parser_tables(); }
  void TearDown() override {
    for (PARSED_FUNCTION *parsed : parsed_) delete_parsed_function(parsed);
    free_parser_tables();
  }
  PARSED_FUNCTION *parse(const std::string &text, const NAMES &names = {"t"}, const NAMES &extern_names = {},
                         const double *extern_values = nullptr) {
    parsed_.push_back(parse_text(text, names, extern_names, extern_values));
    return parsed_.back();
  }
  // Value of a formula of t at t.
  VALUE formula(const std::string &expression, double t = 0.0) {
    VALUE result;
    evaluate_function(parse("f(t) = " + expression + ";;\n"), &result, &t);
    return result;
  }

private:
  std::vector<PARSED_FUNCTION *> parsed_;
};

TEST_F(ExpressionParser, ThreeTimesTSquaredIsTwelveAtTwo) {
  const PARSED_FUNCTION *parsed = parse("f(t) = 3*t**2\n;;\n");
  EXPECT_EQ(value_at(parsed, 2.0), 12.0); // 3 * 2 * 2, exact in binary
}

// Operator precedence and associativity, checked by hand calculation.
struct CASE {
  const char *expression;
  double expected;
  int type; // INTGR or CMPLX
};

class Precedence : public ExpressionParser, public ::testing::WithParamInterface<CASE> {};

TEST_P(Precedence, MatchesHandCalculation) {
  const CASE &c = GetParam();
  SCOPED_TRACE(c.expression);
  const VALUE value = formula(c.expression);
  expect_close(value.real, c.expected, 1e-15, 0.0); // a few operations: rounding only
  EXPECT_EQ(value.type, c.type);
  EXPECT_EQ(value.imag, 0.0);
}

INSTANTIATE_TEST_SUITE_P(
    Arithmetic, Precedence,
    ::testing::Values(CASE{"2+3*4", 14, INTGR}, CASE{"(1+2)*3", 9, INTGR}, CASE{"2-3-4", -5, INTGR},
                      CASE{"24/4/2", 3, INTGR}, CASE{"-2**2", -4, INTGR}, CASE{"(-2)**2", 4, INTGR},
                      CASE{"2**3**2", 512, INTGR}, CASE{"(2**3)**2", 64, INTGR}, CASE{"2**-1", 0.5, CMPLX},
                      CASE{"10%4", 2, INTGR}, CASE{"-7%3", -1, INTGR}, CASE{"7.5%2", 1.5, CMPLX},
                      CASE{"5!", 120, INTGR}, CASE{"-3!", -6, INTGR}, CASE{"2**3!", 64, INTGR},
                      CASE{"20!/19!", 20, INTGR}, CASE{"7/2", 3.5, CMPLX}, CASE{"8/2", 4, INTGR},
                      CASE{"--2", 2, INTGR}, CASE{"2*-3", -6, INTGR}, CASE{"+4-1", 3, INTGR},
                      CASE{"1e3+.5", 1000.5, CMPLX}, CASE{"2.5E-1*4", 1, CMPLX}, CASE{"0**0", 1, INTGR},
                      CASE{"2**62*2", 9223372036854775808.0, CMPLX}, CASE{"1.5!", 1.329340388179137, CMPLX},
                      CASE{"2*PI", 2 * pi, CMPLX}, CASE{"1 - 2 * (3 - 4) ** 2 / 8", 0.75, CMPLX}));

TEST_F(ExpressionParser, CompilesToReversePolishOrder) {
  parse("f(t) = 2+3*4; g(t) = -t**2!;;\n");
  const AT_TABLE &f = *find_user_function("f")->at;
  const std::vector<std::string> expected_f = {"pushc", "pushc", "pushc", "mult", "plus"};
  ASSERT_EQ(f.no_actions, static_cast<int>(expected_f.size()));
  for (int k = 0; k < f.no_actions; ++k) EXPECT_EQ(action_name(f.actions[k].action), expected_f[k]);
  const AT_TABLE &g = *find_user_function("g")->at;
  const std::vector<std::string> expected_g = {"pushd1", "pushc", "factorial", "power", "uminus"};
  ASSERT_EQ(g.no_actions, static_cast<int>(expected_g.size()));
  for (int k = 0; k < g.no_actions; ++k) EXPECT_EQ(action_name(g.actions[k].action), expected_g[k]);
}

// Complex arithmetic against std::complex.
struct COMPLEX_CASE {
  const char *expression;
  std::function<COMPLEX(COMPLEX, COMPLEX, double)> reference; // of a, b and t
};

class ComplexArithmetic : public ExpressionParser, public ::testing::WithParamInterface<COMPLEX_CASE> {};

TEST_P(ComplexArithmetic, MatchesStdComplex) {
  const COMPLEX a(1.5, -2.0);
  const COMPLEX b(0.25, 3.0);
  const double t = 0.7;
  SCOPED_TRACE(GetParam().expression);
  VALUE value;
  const PARSED_FUNCTION *parsed =
      parse(std::string("a = {1.5, -2}; b = {0.25, 3.0}; f(t) = ") + GetParam().expression + ";;\n");
  const double returned = evaluate_function(parsed, &value, &t);
  const COMPLEX expected = GetParam().reference(a, b, t);
  // Both sides use the same library formulas; the difference is a few roundings.
  expect_close(value.real, expected.real(), 1e-13, 1e-15);
  expect_close(value.imag, expected.imag(), 1e-13, 1e-15);
  EXPECT_EQ(returned, value.real);
}

INSTANTIATE_TEST_SUITE_P(
    Complex, ComplexArithmetic,
    ::testing::Values(
        COMPLEX_CASE{"a+b", [](COMPLEX a, COMPLEX b, double) { return a + b; }},
        COMPLEX_CASE{"a-b*t", [](COMPLEX a, COMPLEX b, double t) { return a - b * t; }},
        COMPLEX_CASE{"a*b", [](COMPLEX a, COMPLEX b, double) { return a * b; }},
        COMPLEX_CASE{"a/b", [](COMPLEX a, COMPLEX b, double) { return a / b; }},
        COMPLEX_CASE{"-a", [](COMPLEX a, COMPLEX, double) { return -a; }},
        COMPLEX_CASE{"a**2", [](COMPLEX a, COMPLEX, double) { return a * a; }},
        COMPLEX_CASE{"a**-3", [](COMPLEX a, COMPLEX, double) { return 1.0 / (a * a * a); }},
        COMPLEX_CASE{"a**b", [](COMPLEX a, COMPLEX b, double) { return std::pow(a, b); }},
        COMPLEX_CASE{"a**t", [](COMPLEX a, COMPLEX, double t) { return std::pow(a, t); }},
        COMPLEX_CASE{"{0, 1}**2", [](COMPLEX, COMPLEX, double) { return COMPLEX(-1.0, 0.0); }},
        COMPLEX_CASE{"sqrt(a)", [](COMPLEX a, COMPLEX, double) { return std::sqrt(a); }},
        COMPLEX_CASE{"exp(a)*log(b)", [](COMPLEX a, COMPLEX b, double) { return std::exp(a) * std::log(b); }},
        COMPLEX_CASE{"sin(a)+cosh(b)",
                     [](COMPLEX a, COMPLEX b, double) { return std::sin(a) + std::cosh(b); }},
        COMPLEX_CASE{"real(a*b)", [](COMPLEX a, COMPLEX b, double) { return COMPLEX((a * b).real(), 0.0); }},
        COMPLEX_CASE{"imag(a*b)", [](COMPLEX a, COMPLEX b, double) { return COMPLEX((a * b).imag(), 0.0); }},
        COMPLEX_CASE{"magnitude(a)", [](COMPLEX a, COMPLEX, double) { return COMPLEX(std::abs(a), 0.0); }},
        COMPLEX_CASE{"angle(a)", [](COMPLEX a, COMPLEX, double) { return COMPLEX(std::arg(a), 0.0); }},
        COMPLEX_CASE{"abs(b)", [](COMPLEX, COMPLEX b, double) { return COMPLEX(std::abs(b), 0.0); }},
        COMPLEX_CASE{"sqrt(-4)", [](COMPLEX, COMPLEX, double) { return COMPLEX(0.0, 2.0); }},
        COMPLEX_CASE{"log(-1)", [](COMPLEX, COMPLEX, double) { return COMPLEX(0.0, pi); }},
        COMPLEX_CASE{"(-8)**(1/3)", [](COMPLEX, COMPLEX, double) {
                       return COMPLEX(1.0, std::sqrt(3.0)); // principal cube root of -8
                     }}));

// A formula of t over a sweep of t, against the same function written here.
TEST_F(ExpressionParser, SweepMatchesCxxFunction) {
  const PARSED_FUNCTION *power_wave = parse("f(t) = 3*t**2 + sin(2*PI*50*t);;\n");
  const PARSED_FUNCTION *decay = parse("tau = 0.02; # time constant #\n"
                                       "f(t) = 10*exp(-t/tau)*cos(2*PI*50*t + PI/6) + 2*t - t**3/6;;\n");
  for (int i = 0; i <= 1000; ++i) {
    const double t = 1e-4 * i;
    SCOPED_TRACE(t);
    // The same operations in the same order, but the parser keeps integer constants exact and
    // the compiler may contract; a few roundings of the largest term.
    expect_close(value_at(power_wave, t), 3 * t * t + std::sin(2 * pi * 50 * t), 1e-14, 1e-14);
    expect_close(value_at(decay, t),
                 10 * std::exp(-t / 0.02) * std::cos(2 * pi * 50 * t + pi / 6) + 2 * t - t * t * t / 6, 1e-13,
                 1e-13);
  }
}

TEST_F(ExpressionParser, FunctionsOfSeveralVariables) {
  const NAMES space = {"x", "y", "z", "t"};
  const double point[4] = {1.0, 2.0, 3.0, 4.0}; // x, y, z, t
  // g(1, 3) * 4 + g(2, 1) = 4 * 4 + 5
  EXPECT_EQ(evaluate_function(parse("g(x, y) = x**2 + y; f(x, y, z, t) = g(x, z) * t + g(y, x);;\n", space),
                              nullptr, point),
            21.0);
  // The function's variables take the caller's values by name, in any order.
  EXPECT_EQ(evaluate_function(parse("h(t, x) = t - x;;\n", space), nullptr, point), 3.0);
  EXPECT_EQ(evaluate_function(parse("k(z, y, x) = z*100 + y*10 + x;;\n", space), nullptr, point), 321.0);
}

TEST_F(ExpressionParser, UserVariablesAndBinding) {
  EXPECT_EQ(value_at(parse("a = 2; b = a*3 + 1; f(t) = a*t + b;;\n"), 1.0), 9.0);
  EXPECT_EQ(value_at(parse("f(t) = c*t; c = 4;;\n"), 2.0), 8.0); // a forward reference resolves
  EXPECT_DOUBLE_EQ(value_at(parse("f(t) = PI;;\n"), 0.0), pi);
  // Redefinitions leave what was compiled before alone: each time function keeps its meaning.
  const PARSED_FUNCTION *first = parse("k = 2; f(t) = k*t;;\n");
  const PARSED_FUNCTION *second = parse("k = 5; f(t) = k + t;;\n");
  EXPECT_EQ(value_at(first, 3.0), 6.0);
  EXPECT_EQ(value_at(second, 3.0), 8.0);
  // A later block may call what an earlier one defined.
  EXPECT_EQ(value_at(parse("sq(t) = t*t;;\n"), 3.0), 9.0);
  EXPECT_EQ(value_at(parse("f(t) = sq(t) + sq(2);;\n"), 3.0), 13.0);
}

TEST_F(ExpressionParser, TheLastFunctionOfTheBlockIsTheResult) {
  const PARSED_FUNCTION *parsed = parse("g(t) = 1; f(t) = 2; a = 3;;\n");
  EXPECT_STREQ(parsed->function->name, "f");
  EXPECT_EQ(value_at(parsed, 0.0), 2.0);
  const PARSED_FUNCTION *only_variables = parse("b = 3;;\n");
  EXPECT_EQ(only_variables->function, nullptr);
  VALUE value;
  EXPECT_EQ(evaluate_function(only_variables, &value, nullptr), 0.0);
  EXPECT_EQ(value.type, INTGR);
}

TEST_F(ExpressionParser, ExternVariablesAreReadAtEachEvaluation) {
  double values[2] = {2.0, 100.0}; // I0, w
  const PARSED_FUNCTION *parsed = parse("f(t) = I0*sin(w*t) + w0;  w0 = 1;;\n", {"t"}, {"I0", "w"}, values);
  expect_close(value_at(parsed, 0.01), 2.0 * std::sin(1.0) + 1.0, 1e-15, 0.0); // rounding
  values[0] = -3.0;
  values[1] = 50.0;
  expect_close(value_at(parsed, 0.01), -3.0 * std::sin(0.5) + 1.0, 1e-15, 0.0); // rounding
}

TEST_F(ExpressionParser, RangesZeroTheFunctionOutside) {
  const PARSED_FUNCTION *parsed = parse("a = 2; [t = -a : a*2] f(t) = t + 1;;\n");
  EXPECT_EQ(value_at(parsed, 0.5), 1.5);
  EXPECT_EQ(value_at(parsed, -2.0), -1.0); // limits belong to the range
  EXPECT_EQ(value_at(parsed, 4.0), 5.0);
  EXPECT_EQ(value_at(parsed, 4.5), 0.0);
  EXPECT_EQ(value_at(parsed, -2.5), 0.0);
  // A called function with a range is 0 where its own argument lies outside.
  const double point[2] = {0.5, 3.0}; // x, t
  EXPECT_EQ(evaluate_function(parse("[x = 0 : 1] g(x) = 10; h(x, t) = g(x) + g(t);;\n", {"x", "t"}), nullptr,
                              point),
            10.0);
  const PARSED_FUNCTION *two = parse("[x = 0 : 1][t = 0 : 10] k(x, t) = x + t;;\n", {"x", "t"});
  EXPECT_EQ(evaluate_function(two, nullptr, point), 3.5);
  const double outside[2] = {0.5, 11.0};
  EXPECT_EQ(evaluate_function(two, nullptr, outside), 0.0);
}

TEST_F(ExpressionParser, BlockReading) {
  std::string text = "* a comment line, skipped\n"
                     "   a = 1; # a comment # b = 2;\n"
                     "\tf(t) = a +\r\n"
                     "  b*t # comment over\n"
                     "*not this one\n"
                     "two lines #\n"
                     "  + 10 ;;  anything behind the end mark\n"
                     "NEXT CARD\n";
  FFILE ffile;
  ffile.stream = fmemopen(text.data(), text.size(), "r");
  const char *names[] = {"t"};
  PARSED_FUNCTION *parsed = parse_functions(&ffile, names, nullptr, nullptr, 0);
  EXPECT_EQ(value_at(parsed, 3.0), 17.0); // 1 + 2*3 + 10
  EXPECT_EQ(ffile.record_count, 5);       // the lines that are not comments
  char next[32] = {};
  ASSERT_NE(std::fgets(next, sizeof next, ffile.stream), nullptr);
  EXPECT_STREQ(next, "NEXT CARD\n");
  std::fclose(ffile.stream);
  EXPECT_STREQ(parsed->function->definition, "f(t) = a +b*t + 10");
  delete_parsed_function(parsed);
  free_parser();
  EXPECT_EQ(value_at(parse("f(t) = 2*t;;\n"), 2.0), 4.0); // the buffer is made again
}

// Text of a definition of exactly `length` characters, spread over lines of 150 characters.
std::string definition_of_length(int length) {
  std::string text = "f(t) = t";
  text += std::string(static_cast<std::size_t>(150 - 8), ' ') + "\n";
  int used = 150;
  while (used < length) {
    const int part = std::min(150, length - used);
    text += "+0" + std::string(static_cast<std::size_t>(part - 2), ' ') + "\n";
    used += part;
  }
  return text + ";;\n";
}

// A line longer than 200 characters is read in pieces; a piece that starts with "*" is no comment.
TEST_F(ExpressionParser, LongLineSplitBeforeAStar) {
  const std::string line = "f(t) = t" + std::string(191, ' ') + "**2;;\n"; // "**" at columns 200, 201
  EXPECT_EQ(value_at(parse(line), 3.0), 9.0);
}

TEST_F(ExpressionParser, DefinitionOf999CharactersIsAccepted) {
  EXPECT_EQ(value_at(parse(definition_of_length(999)), 5.0), 5.0);
}

TEST_F(ExpressionParser, BuiltinTableWalk) {
  for (const BUILTIN_FUNCTION &row : builtin_functions()) {
    SCOPED_TRACE(std::string(row.name));
    EXPECT_EQ(action_name(row.action), row.name);
    EXPECT_EQ(find_builtin(row.name), &row);
  }
  EXPECT_EQ(find_builtin("pushd1"), nullptr);
}

// Each built-in of one real argument against the standard library: checks that every name is
// wired to its own function.
struct BUILTIN_CASE {
  const char *name;
  double argument;
  double (*reference)(double);
};

class BuiltinWiring : public ExpressionParser, public ::testing::WithParamInterface<BUILTIN_CASE> {};

TEST_P(BuiltinWiring, MatchesLibrary) {
  const BUILTIN_CASE &c = GetParam();
  SCOPED_TRACE(c.name);
  const VALUE value = formula(std::string(c.name) + "(t)", c.argument);
  expect_close(value.real, c.reference(c.argument), 1e-15, 0.0); // the same library call
  EXPECT_EQ(value.imag, 0.0);
}

INSTANTIATE_TEST_SUITE_P(
    Builtins, BuiltinWiring,
    ::testing::Values(BUILTIN_CASE{"sin", 0.3, [](double x) { return std::sin(x); }},
                      BUILTIN_CASE{"cos", 0.3, [](double x) { return std::cos(x); }},
                      BUILTIN_CASE{"tan", 0.3, [](double x) { return std::tan(x); }},
                      BUILTIN_CASE{"asin", 0.3, [](double x) { return std::asin(x); }},
                      BUILTIN_CASE{"acos", 0.3, [](double x) { return std::acos(x); }},
                      BUILTIN_CASE{"atan", 0.3, [](double x) { return std::atan(x); }},
                      BUILTIN_CASE{"sinh", 0.3, [](double x) { return std::sinh(x); }},
                      BUILTIN_CASE{"cosh", 0.3, [](double x) { return std::cosh(x); }},
                      BUILTIN_CASE{"tanh", 0.3, [](double x) { return std::tanh(x); }},
                      BUILTIN_CASE{"asinh", 0.3, [](double x) { return std::asinh(x); }},
                      BUILTIN_CASE{"acosh", 1.3, [](double x) { return std::acosh(x); }},
                      BUILTIN_CASE{"atanh", 0.3, [](double x) { return std::atanh(x); }},
                      BUILTIN_CASE{"abs", -0.3, [](double x) { return std::fabs(x); }},
                      BUILTIN_CASE{"sqrt", 0.3, [](double x) { return std::sqrt(x); }},
                      BUILTIN_CASE{"exp", 0.3, [](double x) { return std::exp(x); }},
                      BUILTIN_CASE{"log10", 0.3, [](double x) { return std::log10(x); }},
                      BUILTIN_CASE{"log", 0.3, [](double x) { return std::log(x); }},
                      BUILTIN_CASE{"erf", 0.3, [](double x) { return std::erf(x); }},
                      BUILTIN_CASE{"erfc", 0.3, [](double x) { return std::erfc(x); }},
                      BUILTIN_CASE{"gamma", 0.3, [](double x) { return std::tgamma(x); }},
                      BUILTIN_CASE{"lgamma", 0.3, [](double x) { return std::lgamma(x); }},
                      BUILTIN_CASE{"real", 0.3, [](double x) { return x; }},
                      BUILTIN_CASE{"imag", 0.3, [](double) { return 0.0; }},
                      BUILTIN_CASE{"magnitude", -0.3, [](double x) { return std::fabs(x); }},
                      BUILTIN_CASE{"angle", -0.3, [](double) { return pi; }}));

// J0, J1 by their power series; Y0 by its series (DLMF 10.8.2); Y1 through the Wronskian
// J1 Y0 - J0 Y1 = 2 / (pi x) (DLMF 10.5.2).
TEST_F(ExpressionParser, BesselFunctionsAgainstSeriesAndWronskian) {
  constexpr double euler_gamma = 0.57721566490153286;
  for (const double x : {0.1, 0.5, 1.0, 2.5, 4.0}) {
    SCOPED_TRACE(x);
    double j0 = 0, j1 = 0, y0_sum = 0, term0 = 1, harmonic = 0;
    const double q = x * x / 4;
    for (int k = 0; k < 40; ++k) {
      if (k > 0) {
        term0 *= -q / (k * k);
        harmonic += 1.0 / k;
        y0_sum -= term0 * harmonic; // sum of (-1)^(k+1) H_k q^k / (k!)^2
      }
      j0 += term0;
      j1 += term0 * (x / 2) / (k + 1); // (-1)^k (x/2)^(2k+1) / (k! (k+1)!)
    }
    const double y0 = 2 / pi * ((std::log(x / 2) + euler_gamma) * j0 + y0_sum);
    // Alternating series of terms below 10: cancellation costs a few digits at x = 4.
    expect_close(formula("besj0(t)", x).real, j0, 1e-13, 1e-14);
    expect_close(formula("besj1(t)", x).real, j1, 1e-13, 1e-14);
    expect_close(formula("besy0(t)", x).real, y0, 1e-12, 1e-13);
    const double wronskian = formula("besj1(t)*besy0(t) - besj0(t)*besy1(t)", x).real;
    expect_close(wronskian, 2 / (pi * x), 1e-13, 0.0); // products of values good to ~1e-16
  }
}

// The incomplete beta and gamma functions against closed forms.
TEST_F(ExpressionParser, IncompleteBetaAndGammaAgainstClosedForms) {
  for (const double x : {0.0, 0.05, 0.3, 0.5, 0.77, 0.99, 1.0}) {
    SCOPED_TRACE(x);
    // Tolerance: the continued fractions stop at 1e-15 per step, plus exp/lgamma roundings.
    expect_close(regularized_incomplete_beta(1, 1, x), x, 1e-13, 1e-15);
    expect_close(regularized_incomplete_beta(3.5, 1, x), std::pow(x, 3.5), 1e-13, 1e-15);
    // I_x(2, 3) = sum_{j=2}^{4} C(4, j) x^j (1-x)^(4-j)
    const double y = 1 - x;
    expect_close(regularized_incomplete_beta(2, 3, x), 6 * x * x * y * y + 4 * x * x * x * y + x * x * x * x,
                 1e-13, 1e-15);
    expect_close(regularized_incomplete_beta(0.5, 0.5, x), 2 / pi * std::asin(std::sqrt(x)), 1e-12, 1e-14);
  }
  for (const double x : {0.0, 0.1, 1.0, 2.5, 7.0, 30.0}) {
    SCOPED_TRACE(x);
    expect_close(regularized_lower_gamma(1, x), -std::expm1(-x), 1e-13, 1e-15);
    expect_close(regularized_lower_gamma(0.5, x), std::erf(std::sqrt(x)), 1e-13, 1e-15);
    expect_close(regularized_lower_gamma(3, x), 1 - std::exp(-x) * (1 + x + x * x / 2), 1e-13, 1e-15);
  }
  // Through the parser, with its argument order: ibeta(a, b, x), igamma(a, x).
  expect_close(formula("ibeta(2, 3, t)", 0.3).real, 6 * 0.09 * 0.49 + 4 * 0.027 * 0.7 + 0.0081, 1e-13, 0.0);
  expect_close(formula("igamma(1, t)", 2.0).real, 1 - std::exp(-2.0), 1e-13, 0.0);
}

TEST_F(ExpressionParser, OtherBuiltins) {
  EXPECT_EQ(formula("floor(-2.5)").integer, -3);
  EXPECT_EQ(formula("floor(-2.5)").type, INTGR);
  EXPECT_EQ(formula("ceil(2.1)").integer, 3);
  EXPECT_EQ(formula("sgn(-3.2)").integer, -1);
  EXPECT_EQ(formula("sgn(0)").integer, 0);
  EXPECT_EQ(formula("abs(-5)").type, INTGR);
  EXPECT_EQ(formula("abs({3, 4})").real, 5.0); // 3-4-5 triangle
  // Closed forms: Gamma(5) = 4!, Gamma(1/2) = sqrt(pi), erf + erfc = 1; library accuracy of a
  // few ulps.
  expect_close(formula("atan2(1, -1)").real, 3 * pi / 4, 1e-15, 0.0);
  expect_close(formula("gamma(5)").real, 24.0, 1e-14, 0.0);
  expect_close(formula("gamma(0.5)**2").real, pi, 1e-14, 0.0);
  expect_close(formula("lgamma(10)").real, std::log(362880.0), 1e-14, 0.0);
  expect_close(formula("erf(0.4) + erfc(0.4)").real, 1.0, 1e-15, 0.0);
  // atan2 of complex arguments is the angle whose tangent is y / x.
  const VALUE angle = formula("atan2({1, 0.5}, {2, -1})");
  const COMPLEX tangent = std::tan(COMPLEX(angle.real, angle.imag));
  const COMPLEX ratio = COMPLEX(1, 0.5) / COMPLEX(2, -1);
  expect_close(tangent.real(), ratio.real(), 1e-14, 1e-15); // rounding of tan, log, sqrt
  expect_close(tangent.imag(), ratio.imag(), 1e-14, 1e-15);
}

TEST_F(ExpressionParser, RandomNumbersRepeatAfterReset) {
  const PARSED_FUNCTION *draw = parse("f(t) = rand(t);;\n");
  std::vector<double> first;
  value_at(draw, -1.0);
  for (int k = 0; k < 5; ++k) first.push_back(value_at(draw, 0.0));
  value_at(draw, -1.0);
  for (int k = 0; k < 5; ++k) EXPECT_EQ(value_at(draw, 0.0), first[static_cast<std::size_t>(k)]);
  for (const double x : first) {
    EXPECT_GE(x, 0.0);
    EXPECT_LT(x, 1.0);
  }
  EXPECT_NE(first[0], first[1]);
  EXPECT_EQ(value_at(draw, 7.0), value_at(draw, 7.0)); // a seed gives its own first number
  double mean = 0;
  for (int k = 0; k < 10000; ++k) mean += value_at(draw, 0.0) / 10000;
  expect_close(mean, 0.5, 0.0, 0.02); // 6.8 standard deviations of the mean (0.0029)
}

TEST_F(ExpressionParser, PrintsValues) {
  std::FILE *stream = std::tmpfile();
  write_value(stream, formula("1/3"));
  write_report(stream, "|");
  write_value(stream, formula("{1.5, -2}"));
  write_report(stream, "|");
  write_value(stream, formula("42"));
  write_report(stream, "|");
  parse("a = 1; f(t) = t + undefined_one;;\n");
  write_user_variable(stream, *find_user_variable("a"));
  write_user_variable(stream, *find_user_variable("undefined_one"));
  std::rewind(stream);
  char text[256] = {};
  const std::size_t length = std::fread(text, 1, sizeof text - 1, stream);
  std::fclose(stream);
  EXPECT_EQ(std::string(text, length), "0.333333333333333|{1.5, -2}|42|1\n(undefined)\n");
}

// ---------------------------------------------------------------------------------------------
// Messages: each block is read from a card file in a child job.

struct BLOCK_RUN {
  std::string block;
  NAMES names = {"t"};
  bool evaluate = false;
};

// Reads `block` from the file "deck" of a child job (with the extern "I" = 1), evaluates it when
// asked, and returns how the job ended.
testing::CHILD_JOB run_block(
    const BLOCK_RUN &run, const std::function<void()> &before = [] {}) {
  return testing::run_job_in_child([&] {
    free_parser_tables();
    before();
    testing::write_file(job_options().work_directory + "deck", run.block);
    FFILE *deck = create_ffile("deck", 0);
    open_ffile(deck, "r");
    static const double extern_value = 1.0;
    const char *extern_names[] = {"I"};
    PARSED_FUNCTION *parsed = parse_functions(deck, run.names, extern_names, &extern_value, 1);
    if (run.evaluate) {
      const double values[4] = {0.5, 0.5, 0.5, 0.5};
      evaluate_function(parsed, nullptr, values);
    }
  });
}

struct MESSAGE_CASE {
  const char *label;
  BLOCK_RUN run;
  std::string message;
};

void PrintTo(const MESSAGE_CASE &c, std::ostream *out) { *out << c.label; }

class ParserErrors : public ::testing::TestWithParam<MESSAGE_CASE> {};

TEST_P(ParserErrors, StopWithMessage) {
  const MESSAGE_CASE &c = GetParam();
  SCOPED_TRACE(c.label);
  const testing::CHILD_JOB job = run_block(c.run);
  EXPECT_EQ(job.exit_status, 1);
  EXPECT_NE(job.check.find(c.message), std::string::npos) << job.check;
  EXPECT_NE(job.error.find(c.message), std::string::npos) << job.error;
}

const NAMES x_and_t = {"x", "t"};
const std::string evaluating = "*** Parser error: Error in evaluating parsed function definition:\n";

std::string right_nested_powers(int count) {
  std::string text = "f(t) = t";
  for (int k = 1; k < count; ++k) text += "**t";
  return text + ";;\n";
}

INSTANTIATE_TEST_SUITE_P(
    Reading, ParserErrors,
    ::testing::Values(
        MESSAGE_CASE{
            "too_long", {definition_of_length(1000)}, "Parser error: Definition too long: \n\t\t\tf(t) = t"},
        MESSAGE_CASE{"too_long_end", {definition_of_length(1000)}, "\n Please reformulate."},
        MESSAGE_CASE{"comment",
                     {"f(t) = t # comment\n;;\n"},
                     "*** Parser error: Unbalanced comment symbol '#' in expression:\n\tf(t) = t # comment\n"
                     " At position: 10 \n"},
        MESSAGE_CASE{
            "empty",
            {"* only a comment\n  ;;\n"},
            "*** Parser input error: Error when reading function definition lines: \n\t Empty definition."},
        MESSAGE_CASE{
            "no_end",
            {"f(t) = t\n"},
            "*** Parser input error: Error when reading function definition lines: \n\t Too many definition "
            "lines or not found concluding line ('...;;')"},
        MESSAGE_CASE{"too_many_lines", {std::string(51, '\n') + ";;\n"}, "Too many definition lines"}));

INSTANTIATE_TEST_SUITE_P(
    Tokens, ParserErrors,
    ::testing::Values(
        MESSAGE_CASE{
            "caret",
            {"f(t) = 3^t;;\n"},
            "\n*** Parser error: Invalid character '^' in function definition entry:\n     Use '**' for "
            "power-function.\n\tf(t) = 3^t\n At position: 9 \n"},
        MESSAGE_CASE{"dollar",
                     {"f(t) = t $ 1;;\n"},
                     "\n*** Parser error: Invalid character '$' in function definition entry:"},
        MESSAGE_CASE{"ampersand",
                     {"f(t) = t & 1;;\n"},
                     "\n*** Parser error: Invalid character '&' in function definition entry:"},
        MESSAGE_CASE{"question",
                     {"f(t) = t ? 1;;\n"},
                     "\n*** Parser error: Invalid character '?' in function definition entry:"},
        MESSAGE_CASE{"bar",
                     {"f(t) = t | 1;;\n"},
                     "\n*** Parser error: Invalid character '|' in function definition entry:"},
        MESSAGE_CASE{"tilde",
                     {"f(t) = ~t;;\n"},
                     "\n*** Parser error: Invalid character '~' in function definition entry:"},
        MESSAGE_CASE{"greater",
                     {"f(t) = t > 1;;\n"},
                     "*** Parser error: nvalid character '>' in function definition entry:"},
        MESSAGE_CASE{"other", {"f(t) = t @ 1;;\n"}, "Invalid character: '@'"},
        MESSAGE_CASE{
            "exponent", {"f(t) = 3e+*t;;\n"}, "Expecting exponent.\n\tf(t) = 3e+*t\n At position: 11 \n"},
        MESSAGE_CASE{"complex",
                     {"f(t) = {a, 1}*t;;\n"},
                     "*** Parser error: Invalid complex constant in function definition entry:"},
        MESSAGE_CASE{"brace",
                     {"f(t) = {1, 2*t;;\n"},
                     "*** Parser error: No matching '}' in function definition entry:"}));

INSTANTIATE_TEST_SUITE_P(
    Grammar, ParserErrors,
    ::testing::Values(
        MESSAGE_CASE{"semicolon",
                     {"f(t) = 3*t 4;;\n"},
                     "*** Parser error: ';' expected in function definition entry:\n\tf(t) = 3*t 4\n At "
                     "position: 12 "},
        MESSAGE_CASE{"parenthesis",
                     {"f(t) = (t + 1;;\n"},
                     "*** Parser error: ')' expected in function definition entry:"},
        MESSAGE_CASE{"operand",
                     {"f(t) = t + ;;\n"},
                     "*** Parser error: Invalid expression in function definition entry:"},
        MESSAGE_CASE{
            "less", {"f(t) = t < 1;;\n"}, "*** Parser error: ';' expected in function definition entry:"},
        MESSAGE_CASE{
            "equals", {"f(t) t;;\n"}, "*** Parser error: '=' expected in function definition entry:"},
        MESSAGE_CASE{"name", {"3 = t;;\n"}, "*** Parser error: Name expected in function definition entry:"},
        MESSAGE_CASE{"builtin_count",
                     {"f(t) = sin(t, t);;\n"},
                     "*** Parser error: Function 'sin' was defined with a different number of variables.\n"},
        MESSAGE_CASE{"redefinition",
                     {"g(t) = t; g(x, t) = x;;\n", x_and_t},
                     "*** Parser error: Function 'g' was defined with a different number of variables.\n"},
        MESSAGE_CASE{"constant",
                     {"a = t + 1;;\n"},
                     "*** Parser error: Constant expression expected in this function definition entry:"},
        MESSAGE_CASE{"constant_extern",
                     {"a = I;;\n"},
                     "*** Parser error: Constant expression expected in this function definition entry:"},
        MESSAGE_CASE{
            "undefined_value",
            {"a = b + 1;;\n"},
            "*** Parser error: Undefined value in function definition entry:\n\ta = b + 1\n At position: 5 "},
        MESSAGE_CASE{"too_many_variables",
                     {"f(a, b, c, d, e, f, g, h, i, j, k, l, m) = a;;\n",
                      {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k", "l", "m"}},
                     "*** Parser error: The function definition contains too many variables:"},
        MESSAGE_CASE{"wrong_variables",
                     {"f(u) = u;;\n"},
                     "\n*** Parser error: Wrong function variables in the definition: \n\t\t f(u) = u \n"
                     "        One or several from: t expected. \n"},
        MESSAGE_CASE{"repeated_variable",
                     {"f(x, x) = x;;\n", x_and_t},
                     "        One or several from: x t expected. \n"}));

INSTANTIATE_TEST_SUITE_P(
    Ranges, ParserErrors,
    ::testing::Values(
        MESSAGE_CASE{
            "incorrect",
            {"[u = 0 : 1] f(t) = t;;\n"},
            "*** Parser error: Incorrect variable 'u' in range definition at:\n Probably not 'x', 'y', 'z' "
            "or 't'."},
        MESSAGE_CASE{"before",
                     {"[t = 0 : b] f(t) = t;;\n"},
                     "\n Range variable ('b') should be defined BEFORE the range declaration."},
        MESSAGE_CASE{"function_variable",
                     {"[t = 0 : t] f(t) = t;;\n"},
                     "\n Range variable 't': function's variables not allowed in the range definition."},
        MESSAGE_CASE{"extern",
                     {"[t = 0 : I] f(t) = t;;\n"},
                     "\n Range variable 'I': 'extern' variables not allowed in the range definition."},
        MESSAGE_CASE{
            "reversed", {"[t = 1 : 0] f(t) = t;;\n"}, "\n Reversed min-max limits: min > max encountered."},
        MESSAGE_CASE{"several", {"[t = 0 : 1][t = 0 : 2] f(t) = t;;\n"}, "\n Range defined several times."},
        MESSAGE_CASE{"limit", {"[t = 0 1] f(t) = t;;\n"}, "\n Wrong range limit at: '1] f(t) = t'"},
        MESSAGE_CASE{"limit_syntax", {"[t = : 1] f(t) = t;;\n"}, "\n Wrong range limit at: ': 1] f(t) = t'"},
        MESSAGE_CASE{"limit_complex", {"[t = 0 : {1, 1}] f(t) = t;;\n"}, "\n Wrong range limit at: '{1, 1}]"},
        MESSAGE_CASE{"differs",
                     {"[x = 0 : 1] f(t) = t;;\n", x_and_t},
                     "\n Range list differs from function's variables list."}));

INSTANTIATE_TEST_SUITE_P(
    Evaluation, ParserErrors,
    ::testing::Values(
        MESSAGE_CASE{
            "undefined_function", {"f(t) = g(t);;\n", {"t"}, true}, evaluating + "Undefined function: g"},
        MESSAGE_CASE{"undefined_variable",
                     {"f(t) = b*t;;\n", {"t"}, true},
                     evaluating + "Undefined variable: b\n\tf(t) = b*t\n At position: 8 "},
        MESSAGE_CASE{"overflow", {right_nested_powers(101), {"t"}, true}, evaluating + "Stack overflow !"},
        MESSAGE_CASE{"underflow",
                     {"f(x, t) = g(t); g(x, t) = x*t; h(x, t) = f(x, t);;\n", x_and_t, true},
                     evaluating + "Stack underflow (function call with missing parameters ?)"},
        MESSAGE_CASE{
            "too_many_parameters",
            {"f(t) = g(t, t); g(t) = t; h(t) = f(t);;\n", {"t"}, true},
            "Parser error:  internal error--stack not empty for:\n\t\tf(t) = g(t, t)\n (function called "
            "with too many parameters ?)"},
        MESSAGE_CASE{"bessel",
                     {"f(t) = besj0({1, 1});;\n", {"t"}, true},
                     evaluating + "Can only do Bessel functions of reals."}));

// A value whose type tag is neither integer nor complex (memory gone wrong) is refused by the
// functions and warned about by the operators.
TEST(ParserTypeErrors, UnknownTypeInFunctions) {
  for (const char *name : {"real", "imag", "angle", "magnitude", "sin", "floor"}) {
    SCOPED_TRACE(name);
    const testing::CHILD_JOB job = run_block({"f(t) = " + std::string(name) + "(a);;\n", {"t"}, true}, [] {
      parse_text("a = 1;;\n");
      find_user_variable("a")->value.type = 7;
    });
    EXPECT_EQ(job.exit_status, 1);
    const std::string expected = "*** Parser error: Error when evaluating function '" + std::string(name) +
                                 "' in:\n\t\t\tUnknown type in " + name + "().";
    EXPECT_NE(job.check.find(expected), std::string::npos) << job.check;
  }
}

TEST(ParserTypeErrors, UnknownTypeInOperatorsWarns) {
  const testing::CHILD_JOB job = run_block({"f(t) = a + t;;\n", {"t"}, true}, [] {
    parse_text("a = 1;;\n");
    find_user_variable("a")->value.type = 7;
  });
  EXPECT_EQ(job.exit_status, 0);
  EXPECT_NE(
      job.check.find(
          "Parser warning: Internal error : \n\t\t\tf(t) = a + t Variable type error. Possibly fatal. "),
      std::string::npos)
      << job.check;
}

class ParserWarnings : public ::testing::TestWithParam<MESSAGE_CASE> {};

TEST_P(ParserWarnings, GoOnWithMessage) {
  const MESSAGE_CASE &c = GetParam();
  SCOPED_TRACE(c.label);
  const testing::CHILD_JOB job = run_block(c.run);
  EXPECT_EQ(job.exit_status, 0);
  EXPECT_NE(job.check.find(c.message), std::string::npos) << job.check;
}

INSTANTIATE_TEST_SUITE_P(
    Messages, ParserWarnings,
    ::testing::Values(
        MESSAGE_CASE{
            "shadowed",
            {"sin(t) = t;;\n", {"t"}, true},
            "Parser warning : User defined function 'sin' shadowed by built-in function of the same name."},
        MESSAGE_CASE{
            "order",
            {"[t = 0 : 1][x = 0 : 1] f(x, t) = x*t;;\n", x_and_t, true},
            "*** Parser warning: At entry: \n\t\t\t[t = 0 : 1][x = 0 : 1] f(x, t) = x*t\nRange list differs "
            "from function's variables list.\nThe result is correct iff the ORDER is compatible."},
        MESSAGE_CASE{
            "composition",
            {"g(t) = t; f(t) = g(t); [t = 0 : 1] g(t) = 2*t;;\n", {"t"}, true},
            "Function 'g' was previously called in composition with other function(s).\n\tTherefore, "
            "setting ranges now might lead to wrong results !"},
        MESSAGE_CASE{"unused", {"[t = 0 : 1] a = 3;;\n"}, "\t\t\t[t = 0 : 1] a = 3\nUnused range defined."}));

// Evaluation makes no allocation: with every allocation set to fail, a million evaluations go
// through.
TEST(ParserEvaluation, AllocatesNothing) {
  const testing::CHILD_JOB job = testing::run_job_in_child([] {
    free_parser_tables();
    PARSED_FUNCTION *parsed =
        parse_text("g(t) = t*2; [t = 0 : 100] f(t) = 3*t**2 + sin(2*PI*50*t) + g(t)!;;\n");
    fail_nth_allocation(1);
    double sum = 0;
    for (int k = 0; k < 1000000; ++k) sum += value_at(parsed, 1e-6 * k);
    fail_nth_allocation(0);
    if (!(sum > 0)) std::_Exit(3);
  });
  EXPECT_EQ(job.exit_status, 0) << job.check;
}

} // namespace
} // namespace tesmora
