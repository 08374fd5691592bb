// EXMAG_FIELD (EXMAG): the field of an exterior magnetised mesh. Its mesh and magnetization
// files are not read by this build, so the kind stops the job when it is asked for.
#include "job/report.hpp"
#include "sources/coil_elements/coil_kinds.hpp"

namespace tesmora {

std::unique_ptr<COIL_ELEMENT> make_exmag_field(const COIL_ELEMENT_DATA &) {
  write_fault("**** EXMAG coil element is not available in this version. Job is stopped.\n");
  stop_job(1);
}

} // namespace tesmora
