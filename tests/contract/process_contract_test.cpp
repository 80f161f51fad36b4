#include <gmock/gmock.h>

#include <csignal>

#include "contract/contract.h"

namespace parlen::test {
namespace {

using ProcessContract = Contract;
INSTANTIATE_TEST_SUITE_P(Hosts, ProcessContract, testing::ValuesIn(allHosts()), nameOf);

TEST_P(ProcessContract, ReportsHowAChildHasEnded) {
  platform::Process& process = underTest().system().process();

  EXPECT_EQ(process.runAndWait("/bin/sh", {"-c", "exit 7"}), 7);
  EXPECT_EQ(process.runAndWait("/bin/sh", {"-c", "kill -KILL $$"}), 128 + SIGKILL);
  const auto missing = process.runAndWait(path("missing"), {});
  ASSERT_FALSE(missing);
  EXPECT_THAT(missing.error().description, NamesFile(path("missing")));
}

TEST_P(ProcessContract, GivesChildrenTheDefaultActionOfAWatchedSignal) {
  platform::Process& process = underTest().system().process();
  for (const auto signal :
       {platform::TerminationSignal::terminate, platform::TerminationSignal::interrupt}) {
    ASSERT_TRUE(process.watchSignal(signal, [] {}));
  }

  EXPECT_EQ(process.runAndWait("/bin/sh", {"-c", "kill -TERM $$"}), 128 + SIGTERM);
  EXPECT_EQ(process.runAndWait("/bin/sh", {"-c", "kill -INT $$"}), 128 + SIGINT);
}

}  // namespace
}  // namespace parlen::test
