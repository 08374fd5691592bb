// The post-file writer table: binding by POST_DATA_FILE, the slots that write nothing, the stored
// data set of the formats that write at its end, and the geometry writer.
#include "results/post_writer.hpp"

#include "input/control_data.hpp"
#include "job/ffile.hpp"
#include "job/memory.hpp"
#include "materials/material_tables.hpp"
#include "mesh/model.hpp"
#include "results/post_formats/post_formats.hpp"

#include <algorithm>
#include <string>

namespace tesmora {
namespace {

POST_FORMAT_STATE the_state;
POST_WRITER the_writer = silent_post_writer();

bool is_output_material(int mat_id) {
  const MATERIAL_TABLES &t = material_tables();
  for (int k = 0; k < t.no_mat_properties; ++k)
    if (t.mat_properties[k].id == mat_id) return (t.mat_properties[k].flags & mat_output) != 0;
  return false;
}

bool is_output_surface_material(int id) {
  const MATERIAL_TABLES &t = material_tables();
  for (int k = 0; k < t.no_smat_properties; ++k)
    if (t.smat_properties[k].id == id) return (t.smat_properties[k].flags & 1u) != 0;
  return false;
}

void write_part_elements(const MESHED_MODEL &part, const POST_WRITER &writer, std::FILE *stream,
                         bool selected_only) {
  int nodes[max_element_nodes];
  for (int k = 0; k < part.no_v_elements; ++k) {
    const V_ELEMENT &e = part.v_elements[k];
    if (selected_only && !is_output_material(e.mat_id)) continue;
    for (int i = 0; i < e.type->no_nodes; ++i) nodes[i] = e.nodes[i]->id;
    writer.volume_element_row(stream, e.id, e, nodes, e.mat_id);
  }
  for (int k = 0; k < part.no_input_s_elements; ++k) {
    const S_ELEMENT &s = part.input_s_elements[k];
    if (selected_only && !is_output_surface_material(s.boundary_id)) continue;
    for (int i = 0; i < s.type->no_nodes; ++i) nodes[i] = s.nodes[i]->id;
    writer.surface_element_row(stream, s.id, s, nodes, s.boundary_id);
  }
  for (int k = 0; k < part.no_lines; ++k) {
    const MESH_LINE &line = part.lines[k];
    writer.line_element_row(stream, line.element_id, part.nodes[line.start].id, part.nodes[line.end].id,
                            line.mat_id);
  }
}

} // namespace

void write_nothing(std::FILE *) {}
void write_no_node_row(std::FILE *, int, double, double, double) {}
void write_no_volume_element(std::FILE *, int, const V_ELEMENT &, const int *, int) {}
void write_no_surface_element(std::FILE *, int, const S_ELEMENT &, const int *, int) {}
void write_no_line_element(std::FILE *, int, int, int, int) {}
void write_no_step_start(std::FILE *, int, int, double) {}
void write_no_block_start(std::FILE *, int, int, double, const char *, int) {}
void write_no_values(std::FILE *, int, int, const double *) {}
void write_no_element_values(std::FILE *, int, int, const double *, int) {}
void write_no_stored(std::FILE *, int, const char *, int, double) {}
void store_nothing(int, int, int, int) {}

POST_FORMAT_STATE &post_format_state() { return the_state; }

POST_WRITER bind_post_writer(int post_data_file, int wide) {
  free_stored();
  the_state = POST_FORMAT_STATE{};
  the_state.post_data_file = post_data_file;
  the_state.wide = wide;
  switch (post_data_file) {
  case 1:
  case 11:
    return unv_post_writer();
  case 2:
  case 15:
    return neutral_post_writer();
  case 3:
    return nastran_post_writer();
  case 4:
    return ksw_post_writer();
  case 5:
    return femap_post_writer();
  case 6:
    return cadas_post_writer();
  case 7:
    return abaqus_post_writer();
  case 8:
    return hyperview_post_writer();
  default:
    return silent_post_writer();
  }
}

const POST_WRITER &post_writer() { return the_writer; }
void set_post_writer(const POST_WRITER &writer) { the_writer = writer; }

int order_nodes(std::span<const int> order, const int *nodes, int *out) {
  for (std::size_t i = 0; i < order.size(); ++i) out[i] = order[i] > 0 ? nodes[order[i] - 1] : 0;
  return static_cast<int>(order.size());
}

int native_code(const V_ELEMENT_TYPE &type) {
  return type.conc_code > 0 ? type.conc_code : 300 + type.no_nodes_in_file;
}
int native_code(const S_ELEMENT_TYPE &type) {
  return type.conc_code > 0 ? type.conc_code : 200 + type.no_nodes;
}

void allocate_stored(int no_elements, int per_element, int no_nodes, int per_node) {
  free_stored();
  POST_FORMAT_STATE &s = the_state;
  s.no_elements = no_elements, s.per_element = per_element;
  s.no_nodes = no_nodes, s.per_node = per_node;
  const auto elements = static_cast<std::uint64_t>(std::max(no_elements, 0));
  const auto nodes = static_cast<std::uint64_t>(std::max(no_nodes, 0));
  s.stored_element_no = calloc_int(elements, "stored_element_no");
  s.stored_element_type = calloc_int(elements, "stored_element_type");
  s.stored_element_data =
      calloc_double(elements * static_cast<std::uint64_t>(per_element), "stored_element_data");
  s.stored_node_no = calloc_int(nodes, "stored_node_no");
  s.stored_node_dat = calloc_double(nodes * static_cast<std::uint64_t>(per_node), "stored_node_dat");
}

// Rows beyond the counts given to set_counts are dropped; missing values of a row stay 0.
void store_element_values(std::FILE *, int number, int count, const double *values, int type) {
  POST_FORMAT_STATE &s = the_state;
  if (s.no_stored_elements >= s.no_elements) return;
  const int row = s.no_stored_elements++;
  s.stored_element_no[row] = number;
  s.stored_element_type[row] = type;
  for (int j = 0; j < std::min(count, s.per_element); ++j)
    s.stored_element_data[static_cast<std::size_t>(row) * static_cast<std::size_t>(s.per_element) +
                          static_cast<std::size_t>(j)] = values[j];
}

void store_node_values(std::FILE *, int number, int count, const double *values) {
  POST_FORMAT_STATE &s = the_state;
  if (s.no_stored_nodes >= s.no_nodes) return;
  const int row = s.no_stored_nodes++;
  s.stored_node_no[row] = number;
  for (int j = 0; j < std::min(count, s.per_node); ++j)
    s.stored_node_dat[static_cast<std::size_t>(row) * static_cast<std::size_t>(s.per_node) +
                      static_cast<std::size_t>(j)] = values[j];
}

void free_stored() {
  POST_FORMAT_STATE &s = the_state;
  free_named(s.stored_element_no, "stored_element_no");
  free_named(s.stored_element_type, "stored_element_type");
  free_named(s.stored_element_data, "stored_element_data");
  free_named(s.stored_node_no, "stored_node_no");
  free_named(s.stored_node_dat, "stored_node_dat");
  s.stored_element_no = s.stored_element_type = s.stored_node_no = nullptr;
  s.stored_element_data = s.stored_node_dat = nullptr;
  s.no_elements = s.per_element = s.no_nodes = s.per_node = 0;
  s.no_stored_elements = s.no_stored_nodes = 0;
}

void write_geometry(const MESHED_MODEL &first_part, const POST_WRITER &writer, std::FILE *stream,
                    bool selected_only) {
  writer.file_start(stream);
  writer.nodes_start(stream);
  for (const MESHED_MODEL *part = &first_part; part; part = part->next)
    for (int i = 0; i < part->no_nodes; ++i) {
      const NODE &n = part->nodes[i];
      writer.node_row(stream, n.id, n.x, n.y, n.z);
    }
  writer.block_end(stream);
  writer.elements_start(stream);
  for (const MESHED_MODEL *part = &first_part; part; part = part->next)
    write_part_elements(*part, writer, stream, selected_only);
  writer.block_end(stream);
  writer.file_end(stream);
}

const char *post_geometry_extension(int post_data_file) {
  switch (post_data_file) {
  case 1:
  case 11:
    return ".unv";
  case 3:
  case 8:
    return ".nas";
  case 4:
    return ".ksw";
  case 5:
    return ".neu";
  case 6:
    return ".cad";
  case 7:
    return ".inp";
  default:
    return "";
  }
}

void write_geometry_file(const MESHED_MODEL &first_part) {
  const CONTROL_DATA &control = control_data();
  if (control.POST_DATA_FILE == 0 || !control.post.MESH) return;
  // The geometry of a HyperView job is a plain NASTRAN file: the ALTAIR head belongs to the
  // result stream.
  POST_WRITER writer = post_writer();
  if (control.POST_DATA_FILE == 8) writer.file_start = write_nothing;
  const std::string name = std::string("post_geom") + post_geometry_extension(control.POST_DATA_FILE);
  FFILE *file = create_ffile(name.c_str(), 0);
  write_geometry(first_part, writer, open_ffile(file, "w"), true);
  free_ffile(file, "ffile_post_geom");
}

} // namespace tesmora
