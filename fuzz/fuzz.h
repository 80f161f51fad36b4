#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace parlen::fuzz {

/// Aborts if a condition that must hold for every input does not; the fuzzer then reports the
/// input.
inline void require(bool holds) {
  if (!holds) __builtin_trap();
}

inline std::string_view asText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

}  // namespace parlen::fuzz

/// libFuzzer calls this with each input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
