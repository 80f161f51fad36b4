#pragma once

#import <AppKit/AppKit.h>

#include "platform/window_system.h"

/// Forwards what AppKit tells to the program's own delegate.
@interface ParlenWindowDelegate : NSObject <NSWindowDelegate>
- (instancetype)initWithReceiver:(parlen::platform::WindowDelegate*)receiver;
@end
