// The regular-mesh cards: structured layers of elements for a moving conductor. The cards are
// read and kept here; the layers themselves are built by the regular-mesh code.
#pragma once

#include "job/ffile.hpp"

#include <vector>

namespace tesmora {

struct REGULAR_MESH {
  double velocity = 0.0;    // m/s
  int ndiv = 0;             // REGULAR_NDIV
  std::vector<int> mat_ids; // REGULAR_NMAT material ids
};

void read_regular_meshes(FFILE *file);
const std::vector<REGULAR_MESH> &regular_meshes();

} // namespace tesmora
