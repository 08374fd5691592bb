// The post stage: it never repeats the analysis. It reads the solutions file step by step and,
// for each step the output ranges select, writes the step report and the post files.
#pragma once

#include "input/control_data.hpp"

namespace tesmora {

struct MESHED_MODEL;
struct POST_FORMAT;

// Whether the output ranges (or the all-step setting) select this step, and the last step any
// range asks for.
bool is_output_step(const MULTI_OUTPUT_STEPS &ranges, int step);
int last_output_step(const MULTI_OUTPUT_STEPS &ranges);

// The report of one step to `output`: its heading, the JSON step record and the source table.
void write_step_report(int step, double time);

// The post stage of a job that isn't AC, writing its post files in `format` (the job's
// POST_DATA_FILE, bound by the stage driver through find_post_format).
void transient_output_control(MESHED_MODEL &first_part, const POST_FORMAT &format);

// The post stage of an AC job: the cycle-averaged Joule heat once, then for each output phase
// (degrees) the instantaneous state Re(X e^{j phase}), reported and written as a step numbered
// from 1 whose time is the phase.
void AC_output_control(MESHED_MODEL &first_part, const POST_FORMAT &format);

} // namespace tesmora
