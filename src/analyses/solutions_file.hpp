// The solutions files (`solutions`, `old_solutions`): a header with the counts and the variable
// lists of every edge and node, then one record per output step (step, time, solution).
//
// Header: no_nodes, no_edges, no_unknowns, no_variables (32-bit each), 8 spare bytes, then per
// edge and node a 32-bit type word (1 edge, 2 node), its id and its variable list (a count, then
// per term the coefficient, position and name), closed by a type word of 9.
#pragma once

#include "job/ffile.hpp"

#include <cstdint>
#include <vector>

namespace tesmora {

struct MESHED_MODEL;

inline constexpr std::int32_t solutions_edge_record = 1;
inline constexpr std::int32_t solutions_node_record = 2;
inline constexpr std::int32_t solutions_end_of_header = 9;

struct SOLUTIONS_COUNTS {
  int no_nodes = 0;
  int no_edges = 0;
  int no_unknowns = 0;
  int no_variables = 0;
};

// One variable record of the header: what an edge or node of the run that wrote the file was
// made of.
struct SAVED_VARIABLE {
  std::int32_t type = 0;
  std::int32_t id = 0;
  struct TERM {
    double coefficient;
    std::int32_t position;
    std::int32_t name;
  };
  std::vector<TERM> terms;
};

void write_solutions_header(FFILE *file, const MESHED_MODEL &first_part, int no_unknowns, int no_variables);
// Reads the header; the variable records go to `variables` when it is given, else they are
// skipped. False when the file is too short.
bool read_solutions_header(FFILE *file, SOLUTIONS_COUNTS &counts, std::vector<SAVED_VARIABLE> *variables);

// Gives every edge and node of the chain the variable list of the header, record by record in
// the writer's order (the same model). Returns the number of unknowns, or -1 when the file
// doesn't belong to the model.
int restore_variables(FFILE *file, MESHED_MODEL &first_part);

void write_solution_record(FFILE *file, int step, double time, const double *solution, int no_values);
// False at the end of the file or on a short record.
bool read_solution_record(FFILE *file, int &step, double &time, double *solution, int no_values);

} // namespace tesmora
