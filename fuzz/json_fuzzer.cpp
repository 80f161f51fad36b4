#include <algorithm>
#include <array>

#include "fuzz.h"
#include "text/json_reader.h"
#include "text/json_writer.h"
#include "text/utf8.h"

namespace parlen {
namespace {

using fuzz::require;
using text::JsonArray;
using text::JsonObject;
using text::JsonValue;

bool meansTheSame(const JsonValue& left, const JsonValue& right);

/// Integers of 64 bits must be equal; any other number is equal to the same double.
bool sameNumber(const JsonValue& left, const JsonValue& right) {
  if (left.asDouble() != right.asDouble()) return false;
  if (!left.asInt64() && !left.asUInt64()) return true;
  return left == right;
}

bool sameElements(const JsonArray& left, const JsonArray& right) {
  return std::ranges::equal(left, right, meansTheSame);
}

bool sameMembers(const JsonObject& left, const JsonObject& right) {
  return std::ranges::equal(left, right, [](const auto& one, const auto& other) {
    return one.first == other.first && meansTheSame(one.second, other.second);
  });
}

bool meansTheSame(const JsonValue& left, const JsonValue& right) {
  if (left.asDouble()) return sameNumber(left, right);
  if (left.asArray() != nullptr && right.asArray() != nullptr) {
    return sameElements(*left.asArray(), *right.asArray());
  }
  if (left.asObject() != nullptr && right.asObject() != nullptr) {
    return sameMembers(*left.asObject(), *right.asObject());
  }
  return left == right;
}

void checkValue(std::string_view input) {
  const auto value = text::parseJson(input);
  if (!value) return require(value.error().offset <= input.size());
  for (const auto& write : {text::writeCompactSorted, text::writePrettySorted}) {
    const auto written = write(*value);
    require(written.has_value());
    const auto again = text::parseJson(*written);
    require(again && meansTheSame(*value, *again));
  }
}

/// The reader of some members agrees with the reader of all of them.
void checkMembers(std::string_view input) {
  constexpr std::array<std::string_view, 3> names = {"type", "text", "delayMs"};
  const auto whole = text::parseJson(input);
  const auto members = text::parseJsonMembers(input, names);
  require(whole.has_value() == members.has_value());
  if (!whole) return require(whole.error() == members.error());
  require((whole->asObject() != nullptr) == (members->asObject() != nullptr));
  require(members->asObject() == nullptr || members->asObject()->size() <= names.size());
  for (const std::string_view name : names) {
    const JsonValue* all = whole->find(name);
    const JsonValue* some = members->find(name);
    require((all != nullptr) == (some != nullptr));
    if (all == nullptr) continue;
    const bool isScalar = all->asArray() == nullptr && all->asObject() == nullptr;
    require(*some == (isScalar ? *all : JsonValue()));
  }
}

void checkString(std::string_view input) {
  const auto literal = text::quoteJson(input);
  require(literal.has_value() == text::isValidUtf8(input));
  if (literal) require(text::parseJson(*literal) == JsonValue(input));
}

void checkRepair(std::string_view input) {
  const std::string repaired = text::repairUtf8(input);
  require(text::isValidUtf8(repaired));
  require((repaired == input) == text::isValidUtf8(input));
}

}  // namespace
}  // namespace parlen

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input = parlen::fuzz::asText(data, size);
  parlen::checkValue(input);
  parlen::checkMembers(input);
  parlen::checkString(input);
  parlen::checkRepair(input);
  return 0;
}
