#include "platform/linux/files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "failing_call.h"
#include "platform/posix/descriptor.h"
#include "support/posix_fixtures.h"
#include "support/temporary_directory.h"

namespace parlen::test {
namespace {

using linux::Files;
using platform::PlatformError;
using posix::Descriptor;

PlatformError posixError(int code, const std::string& description) {
  return {"NSPOSIXErrorDomain", code, description};
}

class FilesTest : public testing::Test {
 protected:
  std::string at(const std::string& name) const { return directory_ / name; }

  Files files_;

 private:
  TemporaryDirectory directory_;
};

TEST_F(FilesTest, KnowsTheWorkingDirectory) {
  char expected[4096];
  ASSERT_NE(nullptr, getcwd(expected, sizeof expected));
  EXPECT_EQ(expected, files_.currentDirectory());
}

TEST_F(FilesTest, NamesAWorkingDirectoryThatWasRemoved) {
  const std::string gone = at("gone");
  const int status = inChild([&] {
    Files files;
    if (mkdir(gone.c_str(), 0700) != 0 || chdir(gone.c_str()) != 0) return 1;
    if (rmdir(gone.c_str()) != 0) return 1;
    const std::string named = files.currentDirectory();
    return named.starts_with('/') && files.isDirectory(named) ? 0 : 2;
  });

  EXPECT_EQ(0, status);
}

TEST_F(FilesTest, KnowsWhatIsThere) {
  putFile(at("file"), "x");
  ASSERT_EQ(0, mkdir(at("directory").c_str(), 0700));
  ASSERT_EQ(0, mkfifo(at("fifo").c_str(), 0600));
  ASSERT_EQ(0, symlink("directory", at("to-directory").c_str()));
  ASSERT_EQ(0, symlink("nothing", at("dangling").c_str()));

  struct Row {
    const char* name;
    bool exists, isDirectory, isSymbolicLink;
  };
  for (const Row& row : std::vector<Row>{{"file", true, false, false},
                                         {"directory", true, true, false},
                                         {"fifo", true, false, false},
                                         {"to-directory", true, true, true},
                                         {"dangling", false, false, true},
                                         {"nothing", false, false, false},
                                         {"file/below", false, false, false}}) {
    EXPECT_EQ(row.exists, files_.exists(at(row.name))) << row.name;
    EXPECT_EQ(row.isDirectory, files_.isDirectory(at(row.name))) << row.name;
    EXPECT_EQ(row.isSymbolicLink, files_.isSymbolicLink(at(row.name))) << row.name;
  }
}

TEST_F(FilesTest, ResolvesLinksInAPath) {
  putFile(at("file"), "x");
  ASSERT_EQ(0, symlink(".", at("here").c_str()));

  EXPECT_EQ(at("file"), files_.canonicalPath(at("here/here/file")));
  EXPECT_EQ(std::nullopt, files_.canonicalPath(at("nothing")));
}

TEST_F(FilesTest, ReturnsTheLogicalLength) {
  putFile(at("file"), "12345");
  ASSERT_EQ(0, truncate(at("file").c_str(), off_t{1} << 40));

  EXPECT_EQ(std::uint64_t{1} << 40, files_.length(at("file")));
  EXPECT_EQ(posixError(ENOENT, "could not find the length of " + at("nothing") +
                                   ": No such file or directory"),
            files_.length(at("nothing")).error());
}

TEST_F(FilesTest, ReadsBackWhatItWrote) {
  ASSERT_TRUE(files_.create(at("new"), "new"));
  EXPECT_EQ("new", files_.read(at("new")));
  for (const std::string& content :
       {std::string(), std::string("a\0b", 3), std::string(300000, 'x'), std::string("short")}) {
    ASSERT_TRUE(files_.replace(at("file"), content));
    EXPECT_EQ(content, files_.read(at("file")));
  }
}

TEST_F(FilesTest, CreatesOnlyWhatIsNotThere) {
  putFile(at("file"), "precious");
  ASSERT_EQ(0, mkdir(at("directory").c_str(), 0700));
  ASSERT_EQ(0, mkfifo(at("fifo").c_str(), 0600));
  ASSERT_EQ(0, symlink("file", at("link").c_str()));
  ASSERT_EQ(0, symlink("nowhere", at("dangling").c_str()));

  for (const char* name : {"file", "directory", "fifo", "link", "dangling"}) {
    EXPECT_EQ(posixError(EEXIST, "could not create the file " + at(name) + ": File exists"),
              files_.create(at(name), "x").error());
    EXPECT_EQ(posixError(EEXIST, "could not create the directory " + at(name) + ": File exists"),
              files_.createDirectory(at(name)).error());
  }
  EXPECT_EQ("precious", fileContent(at("file")));
  EXPECT_FALSE(files_.exists(at("nowhere")));
  EXPECT_EQ(ENOENT, files_.createDirectory(at("no/where")).error().code);
}

TEST_F(FilesTest, ReplacesWhatIsThereAndNotWhatALinkLeadsTo) {
  putFile(at("precious"), "precious");
  putFile(at("file"), "old");
  ASSERT_EQ(0, link(at("precious").c_str(), at("same").c_str()));
  ASSERT_EQ(0, symlink("precious", at("link").c_str()));
  ASSERT_EQ(0, symlink("nowhere", at("dangling").c_str()));
  ASSERT_EQ(0, mkfifo(at("fifo").c_str(), 0600));
  ASSERT_EQ(0, mkdir(at("directory").c_str(), 0700));

  for (const char* name : {"file", "same", "link", "dangling", "fifo", "nothing"}) {
    ASSERT_TRUE(files_.replace(at(name), "new")) << name;
    EXPECT_TRUE(S_ISREG(statusOf(at(name)).st_mode)) << name;
    EXPECT_EQ("new", fileContent(at(name)));
  }
  EXPECT_EQ("precious", fileContent(at("precious")));
  EXPECT_FALSE(files_.exists(at("nowhere")));
  EXPECT_EQ(posixError(EISDIR, "could not write the file " + at("directory") + ": Is a directory"),
            files_.replace(at("directory"), "x").error());
}

TEST_F(FilesTest, GivesAReplacementTheModeAndTheOwnerOfTheFile) {
  putFile(at("file"), "old");
  ASSERT_EQ(0, chmod(at("file").c_str(), 0440));
  const bool isRoot = geteuid() == 0;
  const uid_t owner = isRoot ? 1234 : geteuid();
  ASSERT_EQ(0, chown(at("file").c_str(), owner, static_cast<gid_t>(-1)));

  ASSERT_TRUE(files_.replace(at("file"), "new"));

  const struct stat status = statusOf(at("file"));
  EXPECT_EQ(0440U, status.st_mode & 07777);
  EXPECT_EQ(owner, status.st_uid);
}

TEST_F(FilesTest, CreatesFilesWithTheDefaultMode) {
  const mode_t mask = umask(027);
  EXPECT_TRUE(files_.create(at("created"), ""));
  EXPECT_TRUE(files_.replace(at("file"), ""));
  EXPECT_TRUE(files_.createDirectories(at("a/b")));
  EXPECT_TRUE(files_.createDirectory(at("c")));
  umask(mask);

  EXPECT_EQ(0640U, statusOf(at("created")).st_mode & 07777);
  EXPECT_EQ(0640U, statusOf(at("file")).st_mode & 07777);
  EXPECT_EQ(0750U, statusOf(at("c")).st_mode & 0777);
  EXPECT_EQ(0750U, statusOf(at("a")).st_mode & 0777);
  EXPECT_EQ(0750U, statusOf(at("a/b")).st_mode & 0777);
}

TEST_F(FilesTest, ReadsFilesThatHaveNoLength) {
  EXPECT_GT(files_.read("/proc/self/status").value_or("").size(), 100U);
}

TEST_F(FilesTest, ReadsTheStartOnly) {
  putFile(at("file"), "0123456789");

  EXPECT_EQ("012", files_.readStart(at("file"), 3));
  EXPECT_EQ("", files_.readStart(at("file"), 0));
  EXPECT_EQ("0123456789", files_.readStart(at("file"), 10));
  EXPECT_EQ("0123456789", files_.readStart(at("file"), std::numeric_limits<std::size_t>::max()));
}

TEST_F(FilesTest, FailsToReadAFileThatIsTooLong) {
  putFile(at("file"), "");
  ASSERT_EQ(0, truncate(at("file").c_str(), off_t{1} << 40));

  EXPECT_EQ(posixError(EFBIG, "could not read the file " + at("file") + ": File too large"),
            files_.read(at("file")).error());
  EXPECT_EQ(std::string(5, '\0'), files_.readStart(at("file"), 5));
}

TEST_F(FilesTest, ReadsRegularFilesOnly) {
  ASSERT_EQ(0, mkfifo(at("fifo").c_str(), 0600));
  const std::string attempt = "could not read the file ";

  EXPECT_EQ(posixError(EINVAL, attempt + at("fifo") + ": Not a regular file"),
            files_.read(at("fifo")).error());
  EXPECT_EQ(posixError(EISDIR, attempt + at("") + ": Is a directory"), files_.read(at("")).error());
  EXPECT_EQ(posixError(EINVAL, attempt + "/dev/zero: Not a regular file"),
            files_.read("/dev/zero").error());
  EXPECT_EQ(posixError(ENOENT, attempt + at("no") + ": No such file or directory"),
            files_.read(at("no")).error());
}

TEST_F(FilesTest, IsNotBlockedByAFifoThatItWrites) {
  ASSERT_EQ(0, mkfifo(at("fifo").c_str(), 0600));

  EXPECT_EQ(ENXIO, files_.createForAppending(at("fifo")).error().code);
  EXPECT_EQ(ENXIO, files_.setLength(at("fifo"), 0).error().code);
}

TEST_F(FilesTest, ReportsWhyAFileCannotBeWritten) {
  const std::string attempt = "could not write the file ";
  EXPECT_EQ(posixError(ENOENT, attempt + at("no/file") + ": No such file or directory"),
            files_.replace(at("no/file"), "x").error());
  EXPECT_EQ(ENOENT, files_.create(at("no/file"), "x").error().code);
  EXPECT_EQ(EISDIR, files_.replace(at(""), "x").error().code);
}

TEST_F(FilesTest, WritesOverTheStart) {
  putFile(at("file"), "0123456789");

  EXPECT_TRUE(files_.writeStart(at("file"), "abc"));
  EXPECT_EQ("abc3456789", fileContent(at("file")));
  EXPECT_TRUE(files_.writeStart(at("file"), ""));
  EXPECT_EQ("abc3456789", fileContent(at("file")));
  EXPECT_EQ(ENOENT, files_.writeStart(at("no"), "").error().code);
  EXPECT_EQ(EISDIR, files_.writeStart(at(""), "").error().code);
  EXPECT_EQ(EINVAL, files_.writeStart("/dev/null", "").error().code);
}

TEST_F(FilesTest, AppendsToAFileThatItCreated) {
  putFile(at("file"), "old");
  const auto file = files_.createForAppending(at("file"));
  ASSERT_TRUE(file);

  EXPECT_EQ("", fileContent(at("file")));
  (*file)->append("one\n");
  EXPECT_EQ("one\n", fileContent(at("file")));
  (*file)->append("two\n");
  EXPECT_EQ("one\ntwo\n", fileContent(at("file")));
  EXPECT_EQ(posixError(ENOENT, "could not create the file " + at("no/file") +
                                   ": No such file or directory"),
            files_.createForAppending(at("no/file")).error());
}

TEST_F(FilesTest, CreatesMissingDirectories) {
  EXPECT_TRUE(files_.createDirectories(at("a/b/c")));
  EXPECT_TRUE(files_.isDirectory(at("a/b/c")));
  EXPECT_TRUE(files_.createDirectories(at("a/b/c")));
  EXPECT_TRUE(files_.createDirectories(at("x//y///")));
  EXPECT_TRUE(files_.isDirectory(at("x/y")));
  EXPECT_TRUE(files_.createDirectories(at("p/../q")));
  EXPECT_TRUE(files_.isDirectory(at("q")));
  EXPECT_TRUE(files_.createDirectories("/"));
  EXPECT_TRUE(files_.createDirectories("."));
}

TEST_F(FilesTest, TakesALinkToADirectoryForADirectory) {
  ASSERT_TRUE(files_.createDirectories(at("real")));
  ASSERT_EQ(0, symlink("real", at("link").c_str()));

  EXPECT_TRUE(files_.createDirectories(at("link")));
  EXPECT_TRUE(files_.createDirectories(at("link/below")));
  EXPECT_TRUE(files_.isDirectory(at("real/below")));
}

TEST_F(FilesTest, ReportsWhyADirectoryCannotBeCreated) {
  putFile(at("file"), "");
  ASSERT_EQ(0, symlink("nowhere", at("dangling").c_str()));
  const auto inTheWay = [&](int code, const std::string& name, const std::string& reason) {
    return posixError(code, "could not create the directory " + at(name) + ": " + reason);
  };

  EXPECT_EQ(inTheWay(EEXIST, "file", "File exists"), files_.createDirectories(at("file")).error());
  EXPECT_EQ(inTheWay(ENOTDIR, "file/a/b", "Not a directory"),
            files_.createDirectories(at("file/a/b")).error());
  EXPECT_EQ(inTheWay(EEXIST, "dangling", "File exists"),
            files_.createDirectories(at("dangling")).error());
  EXPECT_EQ(inTheWay(EEXIST, "dangling", "File exists"),
            files_.createDirectories(at("dangling/a")).error());
  EXPECT_EQ(ENOENT, files_.createDirectories("").error().code);
}

TEST_F(FilesTest, CreatesDirectoriesThatOthersCreateAtTheSameTime) {
  std::string deep = at("a");
  for (int i = 0; i < 50; ++i) deep += "/d";
  std::atomic<int> failures = 0;
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
        if (!Files().createDirectories(deep)) ++failures;
      });
    }
  }
  EXPECT_EQ(0, failures);
  EXPECT_TRUE(files_.isDirectory(deep));
}

TEST_F(FilesTest, GrowsAFileSparsely) {
  putFile(at("disk"), "");

  ASSERT_TRUE(files_.setLength(at("disk"), std::uint64_t{1} << 40));
  EXPECT_EQ(off_t{1} << 40, statusOf(at("disk")).st_size);
  EXPECT_EQ(0, statusOf(at("disk")).st_blocks);
  ASSERT_TRUE(files_.setLength(at("disk"), 3));
  EXPECT_EQ(3, statusOf(at("disk")).st_size);
}

TEST_F(FilesTest, ReportsWhyALengthCannotBeSet) {
  putFile(at("disk"), "");
  const std::string attempt = "could not set the length of ";

  for (const std::uint64_t tooLong : {std::uint64_t{1} << 63, ~std::uint64_t{0}}) {
    EXPECT_EQ(posixError(EFBIG, attempt + at("disk") + ": File too large"),
              files_.setLength(at("disk"), tooLong).error());
  }
  EXPECT_EQ(posixError(ENOENT, attempt + at("no") + ": No such file or directory"),
            files_.setLength(at("no"), 1).error());
  EXPECT_EQ(EISDIR, files_.setLength(at(""), 1).error().code);
}

TEST_F(FilesTest, RemovesALinkRatherThanItsTarget) {
  putFile(at("file"), "x");
  ASSERT_EQ(0, symlink("file", at("link").c_str()));

  EXPECT_TRUE(files_.remove(at("link")));
  EXPECT_TRUE(files_.exists(at("file")));
  EXPECT_TRUE(files_.remove(at("file")));
  EXPECT_EQ(posixError(ENOENT, "could not remove " + at("file") + ": No such file or directory"),
            files_.remove(at("file")).error());
}

TEST_F(FilesTest, RemovesADirectoryWithAllThatIsInIt) {
  putFile(at("precious"), "x");
  ASSERT_TRUE(files_.createDirectories(at("full/deep/er")));
  putFile(at("full/deep/file"), "x");
  ASSERT_EQ(0, symlink("../precious", at("full/link").c_str()));
  ASSERT_EQ(0, symlink("..", at("full/up").c_str()));
  ASSERT_EQ(0, mkfifo(at("full/fifo").c_str(), 0600));

  EXPECT_TRUE(files_.remove(at("full")));

  EXPECT_FALSE(files_.exists(at("full")));
  EXPECT_EQ("x", fileContent(at("precious")));
}

TEST_F(FilesTest, LocksNothingWhereTheFileSystemHasNoLocks) {
  ASSERT_TRUE(files_.createDirectories(at("directory")));
  for (const int code : {ENOLCK, ENOTSUP, EIO}) {
    std::thread([&, code] {
      failCall(SYS_flock, code);
      const auto lock = files_.lockDirectory(at("directory"), platform::LockKind::exclusive);
      ASSERT_TRUE(lock);
      EXPECT_NE(*lock, nullptr);
    }).join();
  }
}

TEST_F(FilesTest, LeavesNoDescriptorOpen) {
  const Descriptor before(open("/dev/null", O_RDONLY | O_CLOEXEC));
  EXPECT_TRUE(files_.replace(at("file"), "x"));
  EXPECT_TRUE(files_.writeStart(at("file"), "y"));
  EXPECT_TRUE(files_.read(at("file")));
  EXPECT_FALSE(files_.read(at("")));
  EXPECT_TRUE(files_.setLength(at("file"), 5));
  EXPECT_FALSE(files_.create(at("file"), ""));
  EXPECT_TRUE(files_.remove(at("file")));
  const Descriptor after(open("/dev/null", O_RDONLY | O_CLOEXEC));

  EXPECT_EQ(before.get() + 1, after.get());
}

}  // namespace
}  // namespace parlen::test
