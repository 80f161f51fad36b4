#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace parlen::simulated {

/// What a restore image of this host says.
struct RestoreImageContent {
  std::optional<std::string> hardwareModel;
  std::int64_t minimumCPUCount = 1;
  std::uint64_t minimumMemorySize = 0;  // bytes
  friend bool operator==(const RestoreImageContent&, const RestoreImageContent&) = default;
};

/// More bytes than this are no restore image.
inline constexpr std::size_t longestRestoreImage = 65536;

/// The error says what is wrong with the bytes.
std::expected<RestoreImageContent, std::string> parseRestoreImage(std::string_view bytes);

}  // namespace parlen::simulated
