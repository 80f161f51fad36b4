#import "platform/macos/bridge.h"

namespace parlen::macos {
namespace {

/// Nil if `bytes` are not valid in `encoding`.
NSString* decoded(std::string_view bytes, NSStringEncoding encoding) {
  return [[NSString alloc] initWithBytes:bytes.data() length:bytes.size() encoding:encoding];
}

void warnOfUnderlying(NSError* error, const platform::WarningSink& warn) {
  for (NSError* underlying in error.underlyingErrors) {
    warn("underlying error: " + fromText(underlying.localizedDescription) + " (" +
         fromText(underlying.domain) + " " + std::to_string(underlying.code) + ")");
    warnOfUnderlying(underlying, warn);
  }
}

void complete(const platform::Completion& done, NSError* error, const platform::WarningSink& warn) {
  if (error != nil) return done(macos::error(error, warn));
  done({});
}

}  // namespace

NSString* toText(std::string_view text) {
  NSString* string = decoded(text, NSUTF8StringEncoding);
  return string != nil ? string : decoded(text, NSISOLatin1StringEncoding);
}

NSString* toPath(const std::string& path) {
  NSString* string = decoded(path, NSUTF8StringEncoding);
  if (string != nil) return string;
  return [@"/dev/null/" stringByAppendingString:toText(path.substr(path.rfind('/') + 1))];
}

NSURL* toFileUrl(const std::string& path) { return [NSURL fileURLWithPath:toPath(path)]; }

NSData* toData(std::string_view bytes) {
  return [NSData dataWithBytes:bytes.data() length:bytes.size()];
}

std::string fromText(NSString* text) {
  // UTF8String is also null for a string that UTF-8 cannot encode (an unpaired surrogate).
  const char* bytes = text.UTF8String;
  return bytes != nullptr ? bytes : "";
}

std::string fromData(NSData* data) {
  if (data.length == 0) return {};  // `bytes` of empty data may be null
  return {static_cast<const char*>(data.bytes), data.length};
}

std::unexpected<platform::PlatformError> error(NSError* error, const platform::WarningSink& warn) {
  if (warn) warnOfUnderlying(error, warn);
  return platform::error(fromText(error.domain), error.code, fromText(error.localizedDescription));
}

std::unexpected<platform::PlatformError> error(int code, std::string sentence) {
  return platform::error(fromText(NSPOSIXErrorDomain), code, std::move(sentence));
}

CompletionHandler toHandler(platform::Completion done, platform::WarningSink warn) {
  return ^(NSError* error) {
    callBack(complete, done, error, warn);
  };
}

void Guard::warnOf(NSException* exception) const {
  warn_("the window system failed: " + fromText(exception.reason) + " (" +
        fromText(exception.name) + ")");
}

}  // namespace parlen::macos
