#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

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

}  // namespace parlen::qemu
