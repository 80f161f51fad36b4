#import "platform/macos/objc_values.h"

namespace parlen::macos {
namespace {

/// Nil if the bytes are no UTF-8.
NSString* decoded(std::string_view bytes, NSStringEncoding encoding) {
  return [[NSString alloc] initWithBytes:bytes.data() length:bytes.size() encoding:encoding];
}

}  // namespace

NSString* toText(std::string_view text) {
  NSString* string = decoded(text, NSUTF8StringEncoding);
  return string != nil ? string : decoded(text, NSISOLatin1StringEncoding);
}

NSString* toPath(const std::string& path) {
  NSString* string = decoded(path, NSUTF8StringEncoding);
  return string != nil ? string : @"/dev/null/not-utf-8";
}

NSURL* toFileUrl(const std::string& path) { return [NSURL fileURLWithPath:toPath(path)]; }

NSData* toData(std::string_view bytes) {
  return [NSData dataWithBytes:bytes.data() length:bytes.size()];
}

std::string fromText(NSString* text) {
  // Nil as well for a string that UTF-8 cannot hold: half of a surrogate pair.
  const char* bytes = text.UTF8String;
  return bytes != nullptr ? bytes : "";
}

std::string fromData(NSData* data) {
  if (data.length == 0) return {};  // the bytes of empty data may be null
  return {static_cast<const char*>(data.bytes), data.length};
}

}  // namespace parlen::macos
