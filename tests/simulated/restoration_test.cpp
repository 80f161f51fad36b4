#include <optional>

#include "simulated/host_fixture.h"

namespace parlen::test {
namespace {

class Restoration : public SimulatedHostTest {
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

TEST_F(Restoration, LoadsAnImageInALaterTurn) {
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

}  // namespace
}  // namespace parlen::test
