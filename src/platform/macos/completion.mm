#import "platform/macos/objc_callback.h"
#import "platform/macos/objc_completion.h"
#import "platform/macos/objc_errors.h"

namespace parlen::macos {
namespace {

void forward(const platform::Completion& done, NSError* error, const platform::WarningSink& warn) {
  if (error != nil) return done(failure(error, warn));
  done({});
}

}  // namespace

CompletionHandler toHandler(platform::Completion done, platform::WarningSink warn) {
  return ^(NSError* error) {
    callBack(forward, done, error, warn);
  };
}

}  // namespace parlen::macos
