// Readers of the control cards, in the order they stand at the head of the input file. Each
// reads its cards from `file` and writes only the records it is given.
#pragma once

#include "input/control_data.hpp"
#include "input/solver_settings.hpp"
#include "job/ffile.hpp"

namespace tesmora {

// Release card, stage cards, analysis card, potential card, gauge card, element cards.
void read_job_cards(FFILE *file, CONTROL_DATA &control, SOLVER_SETTINGS &solver);
// The solver and nonlinear cards (or the one old card below release 2.5), integration points
// and the initial-state card.
void read_solver_cards(FFILE *file, CONTROL_DATA &control, SOLVER_SETTINGS &solver);
// Time steps (with the correction and output-step cards) or the AC frequency and phases.
void read_time_cards(FFILE *file, CONTROL_DATA &control);
// The output-step cards that close the time cards of a job that isn't AC.
void read_output_step_cards(FFILE *file, CONTROL_DATA &control);
// Mesh card, post card with its material list and FFT cards, the output selections.
void read_output_cards(FFILE *file, CONTROL_DATA &control);
// The geometry card.
void read_geometry_card(FFILE *file, CONTROL_DATA &control);

} // namespace tesmora
