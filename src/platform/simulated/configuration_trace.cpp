#include "platform/simulated/configuration_trace.h"

#include <string>

#include "platform/simulated/handles.h"

namespace parlen::simulated {
namespace {

std::string display(const platform::Display& display) {
  return "[" + std::to_string(display.widthInPixels) + "," +
         std::to_string(display.heightInPixels) + "," + std::to_string(display.pixelsPerInch) + "]";
}

std::string storageDevice(const platform::StorageDevice& device) {
  const DiskAttachment* disk = opened(device.attachment);
  if (disk == nullptr) return "null";
  return JsonMembers()
      .addText("path", disk->path())
      .addBoolean("readOnly", disk->isReadOnly())
      .object();
}

std::string networkDevice(const platform::NetworkDevice& device) {
  return JsonMembers()
      .addText("attachment", "nat")
      .add("macAddress", device.macAddress ? quoted(toString(*device.macAddress)) : "null")
      .object();
}

std::string directorySharingDevice(const platform::DirectorySharingDevice& device) {
  return JsonMembers()
      .addText("tag", device.tag)
      .addText("path", device.path)
      .addBoolean("readOnly", device.access == platform::ShareAccess::readOnly)
      .object();
}

void addIdentity(JsonMembers& members, const platform::MachineConfiguration& configuration) {
  const HardwareModel* model = opened(configuration.hardwareModel);
  const MachineIdentifier* identifier = opened(configuration.machineIdentifier);
  const AuxiliaryStorage* storage = opened(configuration.auxiliaryStorage);
  const bool boots = configuration.bootLoader == platform::BootLoader::macOS;
  members.add("hardwareModel", model != nullptr ? quoted(model->name()) : "null")
      .add("machineIdentifier", identifier != nullptr ? quoted(identifier->digits()) : "null")
      .add("auxiliaryStorage", storage != nullptr ? quoted(storage->path()) : "null")
      .add("bootLoader", boots ? quoted("macos") : "null");
}

}  // namespace

JsonMembers describe(const platform::MachineConfiguration& configuration) {
  const auto displays = [](const platform::GraphicsDevice& device) {
    return jsonArray(device.displays, display);
  };
  // These lists have one kind of device each, so an element has one name.
  const auto named = [](std::string_view name) { return [name](auto) { return quoted(name); }; };
  JsonMembers members;
  addIdentity(members, configuration);
  members.add("cpuCount", std::to_string(configuration.cpuCount))
      .add("memorySize", std::to_string(configuration.memorySize))
      .add("displays", jsonArray(configuration.graphicsDevices, displays))
      .add("storageDevices", jsonArray(configuration.storageDevices, storageDevice))
      .add("networkDevices", jsonArray(configuration.networkDevices, networkDevice))
      .add("entropyDevices", std::to_string(configuration.entropyDevices.size()))
      .add("keyboards", jsonArray(configuration.keyboards, named("usb")))
      .add("pointingDevices",
           jsonArray(configuration.pointingDevices, named("usb-screen-coordinate")))
      .add("audioDevices", jsonArray(configuration.audioDevices, named("")))
      .add("directorySharingDevices",
           jsonArray(configuration.directorySharingDevices, directorySharingDevice));
  return members;
}

}  // namespace parlen::simulated
