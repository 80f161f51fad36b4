#include "input/gui_input_driver.h"

#include <chrono>
#include <string_view>
#include <utility>

#include "events/event_stream.h"
#include "input/key_tables.h"
#include "input/timings.h"
#include "platform/platform.h"

namespace parlen {

// Set when the guest's window is presented; see the declaration.
constinit std::shared_ptr<GuiInputDriver> inputDriver;

namespace {

using platform::KeyEventDetails;
using platform::KeyEventType;
using platform::View;

/// ASCII only: no other letter can be typed.
std::string lowerCased(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

double uptimeInSeconds() {
  return std::chrono::duration<double>(platform::system().loop().systemUptime()).count();
}

}  // namespace

GuiInputDriver::GuiInputDriver(std::shared_ptr<platform::MachineView> view,
                               platform::WindowSystem& windows)
    : view_(std::move(view)), windows_(windows) {}

int GuiInputDriver::Stroke::leadMs() const {
  return key->modifiers.empty() ? 0 : inputModifierLeadMs;
}

void GuiInputDriver::enqueue(InputRequest request) {
  pending_.push_back(std::move(request));
  drainIfIdle();
}

void GuiInputDriver::drainIfIdle() {
  if (draining_ || pending_.empty()) return;
  draining_ = true;
  const auto request = std::make_shared<const InputRequest>(std::move(pending_.front()));
  pending_.pop_front();
  perform({request});
}

// A stroke is the chain perform, keyDown, keyUp, releaseModifiers; each step starts the next.

void GuiInputDriver::perform(const Stroke& next) {
  if (next.index == next.request->strokes.size()) return finish(*next.request);
  if (next.index == 0) prepare();
  Stroke stroke = next;
  stroke.key = std::make_shared<const KeyStroke>(stroke.request->strokes[stroke.index]);
  stroke.flags = pressModifiers(*stroke.key);
  after(stroke.leadMs(), &GuiInputDriver::keyDown, stroke);
}

void GuiInputDriver::keyDown(const Stroke& stroke) {
  sendKey(KeyEventType::keyDown, stroke);
  after(inputKeyHoldMs, &GuiInputDriver::keyUp, stroke);
}

void GuiInputDriver::keyUp(const Stroke& stroke) {
  sendKey(KeyEventType::keyUp, stroke);
  after(stroke.leadMs(), &GuiInputDriver::releaseModifiers, stroke);
}

void GuiInputDriver::releaseModifiers(const Stroke& stroke) {
  const auto& modifiers = stroke.key->modifiers;
  std::uint64_t flags = stroke.flags;
  for (auto name = modifiers.rbegin(); name != modifiers.rend(); ++name) {
    flags &= ~vmModifierFlags.find(*name).value_or(0);
    sendModifier(*name, flags);
  }
  after(stroke.request->gapMs, &GuiInputDriver::perform, {stroke.request, stroke.index + 1});
}

void GuiInputDriver::finish(const InputRequest& request) {
  emitInputDone(request.verb);
  draining_ = false;
  drainIfIdle();
}

/// Brings the guest's window to the front and makes it the one that gets the keys.
void GuiInputDriver::prepare() {
  windows_.activate(platform::OtherApps::ignore);
  platform::Window* window = view_->window();
  if (window == nullptr) return;
  window->makeKeyAndOrderFront();
  if (!window->firstResponderIsMachineView()) {
    const auto target = responderTarget();
    if (!window->isFirstResponder(*target)) window->makeFirstResponder(target);
  }
  warn("input: firstResponder=" + window->firstResponderDescription());
}

std::shared_ptr<View> GuiInputDriver::responderTarget() const {
  std::shared_ptr<View> target = view_;
  std::deque<std::shared_ptr<View>> unseen{view_};
  while (!unseen.empty()) {
    const auto view = std::move(unseen.front());
    unseen.pop_front();
    if (view->acceptsFirstResponder()) target = view;
    for (auto& subview : view->subviews()) unseen.push_back(std::move(subview));
  }
  return target;
}

void GuiInputDriver::after(int milliseconds, Step step, const Stroke& stroke) {
  platform::system().loop().postDelayed(
      std::chrono::milliseconds(milliseconds),
      [self = shared_from_this(), step, stroke] { (*self.*step)(stroke); });
}

/// Presses the modifiers in order and returns the flags of all of them.
std::uint64_t GuiInputDriver::pressModifiers(const KeyStroke& key) {
  std::uint64_t flags = 0;
  for (const std::string_view name : key.modifiers) {
    flags |= vmModifierFlags.find(name).value_or(0);
    if (sendModifier(name, flags)) continue;
    warn("input: could not build a flagsChanged event for '" + std::string(name) + "'");
  }
  return flags;
}

void GuiInputDriver::sendKey(KeyEventType type, const Stroke& stroke) {
  KeyEventDetails details;
  details.type = type;
  details.modifierFlags = stroke.flags;
  details.keyCode = stroke.key->keyCode;
  details.characters = stroke.key->characters;
  details.charactersIgnoringModifiers = lowerCased(stroke.key->characters);
  send(std::move(details));
}

/// Sends an event for the modifier's key; false if the event cannot be built.
bool GuiInputDriver::sendModifier(std::string_view name, std::uint64_t flags) {
  const auto code = vmNamedKeys.find(name);
  if (!code) return true;  // it has no key
  KeyEventDetails details;
  details.type = KeyEventType::flagsChanged;
  details.modifierFlags = flags;
  details.keyCode = *code;
  return send(std::move(details));
}

/// Completes the details and dispatches the event; false if it cannot be built.
bool GuiInputDriver::send(KeyEventDetails details) {
  const platform::Window* window = view_->window();
  details.windowNumber = window == nullptr ? 0 : window->windowNumber();
  details.timestamp = uptimeInSeconds();
  const auto event = windows_.keyEvent(details);
  if (event) windows_.sendEvent(*event);
  return event != nullptr;
}

}  // namespace parlen
