// The table of mesh converters, the driver that runs the one in force, and the writer of the
// native text that they all share.
#include "mesh/mesh_converters.hpp"

#include "job/report.hpp"
#include "job/run_files.hpp"

#include <cstring>
#include <string>

namespace tesmora {
namespace {

// INPUT_MESH_FILE 3 and 8 are both NASTRAN; 12 and 16 are both the listing (the format once
// at 12 is gone and its number kept the listing's entry).
constexpr MESH_CONVERTER converter_table[] = {
    {.input_mesh_file = 1, .extension = ".unv", .convert = convert_universal},
    {.input_mesh_file = 3, .extension = ".nas", .convert = convert_nastran},
    {.input_mesh_file = 4, .extension = ".ksw", .convert = convert_ksw},
    {.input_mesh_file = 5, .extension = ".neu", .convert = convert_neutral},
    {.input_mesh_file = 6, .extension = ".cad", .convert = convert_cad},
    {.input_mesh_file = 7, .extension = ".inp", .convert = convert_abaqus},
    {.input_mesh_file = 8, .extension = ".nas", .convert = convert_nastran},
    {.input_mesh_file = 12, .extension = ".msh", .convert = convert_listing},
    {.input_mesh_file = 16, .extension = ".msh", .convert = convert_listing},
};

#if defined(__SANITIZE_ADDRESS__)
constexpr bool check_slots = false; // the sanitizers keep the null tests of addresses alive
#else
constexpr bool check_slots = true;
#endif

consteval bool all_converters_filled() {
  for (const MESH_CONVERTER &c : converter_table)
    if (!c.extension || c.extension[0] != '.' || (check_slots && !c.convert)) return false;
  return true;
}
static_assert(all_converters_filled(), "a mesh converter row has an empty slot");

} // namespace

std::span<const MESH_CONVERTER> mesh_converters() { return converter_table; }

const MESH_CONVERTER *find_mesh_converter(int input_mesh_file) {
  for (const MESH_CONVERTER &c : converter_table)
    if (c.input_mesh_file == input_mesh_file) return &c;
  return nullptr;
}

void set_convert_fault(CONVERT_FAULT &fault, const char *line) {
  fault.error = 1;
  std::snprintf(fault.line, sizeof fault.line, "%s", line ? line : "");
  const std::size_t n = std::strcspn(fault.line, "\r\n");
  fault.line[n] = '\0';
}

void convert_mesh(const char *name, int input_mesh_file) {
  const MESH_CONVERTER *converter = find_mesh_converter(input_mesh_file);
  if (!converter) return;
  const std::string in_name = std::string(name) + converter->extension;
  CONVERT_FAULT fault;
  converter->convert(in_name.c_str(), name, fault);
  if (fault.error) {
    const FFILE *output = run_files().print_out;
    if (output && output->state != 0)
      write_report(output->stream, "**** Error in File %s near data ****\n** CARD ** %s\n", in_name.c_str(),
                   fault.line);
    write_fault("**** Error in File %s near data ****\n** CARD ** %s\n", in_name.c_str(), fault.line);
    stop_job(1);
  }
}

void write_grid_header(std::FILE *out) { std::fputs("GRID    (I12,3E17.8)\n", out); }

void write_node(std::FILE *out, int id, double x, double y, double z) {
  std::fprintf(out, "%12d %16.8e %16.8e %16.8e\n", id, x, y, z);
}

void write_end(std::FILE *out) { std::fprintf(out, "%12d\n", -1); }

void write_conc_header(std::FILE *out) { std::fputs("CONC    (8I12)\n", out); }

void write_element(std::FILE *out, int id, int code, int mat_id, const int *nodes, int no_nodes) {
  std::fprintf(out, "%12d%12d%12d", id, code, mat_id);
  int on_line = 3;
  for (int i = 0; i < no_nodes; ++i) {
    if (on_line == 8) {
      std::fputc('\n', out);
      on_line = 0;
    }
    std::fprintf(out, "%12d", nodes[i]);
    ++on_line;
  }
  std::fputc('\n', out);
}

void put_node(PRE_GEOM_WRITER &writer, int id, double x, double y, double z) {
  if (writer.block != 1) {
    if (writer.block != 0) write_end(writer.out);
    write_grid_header(writer.out);
    writer.block = 1;
  }
  write_node(writer.out, id, x, y, z);
}

void put_element(PRE_GEOM_WRITER &writer, int id, int code, int mat_id, const int *nodes, int no_nodes) {
  if (writer.block != 2) {
    if (writer.block != 0) write_end(writer.out);
    write_conc_header(writer.out);
    writer.block = 2;
  }
  write_element(writer.out, id, code, mat_id, nodes, no_nodes);
}

void finish_pre_geom(PRE_GEOM_WRITER &writer) {
  if (writer.block != 0) write_end(writer.out);
  writer.block = 0;
}

} // namespace tesmora
