#pragma once

#include <chrono>
#include <cstdint>
#include <expected>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/error.h"
#include "platform/event_loop.h"
#include "platform/platform.h"
#include "platform/simulated/scenario.h"
#include "platform/simulated/trace.h"

namespace parlen::simulated {

/// An error of this host's own. `sentence` becomes its description.
inline std::unexpected<platform::PlatformError> error(std::string sentence) {
  return platform::error(errorDomain, 1, std::move(sentence));
}

class Window;

/// What the windows of a host share: their order on the screen, and the user in front of it.
class Desktop {
 public:
  std::int64_t nextWindowNumber() { return ++lastWindowNumber_; }

  void bringToFront(Window& window);
  /// `window` may be gone already: only its address is looked at.
  void takeAway(const Window* window);
  bool shows(const Window& window) const;

  // What a user does is not a call of the program's, so none of it is traced. The user sees the
  // frontmost window; nothing happens while there is none, or no screen.

  /// Presses the button with this title, if the window has one.
  void click(std::string_view title);
  /// Uses the close button.
  void closeWindow();

  bool hasMainMenu = false;

 private:
  Window* windowInSight() const;

  std::vector<Window*> fromBackToFront_;
  std::int64_t lastWindowNumber_ = 0;
};

/// What every part of the host shares. Shared, because handles and queued work may outlive the
/// host; the system outlives all.
struct World {
  platform::System& system;
  Scenario scenario;
  Trace trace;
  Desktop desktop = {};

  /// Says on standard error what the program did that this host has no answer to, and aborts.
  [[noreturn]] void unmodelled(std::string_view what) const;
};

/// Delayed work of one object: what has not run by the time of the object's end never does. The
/// object may be destroyed by its own work, which then touches it no more.
class Timers {
 public:
  explicit Timers(platform::EventLoop& loop) : loop_(loop) {}

  void after(std::chrono::milliseconds delay, platform::Work work) {
    loop_.postDelayed(delay, [owner = std::weak_ptr(alive_), work = std::move(work)] {
      if (!owner.expired()) work();
    });
  }

 private:
  platform::EventLoop& loop_;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace parlen::simulated
