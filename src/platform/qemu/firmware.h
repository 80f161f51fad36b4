#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace parlen::qemu {

struct Board;

/// UEFI firmware for a board with two flash chips: absolute paths of raw images.
struct Firmware {
  std::string code;       // for all guests; never written
  std::string variables;  // the variable store of a new guest, which gets a copy
  friend bool operator==(const Firmware&, const Firmware&) = default;
};

/// Whether both of its files are there, are regular ones and can be read.
bool isInstalled(const Firmware& firmware);

/// Reads a firmware descriptor (QEMU docs/interop/firmware.json). Nothing if `bytes` are none, or
/// if the firmware does not fit: it must offer UEFI out of two raw flash images, on this board in
/// each of its versions, and without Secure Boot, which needs a board that protects its variables
/// (SMM) and keeps guests without a signature from booting.
std::optional<Firmware> readDescriptor(std::string_view bytes, const Board& board);

/// The folders of firmware descriptors, the most general one first. `configHome` and `home` are the
/// values of XDG_CONFIG_HOME and HOME, empty if they are unset.
std::vector<std::string> descriptorFolders(std::string_view configHome, std::string_view home);

/// The preferred firmware that fits the board, is installed and is `wanted`. As the descriptors'
/// format demands, they are sorted by file name, whatever their folder; of one name the most
/// specific file counts, and an empty file hides the others of its name. What is no descriptor is
/// left out. No descriptor behind the one found is read.
std::optional<Firmware> findFirmware(const Board& board, std::span<const std::string> folders,
                                     const std::function<bool(const Firmware&)>& wanted);

}  // namespace parlen::qemu
