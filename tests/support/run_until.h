#pragma once

#include <chrono>
#include <functional>

#include "platform/event_loop.h"

namespace parlen::test {

/// Serves a real main queue until `condition` holds, looking every millisecond; false if that takes
/// longer than two minutes. Emulated guests on a busy machine take long.
inline bool runUntil(platform::EventLoop& loop, const std::function<bool()>& condition) {
  struct Finished {};
  constexpr std::chrono::minutes timeout{2};
  constexpr std::chrono::milliseconds interval{1};
  const auto deadline = loop.now() + timeout;
  bool late = false;
  std::function<void()> check = [&] {
    late = loop.now() > deadline;
    if (late || condition()) throw Finished();
    loop.postDelayed(interval, check);
  };
  loop.post(check);
  try {
    return loop.run().has_value();
  } catch (const Finished&) {
  }
  return !late;
}

}  // namespace parlen::test
