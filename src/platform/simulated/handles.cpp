#include "platform/simulated/handles.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <string>
#include <string_view>

namespace parlen::simulated {
namespace {

constexpr std::string_view hexDigits = "0123456789abcdef";
constexpr std::size_t identifierLength = 32;
constexpr std::string_view guestMark = "parlen-simulated-guest";

/// The bytes after `prefix`, or nullopt if they do not begin with it.
std::optional<std::string> afterPrefix(std::string_view bytes, std::string_view prefix) {
  if (!bytes.starts_with(prefix)) return std::nullopt;
  return std::string(bytes.substr(prefix.size()));
}

std::string storageContent(const HardwareModel& model) {
  return "parlen-simulated-auxiliary-storage:" + model.name();
}

/// The path of the first disk, the one that the guest is on.
platform::Result<std::string> diskPath(const platform::MachineConfiguration& configuration) {
  if (configuration.storageDevices.empty() || !configuration.storageDevices[0].attachment) {
    return error("the machine has no disk");
  }
  return opened(configuration.storageDevices[0].attachment)->path();
}

platform::Result<> checkStorage(const platform::Files& files,
                                const platform::MachineConfiguration& configuration) {
  const AuxiliaryStorage* storage = opened(configuration.auxiliaryStorage);
  const HardwareModel* model = opened(configuration.hardwareModel);
  if (storage == nullptr || model == nullptr) {
    return error("the machine has no auxiliary storage or no hardware model");
  }
  const std::string expected = storageContent(*model);
  const auto content = files.readStart(storage->path(), expected.size() + 1);
  if (!content) return std::unexpected(content.error());
  if (*content == expected) return {};
  return error(storage->path() + " is no auxiliary storage of the model " + model->name());
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

platform::Result<> createAuxiliaryStorage(platform::Files& files, const std::string& path,
                                          const HardwareModel& model) {
  return files.create(path, storageContent(model));
}

platform::Result<> checkGuestFiles(const platform::Files& files,
                                   const platform::MachineConfiguration& configuration) {
  if (auto storage = checkStorage(files, configuration); !storage) return storage;
  const auto disk = diskPath(configuration);
  if (!disk) return std::unexpected(disk.error());
  const auto content = files.readStart(*disk, guestMark.size());
  if (!content) return std::unexpected(content.error());
  if (*content == guestMark) return {};
  return error("the disk " + *disk + " has no guest on it");
}

platform::Result<> checkRoomForGuest(const platform::Files& files,
                                     const platform::MachineConfiguration& configuration) {
  const auto disk = diskPath(configuration);
  if (!disk) return std::unexpected(disk.error());
  const auto length = files.length(*disk);
  if (!length) return std::unexpected(length.error());
  if (*length >= guestMark.size()) return {};
  return error("the disk " + *disk + " is too short for a guest");
}

platform::Result<> writeGuest(platform::Files& files,
                              const platform::MachineConfiguration& configuration) {
  const auto disk = diskPath(configuration);
  if (!disk) return std::unexpected(disk.error());
  return files.writeStart(*disk, guestMark);
}

}  // namespace parlen::simulated
