#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace parlen::platform {

/// The hardware address of a network interface.
struct MacAddress {
  std::array<std::uint8_t, 6> octets{};  // in the order in which they are written

  friend bool operator==(const MacAddress&, const MacAddress&) = default;
};

/// Writes an address in lower case: "0a:1b:2c:3d:4e:5f".
std::string toString(const MacAddress& address);

/// Reads six octets of two hexadecimal digits each, in either case, separated by colons; nullopt
/// for any other text.
std::optional<MacAddress> parseMacAddress(std::string_view text);

/// Makes `octets` a locally administered unicast address by setting the two low bits of octet 0.
/// Source: IEEE 802, the U/L and I/G address bits.
MacAddress locallyAdministered(std::array<std::uint8_t, 6> octets);

}  // namespace parlen::platform
