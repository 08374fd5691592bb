// The .ksw sheet (format 4): a head with the release and the local time, node and element rows,
// and result blocks written at the end of each data set from the stored values.
//
// A result block holds one vector (three components) or one scalar; a data set of four or five
// values per row gives the vector, its magnitude, and the quantity's scalar (Q, PHI, FLUX) as
// blocks of their own, each headed by its component count, its row count and its label.
#include "results/post_formats/ksw.hpp"

#include "input/control_data.hpp"
#include "mesh/model.hpp"
#include "results/post_formats/post_formats.hpp"

#include <ctime>

namespace tesmora {
namespace {

struct KSW_LABEL {
  int code;
  const char *label;
};

constexpr KSW_LABEL ksw_labels[] = {
    {1, "J -E-"},
    {2, "J -N-"},
    {3, "B -E-"},
    {4, "B -N-"},
    {5, "M -E-"},
    {6, "JxB -E-"},
    {7, "JxB -N-"},
    {8, "ForceNodal -E-"},
    {9, "ForceNodal -N-"},
    {10, "Dispacement -N-"},
    {11, "JSurface -E-"},
    {12, "JSurface -N-"},
    {13, "Joule Heat -E-"},
    {14, "Joule HeatSurface-E-"},
    {15, "RegPotential -N-"},
    {16, "RegField -E-"},
    {17, "E -E-"},
    {18, "E -N-"},
    {19, "Joule Heat t -E-"},
    {20, "Joule Heat t -N-"},
    {101, "Phi -N-"},
    {102, "Q -E-"},
    {103, "Q -N-"},
    {104, "QSurface -E-"},
    {105, "Qvol -E-"},
    {106, "QSurfacevol-E-"},
    {107, "QSurfacevol-E-"},
    {108, "Joule Heat tvol -E-"},
    {109, "Hysteresis  -E-"},
    {110, "Hysteresisvol -E-"},
    {111, "Joule Heat tvol -N-"},
    {112, "Hysteresis  -N-"},
    {113, "Hysteresisvol -N-"},
};

// Quantities given as scalars only (heat, regularized potential); the others are vectors.
bool is_scalar_code(int code) { return code == 13 || code == 14 || code == 15 || code == 19 || code == 20; }

// Node codes follow their element codes: 1 and 2, 3 and 4, and so on.
bool is_node_code(int code) {
  for (int c : {2, 4, 7, 9, 10, 12, 15, 18, 20})
    if (c == code) return true;
  return false;
}

// The code of the scalar that follows the vector and its magnitude (or the second value of a
// scalar quantity); the quantity's own code where it has none of its own.
int scalar_code(int code) {
  switch (code) {
  case 1:
    return 102;
  case 2:
    return 103;
  case 13:
    return 105;
  case 14:
    return 106;
  case 18:
    return 101;
  case 19:
    return 108;
  case 20:
    return 111;
  default:
    return code;
  }
}

constexpr int ksw_column_breaks[] = {6, 15}; // a new line begins behind these nodes

void write_element(POST_STREAM &out, int number, int type, int property, const int *nodes, int no_nodes) {
  std::fprintf(out.file, "  %8d%6d%8d%8d", number, type, property, no_nodes);
  for (int i = 0; i < no_nodes; ++i) {
    for (int b : ksw_column_breaks)
      if (i == b) std::fprintf(out.file, "\n        ");
    std::fprintf(out.file, "%8d", nodes[i]);
  }
  std::fprintf(out.file, "\n");
}

// One block: values first..first+width-1 of each stored row.
void write_block(POST_STREAM &out, bool elements, int label_code, int first, int width, double time) {
  const POST_STORED_SET &s = out.stored;
  const int rows = elements ? s.no_stored_elements : s.no_stored_nodes;
  const int per_row = elements ? s.per_element : s.per_node;
  std::fprintf(out.file, "%2d%8d %s\n", width, rows, ksw_label(label_code));
  std::fprintf(out.file, "         1     4\n");
  std::fprintf(out.file, "  %13.5e\n", time);
  for (int r = 0; r < rows; ++r) {
    const double *v = (elements ? s.stored_element_data : s.stored_node_dat) +
                      static_cast<std::size_t>(r) * static_cast<std::size_t>(per_row) +
                      static_cast<std::size_t>(first);
    if (elements)
      std::fprintf(out.file, "  %8d%6d            ", s.stored_element_no[r], s.stored_element_type[r]);
    else
      std::fprintf(out.file, "  %8d     ", s.stored_node_no[r]);
    for (int j = 0; j < width; ++j) std::fprintf(out.file, "%13.5e", v[j]);
    std::fprintf(out.file, "\n");
  }
}

// The blocks of one side (elements or nodes) of a data set.
void write_blocks(POST_STREAM &out, bool elements, int code, double time) {
  const POST_STORED_SET &s = out.stored;
  const int per_row = elements ? s.per_element : s.per_node;
  if ((elements ? s.no_stored_elements : s.no_stored_nodes) == 0 || per_row <= 0) return;
  if (is_scalar_code(code)) {
    for (int j = 0; j < per_row; ++j)
      write_block(out, elements, j == 0 ? code : scalar_code(code), j, 1, time);
    return;
  }
  write_block(out, elements, code, 0, per_row < 3 ? per_row : 3, time);
  for (int j = 3; j < per_row; ++j) write_block(out, elements, j == 3 ? code : scalar_code(code), j, 1, time);
}

} // namespace

const char *ksw_label(int code) {
  for (const KSW_LABEL &row : ksw_labels)
    if (row.code == code) return row.label;
  return "";
}

namespace ksw {

void write_head(POST_STREAM &out) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  std::fprintf(out.file, " 1\n");
  std::fprintf(out.file, "VERSION %5.1f DATE %4d/%02d/%02d TIME %2d:%02d:%02d\n", control_data().release,
               local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
               local.tm_sec);
  std::fprintf(out.file, " 2\n ***** Tesmora Results *****\n 3\n \n");
}

void write_node(POST_STREAM &out, int number, double x, double y, double z) {
  std::fprintf(out.file, "  %8d       0       0  000000       %13.5e%13.5e%13.5e\n", number, x, y, z);
}

void write_volume(POST_STREAM &out, int number, const V_ELEMENT &element, const int *nodes, int property) {
  int ordered[max_element_nodes];
  const int n = order_nodes(element.type->node_order_3, nodes, ordered);
  write_element(out, number, element.type->no_nodes, property, ordered, n);
}

void write_surface(POST_STREAM &out, int number, const S_ELEMENT &element, const int *nodes, int property) {
  int ordered[max_face_nodes];
  const int n = order_nodes(element.type->input_node_order, nodes, ordered);
  write_element(out, number, element.type->no_nodes, property, ordered, n);
}

void write_line(POST_STREAM &out, int number, int node1, int node2, int property) {
  const int nodes[2] = {node1, node2};
  write_element(out, number, 2, property, nodes, 2);
}

// The code given is that of the data set; its element and node sides take their own codes.
void write_stored(POST_STREAM &out, int, const char *, int code, double time) {
  const int element_code = is_node_code(code) && code != 10 && code != 15 ? code - 1 : code;
  const bool has_node_side = !is_node_code(element_code) && is_node_code(element_code + 1);
  write_blocks(out, true, element_code, time);
  write_blocks(out, false, has_node_side ? element_code + 1 : element_code, time);
  free_stored(out);
}

} // namespace ksw
} // namespace tesmora
