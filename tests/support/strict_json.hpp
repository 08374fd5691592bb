// A strict JSON parser for the tests: it accepts JSON and rejects what JSON forbids (trailing
// commas, NaN, unquoted keys, duplicate keys, loose numbers), written independently of the
// program's own writer.
#pragma once

#include <cctype>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace tesmora::testing {

// A parsed JSON value. Numbers keep their text so that precision can be judged on it.
struct JSON_VALUE {
  enum class KIND { null, boolean, number, string, array, object };
  KIND kind = KIND::null;
  bool boolean = false;
  double number = 0.0;
  std::string text;               // a string's contents or a number's text
  std::vector<std::string> names; // object member names in document order
  std::vector<JSON_VALUE> items;  // array items or member values

  const JSON_VALUE *member(std::string_view name) const {
    for (std::size_t i = 0; i < names.size(); ++i)
      if (names[i] == name) return &items[i];
    return nullptr;
  }
};

// Recursive descent over the JSON grammar (RFC 8259) with nothing more: no trailing commas, no
// NaN or Infinity, no unquoted keys or single quotes; duplicate keys are refused as well.
class StrictJsonParser {
public:
  explicit StrictJsonParser(std::string_view text) : text_(text) {}

  bool parse(JSON_VALUE &out) {
    skip_blanks();
    if (!value(out)) return false;
    skip_blanks();
    return at_ == text_.size();
  }

private:
  bool value(JSON_VALUE &out) {
    if (at_ >= text_.size()) return false;
    switch (text_[at_]) {
    case '{':
      return object(out);
    case '[':
      return array(out);
    case '"':
      out.kind = JSON_VALUE::KIND::string;
      return string(out.text);
    case 't':
      out.kind = JSON_VALUE::KIND::boolean, out.boolean = true;
      return word("true");
    case 'f':
      out.kind = JSON_VALUE::KIND::boolean;
      return word("false");
    case 'n':
      return word("null");
    default:
      return number(out);
    }
  }

  bool object(JSON_VALUE &out) {
    out.kind = JSON_VALUE::KIND::object;
    ++at_;
    skip_blanks();
    if (take('}')) return true;
    do {
      skip_blanks();
      std::string name;
      if (!string(name) || out.member(name)) return false;
      skip_blanks();
      if (!take(':')) return false;
      skip_blanks();
      JSON_VALUE item;
      if (!value(item)) return false;
      out.names.push_back(name);
      out.items.push_back(std::move(item));
      skip_blanks();
    } while (take(','));
    return take('}');
  }

  bool array(JSON_VALUE &out) {
    out.kind = JSON_VALUE::KIND::array;
    ++at_;
    skip_blanks();
    if (take(']')) return true;
    do {
      skip_blanks();
      JSON_VALUE item;
      if (!value(item)) return false;
      out.items.push_back(std::move(item));
      skip_blanks();
    } while (take(','));
    return take(']');
  }

  bool string(std::string &out) {
    if (!take('"')) return false;
    while (at_ < text_.size() && text_[at_] != '"') {
      const char c = text_[at_++];
      if (static_cast<unsigned char>(c) < 0x20) return false;
      if (c != '\\') {
        out += c;
        continue;
      }
      if (at_ >= text_.size()) return false;
      const char escaped = text_[at_++];
      if (escaped == 'u') {
        for (int i = 0; i < 4; ++i)
          if (at_ >= text_.size() || !std::isxdigit(static_cast<unsigned char>(text_[at_++]))) return false;
        out += '?';
      } else if (std::string_view("\"\\/bfnrt").find(escaped) != std::string_view::npos) {
        out += escaped;
      } else {
        return false;
      }
    }
    return take('"');
  }

  // -?(0|[1-9][0-9]*)(.[0-9]+)?([eE][+-]?[0-9]+)?
  bool number(JSON_VALUE &out) {
    const std::size_t start = at_;
    take('-');
    if (take('0')) {
    } else if (!digits()) {
      return false;
    }
    if (take('.') && !digits()) return false;
    if (take('e') || take('E')) {
      if (!take('+')) take('-');
      if (!digits()) return false;
    }
    out.kind = JSON_VALUE::KIND::number;
    out.text = std::string(text_.substr(start, at_ - start));
    out.number = std::strtod(out.text.c_str(), nullptr);
    return true;
  }

  bool digits() {
    const std::size_t start = at_;
    while (at_ < text_.size() && std::isdigit(static_cast<unsigned char>(text_[at_]))) ++at_;
    return at_ > start;
  }

  bool word(std::string_view w) {
    if (text_.substr(at_, w.size()) != w) return false;
    at_ += w.size();
    return true;
  }

  bool take(char c) {
    if (at_ >= text_.size() || text_[at_] != c) return false;
    ++at_;
    return true;
  }

  void skip_blanks() {
    while (at_ < text_.size() && std::string_view(" \t\n\r").find(text_[at_]) != std::string_view::npos)
      ++at_;
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

} // namespace tesmora::testing
