#include "platform/simulated/host.h"

#include "simulated/fixture.h"

namespace parlen::test {
namespace {

using Host = HostTest;

std::string errorOf(platform::System& system, const simulated::HostOptions& options) {
  const auto made = simulated::makeHost(system, options);
  return made ? "" : made.error();
}

TEST_F(Host, WorksWithoutAScenarioAndWithoutATrace) {
  const auto made = simulated::makeHost(system_, {});
  ASSERT_TRUE(made);
  EXPECT_TRUE((*made)->capabilities().isSupported());
  (*made)->application().setActivationPolicy(platform::ActivationPolicy::regular);
}

TEST_F(Host, TellsWhatTheScenarioSaysOfItsCapabilities) {
  useScenario(R"({"host":{"supported":false,"processorCount":12,"minimumCPUCount":2,
      "maximumCPUCount":6,"minimumMemorySize":10,"maximumMemorySize":20}})");
  auto& capabilities = host().capabilities();
  EXPECT_FALSE(capabilities.isSupported());
  EXPECT_EQ(capabilities.processorCount(), 12);
  EXPECT_EQ(capabilities.limits().minimumCPUCount, 2);
  EXPECT_EQ(capabilities.limits().maximumCPUCount, 6);
  EXPECT_EQ(capabilities.limits().minimumMemorySize, 10U);
  EXPECT_EQ(capabilities.limits().maximumMemorySize, 20U);
}

TEST_F(Host, RefusesAScenarioWithTheFileAndTheMember) {
  write("s", R"({"machine":{"startMS":1}})");
  EXPECT_EQ(errorOf(system_, {path("s"), ""}),
            "unusable scenario " + path("s") + ": unknown member 'machine.startMS'");
}

TEST_F(Host, RefusesAScenarioThatIsNotJsonWithThePlace) {
  write("s", "{\"machine\":}");
  const std::string error = errorOf(system_, {path("s"), ""});
  EXPECT_TRUE(error.starts_with("unusable scenario " + path("s") + ": not JSON: ")) << error;
  EXPECT_TRUE(error.ends_with(" at byte 11")) << error;
}

TEST_F(Host, RefusesAScenarioThatCannotBeRead) {
  const std::string error = errorOf(system_, {path("missing"), ""});
  const auto missing = system_.files().read(path("missing"));
  EXPECT_EQ(error, "unusable scenario " + path("missing") + ": " + missing.error().description);
}

TEST_F(Host, LeavesTheTraceAloneIfTheScenarioIsUnusable) {
  write("s", "[]");
  write("t", "an earlier run's");
  EXPECT_EQ(errorOf(system_, {path("s"), path("t")}),
            "unusable scenario " + path("s") + ": the document must be an object");
  EXPECT_EQ(read("t"), "an earlier run's");
}

TEST_F(Host, RefusesATraceThatCannotBeWritten) {
  const std::string inNothing = path("missing") + "/trace";
  const std::string error = errorOf(system_, {"", inNothing});
  const auto unwritten = system_.files().createForAppending(inNothing);
  EXPECT_EQ(error, "unusable trace " + inNothing + ": " + unwritten.error().description);
}

TEST_F(Host, NamesItsOwnTagForSharesThatAGuestMountsByItself) {
  EXPECT_EQ(host().machines().automountTag(), "parlen-simulated-automount");
}

TEST_F(Host, ServesTheMainQueueUntilTheProcessEnds) {
  system_.loop().postDelayed(std::chrono::milliseconds(5), [this] { system_.process().exit(3); });
  try {
    host().application().run();
    FAIL() << "the process went on";
  } catch (const ProcessEnded& end) {
    EXPECT_EQ(end.status, 3);
  }
  EXPECT_EQ(milliseconds(), 5);
}

}  // namespace
}  // namespace parlen::test
