#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Disk images by their first bytes, and what qemu-img is told and prints about them. Nothing here
// opens a file.
namespace parlen::qemu {

/// How many bytes at the front of an image the questions below look at.
inline constexpr std::size_t imageHeaderLength = 33UL * 1024UL;

/// Why an image with this front must not even be opened by the image tool, because opening it opens
/// other files of its author's choice: "is a VMDK descriptor, which names other files"; nothing if
/// it may. Only formats that the tool would follow at once are told; for the rest it is asked.
std::optional<std::string> reachesOutside(std::string_view header);

/// Whether a raw image with this front is a disk or an optical disc: a boot signature, a GUID
/// partition table, or a volume descriptor of ISO 9660.
bool looksLikeDisk(std::string_view header);

/// `path` as an image tool's argument that can only mean the regular file there, whatever the path
/// begins with: neither an option, nor a protocol ("nbd:"), nor a description ("json:").
inline std::string fileNode(const std::string& path) { return "file:" + path; }

/// The same for a block device.
inline std::string deviceNode(const std::string& path) { return "host_device:" + path; }

/// What `qemu-img info --output=json` says about an image, as far as it counts here. The value is
/// the name of the image's format; the error says what keeps the image from being used, to be read
/// after its name: "needs a backing file".
std::expected<std::string, std::string> usableFormat(std::string_view json);

/// Where in its file an image's data ends, by what `qemu-img map --output=json` says; nothing if
/// that is no map.
std::optional<std::uint64_t> endOfData(std::string_view json);

/// Reads the fractions out of what the image tool prints while it converts: "    (12.34/100%)" and
/// a carriage return, again and again, in whatever pieces it arrives.
class ConvertProgress {
 public:
  /// The fractions that these bytes complete, each between 0 and 1.
  std::vector<double> add(std::string_view bytes);

 private:
  std::string number_;   // the digits and the point after an opening parenthesis
  bool inside_ = false;  // between the parenthesis and the slash
};

}  // namespace parlen::qemu
