#include "platform/qemu/qmp_client.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstring>

#include "platform/linux/poll_loop.h"
#include "support/run_until.h"

namespace parlen::qemu {
namespace {

using linux::Descriptor;

struct Received {
  std::string bytes;
  std::vector<Descriptor> descriptors;
};

// One message, at most `most` bytes of it.
void receive(const Descriptor& socket, std::size_t most, Received& received) {
  std::string bytes(most, '\0');
  iovec vector{.iov_base = bytes.data(), .iov_len = bytes.size()};
  alignas(cmsghdr) std::array<char, CMSG_SPACE(4 * sizeof(int))> space{};
  msghdr message{};
  message.msg_iov = &vector;
  message.msg_iovlen = 1;
  message.msg_control = space.data();
  message.msg_controllen = space.size();
  const ssize_t count = recvmsg(socket.get(), &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
  if (count < 0) return;
  received.bytes.append(bytes, 0, static_cast<std::size_t>(count));
  const cmsghdr* header = CMSG_FIRSTHDR(&message);
  if (header == nullptr) return;
  const std::size_t number = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
  for (std::size_t i = 0; i < number; ++i) {
    int descriptor = -1;
    std::memcpy(&descriptor, CMSG_DATA(header) + i * sizeof(int), sizeof(int));
    received.descriptors.emplace_back(descriptor);
  }
}

class QmpClientTest : public testing::Test {
 protected:
  QmpClientTest() {
    std::array<int, 2> ends{};
    EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()));
    peer_ = Descriptor(ends[0]);
    client_.emplace(loop_, Descriptor(ends[1]), QmpClient::Handlers{});
  }

  linux::PollLoop loop_;
  Descriptor peer_;
  std::optional<QmpClient> client_;
};

TEST_F(QmpClientTest, HandsAViewersSocketOverWithTheCommandThatNamesIt) {
  std::array<int, 2> viewer{};
  ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, viewer.data()));
  const Descriptor own(viewer[0]);

  client_->addViewer(Descriptor(viewer[1]), [](const platform::Result<>&) {});

  Received received;
  receive(peer_, 4096, received);
  ASSERT_EQ(received.descriptors.size(), 1U);
  ASSERT_EQ(2, write(received.descriptors[0].get(), "hi", 2));
  std::array<char, 2> bytes{};
  EXPECT_EQ(2, read(own.get(), bytes.data(), bytes.size()));
  receive(peer_, 4096, received);
  EXPECT_EQ(received.bytes,
            R"({"execute":"getfd","arguments":{"fdname":"viewer"},"id":1})"
            "\n"
            R"({"execute":"add_client","arguments":{"protocol":"vnc","fdname":"viewer",)"
            R"("skipauth":true},"id":2})"
            "\n");
}

TEST_F(QmpClientTest, KeepsEachViewersSocketAtItsOwnCommand) {
  // So many commands that the socket is full before the viewers' come.
  constexpr int many = 20000;
  for (int i = 0; i < many; ++i) client_->execute("stop", [](const platform::Result<>&) {});
  for (int i = 0; i < 2; ++i) {
    client_->addViewer(Descriptor(dup(peer_.get())), [](const platform::Result<>&) {});
  }

  Received received;
  std::vector<std::size_t> bytesBefore;  // each viewer's socket came with what followed these
  const auto reading = loop_.watch(peer_.get(), linux::Readiness::readable, [&] {
    const std::size_t before = received.bytes.size();
    receive(peer_, 1024, received);
    while (bytesBefore.size() < received.descriptors.size()) bytesBefore.push_back(before);
  });
  const std::string last = "\"id\":" + std::to_string(many + 4) + "}\n";
  ASSERT_TRUE(test::runUntil(loop_, [&] { return received.bytes.ends_with(last); }));

  ASSERT_EQ(bytesBefore.size(), 2U);
  std::size_t command = 0;
  for (const std::size_t before : bytesBefore) {
    command = received.bytes.find(R"({"execute":"getfd")", command + 1);
    EXPECT_LE(before, command) << "the command came before its socket";
    EXPECT_LT(command, before + 1024) << "the socket came before its command";
  }
}

}  // namespace
}  // namespace parlen::qemu
