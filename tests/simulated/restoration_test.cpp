#include "platform/simulated/restoration.h"

#include <gtest/gtest.h>
#include <optional>

#include "simulated/fixture.h"

namespace parlen::test {
namespace {

using simulated::parseRestoreImage;
using simulated::RestoreImageContent;

TEST(RestoreImage, HoldsAModelAndItsMinimums) {
  EXPECT_EQ(parseRestoreImage(R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1",)"
                              R"("minimumCPUCount":2,"minimumMemorySize":4294967296})"),
            (RestoreImageContent{"sim-1", 2, 4294967296}));
}

TEST(RestoreImage, NeedsOnlyItsMark) {
  EXPECT_EQ(parseRestoreImage(R"({"simulatedRestoreImage":1})"),
            (RestoreImageContent{std::nullopt, 1, 0}));
}

TEST(RestoreImage, DoesNotParseOtherContent) {
  for (const char* bytes :
       {"", "x", "[]", "{}", R"({"simulatedRestoreImage":2})", R"({"simulatedRestoreImage":true})",
        R"({"hardwareModel":"sim-1"})", R"({"simulatedRestoreImage":1,"hardwareModel":null})",
        R"({"simulatedRestoreImage":1,"minimumCPUCount":-1})",
        R"({"simulatedRestoreImage":1,"minimumCPUCount":1.5})",
        R"({"simulatedRestoreImage":1,"minimumMemorySize":-1})",
        R"({"simulatedRestoreImage":1,"minimumMemorysize":1})"}) {
    EXPECT_FALSE(parseRestoreImage(bytes)) << bytes;
  }
}

TEST(RestoreImage, IsNotLongerThanTheMaximum) {
  const std::string image = R"({"simulatedRestoreImage":1})";
  const std::string padding(simulated::maxRestoreImageSize - image.size(), ' ');
  EXPECT_TRUE(parseRestoreImage(image + padding));
  EXPECT_FALSE(parseRestoreImage(image + padding + " "));
}

class Restoration : public HostTest {
 protected:
  using Loaded = platform::Result<std::shared_ptr<const platform::RestoreImage>>;

  void load(const std::string& name) {
    host().restoration().loadRestoreImage(path(name), [this](Loaded result) {
      ++times_;
      loaded_ = std::move(result);
    });
  }
  std::optional<platform::ConfigurationRequirements> requirementsOf(const std::string& image) {
    write("image", image);
    load("image");
    system_.loop().runUntilIdle();
    if (loaded_ && *loaded_) return (**loaded_)->mostFeaturefulSupportedConfiguration();
    ADD_FAILURE() << "not loaded";
    return {};
  }
  std::string error() const { return loaded_ && !*loaded_ ? loaded_->error().description : ""; }

  std::optional<Loaded> loaded_;
  int times_ = 0;
};

TEST_F(Restoration, LoadsAnImageInALaterLoopIteration) {
  useScenario(R"({"restoreImage":{"loadMs":70}})");
  write("image", R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1"})");
  load("image");
  system_.loop().advance(std::chrono::milliseconds(69));
  EXPECT_FALSE(loaded_);
  system_.loop().advance(std::chrono::milliseconds(1));
  ASSERT_TRUE(loaded_ && *loaded_);
  EXPECT_EQ((**loaded_)->path(), path("image"));
  system_.loop().runUntilIdle();
  EXPECT_EQ(times_, 1);
}

TEST_F(Restoration, OffersWhatTheImageRequires) {
  const auto requirements = requirementsOf(
      R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1","minimumCPUCount":3,
          "minimumMemorySize":5})");
  ASSERT_TRUE(requirements);
  EXPECT_EQ(requirements->hardwareModel->dataRepresentation(),
            "parlen-simulated-hardware-model:sim-1");
  EXPECT_EQ(requirements->minimumCPUCount, 3);
  EXPECT_EQ(requirements->minimumMemorySize, 5U);
}

TEST_F(Restoration, OffersNothingForAModelThatTheHostCannotRun) {
  useScenario(R"({"host":{"hardwareModels":["",  "a"]}})");
  EXPECT_FALSE(requirementsOf(R"({"simulatedRestoreImage":1})"));
  EXPECT_FALSE(requirementsOf(R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1"})"));
  EXPECT_FALSE(requirementsOf(R"({"simulatedRestoreImage":1,"hardwareModel":""})"));
  EXPECT_TRUE(requirementsOf(R"({"simulatedRestoreImage":1,"hardwareModel":"a"})"));
}

TEST_F(Restoration, DoesNotLoadOtherContent) {
  write("image", "PK");
  load("image");
  EXPECT_FALSE(loaded_);
  system_.loop().runUntilIdle();
  EXPECT_TRUE(error().starts_with("could not load the restore image " + path("image") +
                                  ": it is not one of the simulated host's (not JSON: "))
      << error();
}

TEST_F(Restoration, DoesNotLoadADirectoryOrWhatIsMissing) {
  ASSERT_TRUE(system_.files().createDirectories(path("directory")));
  for (const std::string name : {"directory", "missing"}) {
    loaded_.reset();
    load(name);
    system_.loop().runUntilIdle();
    EXPECT_NE(error().find(path(name)), std::string::npos) << error();
  }
}

TEST_F(Restoration, FailsToLoadAsTheScenarioSays) {
  useScenario(R"({"restoreImage":{"loadMs":5,"error":{"description":"torn"}}})");
  write("image", R"({"simulatedRestoreImage":1})");
  load("image");
  system_.loop().runUntilIdle();
  EXPECT_EQ(error(), "torn");
  EXPECT_EQ(milliseconds(), 5);
}

class Installer : public HostTest {
 protected:
  void given(const std::string& scenario, std::uint64_t diskLength = 1024) {
    useScenario(scenario);
    machine_ = host().machines().createMachine(emptyGuest(diskLength));
    installer_ = host().restoration().createInstaller(
        *machine_, simulated::RestoreImage(nullptr, path("image")));
  }
  void observe() {
    observation_ = installer_->observeProgress([this] {
      note(std::to_string(static_cast<int>(installer_->fractionCompleted() * 100)) + " %");
    });
  }
  void install() {
    installer_->install([this](const platform::Result<>& result) {
      note(result ? "installed" : "failed: " + result.error().description);
    });
  }
  void note(const std::string& what) {
    story_.push_back(std::to_string(milliseconds()) + " " + what);
  }

  std::unique_ptr<platform::VirtualMachine> machine_;
  std::unique_ptr<platform::Installer> installer_;
  std::unique_ptr<platform::ProgressObservation> observation_;
  Story story_;
};

const std::string guestMark = "parlen-simulated-guest";

TEST_F(Installer, ReportsItsProgressAndPutsAGuestOntoTheDisk) {
  given(R"({"install":{"stepMs":10}})");
  observe();
  EXPECT_EQ(story_, (Story{"0 0 %"}));
  install();
  system_.loop().runUntilIdle();
  EXPECT_EQ(story_, (Story{"0 0 %", "10 25 %", "20 50 %", "30 75 %", "40 100 %", "50 installed"}));
  EXPECT_EQ(read("Disk.img"), guestMark + std::string(1024 - guestMark.size(), '\0'));
}

TEST_F(Installer, LeavesWhatElseIsOnTheDisk) {
  given("{}");
  write("Disk.img", std::string(40, 'x'));
  install();
  system_.loop().runUntilIdle();
  EXPECT_EQ(read("Disk.img"), guestMark + std::string(40 - guestMark.size(), 'x'));
}

TEST_F(Installer, MakesADiskThatAMachineStartsFrom) {
  given("{}");
  install();
  system_.loop().runUntilIdle();
  const std::string installed = read("Disk.img");
  const auto guest = emptyGuest();
  write("Disk.img", installed);
  const auto machine = host().machines().createMachine(guest);
  machine->start([this](const platform::Result<>& result) { note(result ? "started" : "not"); });
  system_.loop().runUntilIdle();
  EXPECT_EQ(story_, (Story{"0 installed", "0 started"}));
}

TEST_F(Installer, ReportsTheScenariosFractions) {
  given(R"({"install":{"progress":[0.1,0.5,0.5,0.3,1]}})");
  observe();
  install();
  system_.loop().runUntilIdle();
  EXPECT_EQ(story_, (Story{"0 10 %", "0 50 %", "0 30 %", "0 100 %", "0 installed"}));
}

TEST_F(Installer, MayHaveNoLaterFraction) {
  given(R"({"install":{"progress":[0],"stepMs":7}})");
  observe();
  install();
  system_.loop().runUntilIdle();
  EXPECT_EQ(story_, (Story{"0 0 %", "7 installed"}));
}

TEST_F(Installer, TellsNothingFromInsideTheCall) {
  given("{}");
  install();
  EXPECT_EQ(story_, Story{});
  EXPECT_EQ(installer_->fractionCompleted(), 0);
}

TEST_F(Installer, FailsAsTheScenarioSaysAfterTheLastFraction) {
  given(R"({"install":{"progress":[0,1],"stepMs":5,"error":{"description":"disk on fire"}}})");
  observe();
  install();
  system_.loop().runUntilIdle();
  EXPECT_EQ(story_, (Story{"0 0 %", "5 100 %", "10 failed: disk on fire"}));
  EXPECT_EQ(read("Disk.img"), std::string(1024, '\0'));
}

TEST_F(Installer, FailsOnADiskThatIsTooShort) {
  for (const std::uint64_t length : {std::size_t{0}, guestMark.size() - 1}) {
    given("{}", length);
    story_.clear();
    observe();
    install();
    EXPECT_EQ(story_, (Story{"0 0 %"}));
    system_.loop().runUntilIdle();
    EXPECT_EQ(story_, (Story{"0 0 %", "0 failed: the disk " + path("Disk.img") +
                                          " is too short for a guest"}));
    EXPECT_EQ(read("Disk.img"), std::string(length, '\0'));
  }
}

TEST_F(Installer, TakesADiskThatIsJustLongEnough) {
  given("{}", guestMark.size());
  install();
  system_.loop().runUntilIdle();
  EXPECT_EQ(story_, (Story{"0 installed"}));
  EXPECT_EQ(read("Disk.img"), guestMark);
}

TEST_F(Installer, ReportsADiskThatIsGoneAtTheEnd) {
  given(R"({"install":{"stepMs":5}})");
  install();
  ASSERT_TRUE(system_.files().remove(path("Disk.img")));
  system_.loop().runUntilIdle();
  ASSERT_EQ(story_.size(), 1U);
  EXPECT_TRUE(story_[0].starts_with("25 failed: ")) << story_[0];
}

TEST_F(Installer, IsNotObservedAnyMoreOnceTheObservationIsDestroyed) {
  given(R"({"install":{"stepMs":10}})");
  observe();
  install();
  system_.loop().advance(std::chrono::milliseconds(25));
  observation_.reset();
  system_.loop().runUntilIdle();
  EXPECT_EQ(story_, (Story{"0 0 %", "10 25 %", "20 50 %", "50 installed"}));
}

TEST_F(Installer, TellsNothingOnceItIsDestroyed) {
  given(R"({"install":{"stepMs":10}})");
  observe();
  install();
  installer_.reset();
  system_.loop().runUntilIdle();
  EXPECT_EQ(story_, (Story{"0 0 %"}));
}

TEST_F(Installer, AbortsOnASecondInstallationOrAUsedMachine) {
  const std::string said =
      "parlen-mac-vm: the simulated host cannot go on: an installer needs a machine that nothing "
      "used\n";
  given("{}");
  install();
  EXPECT_THROW(install(), ProcessTrapped);
  EXPECT_EQ(system_.streams().error, said);
  given("{}");
  machine_->start([](auto) {});
  EXPECT_THROW(install(), ProcessTrapped);
  EXPECT_EQ(system_.streams().error, said + said);
}

TEST_F(Installer, KeepsItsMachineFromBeingStarted) {
  given("{}");
  install();
  EXPECT_THROW(machine_->start([](auto) {}), ProcessTrapped);
}

}  // namespace
}  // namespace parlen::test
