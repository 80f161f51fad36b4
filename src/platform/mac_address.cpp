#include "platform/mac_address.h"

#include <cstddef>

namespace parlen::platform {
namespace {

constexpr std::size_t octetWidth = 3;  // two digits and a colon

int digitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

}  // namespace

std::string toString(const MacAddress& address) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t octet : address.octets) {
    if (!text.empty()) text += ':';
    text += digits[octet >> 4U];
    text += digits[octet & 0xFU];
  }
  return text;
}

std::optional<MacAddress> parseMacAddress(std::string_view text) {
  MacAddress address;
  if (text.size() != address.octets.size() * octetWidth - 1) return std::nullopt;
  for (std::size_t i = 0; i < address.octets.size(); ++i) {
    const std::size_t at = i * octetWidth;
    if (i > 0 && text[at - 1] != ':') return std::nullopt;
    const int high = digitValue(text[at]);
    const int low = digitValue(text[at + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    address.octets[i] = static_cast<std::uint8_t>(high * 16 + low);
  }
  return address;
}

MacAddress locallyAdministered(std::array<std::uint8_t, 6> octets) {
  constexpr unsigned multicast = 1;
  constexpr unsigned local = 2;
  octets[0] = static_cast<std::uint8_t>((octets[0] & ~multicast) | local);
  return {octets};
}

}  // namespace parlen::platform
