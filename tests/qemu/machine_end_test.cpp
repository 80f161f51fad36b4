#include "platform/qemu/machine_end.h"

#include <gtest/gtest.h>
#include <signal.h>

namespace parlen::qemu {
namespace {

QemuExit exited(int status, std::string message = "") {
  return {.exit = {.status = status}, .lastMessage = std::move(message)};
}

QemuExit signalled(int signal, std::string message = "") {
  return {.exit = {.status = std::nullopt, .signal = signal}, .lastMessage = std::move(message)};
}

TEST(MachineEnd, IsInOrderOnlyIfTheGuestShutDownAndQemuEndedWell) {
  EXPECT_EQ(failureOf(exited(0), "guest-shutdown"), std::nullopt);
  EXPECT_EQ(failureOf(exited(1, "disk full"), "guest-shutdown"),
            "QEMU has ended with status 1: disk full");
  EXPECT_EQ(failureOf(signalled(SIGKILL), "guest-shutdown"), "QEMU was ended by signal 9 (Killed)");
}

TEST(MachineEnd, NamesThePanicOfAGuest) {
  EXPECT_EQ(failureOf(exited(0), "guest-panic"), "the guest's operating system has crashed");
}

TEST(MachineEnd, NamesWhoAskedQemuToEnd) {
  EXPECT_EQ(failureOf(exited(0, "terminating on signal 15 from pid 7 (sh)"), "host-signal"),
            "QEMU was asked to end by a signal: terminating on signal 15 from pid 7 (sh)");
}

TEST(MachineEnd, WithoutAnAnnouncementIsAFailure) {
  EXPECT_EQ(failureOf(exited(0), ""), "QEMU has ended with status 0");
  EXPECT_EQ(failureOf(exited(1, "oops"), ""), "QEMU has ended with status 1: oops");
  EXPECT_EQ(failureOf(signalled(SIGABRT, "assertion failed"), ""),
            "QEMU was ended by signal 6 (Aborted): assertion failed");
}

TEST(MachineEnd, DoesNotBlameAnOldWarning) {
  EXPECT_EQ(failureOf(signalled(SIGKILL, "warning: slow"), ""),
            "QEMU was ended by signal 9 (Killed)");
}

TEST(MachineEnd, OfAStartIsWhatQemuSaid) {
  EXPECT_EQ(startFailureOf(exited(1, "no such file")), "QEMU cannot start: no such file");
  EXPECT_EQ(startFailureOf(exited(1)), "QEMU has ended with status 1 while it was starting");
  EXPECT_EQ(startFailureOf(signalled(SIGKILL)),
            "QEMU was ended by signal 9 (Killed) while it was starting");
}

}  // namespace
}  // namespace parlen::qemu
