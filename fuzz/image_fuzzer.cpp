#include "fuzz.h"
#include "platform/qemu/firmware.h"
#include "platform/qemu/guest_platform.h"
#include "platform/qemu/handles.h"
#include "platform/qemu/images.h"
#include "platform/qemu/qcow2.h"

namespace parlen::qemu {
namespace {

using fuzz::require;

void checkHeader(std::string_view input) {
  const auto reason = reachesOutside(input);
  require(!reason || !reason->empty());
  require(!looksLikeDisk(input) || input.size() > 511);
  require(requiredLength(input) == 0 || requiredLength(input) >= 1024);
}

/// Walks the tables as an examination does, with the input as the file.
void checkTables(std::string_view input) {
  auto walk = Qcow2Walk::begin(input);
  if (!walk) return;
  std::size_t bytesRead = 0;
  std::uint64_t known = walk->end();
  while (walk->end() <= input.size()) {
    const auto range = walk->next();
    if (!range) break;
    require(range->end() <= walk->end());
    walk->add(input.substr(range->offset, range->length));
    bytesRead += range->length;
    require(bytesRead <= 2 * input.size() && walk->end() >= known);
    known = walk->end();
  }
}

void checkInfo(std::string_view input) {
  const auto format = usableFormat(input);
  require(format || !format.error().empty());
}

void checkModel(std::string_view input) {
  const auto model =
      HardwareModel::parse(input, {.architecture = "x86_64",
                                   .descriptorFolders = {},
                                   .hasProgram = [](std::string_view) { return true; }});
  require(model == nullptr || model->dataRepresentation() == input);
}

void checkDescriptor(std::string_view input) {
  const Board* board = boardFor("x86_64");
  require(board != nullptr);
  (void)readDescriptor(input, *board);
}

}  // namespace
}  // namespace parlen::qemu

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input = parlen::fuzz::asText(data, size);
  parlen::qemu::checkHeader(input);
  parlen::qemu::checkTables(input);
  parlen::qemu::checkInfo(input);
  parlen::qemu::checkModel(input);
  parlen::qemu::checkDescriptor(input);
  return 0;
}
