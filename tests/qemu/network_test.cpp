#include "platform/qemu/network.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host_fixture.h"
#include "platform/posix/files.h"

namespace parlen::qemu {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

/// A QEMU and a passt that are shell scripts, so that each can fail in its own way. Descriptor 3 is
/// QEMU's control socket and passt's network, descriptor 4 is QEMU's console, 5 its network.
class NetworkTest : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    if (IsSkipped()) return;
    plan_.configuration = makeGuest("guest");
    plan_.configuration.networkDevices = {
        {.attachment = platform::NetworkAttachment::nat, .macAddress = std::nullopt}};
    plan_.acceleration = Acceleration::emulation;
  }
  /// The script can `greet` and `answer` a command; `network` is its value of -netdev.
  void emulator(const std::string& script) {
    plan_.emulator = program("emulator", R"(
      network=$(printf '%s\n' "$@" | sed -n '/^-netdev$/{n;p}')
      say() { printf '%s\r\n' "$1" >&3; }
      answer() { read -r command <&3; id=${command##*:}; say "{\"return\": {}, \"id\": ${id%\}}}"; }
      greet() { say '{"QMP": {}}'; answer; }
      wait_for_end() { read -r end <&3; }
      )" + script);
  }
  void passt(const std::string& script) { plan_.passt = program("passt", script); }

  void start() {
    auto started = startQemu(
        loop(), plan_,
        {.monitor = {.onReady = [this](const auto&) { heard.emplace_back("ready"); },
                     .onEvent = nullptr},
         .onExit =
             [this](const SubprocessExit& exit) {
               heard.emplace_back("ended");
               end = exit;
             },
         .onNetworkLost =
             [this](const platform::PlatformError& error) { heard.push_back(error.description); }});
    ASSERT_TRUE(started) << started.error().description;
    qemu = *std::move(started);
  }
  void runUntilHeard(std::size_t count) {
    runUntil([this, count] { return heard.size() >= count; });
  }
  /// What a script has written to a file in the test's directory, once it is a whole line.
  std::string written(const std::string& name) {
    runUntil([&] { return files().read(path(name)).value_or("").ends_with('\n'); });
    return files().read(path(name)).value_or("");
  }

  std::vector<std::string> heard;
  std::optional<SubprocessExit> end;
  std::unique_ptr<QemuProcess> qemu;

  static constexpr const char* untilQemuEnds = "cat <&3 >/dev/null";
  static constexpr const char* emulated = "greet; echo \"$network\" >network; wait_for_end";

  void withNameServers(std::vector<std::string> addresses) {
    plan_.nameServers = std::move(addresses);
  }
  void withConsole(int descriptor) { plan_.console = descriptor; }
  void withoutPasst() { plan_.passt.reset(); }
  void withoutNetwork() { plan_.configuration.networkDevices.clear(); }

 private:
  std::string program(const std::string& name, const std::string& script) {
    EXPECT_TRUE(files().create(path(name), "#!/bin/sh\ncd " + path("") + "\n" + script + "\n"));
    EXPECT_EQ(::chmod(path(name).c_str(), 0755), 0);
    return path(name);
  }

  QemuPlan plan_;
};

TEST_F(NetworkTest, LeavesTheConsoleItsDescriptor) {
  const posix::Descriptor console = posix::openForAppending(path("console"));
  withConsole(console.get());
  passt(untilQemuEnds);
  emulator("greet; echo \"guest\" >&4; echo \"$network\" >network; wait_for_end");

  start();

  EXPECT_EQ(written("console"), "guest\n");
  EXPECT_EQ(written("network"), "stream,id=net0,server=off,addr.type=fd,addr.str=5\n");
}

TEST_F(NetworkTest, GoesThroughPasst) {
  passt("echo \"$*\" >passt-arguments; echo noise; " + std::string(untilQemuEnds));
  emulator(emulated);

  start();
  runUntilHeard(1);

  EXPECT_THAT(heard, ElementsAre("ready"));
  EXPECT_EQ(written("passt-arguments"), "--foreground --fd 3 --no-map-gw\n");
  EXPECT_EQ(written("network"), "stream,id=net0,server=off,addr.type=fd,addr.str=5\n");
}

TEST_F(NetworkTest, TellsPasstOfNameServers) {
  withNameServers({"192.0.2.1", "2001:db8::1"});
  passt("echo \"$*\" >passt-arguments; " + std::string(untilQemuEnds));
  emulator(emulated);

  start();

  EXPECT_EQ(written("passt-arguments"),
            "--foreground --fd 3 --no-map-gw --dns 192.0.2.1 --dns 2001:db8::1\n");
}

TEST_F(NetworkTest, ConnectsPasstAndQemu) {
  passt("read -r line <&3; echo \"$line\" >frames; " + std::string(untilQemuEnds));
  emulator("echo 'a frame' >&5; greet; wait_for_end");

  start();

  EXPECT_EQ(written("frames"), "a frame\n");
}

TEST_F(NetworkTest, LeavesOtherDescriptorsToNeither) {
  const char* list = "ls /proc/self/fd | tr '\\n' ' ' >";
  passt(list + std::string("passt-has; echo >>passt-has; ") + untilQemuEnds);
  emulator(list + std::string("qemu-has; echo >>qemu-has; ") + emulated);

  start();

  // The last number is that of the list itself.
  EXPECT_EQ(written("passt-has"), "0 1 2 3 4 \n");
  EXPECT_EQ(written("qemu-has"), "0 1 2 3 4 5 \n");
}

TEST_F(NetworkTest, IsQemusOwnWithoutPasst) {
  withoutPasst();
  emulator(emulated);

  start();
  runUntilHeard(1);

  EXPECT_EQ(written("network"), "user,id=net0\n");
}

TEST_F(NetworkTest, NeedsNoPasstIfThereIsNone) {
  withoutNetwork();
  passt("echo started >passt-started");
  emulator(emulated);

  start();
  runUntilHeard(1);

  EXPECT_FALSE(files().exists(path("passt-started")));
}

TEST_F(NetworkTest, IsLostWhenPasstFailsAtItsStart) {
  passt("echo 'a note' >&2; echo 'no interface' >&2; exit 1");
  // passt has ended before QEMU is ready.
  emulator("cat <&5; greet; echo \"$network\" >network; answer; wait_for_end");

  start();
  runUntilHeard(2);

  EXPECT_THAT(heard, UnorderedElementsAre("ready", "passt has ended with status 1: no interface"));
  EXPECT_EQ(written("network"), "stream,id=net0,server=off,addr.type=fd,addr.str=5\n");
}

TEST_F(NetworkTest, IsLostWhenPasstCannotBeExecuted) {
  passt("");
  ASSERT_EQ(::chmod(path("passt").c_str(), 0644), 0);
  emulator("greet; answer; wait_for_end");

  start();
  runUntilHeard(2);

  EXPECT_THAT(heard, UnorderedElementsAre(
                         "ready", "could not start " + path("passt") + ": Permission denied"));
}

TEST_F(NetworkTest, IsLostWhenPasstIsKilledLater) {
  passt("read -r line <&3; echo 'an old message' >&2; kill -KILL $$");
  emulator("greet; echo >&5; answer; wait_for_end");

  start();
  runUntilHeard(2);

  EXPECT_THAT(heard, ElementsAre("ready", "passt was ended by signal 9 (Killed)"));
}

TEST_F(NetworkTest, IsUnpluggedWhenItIsLost) {
  passt("exit 1");
  emulator("greet; read -r command <&3; echo \"$command\" >command; wait_for_end");

  start();

  EXPECT_THAT(written("command"),
              HasSubstr(R"("execute":"set_link","arguments":{"name":"net0","up":false})"));
  EXPECT_THAT(heard, ElementsAre("ready"));
}

TEST_F(NetworkTest, IsNotLostWhenQemuEnds) {
  passt("echo $$ >passt-number; " + std::string(untilQemuEnds));
  // passt has been reaped before QEMU ends.
  emulator(R"sh(
    greet; until [ -s passt-number ]; do :; done
    exec 5>&-; while [ -e "/proc/$(cat passt-number)" ]; do :; done; exit 0)sh");

  start();
  runUntilHeard(2);

  EXPECT_THAT(heard, ElementsAre("ready", "ended"));
}

TEST_F(NetworkTest, LossDoesNotHideThatQemuFails) {
  passt("exit 1");
  emulator("cat <&5; echo 'no such disk' >&2; exit 1");

  start();
  runUntilHeard(1);

  EXPECT_THAT(heard, ElementsAre("ended"));
  EXPECT_EQ(end->lastMessage, "no such disk");
}

TEST_F(NetworkTest, EndsWithTheMachine) {
  passt(untilQemuEnds);
  emulator(emulated);
  start();
  runUntilHeard(1);

  qemu.reset();

  EXPECT_THAT(children(), IsEmpty());
}

}  // namespace
}  // namespace parlen::qemu
