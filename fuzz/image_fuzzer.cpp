#include "fuzz.h"
#include "platform/qemu/handles.h"
#include "platform/qemu/images.h"

namespace parlen::qemu {
namespace {

using fuzz::require;

void checkHeader(std::string_view input) {
  const auto reason = reachesOutside(input);
  require(!reason || !reason->empty());
  require(!looksLikeDisk(input) || input.size() > 511);
}

void checkInfo(std::string_view input) {
  const auto format = usableFormat(input);
  require(format || !format.error().empty());
}

void checkModel(std::string_view input) {
  const auto model = HardwareModel::parse(input);
  require(model == nullptr || model->dataRepresentation() == input);
}

}  // namespace
}  // namespace parlen::qemu

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input = parlen::fuzz::asText(data, size);
  parlen::qemu::checkHeader(input);
  parlen::qemu::checkInfo(input);
  parlen::qemu::checkModel(input);
  return 0;
}
