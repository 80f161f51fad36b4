#include "platform/qemu/guest_platform.h"

#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <utility>

#include "platform/linux/find_program.h"
#include "platform/qemu/error.h"

namespace parlen::qemu {
namespace {

using platform::Result;

constexpr std::array boards{
    Board{.architecture = "x86_64",
          .machineType = "q35",
          .versionedType = "pc-q35-",
          .machineOptions = "",
          .video = Video::vga,
          .emulatedProcessor = "max",
          .emulator = "qemu-system-x86_64",
          .emulatorPackage = "qemu-system-x86",
          .firmwarePackage = "ovmf"},
    // Without the machine's option it has an interrupt controller for 8 processors at most. Without
    // that of the emulated processor, pointers are signed by the architecture's own algorithm, and
    // a guest takes three times as long to boot (QEMU docs/system/arm/cpu-features: pauth-impdef).
    Board{.architecture = "aarch64",
          .machineType = "virt",
          .versionedType = "virt-",
          .machineOptions = ",gic-version=max",
          .video = Video::virtioGpu,
          .emulatedProcessor = "max,pauth-impdef=on",
          .emulator = "qemu-system-aarch64",
          .emulatorPackage = "qemu-system-arm",
          .firmwarePackage = "qemu-efi-aarch64"},
};

constexpr std::string_view imageToolPackage = "qemu-utils";

/// The firmware of the guests of version 1.0.0, whose hardware models have this word for it.
constexpr std::string_view formerName = "ovmf-4m";
constexpr std::string_view formerArchitecture = "x86_64";

Firmware formerFirmware() {
  return {.code = "/usr/share/OVMF/OVMF_CODE_4M.fd",
          .variables = "/usr/share/OVMF/OVMF_VARS_4M.fd"};
}

/// /usr/bin first: distributions install them there, and a walk along a long PATH slows `status`.
bool hasProgram(std::string_view name) {
  return linux::findProgram(name, "/usr/bin") || linux::findProgram(name);
}

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

void append(std::string& list, std::string_view part, std::string_view package) {
  if (!list.empty()) list += ", ";
  list.append(part).append(" (Debian's package ").append(package).append(")");
}

/// The platform, if all of its parts are installed. `firmwareName` tells people which one is meant.
Result<GuestPlatform> complete(const Board& board, std::optional<Firmware> firmware,
                               std::string_view firmwareName, const Installed& host) {
  std::string missing;
  if (!host.hasProgram(board.emulator)) append(missing, board.emulator, board.emulatorPackage);
  if (!host.hasProgram(imageTool)) append(missing, imageTool, imageToolPackage);
  if (!firmware) append(missing, firmwareName, board.firmwarePackage);
  if (missing.empty() && firmware)
    return GuestPlatform{.board = &board, .firmware = *std::move(firmware)};
  return error("to run guests, this host needs " + missing);
}

std::optional<Firmware> firmwareWithCode(std::string_view code, const Board& board,
                                         const Installed& host) {
  if (code == formerName && board.architecture == formerArchitecture) {
    Firmware former = formerFirmware();
    return isInstalled(former) ? std::optional(std::move(former)) : std::nullopt;
  }
  return findFirmware(board, host.descriptorFolders,
                      [code](const Firmware& firmware) { return firmware.code == code; });
}

}  // namespace

const Board* boardFor(std::string_view architecture) {
  const auto* found = std::ranges::find(boards, architecture, &Board::architecture);
  return found == boards.end() ? nullptr : found;
}

Installed thisHost() {
  utsname names{};
  return {.architecture = ::uname(&names) == 0 ? names.machine : "",
          .descriptorFolders = descriptorFolders(variable("XDG_CONFIG_HOME"), variable("HOME")),
          .hasProgram = hasProgram};
}

Result<GuestPlatform> newGuestPlatform(const Installed& host) {
  const Board* board = boardFor(host.architecture);
  if (board == nullptr) {
    return error("there are no guests for processors of the kind " + host.architecture);
  }
  auto preferred =
      findFirmware(*board, host.descriptorFolders, [](const Firmware&) { return true; });
  return complete(*board, std::move(preferred), "UEFI firmware for " + host.architecture, host);
}

Result<GuestPlatform> guestPlatform(std::string_view architecture, std::string_view machineType,
                                    std::string_view firmware, const Installed& host) {
  if (architecture != host.architecture) {
    return error("the guest is for " + std::string(architecture) + ", and this host is " +
                 host.architecture);
  }
  const Board* board = boardFor(architecture);
  if (board == nullptr || board->machineType != machineType) {
    return error("this host has no machine type " + std::string(machineType));
  }
  const std::string_view how = firmware == formerName ? "" : " and a descriptor of it";
  return complete(*board, firmwareWithCode(firmware, *board, host),
                  "the guest's firmware " + std::string(firmware).append(how), host);
}

Result<std::string> requireProgram(std::string_view name) {
  auto path = linux::findProgram(name);
  if (!path) return error(std::string(name) + " is not installed");
  return *std::move(path);
}

}  // namespace parlen::qemu
