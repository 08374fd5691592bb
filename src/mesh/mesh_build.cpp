// From the raw nodes and elements of a reader to the model's arrays: the material check, the
// node array sorted by identity with its doubled-node check, the element types of the file
// codes (collapsed prisms and hexahedra included) and the pooled node arrays.
#include "mesh/raw_mesh.hpp"

#include "job/memory.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"

#include <algorithm>
#include <cstdarg>
#include <limits>

namespace tesmora {
namespace {

// A mesh fault goes to the report and to the check and stderr files; then the job stops.
[[noreturn, gnu::format(printf, 1, 2)]] void stop_on_mesh_fault(const char *format, ...) {
  char text[512];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  const FFILE *output = run_files().print_out;
  if (output && output->state != 0) {
    write_report(output->stream, "%s", text);
    std::fflush(output->stream);
  }
  write_fault("%s", text);
  stop_job(1);
}

std::FILE *report_stream() {
  const FFILE *output = run_files().print_out;
  return output && output->state != 0 ? output->stream : nullptr;
}

int node_count_of(int code) { return code > 0 ? code % 100 : 0; }

// Walks the element stream: calls visit(id, code, mat_id, node_ids) per element.
template <class VISIT> void for_each_raw_element(RAW_MESH &raw, VISIT visit) {
  std::int64_t at = 0;
  while (at < raw.no_element_ints) {
    int *e = &raw.elements[at];
    visit(e[0], e[1], e[2], e + 3);
    at += 3 + node_count_of(e[1]);
  }
}

void check_material_ids(RAW_MESH &raw) {
  for_each_raw_element(raw, [](int id, int, int mat_id, int *) {
    if (mat_id < 1) stop_on_mesh_fault("**** mat_id is not defined in element No. %d****\n", id);
  });
}

// The node array sorted by identity. A file in ascending order needs no sort; otherwise a
// stable sort keeps equal identities in file order, so the doubled node reported is the first
// repetition met in the file, as an insertion in reading order would meet it.
void make_sorted_nodes(RAW_MESH &raw, MESHED_MODEL &mesh) {
  RAW_NODE *begin = raw.nodes.data();
  RAW_NODE *end = begin + raw.no_nodes;
  const auto by_id = [](const RAW_NODE &a, const RAW_NODE &b) { return a.id < b.id; };
  if (!std::is_sorted(begin, end, by_id)) std::stable_sort(begin, end, by_id);
  int first_repeat = std::numeric_limits<int>::max();
  int repeated_id = 0;
  for (int i = 1; i < raw.no_nodes; ++i)
    if (begin[i].id == begin[i - 1].id && begin[i].order < first_repeat) {
      first_repeat = begin[i].order;
      repeated_id = begin[i].id;
    }
  if (first_repeat != std::numeric_limits<int>::max())
    stop_on_mesh_fault("**** Node No.%d is input in double ****\n", repeated_id);
  mesh.no_nodes = raw.no_nodes;
  mesh.nodes =
      static_cast<NODE *>(calloc_named(static_cast<std::uint64_t>(raw.no_nodes), sizeof(NODE), "nodes"));
  for (int i = 0; i < raw.no_nodes; ++i) {
    NODE &node = mesh.nodes[i];
    node.id = begin[i].id;
    node.x = begin[i].x, node.y = begin[i].y, node.z = begin[i].z;
  }
  mesh.min_node_id = raw.no_nodes > 0 ? begin[0].id : 0;
  mesh.max_node_id = raw.no_nodes > 0 ? begin[raw.no_nodes - 1].id : 0;
  raw.nodes.release();
}

// Rotates a ring of `length` entries starting at `first` left by `shift`.
void rotate_ring(int *ids, int first, int length, int shift) {
  std::rotate(ids + first, ids + first + shift, ids + first + length);
}

// A 6-node prism whose vertical pair i coincides is a pyramid; the pair is brought first.
bool collapse_prism6(int *ids) {
  for (int i = 0; i < 3; ++i)
    if (ids[i] == ids[i + 3]) {
      rotate_ring(ids, 0, 3, i);
      rotate_ring(ids, 3, 3, i);
      return true;
    }
  return false;
}

// The same for the 15-node prism: lower ring of corners and mid nodes, the vertical mid nodes,
// the upper ring. Only the first corner's pair makes the degenerate pyramid directly.
bool collapse_prism15(int *ids) {
  if (ids[0] == ids[9]) return true;
  for (int corner = 1; corner < 3; ++corner)
    if (ids[2 * corner] == ids[9 + 2 * corner]) {
      rotate_ring(ids, 0, 6, 2 * corner);
      rotate_ring(ids, 6, 3, corner);
      rotate_ring(ids, 9, 6, 2 * corner);
      return true;
    }
  return false;
}

// The volume type of a file code; collapsed forms rewrite the node identities in place.
const V_ELEMENT_TYPE *volume_type_of(int code, int *ids, const MESH_READ_SETTINGS &s) {
  bool collapsed = false;
  int type_code = code;
  if (code == 306) collapsed = collapse_prism6(ids);
  if (code == 308 && collapse_hexa(ids)) {
    collapsed = true;
    type_code = 306;
  }
  if (code == 315) collapsed = collapse_prism15(ids);
  return select_v_element_type(type_code, collapsed, s.node_order, s.edge_order, s.quad_tri);
}

int find_element_node(const MESHED_MODEL &mesh, int node_id, int element_id) {
  const int at = find_node(mesh.nodes, 0, mesh.no_nodes - 1, node_id);
  if (at < 0 || mesh.nodes[at].id != node_id)
    stop_on_mesh_fault("**** Node %d is not found for element No. %d****\n", node_id, element_id);
  return at;
}

// Puts each file position's node at its local place, input_node_order[i] - 1.
void place_nodes(MESHED_MODEL &mesh, std::span<const int> input_order, const int *ids, int element_id,
                 NODE **out) {
  for (std::size_t i = 0; i < input_order.size(); ++i) {
    const int local = input_order[i] - 1;
    out[local] = &mesh.nodes[find_element_node(mesh, ids[i], element_id)];
  }
}

void allocate_elements(const RAW_MESH &raw, MESHED_MODEL &mesh) {
  mesh.no_v_elements = raw.no_v_elements;
  mesh.no_input_s_elements = raw.no_s_elements;
  mesh.no_lines = raw.no_lines;
  mesh.v_elements = static_cast<V_ELEMENT *>(
      calloc_named(static_cast<std::uint64_t>(raw.no_v_elements), sizeof(V_ELEMENT), "v_elements"));
  mesh.input_s_elements = static_cast<S_ELEMENT *>(calloc_named(static_cast<std::uint64_t>(raw.no_s_elements),
                                                                sizeof(S_ELEMENT), "total_input_s_elements"));
  mesh.lines = static_cast<MESH_LINE *>(
      calloc_named(static_cast<std::uint64_t>(raw.no_lines), sizeof(MESH_LINE), "mesh lines"));
}

// First pass: the type of every element and the length of the pooled node arrays.
std::int64_t assign_types(RAW_MESH &raw, MESHED_MODEL &mesh, const MESH_READ_SETTINGS &settings) {
  std::int64_t pool = 0;
  int v = 0, s = 0;
  for_each_raw_element(raw, [&](int id, int code, int mat_id, int *ids) {
    if (is_volume_code(code)) {
      V_ELEMENT &element = mesh.v_elements[v++];
      element.id = id;
      element.mat_id = mat_id;
      element.type = volume_type_of(code, ids, settings);
      pool += element.type->no_nodes_in_file;
    } else if (is_surface_code(code)) {
      S_ELEMENT &element = mesh.input_s_elements[s++];
      element.id = id;
      element.boundary_id = mat_id;
      element.kind = s_mesh_boundary;
      element.type = select_s_element_type(code);
      pool += element.type->no_nodes;
    }
  });
  return pool;
}

// Second pass: node arrays in catalogue order, then the linear types where NODE_ORDER is 1.
void assign_nodes(RAW_MESH &raw, MESHED_MODEL &mesh, const MESH_READ_SETTINGS &settings) {
  std::int64_t pool = 0;
  int v = 0, s = 0, l = 0;
  for_each_raw_element(raw, [&](int id, int code, int mat_id, int *ids) {
    if (is_volume_code(code)) {
      V_ELEMENT &element = mesh.v_elements[v++];
      element.nodes = mesh.node_pointers + pool;
      pool += element.type->no_nodes_in_file;
      place_nodes(mesh, element.type->input_node_order, ids, id, element.nodes);
      if (settings.node_order == 1) element.type = find_v_element_type(element.type->linear_type);
    } else if (is_surface_code(code)) {
      S_ELEMENT &element = mesh.input_s_elements[s++];
      element.nodes = mesh.node_pointers + pool;
      pool += element.type->no_nodes;
      place_nodes(mesh, element.type->input_node_order, ids, id, element.nodes);
      if (settings.node_order == 1) element.type = find_s_element_type(element.type->linear_type);
    } else {
      MESH_LINE &line = mesh.lines[l++];
      line.mat_id = mat_id;
      line.element_id = id;
      line.start = find_element_node(mesh, ids[0], id);
      line.end = find_element_node(mesh, ids[1], id);
    }
  });
}

void write_read_report(const MESHED_MODEL &mesh, int nodes_only, const char *file_name) {
  std::FILE *out = report_stream();
  write_report(out, "*** %s file has been read ******************\n", file_name);
  if (!nodes_only) {
    int min_id = 0, max_id = 0;
    bool first = true;
    const auto take = [&](int id) {
      min_id = first ? id : std::min(min_id, id);
      max_id = first ? id : std::max(max_id, id);
      first = false;
    };
    for (int i = 0; i < mesh.no_v_elements; ++i) take(mesh.v_elements[i].id);
    for (int i = 0; i < mesh.no_input_s_elements; ++i) take(mesh.input_s_elements[i].id);
    write_report(out, "    Number of elements %d : min %d : max %d\n",
                 mesh.no_v_elements + mesh.no_input_s_elements, min_id, max_id);
  }
  write_report(out, "    Number of nodes    %d : min %d : max %d\n\n", mesh.no_nodes, mesh.min_node_id,
               mesh.max_node_id);
}

} // namespace

bool is_volume_code(int code) {
  switch (code) {
  case 304:
  case 305:
  case 306:
  case 308:
  case 310:
  case 315:
  case 320:
    return true;
  default:
    return false;
  }
}

bool is_surface_code(int code) { return code == 203 || code == 204 || code == 206 || code == 208; }

void add_raw_node(RAW_MESH &raw, int id, double x, double y, double z) {
  if (raw.no_nodes == raw.nodes.size()) raw.nodes.resize(std::max<std::int64_t>(1024, 2 * raw.nodes.size()));
  raw.nodes[raw.no_nodes] = RAW_NODE{.id = id, .order = raw.no_nodes, .x = x, .y = y, .z = z};
  ++raw.no_nodes;
}

bool add_raw_element(RAW_MESH &raw, int id, int code, int mat_id, const int *node_ids, int want_lines) {
  const bool volume = is_volume_code(code);
  const bool surface = is_surface_code(code);
  const bool line = code == 102 && want_lines;
  if (!volume && !surface && !line) return false;
  const int n = node_count_of(code);
  if (raw.no_element_ints + 3 + n > raw.elements.size())
    raw.elements.resize(std::max<std::int64_t>(4096, 2 * raw.elements.size()));
  int *e = &raw.elements[raw.no_element_ints];
  e[0] = id, e[1] = code, e[2] = mat_id;
  std::copy(node_ids, node_ids + n, e + 3);
  raw.no_element_ints += 3 + n;
  raw.no_v_elements += volume ? 1 : 0;
  raw.no_s_elements += surface ? 1 : 0;
  raw.no_lines += line ? 1 : 0;
  return true;
}

bool collapse_hexa(int *nodes) {
  const int a1 = nodes[0], a2 = nodes[1], a3 = nodes[2], a4 = nodes[3];
  const int b1 = nodes[4], b2 = nodes[5], b3 = nodes[6], b4 = nodes[7];
  int r[5];
  if (a1 == a2 && a2 == a3 && a3 == a4)
    r[0] = a1, r[1] = b4, r[2] = b1, r[3] = b3, r[4] = b2;
  else if (b1 == b2 && b2 == b3 && b3 == b4)
    r[0] = b1, r[1] = a1, r[2] = a4, r[3] = a2, r[4] = a3;
  else if (a1 == a2 && a2 == b2 && b2 == b1)
    r[0] = a1, r[1] = a4, r[2] = b4, r[3] = a3, r[4] = b3;
  else if (a2 == a3 && a3 == b3 && b3 == b2)
    r[0] = a2, r[1] = a1, r[2] = b1, r[3] = a4, r[4] = b4;
  else if (a3 == a4 && a4 == b4 && b4 == b3)
    r[0] = a3, r[1] = a2, r[2] = b2, r[3] = a1, r[4] = b1;
  else if (a4 == b4 && b4 == b1 && b1 == a1)
    r[0] = a4, r[1] = a3, r[2] = b3, r[3] = a2, r[4] = b2;
  else if (a1 == a4 && b1 == b4 && a3 == b3)
    r[0] = a3, r[1] = a1, r[2] = a2, r[3] = b1, r[4] = b2;
  else
    return false;
  // (p, q, r, p, s, t)
  nodes[0] = r[0], nodes[1] = r[1], nodes[2] = r[2], nodes[3] = r[0], nodes[4] = r[3], nodes[5] = r[4];
  return true;
}

void build_mesh_records(RAW_MESH &raw, MESHED_MODEL &mesh, int nodes_only, const MESH_READ_SETTINGS &settings,
                        const char *file_name) {
  if (!nodes_only) check_material_ids(raw);
  make_sorted_nodes(raw, mesh);
  if (!nodes_only) {
    allocate_elements(raw, mesh);
    mesh.no_node_pointers = assign_types(raw, mesh, settings);
    mesh.node_pointers = static_cast<NODE **>(
        calloc_named(static_cast<std::uint64_t>(mesh.no_node_pointers), sizeof(NODE *), "node_pointers"));
    assign_nodes(raw, mesh, settings);
  }
  raw.elements.release();
  write_read_report(mesh, nodes_only, file_name);
}

void free_mesh_arrays(MESHED_MODEL &mesh) { free_model_arrays(mesh); }

} // namespace tesmora
