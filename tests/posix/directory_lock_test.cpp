#include "platform/posix/directory_lock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "support/posix_fixtures.h"
#include "support/temporary_directory.h"

namespace parlen::test {
namespace {

using platform::LockKind;
using posix::lockDirectory;

/// What another process gets that locks `path`: 0 a lock, 1 that it is in use, 2 an error.
int triedElsewhere(const std::string& path, LockKind kind) {
  const int status = inChild([&] {
    const auto lock = lockDirectory(path, kind);
    return !lock ? 2 : *lock == nullptr ? 1 : 0;
  });
  return WEXITSTATUS(status);
}

class DirectoryLockTest : public testing::Test {
 protected:
  const std::string& path() const { return directory_.path(); }

 private:
  TemporaryDirectory directory_;
};

TEST_F(DirectoryLockTest, KeepsEverybodyElseOutIfExclusive) {
  auto lock = lockDirectory(path(), LockKind::exclusive).value();
  ASSERT_TRUE(lock);

  for (const LockKind kind : {LockKind::exclusive, LockKind::shared}) {
    EXPECT_EQ(triedElsewhere(path(), kind), 1);
    EXPECT_EQ(lockDirectory(path(), kind).value(), nullptr) << "in this process";
  }
  lock.reset();
  EXPECT_EQ(triedElsewhere(path(), LockKind::exclusive), 0);
}

TEST_F(DirectoryLockTest, LetsReadersInIfShared) {
  const auto lock = lockDirectory(path(), LockKind::shared).value();

  EXPECT_EQ(triedElsewhere(path(), LockKind::shared), 0);
  EXPECT_EQ(triedElsewhere(path(), LockKind::exclusive), 1);
}

TEST_F(DirectoryLockTest, IsOnTheDirectoryWhateverItsPath) {
  ASSERT_EQ(symlink(".", (path() + "/link").c_str()), 0);
  const auto lock = lockDirectory(path() + "/link", LockKind::exclusive).value();

  EXPECT_EQ(triedElsewhere(path(), LockKind::exclusive), 1);
}

TEST_F(DirectoryLockTest, LeavesNothingInTheDirectory) {
  const auto lock = lockDirectory(path(), LockKind::exclusive).value();

  EXPECT_EQ(rmdir(path().c_str()), 0) << "something is in it";
  ASSERT_EQ(mkdir(path().c_str(), 0700), 0);
}

TEST_F(DirectoryLockTest, EndsWithItsProcess) {
  inChild([&] {
    (void)lockDirectory(path(), LockKind::exclusive).value().release();
    return 0;
  });

  EXPECT_TRUE(lockDirectory(path(), LockKind::exclusive).value());
}

TEST_F(DirectoryLockTest, IsNotInheritedByAProgram) {
  const posix::Pipe in = makePipe();
  const posix::Pipe out = makePipe();
  const pid_t child = fork();
  if (child == 0) {
    (void)lockDirectory(path(), LockKind::exclusive).value().release();
    dup2(in.reading.get(), 0);
    dup2(out.writing.get(), 1);
    execl("/bin/cat", "cat", nullptr);
    _exit(1);
  }
  char byte = 'x';
  send(in.writing.get(), {&byte, 1});
  ASSERT_EQ(read(out.reading.get(), &byte, 1), 1) << "now the process runs the program";

  EXPECT_TRUE(lockDirectory(path(), LockKind::exclusive).value());
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

TEST_F(DirectoryLockTest, HasNoEffectWhereTheDirectoryCannotBeOpened) {
  const auto lock = lockDirectory(path() + "/none", LockKind::exclusive);
  ASSERT_TRUE(lock);
  EXPECT_TRUE(*lock);
}

TEST_F(DirectoryLockTest, FailsWithoutAFreeDescriptor) {
  // Asked for here: without a descriptor UBSan takes each call of a member for one on no object.
  const std::string directory = path();
  const int status = inChild([&directory] {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_NOFILE, &none);
    const auto lock = lockDirectory(directory, LockKind::exclusive);
    return !lock && lock.error() == EMFILE ? 0 : 1;
  });
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace parlen::test
