#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/bar.h"
#include "platform/geometry.h"
#include "platform/key_event.h"
#include "platform/virtual_machine.h"

/// Windows on the host's desktop. Everything here is called on the main thread, and calls back on
/// it.
namespace parlen::platform {

/// A view of a window, as far as the choice of the first responder needs it.
class View {
 public:
  virtual ~View() = default;
  virtual bool acceptsFirstResponder() const = 0;
  /// In their order from back to front.
  virtual std::vector<std::shared_ptr<View>> subviews() const = 0;
};

class Window;

/// The view that shows a guest's display and takes the keys meant for it.
class MachineView : public View {
 public:
  /// The window that holds the view now, or null.
  virtual Window* window() const = 0;
};

struct MachineViewOptions {
  bool capturesSystemKeys = false;  // the guest gets combinations that the host would act on
  bool automaticallyReconfiguresDisplay = false;  // else the guest's picture is scaled
};

/// What a user does with a window's own controls.
class WindowDelegate {
 public:
  virtual ~WindowDelegate() = default;
  /// The close button was used. False: the window stays as it is.
  virtual bool windowShouldClose() = 0;
};

/// Bits of a window's style.
inline constexpr std::uint64_t windowTitled = 1;
inline constexpr std::uint64_t windowClosable = 2;
inline constexpr std::uint64_t windowMiniaturizable = 4;
inline constexpr std::uint64_t windowResizable = 8;

enum class Backing { buffered = 2 };
enum class Redraw { later, atOnce };
enum class ReleasedWhenClosed { no, yes };

struct WindowOptions {
  Rect contentRect;
  std::uint64_t styleMask = 0;
  Backing backing = Backing::buffered;
  bool defer = false;
};

/// One window. It is on no screen until it is ordered to the front.
class Window {
 public:
  virtual ~Window() = default;

  virtual std::int64_t windowNumber() const = 0;
  virtual void setTitle(const std::string& title) = 0;
  virtual void setReleasedWhenClosed(ReleasedWhenClosed released) = 0;
  /// Not owned.
  virtual void setDelegate(WindowDelegate* delegate) = 0;
  virtual void setContentView(const std::shared_ptr<MachineView>& view) = 0;
  virtual void setInitialFirstResponder(const std::shared_ptr<MachineView>& view) = 0;
  virtual void addTitlebarAccessory(const TitlebarAccessory& accessory) = 0;

  virtual bool isVisible() const = 0;
  /// The part of the window's own screen that windows may use; nothing while it is on none.
  virtual std::optional<Rect> screenVisibleFrame() const = 0;
  virtual Rect frame() const = 0;
  /// The content that a window like this has inside of `frame`.
  virtual Rect contentRectForFrameRect(const Rect& frame) const = 0;
  virtual void setFrame(const Rect& frame, Redraw redraw) = 0;
  virtual void setContentSize(const Size& size) = 0;
  virtual void setContentAspectRatio(const Size& ratio) = 0;

  virtual void makeKeyAndOrderFront() = 0;
  virtual void orderOut() = 0;

  virtual bool firstResponderIsMachineView() const = 0;
  virtual bool isFirstResponder(const View& view) const = 0;
  virtual void makeFirstResponder(const std::shared_ptr<View>& view) = 0;
  /// The platform's words for the first responder, or for there being none.
  virtual std::string firstResponderDescription() const = 0;
};

struct MenuEntry {
  std::string title;
  std::string action;  // a selector of the application's
  std::string keyEquivalent;
};
/// A menu bar's items; each is the list of its submenu's entries.
using MenuBar = std::vector<std::vector<MenuEntry>>;

enum class OtherApps { respect, ignore };

/// The desktop, once the first window is wanted.
class WindowSystem {
 public:
  virtual ~WindowSystem() = default;

  virtual bool hasMainMenu() const = 0;
  virtual void setMainMenu(const MenuBar& menu) = 0;
  virtual void activate(OtherApps otherApps) = 0;
  /// The part of the main screen that windows may use; nothing if there is no screen.
  virtual std::optional<Rect> mainScreenVisibleFrame() const = 0;

  /// `machine` must outlive the view.
  virtual std::shared_ptr<MachineView> makeMachineView(const Rect& frame, VirtualMachine& machine,
                                                       const MachineViewOptions& options) = 0;
  virtual std::unique_ptr<Window> makeWindow(const WindowOptions& options) = 0;
  /// Sets one of the bar's texts, whether or not a bar has been built.
  virtual void setLabelText(BarLabel label, const std::string& text) = 0;

  /// The event, or null if it cannot be built.
  virtual std::unique_ptr<KeyEvent> keyEvent(const KeyEventDetails& details) = 0;
  /// Dispatches the event, before it returns, through the application to the key window's first
  /// responder.
  virtual void sendEvent(const KeyEvent& event) = 0;
};

}  // namespace parlen::platform
