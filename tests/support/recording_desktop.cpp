#include "support/recording_desktop.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace parlen::test {
namespace {

using namespace platform;

std::string text(double number) {
  char digits[32];
  std::snprintf(digits, sizeof digits, "%g", number);
  return digits;
}

std::string text(const Rect& rect) {
  return "[" + text(rect.x) + " " + text(rect.y) + " " + text(rect.width) + " " +
         text(rect.height) + "]";
}

std::string text(const Size& size) {
  return "[" + text(size.width) + " " + text(size.height) + "]";
}

std::string quoted(const std::string& words) { return "'" + words + "'"; }

std::string nameOf(const std::shared_ptr<View>& view) {
  if (!view) return "nothing";
  const auto* inner = dynamic_cast<const RecordingView*>(view.get());
  return inner == nullptr ? "the machine view" : inner->name;
}

struct RecordedKeyEvent : KeyEvent {
  explicit RecordedKeyEvent(KeyEventDetails all) : details(std::move(all)) {}
  KeyEventDetails details;
};

std::string hexadecimal(std::uint64_t number) {
  char digits[32];
  std::snprintf(digits, sizeof digits, "0x%llx", static_cast<unsigned long long>(number));
  return digits;
}

std::string word(KeyEventType type) {
  switch (type) {
    case KeyEventType::keyDown:
      return "down";
    case KeyEventType::keyUp:
      return "up";
    case KeyEventType::flagsChanged:
      return "flags";
  }
  return "?";
}

}  // namespace

void Recording::add(const std::string& call) {
  const auto passed =
      std::chrono::duration_cast<std::chrono::milliseconds>(loop_.now() - start_).count();
  calls_.push_back(std::to_string(passed) + " " + call);
}

// --- The window

void RecordingWindow::setTitle(const std::string& title) {
  recording_.add("setTitle " + quoted(title));
}

void RecordingWindow::setReleasedWhenClosed(ReleasedWhenClosed released) {
  recording_.add(released == ReleasedWhenClosed::no ? "keepWhenClosed" : "releaseWhenClosed");
}

void RecordingWindow::setDelegate(WindowDelegate* delegate) {
  windowDelegate = delegate;
  recording_.add("setDelegate");
}

void RecordingWindow::setContentView(const std::shared_ptr<MachineView>& view) {
  dynamic_cast<RecordingMachineView&>(*view).holder = this;
  recording_.add("setContentView");
}

void RecordingWindow::setInitialFirstResponder(const std::shared_ptr<MachineView>& view) {
  recording_.add("setInitialFirstResponder " + nameOf(view));
}

void RecordingWindow::addTitlebarAccessory(const TitlebarAccessory& added) {
  accessory = added;
  recording_.add("addTitlebarAccessory");
}

Rect RecordingWindow::contentRectForFrameRect(const Rect& frame) const {
  return {frame.x, frame.y, frame.width, frame.height - 30};
}

void RecordingWindow::setFrame(const Rect& frame, Redraw redraw) {
  place = frame;
  recording_.add("setFrame " + text(frame) + (redraw == Redraw::atOnce ? " at once" : " later"));
}

void RecordingWindow::setContentSize(const Size& size) {
  recording_.add("setContentSize " + text(size));
}

void RecordingWindow::setContentAspectRatio(const Size& ratio) {
  recording_.add("setContentAspectRatio " + text(ratio));
}

void RecordingWindow::makeKeyAndOrderFront() {
  visible = true;
  recording_.add("makeKeyAndOrderFront");
}

void RecordingWindow::orderOut() {
  visible = false;
  recording_.add("orderOut");
}

bool RecordingWindow::firstResponderIsMachineView() const {
  return dynamic_cast<const MachineView*>(firstResponder.get()) != nullptr;
}

bool RecordingWindow::isFirstResponder(const View& view) const {
  return firstResponder.get() == &view;
}

void RecordingWindow::makeFirstResponder(const std::shared_ptr<View>& view) {
  firstResponder = view;
  recording_.add("makeFirstResponder " + nameOf(view));
}

std::string RecordingWindow::firstResponderDescription() const { return nameOf(firstResponder); }

// --- The desktop

void RecordingDesktop::setMainMenu(const MenuBar& bar) {
  menu = true;
  std::string items;
  for (const auto& item : bar) {
    items += " [";
    for (const MenuEntry& entry : item) {
      items += quoted(entry.title) + entry.action + quoted(entry.keyEquivalent);
    }
    items += "]";
  }
  recording_.add("setMainMenu" + items);
}

void RecordingDesktop::activate(OtherApps otherApps) {
  recording_.add(otherApps == OtherApps::ignore ? "activate" : "activate if others let it");
}

std::shared_ptr<MachineView> RecordingDesktop::makeMachineView(const Rect& frame,
                                                               VirtualMachine& machine,
                                                               const MachineViewOptions& options) {
  recording_.add("makeMachineView " + text(frame) +
                 (options.capturesSystemKeys ? " capturing" : "") +
                 (options.automaticallyReconfiguresDisplay ? " reconfiguring" : ""));
  shownMachine = &machine;
  view = std::make_shared<RecordingMachineView>();
  return view;
}

std::unique_ptr<Window> RecordingDesktop::makeWindow(const WindowOptions& options) {
  recording_.add(
      "makeWindow " + text(options.contentRect) + " " + std::to_string(options.styleMask) + " " +
      std::to_string(static_cast<int>(options.backing)) + (options.defer ? " deferred" : ""));
  auto made = std::make_unique<RecordingWindow>(recording_);
  window = made.get();
  return made;
}

void RecordingDesktop::setLabelText(BarLabel label, const std::string& words) {
  recording_.add((label == BarLabel::title ? "title " : "detail ") + quoted(words));
}

std::unique_ptr<KeyEvent> RecordingDesktop::keyEvent(const KeyEventDetails& details) {
  if (std::ranges::find(unbuildableKeyCodes, details.keyCode) != unbuildableKeyCodes.end()) {
    return nullptr;
  }
  return std::make_unique<RecordedKeyEvent>(details);
}

void RecordingDesktop::sendEvent(const KeyEvent& event) {
  const auto& details = dynamic_cast<const RecordedKeyEvent&>(event).details;
  sent.push_back(details);
  std::string call = word(details.type) + " " + std::to_string(details.keyCode) + " " +
                     hexadecimal(details.modifierFlags);
  if (details.type != KeyEventType::flagsChanged) {
    call += " " + quoted(details.characters) + " " + quoted(details.charactersIgnoringModifiers);
  }
  recording_.add(call);
}

// --- The host

HostCapabilities& RecordingHost::capabilities() { throw std::logic_error("capabilities"); }
GuestIdentities& RecordingHost::identities() { throw std::logic_error("identities"); }
MachineFactory& RecordingHost::machines() { throw std::logic_error("machines"); }
Restoration& RecordingHost::restoration() { throw std::logic_error("restoration"); }

void RecordingHost::Application::setActivationPolicy(ActivationPolicy policy) {
  recording_.add(policy == ActivationPolicy::regular ? "policy regular" : "policy prohibited");
}

void RecordingHost::Application::disableAutomaticTermination(std::string_view) {
  recording_.add("disableAutomaticTermination");
}

platform::Result<> RecordingHost::Application::run() {
  recording_.add("run");
  return {};
}

}  // namespace parlen::test
