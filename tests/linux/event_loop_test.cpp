#include "platform/linux/event_loop.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "failing_call.h"
#include "support/posix_fixtures.h"
#include "support/sanitizers.h"

namespace parlen::test {
namespace {

using linux::DescriptorWatch;
using linux::EventLoop;
using linux::Readiness;
using std::chrono::milliseconds;
using testing::ElementsAre;

// A pipe that is ready to be read for as long as it lives.
posix::Pipe readyPipe() {
  posix::Pipe pipe = makePipe();
  EXPECT_EQ(1, write(pipe.writing.get(), "x", 1));
  return pipe;
}

TEST(EventLoop, RunsPostedWorkInItsOrder) {
  EventLoop loop;
  std::vector<int> order;
  for (int i = 0; i < 3; ++i) loop.post([&order, i] { order.push_back(i); });
  loop.post(&leaveLoop);

  serve(loop);

  EXPECT_THAT(order, ElementsAre(0, 1, 2));
}

TEST(EventLoop, RunsWorkPostedByWorkInALaterIteration) {
  EventLoop loop;
  const posix::Pipe pipe = readyPipe();
  int iterations = 0;
  std::vector<int> ranIn;
  const auto watch = loop.watch(pipe.reading.get(), Readiness::readable, [&] { ++iterations; });
  loop.post([&] {
    ranIn.push_back(iterations);
    loop.postDelayed(milliseconds(0), [&] {
      ranIn.push_back(iterations);
      leaveLoop();
    });
    loop.post([&] { ranIn.push_back(iterations); });
  });

  serve(loop);

  EXPECT_THAT(ranIn, ElementsAre(1, 2));
}

TEST(EventLoop, RunsWorkPostedByAWatchInALaterIteration) {
  EventLoop loop;
  const posix::Pipe pipe = readyPipe();
  int iterations = 0;
  const auto watch = loop.watch(pipe.reading.get(), Readiness::readable, [&] {
    if (++iterations == 1) loop.post([&] { leaveLoop(); });
  });

  serve(loop);

  EXPECT_EQ(2, iterations);
}

TEST(EventLoop, RunsDelayedWorkByDeadlineThenBySubmission) {
  EventLoop loop;
  std::vector<std::string> order;
  const auto note = [&](std::string name) { return [&order, name] { order.push_back(name); }; };
  loop.postDelayed(milliseconds(20), note("late"));
  loop.postDelayed(milliseconds(20), &leaveLoop);
  loop.postDelayed(milliseconds(2), note("early"));
  loop.postDelayed(milliseconds(0), note("first"));
  loop.post(note("second"));
  loop.postDelayed(milliseconds(-5), note("third"));

  serve(loop);

  EXPECT_THAT(order, ElementsAre("first", "second", "third", "early", "late"));
}

TEST(EventLoop, NeverRunsDelayedWorkEarly) {
  EventLoop loop;
  const auto begin = loop.systemUptime();
  std::chrono::nanoseconds ranAfter{};
  loop.postDelayed(milliseconds(15), [&] {
    ranAfter = loop.systemUptime() - begin;
    leaveLoop();
  });

  serve(loop);

  EXPECT_GE(ranAfter, milliseconds(15));
}

TEST(EventLoop, TakesAnyDelay) {
  EventLoop loop;
  loop.postDelayed(milliseconds::max(), [] { FAIL() << "that was not 300 million years"; });
  loop.postDelayed(milliseconds(1), &leaveLoop);

  serve(loop);
}

TEST(EventLoop, WakesForAPostOfAnotherThread) {
  EventLoop loop;
  std::thread other([&] { loop.post(&leaveLoop); });

  serve(loop);

  other.join();
}

TEST(EventLoop, KeepsTheOrderOfEveryPostingThread) {
  constexpr int count = 2000;
  EventLoop loop;
  std::vector<int> seen[2];
  const auto send = [&](std::vector<int>& to) {
    for (int i = 0; i < count; ++i) {
      loop.post([&, i] {
        to.push_back(i);
        if (seen[0].size() + seen[1].size() == 2 * count) leaveLoop();
      });
    }
  };
  std::thread one(send, std::ref(seen[0]));
  std::thread two(send, std::ref(seen[1]));

  serve(loop);

  one.join();
  two.join();
  for (const auto& order : seen) {
    ASSERT_EQ(count, order.size());
    EXPECT_TRUE(std::ranges::is_sorted(order));
  }
}

TEST(EventLoop, CallsAWatchAgainWhileItIsReady) {
  EventLoop loop;
  const posix::Pipe pipe = readyPipe();
  int calls = 0;
  const auto watch = loop.watch(pipe.reading.get(), Readiness::readable, [&] {
    if (++calls == 3) leaveLoop();
  });

  serve(loop);

  EXPECT_EQ(3, calls);
}

TEST(EventLoop, ReportsRoomToWriteAndAnEnd) {
  EventLoop loop;
  posix::Pipe pipe = makePipe();
  std::vector<std::string> heard;
  std::unique_ptr<DescriptorWatch> writable;
  writable = loop.watch(pipe.writing.get(), Readiness::writable, [&] {
    heard.push_back("room");
    writable.reset();
    pipe.writing.close();
  });
  const auto readable = loop.watch(pipe.reading.get(), Readiness::readable, [&] {
    heard.push_back("end");
    leaveLoop();
  });

  serve(loop);

  EXPECT_THAT(heard, ElementsAre("room", "end"));
}

TEST(EventLoop, LetsACallbackEndAnyWatchAndAddNewOnes) {
  EventLoop loop;
  const posix::Pipe pipe = readyPipe();
  std::vector<std::string> heard;
  std::unique_ptr<DescriptorWatch> first;
  std::unique_ptr<DescriptorWatch> second;
  std::unique_ptr<DescriptorWatch> third;
  first = loop.watch(pipe.reading.get(), Readiness::readable, [&] {
    heard.push_back("first");
    first.reset();
    second.reset();
    third = loop.watch(pipe.reading.get(), Readiness::readable, [&] {
      heard.push_back("third");
      leaveLoop();
    });
  });
  second = loop.watch(pipe.reading.get(), Readiness::readable, [&] { heard.push_back("second"); });

  serve(loop);

  EXPECT_THAT(heard, ElementsAre("first", "third"));
}

TEST(EventLoop, LosesNothingWhenWorkThrows) {
  EventLoop loop;
  bool ran = false;
  loop.post(&leaveLoop);
  loop.post([&] { ran = true; });
  loop.post(&leaveLoop);

  serve(loop);
  EXPECT_FALSE(ran);
  serve(loop);
  EXPECT_TRUE(ran);
}

TEST(EventLoop, MayBeDestroyedBeforeItsWorkAndWatches) {
  const auto held = std::make_shared<int>(1);
  const posix::Pipe pipe = readyPipe();
  std::unique_ptr<DescriptorWatch> watch;
  {
    EventLoop loop;
    loop.post([held] { FAIL(); });
    loop.postDelayed(milliseconds(1), [held] { FAIL(); });
    watch = loop.watch(pipe.reading.get(), Readiness::readable, [] { FAIL(); });
  }
  EXPECT_EQ(1, held.use_count());
  watch.reset();
}

TEST(EventLoop, HasMonotonicClocks) {
  const EventLoop loop;
  const auto uptime = loop.systemUptime();
  const auto now = loop.now();

  EXPECT_GE(loop.now(), now);
  EXPECT_GE(loop.systemUptime(), uptime);
  EXPECT_GE(now, uptime) << "CLOCK_BOOTTIME, which counts during sleep, was behind CLOCK_MONOTONIC";
}

// Another library's loop that watches one descriptor and notes its calls.
class RecordingForeignLoop final : public linux::ForeignLoop {
 public:
  explicit RecordingForeignLoop(int descriptor) : descriptor_(descriptor) {}

  std::chrono::nanoseconds prepare(std::vector<pollfd>& polled) override {
    polled.push_back({descriptor_, POLLIN, 0});
    return maxWait;
  }
  void dispatch(std::span<const pollfd> polled) override {
    ASSERT_EQ(1U, polled.size());
    EXPECT_EQ(descriptor_, polled[0].fd);
    ready.push_back(polled[0].revents != 0);
    if (dispatched) dispatched();
  }

  std::chrono::nanoseconds maxWait = std::chrono::hours(1);
  std::vector<bool> ready;
  platform::Work dispatched;

 private:
  int descriptor_;
};

TEST(EventLoop, ServesAForeignLoopAfterItsOwnWork) {
  EventLoop loop;
  const posix::Pipe pipe = readyPipe();
  RecordingForeignLoop foreign(pipe.reading.get());
  std::vector<bool> servedBeforeWork;
  foreign.dispatched = &leaveLoop;
  loop.serve(&foreign);
  loop.post([&] { servedBeforeWork.push_back(!foreign.ready.empty()); });

  serve(loop);

  EXPECT_THAT(servedBeforeWork, ElementsAre(false));
  EXPECT_THAT(foreign.ready, ElementsAre(true));
}

TEST(EventLoop, WaitsNoLongerThanTheForeignLoopAllows) {
  EventLoop loop;
  const posix::Pipe pipe = makePipe();
  RecordingForeignLoop foreign(pipe.reading.get());
  foreign.maxWait = milliseconds(1);
  foreign.dispatched = &leaveLoop;
  loop.serve(&foreign);

  serve(loop);

  EXPECT_THAT(foreign.ready, ElementsAre(false));
}

TEST(EventLoop, KeepsItsOwnWatchesApartFromTheForeignLoops) {
  EventLoop loop;
  const posix::Pipe own = readyPipe();
  const posix::Pipe quiet = makePipe();
  RecordingForeignLoop foreign(quiet.reading.get());
  int iterations = 0;
  const auto watch = loop.watch(own.reading.get(), Readiness::readable, [&] {
    if (++iterations == 2) leaveLoop();
  });
  loop.serve(&foreign);

  serve(loop);

  EXPECT_THAT(foreign.ready, ElementsAre(false));
}

TEST(EventLoop, EndsTheServiceOfAForeignLoop) {
  EventLoop loop;
  const posix::Pipe pipe = readyPipe();
  RecordingForeignLoop foreign(pipe.reading.get());
  loop.serve(&foreign);
  loop.post([&] {
    loop.serve(nullptr);
    loop.post(&leaveLoop);
  });

  serve(loop);

  EXPECT_TRUE(foreign.ready.empty());
}

/// While it lives, no descriptor can be opened and no descriptor can be polled (poll(2), EINVAL).
class NoDescriptors {
 public:
  NoDescriptors() {
    getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit none{.rlim_cur = 0, .rlim_max = before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
  }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;
  ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }

 private:
  rlimit before_{};
};

TEST(EventLoop, EndsWithAnErrorIfItCannotWait) {
  EventLoop loop;
  loop.postDelayed(milliseconds(0), [&] { loop.postDelayed(milliseconds(1), &leaveLoop); });
  serve(loop);

  const NoDescriptors limit;
  const auto served = loop.run();

  ASSERT_FALSE(served);
  EXPECT_EQ(served.error().description, "could not wait for events: Invalid argument");
}

TEST(EventLoop, EndsWithAnErrorIfNothingCanWakeIt) {
  if (needsDescriptors) GTEST_SKIP() << "a sanitizer needs descriptors";
  const NoDescriptors limit;
  EventLoop loop;

  const auto served = loop.run();

  ASSERT_FALSE(served);
  EXPECT_EQ(served.error().description, "could not wait for events: Too many open files");
}

TEST(EventLoop, EndsWithAnErrorIfTheSystemNeverHasMemory) {
  platform::Result<> served;
  std::thread([&served] {
    failCall(SYS_ppoll, ENOMEM);
    EventLoop loop;
    served = loop.run();
  }).join();

  ASSERT_FALSE(served);
  EXPECT_EQ(served.error().description, "could not wait for events: Cannot allocate memory");
}

TEST(EventLoop, RunsItsWorkWhileTheSystemHasNoMemory) {
  int left = 3;
  std::thread([&left] {
    failCall(SYS_ppoll, ENOMEM);
    EventLoop loop;
    std::function<void()> again = [&] { --left == 0 ? leaveLoop() : loop.post(again); };
    loop.post(again);
    serve(loop);
  }).join();

  EXPECT_EQ(left, 0);
}

}  // namespace
}  // namespace parlen::test
