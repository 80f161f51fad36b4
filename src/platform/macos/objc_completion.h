#pragma once

#import <Foundation/Foundation.h>

#include "platform/error.h"

namespace parlen::macos {

/// What the framework calls, exactly once, with an error or with nil for success.
using CompletionHandler = void (^)(NSError*);

/// Forwards to `done`; the causes that lie under an error go to `warn`. Called on the main thread.
CompletionHandler toHandler(platform::Completion done, platform::WarningSink warn);

}  // namespace parlen::macos
