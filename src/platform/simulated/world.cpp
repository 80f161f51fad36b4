#include "platform/simulated/world.h"

#include <algorithm>
#include <string>

#include "platform/simulated/window.h"

namespace parlen::simulated {

void Desktop::bringToFront(Window& window) {
  takeAway(&window);
  fromBackToFront_.push_back(&window);
}

void Desktop::takeAway(const Window* window) { std::erase(fromBackToFront_, window); }

bool Desktop::shows(const Window& window) const {
  return std::ranges::find(fromBackToFront_, &window) != fromBackToFront_.end();
}

Window* Desktop::windowInSight() const {
  if (fromBackToFront_.empty()) return nullptr;
  Window* front = fromBackToFront_.back();
  return front->screenVisibleFrame() ? front : nullptr;
}

void Desktop::click(std::string_view title) {
  const Window* window = windowInSight();
  if (window == nullptr) return;
  // A copy: the program may replace the button, or the window, in its answer.
  if (const auto pressed = window->buttonAction(title)) pressed();
}

void Desktop::closeWindow() {
  const Window* window = windowInSight();
  if (window == nullptr || !window->hasCloseButton()) return;
  platform::WindowDelegate* delegate = window->delegate();
  if (delegate == nullptr || delegate->windowShouldClose()) takeAway(window);
}

void World::unmodelled(std::string_view what) const {
  system.streams().writeError(
      "parlen-mac-vm: the simulated host cannot go on: " + std::string(what) + "\n");
  system.process().trap();
}

}  // namespace parlen::simulated
