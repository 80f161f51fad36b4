#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/geometry.h"
#include "platform/key_event.h"
#include "platform/virtual_machine.h"

/// The host's desktop: how the process shows on it, and its windows. Everything here is called on
/// the main thread, and calls back on it.
namespace parlen::platform {

/// How the process shows on the host's desktop; the raw values are the window system's own.
enum class ActivationPolicy {
  regular = 0,     // an icon and a menu bar, may have windows
  prohibited = 2,  // no icon, no menu bar, never active
};

/// The process as its host's desktop sees it.
class Application {
 public:
  virtual ~Application() = default;

  virtual void setActivationPolicy(ActivationPolicy policy) = 0;

  /// Keeps the host from ending a background process that looks idle.
  virtual void disableAutomaticTermination(std::string_view reason) = 0;

  /// Serves the main queue and the window system. The process ends from inside a piece of work.
  virtual void run() = 0;
};

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

// A window's title-bar accessory as a plain value: what the program decides about it. Numbers are
// the window system's own raw values; lengths are points.

enum class LineBreakMode { truncatingTail = 4 };
enum class Orientation { horizontal = 0, vertical = 1 };
enum class StackAlignment { leading = 5, centerY = 10 };
enum class LayoutAttribute { bottom = 4 };
enum class FontFace { system, boldSystem };
enum class FontSize { standard, small };  // the system's own sizes
enum class NamedColor { secondaryLabel, controlAccent };

/// The two texts of the bar. They exist, empty, before any bar does.
enum class BarLabel { title, detail };

/// The application's icon.
struct BarImage {
  double width = 0;
  double height = 0;
};

/// Not editable, not selectable.
struct BarText {
  BarLabel label = BarLabel::title;
  FontFace face = FontFace::system;
  FontSize size = FontSize::standard;
  std::optional<NamedColor> textColor = std::nullopt;  // none: the usual one
  LineBreakMode lineBreakMode = LineBreakMode::truncatingTail;
  double compressionResistance = 0;  // horizontal priority
};

/// Takes whatever room is left.
struct BarSpacer {};

struct BarButton {
  std::string title;
  std::string keyEquivalent = {};                       // empty: no key presses it
  std::optional<NamedColor> bezelColor = std::nullopt;  // none: the usual look
  /// Main thread; once for each press.
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

/// What the outermost stack has beyond the others.
struct OuterStack {
  EdgeInsets edgeInsets;
  double huggingPriority = 0;  // horizontal
  Rect frame;
};

struct BarStack {
  Orientation orientation = Orientation::horizontal;
  StackAlignment alignment = StackAlignment::leading;
  double spacing = 0;
  std::optional<OuterStack> outer = std::nullopt;
  std::vector<BarView> views = {};
};

struct TitlebarAccessory {
  LayoutAttribute layoutAttribute = LayoutAttribute::bottom;
  BarStack bar;
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
