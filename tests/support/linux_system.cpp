#include <chrono>

#include "platform/linux/system.h"
#include "support/real_system.h"
#include "support/run_until.h"

namespace parlen::test {

std::unique_ptr<platform::System> makeRealSystem() { return std::make_unique<linux::System>(); }

bool runUntil(platform::EventLoop& loop, const std::function<bool()>& condition) {
  struct Finished {};
  constexpr std::chrono::minutes timeout{5};
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
