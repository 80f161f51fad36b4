#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "text/json_value.h"

// Reads JSON into structs by tables with one row per member. Each type has its own check, and a
// member without a row is an error. Every error names the member by its path from the root.

namespace parlen::simulated {

/// A value and its path ("machine.startMs", "script[2]"; empty for the root).
struct Field {
  const text::JsonValue& value;
  std::string path;

  Field member(std::string_view name, const text::JsonValue& of) const;
  Field element(std::size_t index, const text::JsonValue& of) const;
};

using Checked = std::expected<void, std::string>;

/// The error "<path> <problem>"; the path of the root is "the document".
std::unexpected<std::string> fail(const Field& field, std::string_view problem);

// One reader per type. After an error the target is as it was.
Checked read(const Field& field, bool& target);
Checked read(const Field& field, std::int64_t& target);
Checked read(const Field& field, std::uint64_t& target);
Checked read(const Field& field, std::uint16_t& target);
Checked read(const Field& field, double& target);
Checked read(const Field& field, std::string& target);
Checked read(const Field& field, std::chrono::milliseconds& target);
/// A time, or null for nullopt.
Checked read(const Field& field, std::optional<std::chrono::milliseconds>& target);

/// An integer that is not negative.
Checked readCount(const Field& field, std::int64_t& target);

/// nullopt stands for a member that is left out; null is an error.
template <class Value>
Checked read(const Field& field, std::optional<Value>& target) {
  Value value{};
  Checked checked = read(field, value);
  if (checked) target = std::move(value);
  return checked;
}

/// After an error the target holds the elements up to the wrong one.
template <class Value>
Checked read(const Field& field, std::vector<Value>& target) {
  const text::JsonArray* array = field.value.asArray();
  if (array == nullptr) return fail(field, "must be a list");
  target.clear();
  for (const text::JsonValue& element : *array) {
    Value& value = target.emplace_back();
    Checked checked = read(field.element(target.size() - 1, element), value);
    if (!checked) return checked;
  }
  return {};
}

/// One row of an object's table. `read` reads the member into the struct.
template <class Owner>
struct Member {
  std::string_view name;
  Checked (*read)(const Field&, Owner&);
};

/// A row's reader: calls the reader of the data member's type.
template <auto pointer, class Owner>
Checked into(const Field& field, Owner& owner) {
  return read(field, owner.*pointer);
}

/// Likewise, with a reader of its own.
template <auto pointer, auto reader, class Owner>
Checked intoBy(const Field& field, Owner& owner) {
  return reader(field, owner.*pointer);
}

/// Reads all members of the object. Those that it leaves out keep their values in `owner`.
template <class Owner>
Checked readMembers(const Field& field, std::span<const Member<Owner>> table, Owner& owner) {
  const text::JsonObject* object = field.value.asObject();
  if (object == nullptr) return fail(field, "must be an object");
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
