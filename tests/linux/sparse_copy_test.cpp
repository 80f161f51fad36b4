#include "platform/linux/sparse_copy.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <random>
#include <string>

#include "platform/posix/descriptor.h"
#include "support/posix_fixtures.h"
#include "support/temporary_directory.h"

namespace parlen::test {
namespace {

using linux::copyContent;
using posix::Descriptor;

constexpr std::size_t mebibyte = 1 << 20;

Descriptor create(const std::string& path) {
  return Descriptor(open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
}

struct stat statusOf(const Descriptor& file) {
  struct stat status{};
  EXPECT_EQ(0, fstat(file.get(), &status));
  return status;
}

void put(const Descriptor& file, off_t offset, std::string_view bytes) {
  ASSERT_EQ(static_cast<ssize_t>(bytes.size()),
            pwrite(file.get(), bytes.data(), bytes.size(), offset));
}

class SparseCopyTest : public testing::Test {
 protected:
  // The source's content as it has to be in the copy, without any more storage.
  void expectCopied() {
    ASSERT_EQ(0, copyContent(source_.get(), statusOf(source_), target_.get()));
    const struct stat copied = statusOf(target_);
    EXPECT_EQ(statusOf(source_).st_size, copied.st_size);
    EXPECT_LE(copied.st_blocks, statusOf(source_).st_blocks);
    EXPECT_TRUE(fileContent(directory_ / "source") == fileContent(directory_ / "target"));
  }

  TemporaryDirectory directory_;
  Descriptor source_ = create(directory_ / "source");
  Descriptor target_ = create(directory_ / "target");
};

TEST_F(SparseCopyTest, CopiesAnEmptyFile) { expectCopied(); }

TEST_F(SparseCopyTest, CopiesAFileWithoutHoles) {
  put(source_, 0, std::string(mebibyte + 17, 'x'));
  expectCopied();
}

TEST_F(SparseCopyTest, KeepsAFileThatIsOneHole) {
  ASSERT_EQ(0, ftruncate(source_.get(), 8 * mebibyte + 5));
  expectCopied();
  EXPECT_EQ(0, statusOf(target_).st_blocks);
}

TEST_F(SparseCopyTest, KeepsHolesAtTheStartInTheMiddleAndAtTheEnd) {
  put(source_, mebibyte, std::string(mebibyte, 'x'));
  put(source_, 8 * mebibyte + 100, "lonely");
  ASSERT_EQ(0, ftruncate(source_.get(), 16 * mebibyte));
  expectCopied();
}

TEST_F(SparseCopyTest, CopiesDataThatEndsInsideABlock) {
  put(source_, 5 * mebibyte, "the end");
  expectCopied();
}

TEST_F(SparseCopyTest, CopiesManyExtents) {
  std::mt19937 random(1);
  for (int i = 0; i < 300; ++i) {
    const auto offset = static_cast<off_t>(random() % (32 * mebibyte));
    put(source_, offset, std::string(1 + random() % 20000, static_cast<char>('a' + i % 26)));
  }
  expectCopied();
}

TEST_F(SparseCopyTest, DoesNotReadAHoleOfATebibyte) {
  ASSERT_EQ(0, ftruncate(source_.get(), off_t{1} << 40));
  put(source_, off_t{1} << 39, "in the middle");

  ASSERT_EQ(0, copyContent(source_.get(), statusOf(source_), target_.get()));

  EXPECT_EQ(off_t{1} << 40, statusOf(target_).st_size);
  EXPECT_LE(statusOf(target_).st_blocks, statusOf(source_).st_blocks);
  char bytes[13];
  ASSERT_EQ(13, pread(target_.get(), bytes, sizeof bytes, off_t{1} << 39));
  EXPECT_EQ("in the middle", std::string(bytes, sizeof bytes));
}

TEST_F(SparseCopyTest, ReturnsTheReasonOfAFailure) {
  put(source_, 0, "x");
  const Descriptor readOnly(open((directory_ / "target").c_str(), O_RDONLY | O_CLOEXEC));

  EXPECT_EQ(EBADF, copyContent(source_.get(), statusOf(source_), readOnly.get()));
}

// Between file systems the kernel may not move the data itself.
TEST_F(SparseCopyTest, LeavesHolesForZerosOnAnotherFileSystem) {
  char path[] = "/dev/shm/parlen-test-XXXXXX";
  target_ = Descriptor(mkostemp(path, O_CLOEXEC));
  if (!target_) GTEST_SKIP() << "there is no second file system";
  put(source_, 4096, std::string(mebibyte, '\0') + "after zeros");
  put(source_, 3 * mebibyte + 1, std::string(100000, 'y'));

  const int code = copyContent(source_.get(), statusOf(source_), target_.get());
  const std::string copied = fileContent(path);
  unlink(path);

  ASSERT_EQ(0, code);
  EXPECT_TRUE(fileContent(directory_ / "source") == copied);
  EXPECT_LT(statusOf(target_).st_blocks * 512, off_t{mebibyte});
}

}  // namespace
}  // namespace parlen::test
