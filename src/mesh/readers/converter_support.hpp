// What the mesh converters share: their input and output files, and the reading of fixed
// columns, words and numbers of a foreign line.
#pragma once

#include "job/ffile.hpp"
#include "mesh/mesh_converters.hpp"

#include <span>
#include <utility>
#include <vector>

namespace tesmora {

// The input file opened for reading and the native text opened for writing; a file that can't
// be opened stops the job. Both are closed and freed at the end of the scope.
class CONVERTER_FILES {
public:
  CONVERTER_FILES(const char *in_name, const char *out_name);
  ~CONVERTER_FILES();
  CONVERTER_FILES(const CONVERTER_FILES &) = delete;
  CONVERTER_FILES &operator=(const CONVERTER_FILES &) = delete;
  std::FILE *in() const { return in_->stream; }
  PRE_GEOM_WRITER writer;

private:
  FFILE *in_ = nullptr;
  FFILE *out_ = nullptr;
};

// True when `line` begins with `word`, compared folded to upper case.
bool begins_with(const char *line, const char *word);
// Copies columns [column, column + width) of `line` into `out` (at most 63 characters) with the
// blanks and the line end taken off; an empty text when the line is shorter.
void field_text(const char *line, int column, int width, char *out);
// A real in NASTRAN or Fortran notation: "1.5E-3", "1.5D-3", "1.5-3" and "-.2+1" all read.
double read_foreign_real(const char *text);
// The next line into buffer (size card_length + 2); null at the end of the file.
char *read_converter_line(char *buffer, std::FILE *stream);

// Writes an element whose node identities come in a foreign order: foreign slot i holds local
// node foreign_order[i] (1-based; 0 marks a slot the format leaves empty). The native file
// order is then made through the type's input_node_order.
void put_ordered_element(PRE_GEOM_WRITER &writer, int id, int code, int mat_id,
                         std::span<const int> input_node_order, std::span<const int> foreign_order,
                         const int *foreign_nodes);

// Numbers read one by one across lines, with whole lines skipped where a format has text.
struct WORD_READER {
  std::FILE *in = nullptr;
  char line[card_length + 2] = {};
  const char *at = line; // where the next word starts

  bool next_int(int &value);
  bool next_real(double &value);
  // Drops the rest of the current line.
  void drop_line() { at = ""; }
  // Reads `count` whole lines (the rest of the current one is dropped first); false at the end.
  bool skip_lines(int count);
};

// The groups a mesher lists elements in (Gmsh's physical groups): element label and group
// number. Where a file has them, an element's group number is its mat_id rather than the
// number of the geometric entity it was meshed in.
struct ELEMENT_GROUPS {
  std::vector<std::pair<int, int>> members; // (element label, group number), sorted once read

  void add(int label, int group) { members.emplace_back(label, group); }
  // Sorts by label; a label listed twice keeps the group listed first.
  void sort();
  bool empty() const { return members.empty(); }
  // The group of `label`, or `fallback` when no group lists it.
  int find(int label, int fallback) const;
};

// Writes the report line that says where the converted file's mat_ids come from, so that a run
// on a file without groups shows it took the mesher's entity numbers.
void report_mat_id_source(const char *source);

} // namespace tesmora
