#pragma once

#include <functional>

#include "platform/event_loop.h"

namespace parlen::test {

/// Serves `loop`, a real main queue of this system, until `condition` holds, looking every few
/// milliseconds; false if that takes longer than five minutes. Emulated guests on a busy machine
/// take long.
bool runUntil(platform::EventLoop& loop, const std::function<bool()>& condition);

}  // namespace parlen::test
