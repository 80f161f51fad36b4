#include "simulated/fixture.h"

namespace parlen::test {
namespace {

using Window = WindowTest;
using FirstResponder = WindowTest;

constexpr platform::Rect screen = {0, 0, 1440, 875};

TEST_F(Window, TracesEachOfItsCallsWhole) {
  const auto view = makeView();
  const auto unseen = makeWindow();
  forgetCalls();
  const auto window = windows().makeWindow(
      {.contentRect = {0, 0, 1920, 1200}, .styleMask = 15, .backing = platform::Backing::buffered});
  window->setTitle("Parlen VM \xE2\x80\x94 vm1");
  window->setReleasedWhenClosed(platform::ReleasedWhenClosed::no);
  window->setDelegate(nullptr);
  window->setContentView(view);
  window->setInitialFirstResponder(view);
  window->setFrame({74, -20.5, 1291, 834.5}, platform::Redraw::atOnce);
  window->setContentSize({1920, 1200});
  window->setContentAspectRatio({1920, 1200});
  window->makeKeyAndOrderFront();
  window->makeFirstResponder(view);
  window->orderOut();
  EXPECT_EQ(
      newCalls(),
      (Calls{
          R"(window.create,"window":2,"contentRect":[0,0,1920,1200],"styleMask":15,"backing":2,"defer":false)",
          "window.setTitle,\"window\":2,\"title\":\"Parlen VM \xE2\x80\x94 vm1\"",
          R"(window.setReleasedWhenClosed,"window":2,"released":false)",
          R"(window.setDelegate,"window":2)",
          R"(window.setContentView,"window":2,"view":"machine-view")",
          R"(window.setInitialFirstResponder,"window":2,"view":"machine-view")",
          R"(window.setFrame,"window":2,"frame":[74,-20.5,1291,834.5],"display":true)",
          R"(window.setContentSize,"window":2,"size":[1920,1200])",
          R"(window.setContentAspectRatio,"window":2,"size":[1920,1200])",
          R"(window.makeKeyAndOrderFront,"window":2)",
          R"(window.makeFirstResponder,"window":2,"view":"machine-view")",
          R"(window.orderOut,"window":2)",
      }));
}

TEST_F(Window, TracesTheOtherValueOfEachChoice) {
  const auto window = windows().makeWindow({.contentRect = {}, .defer = true});
  window->setReleasedWhenClosed(platform::ReleasedWhenClosed::yes);
  window->setFrame({-0.0, 0, 0.1, 1e15}, platform::Redraw::later);
  window->setContentView(nullptr);
  window->makeFirstResponder(nullptr);
  EXPECT_EQ(
      newCalls(),
      (Calls{
          R"(window.create,"window":1,"contentRect":[0,0,0,0],"styleMask":0,"backing":2,"defer":true)",
          R"(window.setReleasedWhenClosed,"window":1,"released":true)",
          R"(window.setFrame,"window":1,"frame":[0,0,0.1,1e+15],"display":false)",
          R"(window.setContentView,"window":1,"view":null)",
          R"(window.makeFirstResponder,"window":1,"view":null)",
      }));
}

TEST_F(Window, DoesNotTraceCallsThatOnlyAsk) {
  const auto view = makeView();
  const auto window = makeWindowWith(view);
  forgetCalls();
  window->windowNumber();
  window->isVisible();
  window->screenVisibleFrame();
  window->frame();
  window->contentRectForFrameRect({});
  window->firstResponderIsMachineView();
  window->isFirstResponder(*view);
  window->firstResponderDescription();
  windows().hasMainMenu();
  windows().mainScreenVisibleFrame();
  EXPECT_EQ(newCalls(), Calls{});
}

TEST_F(Window, HasANumberFromOneThatIsNeverReused) {
  auto first = makeWindow();
  EXPECT_EQ(first->windowNumber(), 1);
  EXPECT_EQ(makeWindow()->windowNumber(), 2);
  EXPECT_EQ(makeWindow()->windowNumber(), 3);
}

TEST_F(Window, StandsAboveItsContentByTheChrome) {
  useScenario(R"({"window":{"chrome":28.5}})");
  const auto window = makeWindow();
  EXPECT_EQ(window->frame(), (platform::Rect{100, 50, 640, 428.5}));
  EXPECT_EQ(window->contentRectForFrameRect(window->frame()), (platform::Rect{100, 50, 640, 400}));
}

TEST_F(Window, TakesTheFrameThatItIsGiven) {
  const auto window = makeWindow();
  window->setFrame({1, 2, 300, 228}, platform::Redraw::atOnce);
  EXPECT_EQ(window->frame(), (platform::Rect{1, 2, 300, 228}));
}

TEST_F(Window, KeepsItsLowerLeftCornerAsItsContentChangesSize) {
  const auto window = makeWindow();
  window->setContentSize({1920, 1200});
  EXPECT_EQ(window->frame(), (platform::Rect{100, 50, 1920, 1228}));
}

TEST_F(Window, IsOnTheScreenFromItsOrderToTheFrontToItsOrderOut) {
  const auto window = makeWindow();
  EXPECT_FALSE(window->isVisible());
  EXPECT_EQ(window->screenVisibleFrame(), std::nullopt);
  window->makeKeyAndOrderFront();
  EXPECT_TRUE(window->isVisible());
  EXPECT_EQ(window->screenVisibleFrame(), screen);
  window->orderOut();
  EXPECT_FALSE(window->isVisible());
  EXPECT_EQ(window->screenVisibleFrame(), std::nullopt);
}

TEST_F(Window, StaysOnTheScreenWhenItIsOrderedToTheFrontAgain) {
  const auto window = makeWindow();
  window->makeKeyAndOrderFront();
  window->makeKeyAndOrderFront();
  EXPECT_TRUE(window->isVisible());
  window->orderOut();
  EXPECT_FALSE(window->isVisible());
}

TEST_F(Window, IsOnNoScreenWhereThereIsNone) {
  useScenario(R"({"window":{"visibleFrame":null}})");
  const auto window = makeWindow();
  window->makeKeyAndOrderFront();
  EXPECT_TRUE(window->isVisible());
  EXPECT_EQ(window->screenVisibleFrame(), std::nullopt);
  EXPECT_EQ(windows().mainScreenVisibleFrame(), std::nullopt);
}

TEST_F(Window, MayOutliveTheHost) {
  auto window = makeWindow();
  window->makeKeyAndOrderFront();
  useScenario("{}");
  EXPECT_TRUE(window->isVisible());
  window.reset();
  EXPECT_EQ(makeWindow()->windowNumber(), 1);
}

TEST_F(Window, HoldsItsContentView) {
  const auto view = makeView();
  EXPECT_EQ(view->window(), nullptr);
  auto window = makeWindowWith(view);
  EXPECT_EQ(view->window(), window.get());
  window.reset();
  EXPECT_EQ(view->window(), nullptr);
}

TEST_F(Window, LosesItsContentViewToAnotherOne) {
  const auto view = makeView();
  const auto first = makeWindowWith(view);
  first->makeFirstResponder(view);
  const auto second = makeWindowWith(view);
  EXPECT_EQ(view->window(), second.get());
  EXPECT_EQ(first->firstResponderDescription(), "none");
  first->setContentView(nullptr);
  EXPECT_EQ(view->window(), second.get());
}

TEST_F(Window, LetsItsContentViewGoForAnother) {
  const auto before = makeView();
  const auto after = makeView();
  const auto window = makeWindowWith(before);
  window->setContentView(after);
  EXPECT_EQ(before->window(), nullptr);
  EXPECT_EQ(after->window(), window.get());
}

constexpr auto twoLevels = R"({"window":{"views":{"name":"guest","subviews":[
    {"name":"passive","acceptsFirstResponder":false,"subviews":[{"name":"inner"}]},{}]}}})";

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
  EXPECT_EQ(window->firstResponderDescription(), "machine-view");  // the name of an unnamed view
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
  EXPECT_EQ(newCalls(), Calls{R"(window.makeFirstResponder,"window":1,"view":"passive")"});
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
