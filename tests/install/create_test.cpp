#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bundle/settings.h"
#include "install/create.h"
#include "support/delegating_host.h"
#include "support/event_lines.h"
#include "support/posix_fixtures.h"
#include "support/tool.h"

namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;

/// A world in which the given scenario holds, and a `create` of the bundle "b" out of the image
/// "image".
class Creation {
 public:
  explicit Creation(std::string_view scenario = "{}") : tool(scenario) {
    tool.makeRestoreImage("image");
  }

  Outcome create(std::vector<std::string> more = {}) {
    std::vector<std::string> words = {"create", "--ipsw", tool.path("image"), "--bundle", bundle};
    words.insert(words.end(), more.begin(), more.end());
    return tool.run(words);
  }

  Tool tool;
  std::string bundle = tool.path("b");
};

std::set<std::string> namesIn(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.insert(entry.path().filename());
  }
  return names;
}

TEST(Create, ReportsItsProgressAndEndsWithTheBundle) {
  Creation given;
  EXPECT_EQ(given.create(), endedWith(0));
  EXPECT_EQ(
      given.tool.recording(),
      (Lines{ready, "restoreImage.load", "configuration.validate", "machine.create",
             progress("0.0000"), starting, "installer.install", progress("0.2500"),
             progress("0.5000"), progress("0.7500"), progress("1.0000"), created(given.bundle)}));
  EXPECT_EQ(given.tool.warnings(), "");
  EXPECT_EQ(installProgress, nullptr);
}

TEST(Create, InstallsOnTheMachineOfARunWithoutShares) {
  Creation given;
  EXPECT_EQ(given.create(), endedWith(0));
  const auto settings = loadSettings(VMBundle(given.bundle));
  ASSERT_TRUE(settings);
  const std::string machine = given.tool.trace()[2];
  EXPECT_TRUE(machine.starts_with(R"({"call":"machine.create")")) << machine;
  EXPECT_TRUE(machine.contains(R"("cpuCount":4,"memorySize":4294967296)")) << machine;
  EXPECT_TRUE(machine.contains(R"("macAddress":")" + settings->macAddress)) << machine;
  EXPECT_TRUE(machine.contains(R"("directorySharingDevices":[])")) << machine;
}

TEST(Create, LaysTheBundleOut) {
  Creation given;
  EXPECT_EQ(given.create({"--disk-gb", "80"}), endedWith(0));
  const VMBundle bundle(given.bundle);
  platform::Files& files = given.tool.system().files();
  EXPECT_EQ(files.length(bundle.disk()), std::uint64_t{80} << 30U);
  EXPECT_EQ(given.tool.read("b/HardwareModel"), "parlen-simulated-hardware-model:sim-1");
  EXPECT_TRUE(
      platform::host().identities().machineIdentifier(given.tool.read("b/MachineIdentifier")));
  EXPECT_EQ(given.tool.read("b/AuxiliaryStorage"), "parlen-simulated-auxiliary-storage:sim-1");
  EXPECT_TRUE(files.isDirectory(bundle.share()));
  EXPECT_FALSE(files.exists(bundle.guestConfig()));
  const auto settings = loadSettings(bundle);
  ASSERT_TRUE(settings);
  EXPECT_TRUE(platform::parseMacAddress(settings->macAddress));
  EXPECT_EQ(*settings, (VMSettings{settings->macAddress, 4, 4294967296, 80}));
}

TEST(Create, HasADiskOf80GibibytesUnlessANumberIsGiven) {
  for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
           {}, {"--disk-gb"}, {"--disk-gb", "abc"}, {"--disk-gb", ""}, {"--disk-gb", "1e3"}}) {
    Creation given;
    EXPECT_EQ(given.create(words), endedWith(0));
    EXPECT_EQ(given.tool.system().files().length(given.bundle + "/Disk.img"),
              std::uint64_t{80} << 30U);
  }
  Creation given;
  EXPECT_EQ(given.create({"--disk-gb", "+64"}), endedWith(0));
  EXPECT_EQ(given.tool.system().files().length(given.bundle + "/Disk.img"),
            std::uint64_t{64} << 30U);
}

TEST(Create, TakesTheImagesMinimumWhereItIsMore) {
  Creation given;
  given.tool.write("image", R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1",
                               "minimumCPUCount":7,"minimumMemorySize":8589934592})");
  EXPECT_EQ(given.create(), endedWith(0));
  const auto settings = loadSettings(VMBundle(given.bundle));
  ASSERT_TRUE(settings);
  EXPECT_EQ(settings->cpuCount, 7);
  EXPECT_EQ(settings->memoryBytes, 8589934592);
}

TEST(Create, DoesNotClampWhatTheImageNeedsToTheHostsMaximum) {
  Creation given;
  given.tool.write("image",
                   R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1","minimumCPUCount":9})");
  EXPECT_EQ(given.create(), endedWith(1));
  EXPECT_TRUE(given.tool.events().back().starts_with(
      R"({"type":"error","code":"create-failed","message":"invalid VM configuration: )"))
      << given.tool.events().back();
  EXPECT_EQ(loadSettings(VMBundle(given.bundle))->cpuCount, 9) << "the partial bundle stays";
}

TEST(Create, ReportsEachWholePercentOnce) {
  Creation given(R"({"install":{"progress":[0.004,0.009,0.0101,0.0199,0.02,0.01,0.999,1]}})");
  EXPECT_EQ(given.create(), endedWith(0));
  EXPECT_EQ(given.tool.events(), (Lines{ready, progress("0.0040"), starting, progress("0.0101"),
                                        progress("0.0200"), progress("0.0100"), progress("0.9990"),
                                        progress("1.0000"), created(given.bundle)}));
}

TEST(Create, NamesTheExistingBundleBeforeTheMissingImage) {
  Creation given;
  given.tool.makeDirectory("b");
  EXPECT_EQ(given.tool.run({"create", "--bundle", given.bundle + "/", "--ipsw", "/none"}),
            endedWith(1));
  EXPECT_EQ(given.tool.events(),
            (Lines{ready, error("bundle-exists",
                                given.bundle + "/ already exists — VMs are pets, not cattle")}));
}

TEST(Create, NamesTheMissingImageAsTyped) {
  Creation given;
  EXPECT_EQ(given.tool.run({"create", "--bundle", given.bundle, "--ipsw", "none/./image"}),
            endedWith(1));
  EXPECT_EQ(given.tool.events(),
            (Lines{ready, error("ipsw-missing", "no restore image at none/./image")}));
  EXPECT_FALSE(given.tool.system().files().exists(given.bundle));
}

TEST(Create, CannotReadWhatIsNoImage) {
  Creation given;
  given.tool.write("image", "garbage");
  EXPECT_EQ(given.create(), endedWith(1));
  ASSERT_EQ(given.tool.events().size(), 2U);
  EXPECT_TRUE(given.tool.events()[1].contains(R"("code":"ipsw-unreadable")"));
  EXPECT_FALSE(given.tool.system().files().exists(given.bundle)) << "nothing was written";
}

TEST(Create, CannotReadADirectory) {
  Creation given;
  given.tool.makeDirectory("directory");
  EXPECT_EQ(
      given.tool.run({"create", "--bundle", given.bundle, "--ipsw", given.tool.path("directory")}),
      endedWith(1));
  EXPECT_TRUE(given.tool.events()[1].contains(R"("code":"ipsw-unreadable")"));
}

TEST(Create, ReportsAFailedLoadInTheHostsWordsAlone) {
  Creation given(R"({"restoreImage":{"loadMs":500,"error":{"description":"torn"}}})");
  EXPECT_EQ(given.create(), endedWith(1));
  EXPECT_EQ(given.tool.events(), (Lines{ready, error("ipsw-unreadable", "torn")}));
}

TEST(Create, RefusesAnImageThatThisHostCannotRun) {
  for (const char* image : {R"({"simulatedRestoreImage":1})",
                            R"({"simulatedRestoreImage":1,"hardwareModel":"sim-2"})"}) {
    Creation given;
    given.tool.write("image", image);
    EXPECT_EQ(given.create(), endedWith(1));
    EXPECT_EQ(given.tool.events(),
              (Lines{ready, error("ipsw-unsupported", "this host cannot run any configuration in " +
                                                          given.tool.path("image"))}));
  }
}

TEST(Create, FailsWhereAFileStandsInTheBundlesPlace) {
  Creation given;
  given.tool.write("b", "precious");
  EXPECT_EQ(given.create(), endedWith(1));
  const auto again = given.tool.system().files().createDirectory(given.bundle);
  EXPECT_EQ(given.tool.events(), (Lines{ready, error("create-failed", again.error().description)}));
  EXPECT_EQ(given.tool.read("b"), "precious");
}

TEST(Create, FailsWhereADanglingLinkStandsInTheBundlesPlace) {
  Creation given;
  ASSERT_EQ(symlink("nowhere", given.bundle.c_str()), 0);
  EXPECT_EQ(given.create(), endedWith(1));
  const auto again = given.tool.system().files().createDirectory(given.bundle);
  EXPECT_EQ(given.tool.events(), (Lines{ready, error("create-failed", again.error().description)}));
  EXPECT_FALSE(given.tool.system().files().exists(given.tool.path("nowhere")));
}

TEST(Create, CreatesTheBundlesMissingParents) {
  Creation given;
  given.bundle = given.tool.path("deep/er/b");
  EXPECT_EQ(given.create(), endedWith(0));
  EXPECT_EQ(given.tool.events().back(), created(given.bundle));
}

// --- What appears after it has looked ---

TEST(Create, NeverTouchesADirectoryThatAppears) {
  Creation given(R"({"restoreImage":{"loadMs":500}})");
  given.tool.system().loop().postDelayed(std::chrono::milliseconds(100), [&] {
    given.tool.makeDirectory("b");
    given.tool.write("b/Disk.img", "precious");
  });
  EXPECT_EQ(given.tool.run(
                {"create", "--ipsw", given.tool.path("image"), "--bundle", given.bundle + "/"}),
            endedWith(1));
  EXPECT_EQ(given.tool.events(),
            (Lines{ready, error("bundle-exists",
                                given.bundle + "/ already exists — VMs are pets, not cattle")}));
  EXPECT_EQ(given.tool.read("b/Disk.img"), "precious");
  EXPECT_FALSE(given.tool.system().files().exists(given.bundle + "/share"));
}

TEST(Create, NeverTouchesAMemberThatAppears) {
  // Before each call that makes one of them, somebody else makes it. They are made in this order.
  std::set<std::string> made;
  for (const char* member :
       {"share", "Disk.img", "HardwareModel", "MachineIdentifier", "AuxiliaryStorage", "vm.json"}) {
    made.insert(member);
    Creation given;
    const std::string path = given.bundle + "/" + member;
    bool isThere = false;
    given.tool.system().files().before = [&](std::string_view, const std::string& changed) {
      if (changed == path && !std::exchange(isThere, true)) putFile(path, "precious");
    };
    EXPECT_EQ(given.create(), endedWith(1)) << member;
    EXPECT_TRUE(isThere);
    EXPECT_TRUE(given.tool.events().back().contains(R"("code":"create-failed")")) << member;
    EXPECT_TRUE(given.tool.events().back().contains(member)) << given.tool.events().back();
    EXPECT_EQ(fileContent(path), "precious");
    EXPECT_EQ(namesIn(given.bundle), made);
  }
}

TEST(Create, NeverUsesAShareThatAppears) {
  Creation given;
  const std::string share = given.bundle + "/share";
  given.tool.system().files().before = [&](std::string_view, const std::string& changed) {
    if (changed == share) std::filesystem::create_directory(share);
  };
  EXPECT_EQ(given.create(), endedWith(1));
  const auto again = given.tool.system().files().createDirectory(share);
  EXPECT_EQ(given.tool.events(), (Lines{ready, error("create-failed", again.error().description)}));
}

// --- A host that breaks the rule that it never calls back from inside a call ---

class HastyInstaller : public platform::Installer {
 public:
  explicit HastyInstaller(bool& returned) : returned_(returned) {}
  double fractionCompleted() const override { return 1; }
  std::unique_ptr<platform::ProgressObservation> observeProgress(
      std::function<void()> onChange) override {
    onChange();
    return std::make_unique<platform::ProgressObservation>();
  }
  void install(platform::Completion onDone) override {
    onDone({});
    returned_ = true;
  }

 private:
  bool& returned_;
};

class HastyHost : public DelegatingHost, private platform::Restoration {
 public:
  /// `image` is one of `host`.
  HastyHost(platform::Host& host, std::shared_ptr<const platform::RestoreImage> image)
      : DelegatingHost(host), image_(std::move(image)) {}
  platform::Restoration& restoration() override { return *this; }

  platform::Work onLoadReturned;
  bool installReturned = false;

 private:
  void loadRestoreImage(const std::string&, Loaded onLoaded) override {
    onLoaded(image_);
    onLoadReturned();
  }
  std::unique_ptr<platform::Installer> createInstaller(platform::VirtualMachine&,
                                                       const platform::RestoreImage&) override {
    return std::make_unique<HastyInstaller>(installReturned);
  }

  std::shared_ptr<const platform::RestoreImage> image_;
};

TEST(Create, GoesOnBehindTheHostsCallbacksInALaterLoopIteration) {
  Creation given;
  TestSystem& system = given.tool.system();
  std::shared_ptr<const platform::RestoreImage> image;
  platform::host().restoration().loadRestoreImage(
      given.tool.path("image"), [&](auto loaded) { image = std::move(loaded).value(); });
  system.loop().runUntilIdle();
  HastyHost host(platform::host(), image);
  host.onLoadReturned = [&] { EXPECT_FALSE(system.files().exists(given.bundle)); };
  platform::usePlatform(&system, &host);

  EXPECT_EQ(given.create(), endedWith(0));

  EXPECT_TRUE(host.installReturned);
  EXPECT_EQ(given.tool.events(),
            (Lines{ready, progress("1.0000"), starting, created(given.bundle)}));
}

// --- One writer ---

TEST(Create, KeepsEverybodyFromItsBundleUntilItEnds) {
  Creation given(R"({"install":{"stepMs":100}})");
  platform::Files& files = given.tool.system().realFiles();
  const auto isLocked = [&] {
    return files.lockDirectory(given.bundle, platform::LockKind::shared).value() == nullptr;
  };
  int looked = 0;
  given.tool.system().files().before = [&](std::string_view call, const std::string& path) {
    if (call != "create") return;
    ++looked;
    EXPECT_TRUE(isLocked()) << path;
  };
  given.tool.system().loop().postDelayed(std::chrono::milliseconds(350),
                                         [&] { EXPECT_TRUE(isLocked()) << "while installing"; });
  EXPECT_EQ(given.create(), endedWith(0));
  EXPECT_EQ(looked, 5);
  EXPECT_FALSE(isLocked());
}

TEST(Create, FailsIfAnotherProcessUsesItsBundle) {
  Creation given;
  std::unique_ptr<platform::DirectoryLock> other;
  given.tool.system().files().before = [&](std::string_view call, const std::string& path) {
    if (call != "lockDirectory") return;
    other = given.tool.system().realFiles().lockDirectory(path, platform::LockKind::shared).value();
  };
  EXPECT_EQ(given.create(), endedWith(1));
  EXPECT_EQ(given.tool.events(),
            (Lines{ready, error("create-failed", "the guest is in use by another process")}));
  EXPECT_FALSE(given.tool.system().files().exists(given.bundle + "/share"));
}

TEST(Create, FailsInTheInstallerForADiskWithoutRoom) {
  Creation given;
  EXPECT_EQ(given.create({"--disk-gb", "0"}), endedWith(1));
  EXPECT_TRUE(given.tool.events().back().contains(R"("code":"create-failed")"));
  EXPECT_EQ(given.tool.system().files().length(given.bundle + "/Disk.img"), 0U);
  EXPECT_TRUE(loadSettings(VMBundle(given.bundle)));
}

TEST(Create, TrapsForADiskBeyondSixtyFourBits) {
  for (const char* size : {"-1", "17179869184", "9223372036854775807", "-9223372036854775808"}) {
    Creation given;
    EXPECT_EQ(given.create({"--disk-gb", size}), trapped());
    EXPECT_EQ(given.tool.events(), Lines{ready});
    EXPECT_EQ(given.tool.system().files().length(given.bundle + "/Disk.img"), 0U);
    EXPECT_TRUE(given.tool.system().files().isDirectory(given.bundle + "/share"));
    EXPECT_FALSE(given.tool.system().files().exists(given.bundle + "/HardwareModel"));
  }
}

TEST(Create, TrapsForProgressBeyondSixtyFourBits) {
  // The last one is the first fraction of 2^63 percents.
  for (const char* progress : {"[1e308]", "[0,-1e308]", "[1e20]", "[92233720368547760]"}) {
    Creation given(R"({"install":{"progress":)" + std::string(progress) + "}}");
    EXPECT_EQ(given.create(), trapped()) << progress;
    EXPECT_FALSE(given.tool.events().back().contains("error"));
  }
}

TEST(Create, ReportsTheLeastProgressOfSixtyFourBits) {
  Creation given(R"({"install":{"progress":[-92233720368547760]}})");
  EXPECT_EQ(given.create(), endedWith(0));
  EXPECT_EQ(given.tool.events(),
            (Lines{ready, progress("-92233720368547760.0000"), starting, created(given.bundle)}));
}

TEST(Create, CountsItsProgressFromMinusOnePercent) {
  Creation given(R"({"install":{"progress":[-0.01,-0.02]}})");
  EXPECT_EQ(given.create(), endedWith(0));
  EXPECT_EQ(given.tool.events(),
            (Lines{ready, starting, progress("-0.0200"), created(given.bundle)}));
}

TEST(Create, DoesNotClampItsProgress) {
  Creation given(R"({"install":{"progress":[-0.5,1.5]}})");
  EXPECT_EQ(given.create(), endedWith(0));
  EXPECT_EQ(given.tool.events(), (Lines{ready, progress("-0.5000"), starting, progress("1.5000"),
                                        created(given.bundle)}));
}

TEST(Create, ReportsOnlyTheStartWithoutProgress) {
  Creation given(R"({"install":{"progress":[]}})");
  EXPECT_EQ(given.create(), endedWith(0));
  EXPECT_EQ(given.tool.events(),
            (Lines{ready, progress("0.0000"), starting, created(given.bundle)}));
}

TEST(Create, FailsForADiskThatTheFileSystemCannotHold) {
  Creation given;
  EXPECT_EQ(given.create({"--disk-gb", "17179869183"}), endedWith(1));
  EXPECT_TRUE(given.tool.events().back().contains(R"("code":"create-failed")"));
}

TEST(Create, EndsWithStatus0ShouldTheEventLoopReturn) {
  Creation given;
  given.tool.system().loop().outcome = platform::Result<>();
  EXPECT_EQ(given.create(), endedWith(0));
  EXPECT_EQ(given.tool.events(), Lines{ready});
}

TEST(Create, FailsIfTheEventLoopCannotWait) {
  Creation given;
  given.tool.system().loop().outcome = platform::error("", 1, "no more waiting");
  EXPECT_EQ(given.create(), endedWith(1));
  EXPECT_EQ(given.tool.events(), (Lines{ready, error("create-failed", "no more waiting")}));
}

TEST(Create, FailsWithTheInstallersErrorAndKeepsTheBundle) {
  Creation given(
      R"({"install":{"progress":[0,0.5],"stepMs":100,"error":{"description":"no power"}}})");
  EXPECT_EQ(given.create(), endedWith(1));
  EXPECT_EQ(given.tool.events(), (Lines{ready, progress("0.0000"), starting, progress("0.5000"),
                                        error("create-failed", "no power")}));
  EXPECT_EQ(installProgress, nullptr);
  EXPECT_EQ(given.create(), endedWith(1));
  EXPECT_TRUE(given.tool.events().back().contains("bundle-exists"));
}

TEST(Create, FailsWithThePrefixWhenTheConfigurationIsNotValid) {
  Creation given(R"({"configuration":{"validateError":{"description":"too odd"}}})");
  EXPECT_EQ(given.create(), endedWith(1));
  EXPECT_EQ(given.tool.events(),
            (Lines{ready, error("create-failed", "invalid VM configuration: too odd")}));
}

TEST(Create, FailsWithoutAPrefixIfNoConfigurationIsBuilt) {
  Creation given(R"({"configuration":{"attachError":{"description":"no disk"}}})");
  EXPECT_EQ(given.create(), endedWith(1));
  EXPECT_EQ(given.tool.events(), (Lines{ready, error("create-failed", "no disk")}));
}

TEST(Create, ResolvesARelativeBundlePathInTheEventOnly) {
  Creation given;
  const std::string here = given.tool.system().files().currentDirectory();
  std::string relative;
  for (char c : here) relative += c == '/' ? "../" : "";
  relative += given.bundle.substr(1);
  EXPECT_EQ(
      given.tool.run({"create", "--ipsw", given.tool.path("image"), "--bundle", relative + "/"}),
      endedWith(0));
  EXPECT_EQ(given.tool.events().back(), created(here + "/" + relative));
}

}  // namespace
}  // namespace parlen::test
