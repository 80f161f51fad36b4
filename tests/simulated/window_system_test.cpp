#include "simulated/fixture.h"

namespace parlen::test {
namespace {

using platform::KeyEventType;
using WindowSystem = WindowTest;
using KeyEvent = WindowTest;

TEST_F(WindowSystem, IsTheSameOneEachTime) {
  EXPECT_EQ(host().windowSystem().value(), host().windowSystem().value());
}

TEST_F(WindowSystem, HasTheMainScreenOfTheScenario) {
  EXPECT_EQ(windows().mainScreenVisibleFrame(), (platform::Rect{0, 0, 1440, 875}));
  useScenario(R"({"window":{"visibleFrame":[-1920,25,1920,1055.5]}})");
  EXPECT_EQ(windows().mainScreenVisibleFrame(), (platform::Rect{-1920, 25, 1920, 1055.5}));
}

TEST_F(WindowSystem, HasAMainMenuOnceItWasGivenOne) {
  EXPECT_FALSE(windows().hasMainMenu());
  windows().setMainMenu({{{"Hide", "hide:", ""}, {"Quit \"it\"", "terminate:", "q"}}, {}});
  EXPECT_TRUE(windows().hasMainMenu());
  EXPECT_EQ(newCalls(),
            Calls{R"(application.setMainMenu,"items":[[{"title":"Hide","action":"hide:",)"
                  R"("keyEquivalent":""},{"title":"Quit \"it\"","action":"terminate:",)"
                  R"("keyEquivalent":"q"}],[]])"});
}

TEST_F(WindowSystem, TracesHowItWasActivated) {
  windows().activate(platform::OtherApps::ignore);
  windows().activate(platform::OtherApps::respect);
  EXPECT_EQ(newCalls(), (Calls{R"(application.activate,"ignoringOtherApps":true)",
                               R"(application.activate,"ignoringOtherApps":false)"}));
}

TEST_F(WindowSystem, TracesTheLabelsTextsWhetherOrNotThereIsABar) {
  windows().setLabelText(platform::BarLabel::title, "Nearly there");
  windows().setLabelText(platform::BarLabel::detail, "");
  EXPECT_EQ(newCalls(), (Calls{R"(label.setText,"label":"title","text":"Nearly there")",
                               R"(label.setText,"label":"detail","text":"")"}));
}

TEST_F(WindowSystem, TracesAMachinesViewByNameWithoutItsSubviews) {
  useScenario(R"({"window":{"views":{"name":"guest","subviews":[{"name":"inner"}]}}})");
  use(installedGuest());
  forgetCalls();
  windows().makeMachineView({0, 0, 1920, 1200}, *machine_, {.capturesSystemKeys = true});
  windows().makeMachineView({1, 2, 3, 4.25}, *machine_, {.automaticallyReconfiguresDisplay = true});
  EXPECT_EQ(newCalls(),
            (Calls{R"(view.create,"view":"guest","frame":[0,0,1920,1200],)"
                   R"("capturesSystemKeys":true,"automaticallyReconfiguresDisplay":false)",
                   R"(view.create,"view":"guest","frame":[1,2,3,4.25],)"
                   R"("capturesSystemKeys":false,"automaticallyReconfiguresDisplay":true)"}));
}

TEST_F(WindowSystem, NamesAMachinesViewWhenTheScenarioDoesNot) {
  makeView();
  EXPECT_EQ(newCalls().back(),
            R"(view.create,"view":"machine-view","frame":[0,0,640,400],)"
            R"("capturesSystemKeys":false,"automaticallyReconfiguresDisplay":false)");
}

TEST_F(KeyEvent, IsTracedWholeWhenItIsSent) {
  const auto event = windows().keyEvent({.type = KeyEventType::keyDown,
                                         .location = {1.5, -2},
                                         .modifierFlags = 0x20002,
                                         .timestamp = 3600.04,
                                         .windowNumber = 7,
                                         .characters = "\r",
                                         .charactersIgnoringModifiers = "\xC3\xA4",
                                         .isARepeat = true,
                                         .keyCode = 36});
  EXPECT_EQ(newCalls(), Calls{});
  windows().sendEvent(*event);
  EXPECT_EQ(newCalls(), Calls{R"(application.sendEvent,"type":10,"keyCode":36,)"
                              R"("modifierFlags":131074,"characters":"\r",)"
                              "\"charactersIgnoringModifiers\":\"\xC3\xA4\","
                              R"("location":[1.5,-2],"timestamp":3600.04,"windowNumber":7,)"
                              R"("isARepeat":true)"});
}

TEST_F(KeyEvent, IsTracedWithTheWindowSystemsNumberForItsKind) {
  for (const auto type : {KeyEventType::keyUp, KeyEventType::flagsChanged}) {
    windows().sendEvent(*windows().keyEvent({.type = type, .keyCode = 55}));
  }
  const std::string rest =
      R"(,"keyCode":55,"modifierFlags":0,"characters":"","charactersIgnoringModifiers":"",)"
      R"("location":[0,0],"timestamp":0,"windowNumber":0,"isARepeat":false)";
  EXPECT_EQ(newCalls(), (Calls{R"(application.sendEvent,"type":11)" + rest,
                               R"(application.sendEvent,"type":12)" + rest}));
}

TEST_F(KeyEvent, CannotBeBuiltForTheKeysThatTheScenarioNames) {
  useScenario(R"({"window":{"unbuildableKeyCodes":[55,0]}})");
  EXPECT_EQ(windows().keyEvent({.keyCode = 55}), nullptr);
  EXPECT_EQ(windows().keyEvent({.keyCode = 0}), nullptr);
  EXPECT_NE(windows().keyEvent({.keyCode = 56}), nullptr);
  EXPECT_EQ(newCalls(), Calls{});
}

}  // namespace
}  // namespace parlen::test
