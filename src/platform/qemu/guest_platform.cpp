#include "platform/qemu/guest_platform.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <utility>

#include "platform/linux/find_program.h"
#include "platform/qemu/error.h"

namespace parlen::qemu {
namespace {

constexpr std::array guestPlatforms{
    GuestPlatform{.architecture = "x86_64",
                  .machineType = "q35",
                  .firmware = "ovmf-4m",
                  .emulator = "qemu-system-x86_64",
                  .firmwareCode = "/usr/share/OVMF/OVMF_CODE_4M.fd",
                  .firmwareVariables = "/usr/share/OVMF/OVMF_VARS_4M.fd"},
};

bool isReadable(const char* path) { return ::access(path, R_OK) == 0; }

}  // namespace

const GuestPlatform* nativeGuestPlatform() {
  utsname names{};
  if (::uname(&names) != 0) return nullptr;
  for (const GuestPlatform& platform : guestPlatforms) {
    if (platform.architecture == names.machine) return &platform;
  }
  return nullptr;
}

const GuestPlatform* findGuestPlatform(std::string_view architecture, std::string_view machineType,
                                       std::string_view firmware) {
  for (const GuestPlatform& platform : guestPlatforms) {
    if (platform.architecture == architecture && platform.machineType == machineType &&
        platform.firmware == firmware) {
      return &platform;
    }
  }
  return nullptr;
}

bool isInstalled(const GuestPlatform& platform) {
  if (!isReadable(platform.firmwareCode) || !isReadable(platform.firmwareVariables)) return false;
  // /usr/bin first: distributions install them there, and a walk along a long PATH slows `status`.
  for (const std::string_view program : {std::string_view(platform.emulator), imageTool}) {
    if (!linux::findProgram(program, "/usr/bin") && !linux::findProgram(program)) return false;
  }
  return true;
}

platform::Result<std::string> requireProgram(std::string_view name) {
  auto path = linux::findProgram(name);
  if (!path) return error(std::string(name) + " is not installed");
  return *std::move(path);
}

}  // namespace parlen::qemu
