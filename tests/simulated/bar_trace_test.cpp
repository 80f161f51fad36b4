#include "simulated/window_fixture.h"

namespace parlen::test {
namespace {

using platform::BarLabel;
using platform::BarStack;
using platform::FontFace;
using platform::FontSize;
using platform::NamedColor;
using BarTrace = SimulatedWindowTest;

/// What a window traces of a bar with these views, between the brackets of its "views".
class BarViewTrace : public SimulatedWindowTest {
 protected:
  std::string traced(std::vector<platform::BarView> views) {
    const auto window = makeWindow();
    forgetCalls();
    window->addTitlebarAccessory(barOf(std::move(views)));
    const std::string before =
        R"(window.addTitlebarAccessory,"window":1,"layoutAttribute":4,"bar":{)"
        R"("orientation":0,"alignment":5,"spacing":0,"views":[)";
    const std::string call = newCalls().at(0);
    EXPECT_TRUE(call.starts_with(before)) << call;
    EXPECT_TRUE(call.ends_with("]}")) << call;
    return call.substr(before.size(), call.size() - before.size() - 2);
  }
};

TEST_F(BarTrace, IsTheWholeTree) {
  auto column = std::make_shared<BarStack>(BarStack{.orientation = platform::Orientation::vertical,
                                                    .alignment = platform::StackAlignment::leading,
                                                    .spacing = 1.5});
  column->views = {platform::BarText{.label = BarLabel::title}};
  const BarStack bar{.orientation = platform::Orientation::horizontal,
                     .alignment = platform::StackAlignment::centerY,
                     .spacing = 10,
                     .outer = {{.edgeInsets = {8, 14, 8.5, 15},
                                .huggingPriority = 250,
                                .frame = {0, 0, 1920, 50}}},
                     .views = {column, platform::BarSpacer{}}};
  const auto window = makeWindow();
  forgetCalls();
  window->addTitlebarAccessory({.bar = bar});
  EXPECT_EQ(newCalls(),
            (std::vector<std::string>{
                R"(window.addTitlebarAccessory,"window":1,"layoutAttribute":4,"bar":{)"
                R"("orientation":0,"alignment":10,"spacing":10,"edgeInsets":[8,14,8.5,15],)"
                R"("huggingPriority":250,"frame":[0,0,1920,50],"views":[)"
                R"({"kind":"stack","orientation":1,"alignment":5,"spacing":1.5,"views":[)"
                R"({"kind":"label","font":{"face":"systemFont","size":"systemFontSize"},)"
                R"("lineBreakMode":4,"compressionResistance":0}]},{"kind":"spacer"}]})"}));
}

TEST_F(BarViewTrace, HasAnImagesSize) {
  EXPECT_EQ(traced({platform::BarImage{28, 27.5}}), R"({"kind":"image","width":28,"height":27.5})");
}

TEST_F(BarViewTrace, HasALabelsLook) {
  EXPECT_EQ(
      traced({platform::BarText{
          .label = BarLabel::title, .face = FontFace::boldSystem, .compressionResistance = 250}}),
      R"({"kind":"label","font":{"face":"boldSystemFont","size":"systemFontSize"},)"
      R"("lineBreakMode":4,"compressionResistance":250})");
}

TEST_F(BarViewTrace, HasALabelsColorIfItWasSet) {
  EXPECT_EQ(traced({platform::BarText{.label = BarLabel::detail,
                                      .size = FontSize::small,
                                      .textColor = NamedColor::secondaryLabel}}),
            R"({"kind":"label","font":{"face":"systemFont","size":"smallSystemFontSize"},)"
            R"("textColor":"secondaryLabelColor","lineBreakMode":4,"compressionResistance":0})");
}

TEST_F(BarViewTrace, HasAButtonsPropertiesAndItsColorIfItWasSet) {
  EXPECT_EQ(traced({platform::BarButton{.title = "Later"},
                    platform::BarButton{.title = "Done",
                                        .keyEquivalent = "\r",
                                        .bezelColor = NamedColor::controlAccent}}),
            R"({"kind":"button","title":"Later","keyEquivalent":""},)"
            R"({"kind":"button","title":"Done","keyEquivalent":"\r",)"
            R"("bezelColor":"controlAccentColor"})");
}

TEST_F(BarViewTrace, IsEmptyForABarWithoutViews) { EXPECT_EQ(traced({}), ""); }

}  // namespace
}  // namespace parlen::test
