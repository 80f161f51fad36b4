#include "platform/simulated/strict_json.h"

#include <limits>

namespace parlen::simulated {
namespace {

/// About 31 years. The clock plus a time must fit into 64 bits of nanoseconds.
constexpr std::int64_t maxMilliseconds = 1'000'000'000'000;

/// Stores what the value's accessor found, or fails with `problem` if it found nothing.
template <class Found, class Target>
Checked take(const Field& field, const Found& found, Target& target, std::string_view problem) {
  if (!found) return fail(field, problem);
  target = static_cast<Target>(*found);
  return {};
}

}  // namespace

Field Field::member(std::string_view name, const text::JsonValue& of) const {
  return {of, path.empty() ? std::string(name) : path + "." + std::string(name)};
}

Field Field::element(std::size_t index, const text::JsonValue& of) const {
  return {of, path + "[" + std::to_string(index) + "]"};
}

std::unexpected<std::string> fail(const Field& field, std::string_view problem) {
  const std::string subject = field.path.empty() ? "the document" : field.path;
  return std::unexpected(subject + " " + std::string(problem));
}

Checked read(const Field& field, bool& target) {
  return take(field, field.value.asBoolean(), target, "must be true or false");
}

Checked read(const Field& field, std::int64_t& target) {
  return take(field, field.value.asInt64(), target, "must be a whole number of 64 bits");
}

Checked read(const Field& field, std::uint64_t& target) {
  return take(field, field.value.asUInt64(), target,
              "must be a whole number, not negative, of 64 bits");
}

Checked read(const Field& field, std::uint16_t& target) {
  auto number = field.value.asInt64();
  constexpr std::int64_t max = std::numeric_limits<std::uint16_t>::max();
  if (number && (*number < 0 || *number > max)) number.reset();
  return take(field, number, target, "must be a whole number from 0 to 65535");
}

Checked read(const Field& field, double& target) {
  return take(field, field.value.asDouble(), target, "must be a number");
}

Checked read(const Field& field, std::string& target) {
  const std::string* text = field.value.asString();
  if (text == nullptr) return fail(field, "must be a string");
  target = *text;
  return {};
}

Checked read(const Field& field, std::chrono::milliseconds& target) {
  const auto number = field.value.asInt64();
  if (!number || *number < 0) return fail(field, "must be a whole number of milliseconds");
  if (*number > maxMilliseconds) return fail(field, "must be at most 1000000000000");
  target = std::chrono::milliseconds(*number);
  return {};
}

Checked read(const Field& field, std::optional<std::chrono::milliseconds>& target) {
  if (field.value.isNull()) {
    target.reset();
    return {};
  }
  std::chrono::milliseconds time{};
  Checked checked = read(field, time);
  if (!checked) return std::unexpected(checked.error() + ", or null");
  target = time;
  return {};
}

Checked readCount(const Field& field, std::int64_t& target) {
  auto number = field.value.asInt64();
  if (number && *number < 0) number.reset();
  return take(field, number, target, "must be a whole number, not negative, of 64 bits");
}

}  // namespace parlen::simulated
