#include "platform/qemu/qemu_process.h"

#include <gmock/gmock.h>

#include "host_fixture.h"
#include "support/run_until.h"

namespace parlen::qemu {
namespace {

using testing::ElementsAre;

/// A shell script in QEMU's place: descriptor 3 is its end of the control socket.
class QemuProcessTest : public testing::Test {
 protected:
  void start(const std::string& script) {
    auto started = QemuProcess::start(
        system_->posixLoop(), "/bin/sh", {"-c", script},
        {.control = {.ready = [this] { heard.emplace_back("ready"); },
                     .event = [this](const QmpEvent& event) { heard.push_back(event.name); }},
         .ended = [this](const QemuExit& exit) {
           heard.emplace_back("ended");
           end = exit;
         }});
    ASSERT_TRUE(started) << started.error().description;
    process = *std::move(started);
  }
  void runToTheEnd() {
    ASSERT_TRUE(test::runUntil(system_->loop(), [this] { return end.has_value(); }));
  }
  void runUntilReady() {
    ASSERT_TRUE(test::runUntil(system_->loop(), [this] { return !heard.empty(); }));
  }

  static constexpr const char* greet = R"(
    echo '{"QMP": {}}' >&3
    read command <&3
    echo '{"return": {}, "id": 1}' >&3
  )";

  std::vector<std::string> heard;
  std::optional<QemuExit> end;
  std::unique_ptr<linux::PosixSystem> system_ = linux::makePosixSystem();
  std::unique_ptr<QemuProcess> process;
};

TEST_F(QemuProcessTest, IsReadyWhenItsCommandsAreTaken) {
  start(std::string(greet) + "exit 0");

  runToTheEnd();

  EXPECT_THAT(heard, ElementsAre("ready", "ended"));
  EXPECT_EQ(end->exit.status, 0);
}

TEST_F(QemuProcessTest, IsHeardToTheLastEventBeforeItsEndIsTold) {
  start(std::string(greet) + R"(
    for i in 1 2 3 4 5; do echo '{"event": "E"}' >&3; done
    printf '{"event": "S' >&3; printf 'HUTDOWN"}\r\n' >&3
    exit 3)");

  runToTheEnd();

  EXPECT_THAT(heard, ElementsAre("ready", "E", "E", "E", "E", "E", "SHUTDOWN", "ended"));
  EXPECT_EQ(end->exit.status, 3);
}

TEST_F(QemuProcessTest, KeepsItsOutputForTheErrorOnly) {
  start("echo 'on standard output'; echo 'sh: the reason' >&2; exit 1");

  runToTheEnd();

  EXPECT_EQ(end->lastMessage, "the reason");
  EXPECT_THAT(heard, ElementsAre("ended"));
}

TEST_F(QemuProcessTest, TellsTheSignalThatEndedIt) {
  start("kill -9 $$");

  runToTheEnd();

  EXPECT_EQ(end->exit.status, std::nullopt);
  EXPECT_EQ(end->exit.signal, 9);
}

TEST_F(QemuProcessTest, WaitsForTheProcessAfterTheControlSocketHasEnded) {
  start(std::string(greet) + "exec 3>&- 3<&-; read line; exit 0");

  runUntilReady();
  ASSERT_TRUE(test::runUntil(system_->loop(), [this] { return !process->control().isOpen(); }));
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

  process->control().execute("stop", [this](const platform::Result<>& result) {
    heard.emplace_back(result ? "stop worked" : "stop failed");
  });
  process->control().execute("cont", [this](const platform::Result<>& result) {
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
    process->control().execute("a_command_that_is_rather_long_to_fill_the_socket",
                               [](const platform::Result<>&) {});
  }
  runToTheEnd();

  EXPECT_EQ(end->exit.status, 7);
}

TEST_F(QemuProcessTest, DoesNotStartWithoutItsProgram) {
  const auto started = QemuProcess::start(system_->posixLoop(), "/nowhere/qemu", {}, {});

  ASSERT_FALSE(started);
  EXPECT_THAT(started.error().description, testing::HasSubstr("No such file or directory"));
}

}  // namespace
}  // namespace parlen::qemu
