#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <expected>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "text/json_value.h"

// Reading JSON into structs by tables: one row per member, each with its type's own check. What no
// table knows is an error, and every error names the member by its path from the root.

namespace parlen::simulated {

/// A value and where it stands ("machine.startMs", "script[2]"; empty for the root).
struct Field {
  const text::JsonValue& value;
  std::string path;

  Field member(std::string_view name, const text::JsonValue& of) const;
  Field element(std::size_t index, const text::JsonValue& of) const;
};

using Checked = std::expected<void, std::string>;

/// "<path> <problem>".
std::unexpected<std::string> refuse(const Field& field, std::string_view problem);

// One reader per type; each leaves its target alone if the value is refused.
Checked read(const Field& field, bool& target);
Checked read(const Field& field, std::int64_t& target);
Checked read(const Field& field, std::uint64_t& target);
Checked read(const Field& field, std::uint16_t& target);
Checked read(const Field& field, double& target);
Checked read(const Field& field, std::string& target);
Checked read(const Field& field, std::chrono::milliseconds& target);
/// Null is the nothing that a time may be.
Checked read(const Field& field, std::optional<std::chrono::milliseconds>& target);

/// A whole number that is not negative.
Checked readCount(const Field& field, std::int64_t& target);

/// A member that is left out is nothing; null is not accepted for it.
template <class Value>
Checked read(const Field& field, std::optional<Value>& target) {
  Value value{};
  Checked checked = read(field, value);
  if (checked) target = std::move(value);
  return checked;
}

template <class Value>
Checked read(const Field& field, std::vector<Value>& target) {
  const text::JsonArray* array = field.value.asArray();
  if (array == nullptr) return refuse(field, "must be a list");
  target.clear();
  for (const text::JsonValue& element : *array) {
    Value& value = target.emplace_back();
    Checked checked = read(field.element(target.size() - 1, element), value);
    if (!checked) return checked;
  }
  return {};
}

/// One row of an object's table.
template <class Owner>
struct Member {
  std::string_view name;
  Checked (*read)(const Field&, Owner&);
};

/// The row's reader for a member of a struct: the one that its type has.
template <auto pointer, class Owner>
Checked into(const Field& field, Owner& owner) {
  return read(field, owner.*pointer);
}

/// Likewise, for a member whose type does not say enough.
template <auto pointer, auto reader, class Owner>
Checked intoBy(const Field& field, Owner& owner) {
  return reader(field, owner.*pointer);
}

/// Reads every member that the object has; what it leaves out keeps its value.
template <class Owner>
Checked readMembers(const Field& field, std::span<const Member<Owner>> table, Owner& owner) {
  const text::JsonObject* object = field.value.asObject();
  if (object == nullptr) return refuse(field, "must be an object");
  for (const auto& [name, value] : *object) {
    const Field member = field.member(name, value);
    const auto row = std::ranges::find(table, name, &Member<Owner>::name);
    if (row == table.end()) return std::unexpected("unknown member '" + member.path + "'");
    Checked checked = row->read(member, owner);
    if (!checked) return checked;
  }
  return {};
}

}  // namespace parlen::simulated
