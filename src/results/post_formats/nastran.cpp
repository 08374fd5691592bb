// NASTRAN bulk data (format 3) and HyperView ASCII results on NASTRAN geometry (format 8).
//
// Narrow output uses small fields of 8 columns, any WIDE setting the large fields of 16 with a
// star after the card name. Element names and node orders follow the native code of the element's
// catalogue type; a type NASTRAN has no card for is written as its first-order type.
#include "results/post_formats/nastran.hpp"

#include "mesh/model.hpp"
#include "results/post_formats/post_formats.hpp"

#include <cstring>

namespace tesmora {
namespace {

// The NASTRAN card of a native code and where its node slots find the element's local nodes.
struct NASTRAN_CARD {
  int code;
  const char *name;           // small-field name, padded to 8 columns
  const char *long_name;      // large-field name
  std::span<const int> order; // NASTRAN slot -> local node (1-based); empty: the native file order
};

// Corners first, then the mid nodes edge by edge in NASTRAN's order.
constexpr int hexa20_nastran[20] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 10, 13, 17, 18, 19, 20, 12, 15, 11, 14};
constexpr int prism15_nastran[15] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 13, 14, 15, 10, 11, 12};
constexpr int tetra10_nastran[10] = {1, 2, 3, 4, 5, 8, 6, 7, 10, 9};
constexpr int quad8_nastran[8] = {1, 2, 3, 4, 5, 8, 6, 7};

constexpr NASTRAN_CARD nastran_cards[] = {
    {308, "CHEXA   ", "CHEXA*  ", {}},
    {320, "CHEXA   ", "CHEXA*  ", hexa20_nastran},
    {306, "CPENTA  ", "CPENTA* ", {}},
    {315, "CPENTA  ", "CPENTA* ", prism15_nastran},
    {305, "CPYRAM  ", "CPYRAM* ", {}},
    {304, "CTETRA  ", "CTETRA* ", {}},
    {310, "CTETRA  ", "CTETRA* ", tetra10_nastran},
    {204, "CQUAD4  ", "CQUAD4* ", {}},
    {208, "CQUAD8  ", "CQUAD8* ", quad8_nastran},
    {203, "CTRIA3  ", "CTRIA3* ", {}},
};

const NASTRAN_CARD *find_card(int code) {
  for (const NASTRAN_CARD &card : nastran_cards)
    if (card.code == code) return &card;
  return nullptr;
}

// Card name, number and property, then node fields: 6 small or 2 large ones on the first line, 8
// or 4 on each continuation line behind its 8-column mark.
void write_card(POST_STREAM &out, const char *name, int number, int property, const int *nodes,
                int no_nodes) {
  const bool wide = out.wide != 0;
  const int width = wide ? 16 : 8;
  const int per_line = wide ? 4 : 8;
  std::fprintf(out.file, wide ? "%8s%16d%16d" : "%8s%8d%8d", name, number, property);
  int field = 2;
  for (int i = 0; i < no_nodes; ++i, ++field) {
    if (field == per_line) {
      std::fprintf(out.file, wide ? "\n*       " : "\n+       ");
      field = 0;
    }
    std::fprintf(out.file, "%*d", width, nodes[i]);
  }
  std::fprintf(out.file, "\n");
}

// The card of a type, when it has one that covers its nodes.
const NASTRAN_CARD *card_of(int code, int no_nodes) {
  const NASTRAN_CARD *card = find_card(code);
  return card && static_cast<int>(card->order.size()) <= no_nodes ? card : nullptr;
}

void write_element(POST_STREAM &out, int number, const NASTRAN_CARD &card, std::span<const int> file_order,
                   const int *nodes, int property) {
  int ordered[max_element_nodes];
  const int n = order_nodes(card.order.empty() ? file_order : card.order, nodes, ordered);
  write_card(out, out.wide != 0 ? card.long_name : card.name, number, property, ordered, n);
}

// The result-type line of a data-set code; null for codes HyperView gets no line for.
const char *result_type_line(int code) {
  switch (code) {
  case 1:
    return "$RESULT_TYPE = J-elem(v), J-elem-abs(s), Q-elem(s)\n";
  case 2:
    return "$RESULT_TYPE = J-node(v), J-node-abs(s), Q-node(s)\n";
  case 3:
    return "$RESULT_TYPE = B-elem(v), B-elem-abs(s)\n";
  case 4:
    return "$RESULT_TYPE = B-node(v), B-node-abs(s), FLUX(s)\n";
  case 5:
    return "$RESULT_TYPE = M-elem(v), M-elem-abs(s)\n";
  case 6:
    return "$RESULT_TYPE = JXB_F-elem(v), JXB_F-elem-abs(s)\n";
  case 7:
    return "$RESULT_TYPE = JXB_F-node(v), JXB_F-node-abs(s)\n";
  case 8:
    return "$RESULT_TYPE = NODAL_F-elem(v), NODAL_F-elem-abs(s)\n";
  case 9:
    return "$RESULT_TYPE = NODAL_F-node(v), NODAL_F-node-abs(s)\n";
  case 10:
    return "$RESULT_TYPE = DISP(v)(Anim Source)\n";
  case 11:
    return "$RESULT_TYPE = J-elem(v), J-elem-abs(s)\n";
  case 12:
    return "$RESULT_TYPE = J-node(v), J-node-abs(s)\n";
  case 13:
  case 14:
    return "$RESULT_TYPE = Q-elem(s), Q*V-elem-abs(s)\n";
  case 17:
    return "$RESULT_TYPE = E-elem(v), E-elem-abs(s)\n";
  case 18:
    return "$RESULT_TYPE = E-node(v), E-node-abs(s), PHI(s)\n";
  default:
    return nullptr;
  }
}

void write_binding(POST_STREAM &out, const char *binding, int code) {
  std::fprintf(out.file, "$BINDING = %s\n", binding);
  std::fprintf(out.file, "$COLUMN_INFO = ENTITY_ID\n");
  if (const char *line = result_type_line(code)) std::fprintf(out.file, "%s", line);
}

} // namespace

namespace nastran {

void write_begin_bulk(POST_STREAM &out) { std::fprintf(out.file, "BEGIN BULK\n"); }
void write_enddata(POST_STREAM &out) { std::fprintf(out.file, "ENDDATA\n"); }

void write_grid(POST_STREAM &out, int number, double x, double y, double z) {
  if (out.wide == 0) {
    std::fprintf(out.file, "GRID    %8d%8d%8.5f%8.5f%8.5f%8d%8d\n", number, 0, x, y, z, 0, 0);
    return;
  }
  // The continuation mark: "*G" and six characters of the node number, on both lines.
  char mark[16];
  std::snprintf(mark, sizeof mark, "%06d", number % 1000000);
  std::fprintf(out.file, "GRID*   %16d%16d%16.7e%16.7e", number, 0, x, y);
  std::fprintf(out.file, "*G%s\n*G%s", mark, mark);
  std::fprintf(out.file, "%16.7e%16d\n", z, 0);
}

// A 27-node brick is written by the 20 nodes of its serendipity form, a 13-node pyramid by its
// corners.
void write_volume(POST_STREAM &out, int number, const V_ELEMENT &element, const int *nodes, int property) {
  const V_ELEMENT_TYPE *type = element.type;
  const NASTRAN_CARD *card = card_of(native_code(*type), type->no_nodes);
  if (!card) {
    type = find_v_element_type(type->linear_type);
    card = card_of(native_code(*type), type->no_nodes);
  }
  if (card) write_element(out, number, *card, type->input_node_order, nodes, property);
}

void write_surface(POST_STREAM &out, int number, const S_ELEMENT &element, const int *nodes, int property) {
  const S_ELEMENT_TYPE *type = element.type;
  const NASTRAN_CARD *card = card_of(native_code(*type), type->no_nodes);
  if (!card) {
    type = find_s_element_type(type->linear_type);
    card = card_of(native_code(*type), type->no_nodes);
  }
  if (card) write_element(out, number, *card, type->input_node_order, nodes, property);
}

void write_bar(POST_STREAM &out, int number, int node1, int node2, int property) {
  const int nodes[2] = {node1, node2};
  write_card(out, out.wide != 0 ? "CBAR*" : "CBAR", number, property, nodes, 2);
}

} // namespace nastran

// HyperView ASCII results.
namespace hyperview {

void write_altair_head(POST_STREAM &out) {
  std::fprintf(out.file, "ALTAIR ASCII FILE\n");
  std::fprintf(out.file, "$TITLE   = $TITLE = ELECTROMAGNETIC ANALYSIS BY TESMORAPRO\n");
  std::fprintf(out.file, "$SUBCASE = 1\tSubcase 1\n");
}

void write_time(POST_STREAM &out, int, int, double time) {
  std::fprintf(out.file, out.wide != 0 ? "$TIME = %18.9e\n" : "$TIME = %12.3e\n", time);
}

void write_element_binding(POST_STREAM &out, int, int code, double, const char *, int) {
  write_binding(out, "ELEMENT", code);
}

void write_node_binding(POST_STREAM &out, int, int code, double, const char *, int) {
  write_binding(out, "NODE", code);
}

void write_values(POST_STREAM &out, int number, int count, const double *values) {
  std::fprintf(out.file, "%8d ", number);
  for (int j = 0; j < count; ++j) std::fprintf(out.file, out.wide != 0 ? "%17.8e" : "%14.5e", values[j]);
  std::fprintf(out.file, "\n");
}

void write_element_values(POST_STREAM &out, int number, int count, const double *values, int) {
  write_values(out, number, count, values);
}

} // namespace hyperview
} // namespace tesmora
