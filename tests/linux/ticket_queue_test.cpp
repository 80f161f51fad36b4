#include "platform/linux/ticket_queue.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace parlen::test {
namespace {

using linux::TicketQueue;

TEST(TicketQueue, RunsWorkOnTheCallingThreadBeforeItReturns) {
  TicketQueue queue("output");
  std::thread::id ranOn;

  queue.sync([&] { ranOn = std::this_thread::get_id(); });

  EXPECT_EQ(std::this_thread::get_id(), ranOn);
}

TEST(TicketQueue, RunsOnePieceOfWorkAtATime) {
  constexpr int threadCount = 4;
  constexpr int each = 2000;
  TicketQueue queue("output");
  int running = 0;
  std::vector<int> last(threadCount, -1);
  const auto submit = [&](std::size_t thread) {
    for (int i = 0; i < each; ++i) {
      queue.sync([&] {
        EXPECT_EQ(1, ++running);
        EXPECT_EQ(i - 1, last[thread]);
        last[thread] = i;
        --running;
      });
    }
  };
  std::vector<std::jthread> threads;
  for (std::size_t i = 0; i < threadCount; ++i) threads.emplace_back(submit, i);
  threads.clear();

  EXPECT_EQ(std::vector<int>(threadCount, each - 1), last);
}

TEST(TicketQueue, GoesOnAfterWorkThatThrows) {
  TicketQueue queue("output");
  bool ran = false;

  EXPECT_THROW(queue.sync([] { throw 1; }), int);
  queue.sync([&] { ran = true; });

  EXPECT_TRUE(ran);
}

}  // namespace
}  // namespace parlen::test
