#include "platform/qemu/firmware.h"

#include <gmock/gmock.h>

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/qemu/guest_platform.h"
#include "support/temporary_directory.h"
#include "support/test_system.h"

namespace parlen::qemu {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Board& pc() { return *boardFor("x86_64"); }

/// A descriptor that fits, with some of its texts replaced.
std::string descriptor(const std::map<std::string, std::string>& replacements = {}) {
  std::string text = R"({
    "description": "UEFI firmware",
    "interface-types": ["uefi"],
    "mapping": {
      "device": "flash",
      "executable": {"filename": "/code", "format": "raw"},
      "nvram-template": {"filename": "/variables", "format": "raw"}
    },
    "targets": [{"architecture": "x86_64", "machines": ["pc-i440fx-*", "pc-q35-*"]}],
    "features": ["acpi-s3", "amd-sev", "verbose-dynamic"],
    "tags": []
  })";
  for (const auto& [from, to] : replacements) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    text.replace(at, from.size(), to);
  }
  return text;
}

TEST(FirmwareDescriptor, NamesTheTwoImages) {
  const auto firmware = readDescriptor(descriptor(), pc());

  ASSERT_TRUE(firmware);
  EXPECT_EQ(*firmware, (Firmware{.code = "/code", .variables = "/variables"}));
}

TEST(FirmwareDescriptor, FitsWithAnotherOrderOfInterfacesAndTargets) {
  EXPECT_TRUE(readDescriptor(
      descriptor({{R"(["uefi"])", R"(["bios", "uefi"])"},
                  {R"("targets": [)", R"("targets": [{"architecture": "i386", "machines": []}, )"},
                  {R"("device": "flash")", R"("device": "flash", "mode": "split")"}}),
      pc()));
}

TEST(FirmwareDescriptor, ThatDoesNotFitIsLeftOut) {
  const std::vector<std::pair<std::string, std::string>> changes{
      {R"(["uefi"])", R"(["bios"])"},
      {R"("device": "flash")", R"("device": "memory")"},
      {R"("device": "flash")", R"("device": "flash", "mode": "stateless")"},
      {R"("/code", "format": "raw")", R"("/code", "format": "qcow2")"},
      {R"("/variables", "format": "raw")", R"("/variables", "format": "qcow2")"},
      {R"("/code")", R"("code")"},
      {R"("/code")", R"("")"},
      {R"("/code")", R"("/co\u000ade")"},
      {R"("/variables")", R"("./variables")"},
      {R"("architecture": "x86_64")", R"("architecture": "i386")"},
      {R"("pc-q35-*")", R"("pc-q35-2.12")"},
      {R"("acpi-s3")", R"("secure-boot")"},
      {R"("acpi-s3")", R"("enrolled-keys")"},
      {R"("acpi-s3")", R"("requires-smm")"},
  };
  for (const auto& [from, to] : changes) {
    EXPECT_FALSE(readDescriptor(descriptor({{from, to}}), pc())) << to;
  }
}

TEST(FirmwareDescriptor, WithMembersOfOtherKindsIsLeftOut) {
  const std::vector<std::pair<std::string, std::string>> changes{
      {R"(["uefi"])", R"("uefi")"},
      {R"(["uefi"])", R"([["uefi"]])"},
      {R"("/code")", "1"},
      {R"({"filename": "/variables", "format": "raw"})", "[]"},
      {R"({"architecture": "x86_64", "machines": ["pc-i440fx-*", "pc-q35-*"]})", "{}"},
      {R"("pc-q35-*")", "35"},
      {R"("targets")", R"("target")"},
      {R"("mapping")", R"("map")"},
  };
  for (const auto& [from, to] : changes) {
    EXPECT_FALSE(readDescriptor(descriptor({{from, to}}), pc())) << to;
  }
  for (const char* bytes : {"", "null", "[]", "{}", "{", "uefi"}) {
    EXPECT_FALSE(readDescriptor(bytes, pc())) << bytes;
  }
}

TEST(FirmwareDescriptor, IsReadToItsEndOrNotAtAll) {
  const std::string whole = descriptor();
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_FALSE(readDescriptor(whole.substr(0, length), pc())) << length;
  }
}

TEST(DescriptorFolders, GoFromGeneralToSpecific) {
  EXPECT_THAT(
      descriptorFolders("/config", "/home/ada"),
      ElementsAre("/usr/share/qemu/firmware", "/etc/qemu/firmware", "/config/qemu/firmware"));
  EXPECT_THAT(descriptorFolders("", "/home/ada"),
              ElementsAre("/usr/share/qemu/firmware", "/etc/qemu/firmware",
                          "/home/ada/.config/qemu/firmware"));
  EXPECT_THAT(descriptorFolders("relative", ""),
              ElementsAre("/usr/share/qemu/firmware", "/etc/qemu/firmware"));
}

class FirmwareFolders : public testing::Test {
 protected:
  FirmwareFolders() {
    for (const std::string& folder : folders()) EXPECT_TRUE(files().createDirectories(folder));
  }

  /// Writes a descriptor of firmware whose code is the file `code`.
  void describe(const std::string& file, const std::string& code) {
    for (const char* suffix : {"", ".variables"}) {
      EXPECT_TRUE(files().replace(directory_ / (code + suffix), ""));
    }
    write(file, descriptor({{"/code", directory_ / code},
                            {"/variables", directory_ / (code + ".variables")}}));
  }
  void write(const std::string& file, const std::string& bytes) {
    EXPECT_TRUE(files().replace(directory_ / file, bytes));
  }
  void remove(const std::string& file) { EXPECT_TRUE(files().remove(directory_ / file)); }

  void putFolder(const std::string& file) {
    remove(file);
    EXPECT_TRUE(files().createDirectories(directory_ / file));
  }

  /// The names of the code of what fits, up to the one that is wanted; without it, of all.
  std::vector<std::string> found(std::string_view wanted = "") const {
    std::vector<std::string> names;
    findFirmware(pc(), folders(), [&](const Firmware& firmware) {
      names.push_back(firmware.code.substr(firmware.code.rfind('/') + 1));
      return names.back() == wanted;
    });
    return names;
  }

 private:
  std::vector<std::string> folders() const {
    return {directory_ / "usr", directory_ / "etc", directory_ / "home"};
  }
  platform::Files& files() { return system_.files(); }

  test::TemporaryDirectory directory_;
  test::TestSystem system_;
};

TEST_F(FirmwareFolders, AreSortedByFileNameTogether) {
  describe("usr/50-b.json", "b");
  describe("etc/40-a.json", "a");
  describe("home/60-c.json", "c");
  describe("usr/9-last.json", "last");

  EXPECT_THAT(found(), ElementsAre("a", "b", "c", "last"));
}

TEST_F(FirmwareFolders, AreReadUpToWhatIsWanted) {
  for (const char* name : {"a", "b", "c"})
    describe(std::string("usr/").append(name) + ".json", name);

  EXPECT_THAT(found("b"), ElementsAre("a", "b"));
}

TEST_F(FirmwareFolders, PreferTheMoreSpecificFileOfAName) {
  describe("usr/50.json", "general");
  describe("etc/50.json", "specific");
  EXPECT_THAT(found(), ElementsAre("specific"));

  describe("home/50.json", "user");
  EXPECT_THAT(found(), ElementsAre("user"));
}

TEST_F(FirmwareFolders, HideAFileByAnEmptyOneOfItsName) {
  describe("usr/50.json", "hidden");
  describe("usr/60.json", "next");
  write("etc/50.json", "");

  EXPECT_THAT(found(), ElementsAre("next"));
}

TEST_F(FirmwareFolders, HideAFileByAnotherOneThatDoesNotFit) {
  describe("usr/50.json", "hidden");
  write("home/50.json", descriptor({{"uefi", "bios"}}));

  EXPECT_THAT(found(), IsEmpty());
}

TEST_F(FirmwareFolders, LeaveOutFirmwareThatIsNotThere) {
  describe("usr/40.json", "without-code");
  remove("without-code");
  describe("usr/50.json", "without-variables");
  remove("without-variables.variables");
  describe("usr/51.json", "folder-for-code");
  putFolder("folder-for-code");
  describe("usr/52.json", "folder-for-variables");
  putFolder("folder-for-variables.variables");
  describe("usr/60.json", "whole");

  EXPECT_THAT(found(), ElementsAre("whole"));
}

TEST_F(FirmwareFolders, ReadNoOtherFiles) {
  describe("usr/50.json.old", "old");
  describe("usr/.50.json", "invisible");

  EXPECT_THAT(found(), IsEmpty());
}

TEST_F(FirmwareFolders, MayBeMissing) {
  remove("etc");
  describe("usr/50.json", "here");

  EXPECT_THAT(found(), ElementsAre("here"));
}

}  // namespace
}  // namespace parlen::qemu
