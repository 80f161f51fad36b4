#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace parlen::qemu {

/// The big-endian number of `width` bytes, 8 at most, at offset `at`; 0 past the end.
inline std::uint64_t bigEndian(std::string_view bytes, std::size_t at, std::size_t width = 8) {
  if (at > bytes.size() || bytes.size() - at < width) return 0;
  std::uint64_t value = 0;
  for (const char byte : bytes.substr(at, width)) {
    value = value << 8U | static_cast<unsigned char>(byte);
  }
  return value;
}

/// The same for a little-endian number of 8 bytes.
inline std::uint64_t littleEndian(std::string_view bytes, std::size_t at) {
  return __builtin_bswap64(bigEndian(bytes, at));
}

}  // namespace parlen::qemu
