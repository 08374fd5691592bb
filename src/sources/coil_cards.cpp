// The coil card grammar (see coil_cards.hpp).
#include "sources/coil_cards.hpp"

#include "input/card_reader.hpp"
#include "input/coordinates.hpp"
#include "job/report.hpp"

#include <cmath>
#include <cstdio>

namespace tesmora {

namespace {

COIL_JOB_SETTINGS the_coil_job_settings;

constexpr double degree = 0.017453292519943295;

// What the reader carries from card to card inside one COIL source.
struct COIL_READER {
  FFILE *file = nullptr;
  EXTERNAL_FIELD *field = nullptr;
  const COORDINATE *coordinate = nullptr; // set by COORDID
  int no_read = 0;                        // element cards read so far
};

// Scans the card just read with the keyword's own format, after writing its header to check.
template <class... T> int scan_card(const char *header, const char *format, T *...fields) {
  write_check("%s", header);
  return std::sscanf(card_scratch().card_image, format, card_scratch().token_image, fields...);
}

// The force card of a '-' element: NDIV, INT_X, INT_Y, INT_Z with their defaults.
void read_force_card(COIL_READER &r, FIELD_ENTRY &entry) {
  int v[4] = {};
  read_card(r.file, "%d %d %d %d", "* NDIV * INT_X * INT_Y * INT_Z *\n", &v[0], &v[1], &v[2], &v[3]);
  if (v[0] < 0 || v[1] < 0 || v[2] < 0 || v[3] < 0) card_error(r.file);
  entry.ndiv = v[0] == 0 ? 1 : v[0];
  entry.int_x = v[1] == 0 ? 5 : v[1];
  entry.int_y = v[2];
  entry.int_z = v[2] == 0 ? 5 : (v[3] == 0 ? 3 : v[3]);
}

void add_element(COIL_READER &r, const COIL_ELEMENT_DATA &data, bool force_form) {
  FIELD_ENTRY entry;
  entry.element = make_coil_element(data);
  entry.coordinate = r.coordinate;
  if (force_form) {
    read_force_card(r, entry);
    if (data.kind == COIL_KIND::LOOP && entry.ndiv == 1) entry.ndiv = 12;
    if (data.kind == COIL_KIND::ARC && entry.ndiv == 1)
      entry.ndiv = static_cast<int>(std::abs(data.values[9] - data.values[8]) / 30.0 + 0.999);
  }
  r.field->field_ids[r.no_read] = static_cast<int>(data.kind);
  r.field->field[r.no_read] = std::move(entry);
  ++r.no_read;
}

bool same_point(const double *a, const double *b) { return a[0] == b[0] && a[1] == b[1] && a[2] == b[2]; }
bool is_zero(const double *a) { return a[0] == 0.0 && a[1] == 0.0 && a[2] == 0.0; }

// Modifier cards; false when the keyword is none of them.
bool read_modifier(COIL_READER &r, const char *word) {
  FFILE *f = r.file;
  if (same_word(word, "COORDID")) {
    int id = 0;
    scan_card("*COORDID * COORDINATE_ID *\n", "%s %d", &id);
    if (id < 0) card_error(f);
    r.coordinate = id == 0 ? nullptr : find_coordinate(id);
  } else if (same_word(word, "LINE_APPROX")) {
    double limit = 0.0;
    scan_card("*LINE_APPROX * LIMIT *\n", "%s %lf", &limit);
    if (!(limit > 0.0)) card_error(f);
    the_coil_job_settings.line_approx_limit = limit;
  } else if (same_word(word, "INTEGRAL_METHOD")) {
    int method = 0;
    scan_card("* INTEGRAL_METHOD * METHOD_NO *\n", "%s %d", &method);
    if (method < 0) card_error(f);
    the_coil_job_settings.integral_method = method;
  } else if (same_word(word, "DELTA")) {
    double delta = 0.0;
    scan_card("*DELTA   * DELTA(m) *\n", "%s %lf", &delta);
    if (!(delta > 0.0)) card_error(f);
    write_check("   INTEG_DELTA is set to 1.0 in the version.\n!");
  } else if (same_word(word, "INTEG")) {
    int v[4] = {};
    scan_card("*INTEG   * NDIV *  INTX *  INTY  * INTZ  *\n", "%s %d  %d  %d  %d", &v[0], &v[1], &v[2],
              &v[3]);
    if (v[0] < 0 || v[1] < 0 || v[2] < 0 || v[3] < 0) card_error(f);
    r.field->integ = std::make_unique<COIL_INTEG>(COIL_INTEG{v[0] == 0 ? 1 : v[0], v[1], v[2], v[3]});
  } else if (same_word(word, "SYMMETRY")) {
    int v[3] = {};
    scan_card("*SYMMETRY * XSYM * YSYM * ZSYM  **\n", "%s %d  %d  %d", &v[0], &v[1], &v[2]);
    for (int x : v)
      if (x < -1 || x > 1) card_error(f);
    r.field->symmetry = std::make_unique<int[]>(3);
    for (int i = 0; i < 3; ++i) r.field->symmetry[i] = v[i];
  } else if (same_word(word, "CONDUCTIVITY")) {
    double sigma = 0.0;
    scan_card("*CONDUCTIVITY * (S/m)  **\n", "%s %lf", &sigma);
    if (!(sigma > 0.0)) card_error(f);
    r.field->conductivity = sigma;
    write_check("   No use CONDUCTIVITY in the version.\n!");
  } else {
    return false;
  }
  return true;
}

// The six numbers of a continuation card.
void read_six(FFILE *f, const char *header, double *v) {
  read_card(f, "%lf %lf %lf %lf %lf %lf", header, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5]);
}

const char *const angle_header = "*          ALPHA(deg)* BETA(deg) * PHI1(deg)   * PHI2(deg) *\n";

// Elements made of lines and arcs; false when the keyword is none of them.
bool read_path_element(COIL_READER &r, const char *word, bool force_form) {
  FFILE *f = r.file;
  COIL_ELEMENT_DATA d;
  double *v = d.values;
  if (same_word(word, "LOOP")) {
    d.kind = COIL_KIND::LOOP;
    scan_card("*LOOP  * CURRENT(A) * RADIUS(m)* CENTER_Z(m)* RADIAL_W(m)*  AXIAL_W(m) *\n",
              "%s %lf %lf %lf %lf %lf", &d.current, &v[0], &v[1], &v[2], &v[3]);
    if (!(v[0] > 0.0) || v[2] < 0.0 || v[3] < 0.0) card_error(f);
  } else if (same_word(word, "GCE")) {
    d.kind = COIL_KIND::GCE;
    scan_card("*GCE    * CURRENT(A)*\n", "%s %lf", &d.current);
    read_six(f, "*            XS(m)  *   YS(m)  *  ZS(m)  *  XE(m)  *  YE(m)  *  ZE(m)  * \n", v);
    read_six(f, "*            W1X(m) *   W1Y(m) *  W1Z(m) *  W2X(m) *  W2Y(m) *  W2Z(m) *\n", v + 6);
    if (same_point(v, v + 3) || is_zero(v + 6) || is_zero(v + 9)) card_error(f);
  } else if (same_word(word, "ARC")) {
    d.kind = COIL_KIND::ARC;
    scan_card("*ARC    *  current(A)  *\n", "%s %lf", &d.current);
    read_six(f, "*          X(m)  *  Y(m)  *   Z(m)  * RADIUS(m)* AXIAL_W(m)*RADIAL_W(m)*\n", v);
    int spare = 0;
    read_card(f, "%lf %lf %lf %lf %d", angle_header, &v[6], &v[7], &v[8], &v[9], &spare);
    if (!(v[9] > v[8])) card_error(f);
  } else if (same_word(word, "FGCE")) {
    d.kind = COIL_KIND::FGCE;
    scan_card("*FGCE   * CURRENT(A)*\n", "%s %lf", &d.current);
    read_six(f, "*            XS(m)  *   YS(m)  *  ZS(m)  *  XE(m)  *  YE(m)  *  ZE(m)  *\n", v);
    if (same_point(v, v + 3)) card_error(f);
  } else if (same_word(word, "FARC")) {
    d.kind = COIL_KIND::FARC;
    scan_card("FARC    *  current(A)  *\n", "%s %lf", &d.current);
    read_card(f, "%lf %lf %lf %lf", "*          X(m)  *  Y(m)  *   Z(m)  * RADIUS(m)*\n", &v[0], &v[1], &v[2],
              &v[3]);
    read_card(f, "%lf %lf %lf %lf", angle_header, &v[4], &v[5], &v[6], &v[7]);
    if (!(v[7] > v[6])) card_error(f);
  } else if (same_word(word, "LINE")) {
    d.kind = COIL_KIND::LINE;
    scan_card("*LINE    * CURRENT(A) *\n", "%s %lf", &d.current);
    read_six(f, "*            X0(m)    *  Y0(m)  *  Z0(m)   *   DX   *   DY   *   DZ    *\n", v);
    if (is_zero(v + 3)) card_error(f);
  } else {
    return false;
  }
  add_element(r, d, force_form);
  return true;
}

// Given fields, meshed coils and assemblies; false when the keyword is none of them.
bool read_other_element(COIL_READER &r, const char *word, bool force_form) {
  FFILE *f = r.file;
  COIL_ELEMENT_DATA d;
  double *v = d.values;
  int integral = 0;
  if (same_word(word, "UNIF")) {
    d.kind = COIL_KIND::UNIF;
    scan_card("*UNIF  *   BX(T)    *    BY(T)   *   BZ(T)    * A_FORM *\n", "%s %lf %lf %lf %d", &v[0], &v[1],
              &v[2], &d.a_form);
    if (d.a_form > 2) card_error(f);
  } else if (same_word(word, "CONSTA")) {
    d.kind = COIL_KIND::CONSTA;
    scan_card("*CONSTA  *   AX(T)    *    AY(T)   *   AZ(T)    *\n", "%s %lf %lf %lf", &v[0], &v[1], &v[2]);
  } else if (same_word(word, "DIPO")) {
    d.kind = COIL_KIND::DIPO;
    scan_card("*DIPO   *  DBZDX(T/m) *\n", "%s %lf", &v[0]);
  } else if (same_word(word, "MESH")) {
    d.kind = COIL_KIND::MESH;
    scan_card("* MESH   * CURRENT * MESH_ID *\n", "%s %lf %d", &d.current, &d.mesh_id);
    if (d.mesh_id < 1) card_error(f);
    the_coil_job_settings.meshed_coil = 1;
  } else if (same_word(word, "RECT") || same_word(word, "RACE")) {
    const bool rect = same_word(word, "RECT");
    d.kind = rect ? COIL_KIND::RECT : COIL_KIND::RACE;
    scan_card(rect ? "*RECT    *  VARIABLE::CURRENT(A)  * INTEGRAL *\n"
                   : "*RACE    *  VARIABLE::CURRENT(A)  * INTEGRAL *\n",
              "%s %lf %d", &d.current, &integral);
    if (rect) {
      read_card(f, "%lf %lf %lf %lf %lf %lf %lf %lf",
                "*   X(m)   *   Y(m)   *   Z(m)   *   A(m)   *   B(m)   *   R(m)   *   W(m)   *   H(m)   *\n",
                &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7]);
    } else {
      read_card(f, "%lf %lf %lf %lf %lf %lf %lf",
                "*   X(m)   *   Y(m)   *   Z(m)   *   A(m)   *   R(m)   *   W(m)   *   H(m)   *\n", &v[0],
                &v[1], &v[2], &v[3], &v[4], &v[5], &v[6]);
    }
    if (r.field->symmetry)
      for (int i = 0; i < 3; ++i) d.symmetry[i] = r.field->symmetry[i];
  } else if (same_word(word, "EXMAG")) {
    d.kind = COIL_KIND::EXMAG;
  } else {
    return false;
  }
  add_element(r, d, force_form);
  if (integral != 0) { // an assembly as force target, with the source's INTEG when there is one
    FIELD_ENTRY &entry = r.field->field[r.no_read - 1];
    const COIL_INTEG integ = r.field->integ ? *r.field->integ : COIL_INTEG{1, 5, 0, 5};
    entry.ndiv = integ.ndiv;
    entry.int_x = integ.int_x;
    entry.int_y = integ.int_y;
    entry.int_z = integ.int_z;
  }
  return true;
}

} // namespace

const COIL_JOB_SETTINGS &coil_job_settings() { return the_coil_job_settings; }

void reset_coil_job_settings() { the_coil_job_settings = COIL_JOB_SETTINGS{}; }

COIL_OPTIONS coil_options() {
  return COIL_OPTIONS{.line_approx_limit = the_coil_job_settings.line_approx_limit,
                      .integral_method = the_coil_job_settings.integral_method};
}

std::unique_ptr<EXTERNAL_FIELD> make_external_field(int no_elements, int motion_id, int potential) {
  auto field = std::make_unique<EXTERNAL_FIELD>();
  field->no_elements = no_elements;
  field->field_ids = TaggedArray<int>(no_elements, "external_field.field_ids");
  field->field.resize(static_cast<std::size_t>(no_elements));
  field->motion_id = motion_id;
  field->potential_option = potential == 0 ? 1 : potential;
  return field;
}

void read_coil_cards(FFILE *file, EXTERNAL_FIELD &field) {
  COIL_READER r{.file = file, .field = &field};
  char word[card_length + 1] = {};
  while (r.no_read < field.no_elements) {
    read_card(file, "%s", nullptr, word);
    std::size_t length = std::char_traits<char>::length(word);
    const bool force_form = length > 1 && word[length - 1] == '-';
    if (force_form) word[length - 1] = '\0';
    if (force_form && !(same_word(word, "LOOP") || same_word(word, "GCE") || same_word(word, "ARC") ||
                        same_word(word, "MESH")))
      card_error(file);
    if (!force_form && read_modifier(r, word)) continue;
    if (read_path_element(r, word, force_form)) continue;
    if (!read_other_element(r, word, force_form)) card_error(file);
  }
  read_card(file, "%s", "*END of COIL *\n", word);
  if (!same_word(word, "END")) card_error(file);
}

} // namespace tesmora
