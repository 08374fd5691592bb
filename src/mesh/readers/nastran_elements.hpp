// The NASTRAN element cards the converters know, their native codes and node orders; shared by
// the fixed-field and the free-field forms.
#pragma once

#include <span>

namespace tesmora {

struct NASTRAN_ELEMENT {
  const char *name; // card name of the small-field form
  int code;         // native code
  int no_nodes;     // node fields taken; CHEXA takes 20 when a ninth field is present
};

// The card of `keyword` (its large-field form ends with '*', reported through `large`), or
// null. `with_rod` adds CROD, which only the free form knows.
const NASTRAN_ELEMENT *find_nastran_element(const char *keyword, bool with_rod, bool &large);

// Native file order of NASTRAN's 20-node CHEXA and 8-node CQUAD8: position i of the native
// element takes NASTRAN node order[i] (0-based).
std::span<const int> nastran_hexa20_order();
std::span<const int> nastran_quad8_order();

// Reorders nodes[0..n-1] through `order` in place.
void reorder_nodes(int *nodes, std::span<const int> order);

// Converts the comma-separated form; called by convert_nastran after its scan.
void convert_nastran_free(const char *in_name, const char *out_name, CONVERT_FAULT &fault);

} // namespace tesmora
