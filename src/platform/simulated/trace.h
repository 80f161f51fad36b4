#pragma once

#include <chrono>
#include <concepts>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/event_loop.h"
#include "platform/files.h"
#include "platform/geometry.h"
#include "platform/key_event.h"
#include "platform/machine_configuration.h"
#include "platform/window_system.h"
#include "text/json_writer.h"
#include "text/utf8.h"

namespace parlen::simulated {

/// The JSON string for a text. Bytes that are not UTF-8 (a path may have some) become U+FFFD.
inline std::string quoted(std::string_view text) {
  return *text::quoteJson(text::repairUtf8(text));
}

/// The shortest JSON number that parses to `value`; "null" if it is infinite or not a number.
inline std::string number(double value) {
  // -0.0 + 0.0 is 0.0.
  return text::writeCompactSorted(value + 0.0).value_or("null");
}

/// Builds a JSON object without spaces. Its members keep the order in which they were added.
class JsonMembers {
 public:
  /// `json` is a JSON value, copied unchanged.
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
  /// Written with as few digits as possible: 28, 28.5.
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

/// The JSON array of `toJson(element)` for each element.
template <class Range, class ToJson>
std::string jsonArray(const Range& range, ToJson toJson) {
  std::string array = "[";
  for (const auto& element : range) {
    if (array.size() > 1) array += ',';
    array += toJson(element);
  }
  return array + "]";
}

// Geometry as JSON arrays: [x,y], [width,height], [x,y,width,height].
std::string list(const platform::Point& point);
std::string list(const platform::Size& size);
std::string list(const platform::Rect& rect);

/// The bar's tree of views with the properties that the program set.
JsonMembers describe(const platform::BarStack& bar);

/// All of a machine's configuration. A missing part is null.
JsonMembers describe(const platform::MachineConfiguration& configuration);

/// All of a key event's details.
JsonMembers describe(const platform::KeyEventDetails& details);

/// The trace file: one JSON line per call of the program, written at the moment of the call.
class Trace {
 public:
  /// Without a `file` (null) nothing is recorded. Times count from `start` on the loop's clock.
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
