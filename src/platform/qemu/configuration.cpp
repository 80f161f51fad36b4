#include "platform/qemu/configuration.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "platform/qemu/error.h"
#include "platform/qemu/handles.h"

namespace parlen::qemu {
namespace {

using platform::MachineConfiguration;
using platform::MachineLimits;
using platform::Result;

// ---- validation ----

Result<> validateNumbers(const MachineConfiguration& configuration, const MachineLimits& limits) {
  const auto within = [](auto value, auto min, auto max) { return value >= min && value <= max; };
  if (!within(configuration.cpuCount, limits.minimumCPUCount, limits.maximumCPUCount)) {
    return error("the CPU count " + std::to_string(configuration.cpuCount) + " is not between " +
                 std::to_string(limits.minimumCPUCount) + " and " +
                 std::to_string(limits.maximumCPUCount));
  }
  const std::uint64_t memory = configuration.memorySize;
  if (!within(memory, limits.minimumMemorySize, limits.maximumMemorySize)) {
    return error("the memory size " + std::to_string(memory) + " is not between " +
                 std::to_string(limits.minimumMemorySize) + " and " +
                 std::to_string(limits.maximumMemorySize) + " bytes");
  }
  if (memory % mebibyte != 0) {
    return error("the memory size " + std::to_string(memory) + " is no multiple of 1 MiB");
  }
  return {};
}

/// The handles must come from this host, for a kind of guest that it has.
Result<> validateHandles(const MachineConfiguration& configuration) {
  const auto* model = dynamic_cast<const HardwareModel*>(configuration.hardwareModel.get());
  if (model == nullptr || !model->isSupported()) {
    return error("the configuration has no hardware model of this host");
  }
  if (dynamic_cast<const MachineIdentifier*>(configuration.machineIdentifier.get()) == nullptr) {
    return error("the configuration has no machine identifier of this host");
  }
  if (dynamic_cast<const AuxiliaryStorage*>(configuration.auxiliaryStorage.get()) == nullptr) {
    return error("the configuration has no auxiliary storage of this host");
  }
  const auto isOurs = [](const platform::StorageDevice& device) {
    return dynamic_cast<const DiskAttachment*>(device.attachment.get()) != nullptr;
  };
  if (!std::ranges::all_of(configuration.storageDevices, isOurs)) {
    return error("the configuration has a disk that is not of this host");
  }
  return {};
}

Result<> validateDevices(const MachineConfiguration& configuration) {
  std::size_t displays = 0;
  for (const auto& graphics : configuration.graphicsDevices) displays += graphics.displays.size();
  if (displays > 1) return error("this host gives a guest one display at most");
  constexpr std::size_t maxTagLength = 31;  // QEMU hw/9pfs/9p.h: MAX_TAG_LEN, less the final zero
  for (const auto& share : configuration.directorySharingDevices) {
    if (share.tag.empty() || share.tag.size() > maxTagLength) {
      return error("the share tag '" + share.tag + "' is not between 1 and 31 bytes long");
    }
  }
  for (const auto& network : configuration.networkDevices) {
    if (network.macAddress && (network.macAddress->octets[0] & 1U) != 0) {
      return error("the MAC address " + platform::toString(*network.macAddress) +
                   " is a multicast address");
    }
  }
  return {};
}

// ---- arguments ----

/// A list of arguments, built option by option.
class Arguments {
 public:
  void add(std::string option) { list_.push_back(std::move(option)); }
  void add(std::string option, std::string value) {
    list_.push_back(std::move(option));
    list_.push_back(std::move(value));
  }
  std::vector<std::string> take() { return std::move(list_); }

 private:
  std::vector<std::string> list_;
};

/// A file as a node of QEMU's block layer. The format is always given, because a guest can write
/// another format's header to its raw disk. A path in this form is never taken for a protocol.
std::string rawNode(const std::string& name, std::string_view driver, const std::string& path,
                    std::string_view options) {
  std::string node = "driver=raw,node-name=" + name;
  node.append(options).append(",file.driver=").append(driver);
  return node + ",file.filename=" + escapeOption(path);
}

void addBoard(Arguments& arguments, const MachineConfiguration& configuration,
              Acceleration acceleration) {
  const auto& model = static_cast<const HardwareModel&>(*configuration.hardwareModel);
  const auto& identifier = static_cast<const MachineIdentifier&>(*configuration.machineIdentifier);
  const auto& storage = static_cast<const AuxiliaryStorage&>(*configuration.auxiliaryStorage);
  const Board& board = *model.platform()->board;
  arguments.add("-nodefaults");
  arguments.add("-no-user-config");
  arguments.add("-S");  // paused, until the monitor socket is read
  arguments.add("-machine", std::string(board.machineType)
                                .append(board.machineOptions)
                                .append(",pflash0=firmware,pflash1=variables"));
  arguments.add("-accel", acceleration == Acceleration::kvm ? "kvm" : "tcg");
  arguments.add("-cpu",
                acceleration == Acceleration::kvm ? "max" : std::string(board.emulatedProcessor));
  arguments.add("-smp", std::to_string(configuration.cpuCount));
  arguments.add("-m", std::to_string(configuration.memorySize / mebibyte) + "M");
  arguments.add("-rtc", "base=utc");
  arguments.add("-uuid", identifier.uuid());
  arguments.add("-blockdev",
                rawNode("firmware", "file", model.platform()->firmware.code, ",read-only=on"));
  arguments.add("-blockdev", rawNode("variables", "file", storage.path(), ""));
}

/// An I/O error pauses the guest instead of being reported to it: once there is space again, it
/// can be resumed and has lost nothing.
void addDisk(Arguments& arguments, const DiskAttachment& disk, std::size_t index) {
  const std::string name = "disk" + std::to_string(index);
  const bool isFile = disk.kind() == DiskKind::file;
  const bool readOnly = disk.access() == DiskAccess::readOnly;
  arguments.add("-blockdev", rawNode(name, isFile ? "file" : "host_device", disk.path(),
                                     readOnly ? ",discard=unmap,read-only=on" : ",discard=unmap") +
                                 ",file.aio=threads,file.discard=unmap");
  arguments.add("-device",
                "virtio-blk-pci,drive=" + name + ",write-cache=on,werror=stop,rerror=stop");
}

/// QEMU's network back end: NAT of its own, or frames over a socket to passt.
std::string networkBackend(Networking networking, const std::string& name, std::size_t index) {
  if (networking == Networking::user) return "user,id=" + name;
  const std::size_t descriptor = static_cast<std::size_t>(networkDescriptor) + index;
  return "stream,id=" + name + ",server=off,addr.type=fd,addr.str=" + std::to_string(descriptor);
}

void addNetwork(Arguments& arguments, const platform::NetworkDevice& network, std::size_t index,
                Networking networking) {
  const std::string name = networkName(index);
  const std::string address =
      network.macAddress ? ",mac=" + platform::toString(*network.macAddress) : "";
  arguments.add("-netdev", networkBackend(networking, name, index));
  arguments.add("-device", "virtio-net-pci,netdev=" + name + address);
}

void addEntropy(Arguments& arguments, std::size_t index) {
  const std::string name = "random" + std::to_string(index);
  arguments.add("-object", "rng-random,filename=/dev/urandom,id=" + name);
  arguments.add("-device", "virtio-rng-pci,rng=" + name);
}

/// In MiB, for two pictures: with less, the guest's driver chooses a smaller mode.
std::uint64_t videoMemory(const platform::Display& display) {
  constexpr std::uint64_t bytesPerPixel = 4;
  const std::uint64_t picture = static_cast<std::uint64_t>(display.widthInPixels) *
                                static_cast<std::uint64_t>(display.heightInPixels) * bytesPerPixel;
  return std::bit_ceil((2 * picture + mebibyte - 1) / mebibyte);
}

std::string videoDevice(Video video, const platform::Display& display) {
  std::string device = video == Video::virtioGpu
                           ? "virtio-gpu-pci"
                           : "VGA,vgamem_mb=" + std::to_string(videoMemory(display));
  device.append(",xres=").append(std::to_string(display.widthInPixels));
  return device.append(",yres=").append(std::to_string(display.heightInPixels));
}

/// QEMU enforces the access, however the guest mounts the share. New files belong to this
/// process's user.
void addShare(Arguments& arguments, const platform::DirectorySharingDevice& share,
              std::size_t index) {
  const std::string name = "share" + std::to_string(index);
  const bool readOnly = share.access == platform::ShareAccess::readOnly;
  arguments.add("-fsdev", "local,id=" + name + ",path=" + escapeOption(share.path) +
                              ",security_model=none,multidevs=remap" +
                              (readOnly ? ",readonly=on" : ""));
  arguments.add("-device", "virtio-9p-pci,fsdev=" + name + ",mount_tag=" + escapeOption(share.tag));
}

void addDevices(Arguments& arguments, const MachineConfiguration& configuration,
                Networking networking) {
  const auto& model = static_cast<const HardwareModel&>(*configuration.hardwareModel);
  for (std::size_t i = 0; i < configuration.storageDevices.size(); ++i) {
    const auto& attachment = *configuration.storageDevices[i].attachment;
    addDisk(arguments, static_cast<const DiskAttachment&>(attachment), i);
  }
  for (std::size_t i = 0; i < configuration.networkDevices.size(); ++i) {
    addNetwork(arguments, configuration.networkDevices[i], i, networking);
  }
  for (std::size_t i = 0; i < configuration.entropyDevices.size(); ++i) addEntropy(arguments, i);
  for (const auto& graphics : configuration.graphicsDevices) {
    for (const auto& display : graphics.displays) {
      arguments.add("-device", videoDevice(model.platform()->board->video, display));
    }
  }
  arguments.add("-device", "qemu-xhci");
  for (std::size_t i = 0; i < configuration.keyboards.size(); ++i) {
    arguments.add("-device", "usb-kbd");
  }
  for (std::size_t i = 0; i < configuration.pointingDevices.size(); ++i) {
    arguments.add("-device", "usb-tablet");
  }
  for (std::size_t i = 0; i < configuration.directorySharingDevices.size(); ++i) {
    addShare(arguments, configuration.directorySharingDevices[i], i);
  }
  // Reports a guest's panic, which else looks like a power-off.
  arguments.add("-device", "pvpanic-pci");
}

/// The file is named by a set of descriptors (QEMU docs/system/invocation: -add-fd), so that it is
/// the one that this process has opened.
void addConsole(Arguments& arguments, Console console) {
  if (console == Console::none) return;
  arguments.add("-add-fd", "fd=" + std::to_string(consoleDescriptor) + ",set=0");
  arguments.add("-chardev", "file,id=console,path=/dev/fdset/0,append=on");
  arguments.add("-serial", "chardev:console");
}

/// No port is opened and no window. The VNC server is there for viewers that the monitor socket
/// adds later (add_client).
void addConnections(Arguments& arguments) {
  arguments.add("-display", "none");
  arguments.add("-vnc", "none");
  arguments.add("-chardev", "socket,id=control,fd=" + std::to_string(monitorDescriptor));
  arguments.add("-mon", "chardev=control,mode=control");
  arguments.add("-sandbox",
                "on,obsolete=deny,elevateprivileges=deny,spawn=deny,resourcecontrol=deny");
}

}  // namespace

platform::MachineLimits limitsFor(std::int64_t processors, std::uint64_t memory) {
  constexpr std::int64_t defaultProcessors = 2;  // a guest's, even on a host with one
  constexpr std::int64_t maxProcessors = 255;    // more need another interrupt controller (x2APIC)
  constexpr std::uint64_t minimumMemory = 128 * mebibyte;
  return {.minimumCPUCount = 1,
          .maximumCPUCount = std::clamp(processors, defaultProcessors, maxProcessors),
          .minimumMemorySize = minimumMemory,
          .maximumMemorySize = std::max(minimumMemory, memory / mebibyte * mebibyte)};
}

Result<> validate(const MachineConfiguration& configuration, const MachineLimits& limits) {
  if (auto numbers = validateNumbers(configuration, limits); !numbers) return numbers;
  if (auto handles = validateHandles(configuration); !handles) return handles;
  return validateDevices(configuration);
}

std::vector<std::string> buildArguments(const MachineConfiguration& configuration,
                                        Acceleration acceleration, Networking networking,
                                        Console console) {
  Arguments arguments;
  addBoard(arguments, configuration, acceleration);
  addDevices(arguments, configuration, networking);
  addConsole(arguments, console);
  addConnections(arguments);
  return arguments.take();
}

std::string networkName(std::size_t index) { return "net" + std::to_string(index); }

std::string escapeOption(std::string_view value) {
  std::string escaped;
  for (const char character : value) {
    if (character == ',') escaped += ',';
    escaped += character;
  }
  return escaped;
}

}  // namespace parlen::qemu
