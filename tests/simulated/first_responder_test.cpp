#include "simulated/window_fixture.h"

namespace parlen::test {
namespace {

using Calls = std::vector<std::string>;
using FirstResponder = SimulatedWindowTest;

constexpr auto twoLevels = R"({"window":{"views":{"name":"guest","subviews":[
    {"name":"deaf","acceptsFirstResponder":false,"subviews":[{"name":"inner"}]},{}]}}})";

TEST_F(FirstResponder, IsNoneUntilOneIsMade) {
  const auto view = makeView();
  const auto window = makeWindowWith(view);
  window->makeKeyAndOrderFront();
  EXPECT_EQ(window->firstResponderDescription(), "none");
  EXPECT_FALSE(window->firstResponderIsMachineView());
  EXPECT_FALSE(window->isFirstResponder(*view));
}

TEST_F(FirstResponder, IsTheInitialOneOnceTheWindowIsShown) {
  const auto view = makeView();
  const auto window = makeWindowWith(view);
  window->setInitialFirstResponder(view);
  EXPECT_EQ(window->firstResponderDescription(), "none");
  window->makeKeyAndOrderFront();
  EXPECT_EQ(window->firstResponderDescription(), "machine-view");
  EXPECT_TRUE(window->firstResponderIsMachineView());
  EXPECT_TRUE(window->isFirstResponder(*view));
}

TEST_F(FirstResponder, IsTheInitialOneOnlyTheFirstTime) {
  const auto view = makeView();
  const auto window = makeWindowWith(view);
  window->setInitialFirstResponder(view);
  window->makeKeyAndOrderFront();
  window->makeFirstResponder(nullptr);
  window->orderOut();
  window->makeKeyAndOrderFront();
  EXPECT_EQ(window->firstResponderDescription(), "none");
}

TEST_F(FirstResponder, IsNotTheInitialOneThatIsNamedTooLate) {
  const auto view = makeView();
  const auto window = makeWindowWith(view);
  window->makeKeyAndOrderFront();
  window->setInitialFirstResponder(view);
  window->makeKeyAndOrderFront();
  EXPECT_EQ(window->firstResponderDescription(), "none");
}

TEST_F(FirstResponder, IsAChoiceOfTheProgramsRatherThanTheInitialOne) {
  useScenario(twoLevels);
  const auto view = makeView();
  const auto window = makeWindowWith(view);
  window->setInitialFirstResponder(view);
  window->makeFirstResponder(view->subviews().at(1));
  window->makeKeyAndOrderFront();
  EXPECT_EQ(window->firstResponderDescription(), "machine-view");  // the unnamed one's name too
  EXPECT_FALSE(window->firstResponderIsMachineView());
}

TEST_F(FirstResponder, IsNotTheInitialOneOfAnotherWindow) {
  const auto view = makeView();
  const auto other = makeView();
  const auto window = makeWindowWith(view);
  window->setInitialFirstResponder(other);
  window->makeKeyAndOrderFront();
  EXPECT_EQ(window->firstResponderDescription(), "none");
}

TEST_F(FirstResponder, MayBeAnyViewThatAcceptsIt) {
  useScenario(twoLevels);
  const auto view = makeView();
  const auto window = makeWindowWith(view);
  const auto inner = view->subviews().at(0)->subviews().at(0);
  forgetCalls();
  window->makeFirstResponder(inner);
  EXPECT_EQ(window->firstResponderDescription(), "inner");
  EXPECT_TRUE(window->isFirstResponder(*inner));
  EXPECT_FALSE(window->isFirstResponder(*view));
  EXPECT_FALSE(window->firstResponderIsMachineView());
  EXPECT_EQ(newCalls(), Calls{R"(window.makeFirstResponder,"window":1,"view":"inner")"});
}

TEST_F(FirstResponder, StaysWhenAViewDoesNotAcceptIt) {
  useScenario(twoLevels);
  const auto view = makeView();
  const auto window = makeWindowWith(view);
  window->makeFirstResponder(view);
  forgetCalls();
  window->makeFirstResponder(view->subviews().at(0));
  EXPECT_EQ(window->firstResponderDescription(), "guest");
  EXPECT_EQ(newCalls(), Calls{R"(window.makeFirstResponder,"window":1,"view":"deaf")"});
}

TEST_F(FirstResponder, GoesWithTheContentView) {
  const auto view = makeView();
  const auto window = makeWindowWith(view);
  window->makeFirstResponder(view);
  window->setContentView(view);
  EXPECT_EQ(window->firstResponderDescription(), "machine-view");
  window->setContentView(makeView());
  EXPECT_EQ(window->firstResponderDescription(), "none");
}

TEST_F(FirstResponder, IsNeverAViewOfAnotherWindow) {
  const auto window = makeWindowWith(makeView());
  EXPECT_THROW(window->makeFirstResponder(makeView()), ProcessTrapped);
  EXPECT_EQ(system_.streams().error,
            "parlen-mac-vm: the simulated host cannot go on: a view became the first responder of a"
            " window that it is not in\n");
}

TEST_F(FirstResponder, IsChosenInTheTreeThatTheScenarioDescribes) {
  useScenario(twoLevels);
  const auto view = makeView();
  EXPECT_TRUE(view->acceptsFirstResponder());
  ASSERT_EQ(view->subviews().size(), 2U);
  EXPECT_FALSE(view->subviews()[0]->acceptsFirstResponder());
  EXPECT_TRUE(view->subviews()[1]->acceptsFirstResponder());
  ASSERT_EQ(view->subviews()[0]->subviews().size(), 1U);
  EXPECT_TRUE(view->subviews()[0]->subviews()[0]->acceptsFirstResponder());
  EXPECT_EQ(view->subviews(), view->subviews());
}

}  // namespace
}  // namespace parlen::test
