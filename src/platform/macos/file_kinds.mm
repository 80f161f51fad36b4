#import "platform/macos/objc_file_kinds.h"

#include <cerrno>

#import "platform/macos/bridge.h"
#import "platform/macos/files.h"

namespace parlen::macos {

using platform::Result;

Result<NSFileAttributeType> kindOf(const std::string& path) {
  // The attributes are those of the item itself, also of a link.
  const std::string target = Files().canonicalPath(path).value_or(path);
  NSError* error = nil;
  NSDictionary<NSFileAttributeKey, id>* attributes =
      [NSFileManager.defaultManager attributesOfItemAtPath:toPath(target) error:&error];
  if (attributes == nil) return failure(error);
  return static_cast<NSFileAttributeType>(attributes[NSFileType]);
}

Result<> requireRegular(const std::string& path) {
  const auto kind = kindOf(path);
  if (!kind) return std::unexpected(kind.error());
  if (![*kind isEqualToString:NSFileTypeRegular]) return unfit(path, EINVAL, "it is not a file");
  return {};
}

Result<> refuseFifo(const std::string& path) {
  const auto kind = kindOf(path);
  // Foundation has a name for every kind but the FIFO's.
  if (kind && [*kind isEqualToString:NSFileTypeUnknown]) return unfit(path, EINVAL, "it is a FIFO");
  return {};
}

std::unexpected<platform::PlatformError> unfit(const std::string& path, int code,
                                               std::string_view reason) {
  std::string description = "could not use ";
  description.append(path).append(": ").append(reason);
  return std::unexpected(
      platform::PlatformError{fromText(NSPOSIXErrorDomain), code, std::move(description)});
}

}  // namespace parlen::macos
