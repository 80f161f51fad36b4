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

/// What one command wants typed.
struct InputRequest {
  std::string verb;  // "text" or "key"; names the request in its `input-done`
  std::vector<KeyStroke> strokes;
  int gapMs = 0;  // between the strokes, and after the last one
};

/// Types requests into the guest's view, one after the other, as key events that take the way of a
/// user's own. Each request ends with an `input-done` event; nothing cancels one that was accepted.
/// It never waits: every pause is a delayed call, which keeps the driver alive. Main thread only.
class GuiInputDriver : public std::enable_shared_from_this<GuiInputDriver> {
 public:
  /// `windows` must outlive the driver and its delayed calls.
  GuiInputDriver(std::shared_ptr<platform::MachineView> view, platform::WindowSystem& windows);

  /// Queues the request and, if nothing is being typed, starts it before returning.
  void enqueue(InputRequest request);

  /// The view that has to be first responder for the keys to reach the guest: of the machine view
  /// and the views in it, level by level, the last one that accepts; else the machine view.
  std::shared_ptr<platform::View> responderTarget() const;

 private:
  /// A stroke under way.
  struct Stroke {
    std::shared_ptr<const InputRequest> request;
    std::size_t index = 0;
    std::uint64_t flags = 0;  // of the modifiers that are down

    const KeyStroke& key() const { return request->strokes[index]; }
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
  bool sendModifier(const std::string& name, std::uint64_t flags);
  bool send(platform::KeyEventDetails details);

  std::shared_ptr<platform::MachineView> view_;
  platform::WindowSystem& windows_;
  std::deque<InputRequest> pending_;
  bool draining_ = false;  // from a request's start until its `input-done` is written
};

/// Types into the guest's window of a run with one; null on a headless run. Set when that window is
/// presented.
extern std::shared_ptr<GuiInputDriver> inputDriver;

}  // namespace parlen
