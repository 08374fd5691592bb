// Expression parser: the table of built-in functions and the special functions behind them.
//
// Elementary functions take complex arguments, and a real argument outside the real domain
// gives the complex principal value (sqrt(-4) is {0, 2}, log(-1) is {0, pi}). The Bessel
// functions refuse complex arguments. erf, erfc, gamma, lgamma, ibeta, igamma, floor, ceil, sgn
// and rand work on the real part of their arguments. floor, ceil and sgn give integers.
#include "input/expression_internal.hpp"

#include <bit>
#include <cmath>
#include <complex>
#include <limits>

namespace tesmora {

namespace {

constexpr int special_function_iterations = 500; // continued fractions and series converge far sooner
constexpr double special_function_tolerance = 1e-15;
constexpr double lentz_tiny = 1e-300; // keeps Lentz's quotients away from 0

// I_x(a, b) by its continued fraction (DLMF 8.17.22), evaluated by the modified Lentz method;
// converges quickly for x < (a + 1) / (a + b + 2).
double beta_continued_fraction(double a, double b, double x) {
  double f = 1.0;
  double c = 1.0;
  double d = 0.0;
  for (int j = 1; j <= 2 * special_function_iterations; ++j) {
    const int m = j / 2;
    const double coefficient = (j % 2 == 1)
                                   ? -(a + m) * (a + b + m) * x / ((a + 2.0 * m) * (a + 2.0 * m + 1.0))
                                   : m * (b - m) * x / ((a + 2.0 * m - 1.0) * (a + 2.0 * m));
    d = 1.0 + coefficient * d;
    if (std::fabs(d) < lentz_tiny) d = lentz_tiny;
    c = 1.0 + coefficient / c;
    if (std::fabs(c) < lentz_tiny) c = lentz_tiny;
    d = 1.0 / d;
    const double delta = c * d;
    f *= delta;
    if (std::fabs(delta - 1.0) < special_function_tolerance) break;
  }
  const double log_prefactor =
      a * std::log(x) + b * std::log1p(-x) - (std::lgamma(a) + std::lgamma(b) - std::lgamma(a + b));
  return std::exp(log_prefactor) / (a * f);
}

// Q(a, x) by Legendre's continued fraction (DLMF 8.9.2), for x >= a + 1.
double upper_gamma_continued_fraction(double a, double x) {
  double f = x + 1.0 - a;
  if (std::fabs(f) < lentz_tiny) f = lentz_tiny;
  double c = f;
  double d = 0.0;
  for (int i = 1; i <= special_function_iterations; ++i) {
    const double coefficient = -i * (i - a);
    const double b = x + 2.0 * i + 1.0 - a;
    d = b + coefficient * d;
    if (std::fabs(d) < lentz_tiny) d = lentz_tiny;
    c = b + coefficient / c;
    if (std::fabs(c) < lentz_tiny) c = lentz_tiny;
    d = 1.0 / d;
    const double delta = c * d;
    f *= delta;
    if (std::fabs(delta - 1.0) < special_function_tolerance) break;
  }
  return std::exp(-x + a * std::log(x) - std::lgamma(a)) / f;
}

// P(a, x) by its power series (DLMF 8.7.1), for x < a + 1.
double lower_gamma_series(double a, double x) {
  double term = 1.0 / a;
  double sum = term;
  for (int n = 1; n <= special_function_iterations; ++n) {
    term *= x / (a + n);
    sum += term;
    if (std::fabs(term) < std::fabs(sum) * special_function_tolerance) break;
  }
  return sum * std::exp(-x + a * std::log(x) - std::lgamma(a));
}

} // namespace

double regularized_incomplete_beta(double a, double b, double x) {
  if (!(a > 0.0) || !(b > 0.0) || std::isnan(x)) return std::numeric_limits<double>::quiet_NaN();
  if (x <= 0.0) return 0.0;
  if (x >= 1.0) return 1.0;
  if (x < (a + 1.0) / (a + b + 2.0)) return beta_continued_fraction(a, b, x);
  return 1.0 - beta_continued_fraction(b, a, 1.0 - x); // I_x(a, b) = 1 - I_(1-x)(b, a)
}

double regularized_lower_gamma(double a, double x) {
  if (!(a > 0.0) || std::isnan(x)) return std::numeric_limits<double>::quiet_NaN();
  if (x <= 0.0) return 0.0;
  if (x < a + 1.0) return lower_gamma_series(a, x);
  return 1.0 - upper_gamma_continued_fraction(a, x);
}

namespace {

using COMPLEX = std::complex<double>;
using REAL_FORM = double (*)(double);
using COMPLEX_FORM = COMPLEX (*)(COMPLEX);
using DOMAIN_TEST = bool (*)(double);

constexpr EVAL_STATUS ok = EVAL_STATUS::ok;
constexpr EVAL_STATUS unknown_type = EVAL_STATUS::unknown_type;

// An elementary function: the real form where the argument is real and inside `in_real_domain`,
// the complex form elsewhere.
EVAL_STATUS elementary(VALUE &a, REAL_FORM real_form, COMPLEX_FORM complex_form, DOMAIN_TEST in_real_domain) {
  if (!is_known_type(a)) return unknown_type;
  if (a.imag == 0.0 && in_real_domain(a.real)) {
    set_real(a, real_form(a.real));
  } else {
    const COMPLEX z = complex_form(COMPLEX(a.real, a.imag));
    set_complex(a, z.real(), z.imag());
  }
  return ok;
}

bool everywhere(double) { return true; }
bool not_negative(double x) { return x >= 0.0; }
bool within_one(double x) { return std::fabs(x) <= 1.0; }
bool at_least_one(double x) { return x >= 1.0; }

// A function of the real part.
EVAL_STATUS of_real_part(VALUE &a, REAL_FORM form) {
  if (!is_known_type(a)) return unknown_type;
  set_real(a, form(a.real));
  return ok;
}

EVAL_STATUS bessel(VALUE &a, REAL_FORM form) {
  if (!is_known_type(a)) return unknown_type;
  if (a.imag != 0.0) return EVAL_STATUS::complex_bessel;
  set_real(a, form(a.real));
  return ok;
}

// An integer where the value fits in 64 bits, else the real number itself.
void set_whole(VALUE &a, double whole) {
  if (std::fabs(whole) < 9.0e18)
    set_integer(a, static_cast<std::int64_t>(whole));
  else
    set_real(a, whole);
}

EVAL_STATUS apply_sin(VALUE *a, std::uint64_t &) {
  return elementary(
      a[0], [](double x) { return std::sin(x); }, [](COMPLEX z) { return std::sin(z); }, everywhere);
}
EVAL_STATUS apply_cos(VALUE *a, std::uint64_t &) {
  return elementary(
      a[0], [](double x) { return std::cos(x); }, [](COMPLEX z) { return std::cos(z); }, everywhere);
}
EVAL_STATUS apply_tan(VALUE *a, std::uint64_t &) {
  return elementary(
      a[0], [](double x) { return std::tan(x); }, [](COMPLEX z) { return std::tan(z); }, everywhere);
}
EVAL_STATUS apply_asin(VALUE *a, std::uint64_t &) {
  return elementary(
      a[0], [](double x) { return std::asin(x); }, [](COMPLEX z) { return std::asin(z); }, within_one);
}
EVAL_STATUS apply_acos(VALUE *a, std::uint64_t &) {
  return elementary(
      a[0], [](double x) { return std::acos(x); }, [](COMPLEX z) { return std::acos(z); }, within_one);
}
EVAL_STATUS apply_atan(VALUE *a, std::uint64_t &) {
  return elementary(
      a[0], [](double x) { return std::atan(x); }, [](COMPLEX z) { return std::atan(z); }, everywhere);
}
EVAL_STATUS apply_sinh(VALUE *a, std::uint64_t &) {
  return elementary(
      a[0], [](double x) { return std::sinh(x); }, [](COMPLEX z) { return std::sinh(z); }, everywhere);
}
EVAL_STATUS apply_cosh(VALUE *a, std::uint64_t &) {
  return elementary(
      a[0], [](double x) { return std::cosh(x); }, [](COMPLEX z) { return std::cosh(z); }, everywhere);
}
EVAL_STATUS apply_tanh(VALUE *a, std::uint64_t &) {
  return elementary(
      a[0], [](double x) { return std::tanh(x); }, [](COMPLEX z) { return std::tanh(z); }, everywhere);
}
EVAL_STATUS apply_asinh(VALUE *a, std::uint64_t &) {
  return elementary(
      a[0], [](double x) { return std::asinh(x); }, [](COMPLEX z) { return std::asinh(z); }, everywhere);
}
EVAL_STATUS apply_acosh(VALUE *a, std::uint64_t &) {
  return elementary(
      a[0], [](double x) { return std::acosh(x); }, [](COMPLEX z) { return std::acosh(z); }, at_least_one);
}
EVAL_STATUS apply_atanh(VALUE *a, std::uint64_t &) {
  return elementary(
      a[0], [](double x) { return std::atanh(x); }, [](COMPLEX z) { return std::atanh(z); }, within_one);
}
EVAL_STATUS apply_sqrt(VALUE *a, std::uint64_t &) {
  return elementary(
      a[0], [](double x) { return std::sqrt(x); }, [](COMPLEX z) { return std::sqrt(z); }, not_negative);
}
EVAL_STATUS apply_exp(VALUE *a, std::uint64_t &) {
  return elementary(
      a[0], [](double x) { return std::exp(x); }, [](COMPLEX z) { return std::exp(z); }, everywhere);
}
EVAL_STATUS apply_log10(VALUE *a, std::uint64_t &) {
  return elementary(
      a[0], [](double x) { return std::log10(x); }, [](COMPLEX z) { return std::log10(z); }, not_negative);
}
EVAL_STATUS apply_log(VALUE *a, std::uint64_t &) {
  return elementary(
      a[0], [](double x) { return std::log(x); }, [](COMPLEX z) { return std::log(z); }, not_negative);
}

// atan2(y, x); for complex arguments the analytic continuation -i log((x + i y) / sqrt(x^2 + y^2)).
EVAL_STATUS apply_atan2(VALUE *a, std::uint64_t &) {
  if (!is_known_type(a[0]) || !is_known_type(a[1])) return unknown_type;
  if (a[0].imag == 0.0 && a[1].imag == 0.0) {
    set_real(a[0], std::atan2(a[0].real, a[1].real));
    return ok;
  }
  const COMPLEX y(a[0].real, a[0].imag);
  const COMPLEX x(a[1].real, a[1].imag);
  const COMPLEX angle = COMPLEX(0.0, -1.0) * std::log((x + COMPLEX(0.0, 1.0) * y) / std::sqrt(x * x + y * y));
  set_complex(a[0], angle.real(), angle.imag());
  return ok;
}

EVAL_STATUS apply_abs(VALUE *a, std::uint64_t &) {
  VALUE &v = a[0];
  if (!is_known_type(v)) return unknown_type;
  if (v.type == INTGR && v.integer != std::numeric_limits<std::int64_t>::min())
    set_integer(v, v.integer < 0 ? -v.integer : v.integer);
  else
    set_real(v, v.imag == 0.0 ? std::fabs(v.real) : std::hypot(v.real, v.imag));
  return ok;
}

EVAL_STATUS apply_sgn(VALUE *a, std::uint64_t &) {
  if (!is_known_type(a[0])) return unknown_type;
  set_integer(a[0], (a[0].real > 0.0) - (a[0].real < 0.0));
  return ok;
}

EVAL_STATUS apply_besj0(VALUE *a, std::uint64_t &) {
  return bessel(a[0], [](double x) { return ::j0(x); });
}
EVAL_STATUS apply_besj1(VALUE *a, std::uint64_t &) {
  return bessel(a[0], [](double x) { return ::j1(x); });
}
EVAL_STATUS apply_besy0(VALUE *a, std::uint64_t &) {
  return bessel(a[0], [](double x) { return ::y0(x); });
}
EVAL_STATUS apply_besy1(VALUE *a, std::uint64_t &) {
  return bessel(a[0], [](double x) { return ::y1(x); });
}
EVAL_STATUS apply_erf(VALUE *a, std::uint64_t &) {
  return of_real_part(a[0], [](double x) { return std::erf(x); });
}
EVAL_STATUS apply_erfc(VALUE *a, std::uint64_t &) {
  return of_real_part(a[0], [](double x) { return std::erfc(x); });
}
EVAL_STATUS apply_gamma(VALUE *a, std::uint64_t &) {
  return of_real_part(a[0], [](double x) { return std::tgamma(x); });
}
EVAL_STATUS apply_lgamma(VALUE *a, std::uint64_t &) {
  return of_real_part(a[0], [](double x) { return std::lgamma(x); });
}

// ibeta(a, b, x): the regularised incomplete beta function I_x(a, b).
EVAL_STATUS apply_ibeta(VALUE *a, std::uint64_t &) {
  if (!is_known_type(a[0]) || !is_known_type(a[1]) || !is_known_type(a[2])) return unknown_type;
  set_real(a[0], regularized_incomplete_beta(a[0].real, a[1].real, a[2].real));
  return ok;
}

// igamma(a, x): the regularised lower incomplete gamma function P(a, x).
EVAL_STATUS apply_igamma(VALUE *a, std::uint64_t &) {
  if (!is_known_type(a[0]) || !is_known_type(a[1])) return unknown_type;
  set_real(a[0], regularized_lower_gamma(a[0].real, a[1].real));
  return ok;
}

// One step of the splitmix64 generator (Steele, Lea and Flood 2014).
std::uint64_t next_random(std::uint64_t &state) {
  state += 0x9e3779b97f4a7c15ULL;
  std::uint64_t z = state;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
  return z ^ (z >> 31);
}

// rand(0): the next number of [0, 1); rand(s) with s > 0: reseeds with s, then the next number;
// rand(s) with s < 0: back to the starting seed, giving 0.
EVAL_STATUS apply_rand(VALUE *a, std::uint64_t &random_state) {
  if (!is_known_type(a[0])) return unknown_type;
  const double seed = a[0].real;
  if (seed < 0.0) {
    random_state = default_random_seed;
    set_integer(a[0], 0);
    return ok;
  }
  if (seed > 0.0) random_state = default_random_seed ^ std::bit_cast<std::uint64_t>(seed);
  set_real(a[0], static_cast<double>(next_random(random_state) >> 11) * 0x1.0p-53);
  return ok;
}

EVAL_STATUS apply_floor(VALUE *a, std::uint64_t &) {
  if (!is_known_type(a[0])) return unknown_type;
  set_whole(a[0], std::floor(a[0].real));
  return ok;
}
EVAL_STATUS apply_ceil(VALUE *a, std::uint64_t &) {
  if (!is_known_type(a[0])) return unknown_type;
  set_whole(a[0], std::ceil(a[0].real));
  return ok;
}
EVAL_STATUS apply_real(VALUE *a, std::uint64_t &) {
  if (!is_known_type(a[0])) return unknown_type;
  set_real(a[0], a[0].real);
  return ok;
}
EVAL_STATUS apply_imag(VALUE *a, std::uint64_t &) {
  if (!is_known_type(a[0])) return unknown_type;
  set_real(a[0], a[0].imag);
  return ok;
}
EVAL_STATUS apply_angle(VALUE *a, std::uint64_t &) {
  if (!is_known_type(a[0])) return unknown_type;
  set_real(a[0], std::atan2(a[0].imag, a[0].real));
  return ok;
}
EVAL_STATUS apply_magnitude(VALUE *a, std::uint64_t &) {
  if (!is_known_type(a[0])) return unknown_type;
  set_real(a[0], std::hypot(a[0].real, a[0].imag));
  return ok;
}

constexpr BUILTIN_FUNCTION builtin_table[] = {
    {.name = "sin", .action = ACTION::sin, .no_arguments = 1, .apply = apply_sin},
    {.name = "cos", .action = ACTION::cos, .no_arguments = 1, .apply = apply_cos},
    {.name = "tan", .action = ACTION::tan, .no_arguments = 1, .apply = apply_tan},
    {.name = "asin", .action = ACTION::asin, .no_arguments = 1, .apply = apply_asin},
    {.name = "acos", .action = ACTION::acos, .no_arguments = 1, .apply = apply_acos},
    {.name = "atan", .action = ACTION::atan, .no_arguments = 1, .apply = apply_atan},
    {.name = "atan2", .action = ACTION::atan2, .no_arguments = 2, .apply = apply_atan2},
    {.name = "sinh", .action = ACTION::sinh, .no_arguments = 1, .apply = apply_sinh},
    {.name = "cosh", .action = ACTION::cosh, .no_arguments = 1, .apply = apply_cosh},
    {.name = "tanh", .action = ACTION::tanh, .no_arguments = 1, .apply = apply_tanh},
    {.name = "asinh", .action = ACTION::asinh, .no_arguments = 1, .apply = apply_asinh},
    {.name = "acosh", .action = ACTION::acosh, .no_arguments = 1, .apply = apply_acosh},
    {.name = "atanh", .action = ACTION::atanh, .no_arguments = 1, .apply = apply_atanh},
    {.name = "abs", .action = ACTION::abs, .no_arguments = 1, .apply = apply_abs},
    {.name = "sgn", .action = ACTION::sgn, .no_arguments = 1, .apply = apply_sgn},
    {.name = "sqrt", .action = ACTION::sqrt, .no_arguments = 1, .apply = apply_sqrt},
    {.name = "exp", .action = ACTION::exp, .no_arguments = 1, .apply = apply_exp},
    {.name = "log10", .action = ACTION::log10, .no_arguments = 1, .apply = apply_log10},
    {.name = "log", .action = ACTION::log, .no_arguments = 1, .apply = apply_log},
    {.name = "besj0", .action = ACTION::besj0, .no_arguments = 1, .apply = apply_besj0},
    {.name = "besj1", .action = ACTION::besj1, .no_arguments = 1, .apply = apply_besj1},
    {.name = "besy0", .action = ACTION::besy0, .no_arguments = 1, .apply = apply_besy0},
    {.name = "besy1", .action = ACTION::besy1, .no_arguments = 1, .apply = apply_besy1},
    {.name = "erf", .action = ACTION::erf, .no_arguments = 1, .apply = apply_erf},
    {.name = "erfc", .action = ACTION::erfc, .no_arguments = 1, .apply = apply_erfc},
    {.name = "gamma", .action = ACTION::gamma, .no_arguments = 1, .apply = apply_gamma},
    {.name = "lgamma", .action = ACTION::lgamma, .no_arguments = 1, .apply = apply_lgamma},
    {.name = "ibeta", .action = ACTION::ibeta, .no_arguments = 3, .apply = apply_ibeta},
    {.name = "igamma", .action = ACTION::igamma, .no_arguments = 2, .apply = apply_igamma},
    {.name = "rand", .action = ACTION::rand, .no_arguments = 1, .apply = apply_rand},
    {.name = "floor", .action = ACTION::floor, .no_arguments = 1, .apply = apply_floor},
    {.name = "ceil", .action = ACTION::ceil, .no_arguments = 1, .apply = apply_ceil},
    {.name = "real", .action = ACTION::real, .no_arguments = 1, .apply = apply_real},
    {.name = "imag", .action = ACTION::imag, .no_arguments = 1, .apply = apply_imag},
    {.name = "angle", .action = ACTION::angle, .no_arguments = 1, .apply = apply_angle},
    {.name = "magnitude", .action = ACTION::magnitude, .no_arguments = 1, .apply = apply_magnitude},
};

constexpr int first_builtin = static_cast<int>(ACTION::sin);

// Row k carries action sin + k, so builtin_of can index; every row has its operation.
consteval bool builtin_table_follows_actions() {
  if (std::size(builtin_table) != static_cast<std::size_t>(no_actions - first_builtin)) return false;
  for (std::size_t k = 0; k < std::size(builtin_table); ++k) {
    const BUILTIN_FUNCTION &row = builtin_table[k];
    if (static_cast<int>(row.action) != first_builtin + static_cast<int>(k)) return false;
    if (!row.apply || row.no_arguments < 1 || row.name.empty()) return false;
  }
  return true;
}
static_assert(builtin_table_follows_actions());

} // namespace

std::span<const BUILTIN_FUNCTION> builtin_functions() { return builtin_table; }

const BUILTIN_FUNCTION *find_builtin(std::string_view name) {
  for (const BUILTIN_FUNCTION &row : builtin_table)
    if (row.name == name) return &row;
  return nullptr;
}

const BUILTIN_FUNCTION &builtin_of(ACTION action) {
  return builtin_table[static_cast<int>(action) - first_builtin];
}

} // namespace tesmora
