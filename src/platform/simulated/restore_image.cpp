#include "platform/simulated/restore_image.h"

#include <array>

#include "platform/simulated/strict_json.h"
#include "text/json_reader.h"

namespace parlen::simulated {
namespace {

struct Written {
  std::int64_t simulatedRestoreImage = 0;
  RestoreImageContent content;
};

template <auto pointer>
Checked intoContent(const Field& field, Written& target) {
  return read(field, target.content.*pointer);
}

Checked readMinimumCPUCount(const Field& field, Written& target) {
  return readCount(field, target.content.minimumCPUCount);
}

}  // namespace

std::expected<RestoreImageContent, std::string> parseRestoreImage(std::string_view bytes) {
  static constexpr auto table = std::to_array<Member<Written>>({
      {"simulatedRestoreImage", into<&Written::simulatedRestoreImage>},
      {"hardwareModel", intoContent<&RestoreImageContent::hardwareModel>},
      {"minimumCPUCount", readMinimumCPUCount},
      {"minimumMemorySize", intoContent<&RestoreImageContent::minimumMemorySize>},
  });
  if (bytes.size() > longestRestoreImage) return std::unexpected("it is too long");
  const auto json = text::parseJson(bytes);
  if (!json) return std::unexpected("not JSON: " + text::describe(json.error()));
  Written written;
  if (Checked checked = readMembers<Written>({*json, ""}, table, written); !checked) {
    return std::unexpected(checked.error());
  }
  if (written.simulatedRestoreImage != 1) return std::unexpected("simulatedRestoreImage must be 1");
  return written.content;
}

}  // namespace parlen::simulated
