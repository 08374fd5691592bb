// Reading the starting solution of a run from old_solutions.
#include "analyses/restart.hpp"

#include "analyses/solutions_file.hpp"
#include "input/control_data.hpp"
#include "job/memory.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "mesh/model.hpp"

#include <unordered_map>
#include <vector>

namespace tesmora {
namespace {

[[noreturn]] void stop_with(const char *format, int a, int b = 0) {
  write_fault(format, a, b);
  stop_job(1);
}

// What one old variable becomes: the new position and the factor between the coefficients.
struct MOVE {
  int from = 0; // old position, from 1
  int to = 0;   // new position, from 1
  double factor = 1.0;
};

// Matches the terms of one old record with those of the new list of the same name.
void match_terms(const SAVED_VARIABLE &old, const POTENTIAL_TERMS *now, std::vector<MOVE> &moves) {
  for (const SAVED_VARIABLE::TERM &term : old.terms)
    for (int t = 0; now && t < now->no_terms; ++t)
      if (now->terms[t].name == term.name) {
        moves.push_back(
            MOVE{term.position, now->terms[t].position, term.coefficient / now->terms[t].coefficient});
        break;
      }
}

std::vector<MOVE> match_variables(const MESHED_MODEL &first_part, const std::vector<SAVED_VARIABLE> &old) {
  std::unordered_map<int, const EDGE *> edges;
  std::unordered_map<int, const NODE *> nodes;
  int no_edges = 0, no_nodes = 0;
  for (const MESHED_MODEL *part = &first_part; part; part = part->next) {
    for (int e = 0; e < part->no_edges; ++e) edges.emplace(part->edges[e].id, &part->edges[e]);
    for (int i = 0; i < part->no_nodes; ++i) nodes.emplace(part->nodes[i].id, &part->nodes[i]);
    no_edges += part->no_edges;
    no_nodes += part->no_nodes;
  }
  std::vector<MOVE> moves;
  for (const SAVED_VARIABLE &variable : old) {
    if (variable.type == solutions_edge_record) {
      if (variable.id > no_edges)
        stop_with("Edge number %d in file old_solutions is greater than no_edges %d.\n", variable.id,
                  no_edges);
      const auto found = edges.find(variable.id);
      if (found == edges.end())
        stop_with("Edge data in old_solutions is conflict for Edge No.%d.\n", variable.id);
      match_terms(variable, found->second->potentials, moves);
    } else {
      const auto found = nodes.find(variable.id);
      if (found == nodes.end()) {
        if (variable.id > no_nodes)
          stop_with("Node number %d in file potentials is greater than no_nodes %d\n", variable.id, no_nodes);
        stop_with("Node data in old_solutions is conflict for Node No.%d.\n", variable.id);
      }
      match_terms(variable, found->second->potentials, moves);
    }
  }
  return moves;
}

} // namespace

void read_initial_solution_into(const MESHED_MODEL &first_part, double *solution, int no_unknowns) {
  for (int i = 0; i < no_unknowns; ++i) solution[i] = 0.0;
  const CONTROL_DATA &control = control_data();
  const int wanted = control.initial_step;
  if (wanted <= 0 || (control.data_type != 1 && control.data_type != 3)) return;
  FFILE *file = run_files().old_solutions;
  open_ffile(file, "r");
  SOLUTIONS_COUNTS counts;
  std::vector<SAVED_VARIABLE> old;
  if (!read_solutions_header(file, counts, &old)) {
    write_fault("FREAD error!\n");
    stop_job(1);
  }
  const std::vector<MOVE> moves = match_variables(first_part, old);
  std::vector<double> values(static_cast<std::size_t>(counts.no_variables));
  int step = 0, last = 0;
  double time = 0.0;
  for (;;) {
    if (!read_solution_record(file, step, time, values.data(), counts.no_variables))
      stop_with("\n******** initial_solution cannot be read from file old_solutions %d, %d ************\n",
                wanted, last);
    last = step;
    if (step == wanted) break;
  }
  close_ffile(file);
  for (const MOVE &move : moves)
    if (move.from >= 1 && move.from <= counts.no_variables && move.to >= 1 && move.to <= no_unknowns)
      solution[move.to - 1] = move.factor * values[static_cast<std::size_t>(move.from - 1)];
  std::FILE *output = run_files().print_out->stream;
  write_report(output, "\n******** initial_solution is read from file old_solutions ************\n");
  write_report(output, "       time step no. = %d\n", step);
  write_report(output, "       time          = %e\n\n", time);
}

} // namespace tesmora
