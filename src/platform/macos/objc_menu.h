#pragma once

#import <AppKit/AppKit.h>

#include "platform/window_system.h"

namespace parlen::macos {

NSMenu* toMenu(const platform::MenuBar& bar);

}  // namespace parlen::macos
