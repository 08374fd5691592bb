// Expression parser: user formulas of the input file, compiled into action tables and evaluated.
//
// A definition block is read from a card file up to a line holding ";;". It holds definitions
// separated by ";": user variables ("a = 2*PI*50") and user functions ("f(t) = a*sin(t)"), a
// function optionally preceded by ranges of validity ("[t = 0 : 1] f(t) = ..."). Each function
// is compiled once into an action table in reverse Polish order; a stack machine on a stack of
// 100 preallocated values evaluates it without allocating. Variables and functions stay in two
// process-wide lists until the end of the run, so a later block may use what an earlier one
// defined.
//
// Binding: a compiled table points straight at the entries it uses. Redefining a name that is
// already defined makes a new entry, so tables compiled before keep the old meaning; a name
// used before any definition gets an undefined entry that its first definition fills, which is
// how a forward reference resolves (and fails at run time while still undefined).
//
// In a function's formula a name stands for, in this order: one of the function's variables, an
// extern variable of the block, a user variable. A function is 0 wherever one of its arguments
// lies outside its range. A function name keeps its number of variables for the whole run.
//
// Evaluation shares one stack: it isn't reentrant and stays on the main thread.
#pragma once

#include "job/ffile.hpp"

#include <cstdint>
#include <cstdio>
#include <span>
#include <string_view>

namespace tesmora {

inline constexpr int max_name_length = 50;        // characters of a variable or function name
inline constexpr int max_function_variables = 12; // variables of one user function
inline constexpr int value_stack_size = 100;      // values on the evaluation stack
inline constexpr int max_tokens = 400;            // tokens of one definition
inline constexpr int equation_size = 1000;        // the joined text of a block, with its NUL
inline constexpr int definition_line_size = 200;  // characters of one line of a block
inline constexpr int max_definition_lines = 50;   // lines of one block, comment lines not counted

// Type tag of a VALUE. Zeroed memory is the integer 0.
enum VALUE_TYPE : int { INTGR = 0, CMPLX = 1 };

// A tagged number. Whatever the type, `real` and `imag` hold the number (an integer has its
// value in `real` and 0 in `imag`), so mixed arithmetic needs no conversion; `integer` is the
// exact value of an INTGR. A real number is a CMPLX with `imag` 0.
struct VALUE {
  int type;             // INTGR or CMPLX
  std::int64_t integer; // exact value when type is INTGR
  double real;
  double imag;
};

// One user-defined variable (tag "UDVT_ENTRY"); the list starts with "PI".
struct UDVT_ENTRY {
  UDVT_ENTRY *next;
  char name[max_name_length + 1];
  int is_undefined; // 1 while only used, not yet defined
  VALUE value;
};

// The actions of the machine, in table order: the machine's own first, then the built-in
// functions by the names the user writes. pushd1, pushd2 and pushd push an argument of the
// function being evaluated; pushc pushes a constant, pushv a user variable, pushx an extern
// variable; call runs a user function of one variable, calln one of several.
// clang-format off
enum class ACTION : int {
  pushd1, pushd2, pushd, pushc, pushv, pushx, call, calln,
  uminus, plus, minus, mult, div, mod, power, factorial,
  sin, cos, tan, asin, acos, atan, atan2, sinh, cosh, tanh, asinh, acosh, atanh,
  abs, sgn, sqrt, exp, log10, log, besj0, besj1, besy0, besy1, erf, erfc, gamma, lgamma,
  ibeta, igamma, rand, floor, ceil, real, imag, angle, magnitude
};
// clang-format on
inline constexpr int no_actions = static_cast<int>(ACTION::magnitude) + 1;

struct UDFT_ENTRY;

// One action with its argument (tag "AT_ENTRY").
struct AT_ENTRY {
  ACTION action;
  int position; // 1-based position in the definition of the token that made it, for messages
  int index;    // pushd: 0-based argument index; call, calln: number of arguments written
  union {
    VALUE value;       // pushc
    UDVT_ENTRY *udv;   // pushv
    UDFT_ENTRY *udf;   // call, calln
    const double *ext; // pushx: the caller's value
  };
};

// A compiled table (record tag "udft->at"; entries tag "AT_ENTRY in perm_at").
struct AT_TABLE {
  int no_actions;
  AT_ENTRY *actions; // 0-based, no_actions long
};

// A range of validity of a function's variable (tag "RANGE_DEF"): outside it the function is 0.
struct RANGE_DEF {
  char variable;      // 'x', 'y', 'z' or 't'
  int variable_index; // 0-based position of that variable among the function's variables
  double lower;
  double upper;
};

// The ranges of one function (tag "RANGE_DEFS"; the pointer array "*(defs->range_def+i)").
struct RANGE_DEFS {
  int no_ranges;
  RANGE_DEF **range_def; // 0-based, no_ranges long
};

// One user-defined function (tag "UDFT_ENTRY").
struct UDFT_ENTRY {
  UDFT_ENTRY *next;
  char *definition; // the definition's text (tag "udft->definition"), null while undefined
  AT_TABLE *at;     // null while only called, not yet defined
  char name[max_name_length + 1];
  int no_variables;
  char variable_names[max_function_variables][max_name_length + 1]; // 0-based
  RANGE_DEFS *range_defs;                                           // null without ranges
  int is_composed;                                                  // 1 once another definition calls it
};

// The extern variables of one block (tag "EXT_VARS"): names copied, values owned by the caller.
struct EXT_VARS {
  int no_externs;
  char (*names)[max_name_length + 1]; // 0-based, no_externs long (tag "EXT_VARS->names")
  const double *values;               // 0-based, no_externs long; must outlive every evaluation
};

// What parse_functions returns (tag "PARSED_FUNCTION"): an opaque handle for the caller.
struct PARSED_FUNCTION {
  const UDFT_ENTRY *function;                 // the LAST function defined in the block; null if none was
  int variable_index[max_function_variables]; // for each of its variables, the 0-based index
                                              // of the caller's variable name it stands for
  EXT_VARS *externs;                          // null without externs
};

// Reads one definition block from the card file (lines are counted in ffile->record_count,
// nothing is echoed), compiles every definition in it and returns the handle of the last
// function defined. `variable_names` are the names a function's variables may take ({"t"} for
// a time evolution, {"x", "y", "z", "t"} for a space function); a function may use any of them
// in any order. `extern_names` name the caller's values `extern_values`, which the formulas may
// read by name; the values must live as long as the functions are evaluated. Every fault ends
// the job with the parser's message.
PARSED_FUNCTION *parse_functions(FFILE *ffile, std::span<const char *const> variable_names,
                                 const char *const *extern_names, const double *extern_values,
                                 int no_externs);

// Evaluates the parsed function at `variable_values`, given in the order of the names passed to
// parse_functions. Returns the real part; the full value goes to `result` when it isn't null. A
// handle without a function gives the integer 0. No allocation; not reentrant.
double evaluate_function(const PARSED_FUNCTION *parsed, VALUE *result, const double *variable_values);

// Frees a handle (the functions it points at stay in the process-wide list).
void delete_parsed_function(PARSED_FUNCTION *parsed);

// Frees the block buffer (tag "equation in parser") once the input has been read.
void free_parser();

// Frees every table of the parser: stack, variables, functions, buffer. Every handle becomes
// invalid; the next parse starts afresh with only "PI". For the end of a run and for tests.
void free_parser_tables();

// The current (last defined or used) entry of a name, or null.
UDVT_ENTRY *find_user_variable(const char *name);
UDFT_ENTRY *find_user_function(const char *name);

// Prints a value: "%.15g", or "{%s, %s}" with both parts when the imaginary part isn't 0.
void write_value(std::FILE *stream, const VALUE &value);
// Prints a variable's value and a newline, or "(undefined)\n".
void write_user_variable(std::FILE *stream, const UDVT_ENTRY &variable);

// The name of an action as a table dump shows it ("pushd1", "plus", "sin", ...).
std::string_view action_name(ACTION action);

} // namespace tesmora
