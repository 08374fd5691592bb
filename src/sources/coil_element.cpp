// The coil element factory, the kind names and the one-shot far-field notes.
#include "sources/coil_element.hpp"

#include "job/ffile.hpp"
#include "job/report.hpp"
#include "job/run_files.hpp"
#include "sources/coil_elements/coil_kinds.hpp"

#include <atomic>

namespace tesmora {

bool COIL_ELEMENT::current_point(double, double, double, CURRENT_POINT &) const { return false; }

std::unique_ptr<COIL_ELEMENT> make_coil_element(const COIL_ELEMENT_DATA &data) {
  switch (data.kind) {
  case COIL_KIND::UNIF:
    return make_uniform_field(data);
  case COIL_KIND::DIPO:
    return make_dipole_field(data);
  case COIL_KIND::LINE:
    return make_infinite_line(data);
  case COIL_KIND::LOOP:
    return make_loop(data);
  case COIL_KIND::GCE:
    return make_gce(data);
  case COIL_KIND::ARC:
    return make_arc(data);
  case COIL_KIND::FGCE:
    return make_fgce(data);
  case COIL_KIND::FARC:
    return make_farc(data);
  case COIL_KIND::CONSTA:
    return make_const_a_field(data);
  case COIL_KIND::MESH:
    return make_meshed_coil(data);
  case COIL_KIND::RECT:
    return make_rect_coil(data);
  case COIL_KIND::RACE:
    return make_race_coil(data);
  case COIL_KIND::EXMAG:
    return make_exmag_field(data);
  }
  return make_const_a_field(COIL_ELEMENT_DATA{.kind = COIL_KIND::CONSTA});
}

const char *coil_kind_name(COIL_KIND kind) {
  switch (kind) {
  case COIL_KIND::UNIF:
    return "UNIF";
  case COIL_KIND::DIPO:
    return "DIPO";
  case COIL_KIND::LINE:
    return "LINE";
  case COIL_KIND::LOOP:
    return "LOOP";
  case COIL_KIND::GCE:
    return "GCE ";
  case COIL_KIND::ARC:
    return "ARC ";
  case COIL_KIND::FGCE:
    return "FGCE";
  case COIL_KIND::FARC:
    return "FARC";
  case COIL_KIND::CONSTA:
    return "CNSA";
  case COIL_KIND::MESH:
    return "MESH";
  case COIL_KIND::RECT:
    return "RECT";
  case COIL_KIND::RACE:
    return "RACE";
  case COIL_KIND::EXMAG:
    return "EXMG";
  }
  return "    ";
}

namespace {

// One flag per note for the whole job; parallel callers may both see it clear, which at worst
// prints a note twice.
std::atomic<int> note_written[3] = {0, 0, 0};

constexpr const char *note_texts[3] = {"*** LOOP is converted by FARC\n", "*** GCE is converted by FGCE\n",
                                       "*** ARC is converted by FARC\n"};

} // namespace

void write_coil_note_once(COIL_NOTE note) {
  const int index = static_cast<int>(note);
  if (note_written[index].exchange(1) != 0) return;
  std::FILE *report = run_files().print_out ? run_files().print_out->stream : nullptr;
  write_report(report, "%s", note_texts[index]);
  write_check("%s", note_texts[index]);
}

} // namespace tesmora
