// The JSON summary document of a job: the tree builder, the section recorders, the table of
// section and key words, and the writing of output.json at the end of the job.
#include "results/json_report.hpp"

#include "job/report.hpp"
#include "job/run_files.hpp"

#include <array>
#include <cmath>
#include <cstdio>
#include <memory>

namespace tesmora {

namespace TesmoraJson {

json_builder json_builder::integer(long long value) {
  json_builder node;
  node.kind_ = KIND::integer;
  node.integer_ = value;
  return node;
}

json_builder json_builder::real(double value) {
  json_builder node;
  node.kind_ = KIND::real;
  node.real_ = value;
  return node;
}

json_builder json_builder::array() {
  json_builder node;
  node.kind_ = KIND::array;
  return node;
}

json_builder json_builder::object() {
  json_builder node;
  node.kind_ = KIND::object;
  return node;
}

json_builder &json_builder::push(json_builder item) {
  items_.push_back(std::move(item));
  return items_.back();
}

json_builder &json_builder::add(std::string key, json_builder value) {
  names_.push_back(std::move(key));
  items_.push_back(std::move(value));
  return items_.back();
}

namespace {

// A real as JSON text. printf writes "nan", "inf" or "-inf" for non-finite values, which JSON has
// no words for: those become null, so a diverged residual still leaves a readable document.
void write_real(std::string &text_out, const char *number_format, double value) {
  if (!std::isfinite(value)) {
    text_out += "null";
    return;
  }
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, number_format, value);
  text_out += buffer;
}

} // namespace

void json_builder::write(std::string &text_out, const char *number_format, int depth) const {
  switch (kind_) {
  case KIND::null:
    text_out += "null";
    return;
  case KIND::integer: {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%lld", integer_);
    text_out += buffer;
    return;
  }
  case KIND::real:
    write_real(text_out, number_format, real_);
    return;
  case KIND::array:
    text_out += '[';
    for (std::size_t i = 0; i < items_.size(); ++i) {
      if (i > 0) text_out += ", ";
      items_[i].write(text_out, number_format, depth + 1);
    }
    text_out += ']';
    return;
  case KIND::object:
    if (items_.empty()) {
      text_out += "{}";
      return;
    }
    text_out += "{\n";
    for (std::size_t i = 0; i < items_.size(); ++i) {
      text_out.append(2 * (depth + 1), ' ');
      text_out += '"' + names_[i] + "\": ";
      items_[i].write(text_out, number_format, depth + 1);
      text_out += i + 1 < items_.size() ? ",\n" : "\n";
    }
    text_out.append(2 * depth, ' ');
    text_out += '}';
    return;
  }
}

std::vector<JSON_ROW> &_TesmoraJson::rows_of(std::string_view key) {
  for (std::size_t k = 0; k < keys_.size(); ++k)
    if (keys_[k] == key) return rows_[k];
  keys_.emplace_back(key);
  return rows_.emplace_back();
}

void _TesmoraJson::add_integer(std::string_view key, long long value) { rows_of(key).emplace_back(value); }

void _TesmoraJson::add_real(std::string_view key, double value) { rows_of(key).emplace_back(value); }

void _TesmoraJson::add_real_at(std::string_view key, int index, double value) {
  char name[64];
  std::snprintf(name, sizeof name, "%.*s%d", static_cast<int>(key.size()), key.data(), index);
  rows_of(name).emplace_back(value);
}

void _TesmoraJson::add_vector(std::string_view key, std::span<const double> values) {
  rows_of(key).emplace_back(std::vector<double>(values.begin(), values.end()));
}

void _TesmoraJson::write_rows(json_builder &section_object) const {
  for (std::size_t k = 0; k < keys_.size(); ++k) {
    json_builder &list = section_object.add(keys_[k], json_builder::array());
    for (const JSON_ROW &row : rows_[k]) {
      if (const auto *whole = std::get_if<long long>(&row)) {
        list.push(json_builder::integer(*whole));
      } else if (const auto *real = std::get_if<double>(&row)) {
        list.push(json_builder::real(*real));
      } else {
        json_builder &vector = list.push(json_builder::array());
        for (double value : std::get<std::vector<double>>(row)) vector.push(json_builder::real(value));
      }
    }
  }
}

} // namespace TesmoraJson

namespace {

using namespace TesmoraJson;

// The sections in the order of the document; the index into JSON_RECORDERS.
enum class JSON_SECTION {
  step,
  iccg,
  newton,
  sources,
  power_sources,
  network,
  heat,
  mag_flux,
  cur_flux,
  b_integ,
  force_j_b,
  force_nodal,
  magnetic_energy,
  iron_loss,
  coil_force
};
constexpr int no_json_sections = 15;

struct JSON_KEY {
  std::string_view word; // empty: end of the list
  bool per_id = false;   // one value per source, material, loop, point or series: "%s%d"
};

struct JSON_SECTION_ENTRY {
  JSON_SECTION kind;
  std::string_view word;
  std::array<JSON_KEY, 7> keys;
};

// The words the recording calls are compared with. The keys of "B_INTEG" (one B a point) and
// "COIL_FORCE" (one force a series) are "B" and "FORCE", numbered like the material keys.
constexpr JSON_SECTION_ENTRY json_sections[no_json_sections] = {
    {JSON_SECTION::step, "STEP", {{{"TIME"}, {"PERIOD"}}}},
    {JSON_SECTION::iccg, "ICCG", {{{"CONVERGE"}, {"ITERATION"}, {"RESIDUAL"}}}},
    {JSON_SECTION::newton, "NEWTON", {{{"CONVERGE"}, {"ITERATION"}, {"RESIDUAL"}}}},
    {JSON_SECTION::sources,
     "SOURCES",
     {{{"AMPLITUDE", true},
       {"VOLTAGE", true},
       {"CURRENT", true},
       {"FLUX", true},
       {"POTENTIAL", true},
       {"CHARGE", true}}}},
    {JSON_SECTION::power_sources, "POWER_SOURCES", {{{"VOLTAGE", true}, {"CURRENT", true}}}},
    {JSON_SECTION::network, "NETWORK", {{{"VOLTAGE", true}, {"CURRENT", true}, {"FLUX", true}}}},
    {JSON_SECTION::heat, "HEAT", {{{"JOULE", true}, {"SOURCE", true}, {"IMPEDANCE", true}}}},
    {JSON_SECTION::mag_flux, "MAG_FLUX", {{{"FLUX", true}, {"B", true}}}},
    {JSON_SECTION::cur_flux, "CUR_FLUX", {{{"J", true}}}},
    {JSON_SECTION::b_integ, "B_INTEG", {{{"B", true}}}},
    {JSON_SECTION::force_j_b,
     "FORCE_J_B",
     {{{"MAT", true}, {"SMAT", true}, {"ROTOR"}, {"STATOR"}, {"TOTAL"}, {"FORCE"}}}},
    {JSON_SECTION::force_nodal,
     "FORCE_NODAL",
     {{{"MAT", true}, {"SMAT", true}, {"ROTOR"}, {"STATOR"}, {"TOTAL"}, {"FORCE"}, {"REGION", true}}}},
    {JSON_SECTION::magnetic_energy, "MAGNETIC_ENERGY", {{{"ENERGY"}, {"MAT", true}, {"SMAT", true}}}},
    {JSON_SECTION::iron_loss, "IRON_LOSS", {{{"LOSS"}, {"MAT", true}, {"SMAT", true}}}},
    {JSON_SECTION::coil_force, "COIL_FORCE", {{{"FORCE", true}}}},
};

consteval bool sections_in_document_order() {
  for (int i = 0; i < no_json_sections; ++i)
    if (static_cast<int>(json_sections[i].kind) != i) return false;
  return true;
}
static_assert(sections_in_document_order());

// The job's recorders, one a section, null until the section's first record.
struct JSON_RECORDERS {
  std::array<std::unique_ptr<_TesmoraJson>, no_json_sections> instances;
};
JSON_RECORDERS the_json_recorders;

std::unique_ptr<_TesmoraJson> make_json_recorder(JSON_SECTION kind) {
  switch (kind) {
  case JSON_SECTION::step:
    return std::make_unique<Step>();
  case JSON_SECTION::iccg:
    return std::make_unique<Iccg>();
  case JSON_SECTION::newton:
    return std::make_unique<Newton>();
  case JSON_SECTION::sources:
    return std::make_unique<Sources>();
  case JSON_SECTION::power_sources:
    return std::make_unique<PowerSources>();
  case JSON_SECTION::network:
    return std::make_unique<Network>();
  case JSON_SECTION::heat:
    return std::make_unique<Heat>();
  case JSON_SECTION::mag_flux:
    return std::make_unique<MagFlux>();
  case JSON_SECTION::cur_flux:
    return std::make_unique<CurFlux>();
  case JSON_SECTION::b_integ:
    return std::make_unique<BInteg>();
  case JSON_SECTION::force_j_b:
    return std::make_unique<ForceJB>();
  case JSON_SECTION::force_nodal:
    return std::make_unique<ForceNodal>();
  case JSON_SECTION::magnetic_energy:
    return std::make_unique<MagneticEnergy>();
  case JSON_SECTION::iron_loss:
    return std::make_unique<IronLoss>();
  case JSON_SECTION::coil_force:
    return std::make_unique<CoilForce>();
  }
  return nullptr;
}

// Which values a recording call carries: a plain key takes scalars, a numbered key takes
// json_source, and json_result takes either.
enum class JSON_CALL { plain, numbered, either };

// The section's recorder and the key's entry for a pair of words, or a null recorder where the
// pair doesn't exist or the call doesn't fit the key. The recorder is made on its first use.
struct JSON_TARGET {
  _TesmoraJson *recorder = nullptr;
  JSON_KEY key;
};

JSON_TARGET find_json_target(const char *section, const char *key, JSON_CALL call) {
  if (!section || !key) return {};
  for (const JSON_SECTION_ENTRY &entry : json_sections) {
    if (entry.word != section) continue;
    for (const JSON_KEY &k : entry.keys) {
      if (k.word.empty()) break;
      if (k.word != key) continue;
      if ((call == JSON_CALL::plain && k.per_id) || (call == JSON_CALL::numbered && !k.per_id)) return {};
      std::unique_ptr<_TesmoraJson> &instance = the_json_recorders.instances[static_cast<int>(entry.kind)];
      if (!instance) instance = make_json_recorder(entry.kind);
      return {instance.get(), k};
    }
    return {};
  }
  return {};
}

bool is_iteration_section(const char *section) {
  return section && (std::string_view(section) == "ICCG" || std::string_view(section) == "NEWTON");
}

} // namespace

bool json_step(const char *section, const char *key, double value) {
  const JSON_TARGET target = find_json_target(section, key, JSON_CALL::plain);
  if (!target.recorder) return false;
  target.recorder->add_real(target.key.word, value);
  return true;
}

bool json_int(const char *section, const char *key, int value) {
  const JSON_TARGET target = find_json_target(section, key, JSON_CALL::plain);
  if (!target.recorder) return false;
  target.recorder->add_integer(target.key.word, value);
  return true;
}

bool json_iteration(const char *section, const char *key, double value) {
  if (!is_iteration_section(section)) return false;
  return json_step(section, key, value);
}

bool json_source(const char *section, const char *key, int index, double value) {
  const JSON_TARGET target = find_json_target(section, key, JSON_CALL::numbered);
  if (!target.recorder) return false;
  target.recorder->add_real_at(target.key.word, index, value);
  return true;
}

bool json_result(const char *section, const char *key, int mat, std::span<const double> values) {
  const JSON_TARGET target = find_json_target(section, key, JSON_CALL::either);
  if (!target.recorder) return false;
  if (target.key.per_id) {
    char name[64];
    std::snprintf(name, sizeof name, "%s%d", key, mat);
    target.recorder->add_vector(name, values);
  } else {
    target.recorder->add_vector(target.key.word, values);
  }
  return true;
}

void json_reset(const void * /*owner*/, int keep) {
  if (keep != 0) return;
  for (std::unique_ptr<_TesmoraJson> &instance : the_json_recorders.instances) instance.reset();
}

void json_write(std::string &text_out, const char *number_format) {
  json_builder document = json_builder::object();
  for (const std::unique_ptr<_TesmoraJson> &instance : the_json_recorders.instances)
    if (instance) instance->write(document);
  text_out.clear();
  document.write(text_out, number_format);
  text_out += '\n';
}

void close_json_report() {
  FFILE *&json = run_files().print_json;
  if (!json || json->state == 0) return;
  std::string text;
  json_write(text, "%18.11e");
  write_report(json->stream, "%s", text.c_str());
  free_ffile(json, "fflie_print_json");
  json = nullptr;
}

} // namespace tesmora
