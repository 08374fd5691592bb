// Expression parser: the grammar, compiled by recursive descent into action tables, and the
// definitions of variables, functions and ranges.
//
// Precedence from low to high: "+" "-"; "*" "/" "%"; unary "-" (and "+"); "**", which binds to
// the right (2**3**2 is 2**9) and takes a signed exponent (2**-1); postfix "!"; then numbers,
// names, calls and parentheses. So -2**2 is -4 and -3! is -6.
#include "input/expression_internal.hpp"

#include "job/memory.hpp"
#include "job/report.hpp"

#include <cstring>
#include <numbers>
#include <string>

namespace tesmora {
namespace {

PARSER_STATE the_parser_state;

constexpr const char *invalid_expression =
    "*** Parser error: Invalid expression in function definition entry:";
constexpr const char *name_expected = "*** Parser error: Name expected in function definition entry:";
constexpr const char *equals_expected = "*** Parser error: '=' expected in function definition entry:";
constexpr const char *parenthesis_expected = "*** Parser error: ')' expected in function definition entry:";
constexpr const char *semicolon_expected = "*** Parser error: ';' expected in function definition entry:";

// Names longer than max_name_length are known by their first max_name_length characters.
std::string_view stored_form(std::string_view name) { return name.substr(0, max_name_length); }

void copy_name(char (&out)[max_name_length + 1], std::string_view name) {
  const std::string_view kept = stored_form(name);
  std::memcpy(out, kept.data(), kept.size());
  out[kept.size()] = '\0';
}

UDVT_ENTRY *append_variable(std::string_view name) {
  PARSER_STATE &state = the_parser_state;
  auto *entry = static_cast<UDVT_ENTRY *>(calloc_named(1, sizeof(UDVT_ENTRY), "UDVT_ENTRY"));
  copy_name(entry->name, name);
  entry->is_undefined = 1;
  (state.last_udv ? state.last_udv->next : state.first_udv) = entry;
  state.last_udv = entry;
  return entry;
}

UDFT_ENTRY *append_function(std::string_view name) {
  PARSER_STATE &state = the_parser_state;
  auto *entry = static_cast<UDFT_ENTRY *>(calloc_named(1, sizeof(UDFT_ENTRY), "UDFT_ENTRY"));
  copy_name(entry->name, name);
  (state.last_udf ? state.last_udf->next : state.first_udf) = entry;
  state.last_udf = entry;
  return entry;
}

// The first call makes the stack and the variable "PI".
void start_parser() {
  PARSER_STATE &state = the_parser_state;
  if (state.stack) return;
  state.stack = static_cast<VALUE *>(calloc_named(value_stack_size, sizeof(VALUE), "VALUE"));
  UDVT_ENTRY *pi = append_variable("PI");
  set_real(pi->value, std::numbers::pi);
  pi->is_undefined = 0;
  state.random_state = default_random_seed;
}

// What a name in an expression may stand for.
enum class NAME_MODE {
  body,     // a function's definition: its variables, externs, user variables
  constant, // a variable's definition: defined user variables only
  range     // a range limit: the same, with the range's own messages
};

// The state of compiling one definition.
struct COMPILER {
  PARSE_LINE &line;
  std::span<const char *const> allowed; // names a function's variables may take
  const EXT_VARS *externs;              // null without externs
  NAME_MODE mode = NAME_MODE::body;
  int no_variables = 0;                                        // of the function being compiled
  const char (*variable_names)[max_name_length + 1] = nullptr; // 0-based, no_variables long
};

bool at_end(const COMPILER &c) { return c.line.current >= c.line.no_tokens; }

bool next_is(const COMPILER &c, std::string_view text) {
  return !at_end(c) && c.line.token[c.line.current].is_token && token_text(c.line, c.line.current) == text;
}

bool is_word(const COMPILER &c, int i) {
  if (i >= c.line.no_tokens || !c.line.token[i].is_token) return false;
  const char first = c.line.text[c.line.token[i].start];
  return (first >= 'a' && first <= 'z') || (first >= 'A' && first <= 'Z');
}

// 1-based position of token i in the definition, or just behind its end.
int position_of(const COMPILER &c, int i) {
  if (i < c.line.no_tokens) return c.line.token[i].start + 1;
  return static_cast<int>(std::strlen(c.line.text)) + 1;
}

[[noreturn]] void error_at(const COMPILER &c, const std::string &text, int token) {
  parser_error(text, c.line.text, position_of(c, token));
}

[[noreturn]] void wrong_range_limit(const COMPILER &c) {
  const int position = position_of(c, c.line.current);
  error_at(c, "\n Wrong range limit at: '" + std::string(c.line.text + position - 1) + "'", c.line.current);
}

// A syntax error at the next token; inside a range every one is a wrong range limit.
[[noreturn]] void syntax_error(const COMPILER &c, const char *text) {
  if (c.mode == NAME_MODE::range) wrong_range_limit(c);
  error_at(c, text, c.line.current);
}

void expect(COMPILER &c, std::string_view text, const char *message) {
  if (!next_is(c, text)) syntax_error(c, message);
  ++c.line.current;
}

// Appends an action; every action comes from a token of its own, so max_tokens entries suffice.
AT_ENTRY &emit(COMPILER &c, ACTION action, int token) {
  AT_ENTRY &entry = c.line.temp_at[c.line.no_actions++];
  entry = AT_ENTRY{};
  entry.action = action;
  entry.position = position_of(c, token);
  return entry;
}

bool is_allowed_name(const COMPILER &c, std::string_view name) {
  for (const char *allowed : c.allowed)
    if (stored_form(allowed) == name) return true;
  return false;
}

int find_extern(const COMPILER &c, std::string_view name) {
  if (!c.externs) return -1;
  for (int k = 0; k < c.externs->no_externs; ++k)
    if (name == c.externs->names[k]) return k;
  return -1;
}

void compile_expression(COMPILER &c);
void compile_unary(COMPILER &c);

// A name without arguments: a variable of the function, an extern or a user variable.
void compile_name(COMPILER &c, int token) {
  const std::string_view name = stored_form(token_text(c.line, token));
  const int extern_index = find_extern(c, name);
  if (c.mode == NAME_MODE::body) {
    for (int k = 0; k < c.no_variables; ++k) {
      if (name != c.variable_names[k]) continue;
      const ACTION push = k == 0 ? ACTION::pushd1 : k == 1 ? ACTION::pushd2 : ACTION::pushd;
      emit(c, push, token).index = k;
      return;
    }
    if (extern_index >= 0) {
      emit(c, ACTION::pushx, token).ext = &c.externs->values[extern_index];
      return;
    }
    UDVT_ENTRY *variable = find_user_variable(std::string(name).c_str());
    emit(c, ACTION::pushv, token).udv = variable ? variable : append_variable(name);
    return;
  }
  const bool in_range = c.mode == NAME_MODE::range;
  const std::string quoted = "\n Range variable '" + std::string(name);
  if (is_allowed_name(c, name))
    error_at(c,
             in_range ? quoted + "': function's variables not allowed in the range definition."
                      : "*** Parser error: Constant expression expected in this function definition entry:",
             token);
  if (extern_index >= 0)
    error_at(c,
             in_range ? quoted + "': 'extern' variables not allowed in the range definition."
                      : "*** Parser error: Constant expression expected in this function definition entry:",
             token);
  UDVT_ENTRY *variable = find_user_variable(std::string(name).c_str());
  if (!variable || variable->is_undefined)
    error_at(c,
             in_range ? "\n Range variable ('" + std::string(name) +
                            "') should be defined BEFORE the range declaration."
                      : "*** Parser error: Undefined value in function definition entry:",
             token);
  emit(c, ACTION::pushv, token).udv = variable;
}

[[noreturn]] void different_number_error(const COMPILER &c, std::string_view name, int token) {
  error_at(c,
           "*** Parser error: Function '" + std::string(name) +
               "' was defined with a different number of variables.\n",
           token);
}

// A call "name(arguments)": a built-in, or a user function, defined now or later.
void compile_call(COMPILER &c, int name_token) {
  ++c.line.current; // "("
  int no_arguments = 0;
  if (!next_is(c, ")")) {
    for (;;) {
      compile_expression(c);
      ++no_arguments;
      if (!next_is(c, ",")) break;
      ++c.line.current;
    }
  }
  expect(c, ")", parenthesis_expected);
  const std::string_view name = stored_form(token_text(c.line, name_token));
  if (const BUILTIN_FUNCTION *builtin = find_builtin(name)) {
    if (no_arguments != builtin->no_arguments) different_number_error(c, name, name_token);
    emit(c, builtin->action, name_token);
    return;
  }
  UDFT_ENTRY *function = find_user_function(std::string(name).c_str());
  if (!function) function = append_function(name);
  if (function->at && function->no_variables != no_arguments) different_number_error(c, name, name_token);
  if (c.mode == NAME_MODE::body) function->is_composed = 1;
  AT_ENTRY &entry = emit(c, no_arguments == 1 ? ACTION::call : ACTION::calln, name_token);
  entry.udf = function;
  entry.index = no_arguments;
}

void compile_primary(COMPILER &c) {
  if (at_end(c)) syntax_error(c, invalid_expression);
  const int i = c.line.current;
  const LEXICAL_UNIT &unit = c.line.token[i];
  if (!unit.is_token) {
    emit(c, ACTION::pushc, i).value = unit.value;
    ++c.line.current;
  } else if (next_is(c, "(")) {
    ++c.line.current;
    compile_expression(c);
    expect(c, ")", parenthesis_expected);
  } else if (is_word(c, i)) {
    ++c.line.current;
    if (next_is(c, "("))
      compile_call(c, i);
    else
      compile_name(c, i);
  } else {
    syntax_error(c, invalid_expression);
  }
}

void compile_postfix(COMPILER &c) {
  compile_primary(c);
  while (next_is(c, "!")) emit(c, ACTION::factorial, c.line.current++);
}

void compile_power(COMPILER &c) {
  compile_postfix(c);
  if (!next_is(c, "**")) return;
  const int op = c.line.current++;
  compile_unary(c); // right-associative, and a signed exponent
  emit(c, ACTION::power, op);
}

void compile_unary(COMPILER &c) {
  if (next_is(c, "-")) {
    const int op = c.line.current++;
    compile_unary(c);
    emit(c, ACTION::uminus, op);
  } else if (next_is(c, "+")) {
    ++c.line.current;
    compile_unary(c);
  } else {
    compile_power(c);
  }
}

void compile_term(COMPILER &c) {
  compile_unary(c);
  for (;;) {
    ACTION action;
    if (next_is(c, "*"))
      action = ACTION::mult;
    else if (next_is(c, "/"))
      action = ACTION::div;
    else if (next_is(c, "%"))
      action = ACTION::mod;
    else
      return;
    const int op = c.line.current++;
    compile_unary(c);
    emit(c, action, op);
  }
}

void compile_expression(COMPILER &c) {
  compile_term(c);
  for (;;) {
    ACTION action;
    if (next_is(c, "+"))
      action = ACTION::plus;
    else if (next_is(c, "-"))
      action = ACTION::minus;
    else
      return;
    const int op = c.line.current++;
    compile_term(c);
    emit(c, action, op);
  }
}

// Compiles a constant expression into the working table and evaluates it at once.
VALUE compile_constant(COMPILER &c, NAME_MODE mode) {
  c.mode = mode;
  c.line.no_actions = 0;
  compile_expression(c);
  PARSER_STATE &state = the_parser_state;
  const int top = run_actions(c.line.temp_at, c.line.no_actions, c.line.text, 0, 0, state);
  return state.stack[top - 1];
}

// The ranges ahead of a definition, at most one per variable x, y, z, t.
struct RANGE_LIST {
  int no_ranges = 0;
  RANGE_DEF item[4];
  int token[4]; // the token of each range's variable
};

void compile_range(COMPILER &c, RANGE_LIST &ranges) {
  ++c.line.current; // "["
  c.mode = NAME_MODE::range;
  if (!is_word(c, c.line.current)) wrong_range_limit(c);
  const int variable_token = c.line.current++;
  const std::string_view variable = token_text(c.line, variable_token);
  if (variable.size() != 1 || !std::strchr("xyzt", variable[0]))
    error_at(c,
             "*** Parser error: Incorrect variable '" + std::string(variable) +
                 "' in range definition at:\n Probably not 'x', 'y', 'z' or 't'.",
             variable_token);
  for (int k = 0; k < ranges.no_ranges; ++k)
    if (ranges.item[k].variable == variable[0])
      error_at(c, "\n Range defined several times.", variable_token);
  if (!next_is(c, "=")) wrong_range_limit(c);
  ++c.line.current;
  const int lower_token = c.line.current;
  const VALUE lower = compile_constant(c, NAME_MODE::range);
  if (!next_is(c, ":") || lower.imag != 0.0) {
    if (lower.imag != 0.0) c.line.current = lower_token;
    wrong_range_limit(c);
  }
  ++c.line.current;
  const int upper_token = c.line.current;
  const VALUE upper = compile_constant(c, NAME_MODE::range);
  if (!next_is(c, "]") || upper.imag != 0.0) {
    if (upper.imag != 0.0) c.line.current = upper_token;
    wrong_range_limit(c);
  }
  ++c.line.current;
  if (lower.real > upper.real)
    error_at(c, "\n Reversed min-max limits: min > max encountered.", variable_token);
  const int k = ranges.no_ranges++;
  ranges.item[k] = RANGE_DEF{variable[0], -1, lower.real, upper.real};
  ranges.token[k] = variable_token;
}

// "name = constant expression": defines a user variable, or fills one used before.
void compile_variable(COMPILER &c, int name_token, const RANGE_LIST &ranges) {
  ++c.line.current; // "="
  const VALUE value = compile_constant(c, NAME_MODE::constant);
  if (!at_end(c)) syntax_error(c, semicolon_expected);
  if (ranges.no_ranges > 0) parser_warning("Unused range defined.", c.line.text);
  const std::string name(stored_form(token_text(c.line, name_token)));
  UDVT_ENTRY *entry = find_user_variable(name.c_str());
  if (!entry || !entry->is_undefined) entry = append_variable(name);
  entry->value = value;
  entry->is_undefined = 0;
}

[[noreturn]] void wrong_variables(const COMPILER &c, int token) {
  std::string text = "\n*** Parser error: Wrong function variables in the definition: \n\t\t " +
                     std::string(c.line.text) + " \n        One or several from:";
  for (const char *allowed : c.allowed) text += std::string(" ") + allowed;
  error_at(c, text + " expected. \n", token);
}

// Reads "(v1, v2, ...)" of a function's head into `names`; returns their number.
int compile_variable_list(COMPILER &c, char (&names)[max_function_variables][max_name_length + 1]) {
  ++c.line.current; // "("
  int count = 0;
  for (;;) {
    if (!is_word(c, c.line.current)) wrong_variables(c, c.line.current);
    if (count == max_function_variables)
      error_at(c, "*** Parser error: The function definition contains too many variables:", c.line.current);
    const std::string_view name = stored_form(token_text(c.line, c.line.current));
    if (!is_allowed_name(c, name)) wrong_variables(c, c.line.current);
    for (int k = 0; k < count; ++k)
      if (name == names[k]) wrong_variables(c, c.line.current);
    copy_name(names[count++], name);
    ++c.line.current;
    if (!next_is(c, ",")) break;
    ++c.line.current;
  }
  expect(c, ")", parenthesis_expected);
  return count;
}

// Ties each range to a variable of the function.
void match_ranges(const COMPILER &c, RANGE_LIST &ranges, const char (*names)[max_name_length + 1],
                  int count) {
  bool in_order = true;
  int previous = -1;
  for (int r = 0; r < ranges.no_ranges; ++r) {
    RANGE_DEF &range = ranges.item[r];
    for (int k = 0; k < count; ++k)
      if (names[k][0] == range.variable && names[k][1] == '\0') range.variable_index = k;
    if (range.variable_index < 0)
      error_at(c, "\n Range list differs from function's variables list.", ranges.token[r]);
    in_order = in_order && range.variable_index > previous;
    previous = range.variable_index;
  }
  if (!in_order)
    parser_warning("Range list differs from function's variables list.\n"
                   "The result is correct iff the ORDER is compatible.",
                   c.line.text);
}

AT_TABLE *make_permanent_table(const PARSE_LINE &line) {
  auto *table = static_cast<AT_TABLE *>(calloc_named(1, sizeof(AT_TABLE), "udft->at"));
  table->no_actions = line.no_actions;
  table->actions = static_cast<AT_ENTRY *>(
      calloc_named(static_cast<std::uint64_t>(line.no_actions), sizeof(AT_ENTRY), "AT_ENTRY in perm_at"));
  if (line.no_actions > 0)
    std::memcpy(static_cast<void *>(table->actions), line.temp_at,
                static_cast<std::size_t>(line.no_actions) * sizeof(AT_ENTRY));
  return table;
}

RANGE_DEFS *make_range_defs(const RANGE_LIST &ranges) {
  if (ranges.no_ranges == 0) return nullptr;
  auto *defs = static_cast<RANGE_DEFS *>(calloc_named(1, sizeof(RANGE_DEFS), "RANGE_DEFS"));
  defs->no_ranges = ranges.no_ranges;
  defs->range_def = static_cast<RANGE_DEF **>(calloc_named(static_cast<std::uint64_t>(ranges.no_ranges),
                                                           sizeof(RANGE_DEF *), "*(defs->range_def+i)"));
  for (int r = 0; r < ranges.no_ranges; ++r) {
    defs->range_def[r] = static_cast<RANGE_DEF *>(calloc_named(1, sizeof(RANGE_DEF), "RANGE_DEF"));
    *defs->range_def[r] = ranges.item[r];
  }
  return defs;
}

// Makes the entry of a function just compiled: a new one, or the one a forward call made.
UDFT_ENTRY *register_function(const COMPILER &c, int name_token, const RANGE_LIST &ranges) {
  const std::string name(stored_form(token_text(c.line, name_token)));
  UDFT_ENTRY *entry = find_user_function(name.c_str());
  if (entry && entry->at && entry->no_variables != c.no_variables)
    different_number_error(c, name, name_token);
  if (ranges.no_ranges > 0 && entry && entry->is_composed)
    parser_warning("Function '" + name +
                       "' was previously called in composition with other function(s).\n\t"
                       "Therefore, setting ranges now might lead to wrong results !",
                   c.line.text);
  if (find_builtin(name))
    write_fault(
        "Parser warning : User defined function '%s' shadowed by built-in function of the same name.\n",
        name.c_str());
  if (!entry || entry->at) entry = append_function(name);
  const std::size_t length = std::strlen(c.line.text);
  entry->definition = static_cast<char *>(calloc_named(length + 1, 1, "udft->definition"));
  std::memcpy(entry->definition, c.line.text, length + 1);
  entry->at = make_permanent_table(c.line);
  entry->no_variables = c.no_variables;
  for (int k = 0; k < c.no_variables; ++k)
    std::memcpy(entry->variable_names[k], c.variable_names[k], max_name_length + 1);
  entry->range_defs = make_range_defs(ranges);
  return entry;
}

// "name(variables) = expression", after its ranges.
UDFT_ENTRY *compile_function(COMPILER &c, int name_token, RANGE_LIST &ranges) {
  char names[max_function_variables][max_name_length + 1] = {};
  const int count = compile_variable_list(c, names);
  expect(c, "=", equals_expected);
  match_ranges(c, ranges, names, count);
  c.mode = NAME_MODE::body;
  c.no_variables = count;
  c.variable_names = names;
  c.line.no_actions = 0;
  compile_expression(c);
  if (!at_end(c)) syntax_error(c, semicolon_expected);
  UDFT_ENTRY *entry = register_function(c, name_token, ranges);
  c.variable_names = nullptr;
  return entry;
}

// One definition; returns the function it defines, or null for a variable.
UDFT_ENTRY *compile_definition(COMPILER &c) {
  tokenise_definition(c.line);
  RANGE_LIST ranges;
  while (next_is(c, "[")) compile_range(c, ranges);
  c.mode = NAME_MODE::body;
  if (!is_word(c, c.line.current)) syntax_error(c, name_expected);
  const int name_token = c.line.current++;
  if (next_is(c, "(")) return compile_function(c, name_token, ranges);
  if (next_is(c, "=")) {
    compile_variable(c, name_token, ranges);
    return nullptr;
  }
  syntax_error(c, equals_expected);
}

EXT_VARS *make_ext_vars(const char *const *extern_names, const double *extern_values, int no_externs) {
  if (no_externs <= 0) return nullptr;
  auto *externs = static_cast<EXT_VARS *>(calloc_named(1, sizeof(EXT_VARS), "EXT_VARS"));
  externs->no_externs = no_externs;
  externs->names = static_cast<char(*)[max_name_length + 1]>(
      calloc_named(static_cast<std::uint64_t>(no_externs), max_name_length + 1, "EXT_VARS->names"));
  for (int k = 0; k < no_externs; ++k) copy_name(externs->names[k], extern_names[k]);
  externs->values = extern_values;
  return externs;
}

bool is_blank_char(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Compiles every definition of the block; returns the last function defined, or null.
const UDFT_ENTRY *compile_block(const char *equation, COMPILER &c) {
  const UDFT_ENTRY *last = nullptr;
  const char *next = equation;
  while (*next) {
    const char *end = std::strchr(next, ';');
    if (!end) end = next + std::strlen(next);
    const char *start = next;
    next = *end ? end + 1 : end;
    while (start < end && is_blank_char(*start)) ++start;
    const char *stop = end;
    while (stop > start && is_blank_char(stop[-1])) --stop;
    if (stop == start) continue;
    std::memcpy(c.line.text, start, static_cast<std::size_t>(stop - start));
    c.line.text[stop - start] = '\0';
    if (const UDFT_ENTRY *function = compile_definition(c)) last = function;
  }
  return last;
}

} // namespace

PARSER_STATE &parser_state() { return the_parser_state; }

UDVT_ENTRY *find_user_variable(const char *name) {
  UDVT_ENTRY *found = nullptr;
  for (UDVT_ENTRY *entry = the_parser_state.first_udv; entry; entry = entry->next)
    if (stored_form(name) == entry->name) found = entry;
  return found;
}

UDFT_ENTRY *find_user_function(const char *name) {
  UDFT_ENTRY *found = nullptr;
  for (UDFT_ENTRY *entry = the_parser_state.first_udf; entry; entry = entry->next)
    if (stored_form(name) == entry->name) found = entry;
  return found;
}

PARSED_FUNCTION *parse_functions(FFILE *ffile, std::span<const char *const> variable_names,
                                 const char *const *extern_names, const double *extern_values,
                                 int no_externs) {
  start_parser();
  PARSER_STATE &state = the_parser_state;
  if (!state.equation)
    state.equation = static_cast<char *>(calloc_named(equation_size, 1, "equation in parser"));
  read_definition_block(ffile, state.equation);

  auto *result = static_cast<PARSED_FUNCTION *>(calloc_named(1, sizeof(PARSED_FUNCTION), "PARSED_FUNCTION"));
  result->externs = make_ext_vars(extern_names, extern_values, no_externs);
  PARSE_LINE line;
  line.text = static_cast<char *>(calloc_named(equation_size, 1, "line->text"));
  line.token = static_cast<LEXICAL_UNIT *>(calloc_named(max_tokens, sizeof(LEXICAL_UNIT), "LEXICAL_UNIT"));
  line.temp_at = static_cast<AT_ENTRY *>(calloc_named(max_tokens, sizeof(AT_ENTRY), "AT_TYPE in temp_at"));
  COMPILER compiler{.line = line, .allowed = variable_names, .externs = result->externs};
  const UDFT_ENTRY *last = compile_block(state.equation, compiler);
  free_named(line.temp_at, "AT_TYPE in temp_at");
  free_named(line.token, "LEXICAL_UNIT");
  free_named(line.text, "line->text");

  result->function = last;
  for (int k = 0; last && k < last->no_variables; ++k)
    for (std::size_t n = 0; n < variable_names.size(); ++n)
      if (stored_form(variable_names[n]) == last->variable_names[k])
        result->variable_index[k] = static_cast<int>(n);
  return result;
}

void delete_parsed_function(PARSED_FUNCTION *parsed) {
  if (!parsed) return;
  if (parsed->externs) {
    free_named(parsed->externs->names, "EXT_VARS->names");
    free_named(parsed->externs, "EXT_VARS");
  }
  free_named(parsed, "PARSED_FUNCTION");
}

void free_parser() {
  free_named(the_parser_state.equation, "equation in parser");
  the_parser_state.equation = nullptr;
}

void free_parser_tables() {
  PARSER_STATE &state = the_parser_state;
  for (UDVT_ENTRY *entry = state.first_udv; entry;) {
    UDVT_ENTRY *next = entry->next;
    free_named(entry, "UDVT_ENTRY");
    entry = next;
  }
  for (UDFT_ENTRY *entry = state.first_udf; entry;) {
    UDFT_ENTRY *next = entry->next;
    if (entry->at) {
      free_named(entry->at->actions, "AT_ENTRY in perm_at");
      free_named(entry->at, "udft->at");
    }
    if (RANGE_DEFS *defs = entry->range_defs) {
      for (int r = 0; r < defs->no_ranges; ++r) free_named(defs->range_def[r], "RANGE_DEF");
      free_named(defs->range_def, "*(defs->range_def+i)");
      free_named(defs, "RANGE_DEFS");
    }
    free_named(entry->definition, "udft->definition");
    free_named(entry, "UDFT_ENTRY");
    entry = next;
  }
  free_named(state.stack, "VALUE");
  free_parser();
  state = PARSER_STATE{};
}

} // namespace tesmora
