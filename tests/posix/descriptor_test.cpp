#include "platform/posix/descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/select.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string>
#include <string_view>

#include "support/posix_fixtures.h"

namespace parlen::test {
namespace {

using posix::Descriptor;
using posix::Pipe;
using posix::readableBytes;
using posix::waitUntilReady;
using posix::writeAll;

TEST(Pipe, IsClosedOnExec) {
  const Pipe pipe = posix::makePipe();

  EXPECT_EQ(FD_CLOEXEC, fcntl(pipe.reading.get(), F_GETFD));
  EXPECT_EQ(FD_CLOEXEC, fcntl(pipe.writing.get(), F_GETFD));
}

TEST(WriteAll, LeavesWhatAFullPipeDoesNotTake) {
  const Pipe pipe = makePipe(O_NONBLOCK);
  const std::string sent(1 << 20, 'x');
  std::string_view left = sent;

  EXPECT_EQ(EAGAIN, writeAll(pipe.writing.get(), left));

  EXPECT_GT(left.size(), 0U);
  EXPECT_LT(left.size(), sent.size());
}

TEST(WriteAll, ReturnsTheReasonOfAFailure) {
  std::string_view bytes = "x";

  EXPECT_EQ(EBADF, writeAll(-1, bytes));
  EXPECT_EQ("x", bytes);
}

TEST(ReadableBytes, CountsWhatHasBeenWritten) {
  const Pipe pipe = makePipe();
  EXPECT_EQ(0U, readableBytes(pipe.reading.get()));

  send(pipe.writing.get(), "abc");
  send(pipe.writing.get(), "de");

  EXPECT_EQ(5U, readableBytes(pipe.reading.get()));
  EXPECT_EQ(0U, readableBytes(-1));
}

TEST(WaitUntilReady, TellsWhichDescriptorsAreReady) {
  const Pipe quiet = makePipe();
  const Pipe full = makePipe();
  send(full.writing.get(), "x");
  pollfd waits[] = {{quiet.reading.get(), POLLIN, 0},
                    {full.reading.get(), POLLIN, 0},
                    {quiet.writing.get(), POLLOUT, 0},
                    {-1, POLLIN, 0}};

  waitUntilReady(waits);

  EXPECT_EQ(0, waits[0].revents);
  EXPECT_EQ(POLLIN, waits[1].revents);
  EXPECT_EQ(POLLOUT, waits[2].revents);
  EXPECT_EQ(0, waits[3].revents);
}

TEST(WaitUntilReady, TakesAnEndForReadiness) {
  Pipe pipe = makePipe();
  pipe.writing.close();
  pollfd wait{pipe.reading.get(), POLLIN, 0};

  waitUntilReady({&wait, 1});

  EXPECT_NE(0, wait.revents);
}

TEST(WaitUntilReady, TakesNumbersThatSelectDoesNot) {
  constexpr int above = FD_SETSIZE + 10;
  // Not all that the hard limit allows: a Mac's is unlimited, and the soft one may not be
  // (setrlimit(2) of macOS, RLIMIT_NOFILE).
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, above + 1);
  setrlimit(RLIMIT_NOFILE, &limit);
  const Pipe pipe = makePipe();
  send(pipe.writing.get(), "x");
  const Descriptor high(fcntl(pipe.reading.get(), F_DUPFD_CLOEXEC, above));
  if (!high) GTEST_SKIP() << "the process may not have so many descriptors";
  pollfd wait{high.get(), POLLIN, 0};

  waitUntilReady({&wait, 1});

  EXPECT_NE(0, wait.revents);
}

TEST(WaitUntilReady, EndsWithItsTimeout) {
  const Pipe pipe = makePipe();
  pollfd wait{pipe.reading.get(), POLLIN, 0};

  waitUntilReady({&wait, 1}, std::chrono::milliseconds(0));

  EXPECT_EQ(0, wait.revents);
}

TEST(WaitUntilReady, TakesANumberThatIsNotOpenForReady) {
  const Pipe pipe = makePipe();
  constexpr int notOpen = 1000;
  pollfd waits[] = {{pipe.reading.get(), POLLIN, 0}, {notOpen, POLLIN, 0}};

  waitUntilReady(waits);

  EXPECT_EQ(0, waits[0].revents);
  EXPECT_NE(0, waits[1].revents);
}

}  // namespace
}  // namespace parlen::test
