#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "input/key_planning.h"
#include "platform/window_system.h"

namespace parlen {

/// What one command asks to be typed.
struct InputRequest {
  std::string verb;  // "text" or "key"; the `input-done` event repeats it
  KeyStrokes strokes;
  int gapMs = 0;  // milliseconds after each stroke
};

/// Types requests into the guest's view, one after the other, as key events that are dispatched
/// like those of a user. Each request ends with an `input-done` event; a request cannot be
/// cancelled. No call blocks: every pause is a delayed call, which keeps the driver alive. Main
/// thread.
class GuiInputDriver : public std::enable_shared_from_this<GuiInputDriver> {
 public:
  /// `windows` must outlive the driver and its delayed calls.
  GuiInputDriver(std::shared_ptr<platform::MachineView> view, platform::WindowSystem& windows);

  /// Queues the request. If nothing is being typed, starts it before it returns.
  void enqueue(InputRequest request);

  /// The view that must be first responder for the keys to reach the guest: of the machine view and
  /// the views in it, in breadth-first order, the last one that accepts first responder; the
  /// machine view if none does.
  std::shared_ptr<platform::View> responderTarget() const;

 private:
  /// A stroke that is being typed.
  struct Stroke {
    std::shared_ptr<const InputRequest> request;
    std::size_t index = 0;
    std::shared_ptr<const KeyStroke> key = nullptr;  // the stroke at `index`, once it has begun
    std::uint64_t flags = 0;                         // of the modifiers that are down

    int leadMs() const;
  };
  using Step = void (GuiInputDriver::*)(const Stroke& stroke);

  void drainIfIdle();
  void perform(const Stroke& next);
  void prepare();
  void keyDown(const Stroke& stroke);
  void keyUp(const Stroke& stroke);
  void releaseModifiers(const Stroke& stroke);
  void finish(const InputRequest& request);

  void after(int milliseconds, Step step, const Stroke& stroke);
  std::uint64_t pressModifiers(const KeyStroke& key);
  void sendKey(platform::KeyEventType type, const Stroke& stroke);
  bool sendModifier(std::string_view name, std::uint64_t flags);
  bool send(platform::KeyEventDetails details);

  std::shared_ptr<platform::MachineView> view_;
  platform::WindowSystem& windows_;
  std::deque<InputRequest> pending_;
  bool draining_ = false;  // true from a request's start until its `input-done` is written
};

/// The driver of the window that presentWindow has made; null in a headless run.
extern std::shared_ptr<GuiInputDriver> inputDriver;

}  // namespace parlen
