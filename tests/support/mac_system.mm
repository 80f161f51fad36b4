#import <Foundation/Foundation.h>

#include "platform/macos/system.h"
#include "support/real_system.h"
#include "support/run_until.h"

namespace parlen::test {

std::unique_ptr<platform::System> makeRealSystem() { return macos::makeSystem(); }

// In slices, because the condition cannot leave the loop by throwing: exceptions must not pass
// through the main queue's stack frames.
bool runUntil(platform::EventLoop&, const std::function<bool()>& condition) {
  constexpr NSTimeInterval timeout = 300;  // seconds
  constexpr NSTimeInterval slice = 0.01;   // seconds
  NSDate* deadline = [NSDate dateWithTimeIntervalSinceNow:timeout];
  while (!condition()) {
    if (deadline.timeIntervalSinceNow < 0) return false;
    [NSRunLoop.mainRunLoop runMode:NSDefaultRunLoopMode
                        beforeDate:[NSDate dateWithTimeIntervalSinceNow:slice]];
  }
  return true;
}

}  // namespace parlen::test
