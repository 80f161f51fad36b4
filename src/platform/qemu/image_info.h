#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace parlen::qemu {

/// What `qemu-img info --output=json` says about an image, as far as it counts here. The value is
/// the name of the image's format; the error says what keeps the image from being used, to be read
/// after its name: "needs a backing file".
std::expected<std::string, std::string> usableFormat(std::string_view json);

/// Where in its file an image's data ends, by what `qemu-img map --output=json` says; nothing if
/// that is no map.
std::optional<std::uint64_t> endOfData(std::string_view json);

}  // namespace parlen::qemu
