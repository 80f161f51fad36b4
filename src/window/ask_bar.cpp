#include "window/ask_bar.h"

#include <memory>
#include <utility>

#include "platform/machine_configuration.h"

namespace parlen {
namespace {

using namespace platform;

constexpr double lowPriority = 250;
constexpr double iconSize = 28;
constexpr double barHeight = 50;  // until it is laid out

BarStack textColumn() {
  BarText title;
  title.label = BarLabel::title;
  title.face = FontFace::boldSystem;
  title.size = FontSize::standard;
  title.compressionResistance = lowPriority;

  BarText detail;
  detail.label = BarLabel::detail;
  detail.face = FontFace::system;
  detail.size = FontSize::small;
  detail.textColor = NamedColor::secondaryLabel;
  detail.compressionResistance = lowPriority;

  BarStack column;
  column.orientation = Orientation::vertical;
  column.alignment = StackAlignment::leading;
  column.spacing = 1;
  column.views = {title, detail};
  return column;
}

BarButton button(std::string title, std::optional<NamedColor> bezelColor,
                 std::function<void()> onPress) {
  return {std::move(title), /*keyEquivalent=*/"", bezelColor, std::move(onPress)};
}

}  // namespace

TitlebarAccessory askBar(AskBarActions actions) {
  BarStack bar;
  bar.orientation = Orientation::horizontal;
  bar.alignment = StackAlignment::centerY;
  bar.spacing = 10;
  bar.outer = {.edgeInsets = {.top = 8, .left = 14, .bottom = 8, .right = 14},
               .huggingPriority = lowPriority,
               .frame = {0, 0, vmDisplayWidth, barHeight}};
  bar.views = {BarImage{iconSize, iconSize}, std::make_shared<BarStack>(textColumn()), BarSpacer{},
               button("Later", std::nullopt, std::move(actions.later)),
               button("Done", NamedColor::controlAccent, std::move(actions.done))};
  return {LayoutAttribute::bottom, std::move(bar)};
}

}  // namespace parlen
