#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/geometry.h"

/// A window's title-bar accessory as a plain value: what the program decides about it. Numbers are
/// the window system's own raw values; lengths are points.
namespace parlen::platform {

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
  std::function<void()> pressed = {};
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

}  // namespace parlen::platform
