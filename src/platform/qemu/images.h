#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Parsers for the headers of disk images and for the output of qemu-img. Nothing here opens a file.
namespace parlen::qemu {

/// How many bytes of an image's beginning the functions below look at.
inline constexpr std::size_t imageHeaderLength = 33UL * 1024UL;

/// Why qemu-img must not even open an image with this header: opening it would open other files
/// that its author chose. A predicate, "is a VMDK descriptor, which names other files"; nothing if
/// it may be opened. Formats that open no other file at once are left to `usableFormat`.
std::optional<std::string> reachesOutside(std::string_view header);

/// Whether a raw image with this header is a disk or an optical disc: a boot signature, a GUID
/// partition table, or a volume descriptor of ISO 9660.
bool looksLikeDisk(std::string_view header);

/// The length in bytes that a disk with this header has at least if it is whole: up to the
/// last block that its GUID partition table gives to partitions. 0 if it has no such table. The
/// copy of the table behind that block holds no contents, and systems make it anew when it is
/// missing.
std::uint64_t requiredLength(std::string_view header);

/// `path` as an argument of qemu-img that can only mean the regular file there: never an option, a
/// protocol ("nbd:") or a description ("json:").
inline std::string fileNode(const std::string& path) { return "file:" + path; }

/// The same for a block device.
inline std::string deviceNode(const std::string& path) { return "host_device:" + path; }

/// Reads the output of `qemu-img info --output=json`. The value is the name of the image's format;
/// the error is a predicate that says why the image cannot be used: "needs a backing file".
std::expected<std::string, std::string> usableFormat(std::string_view json);

/// Reads the same output: the length in bytes of the disk that the image is; 0 if `json` has none.
std::uint64_t virtualSize(std::string_view json);

/// Reads the output of `qemu-img map --output=json`: the offset in the file at which the image's
/// data ends; nothing if `json` is no map.
std::optional<std::uint64_t> endOfData(std::string_view json);

/// Reads the output of `qemu-img convert -p`, in pieces of any length: "    (12.34/100%)" and a
/// carriage return, repeatedly.
class ConvertProgress {
 public:
  /// The fractions that these bytes complete, each between 0 and 1.
  std::vector<double> add(std::string_view bytes);

 private:
  std::string number_;   // the digits and the point after an opening parenthesis
  bool inside_ = false;  // between the parenthesis and the slash
};

}  // namespace parlen::qemu
