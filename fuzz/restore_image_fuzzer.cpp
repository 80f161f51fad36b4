#include "platform/simulated/restoration.h"

#include "fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto image = parlen::simulated::parseRestoreImage(parlen::fuzz::asText(data, size));
  parlen::fuzz::require(image ? image->minimumCPUCount >= 0 : !image.error().empty());
  return 0;
}
