#pragma once

#import <Foundation/Foundation.h>

#include <memory>

#include "platform/error.h"
#include "platform/simulated/world.h"

/// What the frameworks of this folder share: the world of a simulated host, which plays the
/// scenario and writes the trace, as PARLEN_SCENARIO and PARLEN_TRACE name them. Main thread.
namespace parlen::harness {

/// Made at the first call, which is the first call of a framework that has a scenario.
const std::shared_ptr<simulated::World>& world();

/// Ends the process, with `what` on standard error, as a framework does with a program that breaks
/// its rules.
[[noreturn]] void raise(NSString* what);

/// Ends the process unless this is the main thread.
void requireMainThread(NSString* what);

NSError* toNsError(const platform::PlatformError& error);

/// Stores the error where the caller wants one; returns NO.
BOOL fail(NSError* __autoreleasing* where, const platform::PlatformError& error);

}  // namespace parlen::harness
