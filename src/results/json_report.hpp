// The JSON summary of a job, output.json: the recorder classes that collect its numbers during the
// run, the one-line recording calls of the solver and report code, and the writer at the end.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tesmora {

namespace TesmoraJson {

// A small JSON tree: null, whole number, real, array, or object whose members keep the order in
// which they were added. Reals are written by a printf format chosen at writing time.
class json_builder {
public:
  enum class KIND { null, integer, real, array, object };

  json_builder() = default; // null
  static json_builder integer(long long value);
  static json_builder real(double value);
  static json_builder array();
  static json_builder object();

  // Appends `item` to an array and returns the stored item.
  json_builder &push(json_builder item);
  // Appends the member `key` to an object and returns its stored value. Keys are written as
  // given, without escapes: callers use fixed upper-case words and digits.
  json_builder &add(std::string key, json_builder value);

  KIND kind() const { return kind_; }
  // Appends the text of the tree to `text_out`; objects put one member a line, indented by
  // `depth`, arrays stay on one line.
  void write(std::string &text_out, const char *number_format, int depth = 0) const;

private:
  KIND kind_ = KIND::null;
  long long integer_ = 0;
  double real_ = 0.0;
  std::vector<std::string> names_;  // object member names, parallel to items_
  std::vector<json_builder> items_; // array items or object member values
};

// The absent value.
inline const json_builder json_null{};

// One recorded entry of a key: a whole number, a real, or a vector of reals (a force, a B).
using JSON_ROW = std::variant<long long, double, std::vector<double>>;

// One section of the document: its word and, per key in the order of first use, the rows in
// the order they were recorded (one a step or a solve).
class _TesmoraJson {
public:
  explicit _TesmoraJson(std::string_view section) : section_(section) {}
  virtual ~_TesmoraJson() = default;
  _TesmoraJson(const _TesmoraJson &) = delete;
  _TesmoraJson &operator=(const _TesmoraJson &) = delete;

  virtual void add_integer(std::string_view key, long long value);
  virtual void add_real(std::string_view key, double value);
  // Records under the key "%s%d" of `key` and `index` (a source or material number).
  virtual void add_real_at(std::string_view key, int index, double value);
  virtual void add_vector(std::string_view key, std::span<const double> values);
  // Adds the section to `document`: the section word, then the common writer.
  virtual void write(json_builder &document) const = 0;

  const std::string &section() const { return section_; }

protected:
  // The common writer: one array per key into the section's object.
  void write_rows(json_builder &section_object) const;

private:
  std::vector<JSON_ROW> &rows_of(std::string_view key);

  std::string section_;
  std::vector<std::string> keys_;           // in the order of first use
  std::vector<std::vector<JSON_ROW>> rows_; // rows_[k]: the rows of keys_[k]
};

// The sections, in the order of the document. Each write puts its word in front of the rows.
class Step final : public _TesmoraJson {
public:
  Step() : _TesmoraJson("STEP") {}
  void write(json_builder &document) const override {
    write_rows(document.add("STEP", json_builder::object()));
  }
};
class Iccg final : public _TesmoraJson {
public:
  Iccg() : _TesmoraJson("ICCG") {}
  void write(json_builder &document) const override {
    write_rows(document.add("ICCG", json_builder::object()));
  }
};
class Newton final : public _TesmoraJson {
public:
  Newton() : _TesmoraJson("NEWTON") {}
  void write(json_builder &document) const override {
    write_rows(document.add("NEWTON", json_builder::object()));
  }
};
class Sources final : public _TesmoraJson {
public:
  Sources() : _TesmoraJson("SOURCES") {}
  void write(json_builder &document) const override {
    write_rows(document.add("SOURCES", json_builder::object()));
  }
};
class PowerSources final : public _TesmoraJson {
public:
  PowerSources() : _TesmoraJson("POWER_SOURCES") {}
  void write(json_builder &document) const override {
    write_rows(document.add("POWER_SOURCES", json_builder::object()));
  }
};
class Network final : public _TesmoraJson {
public:
  Network() : _TesmoraJson("NETWORK") {}
  void write(json_builder &document) const override {
    write_rows(document.add("NETWORK", json_builder::object()));
  }
};
class Heat final : public _TesmoraJson {
public:
  Heat() : _TesmoraJson("HEAT") {}
  void write(json_builder &document) const override {
    write_rows(document.add("HEAT", json_builder::object()));
  }
};
class MagFlux final : public _TesmoraJson {
public:
  MagFlux() : _TesmoraJson("MAG_FLUX") {}
  void write(json_builder &document) const override {
    write_rows(document.add("MAG_FLUX", json_builder::object()));
  }
};
class CurFlux final : public _TesmoraJson {
public:
  CurFlux() : _TesmoraJson("CUR_FLUX") {}
  void write(json_builder &document) const override {
    write_rows(document.add("CUR_FLUX", json_builder::object()));
  }
};
class BInteg final : public _TesmoraJson {
public:
  BInteg() : _TesmoraJson("B_INTEG") {}
  void write(json_builder &document) const override {
    write_rows(document.add("B_INTEG", json_builder::object()));
  }
};
class ForceJB final : public _TesmoraJson {
public:
  ForceJB() : _TesmoraJson("FORCE_J_B") {}
  void write(json_builder &document) const override {
    write_rows(document.add("FORCE_J_B", json_builder::object()));
  }
};
class ForceNodal final : public _TesmoraJson {
public:
  ForceNodal() : _TesmoraJson("FORCE_NODAL") {}
  void write(json_builder &document) const override {
    write_rows(document.add("FORCE_NODAL", json_builder::object()));
  }
};
class MagneticEnergy final : public _TesmoraJson {
public:
  MagneticEnergy() : _TesmoraJson("MAGNETIC_ENERGY") {}
  void write(json_builder &document) const override {
    write_rows(document.add("MAGNETIC_ENERGY", json_builder::object()));
  }
};
class IronLoss final : public _TesmoraJson {
public:
  IronLoss() : _TesmoraJson("IRON_LOSS") {}
  void write(json_builder &document) const override {
    write_rows(document.add("IRON_LOSS", json_builder::object()));
  }
};
class CoilForce final : public _TesmoraJson {
public:
  CoilForce() : _TesmoraJson("COIL_FORCE") {}
  void write(json_builder &document) const override {
    write_rows(document.add("COIL_FORCE", json_builder::object()));
  }
};

} // namespace TesmoraJson

// The recording calls. Each names a section word and a key word, compared byte by byte with the
// fixed words; the section's recorder is made at its first use. A pair that doesn't exist, or a
// call of the wrong kind for the key, returns false and records nothing.
//
// Keys with one value per source, material, loop, point or series ("AMPLITUDE", "MAT", ...) are
// stored under "%s%d" of the key and the number; they take only json_source and json_result.

// A real of a plain key ("STEP" "TIME", the "NEWTON" residual, "MAGNETIC_ENERGY" "ENERGY").
bool json_step(const char *section, const char *key, double value);
// A whole number of a plain key ("ICCG" "CONVERGE").
bool json_int(const char *section, const char *key, int value);
// An iteration counter of "ICCG" or "NEWTON".
bool json_iteration(const char *section, const char *key, double value);
// A real of source, material or surface `index` (1-based, as in the report).
bool json_source(const char *section, const char *key, int index, double value);
// A vector (a force, a B, a loss row) of material `mat`; plain keys ("TOTAL") ignore `mat`.
bool json_result(const char *section, const char *key, int mat, std::span<const double> values);

// With `keep` 0, drops every recorder, so that each run starts with an empty document.
// `owner` names the caller and is not used.
void json_reset(const void *owner, int keep);

// Replaces `text_out` with the document: one object per recorded section, in the order of the
// classes above, each with one array per key in recording order; reals by `number_format`.
void json_write(std::string &text_out, const char *number_format);

// Writes the document to output.json and closes it; a second call does nothing. A job that
// stops before this leaves output.json empty.
void close_json_report();

} // namespace tesmora
