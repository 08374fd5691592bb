// What the post formats share (the slots that write nothing, node orders, the stored data set of
// the formats that write at its end) and the geometry writer with the job's geometry file.
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

void write_part_elements(const MESHED_MODEL &part, const POST_WRITER &writer, POST_STREAM &out,
                         bool selected_only) {
  int nodes[max_element_nodes];
  for (int k = 0; k < part.no_v_elements; ++k) {
    const V_ELEMENT &e = part.v_elements[k];
    if (selected_only && !is_output_material(e.mat_id)) continue;
    for (int i = 0; i < e.type->no_nodes; ++i) nodes[i] = e.nodes[i]->id;
    writer.volume_element_row(out, e.id, e, nodes, e.mat_id);
  }
  for (int k = 0; k < part.no_input_s_elements; ++k) {
    const S_ELEMENT &s = part.input_s_elements[k];
    if (selected_only && !is_output_surface_material(s.boundary_id)) continue;
    for (int i = 0; i < s.type->no_nodes; ++i) nodes[i] = s.nodes[i]->id;
    writer.surface_element_row(out, s.id, s, nodes, s.boundary_id);
  }
  for (int k = 0; k < part.no_lines; ++k) {
    const MESH_LINE &line = part.lines[k];
    writer.line_element_row(out, line.element_id, part.nodes[line.start].id, part.nodes[line.end].id,
                            line.mat_id);
  }
}

} // namespace

void write_nothing(POST_STREAM &) {}
void write_no_node_row(POST_STREAM &, int, double, double, double) {}
void write_no_volume_element(POST_STREAM &, int, const V_ELEMENT &, const int *, int) {}
void write_no_surface_element(POST_STREAM &, int, const S_ELEMENT &, const int *, int) {}
void write_no_line_element(POST_STREAM &, int, int, int, int) {}
void write_no_step_start(POST_STREAM &, int, int, double) {}
void write_no_block_start(POST_STREAM &, int, int, double, const char *, int) {}
void write_no_values(POST_STREAM &, int, int, const double *) {}
void write_no_element_values(POST_STREAM &, int, int, const double *, int) {}
void write_no_stored(POST_STREAM &, int, const char *, int, double) {}
void store_nothing(POST_STREAM &, int, int, int, int) {}

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

void allocate_stored(POST_STREAM &out, int no_elements, int per_element, int no_nodes, int per_node) {
  free_stored(out);
  POST_STORED_SET &s = out.stored;
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
void store_element_values(POST_STREAM &out, int number, int count, const double *values, int type) {
  POST_STORED_SET &s = out.stored;
  if (s.no_stored_elements >= s.no_elements) return;
  const int row = s.no_stored_elements++;
  s.stored_element_no[row] = number;
  s.stored_element_type[row] = type;
  for (int j = 0; j < std::min(count, s.per_element); ++j)
    s.stored_element_data[static_cast<std::size_t>(row) * static_cast<std::size_t>(s.per_element) +
                          static_cast<std::size_t>(j)] = values[j];
}

void store_node_values(POST_STREAM &out, int number, int count, const double *values) {
  POST_STORED_SET &s = out.stored;
  if (s.no_stored_nodes >= s.no_nodes) return;
  const int row = s.no_stored_nodes++;
  s.stored_node_no[row] = number;
  for (int j = 0; j < std::min(count, s.per_node); ++j)
    s.stored_node_dat[static_cast<std::size_t>(row) * static_cast<std::size_t>(s.per_node) +
                      static_cast<std::size_t>(j)] = values[j];
}

void free_stored(POST_STREAM &out) {
  POST_STORED_SET &s = out.stored;
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

void write_geometry(const MESHED_MODEL &first_part, const POST_WRITER &writer, POST_STREAM &out,
                    bool selected_only) {
  writer.file_start(out);
  writer.nodes_start(out);
  for (const MESHED_MODEL *part = &first_part; part; part = part->next)
    for (int i = 0; i < part->no_nodes; ++i) {
      const NODE &n = part->nodes[i];
      writer.node_row(out, n.id, n.x, n.y, n.z);
    }
  writer.block_end(out);
  writer.elements_start(out);
  for (const MESHED_MODEL *part = &first_part; part; part = part->next)
    write_part_elements(*part, writer, out, selected_only);
  writer.block_end(out);
  writer.file_end(out);
}

void write_geometry_file(const MESHED_MODEL &first_part, const POST_FORMAT &format) {
  const CONTROL_DATA &control = control_data();
  if (control.POST_DATA_FILE == 0 || !control.post.MESH) return;
  // A format may take its geometry from another one, without that one's head: the geometry of a
  // HyperView job is a plain NASTRAN file, as the ALTAIR head belongs to the result stream.
  POST_WRITER writer = find_post_format(format.geometry_code).writer;
  if (!format.geometry_head) writer.file_start = write_nothing;
  const std::string name = std::string("post_geom") + format.geometry_extension;
  FFILE *file = create_ffile(name.c_str(), 0);
  POST_STREAM out{.file = open_ffile(file, "w"), .wide = control.WIDE};
  write_geometry(first_part, writer, out, true);
  free_ffile(file, "ffile_post_geom");
}

} // namespace tesmora
