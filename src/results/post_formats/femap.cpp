// FEMAP neutral files (format 5): blocks between "   -1" lines, each opened by its number on a
// line of its own; results stored during a data set and written at its end as output vectors.
//
// An element is a degenerate brick of 20 node slots: a tetrahedron leaves slot 4 empty, a wedge
// slot 4 and slot 8, and the mid nodes take the brick's mid-node slots. Topology is the catalogue
// type's neutral_code; the element type is a solid or a plate, linear or parabolic.
#include "results/post_formats/femap.hpp"

#include "mesh/model.hpp"
#include "results/post_formats/post_formats.hpp"

#include <string>

namespace tesmora {
namespace {

constexpr int femap_slots = 20;
constexpr int femap_linear_solid = 25, femap_parabolic_solid = 26;
constexpr int femap_linear_plate = 17, femap_parabolic_plate = 18;

// Slot (0-based) of each local node of a shape, by the number of nodes of the type, and FEMAP's
// topology of the shape.
struct FEMAP_SHAPE {
  int no_nodes;
  bool volume;
  int topology;
  std::span<const int> slots; // local node i (0-based) -> slot
};

constexpr int brick_slots[20] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 10, 18, 16, 11, 19, 17, 9, 12, 13, 14, 15};
constexpr int wedge_slots[15] = {0, 1, 2, 4, 5, 6, 8, 9, 10, 16, 17, 18, 12, 13, 14};
constexpr int tetra_slots[10] = {0, 1, 2, 4, 8, 10, 12, 9, 14, 13};
constexpr int pyramid_slots[5] = {4, 0, 1, 2, 3}; // the apex is local node 1
constexpr int quad_slots[8] = {0, 1, 2, 3, 4, 6, 7, 5};
constexpr int triangle_slots[6] = {0, 1, 2, 4, 5, 6};

constexpr FEMAP_SHAPE femap_shapes[] = {
    {8, true, 8, std::span<const int>(brick_slots, 8)},
    {20, true, 12, brick_slots},
    {6, true, 7, std::span<const int>(wedge_slots, 6)},
    {15, true, 11, wedge_slots},
    {4, true, 6, std::span<const int>(tetra_slots, 4)},
    {10, true, 10, tetra_slots},
    {5, true, 14, pyramid_slots},
    {4, false, 4, std::span<const int>(quad_slots, 4)},
    {8, false, 5, quad_slots},
    {3, false, 2, std::span<const int>(triangle_slots, 3)},
    {6, false, 3, triangle_slots},
};

void write_block_number(POST_STREAM &out, int block) { std::fprintf(out.file, "   -1\n%6d\n", block); }

void write_element(POST_STREAM &out, int number, int property, int type, int topology, const int *slots) {
  std::fprintf(out.file, "%d,124,%d,%d,%d,1,0,0,\n", number, property, type, topology);
  for (int line = 0; line < 2; ++line) {
    for (int i = 0; i < femap_slots / 2; ++i)
      std::fprintf(out.file, "%d,", slots[line * femap_slots / 2 + i]);
    std::fprintf(out.file, "\n");
  }
  std::fprintf(out.file, "0.,0.,0.,\n0.,0.,0.,\n0.,0.,0.,\n0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n");
}

// Fills the 20 slots of a shape; null for a shape FEMAP has no topology for here.
const FEMAP_SHAPE *fill_slots(int no_nodes, bool volume, const int *nodes, int *slots) {
  for (const FEMAP_SHAPE &shape : femap_shapes)
    if (shape.no_nodes == no_nodes && shape.volume == volume) {
      for (int i = 0; i < no_nodes; ++i) slots[shape.slots[static_cast<std::size_t>(i)]] = nodes[i];
      return &shape;
    }
  return nullptr;
}

// One output vector of block 451: component `j` of the stored rows. Vector ids count from 1 for
// the element side and from 101 for the node side; a magnitude names its three components.
void write_vector(POST_STREAM &out, int step, const char *name, bool elements, int j) {
  const POST_STORED_SET &s = out.stored;
  const int rows = elements ? s.no_stored_elements : s.no_stored_nodes;
  const int per_row = elements ? s.per_element : s.per_node;
  const int id = (elements ? 1 : 101) + j;
  std::fprintf(out.file, "%d, %d,1,\n", step, id);
  std::fprintf(out.file, elements ? "%s-elem-%d\n" : "%s-node-%d\n", name, j + 1);
  std::fprintf(out.file, "0.,-1.,0.,\n");
  if (j == 3)
    std::fprintf(out.file, "%d,%d,%d,0,0,0,0,0,0,0,\n", id - 3, id - 2, id - 1);
  else
    std::fprintf(out.file, "%d,0,0,0,0,0,0,0,0,0,\n", id);
  std::fprintf(out.file, "0,0,0,0,0,0,0,0,0,0,\n");
  std::fprintf(out.file, elements ? "0,0,3,8,\n" : "0,0,3,7,\n");
  std::fprintf(out.file, j == 3 ? "1,1,1,\n" : "0,1,1,\n");
  for (int r = 0; r < rows; ++r) {
    const std::size_t at =
        static_cast<std::size_t>(r) * static_cast<std::size_t>(per_row) + static_cast<std::size_t>(j);
    std::fprintf(out.file, "%d, %13.5e,\n", elements ? s.stored_element_no[r] : s.stored_node_no[r],
                 elements ? s.stored_element_data[at] : s.stored_node_dat[at]);
  }
  std::fprintf(out.file, "-1,0.,\n");
}

// Block 1051: one row per entity with its number, its count of values and the values.
void write_rows(POST_STREAM &out, bool elements) {
  const POST_STORED_SET &s = out.stored;
  const int rows = elements ? s.no_stored_elements : s.no_stored_nodes;
  const int per_row = elements ? s.per_element : s.per_node;
  for (int r = 0; r < rows; ++r) {
    std::fprintf(out.file, "%d,%d,", elements ? s.stored_element_no[r] : s.stored_node_no[r], per_row);
    const double *v = (elements ? s.stored_element_data : s.stored_node_dat) +
                      static_cast<std::size_t>(r) * static_cast<std::size_t>(per_row);
    for (int j = 0; j < per_row; ++j) std::fprintf(out.file, "%.8e,", v[j]);
    std::fprintf(out.file, "\n");
  }
}

} // namespace

namespace femap {

void write_end(POST_STREAM &out) { std::fprintf(out.file, "   -1\n"); }

void write_header(POST_STREAM &out) {
  write_block_number(out, 100);
  std::fprintf(out.file, "<NULL>\n4.41,\n");
  write_end(out);
}

void write_node_block(POST_STREAM &out) { write_block_number(out, 403); }

void write_node(POST_STREAM &out, int number, double x, double y, double z) {
  std::fprintf(out.file, "%d,0,0,1,46,0,0,0,0,0,0,", number);
  std::fprintf(out.file, "%13.5e,%13.5e,%13.5e,\n", x, y, z);
}

void write_element_block(POST_STREAM &out) { write_block_number(out, 404); }

// The topology is the catalogue's neutral code, except for a type in a collapsed file form (a
// pyramid stored as a wedge), which goes as its true shape. Types FEMAP has no shape for (27-node
// bricks, 13-node pyramids) go as their first-order type.
void write_volume(POST_STREAM &out, int number, const V_ELEMENT &element, const int *nodes, int property) {
  const V_ELEMENT_TYPE *type = element.type;
  int slots[femap_slots] = {};
  const FEMAP_SHAPE *shape = fill_slots(type->no_nodes, true, nodes, slots);
  if (!shape) {
    type = find_v_element_type(type->linear_type);
    shape = fill_slots(type->no_nodes, true, nodes, slots);
  }
  if (!shape) return;
  const bool own_form = type->no_nodes_in_file == type->no_nodes && type->neutral_code >= 0;
  const int kind = type->linear_type == type->id ? femap_linear_solid : femap_parabolic_solid;
  write_element(out, number, property, kind, own_form ? type->neutral_code : shape->topology, slots);
}

// A 6-node triangle has no neutral code in the catalogue and goes by the shape's topology.
void write_surface(POST_STREAM &out, int number, const S_ELEMENT &element, const int *nodes, int property) {
  const S_ELEMENT_TYPE *type = element.type;
  int slots[femap_slots] = {};
  const FEMAP_SHAPE *shape = fill_slots(type->no_nodes, false, nodes, slots);
  if (!shape) return;
  const int kind = type->linear_type == type->id ? femap_linear_plate : femap_parabolic_plate;
  write_element(out, number, property, kind, type->neutral_code >= 0 ? type->neutral_code : shape->topology,
                slots);
}

void write_step(POST_STREAM &out, int step, int, double time) {
  write_block_number(out, 450);
  std::fprintf(out.file, "%d,\n", step);
  std::fprintf(out.file, "STEP:%d Time:%12.5e\n", step, time);
  std::fprintf(out.file, "0,3,\n%12.5e,\n1,\n<NULL>\n", time);
  write_end(out);
}

void write_stored(POST_STREAM &out, int step, const char *name, int, double) {
  const POST_STORED_SET &s = out.stored;
  write_block_number(out, out.wide != 0 ? 1051 : 451);
  for (bool elements : {true, false}) {
    if ((elements ? s.no_stored_elements : s.no_stored_nodes) == 0) continue;
    if (out.wide != 0) {
      write_rows(out, elements);
      continue;
    }
    for (int j = 0; j < (elements ? s.per_element : s.per_node); ++j)
      write_vector(out, step, name, elements, j);
  }
  write_end(out);
  free_stored(out);
}

} // namespace femap
} // namespace tesmora
