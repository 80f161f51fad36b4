#pragma once

#import <AppKit/AppKit.h>

#include "platform/bar.h"

@class ParlenButtonTarget;

namespace parlen::macos {

/// The two texts of the bar.
struct BarLabels {
  NSTextField* title;
  NSTextField* detail;
  NSTextField* of(platform::BarLabel label) const;
};

/// Two labels without text, neither editable nor selectable.
BarLabels makeBarLabels();

/// What a bar's buttons call. A button's reference to its target is weak.
using BarTargets = NSMutableArray<ParlenButtonTarget*>*;

/// The bar and the controller that puts it under a window's title; fills `targets`, which must live
/// as long.
NSTitlebarAccessoryViewController* makeAccessory(const platform::TitlebarAccessory& accessory,
                                                 const BarLabels& labels, BarTargets targets);

}  // namespace parlen::macos
