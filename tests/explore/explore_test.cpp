#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ostream>
#include <string>
#include <vector>

#include "explorer.h"

namespace parlen::explore {
namespace {

/// The depth that PARLEN_EXPLORE_DEPTH asks for. Each further step takes about five times as long.
int depthOr(int byDefault) {
  const char* asked = std::getenv("PARLEN_EXPLORE_DEPTH");
  return asked == nullptr ? byDefault : std::atoi(asked);
}

std::vector<MachineKind> allMachines() {
  std::vector<MachineKind> all = nativeMachines();
  all.push_back(simulatedMachine());
  return all;
}

void expectNoViolation(const MachineKind& kind, Explorer::Limits limits) {
  const Report report = Explorer(kind, limits).explore();
  std::printf("%s: %.0f orders through %zu states, %zu steps\n", kind.name.c_str(), report.orders,
              report.states, report.steps);
  EXPECT_EQ(report.violation, "") << "\"" << kind.name << "\", " << pasted(report.violating);
}

class EveryOrder : public testing::TestWithParam<MachineKind> {};

TEST_P(EveryOrder, IsAnsweredAndEndedAsItShouldBe) {
  expectNoViolation(GetParam(), {.depth = depthOr(3), .waiting = 1});
}

TEST_P(EveryOrder, MayBringTwoBeforeTheFirstIsHandled) {
  expectNoViolation(GetParam(), {.depth = depthOr(3) - 1, .waiting = 2});
}

TEST_P(EveryOrder, IsTheSameFromEqualStates) {
  Explorer explorer(GetParam(), {.depth = 1, .waiting = 2});
  explorer.explore();
  EXPECT_EQ(explorer.differenceOfEqualStates(), "");
}

INSTANTIATE_TEST_SUITE_P(Of, EveryOrder, testing::ValuesIn(allMachines()),
                         [](const auto& kind) { return kind.param.name; });

// --- Stories that were found in defective code ---

struct FoundStory {
  std::string name;
  std::string machine;
  Story story;

  friend void PrintTo(const FoundStory& found, std::ostream* out) { *out << found.name; }
};

const Story qemuRuns = {
    "greeting", "reply to qmp_capabilities", "event RESUME", "reply to cont", "work", "work"};

const std::vector<FoundStory> foundStories = {
    {.name = "ResumesBetweenThePausesEventAndItsReply",
     .machine = "qemu",
     .story = behind(qemuRuns, {"pause", "work", "event STOP", "resume", "work", "reply to stop",
                                "work", "work", "reply to cont"})},
    {.name = "LosesTheMonitorDuringAPause",
     .machine = "qemu",
     .story = behind(qemuRuns, {"pause", "work", "event STOP", "monitor closes", "resume", "work",
                                "work", "work"})},
    {.name = "HasADiskErrorBeforeTheStartHasCompleted",
     .machine = "qemu",
     .story = {"greeting", "reply to qmp_capabilities", "event RESUME", "event BLOCK_IO_ERROR",
               "event STOP", "reply to cont", "work", "work", "resume", "work"}},
};

class FoundOrder : public testing::TestWithParam<FoundStory> {};

TEST_P(FoundOrder, IsAnsweredAndEndedAsItShouldBe) {
  const auto all = allMachines();
  const auto kind = std::ranges::find(all, GetParam().machine, &MachineKind::name);
  if (kind == all.end()) GTEST_SKIP() << "a machine of another system";
  test::Tool tool;
  const Player player(*kind, tool.system(), tool.makeBundle("vm1"), /*maxWaiting=*/2);
  EXPECT_EQ(player.play(GetParam().story).violation, "");
}

INSTANTIATE_TEST_SUITE_P(That, FoundOrder, testing::ValuesIn(foundStories),
                         [](const auto& found) { return found.param.name; });

}  // namespace
}  // namespace parlen::explore
