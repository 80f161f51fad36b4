#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include "program.h"
#include "support/sanitizers.h"
#include "world.h"

/// Limits that the program was started with.
namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;
using testing::ElementsAre;

void limit(__rlimit_resource_t resource, rlim_t value) {
  const rlimit both{value, value};
  setrlimit(resource, &both);
}

constexpr rlim_t mebibyte = 1U << 20U;

TEST(TheLengthOfFiles, MakesACreationFail) {
  const World world;
  world.write("image", R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1"})");
  Program program({"create", "--ipsw", world.path("image"), "--bundle", world.path("vm")}, {},
                  [] { limit(RLIMIT_FSIZE, mebibyte); });
  EXPECT_THAT(program.remainingEvents(),
              ElementsAre(ready, error("create-failed", "could not set the length of " +
                                                            world.path("vm/Disk.img") +
                                                            ": File too large")));
  EXPECT_EQ(program.wait(), exitedWith(1));
}

TEST(TheLengthOfFiles, MakesACloneFailThatIsNoGuest) {
  const World world;
  const std::string bundle = world.makeBundle();
  Program program({"clone", "--from", bundle, "--to", world.path("copy")}, {},
                  [] { limit(RLIMIT_FSIZE, mebibyte); });
  EXPECT_EQ(program.remainingEvents(),
            Lines{error("clone-failed", "could not copy " + bundle + "/Disk.img to " +
                                            world.path("copy/Disk.img") + ": File too large")});
  EXPECT_EQ(program.wait(), exitedWith(1));
  EXPECT_FALSE(std::filesystem::exists(world.path("copy/HardwareModel")));
}

TEST(TheLengthOfFiles, EndsARunByItsSignal) {
  const World world;
  const std::string output = world.path("events");
  Program program({"run", "--bundle", world.makeBundle()}, {}, [&output] {
    dup2(open(output.c_str(), O_WRONLY | O_CREAT, S_IRUSR), STDOUT_FILENO);
    limit(RLIMIT_FSIZE, ready.size() + 1);
  });
  program.closeInput();
  EXPECT_EQ(program.wait(), killedBy(SIGXFSZ));
  EXPECT_EQ(world.read("events"), ready + "\n");
}

/// What a subcommand does with few descriptors, on the host that the parameter names.
class TheNumberOfDescriptors : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (needsDescriptors) GTEST_SKIP() << "a sanitizer needs descriptors";
    if (finish({"status", "--bundle", "/"}, host_).events.at(0).contains(R"("supported":false)")) {
      GTEST_SKIP() << "this machine runs no guests";
    }
    world_.write("image", GetParam() == "qemu" ? bootSector() : simulatedImage);
    const Finished created = finish(create("vm"), host_);
    ASSERT_EQ(created.exit, exitedWith(0)) << testing::PrintToString(created.events);
  }

  Lines create(const std::string& name) const {
    return {"create", "--ipsw", path("image"), "--bundle", path(name), "--disk-gb", "1"};
  }
  std::string path(const std::string& name) const { return world_.path(name); }

  Finished finishWith(rlim_t descriptors, const Lines& words) const {
    Program program(words, host_, [descriptors] {
      close_range(STDERR_FILENO + 1, ~0U, 0);  // what started the tests may have left some open
      limit(RLIMIT_NOFILE, descriptors);
    });
    program.closeInput();
    return {program.remainingEvents(), program.warnings(), program.wait()};
  }

 private:
  static constexpr std::string_view simulatedImage =
      R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1"})";

  static std::string bootSector() {
    constexpr std::size_t length = 1UL << 20U;
    constexpr std::size_t signatureOffset = 510;
    std::string image(length, '\0');
    return image.replace(signatureOffset, 2, "\x55\xaa");
  }

  Environment host_{{"PARLEN_HOST", GetParam()}};
  World world_;
};

/// Whether the last line tells of a success, for status 0, or one before it of an error, for 1.
bool tellsItsEnd(const Finished& finished, std::string_view success) {
  const auto isError = [](const std::string& line) {
    return line.starts_with(R"({"type":"error")");
  };
  const bool failed = std::ranges::any_of(finished.events, isError);
  if (failed) return finished.exit == exitedWith(1);
  return finished.exit == exitedWith(0) && finished.events.back().starts_with(success);
}

TEST_P(TheNumberOfDescriptors, MakesWhatNeedsMoreFailWithAnError) {
  const std::vector<std::pair<Lines, std::string_view>> subcommands = {
      {{"status", "--bundle", path("vm")}, R"({"auxiliaryStorage":true)"},
      {create("new"), R"({"type":"created")"},
      {{"clone", "--from", path("vm"), "--to", path("copy")}, R"({"type":"cloned")"},
      {{"run", "--bundle", path("vm")}, R"({"type":"state","state":"stopped","crashed":false)"}};
  for (rlim_t descriptors = 4; descriptors <= 12; ++descriptors) {
    for (const auto& [words, success] : subcommands) {
      const Finished finished = finishWith(descriptors, words);
      EXPECT_TRUE(tellsItsEnd(finished, success))
          << words[0] << " with " << descriptors << ": " << testing::PrintToString(finished.events);
      std::filesystem::remove_all(path("new"));
      std::filesystem::remove_all(path("copy"));
    }
  }
}

// Not even the program's libraries can be loaded then, if it has any; ld.so(8) exits with 127.
TEST_P(TheNumberOfDescriptors, IsNeverSoSmallThatTheProgramAborts) {
  for (const Lines& words : {Lines{"status", "--bundle", path("vm")}, create("new"),
                             Lines{"clone", "--from", path("vm"), "--to", path("copy")},
                             Lines{"run", "--bundle", path("vm")}}) {
    const Finished finished = finishWith(3, words);
    EXPECT_TRUE(finished.exit.status.has_value()) << words[0];
  }
}

INSTANTIATE_TEST_SUITE_P(Hosts, TheNumberOfDescriptors, testing::Values("simulated", "qemu"),
                         [](const auto& host) { return host.param; });

}  // namespace
}  // namespace parlen::test
