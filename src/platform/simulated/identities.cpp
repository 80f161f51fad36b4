#include "platform/simulated/identities.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <string>

#include "platform/simulated/handles.h"

namespace parlen::simulated {
namespace {

constexpr std::string_view hexDigits = "0123456789abcdef";
constexpr std::size_t identifierLength = 32;

/// What follows `prefix`, or nothing if the bytes begin with something else.
std::optional<std::string> afterPrefix(std::string_view bytes, std::string_view prefix) {
  if (!bytes.starts_with(prefix)) return std::nullopt;
  return std::string(bytes.substr(prefix.size()));
}

}  // namespace

std::shared_ptr<const platform::HardwareModel> Identities::hardwareModel(std::string_view bytes) {
  const auto name = afterPrefix(bytes, HardwareModel::prefix);
  if (!name || !HardwareModel::isName(*name)) return nullptr;
  return std::make_shared<HardwareModel>(world_, *name);
}

std::shared_ptr<const platform::MachineIdentifier> Identities::machineIdentifier(
    std::string_view bytes) {
  const auto digits = afterPrefix(bytes, MachineIdentifier::prefix);
  if (!digits || digits->size() != identifierLength) return nullptr;
  if (digits->find_first_not_of(hexDigits) != std::string::npos) return nullptr;
  return std::make_shared<MachineIdentifier>(*digits);
}

std::shared_ptr<const platform::MachineIdentifier> Identities::newMachineIdentifier() {
  std::random_device random;
  std::string digits;
  while (digits.size() < identifierLength) digits += hexDigits[random() % hexDigits.size()];
  return std::make_shared<MachineIdentifier>(digits);
}

platform::MacAddress Identities::randomMacAddress() {
  std::random_device random;
  std::array<std::uint8_t, 6> octets{};
  for (std::uint8_t& octet : octets) octet = static_cast<std::uint8_t>(random() & 0xFFU);
  return platform::locallyAdministered(octets);
}

}  // namespace parlen::simulated
