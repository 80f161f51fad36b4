#pragma once

#include <cstdint>
#include <string>

#include "platform/geometry.h"

namespace parlen::platform {

/// The kinds of key events. Source of the values: NSEventType in AppKit.
enum class KeyEventType { keyDown = 10, keyUp = 11, flagsChanged = 12 };

/// The values of a synthetic key event.
struct KeyEventDetails {
  KeyEventType type = KeyEventType::keyDown;
  Point location = {};              // in the window's coordinates
  std::uint64_t modifierFlags = 0;  // bits of parlen::modifier
  double timestamp = 0;             // seconds since the host booted
  std::int64_t windowNumber = 0;    // 0: no window
  std::string characters = {};      // UTF-8
  std::string charactersIgnoringModifiers = {};
  bool isARepeat = false;
  std::uint16_t keyCode = 0;  // a virtual key code of parlen::vk
};

/// A key event that the window system has built, to be given to its `sendEvent`.
class KeyEvent {
 public:
  virtual ~KeyEvent() = default;
};

}  // namespace parlen::platform
