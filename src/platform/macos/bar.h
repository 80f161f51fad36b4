#pragma once

#import <AppKit/AppKit.h>

#include "platform/window_system.h"

@class ParlenButtonTarget;

namespace parlen::macos {

/// The two texts of the bar.
struct BarLabels {
  NSTextField* title;
  NSTextField* detail;
  NSTextField* of(platform::BarLabel label) const;
};

/// Two empty labels, neither editable nor selectable.
BarLabels makeBarLabels();

/// The targets of a bar's buttons. NSControl's own reference to its target is weak.
using BarTargets = NSMutableArray<ParlenButtonTarget*>*;

/// A bar with the controller that puts it below a window's title. Adds the targets of its buttons
/// to `targets`, which must live as long as the bar.
NSTitlebarAccessoryViewController* makeAccessory(const platform::TitlebarAccessory& accessory,
                                                 const BarLabels& labels, BarTargets targets);

}  // namespace parlen::macos
