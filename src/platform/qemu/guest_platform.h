#pragma once

#include <string>
#include <string_view>

#include "platform/error.h"

namespace parlen::qemu {

/// A kind of guest that this host knows how to run: which emulator, board and firmware.
struct GuestPlatform {
  std::string_view architecture;  // as the kernel names the processor
  std::string_view machineType;
  std::string_view firmware;
  std::string_view emulator;
  const char* firmwareCode;
  const char* firmwareVariables;  // the store of variables that a new guest starts with
};

/// The kind of guest that the processor runs without translation; null if none is known.
const GuestPlatform* nativeGuestPlatform();

/// The kind of guest with these names; null if this host does not know it.
const GuestPlatform* findGuestPlatform(std::string_view architecture, std::string_view machineType,
                                       std::string_view firmware);

/// Whether the emulator, the firmware and the image tool for `platform` are installed. A few looks
/// at the file system; no process is started.
bool isInstalled(const GuestPlatform& platform);

/// The path of the program `name`, by the same search. The error says that it is not installed.
platform::Result<std::string> requireProgram(std::string_view name);

inline constexpr std::string_view imageTool = "qemu-img";

}  // namespace parlen::qemu
