#include "platform/linux/poll_loop.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/posix_fixtures.h"

namespace parlen::test {
namespace {

using linux::PollLoop;
using linux::Readiness;
using linux::DescriptorWatch;
using std::chrono::milliseconds;
using testing::ElementsAre;

// A pipe that is ready to be read for as long as it lives.
posix::Pipe readyPipe() {
  posix::Pipe pipe = makePipe();
  EXPECT_EQ(1, write(pipe.writing.get(), "x", 1));
  return pipe;
}

TEST(PollLoop, RunsPostedWorkInItsOrder) {
  PollLoop loop;
  std::vector<int> order;
  for (int i = 0; i < 3; ++i) loop.post([&order, i] { order.push_back(i); });
  loop.post(&leaveLoop);

  serve(loop);

  EXPECT_THAT(order, ElementsAre(0, 1, 2));
}

TEST(PollLoop, RunsWorkPostedDuringATurnInALaterTurn) {
  PollLoop loop;
  const posix::Pipe pipe = readyPipe();
  int turns = 0;
  std::vector<int> ranIn;
  const auto watch = loop.watch(pipe.reading.get(), Readiness::readable, [&] { ++turns; });
  loop.post([&] {
    ranIn.push_back(turns);
    loop.postDelayed(milliseconds(0), [&] {
      ranIn.push_back(turns);
      leaveLoop();
    });
    loop.post([&] { ranIn.push_back(turns); });
  });

  serve(loop);

  EXPECT_THAT(ranIn, ElementsAre(1, 2));
}

TEST(PollLoop, RunsWorkPostedByAWatchInALaterTurn) {
  PollLoop loop;
  const posix::Pipe pipe = readyPipe();
  int turns = 0;
  const auto watch = loop.watch(pipe.reading.get(), Readiness::readable, [&] {
    if (++turns == 1) loop.post([&] { leaveLoop(); });
  });

  serve(loop);

  EXPECT_EQ(2, turns);
}

TEST(PollLoop, RunsDelayedWorkByDeadlineThenBySubmission) {
  PollLoop loop;
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

TEST(PollLoop, NeverRunsDelayedWorkEarly) {
  PollLoop loop;
  const auto begin = loop.systemUptime();
  std::chrono::nanoseconds ranAfter{};
  loop.postDelayed(milliseconds(15), [&] {
    ranAfter = loop.systemUptime() - begin;
    leaveLoop();
  });

  serve(loop);

  EXPECT_GE(ranAfter, milliseconds(15));
}

TEST(PollLoop, TakesAnyDelay) {
  PollLoop loop;
  loop.postDelayed(milliseconds::max(), [] { FAIL() << "that was not 300 million years"; });
  loop.postDelayed(milliseconds(1), &leaveLoop);

  serve(loop);
}

TEST(PollLoop, WakesForAPostOfAnotherThread) {
  PollLoop loop;
  std::thread other([&] { loop.post(&leaveLoop); });

  serve(loop);

  other.join();
}

TEST(PollLoop, KeepsTheOrderOfEveryPostingThread) {
  constexpr int count = 2000;
  PollLoop loop;
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

TEST(PollLoop, CallsAWatchAgainWhileItIsReady) {
  PollLoop loop;
  const posix::Pipe pipe = readyPipe();
  int calls = 0;
  const auto watch = loop.watch(pipe.reading.get(), Readiness::readable, [&] {
    if (++calls == 3) leaveLoop();
  });

  serve(loop);

  EXPECT_EQ(3, calls);
}

TEST(PollLoop, TellsOfRoomToWriteAndOfAnEnd) {
  PollLoop loop;
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

TEST(PollLoop, LetsAHandlerEndAnyWatchAndAddNewOnes) {
  PollLoop loop;
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

TEST(PollLoop, LosesNothingWhenWorkThrows) {
  PollLoop loop;
  bool ran = false;
  loop.post(&leaveLoop);
  loop.post([&] { ran = true; });
  loop.post(&leaveLoop);

  serve(loop);
  EXPECT_FALSE(ran);
  serve(loop);
  EXPECT_TRUE(ran);
}

TEST(PollLoop, MayGoBeforeItsWorkAndItsWatches) {
  const auto held = std::make_shared<int>(1);
  const posix::Pipe pipe = readyPipe();
  std::unique_ptr<DescriptorWatch> watch;
  {
    PollLoop loop;
    loop.post([held] { FAIL(); });
    loop.postDelayed(milliseconds(1), [held] { FAIL(); });
    watch = loop.watch(pipe.reading.get(), Readiness::readable, [] { FAIL(); });
  }
  EXPECT_EQ(1, held.use_count());
  watch.reset();
}

TEST(PollLoop, HasClocksThatNeverGoBack) {
  const PollLoop loop;
  const auto uptime = loop.systemUptime();
  const auto now = loop.now();

  EXPECT_GE(loop.now(), now);
  EXPECT_GE(loop.systemUptime(), uptime);
  EXPECT_GE(now, uptime) << "a clock that counts on in sleep was behind one that does not";
}

// Another library's loop that watches one descriptor and notes what it is told.
class RecordingForeignLoop final : public linux::ForeignLoop {
 public:
  explicit RecordingForeignLoop(int descriptor) : descriptor_(descriptor) {}

  std::chrono::nanoseconds prepare(std::vector<pollfd>& polled) override {
    polled.push_back({descriptor_, POLLIN, 0});
    return longestWait;
  }
  void dispatch(std::span<const pollfd> polled) override {
    ASSERT_EQ(1U, polled.size());
    EXPECT_EQ(descriptor_, polled[0].fd);
    ready.push_back(polled[0].revents != 0);
    if (dispatched) dispatched();
  }

  std::chrono::nanoseconds longestWait = std::chrono::hours(1);
  std::vector<bool> ready;
  platform::Work dispatched;

 private:
  int descriptor_;
};

TEST(PollLoop, ServesAForeignLoopAfterTheTurnsOwnWork) {
  PollLoop loop;
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

TEST(PollLoop, WaitsNoLongerThanTheForeignLoopAllows) {
  PollLoop loop;
  const posix::Pipe pipe = makePipe();
  RecordingForeignLoop foreign(pipe.reading.get());
  foreign.longestWait = milliseconds(1);
  foreign.dispatched = &leaveLoop;
  loop.serve(&foreign);

  serve(loop);

  EXPECT_THAT(foreign.ready, ElementsAre(false));
}

TEST(PollLoop, KeepsItsOwnWatchesApartFromTheForeignLoops) {
  PollLoop loop;
  const posix::Pipe own = readyPipe();
  const posix::Pipe quiet = makePipe();
  RecordingForeignLoop foreign(quiet.reading.get());
  int turns = 0;
  const auto watch = loop.watch(own.reading.get(), Readiness::readable, [&] {
    if (++turns == 2) leaveLoop();
  });
  loop.serve(&foreign);

  serve(loop);

  EXPECT_THAT(foreign.ready, ElementsAre(false));
}

TEST(PollLoop, LeavesAForeignLoopAloneOnceItsServiceHasEnded) {
  PollLoop loop;
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

}  // namespace
}  // namespace parlen::test
