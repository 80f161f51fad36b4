#pragma once

#include <chrono>
#include <concepts>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/bar.h"
#include "platform/event_loop.h"
#include "platform/files.h"
#include "platform/geometry.h"
#include "platform/key_event.h"
#include "platform/machine_configuration.h"
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

// Geometry as the trace's lines have it: lists of numbers.
std::string list(const platform::Point& point);
std::string list(const platform::Size& size);
std::string list(const platform::Rect& rect);

/// The bar as a tree: every property that the program set, and no other.
JsonMembers describe(const platform::BarStack& bar);

/// The whole configuration as the trace shows it; a part that is not there is null.
JsonMembers describe(const platform::MachineConfiguration& configuration);

/// Everything that the program said about the event.
JsonMembers describe(const platform::KeyEventDetails& details);

/// Tells an observer which calls the program made, one JSON line each, at the moment of the call.
class Trace {
 public:
  /// `file` may be null: no trace. Times count from `start` on the loop's clock.
  Trace(platform::EventLoop& loop, std::chrono::nanoseconds start,
        std::unique_ptr<platform::AppendingFile> file);

  /// Appends the call's line: the time, its name, then its own members.
  void record(std::string_view call, const JsonMembers& members = {});

 private:
  platform::EventLoop& loop_;
  std::chrono::nanoseconds start_;
  std::unique_ptr<platform::AppendingFile> file_;
};

}  // namespace parlen::simulated
