#import "platform/macos/application.h"

#import <AppKit/AppKit.h>

#import "platform/macos/bridge.h"

namespace parlen::macos {
namespace {

NSApplicationActivationPolicy toPolicy(platform::ActivationPolicy policy) {
  switch (policy) {
    case platform::ActivationPolicy::regular:
      return NSApplicationActivationPolicyRegular;
    case platform::ActivationPolicy::prohibited:
      return NSApplicationActivationPolicyProhibited;
  }
}

}  // namespace

// A program that is not in an application bundle starts as prohibited and may not make windows
// before it is regular.
void Application::setActivationPolicy(platform::ActivationPolicy policy) {
  [NSApplication.sharedApplication setActivationPolicy:toPolicy(policy)];
}

void Application::disableAutomaticTermination(std::string_view reason) {
  [NSProcessInfo.processInfo disableAutomaticTermination:toText(reason)];
}

// Serves the main queue too.
void Application::run() { [NSApplication.sharedApplication run]; }

}  // namespace parlen::macos
