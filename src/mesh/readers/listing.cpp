// The simple listing (".msh"): property records, nodes numbered by their place, element groups
// that give each element its property, then the elements.
//
// Layout: a count of property records and that many lines (skipped); a count of nodes and per
// node a line (skipped) and a line x y z, the running number being the node's identity; a count
// of groups and per group a line (skipped), a count and that many element numbers, the group's
// running number being the property (mat_id) of those elements; a count of elements and per
// element the number of nodes n and n node numbers, the element being a volume element of
// code 300 + n with its running number as identity.
#include "mesh/readers/converter_support.hpp"

#include <vector>

namespace tesmora {
namespace {

bool read_listing_nodes(WORD_READER &reader, PRE_GEOM_WRITER &writer) {
  int no_properties = 0, no_nodes = 0;
  if (!reader.next_int(no_properties) || !reader.skip_lines(no_properties)) return false;
  if (!reader.next_int(no_nodes)) return false;
  for (int k = 1; k <= no_nodes; ++k) {
    double xyz[3];
    if (!reader.skip_lines(1)) return false;
    for (double &v : xyz)
      if (!reader.next_real(v)) return false;
    put_node(writer, k, xyz[0], xyz[1], xyz[2]);
  }
  return true;
}

// property[e - 1] is the group of element e.
bool read_listing_groups(WORD_READER &reader, std::vector<int> &property) {
  int no_groups = 0;
  if (!reader.next_int(no_groups)) return false;
  for (int g = 1; g <= no_groups; ++g) {
    int count = 0;
    if (!reader.skip_lines(1) || !reader.next_int(count)) return false;
    for (int i = 0; i < count; ++i) {
      int element = 0;
      if (!reader.next_int(element) || element < 1) return false;
      if (static_cast<int>(property.size()) < element) property.resize(static_cast<std::size_t>(element), 0);
      property[static_cast<std::size_t>(element - 1)] = g;
    }
  }
  return true;
}

bool read_listing_elements(WORD_READER &reader, const std::vector<int> &property, PRE_GEOM_WRITER &writer) {
  int no_elements = 0;
  if (!reader.next_int(no_elements)) return false;
  for (int e = 1; e <= no_elements; ++e) {
    int n = 0, nodes[99];
    if (!reader.next_int(n) || n < 1 || n > 99) return false;
    for (int i = 0; i < n; ++i)
      if (!reader.next_int(nodes[i])) return false;
    const int mat_id = e <= static_cast<int>(property.size()) ? property[static_cast<std::size_t>(e - 1)] : 0;
    put_element(writer, e, 300 + n, mat_id, nodes, n);
  }
  return true;
}

} // namespace

void convert_listing(const char *in_name, const char *out_name, CONVERT_FAULT &fault) {
  CONVERTER_FILES files(in_name, out_name);
  WORD_READER reader{files.in()};
  std::vector<int> property;
  if (!read_listing_nodes(reader, files.writer) || !read_listing_groups(reader, property) ||
      !read_listing_elements(reader, property, files.writer))
    set_convert_fault(fault, reader.line);
  finish_pre_geom(files.writer);
}

} // namespace tesmora
