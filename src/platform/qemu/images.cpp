#include "platform/qemu/images.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <limits>

#include "platform/qemu/bytes.h"
#include "text/json_reader.h"

namespace parlen::qemu {
namespace {

using text::JsonValue;

// ---- image headers ----

bool holds(std::string_view header, std::size_t at, std::string_view bytes) {
  return at <= header.size() && header.substr(at).starts_with(bytes);
}

/// A VMDK descriptor (VMDK, "The Descriptor File") is a text. QEMU recognizes it by
/// comments and empty lines, then "version=" (QEMU block/vmdk.c, vmdk_probe).
bool isVmdkDescriptor(std::string_view header) {
  while (true) {
    const std::size_t end = header.find('\n');
    const std::string_view line = header.substr(0, end);
    const std::size_t spaces = std::min(line.find_first_not_of(" \t\r"), line.size());
    if (line.substr(spaces).starts_with("version=")) return true;
    if (end == std::string_view::npos || (spaces < line.size() && line[0] != '#')) return false;
    header.remove_prefix(end + 1);
  }
}

/// A master boot record without a partition of type 0xEE is not a protective one (UEFI 5.2.3): what
/// looks like a GPT header behind it is left over from an earlier use of the disk.
bool isGptInForce(std::string_view header) {
  constexpr std::string_view bootSignature = "\x55\xaa";
  constexpr std::size_t firstType = 450;
  constexpr std::size_t partitionLength = 16;
  constexpr std::size_t signatureOffset = 510;
  if (!holds(header, signatureOffset, bootSignature)) return true;
  for (std::size_t at = firstType; at < signatureOffset; at += partitionLength) {
    if (holds(header, at, "\xee")) return true;
  }
  return false;
}

// ---- output of qemu-img ----

const JsonValue* findPath(const JsonValue* value, std::initializer_list<std::string_view> path) {
  for (const std::string_view key : path) {
    if (value != nullptr) value = value->find(key);
  }
  return value;
}

/// Whether a VMDK has extents in other files; the only extent of a complete one is itself.
bool hasForeignExtents(const JsonValue& info) {
  const JsonValue* member = findPath(&info, {"format-specific", "data", "extents"});
  if (member == nullptr) return false;
  const text::JsonArray* extents = member->asArray();
  if (extents == nullptr || extents->size() != 1) return true;
  const JsonValue* extent = extents->front().find("filename");
  const JsonValue* image = info.find("filename");
  return extent == nullptr || image == nullptr || *extent != *image;
}

constexpr std::size_t maxNumberLength = 6;  // "100.00"

/// "12.34" as a fraction of 100; nothing for any other text.
std::optional<double> fractionOf(std::string_view percentage) {
  constexpr double hundredthsInAll = 10000;
  const std::size_t point = percentage.find('.');
  if (point == 0 || point == std::string_view::npos || percentage.size() - point != 3) {
    return std::nullopt;
  }
  int hundredths = 0;
  for (const char character : percentage) {
    if (character == '.') continue;
    hundredths = hundredths * 10 + (character - '0');
  }
  return std::min(1.0, hundredths / hundredthsInAll);
}

}  // namespace

std::optional<std::string> reachesOutside(std::string_view header) {
  // QEMU docs/interop/qcow2.txt: backing_file_offset at 8, incompatible_features at 72 (from
  // version 3 on), bit 2 of it "External data file".
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
  // VMDK, SparseExtentHeader: capacity at 12. QEMU obeys the embedded descriptor of
  // an extent with capacity 0 as it obeys a descriptor file (QEMU block/vmdk.c).
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
      Mark{.offset = 510, .bytes = "\x55\xaa"},   // a master boot record, also a protective one
      Mark{.offset = 512, .bytes = "EFI PART"},   // GPT header (UEFI 5.3.2), 512-byte sectors
      Mark{.offset = 4096, .bytes = "EFI PART"},  // the same, 4096-byte sectors
      Mark{.offset = 32769, .bytes = "CD001"},    // ISO 9660 volume descriptor, sector 16
  };
  return std::ranges::any_of(
      marks, [header](const Mark& mark) { return holds(header, mark.offset, mark.bytes); });
}

std::uint64_t requiredLength(std::string_view header) {
  // UEFI, 5.3.2: the header is in block 1, its signature at 0, LastUsableLBA at 48.
  constexpr std::string_view signature = "EFI PART";
  constexpr std::size_t lastUsableBlock = 48;
  if (!isGptInForce(header)) return 0;
  for (const std::uint64_t blockLength : {512UL, 4096UL}) {
    if (!holds(header, blockLength, signature)) continue;
    const std::uint64_t maxBlocks = std::numeric_limits<std::uint64_t>::max() / blockLength;
    const std::uint64_t last = littleEndian(header, blockLength + lastUsableBlock);
    return std::clamp(last, std::uint64_t{1}, maxBlocks - 1) * blockLength + blockLength;
  }
  return 0;
}

std::expected<std::string, std::string> usableFormat(std::string_view json) {
  const auto info = text::parseJson(json);
  if (!info) return std::unexpected("cannot be examined: " + text::describe(info.error()));
  const auto format = info->text("format");
  if (!format) return std::unexpected("cannot be examined: its format is not known");
  if (info->find("backing-filename") != nullptr || info->find("full-backing-filename") != nullptr) {
    return std::unexpected("needs a backing file");
  }
  if (findPath(&*info, {"format-specific", "data", "data-file"}) != nullptr) {
    return std::unexpected("keeps its data in another file");
  }
  if (hasForeignExtents(*info)) return std::unexpected("consists of several files");
  if (info->boolean("encrypted").value_or(false)) return std::unexpected("is encrypted");
  return std::string(*format);
}

std::uint64_t virtualSize(std::string_view json) {
  const auto info = text::parseJson(json);
  const JsonValue* size = info ? info->find("virtual-size") : nullptr;
  return size == nullptr ? 0 : size->asUInt64().value_or(0);
}

std::optional<std::uint64_t> endOfData(std::string_view json) {
  const auto map = text::parseJson(json);
  const text::JsonArray* extents = map ? map->asArray() : nullptr;
  if (!extents) return std::nullopt;
  std::uint64_t end = 0;
  for (const text::JsonValue& extent : *extents) {
    const text::JsonValue* offset = extent.find("offset");
    const text::JsonValue* length = extent.find("length");
    if (!offset || !length) continue;  // it takes no space in the file
    end = std::max(end, offset->asUInt64().value_or(0) + length->asUInt64().value_or(0));
  }
  return end;
}

std::vector<double> ConvertProgress::add(std::string_view bytes) {
  std::vector<double> fractions;
  for (const char byte : bytes) {
    if (byte == '(') {
      inside_ = true;
      number_.clear();
    } else if (inside_ && byte == '/') {
      inside_ = false;
      if (const auto fraction = fractionOf(number_)) fractions.push_back(*fraction);
    } else if (inside_ && number_.size() < maxNumberLength &&
               ((byte >= '0' && byte <= '9') || (byte == '.' && !number_.contains('.')))) {
      number_ += byte;
    } else {
      inside_ = false;
    }
  }
  return fractions;
}

}  // namespace parlen::qemu
