#include <gmock/gmock.h>

#include <memory>

#include "contract/contract.h"

namespace parlen::test {
namespace {

using testing::HasSubstr;

class RestorationContract : public Contract {
 protected:
  void SetUp() override {
    Contract::SetUp();
    if (underTest().preparedBundle()) GTEST_SKIP() << "an installation takes too long here";
  }
};
INSTANTIATE_TEST_SUITE_P(Hosts, RestorationContract, testing::ValuesIn(allHosts()), nameOf);

TEST_P(RestorationContract, LoadsAnImageAndReportsItsRequirements) {
  const auto image = load(smallRestoreImage());

  ASSERT_TRUE(image) << image.error().description;
  EXPECT_EQ((*image)->path(), path("small-image"));
  const auto requirements = (*image)->mostFeaturefulSupportedConfiguration();
  ASSERT_TRUE(requirements);
  EXPECT_TRUE(requirements->hardwareModel);
  EXPECT_GE(requirements->minimumCPUCount, 1);
}

TEST_P(RestorationContract, FailsToLoadAnythingElseAndNamesIt) {
  ASSERT_TRUE(files().replace(path("garbage"), "this is no image of anything\n"));
  ASSERT_TRUE(files().replace(path("empty"), ""));
  ASSERT_TRUE(files().createDirectories(path("directory")));

  for (const std::string name : {"garbage", "empty", "directory", "missing"}) {
    const auto image = load(path(name));
    ASSERT_FALSE(image) << name;
    EXPECT_THAT(image.error().description, HasSubstr(name));
    EXPECT_THAT(image.error().description, testing::Not(HasSubstr("\n")));
  }
}

TEST_P(RestorationContract, InstallsAnImageAndKeepsTheDiskLength) {
  const Guest guest = emptyGuest("guest", smallDisk);

  const auto installed = install(guest, path("small-image"));

  ASSERT_TRUE(installed) << installed.error().description;
  EXPECT_EQ(files().length(guest.disk), smallDisk);
  EXPECT_TRUE(underTest().isInstalled(files().read(guest.disk).value()));
}

TEST_P(RestorationContract, ReportsProgressFromZeroToOne) {
  const Guest guest = emptyGuest("guest", smallDisk);
  const auto image = load(path("small-image")).value();
  const auto machine = host().machines().createMachine(guest.configuration);
  const auto installer = host().restoration().createInstaller(*machine, *image);
  std::vector<double> fractions;
  bool ended = false;

  const auto observation =
      installer->observeProgress([&] { fractions.push_back(installer->fractionCompleted()); });
  EXPECT_THAT(fractions, testing::ElementsAre(0.0));
  installer->install([&](const platform::Result<>& result) {
    EXPECT_TRUE(result);
    ended = true;
  });

  runUntil([&] { return ended; }, "the installation ends");
  EXPECT_THAT(fractions, testing::Each(testing::AllOf(testing::Ge(0.0), testing::Le(1.0))));
  EXPECT_EQ(fractions.back(), 1.0);
  EXPECT_EQ(installer->fractionCompleted(), 1.0);
}

TEST_P(RestorationContract, ReportsNothingToAnEndedObservation) {
  const Guest guest = emptyGuest("guest", smallDisk);
  const auto image = load(path("small-image")).value();
  const auto machine = host().machines().createMachine(guest.configuration);
  const auto installer = host().restoration().createInstaller(*machine, *image);
  int calls = 0;
  bool ended = false;

  installer->observeProgress([&calls] { ++calls; }).reset();
  installer->install([&ended](const platform::Result<>&) { ended = true; });

  runUntil([&] { return ended; }, "the installation ends");
  EXPECT_EQ(calls, 1);
}

TEST_P(RestorationContract, EndsAnObservationFromInsideItsCall) {
  const Guest guest = emptyGuest("guest", smallDisk);
  const auto image = load(path("small-image")).value();
  const auto machine = host().machines().createMachine(guest.configuration);
  const auto installer = host().restoration().createInstaller(*machine, *image);
  const auto calls = std::make_shared<int>(0);
  std::unique_ptr<platform::ProgressObservation> observation;
  bool ended = false;

  observation = installer->observeProgress([calls, &observation] {
    observation.reset();
    ++*calls;  // what the function holds is still there
  });
  installer->install([&ended](const platform::Result<>&) { ended = true; });

  runUntil([&] { return ended; }, "the installation ends");
  EXPECT_EQ(*calls, 2);
}

TEST_P(RestorationContract, FailsOnATooShortDiskAndLeavesItUnchanged) {
  for (const std::uint64_t length : {0UL, 20UL}) {
    const Guest guest = emptyGuest("guest" + std::to_string(length), length);

    const auto installed = install(guest, path("small-image"));

    ASSERT_FALSE(installed);
    EXPECT_FALSE(installed.error().description.empty());
    EXPECT_EQ(files().read(guest.disk), std::string(length, '\0'));
  }
}

}  // namespace
}  // namespace parlen::test
