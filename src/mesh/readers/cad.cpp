// The ".cad" mesh form of "EX8D" blocks. Its layout isn't known to this build, so the converter
// stops the job with a message that names it instead of guessing at one.
#include "job/report.hpp"
#include "mesh/mesh_converters.hpp"

namespace tesmora {

void convert_cad(const char *, const char *, CONVERT_FAULT &) {
  stop_at_unbuilt(UNBUILT::input_data, "cad mesh");
}

} // namespace tesmora
