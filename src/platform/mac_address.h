#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace parlen::platform {

/// The hardware address of a network interface.
struct MacAddress {
  std::array<std::uint8_t, 6> octets{};

  friend bool operator==(const MacAddress&, const MacAddress&) = default;
};

/// "0a:1b:2c:3d:4e:5f", lower case.
std::string toString(const MacAddress& address);

/// Six octets of two hexadecimal digits in either case, joined by colons; nothing for any other
/// text.
std::optional<MacAddress> parseMacAddress(std::string_view text);

/// `octets` made into a locally administered unicast address (IEEE 802, the two low bits of octet
/// 0).
MacAddress locallyAdministered(std::array<std::uint8_t, 6> octets);

}  // namespace parlen::platform
