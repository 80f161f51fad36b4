#include "platform/linux/posix_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/poll_loop.h"
#include "platform/linux/system.h"
#include "support/posix_fixtures.h"
#include "support/temporary_directory.h"

namespace parlen::test {
namespace {

using linux::makePosixSystem;
using linux::PollLoop;
using linux::PosixProcess;

TEST(PosixProcess, WaitsForAProgramAndReturnsItsStatus) {
  PollLoop loop;
  PosixProcess process(loop);

  EXPECT_EQ(4, process.runAndWait("/bin/sh", {"-c", "exit 4"}));
  EXPECT_EQ(128 + SIGTERM, process.runAndWait("/bin/sh", {"-c", "kill -TERM $$"}));
}

TEST(PosixProcess, FailsToRunWhatIsNotThere) {
  PollLoop loop;

  const auto status = PosixProcess(loop).runAndWait("/no/such/program", {"x"});

  ASSERT_FALSE(status);
  EXPECT_EQ(ENOENT, status.error().code);
}

TEST(PosixProcess, GivesAProgramItsOwnStandardStreams) {
  posix::Pipe pipe = makePipe();
  const int status = inChild([&] {
    dup2(pipe.writing.get(), 1);
    dup2(pipe.writing.get(), 2);
    PollLoop loop;
    return PosixProcess(loop).runAndWait("/bin/sh", {"-c", "echo out; echo error >&2"}).value();
  });
  pipe.writing.close();

  EXPECT_EQ(0, status);
  EXPECT_EQ("out\nerror\n", readAll(pipe.reading.get()));
}

TEST(PosixProcess, GivesAProgramTheDefaultActionOfAWatchedSignal) {
  PollLoop loop;
  PosixProcess process(loop);
  const auto source = process.watchSignal(platform::TerminationSignal::terminate, [] { FAIL(); });

  EXPECT_EQ(128 + SIGTERM, process.runAndWait("/bin/sh", {"-c", "kill -TERM $$; exit 1"}));
}

TEST(PosixSystem, OpensTheStandardDescriptorsThatWereClosed) {
  for (unsigned closed = 0; closed < 8; ++closed) {
    const int status = inChild([closed] {
      for (int descriptor = 0; descriptor < 3; ++descriptor) {
        if ((closed & (1U << descriptor)) != 0) close(descriptor);
      }
      const auto system = makePosixSystem();
      for (int descriptor = 0; descriptor < 3; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) != 0) return 1;  // closed, or closed at exec
      }
      return open("/dev/null", O_RDONLY) > 2 ? 0 : 2;
    });
    EXPECT_EQ(0, status) << "closed: " << closed;
  }
}

TEST(PosixSystem, HearsTheEndAtOnceWhenStandardInputWasClosed) {
  const int status = inChild([] {
    close(0);
    const auto system = makePosixSystem();
    int ends = 0;
    system->streams().readInput([&](std::string_view chunk) {
      ends += chunk.empty() ? 1 : 100;
      leaveLoop();
    });
    serve(system->loop());
    return ends;
  });

  EXPECT_EQ(1, WEXITSTATUS(status));
}

TEST(PosixSystem, OpensNothingBeforeItIsAsked) {
  const int before = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(before);
  const auto system = makePosixSystem();
  const auto queue = system->makeSerialQueue("output");
  const int after = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(after);

  EXPECT_EQ(before, after);
  EXPECT_EQ(&system->loop(), &system->posixLoop());
}

}  // namespace
}  // namespace parlen::test
