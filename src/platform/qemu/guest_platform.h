#pragma once

#include <string>
#include <string_view>

#include "platform/error.h"

namespace parlen::qemu {

/// A kind of guest that this host can run: its emulator, board and firmware.
struct GuestPlatform {
  std::string_view architecture;  // as uname(2) names the processor
  std::string_view machineType;
  std::string_view firmware;
  std::string_view emulator;
  const char* firmwareCode;
  const char* firmwareVariables;  // the variable store of a new guest
};

/// The kind of guest that the processor runs natively; null if this host has none.
const GuestPlatform* nativeGuestPlatform();

/// The kind of guest with these names; null if this host does not know it.
const GuestPlatform* findGuestPlatform(std::string_view architecture, std::string_view machineType,
                                       std::string_view firmware);

/// Whether the emulator, the firmware and the image tool for `platform` are installed. Only looks
/// at the file system, and starts no process.
bool isInstalled(const GuestPlatform& platform);

/// The path of the program `name`, by the same search. The error says that it is not installed.
platform::Result<std::string> requireProgram(std::string_view name);

inline constexpr std::string_view imageTool = "qemu-img";

}  // namespace parlen::qemu
