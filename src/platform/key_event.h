#pragma once

#include <cstdint>
#include <string>

#include "platform/geometry.h"

namespace parlen::platform {

/// The window system's numbers for the kinds of key events.
enum class KeyEventType { keyDown = 10, keyUp = 11, flagsChanged = 12 };

/// All that the program says about a synthetic key event.
struct KeyEventDetails {
  KeyEventType type = KeyEventType::keyDown;
  Point location = {};
  std::uint64_t modifierFlags = 0;  // in the window system's layout
  double timestamp = 0;             // seconds since the host booted
  std::int64_t windowNumber = 0;    // 0: no window
  std::string characters = {};
  std::string charactersIgnoringModifiers = {};
  bool isARepeat = false;
  std::uint16_t keyCode = 0;  // virtual key code of the US layout
};

/// A key event that the window system has built.
class KeyEvent {
 public:
  virtual ~KeyEvent() = default;
};

}  // namespace parlen::platform
