#include <fcntl.h>
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/event_loop.h"
#include "platform/linux/files.h"
#include "platform/linux/process.h"
#include "platform/posix/descriptor.h"
#include "support/posix_fixtures.h"
#include "support/temporary_directory.h"

namespace parlen::test {
namespace {

using posix::Descriptor;
using testing::HasSubstr;

bool isRoot() { return geteuid() == 0; }

std::string linkText(const std::string& path) {
  char text[4096];
  const ssize_t count = readlink(path.c_str(), text, sizeof text);
  return count < 0 ? "no link" : std::string(text, static_cast<std::size_t>(count));
}

std::string attribute(const std::string& path, const char* name) {
  char value[256];
  const ssize_t size = lgetxattr(path.c_str(), name, value, sizeof value);
  return size < 0 ? "none" : std::string(value, static_cast<std::size_t>(size));
}

void setTimes(const std::string& path, time_t accessed, time_t modified) {
  const timespec times[] = {{accessed, 123456789}, {modified, 987654321}};
  ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW));
}

void expectTimes(const std::string& path, time_t modified) {
  const struct stat status = statusOf(path);
  EXPECT_EQ(modified, status.st_mtim.tv_sec) << path;
  EXPECT_EQ(987654321, status.st_mtim.tv_nsec) << path;
}

// Copies into a new directory `to`.
platform::Result<> copyToNew(const std::string& from, const std::string& to,
                             std::span<const std::string_view> last = {}) {
  const auto created = linux::Files().createDirectory(to);
  return created ? linux::Files().copyDirectory(from, to, last) : created;
}

class DirectoryCopyTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(0, mkdir(from().c_str(), 0755)); }

  std::string at(const std::string& name) const { return directory_ / name; }
  std::string from(const std::string& name = "") const { return at("from") + slashed(name); }
  std::string to(const std::string& name = "") const { return at("to") + slashed(name); }

  void copy() {
    const auto result = copyToNew(from(), to());
    ASSERT_TRUE(result) << result.error().description;
  }

 private:
  static std::string slashed(const std::string& name) { return name.empty() ? "" : "/" + name; }

  TemporaryDirectory directory_;
};

TEST_F(DirectoryCopyTest, CopiesFilesAndDirectories) {
  putFile(from("vm.json"), "{}");
  ASSERT_EQ(0, mkdir(from("share").c_str(), 0755));
  ASSERT_EQ(0, mkdir(from("share/empty").c_str(), 0755));
  putFile(from("share/.hidden"), "hidden");

  copy();

  EXPECT_EQ("{}", fileContent(to("vm.json")));
  EXPECT_EQ("hidden", fileContent(to("share/.hidden")));
  EXPECT_TRUE(S_ISDIR(statusOf(to("share/empty")).st_mode));
}

TEST_F(DirectoryCopyTest, CopiesModesWhateverTheUmask) {
  const mode_t mask = umask(077);
  putFile(from("program"), "");
  putFile(from("secret"), "");
  EXPECT_EQ(0, chmod(from("program").c_str(), 06755));
  EXPECT_EQ(0, chmod(from("secret").c_str(), 0400));
  EXPECT_EQ(0, mkdir(from("shared").c_str(), 0700));
  EXPECT_EQ(0, chmod(from("shared").c_str(), 01777));
  EXPECT_EQ(0, chmod(from().c_str(), 02775));

  copy();
  umask(mask);

  for (const char* name : {"program", "secret", "shared", ""}) {
    EXPECT_EQ(statusOf(from(name)).st_mode, statusOf(to(name)).st_mode) << name;
  }
}

TEST_F(DirectoryCopyTest, CopiesTimesToTheNanosecond) {
  putFile(from("file"), "x");
  ASSERT_EQ(0, mkdir(from("directory").c_str(), 0755));
  putFile(from("directory/inside"), "x");
  ASSERT_EQ(0, symlink("file", from("link").c_str()));
  ASSERT_EQ(0, mkfifo(from("fifo").c_str(), 0600));
  setTimes(from("file"), 1000, 2000);
  setTimes(from("directory"), 1000, 3000);
  setTimes(from("link"), 1000, 4000);
  setTimes(from("fifo"), 1000, 5000);
  setTimes(from(), 1000, 6000);

  copy();

  expectTimes(to("file"), 2000);
  expectTimes(to("directory"), 3000);
  expectTimes(to("link"), 4000);
  expectTimes(to("fifo"), 5000);
  expectTimes(to(), 6000);
}

TEST_F(DirectoryCopyTest, CopiesExtendedAttributes) {
  putFile(from("file"), "x");
  if (setxattr(from("file").c_str(), "user.note", "kept", 4, 0) != 0) {
    GTEST_SKIP() << "this file system has no extended attributes";
  }
  ASSERT_EQ(0, setxattr(from("file").c_str(), "user.empty", "", 0, 0));
  ASSERT_EQ(0, setxattr(from().c_str(), "user.top", "too", 3, 0));
  ASSERT_EQ(0, chmod(from("file").c_str(), 0444));

  copy();

  EXPECT_EQ("kept", attribute(to("file"), "user.note"));
  EXPECT_EQ("", attribute(to("file"), "user.empty"));
  EXPECT_EQ("too", attribute(to(), "user.top"));
}

TEST_F(DirectoryCopyTest, CopiesOwnersWhenItMay) {
  if (!isRoot()) GTEST_SKIP() << "only root may give files away";
  putFile(from("file"), "x");
  ASSERT_EQ(0, symlink("file", from("link").c_str()));
  ASSERT_EQ(0, chown(from("file").c_str(), 1234, 4321));
  ASSERT_EQ(0, lchown(from("link").c_str(), 1235, 4322));
  ASSERT_EQ(0, chmod(from("file").c_str(), 04750));
  ASSERT_EQ(0, chown(from().c_str(), 1236, 4323));

  copy();

  EXPECT_EQ(1234U, statusOf(to("file")).st_uid);
  EXPECT_EQ(4321U, statusOf(to("file")).st_gid);
  EXPECT_EQ(04750U, statusOf(to("file")).st_mode & 07777) << "a new owner takes this bit away";
  EXPECT_EQ(1235U, statusOf(to("link")).st_uid);
  EXPECT_EQ(1236U, statusOf(to()).st_uid);
}

// Runs `body` as a user without privileges.
int unprivileged(const std::function<int()>& body) {
  return inChild([&] {
    constexpr unsigned nobody = 65534;
    if (isRoot() &&
        (setresgid(nobody, nobody, nobody) != 0 || setresuid(nobody, nobody, nobody) != 0)) {
      return 100;
    }
    return body();
  });
}

TEST_F(DirectoryCopyTest, CopiesWhatBelongsToOthersAsItsOwn) {
  if (!isRoot()) GTEST_SKIP() << "only root can make files of others";
  putFile(from("file"), "theirs");
  ASSERT_EQ(0, chmod(from("file").c_str(), 04755));
  ASSERT_EQ(0, chmod(at("").c_str(), 0777));

  const int status = unprivileged([&] { return copyToNew(from(), to()).has_value() ? 0 : 1; });

  EXPECT_EQ(0, status);
  EXPECT_EQ("theirs", fileContent(to("file")));
  EXPECT_EQ(65534U, statusOf(to("file")).st_uid);
  EXPECT_EQ(0755U, statusOf(to("file")).st_mode & 07777) << "it would run as another user";
}

TEST_F(DirectoryCopyTest, CopiesReadOnlyDirectoriesWithoutPrivileges) {
  ASSERT_EQ(0, mkdir(from("locked").c_str(), 0755));
  putFile(from("locked/file"), "x");
  ASSERT_EQ(0, link(from("locked/file").c_str(), from("locked/same").c_str()));
  ASSERT_EQ(0, chmod(from("locked/file").c_str(), 0444));
  ASSERT_EQ(0, chmod(from("locked").c_str(), 0555));
  ASSERT_EQ(0, chmod(from().c_str(), 0555));
  ASSERT_EQ(0, chmod(at("").c_str(), 0777));

  const int status = unprivileged([&] { return copyToNew(from(), to()).has_value() ? 0 : 1; });

  EXPECT_EQ(0, status);
  EXPECT_EQ("x", fileContent(to("locked/file")));
  EXPECT_EQ(0444U, statusOf(to("locked/file")).st_mode & 07777);
  EXPECT_EQ(0555U, statusOf(to("locked")).st_mode & 07777);
  EXPECT_EQ(0555U, statusOf(to()).st_mode & 07777);
}

TEST_F(DirectoryCopyTest, CopiesLinksAsLinks) {
  ASSERT_EQ(0, mkdir(at("outside").c_str(), 0755));
  putFile(at("outside/file"), "outside");
  const std::string longText(3000, 'x');
  ASSERT_EQ(0, symlink("../outside", from("directory").c_str()));
  ASSERT_EQ(0, symlink("nowhere", from("dangling").c_str()));
  ASSERT_EQ(0, symlink(longText.c_str(), from("long").c_str()));
  ASSERT_EQ(0, symlink(".", from("loop").c_str()));

  copy();

  EXPECT_EQ("../outside", linkText(to("directory")));
  EXPECT_EQ("nowhere", linkText(to("dangling")));
  EXPECT_EQ(longText, linkText(to("long")));
  EXPECT_EQ(".", linkText(to("loop")));
}

TEST_F(DirectoryCopyTest, CopiesTheDirectoryBehindALink) {
  putFile(from("file"), "x");
  ASSERT_EQ(0, symlink("from", at("link").c_str()));

  for (const char* source : {"link", "link/"}) {
    const std::string target = at("to-of-") + (source[4] == '/' ? "slash" : "link");
    ASSERT_TRUE(copyToNew(at(source), target));
    EXPECT_TRUE(S_ISDIR(statusOf(target).st_mode));
    EXPECT_EQ("x", fileContent(target + "/file"));
  }
}

TEST_F(DirectoryCopyTest, KeepsHardLinksAmongTheFiles) {
  putFile(from("one"), "x");
  ASSERT_EQ(0, mkdir(from("deep").c_str(), 0755));
  ASSERT_EQ(0, link(from("one").c_str(), from("deep/two").c_str()));
  ASSERT_EQ(0, link(from("one").c_str(), from("three").c_str()));
  ASSERT_EQ(0, symlink("one", from("link").c_str()));
  ASSERT_EQ(0, link(from("link").c_str(), from("same-link").c_str()));
  putFile(from("other"), "y");
  ASSERT_EQ(0, link(from("other").c_str(), at("outside").c_str()));

  copy();

  const struct stat one = statusOf(to("one"));
  EXPECT_EQ(3U, one.st_nlink);
  EXPECT_EQ(one.st_ino, statusOf(to("deep/two")).st_ino);
  EXPECT_EQ(one.st_ino, statusOf(to("three")).st_ino);
  EXPECT_NE(one.st_ino, statusOf(from("one")).st_ino);
  EXPECT_EQ(statusOf(to("link")).st_ino, statusOf(to("same-link")).st_ino);
  EXPECT_EQ(1U, statusOf(to("other")).st_nlink);
}

TEST_F(DirectoryCopyTest, RecreatesSpecialFilesWithoutOpeningThem) {
  ASSERT_EQ(0, mkfifo(from("fifo").c_str(), 0600));
  ASSERT_EQ(0, chmod(from("fifo").c_str(), 0622));
  ASSERT_EQ(0, mknod(from("socket").c_str(), S_IFSOCK | 0600, 0));
  const bool hasDevice = mknod(from("null").c_str(), S_IFCHR | 0600, makedev(1, 3)) == 0;

  copy();

  EXPECT_EQ(S_IFIFO | 0622U, statusOf(to("fifo")).st_mode);
  EXPECT_EQ(S_IFSOCK | 0600U, statusOf(to("socket")).st_mode);
  if (!hasDevice) return;
  EXPECT_TRUE(S_ISCHR(statusOf(to("null")).st_mode));
  EXPECT_EQ(makedev(1, 3), statusOf(to("null")).st_rdev);
}

TEST_F(DirectoryCopyTest, KeepsHoles) {
  putFile(from("Disk.img"), "start");
  ASSERT_EQ(0, truncate(from("Disk.img").c_str(), off_t{1} << 40));

  copy();

  EXPECT_EQ(off_t{1} << 40, statusOf(to("Disk.img")).st_size);
  EXPECT_LE(statusOf(to("Disk.img")).st_blocks, statusOf(from("Disk.img")).st_blocks);
}

TEST_F(DirectoryCopyTest, CopiesTheNamedMembersLast) {
  // Nothing can replace what is there already, so the copy stops at "Disk.img".
  for (const char* name : {"HardwareModel", "a", "Disk.img", "z", "MachineIdentifier"}) {
    putFile(from(name), name);
  }
  ASSERT_EQ(0, mkdir(from("share").c_str(), 0755));
  putFile(from("share/HardwareModel"), "only a name");
  const std::vector<std::string_view> last = {"Disk.img", "nothing", "MachineIdentifier",
                                              "HardwareModel"};
  ASSERT_EQ(0, mkdir(to().c_str(), 0755));
  putFile(to("Disk.img"), "in the way");

  const auto result = linux::Files().copyDirectory(from(), to(), last);

  ASSERT_FALSE(result);
  EXPECT_EQ(EEXIST, result.error().code);
  EXPECT_THAT(result.error().description, HasSubstr(to("Disk.img")));
  for (const char* name : {"a", "z", "share/HardwareModel"})
    EXPECT_EQ(0, access(to(name).c_str(), F_OK));
  for (const char* name : {"MachineIdentifier", "HardwareModel"}) {
    EXPECT_NE(0, access(to(name).c_str(), F_OK)) << name;
  }
  ASSERT_TRUE(copyToNew(from(), at("whole"), last));
  for (const char* name : {"Disk.img", "MachineIdentifier", "HardwareModel"}) {
    EXPECT_EQ(name, fileContent(at("whole/") + name));
  }
}

TEST_F(DirectoryCopyTest, NeverReplacesWhatIsInTheDestination) {
  putFile(from("file"), "x");
  ASSERT_EQ(0, mkdir(from("directory").c_str(), 0755));
  ASSERT_EQ(0, symlink("file", from("link").c_str()));
  ASSERT_EQ(0, mkfifo(from("fifo").c_str(), 0600));

  for (const char* name : {"file", "directory", "link", "fifo"}) {
    const std::string target = at("to-") + name;
    ASSERT_EQ(0, mkdir(target.c_str(), 0755));
    ASSERT_EQ(0, symlink("../precious", (target + "/" + name).c_str()));
    const auto result = linux::Files().copyDirectory(from(), target, {});
    ASSERT_FALSE(result) << name;
    EXPECT_EQ(EEXIST, result.error().code) << name;
    EXPECT_EQ("../precious", linkText(target + "/" + name));
  }
  EXPECT_NE(0, access(at("precious").c_str(), F_OK));
}

TEST_F(DirectoryCopyTest, KeepsOthersOutOfAnUnfinishedCopy) {
  putFile(from("file"), "x");
  ASSERT_EQ(0, mkdir(to().c_str(), 0777));
  putFile(to("file"), "in the way");

  ASSERT_FALSE(linux::Files().copyDirectory(from(), to(), {}));

  EXPECT_EQ(0700U, statusOf(to()).st_mode & 07777);
}

TEST_F(DirectoryCopyTest, ReportsWhatItCouldNotDo) {
  const auto result = copyToNew(at("missing"), to());

  ASSERT_FALSE(result);
  EXPECT_EQ("NSPOSIXErrorDomain", result.error().domain);
  EXPECT_EQ(ENOENT, result.error().code);
  EXPECT_EQ("could not copy " + at("missing") + " to " + to() + ": No such file or directory",
            result.error().description);
  EXPECT_EQ(ENOENT, linux::Files().copyDirectory(from(), at("nowhere"), {}).error().code);
  putFile(at("file"), "");
  EXPECT_EQ(ENOTDIR, linux::Files().copyDirectory(at("file"), to(), {}).error().code);
  EXPECT_EQ(ENOTDIR, linux::Files().copyDirectory(from(), at("file"), {}).error().code);
}

TEST_F(DirectoryCopyTest, NamesTheEntryThatFailed) {
  ASSERT_EQ(0, mkdir(from("a").c_str(), 0755));
  ASSERT_EQ(0, mkdir(from("a/closed").c_str(), 0755));
  ASSERT_EQ(0, chmod(from("a/closed").c_str(), 0));
  ASSERT_EQ(0, chmod(at("").c_str(), 0777));
  const posix::Pipe pipe = makePipe();

  unprivileged([&] {
    const auto result = copyToNew(from(), to());
    const std::string text = result ? "it worked" : result.error().description;
    return write(pipe.writing.get(), text.data(), text.size()) > 0 ? 0 : 1;
  });

  char text[4096];
  const ssize_t count = read(pipe.reading.get(), text, sizeof text);
  ASSERT_GT(count, 0);
  EXPECT_EQ("could not copy " + from("a/closed") + " to " + to("a/closed") + ": Permission denied",
            std::string(text, static_cast<std::size_t>(count)));
}

TEST_F(DirectoryCopyTest, FailsToCopyADirectoryIntoItself) {
  ASSERT_EQ(0, mkdir(from("a").c_str(), 0755));
  ASSERT_EQ(0, mkdir(at("from-elsewhere").c_str(), 0755));
  ASSERT_EQ(0, symlink("from/a", at("way-in").c_str()));
  ASSERT_EQ(0, symlink("from", at("same").c_str()));

  for (const std::string& inside :
       {from("copy"), from("a/copy"), from("a/../copy"), at("way-in/copy"), from("copy/")}) {
    for (const std::string& source : {from(), at("same"), from() + "/."}) {
      const auto result = copyToNew(source, inside);
      ASSERT_FALSE(result) << inside;
      EXPECT_EQ(EINVAL, result.error().code) << inside;
      EXPECT_THAT(result.error().description, HasSubstr("The copy would lie inside its source"));
      EXPECT_EQ(0, rmdir(inside.c_str())) << "something was copied";
    }
  }
  EXPECT_TRUE(copyToNew(from(), at("from-elsewhere/copy")));
  EXPECT_TRUE(copyToNew(from(), at("from2"))) << "a name that only begins the same";
}

TEST_F(DirectoryCopyTest, StopsAtAMountThatLeadsIntoTheCopy) {
  ASSERT_EQ(0, mkdir(from("mounted").c_str(), 0755));
  ASSERT_EQ(0, mkdir(at("elsewhere").c_str(), 0755));
  constexpr int noMounts = 77;
  const int status = inChild([&] {
    if (unshare(CLONE_NEWNS) != 0) return noMounts;
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return noMounts;
    const std::string mounted = from("mounted");
    if (mount(at("elsewhere").c_str(), mounted.c_str(), nullptr, MS_BIND, nullptr) != 0) {
      return noMounts;
    }
    const auto result = copyToNew(from(), at("elsewhere/copy"));
    return !result && result.error().code == ELOOP ? 0 : 1;
  });
  if (WEXITSTATUS(status) == noMounts) GTEST_SKIP() << "this process may not mount";

  EXPECT_EQ(0, status);
}

// Far beyond the longest path and the limit of descriptors.
TEST_F(DirectoryCopyTest, CopiesDeepTrees) {
  constexpr int depth = 300;
  const std::string name(20, 'd');
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  if (before.rlim_max < 3 * depth) GTEST_SKIP() << "this process may not open enough";
  const rlimit few{depth, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &few);
  Descriptor here(open(from().c_str(), O_PATH | O_CLOEXEC));
  for (int i = 0; i < depth; ++i) {
    ASSERT_EQ(0, mkdirat(here.get(), name.c_str(), 0755));
    here = Descriptor(openat(here.get(), name.c_str(), O_PATH | O_CLOEXEC));
  }

  copy();

  rlimit after{};
  getrlimit(RLIMIT_NOFILE, &after);
  EXPECT_EQ(few.rlim_cur, after.rlim_cur);
  setrlimit(RLIMIT_NOFILE, &before);
  here = Descriptor(open(to().c_str(), O_PATH | O_CLOEXEC));
  for (int i = 0; i < depth; ++i) {
    here = Descriptor(openat(here.get(), name.c_str(), O_PATH | O_CLOEXEC));
    ASSERT_TRUE(here) << i;
  }
  linux::EventLoop loop;
  ASSERT_EQ(0, linux::Process(loop).runAndWait("/bin/rm", {"-rf", from(), to()}));
}

TEST_F(DirectoryCopyTest, LeavesTheSourceAndItsOwnDescriptorsAlone) {
  putFile(from("file"), "x");
  ASSERT_EQ(0, chmod(from("file").c_str(), 0400));
  setTimes(from("file"), 1000, 2000);
  const Descriptor before(open("/dev/null", O_RDONLY | O_CLOEXEC));

  copy();

  const Descriptor after(open("/dev/null", O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(before.get() + 1, after.get());
  expectTimes(from("file"), 2000);
  EXPECT_EQ(0400U, statusOf(from("file")).st_mode & 07777);
}

}  // namespace
}  // namespace parlen::test
