#include "platform/linux/system.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/posix_fixtures.h"

namespace parlen::test {
namespace {

TEST(System, OpensTheStandardDescriptorsThatWereClosed) {
  for (unsigned closed = 0; closed < 8; ++closed) {
    const int status = inChild([closed] {
      for (int descriptor = 0; descriptor < 3; ++descriptor) {
        if ((closed & (1U << descriptor)) != 0) close(descriptor);
      }
      linux::System system;
      for (int descriptor = 0; descriptor < 3; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) != 0) return 1;  // closed, or closed at exec
      }
      return open("/dev/null", O_RDONLY) > 2 ? 0 : 2;
    });
    EXPECT_EQ(0, status) << "closed: " << closed;
  }
}

TEST(System, HearsTheEndAtOnceWhenStandardInputWasClosed) {
  const int status = inChild([] {
    close(0);
    linux::System system;
    int ends = 0;
    system.streams().readInput([&](std::string_view chunk) {
      ends += chunk.empty() ? 1 : 100;
      leaveLoop();
    });
    serve(system.loop());
    return ends;
  });

  EXPECT_EQ(1, WEXITSTATUS(status));
}

TEST(System, OpensNothingBeforeItIsAsked) {
  const int before = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(before);
  linux::System system;
  const auto queue = system.makeSerialQueue("output");
  const int after = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(after);

  EXPECT_EQ(before, after);
}

}  // namespace
}  // namespace parlen::test
