#include "input/gui_input_driver.h"

#include <gtest/gtest.h>

#include "events/event_stream.h"
#include "platform/key_codes.h"
#include "platform/platform.h"
#include "support/event_lines.h"
#include "support/recording_desktop.h"
#include "support/test_system.h"

namespace parlen::test {
namespace {

using Calls = std::vector<std::string>;
using platform::KeyEventType;

const KeyStroke a{vk::ansiA, {}, "a"};
const KeyStroke upperA{vk::ansiA, {"shift"}, "A"};
const KeyStroke commandQ{vk::ansiQ, {"cmd"}, "q"};

/// A driver for a view that is in a window and has the focus, unless a test changes that.
class InputDriver : public testing::Test {
 protected:
  InputDriver() {
    platform::usePlatform(&system_, nullptr);
    outputQueue = system_.makeSerialQueue("test");
    window_.firstResponder = view_;
    view_->holder = &window_;
  }
  ~InputDriver() override {
    outputQueue.reset();
    platform::usePlatform(nullptr, nullptr);
  }

  /// The recorded calls while the request is typed.
  Calls callsFor(InputRequest request) {
    driver_->enqueue(std::move(request));
    system_.loop().runUntilIdle();
    return recording_.take();
  }

  /// Milliseconds since the start of the test.
  std::int64_t time() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(system_.loop().now() - start_)
        .count();
  }

  /// The time in milliseconds at which `count` lines had been written.
  std::int64_t timeOfEvent(std::size_t count) {
    while (system_.streams().lines().size() < count && system_.loop().runOne()) {
    }
    return time();
  }

  mutable TestSystem system_;
  std::chrono::nanoseconds start_ = system_.loop().now();
  Recording recording_{system_.loop()};
  RecordingDesktop desktop_{recording_};
  RecordingWindow window_{recording_};
  std::shared_ptr<RecordingMachineView> view_ = std::make_shared<RecordingMachineView>();
  std::shared_ptr<GuiInputDriver> driver_ = std::make_shared<GuiInputDriver>(view_, desktop_);
};

// --- The timeline

TEST_F(InputDriver, HoldsAPlainKeyFor40Milliseconds) {
  EXPECT_EQ(callsFor({"text", {a}, 60}), (Calls{"0 activate", "0 makeKeyAndOrderFront",
                                                "0 down 0 0x0 'a' 'a'", "40 up 0 0x0 'a' 'a'"}));
}

TEST_F(InputDriver, HoldsModifiers40MillisecondsBeforeAndAfterTheKey) {
  EXPECT_EQ(
      callsFor({"key", {commandQ}, 60}),
      (Calls{"0 activate", "0 makeKeyAndOrderFront", "0 flags 55 0x100008",
             "40 down 12 0x100008 'q' 'q'", "80 up 12 0x100008 'q' 'q'", "120 flags 55 0x0"}));
}

TEST_F(InputDriver, FinishesAGapAfterTheLastStroke) {
  driver_->enqueue({"key", {commandQ}, 60});
  EXPECT_EQ(timeOfEvent(1), 180);
  EXPECT_EQ(system_.streams().output, keyDone + "\n");
  driver_->enqueue({"text", {a}, 20});
  EXPECT_EQ(timeOfEvent(2), 180 + 60);
}

TEST_F(InputDriver, WaitsTheGapBetweenStrokes) {
  const Calls calls = callsFor({"text", {a, upperA, a}, 100});
  EXPECT_EQ(Calls(calls.begin() + 2, calls.end()),
            (Calls{"0 down 0 0x0 'a' 'a'", "40 up 0 0x0 'a' 'a'",  //
                   "140 flags 56 0x20002", "180 down 0 0x20002 'A' 'a'", "220 up 0 0x20002 'A' 'a'",
                   "260 flags 56 0x0",  //
                   "360 down 0 0x0 'a' 'a'", "400 up 0 0x0 'a' 'a'"}));
  EXPECT_EQ(time(), 500);
}

TEST_F(InputDriver, TakesAsLongAsItsDelaysAddUpTo) {
  driver_->enqueue({"text", KeyStrokes(std::vector<KeyStroke>(10, a)), 1000});
  EXPECT_EQ(timeOfEvent(1), 10 * 1040);
}

TEST_F(InputDriver, SendsOnlyModifiersFromInsideTheCall) {
  driver_->enqueue({"text", {a}, 60});
  driver_->enqueue({"key", {commandQ}, 60});
  EXPECT_EQ(recording_.take(), (Calls{"0 activate", "0 makeKeyAndOrderFront"}));
  system_.loop().runOne();
  EXPECT_EQ(recording_.take(), Calls{"0 down 0 0x0 'a' 'a'"});
}

TEST_F(InputDriver, CountsEachDelayFromWhenThePreviousStepRan) {
  driver_->enqueue({"key", {commandQ}, 60});
  system_.loop().skip(std::chrono::milliseconds(50));  // the main thread is 10 ms too late
  system_.loop().runUntilIdle();
  EXPECT_EQ(recording_.take(), (Calls{"0 activate", "0 makeKeyAndOrderFront", "0 flags 55 0x100008",
                                      "50 down 12 0x100008 'q' 'q'", "90 up 12 0x100008 'q' 'q'",
                                      "130 flags 55 0x0"}));
  EXPECT_EQ(time(), 190);
}

// --- The events

TEST_F(InputDriver, PressesModifiersInOrderAndReleasesThemInReverse) {
  const Calls calls = callsFor({"key", {{51, {"ctrl", "option"}, ""}}, 60});
  EXPECT_EQ(Calls(calls.begin() + 2, calls.end()),
            (Calls{"0 flags 59 0x40001", "0 flags 58 0xc0021", "40 down 51 0xc0021 '' ''",
                   "80 up 51 0xc0021 '' ''", "120 flags 58 0x40001", "120 flags 59 0x0"}));
}

TEST_F(InputDriver, SendsARepeatedModifierTwiceWithTheSameFlags) {
  const Calls calls = callsFor({"key", {{0, {"shift", "cmd", "shift"}, "a"}}, 60});
  EXPECT_EQ(Calls(calls.begin() + 2, calls.end()),
            (Calls{"0 flags 56 0x20002", "0 flags 55 0x12000a", "0 flags 56 0x12000a",
                   "40 down 0 0x12000a 'a' 'a'", "80 up 0 0x12000a 'a' 'a'",
                   "120 flags 56 0x100008", "120 flags 55 0x0", "120 flags 56 0x0"}));
}

TEST_F(InputDriver, StartsEveryStrokeWithoutModifiers) {
  const Calls calls = callsFor({"text", {upperA, {11, {"ctrl"}, "b"}}, 60});
  EXPECT_EQ(calls[6], "180 flags 59 0x40001");
}

TEST_F(InputDriver, SendsNothingForAnUnknownModifier) {
  const Calls calls = callsFor({"key", {{0, {"hyper"}, "a"}}, 60});
  EXPECT_EQ(Calls(calls.begin() + 2, calls.end()),
            (Calls{"40 down 0 0x0 'a' 'a'", "80 up 0 0x0 'a' 'a'"}));
  EXPECT_EQ(time(), 180);
}

TEST_F(InputDriver, GivesAReturnItsCharacterInBothFields) {
  const Calls calls = callsFor({"text", {{36, {}, "\r"}}, 60});
  EXPECT_EQ(calls[2], "0 down 36 0x0 '\r' '\r'");
}

TEST_F(InputDriver, LowersOnlyLettersIgnoringModifiers) {
  for (const auto& [characters, lowered] :
       {std::pair("Z", "z"), std::pair("A", "a"), std::pair("@", "@"), std::pair("[", "["),
        std::pair("!", "!")}) {
    callsFor({"text", {{0, {}, characters}}, 60});
    EXPECT_EQ(desktop_.sent.back().characters, characters);
    EXPECT_EQ(desktop_.sent.back().charactersIgnoringModifiers, lowered);
  }
}

TEST_F(InputDriver, FillsInTheRestOfEachEvent) {
  callsFor({"key", {commandQ}, 60});
  ASSERT_EQ(desktop_.sent.size(), 4U);
  const std::vector<double> times{3600, 3600.040, 3600.080, 3600.120};
  for (std::size_t i = 0; i < times.size(); ++i) {
    const platform::KeyEventDetails& event = desktop_.sent[i];
    EXPECT_DOUBLE_EQ(event.timestamp, times[i]);
    EXPECT_EQ(event.windowNumber, 7);
    EXPECT_EQ(event.location, (platform::Point{0, 0}));
    EXPECT_FALSE(event.isARepeat);
    EXPECT_EQ(event.characters, event.type == KeyEventType::flagsChanged ? "" : "q");
    EXPECT_EQ(event.charactersIgnoringModifiers, event.characters);
  }
}

// --- Events that cannot be built

TEST_F(InputDriver, WarnsWhenAModifiersPressCannotBeBuilt) {
  desktop_.unbuildableKeyCodes = {56};
  const Calls calls = callsFor({"key", {{0, {"shift", "cmd"}, "A"}}, 60});
  EXPECT_EQ(Calls(calls.begin() + 2, calls.end()),
            (Calls{"0 flags 55 0x12000a", "40 down 0 0x12000a 'A' 'a'", "80 up 0 0x12000a 'A' 'a'",
                   "120 flags 55 0x20002"}));
  EXPECT_EQ(system_.streams().error,
            "parlen-mac-vm: input: firstResponder=the machine view\n"
            "parlen-mac-vm: input: could not build a flagsChanged event for 'shift'\n");
  EXPECT_EQ(system_.streams().output, keyDone + "\n");
}

TEST_F(InputDriver, SkipsAKeyThatCannotBeBuiltWithoutAWarning) {
  desktop_.unbuildableKeyCodes = {0};
  EXPECT_EQ(callsFor({"text", {a, {11, {}, "b"}}, 60}),
            (Calls{"0 activate", "0 makeKeyAndOrderFront", "100 down 11 0x0 'b' 'b'",
                   "140 up 11 0x0 'b' 'b'"}));
  EXPECT_EQ(system_.streams().error, "parlen-mac-vm: input: firstResponder=the machine view\n");
  EXPECT_EQ(system_.streams().output, textDone + "\n");
}

// --- The queue

TEST_F(InputDriver, FinishesARequestWithoutStrokesAtOnce) {
  driver_->enqueue({"text", {}, 60});
  EXPECT_EQ(system_.streams().output, textDone + "\n");
  EXPECT_EQ(recording_.take(), Calls{});
  EXPECT_EQ(system_.streams().error, "");
}

TEST_F(InputDriver, TypesRequestsOneAfterTheOther) {
  driver_->enqueue({"text", {a}, 60});
  driver_->enqueue({"key", {}, 60});
  driver_->enqueue({"text", {a}, 60});
  EXPECT_EQ(timeOfEvent(1), 100);
  // The empty request finishes at once, but after the event of the request before it.
  EXPECT_EQ(system_.streams().lines(), (Calls{textDone, keyDone}));
  EXPECT_EQ(timeOfEvent(3), 200);
  EXPECT_EQ(system_.streams().lines(), (Calls{textDone, keyDone, textDone}));
}

TEST_F(InputDriver, StartsTheNextRequestRightAfterTheLastOnesEnd) {
  driver_->enqueue({"text", {a}, 60});
  driver_->enqueue({"key", {commandQ}, 20});
  EXPECT_EQ(timeOfEvent(1), 100);
  const Calls calls = recording_.take();
  EXPECT_EQ(Calls(calls.begin() + 4, calls.end()),
            (Calls{"100 activate", "100 makeKeyAndOrderFront", "100 flags 55 0x100008"}));
  EXPECT_EQ(timeOfEvent(2), 100 + 140);
  EXPECT_EQ(system_.streams().lines(), (Calls{textDone, keyDone}));
}

TEST_F(InputDriver, LivesUntilAllAcceptedRequestsAreTyped) {
  driver_->enqueue({"text", {a, a}, 60});
  driver_->enqueue({"key", {a}, 60});
  driver_.reset();
  system_.loop().runUntilIdle();
  EXPECT_EQ(system_.streams().lines(), (Calls{textDone, keyDone}));
}

// --- Where the keys go

TEST_F(InputDriver, BringsTheWindowToTheFrontOncePerRequest) {
  EXPECT_EQ(callsFor({"text", {a, a}, 60}).size(), 2U + 4U);
  EXPECT_EQ(system_.streams().error, "parlen-mac-vm: input: firstResponder=the machine view\n");
  callsFor({"text", {a}, 60});
  EXPECT_EQ(system_.streams().error,
            "parlen-mac-vm: input: firstResponder=the machine view\n"
            "parlen-mac-vm: input: firstResponder=the machine view\n");
}

TEST_F(InputDriver, TypesIntoAViewWithoutAWindow) {
  view_->holder = nullptr;
  EXPECT_EQ(callsFor({"text", {a}, 60}),
            (Calls{"0 activate", "0 down 0 0x0 'a' 'a'", "40 up 0 0x0 'a' 'a'"}));
  EXPECT_EQ(desktop_.sent.front().windowNumber, 0);
  EXPECT_EQ(system_.streams().error, "");
  EXPECT_EQ(system_.streams().output, textDone + "\n");
}

TEST_F(InputDriver, FocusesTheTargetIfNoMachineViewHasTheFocus) {
  view_->children = {std::make_shared<RecordingView>("display")};
  window_.firstResponder = nullptr;
  const Calls calls = callsFor({"text", {a}, 60});
  EXPECT_EQ(Calls(calls.begin(), calls.begin() + 3),
            (Calls{"0 activate", "0 makeKeyAndOrderFront", "0 makeFirstResponder display"}));
  EXPECT_EQ(system_.streams().error, "parlen-mac-vm: input: firstResponder=display\n");
}

TEST_F(InputDriver, LeavesTheFocusWithATargetThatHasIt) {
  view_->children = {std::make_shared<RecordingView>("display")};
  window_.firstResponder = view_->children.front();
  EXPECT_EQ(callsFor({"text", {a}, 60}).size(), 2U + 2U);
  EXPECT_EQ(system_.streams().error, "parlen-mac-vm: input: firstResponder=display\n");
}

TEST_F(InputDriver, LeavesTheFocusWithAnyMachineView) {
  view_->children = {std::make_shared<RecordingView>("display")};
  window_.firstResponder = std::make_shared<RecordingMachineView>();
  EXPECT_EQ(callsFor({"text", {a}, 60}).size(), 2U + 2U);
}

std::shared_ptr<RecordingView> viewOf(bool accepts,
                                      std::vector<std::shared_ptr<platform::View>> children = {}) {
  return std::make_shared<RecordingView>("a view", accepts, std::move(children));
}

TEST_F(InputDriver, TargetsTheMachineViewIfNothingInItAccepts) {
  EXPECT_EQ(driver_->responderTarget(), view_);
  view_->accepts = false;
  view_->children = {viewOf(false, {viewOf(false)}), viewOf(false)};
  EXPECT_EQ(driver_->responderTarget(), view_);
}

TEST_F(InputDriver, TargetsTheLastViewThatAcceptsLevelByLevel) {
  const auto deepInTheFirst = viewOf(true);
  const auto inTheLast = viewOf(true);
  view_->children = {viewOf(true, {viewOf(true, {deepInTheFirst})}), viewOf(true, {inTheLast})};
  EXPECT_EQ(driver_->responderTarget(), deepInTheFirst);  // a level below all others
  deepInTheFirst->accepts = false;
  EXPECT_EQ(driver_->responderTarget(), inTheLast);
  inTheLast->accepts = false;
  EXPECT_NE(driver_->responderTarget(), view_->children.back());  // the level below goes on
}

TEST_F(InputDriver, TargetsTheLaterOfTwoSiblings) {
  const auto second = viewOf(true);
  view_->children = {viewOf(true), second, viewOf(false)};
  EXPECT_EQ(driver_->responderTarget(), second);
}

}  // namespace
}  // namespace parlen::test
