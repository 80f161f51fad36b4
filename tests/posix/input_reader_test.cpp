#include "platform/posix/input_reader.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

namespace parlen::test {
namespace {

using posix::Inbox;
using std::chrono::milliseconds;

constexpr milliseconds noTime{0};
constexpr std::chrono::minutes longTime{2};

TEST(Inbox, IsFullAtItsLimitUntilItIsDrained) {
  std::size_t handled = 0;
  Inbox inbox([&](std::string_view chunk) { handled += chunk.size(); });

  EXPECT_TRUE(inbox.add(std::string(Inbox::limit - 1, 'x')));
  EXPECT_TRUE(inbox.waitForRoom(noTime));
  EXPECT_FALSE(inbox.add("x")) << "one drain is enough for both";
  EXPECT_FALSE(inbox.waitForRoom(noTime));
  inbox.drain();

  EXPECT_EQ(Inbox::limit, handled);
  EXPECT_TRUE(inbox.waitForRoom(noTime));
  EXPECT_TRUE(inbox.add("y")) << "the next bytes need a drain of their own";
}

TEST(Inbox, EndsAWaitForRoomWhenItIsDrainedOrClosed) {
  for (void (Inbox::*makeRoom)() : {&Inbox::drain, &Inbox::close}) {
    Inbox inbox([](std::string_view) {});
    inbox.add(std::string(Inbox::limit, 'x'));
    bool hasRoom = false;
    std::thread reader([&] { hasRoom = inbox.waitForRoom(longTime); });

    (inbox.*makeRoom)();
    reader.join();

    EXPECT_TRUE(hasRoom);
  }
}

}  // namespace
}  // namespace parlen::test
