#import "platform/macos/application.h"

#import <AppKit/AppKit.h>
#import <CoreGraphics/CoreGraphics.h>

#include <utility>

#import "platform/macos/bridge.h"

/// Calls a function instead of letting AppKit end the process.
@interface ParlenApplicationDelegate : NSObject <NSApplicationDelegate>
- (instancetype)initWithOnQuit:(parlen::platform::Work)onQuit;
@end

@implementation ParlenApplicationDelegate {
  parlen::platform::Work _onQuit;
}

- (instancetype)initWithOnQuit:(parlen::platform::Work)onQuit {
  self = [super init];
  _onQuit = std::move(onQuit);
  return self;
}

// Apple's NSApplication page: terminate: asks this and, unless the answer is to cancel, ends the
// process with status 0. It comes from a menu, the Dock, Command-Q, a script and a logout.
- (NSApplicationTerminateReply)applicationShouldTerminate:(NSApplication*)sender {
  parlen::macos::callBack(_onQuit);
  return NSTerminateCancel;
}

@end

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

// Apple's page of the function: null if the caller is not in a session of the window server.
bool hasWindowServer() {
  NSDictionary* session = (__bridge_transfer NSDictionary*)CGSessionCopyCurrentDictionary();
  return session != nil;
}

// Apple's NSApplicationActivationPolicy page: a program outside an application bundle starts as
// prohibited, and may not create windows before it is regular.
void Application::setActivationPolicy(platform::ActivationPolicy policy) {
  if (!hasWindowServer()) return;
  guard_([&] { [NSApplication.sharedApplication setActivationPolicy:toPolicy(policy)]; });
}

void Application::disableAutomaticTermination(std::string_view reason) {
  [NSProcessInfo.processInfo disableAutomaticTermination:toText(reason)];
}

void Application::setQuitHandler(platform::Work onQuit) {
  delegate_ = [[ParlenApplicationDelegate alloc] initWithOnQuit:std::move(onQuit)];
}

// Both loops serve the main queue, so that a guest runs on after an application that has failed.
platform::Result<> Application::run() {
  if (hasWindowServer()) {
    guard_([&] {
      NSApplication.sharedApplication.delegate = delegate_;
      [NSApplication.sharedApplication run];
    });
  }
  [NSRunLoop.mainRunLoop run];
  return {};
}

}  // namespace parlen::macos
