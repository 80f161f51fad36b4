#include "simulated/window_fixture.h"

namespace parlen::test {
namespace {

using Calls = std::vector<std::string>;
using platform::KeyEventType;
using KeyEvent = SimulatedWindowTest;

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
