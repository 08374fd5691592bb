// The saved model: a binary copy of the model's chain (file "mesh_data"), read back in place of
// the mesh reading and model making by later runs of a split job.
#pragma once

#include "job/ffile.hpp"
#include "mesh/model.hpp"

namespace tesmora {

// Writes every part of the chain: counts, nodes, edges, volume elements, mesh surface elements
// and interface surface elements. Integers of 32 bits, reals of 64; references as indices.
void save_model(const MESHED_MODEL &first_part, FFILE *file);
// Reads what save_model wrote into an empty chain (one record per part; further parts are
// allocated). Element materials are bound again by the caller.
void restore_model(MESHED_MODEL &first_part, FFILE *file);

} // namespace tesmora
