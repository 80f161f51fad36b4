#pragma once

#include <cstdint>

namespace parlen {

// The one display that every guest has. Its machine is configured with it and its window keeps its
// proportions, so both read it here.
inline constexpr std::int64_t vmDisplayWidth = 1920;   // pixels
inline constexpr std::int64_t vmDisplayHeight = 1200;  // pixels
inline constexpr std::int64_t vmDisplayPixelsPerInch = 80;

}  // namespace parlen
