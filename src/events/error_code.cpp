#include "events/error_code.h"

#include <array>
#include <cstddef>

namespace parlen {
namespace {

// By raw value, see platform::MachineState.
constexpr std::array<std::string_view, 10> stateWords = {
    "stopped",  "running",  "paused", "in an error state", "starting", "pausing",
    "resuming", "stopping", "saving", "restoring"};

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

}  // namespace

std::string_view vmErrorCode(const platform::PlatformError& error) {
  if (error.domain == platform::virtualizationErrorDomain &&
      error.code == platform::virtualMachineLimitExceeded) {
    return errorCode::vmLimit;
  }
  // A limit error can arrive wrapped in another domain; its sentence still tells.
  if (lowerCase(error.description).contains("virtual machine limit")) return errorCode::vmLimit;
  return errorCode::bootFailed;
}

std::string describeVMState(std::int64_t state) {
  if (state >= 0 && state < static_cast<std::int64_t>(stateWords.size())) {
    return std::string(stateWords[static_cast<std::size_t>(state)]);
  }
  return "in state " + std::to_string(state);
}

}  // namespace parlen
