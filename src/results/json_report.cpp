// The JSON summary document of a job.
#include "results/json_report.hpp"

#include "job/report.hpp"
#include "job/run_files.hpp"

namespace tesmora {

void json_reset(const void * /*owner*/, int /*keep*/) {
  // No section records values yet: there is nothing to drop.
}

void close_json_report() {
  FFILE *&json = run_files().print_json;
  if (!json || json->state == 0) return;
  // Results sections join the document as the subsystems that record them arrive.
  write_report(json->stream, "%s", "{}\n");
  free_ffile(json, "fflie_print_json");
  json = nullptr;
}

} // namespace tesmora
