#pragma once

#import <AppKit/AppKit.h>

#include <memory>

#include "platform/key_event.h"

namespace parlen::macos {

/// The event, or null if AppKit does not build it.
std::unique_ptr<platform::KeyEvent> makeKeyEvent(const platform::KeyEventDetails& details);

/// The AppKit event of an event that this host made.
NSEvent* opened(const platform::KeyEvent& event);

}  // namespace parlen::macos
