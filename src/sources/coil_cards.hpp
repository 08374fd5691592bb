// The coil card grammar: the element and modifier cards that follow a COIL source card, read
// into its EXTERNAL_FIELD, and the job-wide coil settings those cards set.
#pragma once

#include "job/ffile.hpp"
#include "sources/external_field.hpp"

#include <memory>

namespace tesmora {

// Settings of the whole job that the coil cards set; read-only once the input is read.
struct COIL_JOB_SETTINGS {
  double line_approx_limit = 1000.0; // LINE_APPROX LIMIT: far field beyond this many section widths
  int integral_method = 0;           // INTEGRAL_METHOD
  int meshed_coil = 0;               // 1 once a MESH element has been read
};

const COIL_JOB_SETTINGS &coil_job_settings();
// Back to the defaults (the start of a job, or a test).
void reset_coil_job_settings();
// The field-evaluation options that follow from the job settings.
COIL_OPTIONS coil_options();

// A new source record for the COIL card's NO_ELEMENTS, MOTIN_ID and POTENTIAL (0 read as 1).
std::unique_ptr<EXTERNAL_FIELD> make_external_field(int no_elements, int motion_id, int potential);

// Reads the no_elements element cards of `field` with the modifier cards between them, then
// the END card. A bad value is a card error; a missing card is "input is insufficient.".
void read_coil_cards(FFILE *file, EXTERNAL_FIELD &field);

} // namespace tesmora
