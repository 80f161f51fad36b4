#include "platform/qemu/identities.h"

#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "text/json_reader.h"
#include "text/json_writer.h"

namespace parlen::qemu {
namespace {

constexpr std::string_view architectureKey = "architecture";
constexpr std::string_view machineTypeKey = "machineType";
constexpr std::string_view firmwareKey = "firmware";

std::string modelText(const GuestPlatform& platform) {
  return text::writeCompactSorted(
             text::JsonObject{{std::string(architectureKey), platform.architecture},
                              {std::string(machineTypeKey), platform.machineType},
                              {std::string(firmwareKey), platform.firmware}})
      .value_or(std::string());
}

const std::string* textMember(const text::JsonValue& object, std::string_view key) {
  const text::JsonValue* member = object.find(key);
  return member != nullptr ? member->asString() : nullptr;
}

template <std::size_t size>
std::array<std::uint8_t, size> randomBytes() {
  std::array<std::uint8_t, size> bytes{};
  // Up to 256 bytes come whole once the kernel has its entropy; waiting for that can be
  // interrupted.
  while (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
    if (errno != EINTR) std::abort();
  }
  return bytes;
}

}  // namespace

HardwareModel::HardwareModel(const GuestPlatform& platform)
    : text_(modelText(platform)), platform_(&platform) {}

std::shared_ptr<const HardwareModel> HardwareModel::parse(std::string_view bytes) {
  const auto value = text::parseJson(bytes);
  if (!value) return nullptr;
  const std::string* architecture = textMember(*value, architectureKey);
  const std::string* machineType = textMember(*value, machineTypeKey);
  const std::string* firmware = textMember(*value, firmwareKey);
  if (architecture == nullptr || machineType == nullptr || firmware == nullptr) return nullptr;
  return std::shared_ptr<const HardwareModel>(
      new HardwareModel(bytes, findGuestPlatform(*architecture, *machineType, *firmware)));
}

bool HardwareModel::isSupported() const { return platform_ != nullptr && isInstalled(*platform_); }

std::string MachineIdentifier::dataRepresentation() const { return {bytes_.begin(), bytes_.end()}; }

std::string MachineIdentifier::uuid() const {
  constexpr std::string_view digits = "0123456789abcdef";
  constexpr std::array hyphenBefore{4, 6, 8, 10};
  std::string text;
  for (int i = 0; const std::uint8_t byte : bytes_) {
    if (std::ranges::find(hyphenBefore, i++) != hyphenBefore.end()) text += '-';
    text += digits[byte >> 4U];
    text += digits[byte & 0xFU];
  }
  return text;
}

std::shared_ptr<const platform::HardwareModel> Identities::hardwareModel(std::string_view bytes) {
  return HardwareModel::parse(bytes);
}

std::shared_ptr<const platform::MachineIdentifier> Identities::machineIdentifier(
    std::string_view bytes) {
  MachineIdentifier::Bytes copy{};
  if (bytes.size() != copy.size()) return nullptr;
  std::ranges::copy(bytes, copy.begin());
  return std::make_shared<MachineIdentifier>(copy);
}

std::shared_ptr<const platform::MachineIdentifier> Identities::newMachineIdentifier() {
  return std::make_shared<MachineIdentifier>(randomBytes<MachineIdentifier::Bytes{}.size()>());
}

platform::MacAddress Identities::randomMacAddress() {
  return platform::locallyAdministered(randomBytes<platform::MacAddress{}.octets.size()>());
}

}  // namespace parlen::qemu
