#include "platform/simulated/guest_files.h"

#include <string_view>

#include "platform/simulated/failure.h"

namespace parlen::simulated {
namespace {

constexpr std::string_view guestMark = "parlen-simulated-guest";

std::string storageContent(const HardwareModel& model) {
  return "parlen-simulated-auxiliary-storage:" + model.name();
}

/// The path of the disk that a guest is on.
platform::Result<std::string> diskPath(const platform::MachineConfiguration& configuration) {
  if (configuration.storageDevices.empty() || !configuration.storageDevices[0].attachment) {
    return std::unexpected(failure("the machine has no disk"));
  }
  return opened(configuration.storageDevices[0].attachment)->path();
}

platform::Result<> checkStorage(const platform::Files& files,
                                const platform::MachineConfiguration& configuration) {
  const AuxiliaryStorage* storage = opened(configuration.auxiliaryStorage);
  const HardwareModel* model = opened(configuration.hardwareModel);
  if (storage == nullptr || model == nullptr) {
    return std::unexpected(failure("the machine has no auxiliary storage or no hardware model"));
  }
  const std::string expected = storageContent(*model);
  const auto content = files.readStart(storage->path(), expected.size() + 1);
  if (!content) return std::unexpected(content.error());
  if (*content == expected) return {};
  return std::unexpected(
      failure(storage->path() + " is no auxiliary storage of the model " + model->name()));
}

}  // namespace

platform::Result<> createAuxiliaryStorage(platform::Files& files, const std::string& path,
                                          const HardwareModel& model) {
  if (files.exists(path)) {
    return std::unexpected(failure("could not create the auxiliary storage " + path +
                                   ": something exists there already"));
  }
  return files.write(path, storageContent(model));
}

platform::Result<> checkGuestFiles(const platform::Files& files,
                                   const platform::MachineConfiguration& configuration) {
  if (auto storage = checkStorage(files, configuration); !storage) return storage;
  const auto disk = diskPath(configuration);
  if (!disk) return std::unexpected(disk.error());
  const auto content = files.readStart(*disk, guestMark.size());
  if (!content) return std::unexpected(content.error());
  if (*content == guestMark) return {};
  return std::unexpected(failure("the disk " + *disk + " has no guest on it"));
}

platform::Result<> checkRoomForGuest(const platform::Files& files,
                                     const platform::MachineConfiguration& configuration) {
  const auto disk = diskPath(configuration);
  if (!disk) return std::unexpected(disk.error());
  const auto length = files.length(*disk);
  if (!length) return std::unexpected(length.error());
  if (*length >= guestMark.size()) return {};
  return std::unexpected(failure("the disk " + *disk + " is too short for a guest"));
}

platform::Result<> writeGuest(platform::Files& files,
                              const platform::MachineConfiguration& configuration) {
  const auto disk = diskPath(configuration);
  if (!disk) return std::unexpected(disk.error());
  return files.writeStart(*disk, guestMark);
}

}  // namespace parlen::simulated
