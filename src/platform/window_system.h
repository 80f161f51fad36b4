#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/event_loop.h"
#include "platform/geometry.h"
#include "platform/key_event.h"
#include "platform/virtual_machine.h"

/// The host's desktop: how the process appears on it, and its windows. Everything here is called on
/// the main thread and calls back on it. Lengths are in points. The values of the enumerations are
/// AppKit's; each names its type there.
namespace parlen::platform {

/// How the process appears on the desktop (NSApplicationActivationPolicy).
enum class ActivationPolicy {
  regular = 0,     // has an icon and a menu bar, may have windows
  prohibited = 2,  // has no icon and no menu bar, is never active
};

/// This process as an application on the desktop.
class Application {
 public:
  virtual ~Application() = default;

  virtual void setActivationPolicy(ActivationPolicy policy) = 0;

  /// Tells the host not to end this process when it appears idle; `reason` is for debuggers.
  virtual void disableAutomaticTermination(std::string_view reason) = 0;

  /// From now on the desktop does not end this process: each time that it would (the user quits the
  /// application, by a menu, by Command-Q or in the Dock, or logs out), it calls `onQuit` instead.
  virtual void setQuitHandler(Work onQuit) = 0;

  /// Serves the main queue and the window system. Returns when, and with what, the event loop's
  /// `run` does.
  virtual Result<> run() = 0;
};

/// A view in a window: what choosing the first responder needs to know of it.
class View {
 public:
  virtual ~View() = default;
  /// Whether key events may go to this view.
  virtual bool acceptsFirstResponder() const = 0;
  /// From back to front.
  virtual std::vector<std::shared_ptr<View>> subviews() const = 0;
};

class Window;

/// The view that shows a guest's display and sends key events to the guest.
class MachineView : public View {
 public:
  /// The window that the view is in, or null; not owned.
  virtual Window* window() const = 0;
};

struct MachineViewOptions {
  bool capturesSystemKeys = false;  // the guest, not the host, gets the host's key combinations
  bool automaticallyReconfiguresDisplay = false;  // false: the guest's picture is scaled
};

// The bar under a window's title (NSTitlebarAccessoryViewController), as a plain value: a tree of
// views. A host makes its own views from it.

enum class LineBreakMode { truncatingTail = 4 };          // NSLineBreakMode
enum class Orientation { horizontal = 0, vertical = 1 };  // NSUserInterfaceLayoutOrientation
enum class StackAlignment { leading = 5, centerY = 10 };  // NSLayoutAttribute
enum class LayoutAttribute { bottom = 4 };                // NSLayoutAttribute
enum class FontFace { system, boldSystem };
enum class FontSize { standard, small };  // NSFont.systemFontSize, smallSystemFontSize
enum class NamedColor { secondaryLabel, controlAccent };

/// The two texts of the bar. The window system keeps them, also while there is no bar; they are
/// empty at first.
enum class BarLabel { title, detail };

/// The application's icon, at this size.
struct BarImage {
  double width = 0;
  double height = 0;
};

/// One of the texts; not editable, not selectable.
struct BarText {
  BarLabel label = BarLabel::title;
  FontFace face = FontFace::system;
  FontSize size = FontSize::standard;
  std::optional<NamedColor> textColor = std::nullopt;  // nullopt: the default color
  LineBreakMode lineBreakMode = LineBreakMode::truncatingTail;
  double compressionResistance = 0;  // horizontal; NSLayoutPriority, 0 to 1000
};

/// Flexible space: takes the width that the other views leave.
struct BarSpacer {};

struct BarButton {
  std::string title;
  std::string action = {};                              // the selector that a press sends
  std::string keyEquivalent = {};                       // empty: no key presses the button
  std::optional<NamedColor> bezelColor = std::nullopt;  // nullopt: the default color
  /// Called once for each press.
  std::function<void()> onPress = {};
};

struct BarStack;
using BarView = std::variant<BarImage, BarText, BarSpacer, BarButton, std::shared_ptr<BarStack>>;

struct EdgeInsets {
  double top = 0;
  double left = 0;
  double bottom = 0;
  double right = 0;
};

/// What only the outermost stack has.
struct OuterStack {
  EdgeInsets edgeInsets;
  double huggingPriority = 0;  // horizontal; NSLayoutPriority, 0 to 1000
  Rect frame;
};

/// Views in a row or a column (NSStackView), from left to right or from top to bottom.
struct BarStack {
  Orientation orientation = Orientation::horizontal;
  StackAlignment alignment = StackAlignment::leading;
  double spacing = 0;
  std::optional<OuterStack> outer = std::nullopt;
  std::vector<BarView> views = {};
};

/// The bar and its place in the window.
struct TitlebarAccessory {
  LayoutAttribute layoutAttribute = LayoutAttribute::bottom;
  BarStack bar;
};

/// Is told what a user does with a window's own controls.
class WindowDelegate {
 public:
  virtual ~WindowDelegate() = default;
  /// The user has pressed the close button. Returns whether the window is to be closed.
  virtual bool windowShouldClose() = 0;
};

/// Bits of a window's style (NSWindowStyleMask).
inline constexpr std::uint64_t windowTitled = 1;
inline constexpr std::uint64_t windowClosable = 2;
inline constexpr std::uint64_t windowMiniaturizable = 4;
inline constexpr std::uint64_t windowResizable = 8;

enum class Backing { buffered = 2 };  // NSBackingStoreType
enum class Redraw { later, atOnce };
enum class ReleasedWhenClosed { no, yes };

struct WindowOptions {
  Rect contentRect;             // on the screen
  std::uint64_t styleMask = 0;  // bits as above
  Backing backing = Backing::buffered;
  bool defer = false;  // true: the host makes the window when it is first shown
};

/// One window. It is on no screen until `makeKeyAndOrderFront`; destroying it takes it off the
/// screen.
class Window {
 public:
  virtual ~Window() = default;

  /// The number that key events name the window by.
  virtual std::int64_t windowNumber() const = 0;
  virtual void setTitle(const std::string& title) = 0;
  /// Whether the window system releases the window when the user closes it.
  virtual void setReleasedWhenClosed(ReleasedWhenClosed released) = 0;
  /// Not owned; must outlive the window.
  virtual void setDelegate(WindowDelegate* delegate) = 0;
  /// Fills the window's content with `view`.
  virtual void setContentView(const std::shared_ptr<MachineView>& view) = 0;
  /// The view that is first responder when the window is first shown.
  virtual void setInitialFirstResponder(const std::shared_ptr<MachineView>& view) = 0;
  virtual void addTitlebarAccessory(const TitlebarAccessory& accessory) = 0;

  virtual bool isVisible() const = 0;
  /// The part of the window's screen that windows may use; nullopt while it is on no screen.
  virtual std::optional<Rect> screenVisibleFrame() const = 0;
  /// The whole window, its title bar included.
  virtual Rect frame() const = 0;
  /// The content rectangle that this window would have in `frame`.
  virtual Rect contentRectForFrameRect(const Rect& frame) const = 0;
  virtual void setFrame(const Rect& frame, Redraw redraw) = 0;
  virtual void setContentSize(const Size& size) = 0;
  /// Keeps the content's width and height in this ratio while the user resizes the window.
  virtual void setContentAspectRatio(const Size& ratio) = 0;

  /// Shows the window in front of all others and sends key events to it.
  virtual void makeKeyAndOrderFront() = 0;
  /// Hides the window.
  virtual void orderOut() = 0;

  /// Whether the first responder, the view that gets the key events, is a MachineView.
  virtual bool firstResponderIsMachineView() const = 0;
  virtual bool isFirstResponder(const View& view) const = 0;
  virtual void makeFirstResponder(const std::shared_ptr<View>& view) = 0;
  /// The platform's own description of the first responder, or of there being none; for people.
  virtual std::string firstResponderDescription() const = 0;
};

/// One entry of a menu (NSMenuItem).
struct MenuEntry {
  std::string title;
  std::string action;  // a selector that the application responds to
  std::string keyEquivalent;
};
/// The items of a menu bar; each is a submenu, given by its entries.
using MenuBar = std::vector<std::vector<MenuEntry>>;

enum class OtherApps { respect, ignore };

/// The desktop, opened for windows.
class WindowSystem {
 public:
  virtual ~WindowSystem() = default;

  /// Whether the application has a menu bar.
  virtual bool hasMainMenu() const = 0;
  virtual void setMainMenu(const MenuBar& menu) = 0;
  /// Makes this the active application; with OtherApps::ignore also while the user works with
  /// another one.
  virtual void activate(OtherApps otherApps) = 0;
  /// The part of the main screen that windows may use; nullopt if there is no screen.
  virtual std::optional<Rect> mainScreenVisibleFrame() const = 0;

  /// Makes a view of the machine's display, in no window yet. `machine` must outlive the view.
  virtual std::shared_ptr<MachineView> makeMachineView(const Rect& frame, VirtualMachine& machine,
                                                       const MachineViewOptions& options) = 0;
  /// Makes a window, on no screen yet.
  virtual std::unique_ptr<Window> makeWindow(const WindowOptions& options) = 0;
  /// Sets one of the bar's texts, whether or not there is a bar.
  virtual void setLabelText(BarLabel label, const std::string& text) = 0;

  /// Builds an event; null if the window system cannot.
  virtual std::unique_ptr<KeyEvent> keyEvent(const KeyEventDetails& details) = 0;
  /// Dispatches the event through the application to its window's first responder, before it
  /// returns, whether or not the user works with this application.
  virtual void sendEvent(const KeyEvent& event) = 0;
};

}  // namespace parlen::platform
