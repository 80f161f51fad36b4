#include "platform/qemu/machine_end.h"

#include "platform/qemu/child_end.h"

namespace parlen::qemu {
namespace {

std::string exitText(const linux::ChildExit& exit) { return "QEMU " + describe(exit); }

std::string withMessage(std::string sentence, const std::string& message) {
  // A warning from long ago is not why it ended.
  if (!message.empty() && !message.starts_with("warning: ")) sentence.append(": ").append(message);
  return sentence;
}

}  // namespace

std::optional<std::string> failureOf(const QemuExit& end, std::string_view shutdownReason) {
  // After anything but an orderly end of the process, its last writes may be missing.
  const bool inOrder = end.exit.status == 0;
  if (inOrder && shutdownReason == "guest-shutdown") return std::nullopt;
  if (inOrder && shutdownReason == "guest-panic") {
    return "the guest's operating system has crashed";
  }
  if (inOrder && shutdownReason == "host-signal") {
    return withMessage("QEMU was asked to end by a signal", end.lastMessage);
  }
  return withMessage(exitText(end.exit), end.lastMessage);
}

std::string startFailureOf(const QemuExit& end) {
  // The status says nothing that the message does not.
  if (end.exit.status && !end.lastMessage.empty()) return "QEMU cannot start: " + end.lastMessage;
  return withMessage(exitText(end.exit), end.lastMessage) + " while it was starting";
}

}  // namespace parlen::qemu
