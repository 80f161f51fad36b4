#include "platform/simulated/restoration.h"
#include "simulated/fixture.h"

namespace parlen::test {
namespace {

using platform::BarLabel;
using platform::BarStack;
using platform::FontFace;
using platform::FontSize;
using platform::NamedColor;
using Trace = HostTest;
using BarTrace = WindowTest;

constexpr auto bareConfiguration =
    R"("configuration":{"hardwareModel":null,"machineIdentifier":null,"auxiliaryStorage":null,)"
    R"("bootLoader":null,"cpuCount":1,"memorySize":134217728,"displays":[],"storageDevices":[],)"
    R"("networkDevices":[],"entropyDevices":0,"keyboards":[],"pointingDevices":[],)"
    R"("audioDevices":[],"directorySharingDevices":[]}})";

std::string line(const std::string& call, const std::string& rest) {
  return R"({"ms":0.000,"call":")" + call + "\"" + rest + "\n";
}

/// With each "/" written as "\/", as in the JSON of this program.
std::string escaped(const std::string& path) {
  std::string text;
  for (const char character : path) text += character == '/' ? "\\/" : std::string(1, character);
  return text;
}

platform::MachineConfiguration smallest() {
  platform::MachineConfiguration configuration;
  configuration.cpuCount = 1;
  configuration.memorySize = 134217728;
  return configuration;
}

TEST_F(Trace, IsTruncatedAtStartUp) {
  write("trace", "an earlier run's");
  useScenario("{}");
  EXPECT_EQ(trace(), "");
}

TEST_F(Trace, HasTheApplicationsCalls) {
  auto& application = host().application();
  application.setActivationPolicy(platform::ActivationPolicy::prohibited);
  application.setActivationPolicy(platform::ActivationPolicy::regular);
  application.disableAutomaticTermination("a \"guest\" runs");
  EXPECT_THROW(application.run(), LoopIdle);
  EXPECT_EQ(trace(),
            line("application.setActivationPolicy", R"(,"policy":"prohibited"})") +
                line("application.setActivationPolicy", R"(,"policy":"regular"})") +
                line("process.disableAutomaticTermination", R"(,"reason":"a \"guest\" runs"})") +
                line("application.run", "}"));
}

TEST_F(Trace, CountsMillisecondsFromTheHostsStart) {
  auto& application = host().application();
  system_.loop().skip(std::chrono::microseconds(1234567) + std::chrono::nanoseconds(999));
  application.setActivationPolicy(platform::ActivationPolicy::regular);
  system_.loop().skip(std::chrono::microseconds(33));
  application.setActivationPolicy(platform::ActivationPolicy::regular);
  EXPECT_EQ(
      trace(),
      "{\"ms\":1234.567,\"call\":\"application.setActivationPolicy\",\"policy\":\"regular\"}\n"
      "{\"ms\":1234.600,\"call\":\"application.setActivationPolicy\",\"policy\":\"regular\"}\n");
}

TEST_F(Trace, IsWrittenAtTheMomentOfTheCall) {
  auto machine = host().machines().createMachine(smallest());
  EXPECT_EQ(trace(), line("machine.create", std::string(",") + bareConfiguration));
}

TEST_F(Trace, HasTheValidationWhateverItsResult) {
  useScenario(R"({"configuration":{"validateError":{}}})");
  EXPECT_FALSE(host().machines().validate(smallest()));
  EXPECT_EQ(trace(), line("configuration.validate", std::string(",") + bareConfiguration));
}

TEST_F(Trace, ShowsTheWholeConfiguration) {
  auto configuration = installedGuest();
  configuration.graphicsDevices = {{{{1920, 1200, 80}}}};
  configuration.networkDevices = {
      {platform::NetworkAttachment::nat, platform::parseMacAddress("0A:1b:2c:3d:4e:5f")},
      {platform::NetworkAttachment::nat, {}}};
  configuration.entropyDevices = {platform::EntropyDevice::virtio};
  configuration.keyboards = {platform::Keyboard::usb};
  configuration.pointingDevices = {platform::PointingDevice::usbScreenCoordinate};
  configuration.directorySharingDevices = {{"one", "/x", platform::ShareAccess::readOnly},
                                           {"two", "/y", platform::ShareAccess::readWrite}};
  auto machine = host().machines().createMachine(configuration);
  EXPECT_EQ(trace(),
            line("machine.create",
                 R"(,"configuration":{"hardwareModel":"sim-1",)"
                 R"("machineIdentifier":"0123456789abcdef0123456789abcdef","auxiliaryStorage":")" +
                     escaped(path("AuxiliaryStorage")) +
                     R"(","bootLoader":"macos","cpuCount":4,"memorySize":4294967296,)"
                     R"("displays":[[[1920,1200,80]]],"storageDevices":[{"path":")" +
                     escaped(path("Disk.img")) +
                     R"(","readOnly":false}],)"
                     R"("networkDevices":[{"attachment":"nat","macAddress":"0a:1b:2c:3d:4e:5f"},)"
                     R"({"attachment":"nat","macAddress":null}],"entropyDevices":1,)"
                     R"("keyboards":["usb"],"pointingDevices":["usb-screen-coordinate"],)"
                     R"("audioDevices":[],"directorySharingDevices":[)"
                     R"({"tag":"one","path":"\/x","readOnly":true},)"
                     R"({"tag":"two","path":"\/y","readOnly":false}]}})"));
}

TEST_F(Trace, HasTheMachinesCallsIncludingFailedOnes) {
  auto machine = host().machines().createMachine(smallest());
  const std::string before = trace();
  machine->start([](auto) {});
  EXPECT_FALSE(machine->requestStop());
  machine->pause([](auto) {});
  machine->resume([](auto) {});
  machine->stop([](auto) {});
  EXPECT_EQ(trace(), before + line("machine.start", "}") + line("machine.requestStop", "}") +
                         line("machine.pause", "}") + line("machine.resume", "}") +
                         line("machine.stop", "}"));
}

TEST_F(Trace, HasNoCallThatOnlyAsks) {
  auto machine = host().machines().createMachine(smallest());
  const std::string before = trace();
  machine->state();
  machine->canPause();
  machine->canResume();
  machine->canRequestStop();
  host().capabilities().limits();
  host().identities().newMachineIdentifier();
  host().machines().openAuxiliaryStorage(path("storage"));
  EXPECT_EQ(trace(), before);
}

TEST_F(Trace, HasTheRestorationsCallsWithThePathAsGiven) {
  auto machine = host().machines().createMachine(emptyGuest());
  const std::string before = trace();
  host().restoration().loadRestoreImage("images/a \xFF.ipsw", [](const auto&) {});
  auto installer =
      host().restoration().createInstaller(*machine, simulated::RestoreImage(nullptr, "images/b"));
  installer->install([](auto) {});
  EXPECT_EQ(trace(), before +
                         line("restoreImage.load", ",\"path\":\"images\\/a \xEF\xBF\xBD.ipsw\"}") +
                         line("installer.install", R"(,"path":"images\/b"})"));
}

/// Traces a bar with these views and returns the elements of its "views".
class BarViewTrace : public WindowTest {
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
            (Calls{R"(window.addTitlebarAccessory,"window":1,"layoutAttribute":4,"bar":{)"
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
