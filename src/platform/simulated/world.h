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

/// The windows on screen in their order, and the user who acts on them.
class Desktop {
 public:
  std::int64_t nextWindowNumber() { return ++lastWindowNumber_; }

  void bringToFront(Window& window);
  /// Only compares the address: `window` may have been destroyed.
  void remove(const Window* window);
  bool shows(const Window& window) const;

  // What the user does. It is not a call of the program, so it is not traced. It goes to the
  // frontmost window; without a window or a screen it does nothing.

  /// Presses the button with this title, if the window has one.
  void click(std::string_view title);
  /// Presses the close button. Without a delegate, or if it agrees, the window leaves the screen.
  void closeWindow();

  bool hasMainMenu = false;

 private:
  /// The frontmost window, or null if there is none or no screen.
  Window* frontWindow() const;

  std::vector<Window*> fromBackToFront_;
  std::int64_t lastWindowNumber_ = 0;
};

/// What all parts of the host share. Held by shared_ptr, because handles and queued work may
/// outlive the host. `system` must outlive the world.
struct World {
  platform::System& system;
  Scenario scenario;
  Trace trace;
  platform::WarningSink warn = [](std::string_view) {};
  Desktop desktop = {};

  /// For a call that is a mistake in the program: writes `what` to standard error and aborts.
  [[noreturn]] void unmodelled(std::string_view what) const;
};

/// Delayed work of the object that has this member: what has not run when it is destroyed never
/// does. The work may destroy the object, and must not touch it afterwards.
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
