#pragma once

#include <concepts>
#include <string>
#include <string_view>

#include "text/json_writer.h"
#include "text/utf8.h"

namespace parlen::simulated {

/// The JSON literal for a text; what is not UTF-8 in it (a path may hold any bytes) is replaced.
inline std::string quoted(std::string_view text) {
  return *text::quoteJson(text::repairUtf8(text));
}

/// The shortest JSON number that reads back as `value`; null for what JSON has no number for.
inline std::string number(double value) {
  // Adding zero turns a zero with a minus sign into the plain one.
  return text::writeCompactSorted(value + 0.0).value_or("null");
}

/// A JSON object whose members keep the order in which they were added, without blanks.
class JsonMembers {
 public:
  /// `json` is written as it stands.
  JsonMembers& add(std::string_view name, std::string_view json) {
    if (!members_.empty()) members_ += ',';
    members_ += quoted(name);
    members_ += ':';
    members_ += json;
    return *this;
  }
  JsonMembers& add(std::string_view name, const JsonMembers& object) {
    return add(name, object.object());
  }
  JsonMembers& addText(std::string_view name, std::string_view text) {
    return add(name, quoted(text));
  }
  JsonMembers& addBoolean(std::string_view name, bool value) {
    return add(name, value ? "true" : "false");
  }
  JsonMembers& addInteger(std::string_view name, std::integral auto value) {
    return add(name, std::to_string(value));
  }
  /// Without needless decimals: 28, 28.5.
  JsonMembers& addNumber(std::string_view name, double value) { return add(name, number(value)); }
  JsonMembers& addAll(const JsonMembers& others) {
    if (!members_.empty() && !others.members_.empty()) members_ += ',';
    members_ += others.members_;
    return *this;
  }
  std::string object() const { return "{" + members_ + "}"; }

 private:
  std::string members_;
};

/// The JSON array of what `toJson` makes of each element.
template <class Range, class ToJson>
std::string jsonArray(const Range& range, ToJson toJson) {
  std::string array = "[";
  for (const auto& element : range) {
    if (array.size() > 1) array += ',';
    array += toJson(element);
  }
  return array + "]";
}

}  // namespace parlen::simulated
