#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace parlen::simulated {

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

}  // namespace parlen::simulated
