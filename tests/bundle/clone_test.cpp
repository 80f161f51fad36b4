#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "bundle/directory.h"
#include "bundle/settings.h"
#include "events/event_stream.h"
#include "support/event_lines.h"
#include "support/posix_fixtures.h"
#include "support/tool.h"

namespace parlen::test {
namespace {

using Lines = std::vector<std::string>;

class Clone : public testing::Test {
 protected:
  Outcome clone(const std::string& from, const std::string& to,
                std::vector<std::string> more = {}) {
    std::vector<std::string> words = {"clone", "--from", from, "--to", to};
    words.insert(words.end(), more.begin(), more.end());
    return tool_.run(words);
  }

  std::string cloned(const std::string& to, const std::string& address, const std::string& word) {
    return R"({"type":"cloned","from":)" + jsonEscape(tool_.path("a")) + R"(,"to":)" +
           jsonEscape(to) + R"(,"macAddress":")" + address + R"(","machineIdentifier":")" + word +
           R"("})";
  }

  VMSettings settingsOf(const std::string& path) {
    const auto settings = loadSettings(VMBundle(path));
    EXPECT_TRUE(settings);
    return settings.value_or(VMSettings{});
  }

  /// A clone to `to` ends with "clone-failed" and the host's own sentence for `attempt`, which
  /// fails again now.
  void expectFailure(const std::string& to, const std::vector<std::string>& more,
                     const std::function<platform::Result<>(platform::Files&)>& attempt) {
    EXPECT_EQ(clone(source_, to, more), endedWith(1));
    const auto again = attempt(files());
    ASSERT_FALSE(again);
    EXPECT_EQ(tool_.events(), Lines{error("clone-failed", again.error().description)});
  }

  platform::Files& files() { return tool_.system().files(); }
  bool exists(const std::string& name) { return files().exists(tool_.path(name)); }
  bool isLocked(const std::string& name, platform::LockKind kind) {
    return tool_.system().realFiles().lockDirectory(tool_.path(name), kind).value() == nullptr;
  }

  Tool tool_;
  std::string source_ = tool_.makeBundle("a");
};

TEST_F(Clone, KeepsTheIdentifierAndMakesANewAddress) {
  EXPECT_EQ(clone(source_ + "/", tool_.path("b/")), endedWith(0));
  const VMSettings copy = settingsOf(tool_.path("b"));
  EXPECT_NE(copy.macAddress, "0a:00:00:00:00:01");
  EXPECT_TRUE(platform::parseMacAddress(copy.macAddress));
  EXPECT_EQ(copy, (VMSettings{copy.macAddress, 4, 4294967296, 80}));
  EXPECT_EQ(tool_.events(), Lines{cloned(tool_.path("b"), copy.macAddress, "kept")});
  for (const char* member :
       {"/Disk.img", "/AuxiliaryStorage", "/HardwareModel", "/MachineIdentifier"}) {
    EXPECT_EQ(tool_.read("b" + std::string(member)), tool_.read("a" + std::string(member)));
  }
}

TEST_F(Clone, MakesANewIdentifierOnRequest) {
  EXPECT_EQ(clone(source_, tool_.path("b"), {"--regenerate-machine-id"}), endedWith(0));
  EXPECT_EQ(tool_.events(),
            Lines{cloned(tool_.path("b"), settingsOf(tool_.path("b")).macAddress, "regenerated")});
  const std::string identifier = tool_.read("b/MachineIdentifier");
  EXPECT_NE(identifier, tool_.read("a/MachineIdentifier"));
  EXPECT_TRUE(platform::host().identities().machineIdentifier(identifier));
}

TEST_F(Clone, WarnsOfWhatTheCopyShares) {
  for (const std::string name : {"Disk.img", "AuxiliaryStorage"}) {
    tool_.write("elsewhere-" + name, tool_.read("a/" + name));
    ASSERT_TRUE(files().remove(source_ + "/" + name));
    ASSERT_EQ(symlink(("../elsewhere-" + name).c_str(), (source_ + "/" + name).c_str()), 0);
  }
  tool_.makeDirectory("elsewhere");
  ASSERT_TRUE(files().remove(source_ + "/share"));
  ASSERT_EQ(symlink("../elsewhere", (source_ + "/share").c_str()), 0);

  EXPECT_EQ(clone(source_, tool_.path("b")), endedWith(0));

  const std::string shared = " is a link out of the bundle: the copy shares that ";
  EXPECT_EQ(tool_.warnings(), "parlen-mac-vm: " + tool_.path("b/Disk.img") + shared +
                                  "file with its source\n"
                                  "parlen-mac-vm: " +
                                  tool_.path("b/AuxiliaryStorage") + shared +
                                  "file with its source\n"
                                  "parlen-mac-vm: " +
                                  tool_.path("b/share") + shared +
                                  "directory with its source, and a parlen-vm.json stays in it\n");
}

TEST_F(Clone, DoesNotWarnOfLinksInsideTheBundle) {
  tool_.makeDirectory("a/parts/share");
  tool_.write("a/parts/disk", "parlen-simulated-guest");
  for (const std::string name : {"Disk.img", "share"}) {
    ASSERT_TRUE(files().remove(source_ + "/" + name));
  }
  ASSERT_EQ(symlink("parts/disk", (source_ + "/Disk.img").c_str()), 0);
  ASSERT_EQ(symlink("parts/share", (source_ + "/share").c_str()), 0);
  tool_.write("a/share/parlen-vm.json", "{}");

  EXPECT_EQ(clone(source_, tool_.path("b")), endedWith(0));

  EXPECT_EQ(tool_.warnings(), "");
  EXPECT_FALSE(exists("b/parts/share/parlen-vm.json"));
  EXPECT_TRUE(exists("a/parts/share/parlen-vm.json"));
}

TEST_F(Clone, ReplacesBytesInPathsThatAreNotUtf8) {
  if (!files().createDirectories(tool_.path("other\xe9"))) GTEST_SKIP() << "no such name here";
  EXPECT_EQ(clone(source_, tool_.path("caf\xe9")), endedWith(0));
  EXPECT_TRUE(tool_.events()[0].contains("\\/caf\uFFFD\"")) << tool_.events()[0];
}

TEST_F(Clone, LeavesTheSourceAsItWasWithoutANewIdentifierToo) {
  const std::string settings = tool_.read("a/vm.json");
  EXPECT_EQ(clone(source_, tool_.path("b")), endedWith(0));
  EXPECT_EQ(tool_.read("a/vm.json"), settings);
}

TEST_F(Clone, RecordsDefaultsForASourceWithoutASettingsFile) {
  ASSERT_TRUE(files().remove(source_ + "/vm.json"));
  EXPECT_EQ(clone(source_, tool_.path("b")), endedWith(0));
  const VMSettings copy = settingsOf(tool_.path("b"));
  EXPECT_EQ(copy, (VMSettings{copy.macAddress, 4, 4294967296, 0}));
}

TEST_F(Clone, LeavesTheSourceAsItWas) {
  tool_.write("a/share/parlen-vm.json", "{}");
  const std::string settings = tool_.read("a/vm.json");
  const std::string identifier = tool_.read("a/MachineIdentifier");
  EXPECT_EQ(clone(source_, tool_.path("b"), {"--regenerate-machine-id"}), endedWith(0));
  EXPECT_EQ(tool_.read("a/vm.json"), settings);
  EXPECT_EQ(tool_.read("a/MachineIdentifier"), identifier);
  EXPECT_EQ(tool_.read("a/share/parlen-vm.json"), "{}");
}

TEST_F(Clone, RemovesOnlyTheGuestsConfigurationFromTheShare) {
  tool_.write("a/share/parlen-vm.json", "{}");
  tool_.write("a/share/kept", "k");
  tool_.write("a/anything", "else");
  EXPECT_EQ(clone(source_, tool_.path("b")), endedWith(0));
  EXPECT_FALSE(exists("b/share/parlen-vm.json"));
  EXPECT_EQ(tool_.read("b/share/kept"), "k");
  EXPECT_EQ(tool_.read("b/anything"), "else");
}

TEST_F(Clone, RemovesAGuestsConfigurationThatIsADirectory) {
  tool_.makeDirectory("a/share/parlen-vm.json/deep");
  tool_.write("a/share/parlen-vm.json/deep/file", "x");
  EXPECT_EQ(clone(source_, tool_.path("b")), endedWith(0));
  EXPECT_FALSE(exists("b/share/parlen-vm.json"));
  EXPECT_TRUE(exists("b/share"));
  EXPECT_TRUE(exists("a/share/parlen-vm.json/deep/file"));
}

TEST_F(Clone, CreatesTheShareWhereTheSourceHasNone) {
  ASSERT_EQ(rmdir((source_ + "/share").c_str()), 0);
  EXPECT_EQ(clone(source_, tool_.path("b")), endedWith(0));
  EXPECT_TRUE(tool_.system().files().isDirectory(tool_.path("b/share")));
}

TEST_F(Clone, CreatesTheDestinationsMissingParents) {
  EXPECT_EQ(clone(source_, tool_.path("deep/er/b")), endedWith(0));
  EXPECT_TRUE(files().exists(tool_.path("deep/er/b/vm.json")));
}

TEST_F(Clone, RecordsDefaultsForASourceWithBrokenSettings) {
  tool_.write("a/vm.json", "broken");
  EXPECT_EQ(clone(source_, tool_.path("b")), endedWith(0));
  const VMSettings copy = settingsOf(tool_.path("b"));
  EXPECT_EQ(copy, (VMSettings{copy.macAddress, 4, 4294967296, 0}));
  EXPECT_EQ(tool_.read("a/vm.json"), "broken");
}

TEST_F(Clone, GivesTwoClonesTwoAddresses) {
  EXPECT_EQ(clone(source_, tool_.path("b")), endedWith(0));
  EXPECT_EQ(clone(source_, tool_.path("c")), endedWith(0));
  EXPECT_NE(settingsOf(tool_.path("b")).macAddress, settingsOf(tool_.path("c")).macAddress);
}

TEST_F(Clone, NeedsASource) {
  tool_.write("file", "");
  for (const std::string& from : {tool_.path("none/"), tool_.path("file")}) {
    EXPECT_EQ(clone(from, source_), endedWith(1)) << "the source is checked before the destination";
    EXPECT_EQ(tool_.events().back(), error("bundle-missing", "no VM bundle at " + from));
  }
}

TEST_F(Clone, NeverTouchesADirectoryThatIsThere) {
  tool_.makeDirectory("b");
  EXPECT_EQ(clone(source_, tool_.path("b/")), endedWith(1));
  EXPECT_EQ(tool_.events(),
            Lines{error("bundle-exists",
                        tool_.path("b/") + " already exists — VMs are pets, not cattle")});
  EXPECT_FALSE(files().exists(tool_.path("b/vm.json")));
  EXPECT_EQ(clone(source_, source_), endedWith(1));
}

TEST_F(Clone, NeverReplacesAFileThatIsThere) {
  tool_.write("b", "precious");
  expectFailure(tool_.path("b"), {},
                [&](auto& files) { return files.createDirectory(tool_.path("b")); });
  EXPECT_EQ(tool_.read("b"), "precious");
}

TEST_F(Clone, NeverCopiesThroughALinkThatIsThere) {
  ASSERT_EQ(symlink("nowhere", tool_.path("b").c_str()), 0);
  expectFailure(tool_.path("b"), {},
                [&](auto& files) { return files.createDirectory(tool_.path("b")); });
  EXPECT_FALSE(exists("nowhere"));
}

TEST_F(Clone, FailsInsideItsOwnSource) {
  ASSERT_EQ(symlink("a", tool_.path("link").c_str()), 0);
  for (const std::string& inside : {source_ + "/b", source_ + "/deep/er/b", tool_.path("link/b")}) {
    EXPECT_EQ(clone(source_, inside), endedWith(1));
    EXPECT_EQ(tool_.events().back(),
              error("clone-failed", "could not copy " + source_ + " to " + inside +
                                        ": the destination lies inside of the source"));
  }
  EXPECT_FALSE(exists("a/b"));
  EXPECT_FALSE(exists("a/deep")) << "the source is not touched";
}

TEST_F(Clone, WorksBesideASourceWhoseNameBeginsTheSame) {
  tool_.makeDirectory("ab");
  EXPECT_EQ(clone(source_, tool_.path("ab/c")), endedWith(0));
  EXPECT_EQ(tool_.read("ab/c/Disk.img"), tool_.read("a/Disk.img"));
  EXPECT_EQ(clone(source_, tool_.path("a-b")), endedWith(0));
}

TEST_F(Clone, FailsWhereTheParentCannotBeCreated) {
  tool_.write("file", "precious");
  expectFailure(tool_.path("file/b"), {},
                [&](auto& files) { return files.createDirectories(tool_.path("file")); });
  EXPECT_EQ(tool_.read("file"), "precious");
}

TEST_F(Clone, FailsWhereTheSettingsCannotBeWritten) {
  ASSERT_TRUE(files().remove(source_ + "/vm.json"));
  tool_.makeDirectory("a/vm.json/kept");
  tool_.write("a/share/parlen-vm.json", "{}");
  expectFailure(tool_.path("b"), {"--regenerate-machine-id"},
                [&](auto& files) { return files.replace(tool_.path("b/vm.json"), ""); });
  EXPECT_TRUE(exists("b/vm.json/kept"));
  for (const std::string name : {"Disk.img", "AuxiliaryStorage", "HardwareModel",
                                 "MachineIdentifier", "share/parlen-vm.json"}) {
    EXPECT_EQ(tool_.read("b/" + name), tool_.read("a/" + name));
  }
}

TEST_F(Clone, FailsWhereTheIdentifierCannotBeWritten) {
  ASSERT_TRUE(files().remove(source_ + "/MachineIdentifier"));
  tool_.makeDirectory("a/MachineIdentifier");
  tool_.write("a/share/parlen-vm.json", "{}");
  expectFailure(tool_.path("b"), {"--regenerate-machine-id"},
                [&](auto& files) { return files.replace(tool_.path("b/MachineIdentifier"), ""); });
  EXPECT_NE(settingsOf(tool_.path("b")).macAddress, settingsOf(source_).macAddress);
  EXPECT_TRUE(exists("b/share/parlen-vm.json"));
}

TEST_F(Clone, FailsWhereTheShareCannotBeCreated) {
  ASSERT_TRUE(files().remove(source_ + "/share"));
  tool_.write("a/share", "a file");
  const std::string identifier = tool_.read("a/MachineIdentifier");
  expectFailure(tool_.path("b"), {"--regenerate-machine-id"},
                [&](auto& files) { return files.createDirectories(tool_.path("b/share")); });
  EXPECT_EQ(tool_.read("b/share"), "a file");
  EXPECT_NE(settingsOf(tool_.path("b")).macAddress, settingsOf(source_).macAddress);
  EXPECT_NE(tool_.read("b/MachineIdentifier"), identifier);
}

TEST_F(Clone, FailsWhereTheCopyFails) {
  tool_.system().files().before = [&](std::string_view call, const std::string& path) {
    if (call == "copyDirectory") putFile(path + "/Disk.img", "in the way");
    EXPECT_NE(call, "replace") << path << " after the copy has failed";
  };
  EXPECT_EQ(clone(source_, tool_.path("b")), endedWith(1));
  ASSERT_EQ(tool_.events().size(), 1U);
  EXPECT_TRUE(tool_.events()[0].starts_with(R"({"type":"error","code":"clone-failed")"));
  EXPECT_TRUE(tool_.events()[0].contains(R"(Disk.img)")) << tool_.events()[0];
  EXPECT_EQ(tool_.read("b/Disk.img"), "in the way");
  EXPECT_FALSE(exists("b/HardwareModel")) << "no run may take it for a guest";
  EXPECT_FALSE(exists("b/MachineIdentifier"));
}

TEST_F(Clone, CopiesLastWhatMakesAGuest) {
  EXPECT_EQ(clone(source_, tool_.path("b")), endedWith(0));
  EXPECT_EQ(tool_.system().files().copiedLast, (Lines{"MachineIdentifier", "HardwareModel"}));
}

TEST_F(Clone, NeverTouchesADirectoryThatAppears) {
  tool_.system().files().before = [&](std::string_view call, const std::string& path) {
    if (call == "createDirectory") std::filesystem::create_directory(path);
  };
  EXPECT_EQ(clone(source_, tool_.path("b/")), endedWith(1));
  EXPECT_EQ(tool_.events(),
            Lines{error("bundle-exists",
                        tool_.path("b/") + " already exists — VMs are pets, not cattle")});
  EXPECT_EQ(rmdir(tool_.path("b").c_str()), 0) << "something was put into it";
}

// --- One writer or many readers ---

TEST_F(Clone, FailsWhileAnotherProcessWritesTheSource) {
  const auto writer = files().lockDirectory(source_, platform::LockKind::exclusive).value();
  EXPECT_EQ(clone(source_, tool_.path("new/b")), endedWith(1));
  EXPECT_EQ(tool_.events(), Lines{error("clone-failed", "the guest is in use by another process")});
  EXPECT_FALSE(exists("new"));
}

TEST_F(Clone, MayReadTheSourceWithOthers) {
  const auto reader = files().lockDirectory(source_, platform::LockKind::shared).value();
  EXPECT_EQ(clone(source_, tool_.path("b")), endedWith(0));
}

TEST_F(Clone, KeepsWritersFromItsSourceAndAllFromItsCopy) {
  int looked = 0;
  tool_.system().files().before = [&](std::string_view call, const std::string&) {
    if (call != "copyDirectory" && call != "replace" && call != "remove") return;
    ++looked;
    EXPECT_TRUE(isLocked("a", platform::LockKind::exclusive)) << call;
    EXPECT_FALSE(isLocked("a", platform::LockKind::shared)) << call;
    EXPECT_TRUE(isLocked("b", platform::LockKind::shared)) << call;
  };
  EXPECT_EQ(clone(source_, tool_.path("b"), {"--regenerate-machine-id"}), endedWith(0));
  EXPECT_EQ(looked, 4);
  EXPECT_FALSE(isLocked("a", platform::LockKind::exclusive));
  EXPECT_FALSE(isLocked("b", platform::LockKind::exclusive));
}

TEST_F(Clone, FailsIfAnotherProcessUsesItsUnfinishedCopy) {
  platform::Files& real = tool_.system().realFiles();
  std::unique_ptr<platform::DirectoryLock> other;
  tool_.system().files().before = [&](std::string_view call, const std::string& path) {
    if (call != "lockDirectory" || path != tool_.path("b")) return;
    other = real.lockDirectory(path, platform::LockKind::exclusive).value();
  };
  EXPECT_EQ(clone(source_, tool_.path("b")), endedWith(1));
  EXPECT_EQ(tool_.events(), Lines{error("clone-failed", "the guest is in use by another process")});
}

TEST_F(Clone, MakesTheCopyWritableWithTheSystemsProgram) {
  ASSERT_EQ(chmod((source_ + "/vm.json").c_str(), 0444), 0);
  ASSERT_EQ(chmod((source_ + "/MachineIdentifier").c_str(), 0444), 0);
  EXPECT_EQ(clone(source_, tool_.path("b"), {"--regenerate-machine-id"}), endedWith(0));
  const auto& programs = tool_.system().process().programsRun;
  ASSERT_EQ(programs.size(), 1U);
  EXPECT_EQ(programs[0].first, "/bin/chmod");
  EXPECT_EQ(programs[0].second, (Lines{"-R", "u+w", tool_.path("b")}));
  struct stat attributes{};
  ASSERT_EQ(stat(tool_.path("b/vm.json").c_str(), &attributes), 0);
  EXPECT_NE(attributes.st_mode & S_IWUSR, 0U);
}

TEST_F(Clone, MakesTheCopyWritableBeforeItWritesToIt) {
  tool_.write("a/share/parlen-vm.json", "{}");
  tool_.system().process().beforeProgram = [&] {
    for (const std::string name :
         {"HardwareModel", "MachineIdentifier", "vm.json", "share/parlen-vm.json"}) {
      EXPECT_EQ(tool_.read("b/" + name), tool_.read("a/" + name)) << "copied, and not yet changed";
    }
  };
  EXPECT_EQ(clone(source_, tool_.path("b"), {"--regenerate-machine-id"}), endedWith(0));
  EXPECT_NE(tool_.read("b/vm.json"), tool_.read("a/vm.json"));
}

TEST_F(Clone, GoesOnWhenThatProgramCannotBeStarted) {
  tool_.system().process().programsCannotStart = true;
  EXPECT_EQ(clone(source_, tool_.path("b")), endedWith(0));
}

TEST_F(Clone, CopiesTheDirectoryBehindALinkedSource) {
  ASSERT_EQ(symlink("a", tool_.path("link").c_str()), 0);
  const std::string settings = tool_.read("a/vm.json");
  EXPECT_EQ(clone(tool_.path("link"), tool_.path("b")), endedWith(0));
  EXPECT_FALSE(tool_.system().files().isSymbolicLink(tool_.path("b")));
  EXPECT_EQ(tool_.read("a/vm.json"), settings);
}

TEST_F(Clone, NeverWritesThroughALinkOutOfTheCopy) {
  // What the source keeps elsewhere is still the source's.
  tool_.makeDirectory("elsewhere");
  for (const std::string name : {"vm.json", "MachineIdentifier"}) {
    tool_.write("elsewhere/" + name, tool_.read("a/" + name));
    ASSERT_TRUE(files().remove(source_ + "/" + name));
    ASSERT_EQ(symlink(tool_.path("elsewhere/" + name).c_str(), (source_ + "/" + name).c_str()), 0);
  }
  ASSERT_EQ(rmdir((source_ + "/share").c_str()), 0);
  ASSERT_EQ(symlink(tool_.path("elsewhere").c_str(), (source_ + "/share").c_str()), 0);
  tool_.write("elsewhere/parlen-vm.json", "{}");
  const std::string settings = tool_.read("a/vm.json");
  const std::string identifier = tool_.read("a/MachineIdentifier");

  EXPECT_EQ(clone(source_, tool_.path("b"), {"--regenerate-machine-id"}), endedWith(0));

  EXPECT_EQ(tool_.read("elsewhere/vm.json"), settings);
  EXPECT_EQ(tool_.read("elsewhere/MachineIdentifier"), identifier);
  EXPECT_EQ(tool_.read("elsewhere/parlen-vm.json"), "{}");
  EXPECT_EQ(settingsOf(tool_.path("b")).cpuCount, 4) << "they were read before they were replaced";
  EXPECT_NE(tool_.read("b/vm.json"), settings);
  EXPECT_NE(tool_.read("b/MachineIdentifier"), identifier);
}

TEST_F(Clone, ReplacesALinkThatStaysInTheCopy) {
  for (const std::string name : {"vm.json", "MachineIdentifier"}) {
    ASSERT_TRUE(files().remove(source_ + "/" + name));
    ASSERT_EQ(symlink("Disk.img", (source_ + "/" + name).c_str()), 0);
  }
  EXPECT_EQ(clone(source_, tool_.path("b"), {"--regenerate-machine-id"}), endedWith(0));
  EXPECT_EQ(tool_.read("b/Disk.img"), tool_.read("a/Disk.img"));
  for (const char* name : {"b/vm.json", "b/MachineIdentifier"}) {
    EXPECT_FALSE(files().isSymbolicLink(tool_.path(name))) << name;
  }
  EXPECT_TRUE(loadSettings(VMBundle(tool_.path("b"))));
}

TEST_F(Clone, ReadsSettingsThroughALinkBeforeItReplacesIt) {
  tool_.makeDirectory("a/conf");
  tool_.write("a/conf/vm.json", tool_.read("a/vm.json"));
  ASSERT_TRUE(files().remove(source_ + "/vm.json"));
  ASSERT_EQ(symlink("conf/vm.json", (source_ + "/vm.json").c_str()), 0);
  EXPECT_EQ(clone(source_, tool_.path("b")), endedWith(0));
  EXPECT_EQ(settingsOf(tool_.path("b")).diskGb, 80);
  EXPECT_EQ(tool_.read("b/conf/vm.json"), tool_.read("a/conf/vm.json"));
}

TEST_F(Clone, ReplacesOneOfTwoHardLinks) {
  ASSERT_TRUE(files().remove(source_ + "/vm.json"));
  ASSERT_EQ(link((source_ + "/Disk.img").c_str(), (source_ + "/vm.json").c_str()), 0);
  EXPECT_EQ(clone(source_, tool_.path("b")), endedWith(0));
  EXPECT_EQ(tool_.read("b/Disk.img"), tool_.read("a/Disk.img"));
}

TEST_F(Clone, DoesNotHangOnAFifoInTheSource) {
  ASSERT_TRUE(files().remove(source_ + "/vm.json"));
  ASSERT_EQ(mkfifo((source_ + "/vm.json").c_str(), 0600), 0);
  ASSERT_EQ(mkfifo((source_ + "/pipe").c_str(), 0600), 0);
  // copyfile(3) of macOS copies no FIFO.
  if (clone(source_, tool_.path("b")) == endedWith(1)) {
    EXPECT_TRUE(tool_.events().back().contains("clone-failed"));
    return;
  }
  EXPECT_EQ(settingsOf(tool_.path("b")).diskGb, 0) << "settings cannot be read from a FIFO";
  EXPECT_TRUE(exists("b/pipe"));
}

TEST_F(Clone, LeavesAPartialCopyThatASecondCloneRefuses) {
  ASSERT_TRUE(files().remove(source_ + "/share"));
  tool_.write("a/share", "a file");
  EXPECT_EQ(clone(source_, tool_.path("b")), endedWith(1));
  EXPECT_EQ(clone(source_, tool_.path("b")), endedWith(1));
  EXPECT_TRUE(tool_.events().back().contains("bundle-exists"));
}

}  // namespace
}  // namespace parlen::test
