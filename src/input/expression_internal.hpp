// Expression parser, inside: shared state, the tokeniser, the machine and the built-in table.
//
// Only the expression_*.cpp files include this header; the rest of the program sees
// input/expression_parser.hpp.
#pragma once

#include "input/expression_parser.hpp"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tesmora {

// The process-wide state of the parser. The machine shares the stack; evaluation isn't
// reentrant.
struct PARSER_STATE {
  VALUE *stack = nullptr; // value_stack_size values (tag "VALUE"), made by the first parse
  UDVT_ENTRY *first_udv = nullptr;
  UDVT_ENTRY *last_udv = nullptr;
  UDFT_ENTRY *first_udf = nullptr;
  UDFT_ENTRY *last_udf = nullptr;
  char *equation = nullptr;       // equation_size characters (tag "equation in parser")
  std::uint64_t random_state = 0; // state of rand()
};

PARSER_STATE &parser_state();

// One token of a definition (tag "LEXICAL_UNIT"); its text is line.text[start .. start+length).
struct LEXICAL_UNIT {
  int is_token; // 1 for a word or an operator, 0 for a number
  VALUE value;  // a number's value
  int start;    // 0-based offset in the definition
  int length;
};

// The definition being compiled: its text, its tokens and the working action table.
struct PARSE_LINE {
  char *text = nullptr;          // the definition, NUL-terminated (tag "line->text")
  LEXICAL_UNIT *token = nullptr; // max_tokens tokens, 0-based
  int no_tokens = 0;
  int current = 0;             // next token to take
  AT_ENTRY *temp_at = nullptr; // max_tokens actions (tag "AT_TYPE in temp_at")
  int no_actions = 0;
};

// Writes the text, a tab-indented copy of the definition and "\n At position: %d " to the check
// and stderr files and stops the job. A null definition leaves out the copy and the position.
[[noreturn]] void parser_error(const std::string &text, const char *definition, int position);
// Writes "*** Parser warning: At entry: \n\t\t\t", the definition and the text; the job goes on.
void parser_warning(const std::string &text, const char *definition);

// The header of the messages of the machine.
inline constexpr const char *evaluation_error_header =
    "*** Parser error: Error in evaluating parsed function definition:\n";

// Reads a block into `equation` (equation_size characters): lines up to the one holding ";;",
// lines starting with "*" skipped (the rest of a line longer than definition_line_size, read as
// a line of its own, is never taken for a comment), each line's leading white space and newline
// dropped, the comments between "#" removed.
void read_definition_block(FFILE *ffile, char *equation);

// Splits line.text into tokens.
void tokenise_definition(PARSE_LINE &line);

// The text of token i.
std::string_view token_text(const PARSE_LINE &line, int i);

// Runs `actions` on the stack, whose top is `top` (number of values on it), with the arguments
// of the function being evaluated from stack[frame]. Returns the new top.
int run_actions(const AT_ENTRY *actions, int no_actions, const char *definition, int frame, int top,
                PARSER_STATE &state);

// Runs a user function whose arguments stand at stack[frame ..]; leaves its value at
// stack[frame] and returns frame + 1.
int run_user_function(const UDFT_ENTRY &function, int frame, PARSER_STATE &state);

// Result of a built-in function.
enum class EVAL_STATUS { ok, unknown_type, complex_bessel };

// One built-in function: the name the user writes, its action, how many arguments it takes, and
// the operation, which reads arguments[0 .. no_arguments-1] and leaves the result in arguments[0].
struct BUILTIN_FUNCTION {
  std::string_view name;
  ACTION action;
  int no_arguments;
  EVAL_STATUS (*apply)(VALUE *arguments, std::uint64_t &random_state);
};

std::span<const BUILTIN_FUNCTION> builtin_functions();
// The built-in of that name, or null.
const BUILTIN_FUNCTION *find_builtin(std::string_view name);
// The built-in that carries an action from ACTION::sin on.
const BUILTIN_FUNCTION &builtin_of(ACTION action);

// Seed of rand() at the start and after rand of a negative number.
inline constexpr std::uint64_t default_random_seed = 0x853c49e6748fea9bULL;

// Value helpers shared by the machine and the built-ins.
inline void set_integer(VALUE &value, std::int64_t n) {
  value.type = INTGR;
  value.integer = n;
  value.real = static_cast<double>(n);
  value.imag = 0.0;
}
inline void set_complex(VALUE &value, double real, double imag) {
  value.type = CMPLX;
  value.integer = 0;
  value.real = real;
  value.imag = imag;
}
inline void set_real(VALUE &value, double real) { set_complex(value, real, 0.0); }
inline bool is_known_type(const VALUE &value) { return value.type == INTGR || value.type == CMPLX; }

// Incomplete beta and gamma functions, regularised (used by ibeta and igamma; tested directly).
double regularized_incomplete_beta(double a, double b, double x);
double regularized_lower_gamma(double a, double x);

} // namespace tesmora
