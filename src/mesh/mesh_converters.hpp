// The converters of foreign mesh files into the native "pre_geom" text: their table, the
// driver that runs the one in force, and the writer of GRID and CONC blocks they share.
#pragma once

#include "input/card_reader.hpp"

#include <cstdio>
#include <span>

namespace tesmora {

// What a converter reports: error 1 and the line at fault (without its newline).
struct CONVERT_FAULT {
  int error = 0;
  char line[card_length + 1] = {};
};

// A converter reads file in_name and writes the native text to out_name (both job file names,
// under the work directory). A card error sets `fault` and returns.
using CONVERT_MESH = void (*)(const char *in_name, const char *out_name, CONVERT_FAULT &fault);

// One row of the table: the INPUT_MESH_FILE value, the ending of the input name and the
// converter. A value has at most one row; values without one need no conversion.
struct MESH_CONVERTER {
  int input_mesh_file;
  const char *extension; // appended to the mesh name, ".unv" for instance
  CONVERT_MESH convert;
};

std::span<const MESH_CONVERTER> mesh_converters();
// The row for an INPUT_MESH_FILE value, or null for a value read without conversion.
const MESH_CONVERTER *find_mesh_converter(int input_mesh_file);

// Runs the converter of `input_mesh_file` from name + extension to `name`. A card error writes
// "**** Error in File %s near data ****" with the line at fault and stops the job.
void convert_mesh(const char *name, int input_mesh_file);

// Records the line at fault (its newline dropped) and sets the error flag.
void set_convert_fault(CONVERT_FAULT &fault, const char *line);

// The native text as the converters write it: GRID blocks of "(I12,3E17.8)" nodes and CONC
// blocks of elements, a terminator -1 between blocks and at the end.
struct PRE_GEOM_WRITER {
  std::FILE *out = nullptr;
  int block = 0; // 0 none open, 1 GRID, 2 CONC
};
void write_grid_header(std::FILE *out);
void write_node(std::FILE *out, int id, double x, double y, double z);
void write_end(std::FILE *out);
void write_conc_header(std::FILE *out);
// id, code and mat_id, then the node identities nodes[0..no_nodes-1], 8 integers a line.
void write_element(std::FILE *out, int id, int code, int mat_id, const int *nodes, int no_nodes);
// Node and element writes that open a new block when the other kind was being written.
void put_node(PRE_GEOM_WRITER &writer, int id, double x, double y, double z);
void put_element(PRE_GEOM_WRITER &writer, int id, int code, int mat_id, const int *nodes, int no_nodes);
// Writes the closing terminator of the open block.
void finish_pre_geom(PRE_GEOM_WRITER &writer);

// The converters of the table, one per file of mesh/readers/.
void convert_universal(const char *in_name, const char *out_name, CONVERT_FAULT &fault);
void convert_nastran(const char *in_name, const char *out_name, CONVERT_FAULT &fault);
void convert_ksw(const char *in_name, const char *out_name, CONVERT_FAULT &fault);
void convert_neutral(const char *in_name, const char *out_name, CONVERT_FAULT &fault);
void convert_cad(const char *in_name, const char *out_name, CONVERT_FAULT &fault);
void convert_abaqus(const char *in_name, const char *out_name, CONVERT_FAULT &fault);
void convert_listing(const char *in_name, const char *out_name, CONVERT_FAULT &fault);

} // namespace tesmora
