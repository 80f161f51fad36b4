#include "platform/qemu/image_info.h"

#include <algorithm>

#include "text/json_reader.h"

namespace parlen::qemu {
namespace {

using text::JsonValue;

const JsonValue* findPath(const JsonValue* value, std::initializer_list<std::string_view> path) {
  for (const std::string_view key : path) {
    if (value != nullptr) value = value->find(key);
  }
  return value;
}

/// An image of several files says so here; the only extent of a whole one is the image itself.
bool hasForeignExtents(const JsonValue& info) {
  const JsonValue* member = findPath(&info, {"format-specific", "data", "extents"});
  if (member == nullptr) return false;
  const text::JsonArray* extents = member->asArray();
  if (extents == nullptr || extents->size() != 1) return true;
  const JsonValue* extent = extents->front().find("filename");
  const JsonValue* image = info.find("filename");
  return extent == nullptr || image == nullptr || *extent != *image;
}

}  // namespace

std::expected<std::string, std::string> usableFormat(std::string_view json) {
  const auto info = text::parseJson(json);
  if (!info) return std::unexpected("cannot be examined: " + text::describe(info.error()));
  const JsonValue* format = info->find("format");
  if (format == nullptr || format->asString() == nullptr) {
    return std::unexpected("cannot be examined: its format is not known");
  }
  if (info->find("backing-filename") != nullptr || info->find("full-backing-filename") != nullptr) {
    return std::unexpected("needs a backing file");
  }
  if (findPath(&*info, {"format-specific", "data", "data-file"}) != nullptr) {
    return std::unexpected("keeps its data in another file");
  }
  if (hasForeignExtents(*info)) return std::unexpected("consists of several files");
  const JsonValue* encrypted = info->find("encrypted");
  if (encrypted != nullptr && encrypted->asBoolean().value_or(false)) {
    return std::unexpected("is encrypted");
  }
  return *format->asString();
}

std::optional<std::uint64_t> endOfData(std::string_view json) {
  const auto map = text::parseJson(json);
  const text::JsonArray* extents = map ? map->asArray() : nullptr;
  if (!extents) return std::nullopt;
  std::uint64_t end = 0;
  for (const text::JsonValue& extent : *extents) {
    const text::JsonValue* offset = extent.find("offset");
    const text::JsonValue* length = extent.find("length");
    if (!offset || !length) continue;  // it lies nowhere in the file
    end = std::max(end, offset->asUInt64().value_or(0) + length->asUInt64().value_or(0));
  }
  return end;
}

}  // namespace parlen::qemu
