#import "platform/macos/objc_errors.h"

#include <string>

#import "platform/macos/objc_values.h"

namespace parlen::macos {
namespace {

void tellCauses(NSError* error, const platform::WarningSink& warn) {
  for (NSError* cause in error.underlyingErrors) {
    warn("the cause lies deeper: " + fromText(cause.localizedDescription) + " (" +
         fromText(cause.domain) + " " + std::to_string(cause.code) + ")");
    tellCauses(cause, warn);
  }
}

}  // namespace

platform::PlatformError toError(NSError* error) {
  return {.domain = fromText(error.domain),
          .code = error.code,
          .description = fromText(error.localizedDescription)};
}

std::unexpected<platform::PlatformError> failure(NSError* error,
                                                 const platform::WarningSink& warn) {
  if (warn) tellCauses(error, warn);
  return std::unexpected(toError(error));
}

}  // namespace parlen::macos
