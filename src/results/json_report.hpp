// The JSON summary of a job, output.json: reset at the start, written once at the end.
#pragma once

namespace tesmora {

// Drops every recorded section (keep 0), so that each run starts with an empty document.
// `owner` names the caller and is not used.
void json_reset(const void *owner, int keep);

// Writes the document to output.json and closes it; a second call does nothing. A job that
// stops before this leaves output.json empty.
void close_json_report();

} // namespace tesmora
