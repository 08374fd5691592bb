// The one adapter to SuiteSparse AMD: calls amd_order with the default control and translates
// its status codes.
#include "equations/renumbering.hpp"

#include <amd.h>

namespace tesmora {

AMD_OUTCOME run_amd_order(int n, const int *Ap, const int *Ai, int *P) {
  AMD_OUTCOME outcome;
  outcome.status = amd_order(n, Ap, Ai, P, nullptr, nullptr);
  // AMD_OK_BUT_JUMBLED also gives a permutation, but the profile's rows are sorted and without
  // duplicates, so anything but AMD_OK means the input or the memory was wrong.
  outcome.ok = outcome.status == AMD_OK ? 1 : 0;
  return outcome;
}

} // namespace tesmora
