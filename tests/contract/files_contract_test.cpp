#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <string>

#include "contract/contract.h"
#include "platform/posix/descriptor.h"

namespace parlen::test {
namespace {

using platform::LockKind;
using testing::HasSubstr;

using FilesContract = Contract;
INSTANTIATE_TEST_SUITE_P(Hosts, FilesContract, testing::ValuesIn(allHosts()), nameOf);

TEST_P(FilesContract, CreatesOnlyWhatIsNotThere) {
  ASSERT_TRUE(files().create(path("file"), "precious"));
  ASSERT_TRUE(files().createDirectory(path("directory")));
  std::filesystem::create_symlink("nowhere", path("dangling"));

  for (const char* name : {"file", "directory", "dangling"}) {
    const auto created = files().create(path(name), "x");
    ASSERT_FALSE(created) << name;
    EXPECT_THAT(created.error().description, HasSubstr(name));
    EXPECT_FALSE(files().createDirectory(path(name))) << name;
  }
  EXPECT_EQ(files().read(path("file")), "precious");
  EXPECT_FALSE(files().exists(path("nowhere")));
  EXPECT_FALSE(files().createDirectory(path("no/where")));
}

TEST_P(FilesContract, FindsNothingBehindADanglingLink) {
  std::filesystem::create_symlink("nowhere", path("dangling"));

  EXPECT_FALSE(files().exists(path("dangling")));
  EXPECT_FALSE(files().length(path("dangling")));
  EXPECT_FALSE(files().read(path("dangling")));
  EXPECT_FALSE(files().writeStart(path("dangling"), "x"));
  EXPECT_FALSE(files().exists(path("nowhere")));
}

TEST_P(FilesContract, AppendsAndIsNotBlockedByAFifo) {
  ASSERT_EQ(mkfifo(path("fifo").c_str(), 0600), 0);
  ASSERT_TRUE(files().create(path("file"), "old"));

  EXPECT_FALSE(files().createForAppending(path("fifo"))) << "nobody reads it";
  const auto file = files().createForAppending(path("file"));
  ASSERT_TRUE(file);
  (*file)->append("one ");
  std::filesystem::resize_file(path("file"), 2);
  (*file)->append("two");

  EXPECT_EQ(files().read(path("file")), "ontwo");
}

TEST_P(FilesContract, NamesAFileWhoseNameIsNoText) {
  const std::string name = path("none/caf\xe9");

  EXPECT_FALSE(files().exists(name));
  EXPECT_THAT(files().read(name).error().description, HasSubstr("caf"));
  EXPECT_THAT(files().length(name).error().description, HasSubstr("caf"));
  EXPECT_FALSE(files().create(name, ""));
  EXPECT_FALSE(files().createForAppending(name));
}

TEST_P(FilesContract, ReplacesALinkAndNotItsTarget) {
  ASSERT_TRUE(files().create(path("precious"), "precious"));
  std::filesystem::create_symlink("precious", path("link"));
  ASSERT_TRUE(files().createDirectory(path("directory")));

  for (const char* name : {"link", "link", "nothing"}) {
    ASSERT_TRUE(files().replace(path(name), "new")) << name;
    EXPECT_EQ(files().read(path(name)), "new");
  }
  EXPECT_FALSE(files().replace(path("directory"), "new"));
  EXPECT_EQ(files().read(path("precious")), "precious");
}

TEST_P(FilesContract, RemovesADirectoryWithAllThatIsInIt) {
  ASSERT_TRUE(files().create(path("precious"), "precious"));
  ASSERT_TRUE(files().createDirectories(path("full/deep")));
  ASSERT_TRUE(files().create(path("full/deep/file"), ""));
  std::filesystem::create_symlink("../precious", path("full/link"));

  EXPECT_TRUE(files().remove(path("full")));

  EXPECT_FALSE(files().exists(path("full")));
  EXPECT_TRUE(files().exists(path("precious")));
  EXPECT_FALSE(files().remove(path("full")));
}

TEST_P(FilesContract, LocksADirectoryForOneWriterOrManyReaders) {
  const auto isFree = [&](LockKind kind) {
    return files().lockDirectory(path("guest"), kind).value() != nullptr;
  };
  ASSERT_TRUE(files().createDirectory(path("guest")));

  auto lock = files().lockDirectory(path("guest"), LockKind::exclusive).value();
  EXPECT_FALSE(isFree(LockKind::exclusive));
  EXPECT_FALSE(isFree(LockKind::shared));
  lock.reset();
  lock = files().lockDirectory(path("guest"), LockKind::shared).value();
  EXPECT_FALSE(isFree(LockKind::exclusive));
  EXPECT_TRUE(isFree(LockKind::shared));
  lock.reset();
  EXPECT_TRUE(isFree(LockKind::exclusive));
  EXPECT_TRUE(std::filesystem::is_empty(path("guest")));
  EXPECT_TRUE(files().lockDirectory(path("none"), LockKind::exclusive).value());
}

TEST_P(FilesContract, CopiesTheNamedMembersLast) {
  ASSERT_TRUE(files().createDirectories(path("from/share")));
  for (const char* name : {"HardwareModel", "Disk.img", "share/HardwareModel"}) {
    ASSERT_TRUE(files().create(path("from/") + name, name));
  }
  ASSERT_TRUE(files().createDirectory(path("to")));
  ASSERT_TRUE(files().create(path("to/Disk.img"), "in the way"));
  constexpr std::array<std::string_view, 3> last = {"Disk.img", "nothing", "HardwareModel"};

  EXPECT_FALSE(files().copyDirectory(path("from"), path("to"), last));

  EXPECT_EQ(files().read(path("to/Disk.img")), "in the way");
  EXPECT_EQ(files().read(path("to/share/HardwareModel")), "share/HardwareModel");
  EXPECT_FALSE(files().exists(path("to/HardwareModel")));
  ASSERT_TRUE(files().createDirectory(path("whole")));
  EXPECT_TRUE(files().copyDirectory(path("from"), path("whole"), last));
  EXPECT_EQ(files().read(path("whole/HardwareModel")), "HardwareModel");
}

TEST_P(FilesContract, NeverCopiesADirectoryIntoItself) {
  ASSERT_TRUE(files().createDirectories(path("from/inside")));

  EXPECT_FALSE(files().copyDirectory(path("from"), path("from/inside"), {}));

  EXPECT_TRUE(std::filesystem::is_empty(path("from/inside")));
}

/// A socket that nobody listens to.
void makeSocket(const std::string& path) {
  const posix::Descriptor socket(::socket(AF_UNIX, SOCK_STREAM, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path.size(), sizeof address.sun_path);
  std::ranges::copy(path, address.sun_path);
  ASSERT_EQ(bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
}

TEST_P(FilesContract, CopiesSpecialFilesOrNothingAtAll) {
  ASSERT_TRUE(files().createDirectories(path("fifo/deep")));
  ASSERT_EQ(mkfifo(path("fifo/deep/fifo-itself").c_str(), 0600), 0);
  ASSERT_TRUE(files().createDirectories(path("socket/deep")));
  makeSocket(path("socket/deep/socket-itself"));

  for (const std::string kind : {"fifo", "socket"}) {
    const std::string copy = path("copy-of-" + kind);
    const std::string special = "/deep/" + kind + "-itself";
    ASSERT_TRUE(files().create(path(kind + "/file"), ""));
    ASSERT_TRUE(files().createDirectory(copy));
    const auto copied = files().copyDirectory(path(kind), copy, {});
    if (copied) {
      EXPECT_EQ(std::filesystem::symlink_status(copy + special).type(),
                std::filesystem::symlink_status(path(kind) + special).type());
    } else {
      EXPECT_THAT(copied.error().description, NamesFile(special));
      EXPECT_TRUE(std::filesystem::is_empty(copy));
    }
  }
}

TEST_P(FilesContract, CopiesSymbolicLinksAsLinks) {
  ASSERT_TRUE(files().createDirectories(path("from/deep")));
  ASSERT_TRUE(files().create(path("precious"), "precious"));
  const std::array<std::array<const char*, 2>, 4> links = {
      {{"dangling", "nowhere"}, {"out", "../precious"}, {"loop", "."}, {"deep/up", "../deep"}}};
  for (const auto& [name, text] : links)
    std::filesystem::create_symlink(text, path("from/") + name);
  ASSERT_TRUE(files().createDirectory(path("to")));

  ASSERT_TRUE(files().copyDirectory(path("from"), path("to"), {}));

  for (const auto& [name, text] : links)
    EXPECT_EQ(std::filesystem::read_symlink(path("to/") + name), text);
  EXPECT_EQ(files().read(path("precious")), "precious");
}

TEST_P(FilesContract, CopiesTheContentOfEachHardLink) {
  ASSERT_TRUE(files().createDirectories(path("from/deep")));
  ASSERT_TRUE(files().create(path("from/one"), "content"));
  std::filesystem::create_hard_link(path("from/one"), path("from/deep/two"));
  std::filesystem::create_hard_link(path("from/one"), path("outside"));
  ASSERT_TRUE(files().createDirectory(path("to")));

  ASSERT_TRUE(files().copyDirectory(path("from"), path("to"), {}));

  EXPECT_EQ(files().read(path("to/one")), "content");
  EXPECT_EQ(files().read(path("to/deep/two")), "content");
  ASSERT_TRUE(files().writeStart(path("to/one"), "changed"));
  EXPECT_EQ(files().read(path("outside")), "content");
}

TEST_P(FilesContract, CopiesModesAndTimes) {
  namespace fs = std::filesystem;
  using fs::perms;
  const mode_t mask = umask(077);
  ASSERT_TRUE(files().createDirectories(path("from/locked")));
  for (const char* name : {"from/secret", "from/program", "from/locked/file"})
    ASSERT_TRUE(files().create(path(name), name));
  fs::permissions(path("from/secret"), perms::owner_read);
  fs::permissions(path("from/program"), perms{0755});
  fs::permissions(path("from/locked"), perms{0555});
  fs::permissions(path("from"), perms{0750});
  const std::array names = {"", "/secret", "/program", "/locked", "/locked/file"};
  const auto then = fs::last_write_time(path("from")) - std::chrono::hours(24);
  for (const char* name : names) fs::last_write_time(path("from") + name, then);
  ASSERT_TRUE(files().createDirectory(path("to")));

  const auto copied = files().copyDirectory(path("from"), path("to"), {});

  umask(mask);
  ASSERT_TRUE(copied);
  for (const char* name : names) {
    EXPECT_EQ(fs::status(path("to") + name).permissions(),
              fs::status(path("from") + name).permissions())
        << name;
    // Not EXPECT_EQ, which would print times: libc++ cannot before macOS 13.4.
    EXPECT_TRUE(fs::last_write_time(path("to") + name) == then) << name;
  }
  for (const char* top : {"from", "to"}) fs::permissions(path(top) + "/locked", perms{0755});
}

}  // namespace
}  // namespace parlen::test
