#include "platform/qemu/guest_platform.h"

#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <utility>

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

bool isProgram(const std::string& path) {
  struct stat status{};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         ::access(path.c_str(), X_OK) == 0;
}

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
  // `status` feels a walk along a long PATH, and this is where a distribution puts them.
  constexpr std::string_view usual = "/usr/bin";
  for (const std::string_view program : {std::string_view(platform.emulator), imageTool}) {
    if (!findProgram(program, usual) && !findProgram(program)) return false;
  }
  return true;
}

platform::Result<std::string> requireProgram(std::string_view name) {
  auto path = findProgram(name);
  if (!path) return error(std::string(name) + " is not installed");
  return *std::move(path);
}

std::optional<std::string> findProgram(std::string_view name) {
  const char* directories = std::getenv("PATH");
  if (directories == nullptr) return std::nullopt;
  return findProgram(name, directories);
}

std::optional<std::string> findProgram(std::string_view name, std::string_view directories) {
  while (true) {
    const std::size_t end = directories.find(':');
    const std::string_view directory = directories.substr(0, end);
    std::string path = directory.empty() ? "." : std::string(directory);
    path.append("/").append(name);
    if (isProgram(path)) return path;
    if (end == std::string_view::npos) return std::nullopt;
    directories.remove_prefix(end + 1);
  }
}

}  // namespace parlen::qemu
