#include "platform/qemu/image_header.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace parlen::qemu {
namespace {

/// An unsigned number of 8 bytes, the greatest first; 0 beyond the header's end.
std::uint64_t bigEndian(std::string_view header, std::size_t at) {
  constexpr std::size_t width = 8;
  if (at > header.size() || header.size() - at < width) return 0;
  std::uint64_t value = 0;
  for (const char byte : header.substr(at, width)) {
    value = value << 8U | static_cast<unsigned char>(byte);
  }
  return value;
}

bool holds(std::string_view header, std::size_t at, std::string_view bytes) {
  return at <= header.size() && header.substr(at).starts_with(bytes);
}

/// A descriptor is a text: comments and blank lines, then its version.
bool isVmdkDescriptor(std::string_view header) {
  while (true) {
    const std::size_t end = header.find('\n');
    const std::string_view line = header.substr(0, end);
    const std::size_t blanks = std::min(line.find_first_not_of(" \t\r"), line.size());
    if (line.substr(blanks).starts_with("version=")) return true;
    if (end == std::string_view::npos || (blanks < line.size() && line[0] != '#')) return false;
    header.remove_prefix(end + 1);
  }
}

}  // namespace

std::optional<std::string> reachesOutside(std::string_view header) {
  constexpr std::string_view qcowMagic = "QFI\xfb";
  constexpr std::size_t backingFileOffset = 8;
  constexpr std::size_t incompatibleFeatures = 72;
  constexpr std::uint64_t externalDataFile = 4;
  constexpr std::string_view firstVersionWithFeatures = std::string_view("\0\0\0\3", 4);
  if (header.starts_with(qcowMagic)) {
    if (bigEndian(header, backingFileOffset) != 0) return "needs a backing file";
    const bool hasFeatures = holds(header, qcowMagic.size(), firstVersionWithFeatures);
    if (hasFeatures && (bigEndian(header, incompatibleFeatures) & externalDataFile) != 0) {
      return "keeps its data in another file";
    }
  }
  // A sparse extent without a capacity holds a descriptor that is obeyed like a text of its own.
  constexpr std::size_t vmdkCapacity = 12;
  const bool isEmptyExtent = header.starts_with("KDMV") && bigEndian(header, vmdkCapacity) == 0;
  if (isEmptyExtent || isVmdkDescriptor(header)) {
    return "is a VMDK descriptor, which names other files";
  }
  return std::nullopt;
}

bool looksLikeDisk(std::string_view header) {
  struct Mark {
    std::size_t offset;
    std::string_view bytes;
  };
  constexpr std::array marks{
      Mark{.offset = 510, .bytes = "\x55\xaa"},   // a boot sector, also of a GPT disk
      Mark{.offset = 512, .bytes = "EFI PART"},   // a GUID partition table, sectors of 512 bytes
      Mark{.offset = 4096, .bytes = "EFI PART"},  // the same with sectors of 4096
      Mark{.offset = 32769, .bytes = "CD001"},    // ISO 9660
  };
  return std::ranges::any_of(
      marks, [header](const Mark& mark) { return holds(header, mark.offset, mark.bytes); });
}

}  // namespace parlen::qemu
