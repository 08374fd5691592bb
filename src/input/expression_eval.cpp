// Expression parser: the stack machine that evaluates action tables, its arithmetic, and the
// printing of values.
//
// Arithmetic keeps integers exact while it can: +, -, *, % and ** of two integers (with a
// non-negative exponent) give an integer unless the result overflows 64 bits, when it is real.
// "/" gives the true quotient: an integer when the division is exact, else a real (7/2 is 3.5).
// Division by zero follows IEEE arithmetic (1/0 is inf, 1%0 is nan). A real number raised to a
// non-integer power is complex where the base is negative (principal value).
#include "input/expression_internal.hpp"

#include "job/report.hpp"

#include <cmath>
#include <complex>
#include <cstdio>
#include <limits>
#include <string>

namespace tesmora {
namespace {

using COMPLEX = std::complex<double>;
constexpr std::int64_t smallest_integer = std::numeric_limits<std::int64_t>::min();

constexpr std::string_view action_names[] = {
    "pushd1", "pushd2", "pushd", "pushc", "pushv", "pushx", "call",      "calln", "uminus",
    "plus",   "minus",  "mult",  "div",   "mod",   "power", "factorial", "sin",   "cos",
    "tan",    "asin",   "acos",  "atan",  "atan2", "sinh",  "cosh",      "tanh",  "asinh",
    "acosh",  "atanh",  "abs",   "sgn",   "sqrt",  "exp",   "log10",     "log",   "besj0",
    "besj1",  "besy0",  "besy1", "erf",   "erfc",  "gamma", "lgamma",    "ibeta", "igamma",
    "rand",   "floor",  "ceil",  "real",  "imag",  "angle", "magnitude"};
static_assert(std::size(action_names) == no_actions);

[[noreturn]] void evaluation_error(const std::string &text, const char *definition, int position) {
  parser_error(evaluation_error_header + text, definition, position);
}

[[noreturn]] void stack_not_empty(const char *definition, int position) {
  parser_error("Parser error:  internal error--stack not empty for:\n\t\t" + std::string(definition) +
                   "\n (function called with too many parameters ?)",
               definition, position);
}

void warn_type_error(const char *definition) {
  write_fault("Parser warning: Internal error : \n\t\t\t%s Variable type error. Possibly fatal. \n",
              definition);
}

bool has_bad_type(const VALUE &a, const VALUE &b) {
  return (static_cast<unsigned>(a.type) | static_cast<unsigned>(b.type)) > 1u;
}

void set_from(VALUE &value, COMPLEX z) { set_complex(value, z.real(), z.imag()); }

void negate(VALUE &a) {
  if (a.type == INTGR && a.integer != smallest_integer)
    set_integer(a, -a.integer);
  else
    set_complex(a, -a.real, -a.imag);
}

void add(VALUE &a, const VALUE &b) {
  std::int64_t n = 0;
  if (a.type == INTGR && b.type == INTGR && !__builtin_add_overflow(a.integer, b.integer, &n))
    set_integer(a, n);
  else
    set_complex(a, a.real + b.real, a.imag + b.imag);
}

void subtract(VALUE &a, const VALUE &b) {
  std::int64_t n = 0;
  if (a.type == INTGR && b.type == INTGR && !__builtin_sub_overflow(a.integer, b.integer, &n))
    set_integer(a, n);
  else
    set_complex(a, a.real - b.real, a.imag - b.imag);
}

void multiply(VALUE &a, const VALUE &b) {
  std::int64_t n = 0;
  if (a.type == INTGR && b.type == INTGR && !__builtin_mul_overflow(a.integer, b.integer, &n))
    set_integer(a, n);
  else if (a.imag == 0.0 && b.imag == 0.0)
    set_real(a, a.real * b.real);
  else
    set_from(a, COMPLEX(a.real, a.imag) * COMPLEX(b.real, b.imag));
}

void divide(VALUE &a, const VALUE &b) {
  if (a.type == INTGR && b.type == INTGR && b.integer != 0 &&
      !(b.integer == -1 && a.integer == smallest_integer) && a.integer % b.integer == 0)
    set_integer(a, a.integer / b.integer);
  else if (a.imag == 0.0 && b.imag == 0.0)
    set_real(a, a.real / b.real);
  else
    set_from(a, COMPLEX(a.real, a.imag) / COMPLEX(b.real, b.imag));
}

// The remainder takes the sign of the dividend; reals (and real parts of complex numbers) by fmod.
void modulo(VALUE &a, const VALUE &b) {
  if (a.type == INTGR && b.type == INTGR && b.integer != 0)
    set_integer(a, b.integer == -1 ? 0 : a.integer % b.integer);
  else
    set_real(a, std::fmod(a.real, b.real));
}

// base**exponent for integers by repeated squaring; false on overflow.
bool integer_power(std::int64_t base, std::int64_t exponent, std::int64_t &result) {
  result = 1;
  while (exponent > 0) {
    if ((exponent & 1) && __builtin_mul_overflow(result, base, &result)) return false;
    exponent >>= 1;
    if (exponent > 0 && __builtin_mul_overflow(base, base, &base)) return false;
  }
  return true;
}

// Small integer powers by products (t**2 is t*t, exactly rounded); the others by pow.
double real_integer_power(double x, std::int64_t n) {
  switch (n) {
  case 0:
    return 1.0;
  case 1:
    return x;
  case 2:
    return x * x;
  case 3:
    return x * x * x;
  default:
    return std::pow(x, static_cast<double>(n));
  }
}

COMPLEX complex_integer_power(COMPLEX z, std::int64_t n) {
  std::uint64_t m = n < 0 ? 0 - static_cast<std::uint64_t>(n) : static_cast<std::uint64_t>(n);
  COMPLEX result = 1.0;
  for (COMPLEX factor = z; m != 0; m >>= 1) {
    if (m & 1) result *= factor;
    factor *= factor;
  }
  return n < 0 ? 1.0 / result : result;
}

void raise(VALUE &a, const VALUE &b) {
  if (b.type == INTGR) {
    std::int64_t n = 0;
    if (a.type == INTGR && b.integer >= 0 && integer_power(a.integer, b.integer, n))
      set_integer(a, n);
    else if (a.imag == 0.0)
      set_real(a, real_integer_power(a.real, b.integer));
    else
      set_from(a, complex_integer_power(COMPLEX(a.real, a.imag), b.integer));
  } else if (a.imag == 0.0 && b.imag == 0.0 && (a.real >= 0.0 || b.real == std::floor(b.real))) {
    set_real(a, std::pow(a.real, b.real));
  } else if (a.real == 0.0 && a.imag == 0.0) {
    const bool unit = b.real == 0.0 && b.imag == 0.0;
    set_real(a, unit ? 1.0 : b.real > 0.0 ? 0.0 : std::numeric_limits<double>::infinity());
  } else {
    set_from(a, std::pow(COMPLEX(a.real, a.imag), COMPLEX(b.real, b.imag)));
  }
}

// n! exactly for integers up to 20; otherwise gamma(x + 1) of the real part.
void factorial(VALUE &a) {
  if (a.type == INTGR && a.integer >= 0 && a.integer <= 20) {
    std::int64_t product = 1;
    for (std::int64_t k = 2; k <= a.integer; ++k) product *= k;
    set_integer(a, product);
  } else {
    set_real(a, std::tgamma(a.real + 1.0));
  }
}

int apply_builtin(const AT_ENTRY &entry, const char *definition, int top, PARSER_STATE &state) {
  const BUILTIN_FUNCTION &builtin = builtin_of(entry.action);
  top -= builtin.no_arguments - 1;
  const EVAL_STATUS status = builtin.apply(state.stack + top - 1, state.random_state);
  if (status == EVAL_STATUS::complex_bessel)
    evaluation_error("Can only do Bessel functions of reals.", definition, entry.position);
  if (status == EVAL_STATUS::unknown_type) {
    const std::string name(builtin.name);
    parser_error("*** Parser error: Error when evaluating function '" + name +
                     "' in:\n\t\t\tUnknown type in " + name + "().",
                 definition, entry.position);
  }
  return top;
}

int call_user_function(const AT_ENTRY &entry, const char *definition, int top, PARSER_STATE &state) {
  const UDFT_ENTRY &callee = *entry.udf;
  if (!callee.at)
    evaluation_error("Undefined function: " + std::string(callee.name), definition, entry.position);
  if (entry.index < callee.no_variables)
    evaluation_error("Stack underflow (function call with missing parameters ?)", definition, entry.position);
  if (entry.index > callee.no_variables) stack_not_empty(definition, entry.position);
  return run_user_function(callee, top - entry.index, state);
}

bool is_inside_ranges(const RANGE_DEFS &defs, const VALUE *arguments) {
  for (int r = 0; r < defs.no_ranges; ++r) {
    const RANGE_DEF &range = *defs.range_def[r];
    const double x = arguments[range.variable_index].real;
    if (x < range.lower || x > range.upper) return false;
  }
  return true;
}

[[noreturn]] void stack_overflow(const char *definition, int position) {
  evaluation_error("Stack overflow !", definition, position);
}

// Binary operations: pop b, leave a (op) b in a.
int apply_binary(ACTION action, const char *definition, int top, VALUE *stack) {
  VALUE &a = stack[top - 2];
  const VALUE &b = stack[top - 1];
  if (has_bad_type(a, b)) [[unlikely]]
    warn_type_error(definition);
  switch (action) {
  case ACTION::plus:
    add(a, b);
    break;
  case ACTION::minus:
    subtract(a, b);
    break;
  case ACTION::mult:
    multiply(a, b);
    break;
  case ACTION::div:
    divide(a, b);
    break;
  case ACTION::mod:
    modulo(a, b);
    break;
  default:
    raise(a, b);
    break;
  }
  return top - 1;
}

} // namespace

int run_actions(const AT_ENTRY *actions, int no_actions, const char *definition, int frame, int top,
                PARSER_STATE &state) {
  VALUE *const stack = state.stack;
  const AT_ENTRY *const end = actions + no_actions;
  for (const AT_ENTRY *entry = actions; entry != end; ++entry) {
    const ACTION action = entry->action;
    if (action <= ACTION::pushx && top == value_stack_size) [[unlikely]]
      stack_overflow(definition, entry->position);
    switch (action) {
    case ACTION::pushd1:
      stack[top++] = stack[frame];
      break;
    case ACTION::pushd2:
      stack[top++] = stack[frame + 1];
      break;
    case ACTION::pushd:
      stack[top++] = stack[frame + entry->index];
      break;
    case ACTION::pushc:
      stack[top++] = entry->value;
      break;
    case ACTION::pushv:
      if (entry->udv->is_undefined)
        evaluation_error("Undefined variable: " + std::string(entry->udv->name), definition, entry->position);
      stack[top++] = entry->udv->value;
      break;
    case ACTION::pushx:
      set_real(stack[top++], *entry->ext);
      break;
    case ACTION::call:
    case ACTION::calln:
      top = call_user_function(*entry, definition, top, state);
      break;
    case ACTION::uminus:
    case ACTION::factorial:
      if (!is_known_type(stack[top - 1])) [[unlikely]]
        warn_type_error(definition);
      if (action == ACTION::uminus)
        negate(stack[top - 1]);
      else
        factorial(stack[top - 1]);
      break;
    case ACTION::plus:
    case ACTION::minus:
    case ACTION::mult:
    case ACTION::div:
    case ACTION::mod:
    case ACTION::power:
      top = apply_binary(action, definition, top, stack);
      break;
    default:
      top = apply_builtin(*entry, definition, top, state);
      break;
    }
  }
  return top;
}

int run_user_function(const UDFT_ENTRY &function, int frame, PARSER_STATE &state) {
  VALUE *const stack = state.stack;
  if (function.range_defs && !is_inside_ranges(*function.range_defs, stack + frame)) {
    set_integer(stack[frame], 0); // a function is 0 outside its ranges
    return frame + 1;
  }
  const int start = frame + function.no_variables;
  const int top =
      run_actions(function.at->actions, function.at->no_actions, function.definition, frame, start, state);
  if (top != start + 1) stack_not_empty(function.definition, 1); // a compiled table leaves one value
  stack[frame] = stack[top - 1];
  return frame + 1;
}

double evaluate_function(const PARSED_FUNCTION *parsed, VALUE *result, const double *variable_values) {
  PARSER_STATE &state = parser_state();
  VALUE value;
  if (const UDFT_ENTRY *function = parsed->function) {
    for (int k = 0; k < function->no_variables; ++k)
      set_real(state.stack[k], variable_values[parsed->variable_index[k]]);
    run_user_function(*function, 0, state);
    value = state.stack[0];
  } else {
    set_integer(value, 0);
  }
  if (result) *result = value;
  return value.real;
}

void write_value(std::FILE *stream, const VALUE &value) {
  char real_text[32];
  std::snprintf(real_text, sizeof real_text, "%.15g", value.real);
  if (value.type == CMPLX && value.imag != 0.0) {
    char imag_text[32];
    std::snprintf(imag_text, sizeof imag_text, "%.15g", value.imag);
    write_report(stream, "{%s, %s}", real_text, imag_text);
  } else {
    write_report(stream, "%s", real_text);
  }
}

void write_user_variable(std::FILE *stream, const UDVT_ENTRY &variable) {
  if (variable.is_undefined) {
    write_report(stream, "(undefined)\n");
    return;
  }
  write_value(stream, variable.value);
  write_report(stream, "\n");
}

std::string_view action_name(ACTION action) { return action_names[static_cast<int>(action)]; }

} // namespace tesmora
