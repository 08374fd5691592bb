// The process-wide model and node look-up.
#include "mesh/model.hpp"

namespace tesmora {
namespace {

MESHED_MODEL the_global_model;

} // namespace

MESHED_MODEL &global_model() { return the_global_model; }

int find_node(const NODE *nodes, int first, int last, int id) {
  if (last < first || id > nodes[last].id) return -1;
  if (id <= nodes[first].id) return first;
  int lo = first;
  int hi = last;
  // nodes[lo].id < id <= nodes[hi].id
  while (hi - lo > 1) {
    const int mid = lo + (hi - lo) / 2;
    if (nodes[mid].id < id)
      lo = mid;
    else
      hi = mid;
  }
  return hi;
}

} // namespace tesmora
