#pragma once

#import <AppKit/AppKit.h>

#include <memory>

#include "platform/simulated/window.h"
#import "world.h"

/// What the files that stand for AppKit share. The classes hold simulated objects, which write the
/// trace; what AppKit does with its own objects is written here from Apple's pages.

@interface NSApplication ()
/// The window with this number, or nil.
- (NSWindow*)windowNumbered:(NSInteger)number;
- (void)add:(NSWindow*)window;
- (void)remove:(NSWindow*)window;
/// The window wants to be key, or has left the screen.
- (void)wishesToBeKey:(NSWindow*)window;
- (void)cannotBeKey:(NSWindow*)window;
@end

@interface NSEvent ()
- (const parlen::platform::KeyEventDetails&)details;
@end

@interface NSView ()
/// The simulated view that this one stands for, or null.
- (std::shared_ptr<parlen::platform::View>)simulated;
- (void)moveToWindow:(NSWindow*)window;
@end

namespace parlen::harness {

inline platform::Rect toRect(NSRect rect) {
  return {rect.origin.x, rect.origin.y, rect.size.width, rect.size.height};
}

inline NSRect fromRect(const platform::Rect& rect) {
  return NSMakeRect(rect.x, rect.y, rect.width, rect.height);
}

/// A bar as the simulated host describes it. Its buttons' actions are the AppKit buttons' own.
platform::TitlebarAccessory describe(NSTitlebarAccessoryViewController* controller);

/// Whether there is a login session with a window server: not with PARLEN_SESSION=none.
bool hasSession();

/// Whether another application stays the active one: with PARLEN_ACTIVATION=refused.
bool isActivationRefused();

/// Makes the simulated views of machine views that have none yet. A machine view gets its
/// properties after its initializer, and the trace has them all in one line: it is written by the
/// next call that needs it.
void settleMachineViews();

}  // namespace parlen::harness
