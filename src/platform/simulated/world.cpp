#include "platform/simulated/world.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "platform/simulated/window.h"

namespace parlen::simulated {

void Desktop::bringToFront(Window& window) {
  remove(&window);
  fromBackToFront_.push_back(&window);
}

void Desktop::remove(const Window* window) { std::erase(fromBackToFront_, window); }

bool Desktop::shows(const Window& window) const {
  return std::ranges::find(fromBackToFront_, &window) != fromBackToFront_.end();
}

Window* Desktop::frontWindow() const {
  if (fromBackToFront_.empty()) return nullptr;
  Window* front = fromBackToFront_.back();
  return front->screenVisibleFrame() ? front : nullptr;
}

void Desktop::click(std::string_view title) {
  const Window* window = frontWindow();
  if (window == nullptr) return;
  // A copy, because the action may destroy the button or the window.
  if (const auto pressed = window->buttonAction(title)) pressed();
}

void Desktop::closeWindow() {
  const Window* window = frontWindow();
  if (window == nullptr || !window->hasCloseButton()) return;
  platform::WindowDelegate* delegate = window->delegate();
  if (delegate == nullptr || delegate->windowShouldClose()) remove(window);
}

void World::unmodelled(std::string_view what) const {
  system.streams().writeError(
      "parlen-mac-vm: the simulated host cannot go on: " + std::string(what) + "\n");
  system.process().trap();
}

}  // namespace parlen::simulated
