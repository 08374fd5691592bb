// Start of a run from a solution that an earlier run left in `old_solutions`: edges and nodes are
// matched by id through the file's header, so a re-meshed model with the same ids restarts and
// new variables start at 0.
#pragma once

namespace tesmora {

struct MESHED_MODEL;

// Fills solution (no_unknowns) with the step of old_solutions that the initial card names, or
// with zeros when the run doesn't start from an earlier one. A file that doesn't fit the model
// stops the job with its message.
void read_initial_solution_into(const MESHED_MODEL &first_part, double *solution, int no_unknowns);

} // namespace tesmora
