#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace parlen::fuzz {

/// Stops the fuzzer if something that must hold for any input does not.
inline void require(bool holds) {
  if (!holds) __builtin_trap();
}

inline std::string_view asText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

}  // namespace parlen::fuzz

/// What libFuzzer calls with each input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
