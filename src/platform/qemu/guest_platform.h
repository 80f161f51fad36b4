#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/error.h"
#include "platform/qemu/firmware.h"

namespace parlen::qemu {

enum class Video { vga, virtioGpu };

/// What QEMU makes a guest of, for each architecture of guests.
struct Board {
  std::string_view architecture;    // as uname(2) and QEMU name the processor
  std::string_view machineType;     // QEMU's name of the newest version
  std::string_view versionedType;   // what the names of all versions begin with
  std::string_view machineOptions;  // empty, or ",name=value"
  Video video;
  std::string_view emulatedProcessor;  // QEMU's model of it where there is no KVM
  std::string_view emulator;
  // Debian's packages, to be named when something is missing.
  std::string_view emulatorPackage;
  std::string_view firmwarePackage;
};

/// The board of guests of the architecture; null if there is none.
const Board* boardFor(std::string_view architecture);

/// A kind of guest that this host can run.
struct GuestPlatform {
  const Board* board;
  Firmware firmware;
};

/// What a host has for guests.
struct Installed {
  std::string architecture;                          // of the host, as uname(2) names it
  std::vector<std::string> descriptorFolders;        // of firmware, the most general one first
  std::function<bool(std::string_view)> hasProgram;  // by its name
};

/// What this host has. Starts no process; looks at nothing yet.
Installed thisHost();

/// The kind of a new guest: that of the host's processor, with the preferred firmware. The error
/// names everything that has to be installed.
platform::Result<GuestPlatform> newGuestPlatform(const Installed& host);

/// The kind of an existing guest, from its hardware model. `firmware` is the path of its code, one
/// that the host's descriptors name: a model cannot name any other file. Models of the first
/// version have the word "ovmf-4m" there. The error says why the host cannot run such a guest.
platform::Result<GuestPlatform> guestPlatform(std::string_view architecture,
                                              std::string_view machineType,
                                              std::string_view firmware, const Installed& host);

/// The path of the program `name`. The error says that it is not installed.
platform::Result<std::string> requireProgram(std::string_view name);

inline constexpr std::string_view imageTool = "qemu-img";

}  // namespace parlen::qemu
