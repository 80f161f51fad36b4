#include "simulated/fixture.h"

namespace parlen::test {
namespace {

using platform::BarButton;

/// The simulated user, and a program that records the clicks that it gets.
class WindowUser : public WindowTest, protected platform::WindowDelegate {
 protected:
  /// A window on the screen, with both buttons; this is its delegate.
  void givenAWindow(const std::string& script) {
    givenNoWindow(script);
    window_ = makeWindow();
    window_->setDelegate(this);
    window_->addTitlebarAccessory(barOf({button("Later"), button("Done")}));
    window_->makeKeyAndOrderFront();
  }
  void givenNoWindow(const std::string& script) { given(R"({"script":[)" + script + "]}"); }

  BarButton button(const std::string& title) {
    return {.title = title, .onPress = [this, title] { hear(title); }};
  }
  bool windowShouldClose() override {
    hear("close");
    return closes_;
  }
  /// Starts the machine and returns what was clicked since then, with its time: "40 Later".
  Story heardWithin(int milliseconds) {
    start();
    EXPECT_EQ(heard_, Story{});
    pass(milliseconds);
    return heard_;
  }
  void hear(const std::string& what) {
    heard_.push_back(std::to_string(milliseconds()) + " " + what);
  }

  std::unique_ptr<platform::Window> window_;
  bool closes_ = false;
  Story heard_;
};

TEST_F(WindowUser, PressesTheButtonsWhenTheScriptSays) {
  givenAWindow(R"({"atMs":40,"event":"clicks-later"},{"atMs":70,"event":"clicks-done"},)"
               R"({"atMs":90,"event":"clicks-done"})");
  EXPECT_EQ(heardWithin(1000), (Story{"40 Later", "70 Done", "90 Done"}));
  EXPECT_TRUE(window_->isVisible());
}

TEST_F(WindowUser, ActsInALaterLoopIterationThanTheStart) {
  givenAWindow(R"({"atMs":0,"event":"clicks-done"})");
  EXPECT_EQ(heardWithin(0), Story{"0 Done"});
}

TEST_F(WindowUser, LeavesNothingInTheTrace) {
  givenAWindow(R"({"atMs":1,"event":"clicks-later"},{"atMs":2,"event":"closes-window"})");
  closes_ = true;
  start();
  forgetCalls();
  pass(10);
  EXPECT_EQ(heard_, (Story{"1 Later", "2 close"}));
  EXPECT_EQ(newCalls(), Calls{});
}

TEST_F(WindowUser, ClosesAWindowWhoseDelegateSaysYes) {
  givenAWindow(R"({"atMs":5,"event":"closes-window"})");
  closes_ = true;
  EXPECT_EQ(heardWithin(10), Story{"5 close"});
  EXPECT_FALSE(window_->isVisible());
}

TEST_F(WindowUser, CannotCloseAWindowWhoseDelegateSaysNo) {
  givenAWindow(R"({"atMs":5,"event":"closes-window"})");
  EXPECT_EQ(heardWithin(10), Story{"5 close"});
  EXPECT_TRUE(window_->isVisible());
}

TEST_F(WindowUser, ClosesAWindowWithoutADelegate) {
  givenAWindow(R"({"atMs":5,"event":"closes-window"})");
  window_->setDelegate(nullptr);
  EXPECT_EQ(heardWithin(10), Story{});
  EXPECT_FALSE(window_->isVisible());
}

TEST_F(WindowUser, CannotCloseAWindowWithoutACloseButton) {
  givenNoWindow(R"({"atMs":5,"event":"closes-window"})");
  window_ = makeWindow(platform::windowTitled);
  window_->setDelegate(this);
  window_->makeKeyAndOrderFront();
  EXPECT_EQ(heardWithin(10), Story{});
  EXPECT_TRUE(window_->isVisible());
}

constexpr auto everything = R"({"atMs":1,"event":"clicks-later"},{"atMs":2,"event":"clicks-done"},)"
                            R"({"atMs":3,"event":"closes-window"})";

TEST_F(WindowUser, DoesNothingToAWindowThatIsOnNoScreen) {
  givenAWindow(everything);
  window_->orderOut();
  EXPECT_EQ(heardWithin(10), Story{});
}

TEST_F(WindowUser, DoesNothingWhereThereIsNoScreen) {
  givenAWindow(everything);
  useScenario(R"({"window":{"visibleFrame":null},"script":[)" + std::string(everything) + "]}");
  use(installedGuest());
  window_ = makeWindow();
  window_->setDelegate(this);
  window_->addTitlebarAccessory(barOf({button("Later"), button("Done")}));
  window_->makeKeyAndOrderFront();
  EXPECT_EQ(heardWithin(10), Story{});
}

TEST_F(WindowUser, DoesNothingWithoutAWindow) {
  givenNoWindow(everything);
  start();
  pass(10);
  EXPECT_EQ(story_, Story{"0 started: running"});
}

TEST_F(WindowUser, DoesNothingToAWindowThatIsGone) {
  givenAWindow(everything);
  window_.reset();
  EXPECT_EQ(heardWithin(10), Story{});
}

TEST_F(WindowUser, PressesNoButtonThatTheWindowDoesNotHave) {
  givenNoWindow(R"({"atMs":1,"event":"clicks-later"},{"atMs":2,"event":"clicks-done"})");
  window_ = makeWindow();
  window_->addTitlebarAccessory(barOf({platform::BarSpacer{}, button("Done")}));
  window_->makeKeyAndOrderFront();
  EXPECT_EQ(heardWithin(10), Story{"2 Done"});
}

TEST_F(WindowUser, FindsAButtonDeepInAnyOfTheBars) {
  givenNoWindow(R"({"atMs":1,"event":"clicks-later"},{"atMs":2,"event":"clicks-done"})");
  auto inner = std::make_shared<platform::BarStack>();
  inner->views = {platform::BarSpacer{}, button("Done")};
  window_ = makeWindow();
  window_->addTitlebarAccessory(barOf({inner, button("Else")}));
  window_->addTitlebarAccessory(barOf({button("Later")}));
  window_->makeKeyAndOrderFront();
  EXPECT_EQ(heardWithin(10), (Story{"1 Later", "2 Done"}));
}

TEST_F(WindowUser, PressesAButtonThatDoesNothing) {
  givenNoWindow(R"({"atMs":1,"event":"clicks-later"},{"atMs":2,"event":"clicks-done"})");
  window_ = makeWindow();
  window_->addTitlebarAccessory(barOf({BarButton{.title = "Later"}, button("Done")}));
  window_->makeKeyAndOrderFront();
  EXPECT_EQ(heardWithin(10), Story{"2 Done"});
}

TEST_F(WindowUser, ActsOnTheFrontmostWindow) {
  givenAWindow(R"({"atMs":1,"event":"clicks-done"},{"atMs":2,"event":"closes-window"},)"
               R"({"atMs":3,"event":"clicks-done"})");
  const auto other = makeWindow();
  other->addTitlebarAccessory(
      barOf({BarButton{.title = "Done", .onPress = [this] { hear("the other's"); }}}));
  other->makeKeyAndOrderFront();
  EXPECT_EQ(heardWithin(10), (Story{"1 the other's", "3 Done"}));
  EXPECT_FALSE(other->isVisible());
  EXPECT_TRUE(window_->isVisible());
}

TEST_F(WindowUser, ActsWhateverTheMachinesStateUntilItHasEnded) {
  givenAWindow(R"({"atMs":1,"event":"enters-error-state"},{"atMs":2,"event":"clicks-done"},)"
               R"({"atMs":3,"event":"guest-stops"},{"atMs":4,"event":"clicks-done"})");
  EXPECT_EQ(heardWithin(10), Story{"2 Done"});
}

TEST_F(WindowUser, MayLoseTheWindowAndTheHostToThePress) {
  givenNoWindow(R"({"atMs":1,"event":"clicks-done"})");
  window_ = makeWindow();
  window_->addTitlebarAccessory(barOf({BarButton{.title = "Done", .onPress = [this] {
                                                   window_.reset();
                                                   machine_.reset();
                                                   useScenario("{}");
                                                   hear("the end");
                                                 }}}));
  window_->makeKeyAndOrderFront();
  EXPECT_EQ(heardWithin(10), Story{"1 the end"});
}

/// Destroys its window and then agrees that it closes.
class LastOne : public platform::WindowDelegate {
 public:
  explicit LastOne(std::unique_ptr<platform::Window>& window) : window_(window) {}
  bool windowShouldClose() override {
    window_.reset();
    return true;
  }

 private:
  std::unique_ptr<platform::Window>& window_;
};

TEST_F(WindowUser, MayLoseTheWindowToTheClose) {
  givenAWindow(R"({"atMs":1,"event":"closes-window"})");
  const auto behind = makeWindow();
  behind->makeKeyAndOrderFront();
  window_->makeKeyAndOrderFront();
  LastOne last(window_);
  window_->setDelegate(&last);
  EXPECT_EQ(heardWithin(10), Story{});
  EXPECT_EQ(window_, nullptr);
  EXPECT_TRUE(behind->isVisible());
}

}  // namespace
}  // namespace parlen::test
