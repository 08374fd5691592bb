// Header and step records of the solutions files.
#include "analyses/solutions_file.hpp"

#include "job/block_io.hpp"
#include "mesh/model.hpp"
#include "mesh/potentials.hpp"

namespace tesmora {
namespace {

void write_variable_list(FFILE *file, std::int32_t type, std::int32_t id, const POTENTIAL_TERMS *terms) {
  write_word(file, type);
  write_word(file, id);
  const std::int32_t count = terms ? terms->no_terms : 0;
  write_word(file, count);
  for (int t = 0; t < count; ++t) {
    const POTENTIAL_TERM &term = terms->terms[t];
    write_blocks(&term.coefficient, sizeof(double), 1, file);
    write_word(file, term.position);
    write_word(file, term.name);
  }
}

bool read_variable_list(FFILE *file, SAVED_VARIABLE &variable) {
  std::int32_t count = 0;
  if (!read_word(file, variable.id) || !read_word(file, count) || count < 0) return false;
  variable.terms.resize(static_cast<std::size_t>(count));
  for (auto &term : variable.terms)
    if (read_blocks(&term.coefficient, sizeof(double), 1, file) != 1 || !read_word(file, term.position) ||
        !read_word(file, term.name))
      return false;
  return true;
}

} // namespace

void write_solutions_header(FFILE *file, const MESHED_MODEL &first_part, int no_unknowns, int no_variables) {
  std::int32_t no_nodes = 0, no_edges = 0;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next) {
    no_nodes += part->no_nodes;
    no_edges += part->no_edges;
  }
  write_word(file, no_nodes);
  write_word(file, no_edges);
  write_word(file, no_unknowns);
  write_word(file, no_variables);
  const std::int64_t spare = 0;
  write_blocks(&spare, sizeof spare, 1, file);
  for (const MESHED_MODEL *part = &first_part; part; part = part->next) {
    for (int e = 0; e < part->no_edges; ++e)
      write_variable_list(file, solutions_edge_record, part->edges[e].id, part->edges[e].potentials);
    for (int i = 0; i < part->no_nodes; ++i)
      write_variable_list(file, solutions_node_record, part->nodes[i].id, part->nodes[i].potentials);
  }
  write_word(file, solutions_end_of_header);
}

bool read_solutions_header(FFILE *file, SOLUTIONS_COUNTS &counts, std::vector<SAVED_VARIABLE> *variables) {
  std::int32_t words[4];
  if (read_blocks(words, sizeof(std::int32_t), 4, file) != 1) return false;
  counts = SOLUTIONS_COUNTS{words[0], words[1], words[2], words[3]};
  std::int64_t spare = 0;
  if (read_blocks(&spare, sizeof spare, 1, file) != 1) return false;
  for (;;) {
    SAVED_VARIABLE variable;
    if (!read_word(file, variable.type)) return false;
    if (variable.type >= solutions_end_of_header) return true;
    if (!read_variable_list(file, variable)) return false;
    if (variables) variables->push_back(std::move(variable));
  }
}

int restore_variables(FFILE *file, MESHED_MODEL &first_part) {
  SOLUTIONS_COUNTS counts;
  std::vector<SAVED_VARIABLE> variables;
  if (!read_solutions_header(file, counts, &variables)) return -1;
  std::size_t k = 0;
  auto restore = [&](POTENTIAL_TERMS *&terms, std::int32_t type, int id) {
    if (k >= variables.size() || variables[k].type != type || variables[k].id != id) return false;
    if (terms) terms->no_terms = 0;
    for (const SAVED_VARIABLE::TERM &term : variables[k].terms)
      add_potential_term(terms, term.name, term.position, term.coefficient);
    ++k;
    return true;
  };
  for (MESHED_MODEL *part = &first_part; part; part = part->next) {
    for (int e = 0; e < part->no_edges; ++e)
      if (!restore(part->edges[e].potentials, solutions_edge_record, part->edges[e].id)) return -1;
    for (int i = 0; i < part->no_nodes; ++i)
      if (!restore(part->nodes[i].potentials, solutions_node_record, part->nodes[i].id)) return -1;
  }
  return k == variables.size() ? counts.no_unknowns : -1;
}

void write_solution_record(FFILE *file, int step, double time, const double *solution, int no_values) {
  write_word(file, step);
  write_blocks(&time, sizeof time, 1, file);
  if (no_values > 0) write_blocks(solution, sizeof(double), static_cast<std::uint64_t>(no_values), file);
}

bool read_solution_record(FFILE *file, int &step, double &time, double *solution, int no_values) {
  std::int32_t word = 0;
  if (!read_word(file, word) || read_blocks(&time, sizeof time, 1, file) != 1) return false;
  step = word;
  return no_values == 0 ||
         read_blocks(solution, sizeof(double), static_cast<std::uint64_t>(no_values), file) == 1;
}

} // namespace tesmora
