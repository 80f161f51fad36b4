#include "window/guest_window_controller.h"

#include <sstream>

#include "support/event_lines.h"
#include "window_fixture.h"

namespace parlen::test {
namespace {

using platform::BarButton;
using platform::BarImage;
using platform::BarLabel;
using platform::BarSpacer;
using platform::BarStack;
using platform::BarText;
using platform::FontFace;
using platform::FontSize;
using platform::NamedColor;

/// The controller of a headless run, unless a test takes its machine away.
class GuestWindow : public WindowFixture {
 protected:
  GuestWindow() { controller_.virtualMachine = &machine_; }

  Calls shown(const std::string& title = "", const std::string& detail = "") {
    controller_.show(title, detail);
    return recording_.take();
  }
  Calls hidden() {
    controller_.hide();
    return recording_.take();
  }
  const BarButton& button(std::size_t index) {
    return std::get<BarButton>(desktop_.window->accessory->bar.views.at(index));
  }
  const BarButton& laterButton() { return button(3); }
  const BarButton& doneButton() { return button(4); }

  GuestWindowController controller_;
};

TEST_F(GuestWindow, IsMadeAndBroughtToTheFrontByTheFirstShow) {
  EXPECT_EQ(
      shown("Installing", "step 2 of 3"),
      (Calls{"0 title 'Installing'", "0 detail 'step 2 of 3'", "0 policy regular",
             "0 setMainMenu ['Hide'hide:'']", "0 makeMachineView [0 0 1920 1200] capturing",
             "0 makeWindow [0 0 1920 1200] 15 2", "0 setTitle 'Background desktop'",
             "0 keepWhenClosed", "0 setDelegate", "0 setContentView",
             "0 setInitialFirstResponder the machine view", "0 addTitlebarAccessory",
             "0 setFrame [76 20 1288 835] at once", "0 setContentAspectRatio [1920 1200]",
             "0 makeKeyAndOrderFront", "0 makeFirstResponder the machine view", "0 activate"}));
  EXPECT_EQ(desktop_.shownMachine, &machine_);
  EXPECT_EQ(desktop_.window->windowDelegate, &controller_);
  EXPECT_EQ(system_.streams().output, "");
  EXPECT_EQ(system_.streams().error, "");
}

TEST_F(GuestWindow, GetsOnlyTextsAndFocusWhenItIsShownAlready) {
  shown("one", "1");
  EXPECT_EQ(shown("two", "2"),
            (Calls{"0 title 'two'", "0 detail '2'", "0 policy regular", "0 makeKeyAndOrderFront",
                   "0 makeFirstResponder the machine view", "0 activate"}));
}

TEST_F(GuestWindow, KeepsAMainMenuThatExists) {
  desktop_.menu = true;
  EXPECT_EQ(shown().at(3), "0 makeMachineView [0 0 1920 1200] capturing");
}

TEST_F(GuestWindow, IsPlacedAgainAfterItWasHidden) {
  shown();
  EXPECT_EQ(hidden(), (Calls{"0 orderOut", "0 policy prohibited"}));
  EXPECT_EQ(
      shown("again", ""),
      (Calls{"0 title 'again'", "0 detail ''", "0 policy regular",
             "0 setFrame [76 20 1288 835] at once", "0 setContentAspectRatio [1920 1200]",
             "0 makeKeyAndOrderFront", "0 makeFirstResponder the machine view", "0 activate"}));
}

TEST_F(GuestWindow, IsOrderedOutAgainWhenHiddenTwice) {
  shown();
  hidden();
  EXPECT_EQ(hidden(), (Calls{"0 orderOut", "0 policy prohibited"}));
}

TEST_F(GuestWindow, SetsThePolicyWhenHiddenBeforeItExists) {
  EXPECT_EQ(hidden(), Calls{"0 policy prohibited"});
  controller_.virtualMachine = nullptr;
  EXPECT_EQ(hidden(), Calls{"0 policy prohibited"});
}

TEST_F(GuestWindow, IsHiddenWithoutADesktop) {
  RecordingHost bare(recording_, std::unexpected(platform::PlatformError{"", 1, "no display"}));
  platform::usePlatform(&system_, &bare);
  EXPECT_EQ(hidden(), Calls{"0 policy prohibited"});
  EXPECT_EQ(system_.streams().error, "");
}

TEST_F(GuestWindow, OnlyWarnsWithoutAMachine) {
  controller_.virtualMachine = nullptr;
  EXPECT_EQ(shown("a", "b"), Calls{});
  EXPECT_EQ(system_.streams().error,
            "parlen-mac-vm: ignoring window: this run has no headless guest to show\n");
  EXPECT_EQ(system_.streams().output, "");
}

TEST_F(GuestWindow, OnlyWarnsWithoutADesktop) {
  RecordingHost bare(recording_, std::unexpected(platform::PlatformError{"", 1, "no display"}));
  platform::usePlatform(&system_, &bare);
  EXPECT_EQ(shown("a", "b"), Calls{});
  EXPECT_EQ(system_.streams().error, "parlen-mac-vm: cannot show the guest: no display\n");
  EXPECT_EQ(system_.streams().output, "");
}

TEST_F(GuestWindow, CanBeShownOnceThereIsADesktop) {
  RecordingHost bare(recording_, std::unexpected(platform::PlatformError{"", 1, "no display"}));
  platform::usePlatform(&system_, &bare);
  shown();
  platform::usePlatform(&system_, &host_);
  EXPECT_EQ(shown().back(), "0 activate");
}

TEST_F(GuestWindow, ReportsEachPressOfAButtonAndStays) {
  shown();
  doneButton().onPress();
  EXPECT_EQ(system_.streams().output, done + "\n");
  laterButton().onPress();
  doneButton().onPress();
  EXPECT_EQ(system_.streams().lines(), (Calls{done, later, done}));
  EXPECT_EQ(recording_.take(), Calls{});
  EXPECT_TRUE(desktop_.window->visible);
}

TEST_F(GuestWindow, HidesInsteadOfClosingOnItsCloseButton) {
  shown();
  EXPECT_FALSE(desktop_.window->windowDelegate->windowShouldClose());
  EXPECT_EQ(system_.streams().lines(), Calls{later});
  EXPECT_EQ(recording_.take(), (Calls{"0 orderOut", "0 policy prohibited"}));
  EXPECT_EQ(shown().at(3), "0 setFrame [76 20 1288 835] at once");
}

TEST_F(GuestWindow, ReadsItsMachineOnlyWhenItIsMade) {
  shown();
  UntouchedMachine other;
  controller_.virtualMachine = &other;
  hidden();
  shown();
  EXPECT_EQ(desktop_.shownMachine, &machine_);
}

// --- The bar

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
  return "button " + button.title + " sending " + button.action + " key '" + button.keyEquivalent +
         "'" + (button.bezelColor == NamedColor::controlAccent ? " accent" : "") +
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
  for (const platform::BarView& view : stack.views) {
    text << "\n(" << std::visit([](const auto& it) { return described(it); }, view) << ")";
  }
  return text.str();
}

TEST(AskBar, HasIconTextsSpaceAndButtons) {
  const platform::TitlebarAccessory accessory = askBar({[] {}, [] {}});
  EXPECT_EQ(static_cast<int>(accessory.layoutAttribute), 4);
  EXPECT_EQ(described(accessory.bar),
            "stack 0 aligned 10 spaced 10 insets 8 14 8 14 hugging 250 frame 0 0 1920 50\n"
            "(image 28x28)\n"
            "(stack 1 aligned 5 spaced 1\n"
            "(title bold standard break 4 resisting 250)\n"
            "(detail regular small secondary break 4 resisting 250))\n"
            "(spacer)\n"
            "(button Later sending clickedLater: key '')\n"
            "(button Done sending clickedDone: key '' accent)");
}

TEST(AskBar, GivesEachButtonItsAction) {
  std::string pressed;
  const platform::TitlebarAccessory accessory =
      askBar({[&pressed] { pressed += "later "; }, [&pressed] { pressed += "done "; }});
  std::get<BarButton>(accessory.bar.views.at(3)).onPress();
  std::get<BarButton>(accessory.bar.views.at(4)).onPress();
  EXPECT_EQ(pressed, "later done ");
}

}  // namespace
}  // namespace parlen::test
