#include "window/ask_bar.h"

#include <gtest/gtest.h>

#include <sstream>

namespace parlen::test {
namespace {

using namespace platform;

std::string described(const BarStack& stack);

std::string described(const BarImage& image) {
  std::ostringstream text;
  text << "image " << image.width << "x" << image.height;
  return text.str();
}

std::string described(const BarText& label) {
  std::ostringstream text;
  text << (label.label == BarLabel::title ? "title" : "detail")
       << (label.face == FontFace::boldSystem ? " bold" : " regular")
       << (label.size == FontSize::small ? " small" : " standard")
       << (label.textColor == NamedColor::secondaryLabel ? " secondary" : "")
       << (label.textColor == NamedColor::controlAccent ? " accent" : "") << " break "
       << static_cast<int>(label.lineBreakMode) << " resisting " << label.compressionResistance;
  return text.str();
}

std::string described(const BarSpacer&) { return "spacer"; }

std::string described(const BarButton& button) {
  return "button " + button.title + " key '" + button.keyEquivalent + "'" +
         (button.bezelColor == NamedColor::controlAccent ? " accent" : "") +
         (button.bezelColor == NamedColor::secondaryLabel ? " secondary" : "");
}

std::string described(const std::shared_ptr<BarStack>& stack) { return described(*stack); }

std::string described(const BarStack& stack) {
  std::ostringstream text;
  text << "stack " << static_cast<int>(stack.orientation) << " aligned "
       << static_cast<int>(stack.alignment) << " spaced " << stack.spacing;
  if (stack.outer) {
    const auto& [insets, hugging, frame] = *stack.outer;
    text << " insets " << insets.top << " " << insets.left << " " << insets.bottom << " "
         << insets.right << " hugging " << hugging << " frame " << frame.x << " " << frame.y << " "
         << frame.width << " " << frame.height;
  }
  for (const BarView& view : stack.views) {
    text << "\n(" << std::visit([](const auto& it) { return described(it); }, view) << ")";
  }
  return text.str();
}

TEST(AskBar, IsComposedLikeThis) {
  const TitlebarAccessory accessory = askBar({[] {}, [] {}});
  EXPECT_EQ(static_cast<int>(accessory.layoutAttribute), 4);
  EXPECT_EQ(described(accessory.bar),
            "stack 0 aligned 10 spaced 10 insets 8 14 8 14 hugging 250 frame 0 0 1920 50\n"
            "(image 28x28)\n"
            "(stack 1 aligned 5 spaced 1\n"
            "(title bold standard break 4 resisting 250)\n"
            "(detail regular small secondary break 4 resisting 250))\n"
            "(spacer)\n"
            "(button Later key '')\n"
            "(button Done key '' accent)");
}

TEST(AskBar, GivesEachButtonItsAction) {
  std::string pressed;
  const TitlebarAccessory accessory =
      askBar({[&pressed] { pressed += "later "; }, [&pressed] { pressed += "done "; }});
  std::get<BarButton>(accessory.bar.views.at(3)).onPress();
  std::get<BarButton>(accessory.bar.views.at(4)).onPress();
  EXPECT_EQ(pressed, "later done ");
}

}  // namespace
}  // namespace parlen::test
