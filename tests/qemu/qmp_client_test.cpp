#include "platform/qemu/qmp_client.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/event_loop.h"
#include "platform/linux/socket_pair.h"
#include "platform/linux/system.h"
#include "support/posix_fixtures.h"
#include "support/run_until.h"

namespace parlen::qemu {
namespace {

using posix::Descriptor;
using testing::ElementsAre;

struct Received {
  std::string bytes;
  std::vector<Descriptor> descriptors;
};

/// Receives one message, up to `maxBytes` of it.
void receive(const Descriptor& socket, std::size_t maxBytes, Received& received) {
  std::string bytes(maxBytes, '\0');
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
    auto sockets = linux::makeSocketPair().value();
    peer_ = std::move(sockets.theirs);
    client_.emplace(loop_, std::move(sockets.ours), QmpClient::Handlers{});
  }

  linux::EventLoop loop_;
  Descriptor peer_;
  std::optional<QmpClient> client_;
};

TEST_F(QmpClientTest, SendsAViewersSocketWithItsCommand) {
  auto viewer = linux::makeSocketPair().value();

  client_->addViewer(std::move(viewer.theirs), [](const platform::Result<>&) {});

  Received received;
  receive(peer_, 4096, received);
  ASSERT_EQ(received.descriptors.size(), 1U);
  ASSERT_EQ(2, write(received.descriptors[0].get(), "hi", 2));
  std::array<char, 2> bytes{};
  EXPECT_EQ(2, read(viewer.ours.get(), bytes.data(), bytes.size()));
  receive(peer_, 4096, received);
  EXPECT_EQ(received.bytes,
            R"({"execute":"getfd","arguments":{"fdname":"viewer"},"id":1})"
            "\n"
            R"({"execute":"add_client","arguments":{"protocol":"vnc","fdname":"viewer",)"
            R"("skipauth":true},"id":2})"
            "\n");
}

/// A client that counts what it is told, and a QEMU that says a lot.
class QmpFloodTest : public testing::Test {
 protected:
  /// In one piece, because a socket holds few small ones.
  void say(int events) {
    std::string all;
    for (; events > 0; --events) all += "{\"event\":\"RTC_CHANGE\"}\n";
    test::send(sockets_.theirs.get(), all);
  }

  static constexpr int total = 4000;
  int handled_ = 0;
  std::function<void()> onEvent_ = [] {};
  linux::EventLoop loop_;

 private:
  linux::SocketPair sockets_ = linux::makeSocketPair().value();

 protected:
  QmpClient client_{
      loop_, std::move(sockets_.ours), {.onReady = nullptr, .onEvent = [this](const QmpEvent&) {
                                          ++handled_;
                                          onEvent_();
                                        }}};
};

TEST_F(QmpFloodTest, HandlesItInPieces) {
  say(total);

  loop_.post(test::leaveLoop);
  test::serve(loop_);

  EXPECT_GT(handled_, 0);
  EXPECT_LT(handled_, total / 2);
  EXPECT_TRUE(test::runUntil(loop_, [this] { return handled_ == total; }));
}

TEST_F(QmpFloodTest, DrainsOnlyWhatHasBeenSentByThen) {
  say(total);
  constexpr int more = 500;
  onEvent_ = [this] {
    if (handled_ % more == 0 && handled_ < 5 * total) say(more);
  };

  client_.drain();

  EXPECT_GE(handled_, total);
  EXPECT_LT(handled_, 2 * total);
}

TEST_F(QmpClientTest, SendsEachViewersSocketWithItsOwnCommand) {
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

/// A shell script in QEMU's place: descriptor 3 is its end of the control socket.
class QemuProcessTest : public testing::Test {
 protected:
  void start(const std::string& script) {
    auto started = QemuProcess::start(
        system_.loop(), {.program = "/bin/sh", .arguments = {"-c", script}, .networkSockets = {}},
        {.monitor = {.onReady = [this](const auto&) { heard.emplace_back("ready"); },
                     .onEvent = [this](const QmpEvent& event) { heard.push_back(event.name); }},
         .onExit = [this](const SubprocessExit& exit) {
           heard.emplace_back("ended");
           end = exit;
         }});
    ASSERT_TRUE(started) << started.error().description;
    process = *std::move(started);
  }
  void runToTheEnd() {
    ASSERT_TRUE(test::runUntil(system_.loop(), [this] { return end.has_value(); }));
  }
  void runUntilReady() {
    ASSERT_TRUE(test::runUntil(system_.loop(), [this] { return !heard.empty(); }));
  }

  static constexpr const char* greet = R"(
    echo '{"QMP": {}}' >&3
    read command <&3
    echo '{"return": {}, "id": 1}' >&3
  )";

  std::vector<std::string> heard;
  std::optional<SubprocessExit> end;
  linux::System system_;
  std::unique_ptr<QemuProcess> process;
};

TEST_F(QemuProcessTest, IsReadyWhenItsCommandsAreTaken) {
  start(std::string(greet) + "exit 0");

  runToTheEnd();

  EXPECT_THAT(heard, ElementsAre("ready", "ended"));
  EXPECT_EQ(end->exit.status, 0);
}

TEST_F(QemuProcessTest, HandlesTheLastEventBeforeItsExit) {
  start(std::string(greet) + R"(
    for i in 1 2 3 4 5; do echo '{"event": "E"}' >&3; done
    printf '{"event": "S' >&3; printf 'HUTDOWN"}\r\n' >&3
    exit 3)");

  runToTheEnd();

  EXPECT_THAT(heard, ElementsAre("ready", "E", "E", "E", "E", "E", "SHUTDOWN", "ended"));
  EXPECT_EQ(end->exit.status, 3);
}

TEST_F(QemuProcessTest, KeepsItsLastMessage) {
  start("echo 'on standard output'; echo 'sh: the reason' >&2; exit 1");

  runToTheEnd();

  EXPECT_EQ(end->lastMessage, "the reason");
  EXPECT_THAT(heard, ElementsAre("ended"));
}

TEST_F(QemuProcessTest, ReportsTheSignalThatEndedIt) {
  start("kill -9 $$");

  runToTheEnd();

  EXPECT_EQ(end->exit.status, std::nullopt);
  EXPECT_EQ(end->exit.signal, 9);
}

TEST_F(QemuProcessTest, WaitsForTheExitAfterTheSocketHasClosed) {
  start(std::string(greet) + "exec 3>&- 3<&-; read line; exit 0");

  runUntilReady();
  ASSERT_TRUE(test::runUntil(system_.loop(), [this] { return !process->monitor().isOpen(); }));
  runToTheEnd();

  EXPECT_EQ(end->exit.status, 0);
}

TEST_F(QemuProcessTest, AnswersEachCommandWithItsOwnReply) {
  start(std::string(greet) + R"(
    read first <&3; read second <&3
    echo '{"error": {"desc": "no"}, "id": 3}{' >&3
    echo '{"error": {"desc": "no"}, "id": 3}' >&3
    echo '{"return": {}, "id": 2}' >&3
    echo '{"return": {}, "id": 2}' >&3
    exit 0)");
  runUntilReady();

  process->monitor().execute("stop", [this](const platform::Result<>& result) {
    heard.emplace_back(result ? "stop worked" : "stop failed");
  });
  process->monitor().execute("cont", [this](const platform::Result<>& result) {
    heard.emplace_back(result ? "cont worked" : "cont failed: " + result.error().description);
  });
  runToTheEnd();

  EXPECT_THAT(heard, ElementsAre("ready", "cont failed: no", "stop worked", "ended"));
}

TEST_F(QemuProcessTest, SendsAllCommandsToAProcessThatReadsLate) {
  constexpr int commands = 2000;
  start(std::string(greet) + R"(
    read go </dev/null
    count=0
    while [ $count -lt 2000 ]; do read line <&3; count=$((count + 1)); done
    case "$line" in *'"id":2001'*) exit 7;; esac
    exit 1)");
  runUntilReady();

  for (int i = 0; i < commands; ++i) {
    process->monitor().execute("a_command_that_is_rather_long_to_fill_the_socket",
                               [](const platform::Result<>&) {});
  }
  runToTheEnd();

  EXPECT_EQ(end->exit.status, 7);
}

TEST_F(QemuProcessTest, DoesNotStartWithoutItsProgram) {
  const auto started = QemuProcess::start(
      system_.loop(), {.program = "/nowhere/qemu", .arguments = {}, .networkSockets = {}}, {});

  ASSERT_FALSE(started);
  EXPECT_THAT(started.error().description, testing::HasSubstr("No such file or directory"));
}

}  // namespace
}  // namespace parlen::qemu
