// The table of post formats: per POST_DATA_FILE value the files a job writes and the twenty
// writer slots, every member in one place. A new format is one row here and its functions in a
// file of its own.
#include "results/post_formats/abaqus.hpp"
#include "results/post_formats/cadas.hpp"
#include "results/post_formats/femap.hpp"
#include "results/post_formats/ksw.hpp"
#include "results/post_formats/nastran.hpp"
#include "results/post_formats/neutral.hpp"
#include "results/post_formats/post_formats.hpp"
#include "results/post_formats/unv.hpp"
#include "results/post_writer.hpp"

#include <string_view>

namespace tesmora {
namespace {

constexpr int silent_codes[] = {0};
constexpr int unv_codes[] = {1, 11};
constexpr int neutral_codes[] = {2, 15};
constexpr int nastran_codes[] = {3};
constexpr int ksw_codes[] = {4};
constexpr int femap_codes[] = {5};
constexpr int cadas_codes[] = {6};
constexpr int abaqus_codes[] = {7};
constexpr int hyperview_codes[] = {8};

// The silent format comes first: find_post_format falls back on it.
constexpr POST_FORMAT post_format_table[] = {
    {.name = "none",
     .codes = silent_codes,
     .geometry_extension = "",
     .single_file = nullptr,
     .geometry_head = true,
     .geometry_code = 0,
     .writer = {.file_start = write_nothing,
                .file_end = write_nothing,
                .block_end = write_nothing,
                .step_block_end = write_nothing,
                .nodes_start = write_nothing,
                .node_row = write_no_node_row,
                .elements_start = write_nothing,
                .volume_element_row = write_no_volume_element,
                .surface_element_row = write_no_surface_element,
                .line_element_row = write_no_line_element,
                .step_start = write_no_step_start,
                .element_block_start = write_no_block_start,
                .node_block_start = write_no_block_start,
                .displacement_block_start = write_no_block_start,
                .node_value_row = write_no_values,
                .element_value_row = write_no_element_values,
                .displacement_row = write_no_values,
                .end_of_block = write_nothing,
                .flush_stored = write_no_stored,
                .set_counts = store_nothing}},
    {.name = "universal file",
     .codes = unv_codes,
     .geometry_extension = ".unv",
     .single_file = nullptr,
     .geometry_head = true,
     .geometry_code = 1,
     .writer = {.file_start = write_nothing,
                .file_end = write_nothing,
                .block_end = unv::write_delimiter,
                .step_block_end = write_nothing,
                .nodes_start = unv::write_node_set,
                .node_row = unv::write_node,
                .elements_start = unv::write_element_set,
                .volume_element_row = unv::write_volume,
                .surface_element_row = unv::write_surface,
                .line_element_row = unv::write_line,
                .step_start = write_no_step_start,
                .element_block_start = unv::write_element_head,
                .node_block_start = unv::write_node_head,
                .displacement_block_start = unv::write_node_head,
                .node_value_row = unv::write_values,
                .element_value_row = unv::write_element_values,
                .displacement_row = unv::write_values,
                .end_of_block = unv::write_delimiter,
                .flush_stored = write_no_stored,
                .set_counts = store_nothing}},
    {.name = "in-house neutral text",
     .codes = neutral_codes,
     .geometry_extension = "",
     .single_file = nullptr,
     .geometry_head = true,
     .geometry_code = 2,
     .writer = {.file_start = write_nothing,
                .file_end = write_nothing,
                .block_end = neutral::write_terminator,
                .step_block_end = write_nothing,
                .nodes_start = neutral::write_grid_head,
                .node_row = neutral::write_node,
                .elements_start = neutral::write_conc_head,
                .volume_element_row = neutral::write_volume,
                .surface_element_row = neutral::write_surface,
                .line_element_row = neutral::write_line,
                .step_start = neutral::write_step,
                .element_block_start = neutral::write_stress_head,
                .node_block_start = neutral::write_result_head,
                .displacement_block_start = neutral::write_displacement_head,
                .node_value_row = neutral::write_values,
                .element_value_row = neutral::write_element_values,
                .displacement_row = neutral::write_values,
                .end_of_block = neutral::write_terminator,
                .flush_stored = write_no_stored,
                .set_counts = store_nothing}},
    {.name = "NASTRAN bulk data",
     .codes = nastran_codes,
     .geometry_extension = ".nas",
     .single_file = nullptr,
     .geometry_head = true,
     .geometry_code = 3,
     .writer = {.file_start = write_nothing,
                .file_end = nastran::write_enddata,
                .block_end = write_nothing,
                .step_block_end = write_nothing,
                .nodes_start = nastran::write_begin_bulk,
                .node_row = nastran::write_grid,
                .elements_start = write_nothing,
                .volume_element_row = nastran::write_volume,
                .surface_element_row = nastran::write_surface,
                .line_element_row = nastran::write_bar,
                .step_start = write_no_step_start,
                .element_block_start = write_no_block_start,
                .node_block_start = write_no_block_start,
                .displacement_block_start = write_no_block_start,
                .node_value_row = write_no_values,
                .element_value_row = write_no_element_values,
                .displacement_row = write_no_values,
                .end_of_block = write_nothing,
                .flush_stored = write_no_stored,
                .set_counts = store_nothing}},
    {.name = ".ksw sheet",
     .codes = ksw_codes,
     .geometry_extension = ".ksw",
     .single_file = nullptr,
     .geometry_head = true,
     .geometry_code = 4,
     .writer = {.file_start = ksw::write_head,
                .file_end = write_nothing,
                .block_end = write_nothing,
                .step_block_end = write_nothing,
                .nodes_start = write_nothing,
                .node_row = ksw::write_node,
                .elements_start = write_nothing,
                .volume_element_row = ksw::write_volume,
                .surface_element_row = ksw::write_surface,
                .line_element_row = ksw::write_line,
                .step_start = write_no_step_start,
                .element_block_start = write_no_block_start,
                .node_block_start = write_no_block_start,
                .displacement_block_start = write_no_block_start,
                .node_value_row = store_node_values,
                .element_value_row = store_element_values,
                .displacement_row = store_node_values,
                .end_of_block = write_nothing,
                .flush_stored = ksw::write_stored,
                .set_counts = allocate_stored}},
    {.name = "FEMAP neutral file",
     .codes = femap_codes,
     .geometry_extension = ".neu",
     .single_file = nullptr,
     .geometry_head = true,
     .geometry_code = 5,
     .writer = {.file_start = femap::write_header,
                .file_end = write_nothing,
                .block_end = femap::write_end,
                .step_block_end = write_nothing,
                .nodes_start = femap::write_node_block,
                .node_row = femap::write_node,
                .elements_start = femap::write_element_block,
                .volume_element_row = femap::write_volume,
                .surface_element_row = femap::write_surface,
                .line_element_row = write_no_line_element,
                .step_start = femap::write_step,
                .element_block_start = write_no_block_start,
                .node_block_start = write_no_block_start,
                .displacement_block_start = write_no_block_start,
                .node_value_row = store_node_values,
                .element_value_row = store_element_values,
                .displacement_row = store_node_values,
                .end_of_block = write_nothing,
                .flush_stored = femap::write_stored,
                .set_counts = allocate_stored}},
    {.name = "CADAS file",
     .codes = cadas_codes,
     .geometry_extension = ".cad",
     .single_file = "post.cad",
     .geometry_head = true,
     .geometry_code = 6,
     .writer = {.file_start = cadas::write_head,
                .file_end = write_nothing,
                .block_end = write_nothing,
                .step_block_end = write_nothing,
                .nodes_start = write_nothing,
                .node_row = cadas::write_node,
                .elements_start = write_nothing,
                .volume_element_row = cadas::write_volume,
                .surface_element_row = cadas::write_surface,
                .line_element_row = cadas::write_line,
                .step_start = write_no_step_start,
                .element_block_start = write_no_block_start,
                .node_block_start = write_no_block_start,
                .displacement_block_start = write_no_block_start,
                .node_value_row = store_node_values,
                .element_value_row = store_element_values,
                .displacement_row = store_node_values,
                .end_of_block = write_nothing,
                .flush_stored = cadas::write_stored,
                .set_counts = allocate_stored}},
    {.name = "ABAQUS input",
     .codes = abaqus_codes,
     .geometry_extension = ".inp",
     .single_file = nullptr,
     .geometry_head = true,
     .geometry_code = 7,
     .writer = {.file_start = abaqus::start_file,
                .file_end = write_nothing,
                .block_end = write_nothing,
                .step_block_end = write_nothing,
                .nodes_start = abaqus::write_node_list,
                .node_row = abaqus::write_node,
                .elements_start = abaqus::start_elements,
                .volume_element_row = abaqus::write_volume,
                .surface_element_row = abaqus::write_surface,
                .line_element_row = abaqus::write_line,
                .step_start = abaqus::write_step,
                .element_block_start = abaqus::write_element_head,
                .node_block_start = abaqus::write_node_head,
                .displacement_block_start = abaqus::write_node_head,
                .node_value_row = abaqus::write_values,
                .element_value_row = abaqus::write_element_values,
                .displacement_row = abaqus::write_values,
                .end_of_block = write_nothing,
                .flush_stored = write_no_stored,
                .set_counts = store_nothing}},
    // Results in the ALTAIR layout; the geometry is a plain NASTRAN file, without the ALTAIR head
    // that belongs to the result stream.
    {.name = "HyperView ASCII",
     .codes = hyperview_codes,
     .geometry_extension = ".nas",
     .single_file = "post.hwascii",
     .geometry_head = false,
     .geometry_code = 3,
     .writer = {.file_start = hyperview::write_altair_head,
                .file_end = nastran::write_enddata,
                .block_end = write_nothing,
                .step_block_end = write_nothing,
                .nodes_start = nastran::write_begin_bulk,
                .node_row = nastran::write_grid,
                .elements_start = write_nothing,
                .volume_element_row = nastran::write_volume,
                .surface_element_row = nastran::write_surface,
                .line_element_row = nastran::write_bar,
                .step_start = hyperview::write_time,
                .element_block_start = hyperview::write_element_binding,
                .node_block_start = hyperview::write_node_binding,
                .displacement_block_start = hyperview::write_node_binding,
                .node_value_row = hyperview::write_values,
                .element_value_row = hyperview::write_element_values,
                .displacement_row = hyperview::write_values,
                .end_of_block = write_nothing,
                .flush_stored = write_no_stored,
                .set_counts = store_nothing}},
};

// The row answering a code; null for a code no row answers.
constexpr const POST_FORMAT *find_row(int code) {
  for (const POST_FORMAT &format : post_format_table)
    for (int c : format.codes)
      if (c == code) return &format;
  return nullptr;
}

// GCC cannot fold the null test of an external function's address under the sanitizers; there
// the slots are checked by the test of the table alone.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool check_slots = false;
#else
constexpr bool check_slots = true;
#endif

// Every row names its files and fills every slot; each code belongs to one row only; a format's
// geometry comes from a row with the same file extension; the silent row is the first and
// answers 0.
consteval bool table_is_complete() {
  for (const POST_FORMAT &format : post_format_table) {
    if (!format.name || !format.geometry_extension || format.codes.empty()) return false;
    if (check_slots && !all_slots_filled(format.writer)) return false;
    for (int code : format.codes)
      if (find_row(code) != &format) return false;
    const POST_FORMAT *geometry = find_row(format.geometry_code);
    if (!geometry || std::string_view(geometry->geometry_extension) != format.geometry_extension)
      return false;
  }
  return find_row(0) == &post_format_table[0];
}
static_assert(table_is_complete());

} // namespace

std::span<const POST_FORMAT> post_formats() { return post_format_table; }

const POST_FORMAT &find_post_format(int post_data_file) {
  const POST_FORMAT *format = find_row(post_data_file);
  return format ? *format : post_format_table[0];
}

} // namespace tesmora
