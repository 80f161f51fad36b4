#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/child_process.h"
#include "platform/qemu/last_message.h"
#include "platform/qemu/output_pipe.h"
#include "platform/qemu/qmp_client.h"

namespace parlen::qemu {

/// How QEMU ended, and the last thing that it said.
struct QemuExit {
  linux::ChildExit exit;
  std::string lastMessage;
};

/// A QEMU that runs: its process, its control socket and what it prints. It has a session of its
/// own, so that a terminal's signals do not reach it, and ends when this process does.
class QemuProcess {
 public:
  struct Handlers {
    QmpClient::Handlers control;
    /// The process has ended; everything that it sent has been handled. May destroy this object.
    std::function<void(const QemuExit&)> ended;
  };

  static platform::Result<std::unique_ptr<QemuProcess>> start(
      linux::Loop& loop, const std::string& emulator, const std::vector<std::string>& arguments,
      Handlers handlers);

  QmpClient& control() { return *control_; }
  /// Ends the process at once. The kernel keeps what it has written.
  void kill();

 private:
  QemuProcess(const std::string& emulator, std::function<void(const QemuExit&)> ended);
  platform::Result<> spawn(linux::Loop& loop, const std::string& emulator,
                           const std::vector<std::string>& arguments, QmpClient::Handlers handlers);
  void finish(const linux::ChildExit& exit);

  LastMessage messages_;
  std::function<void(const QemuExit&)> ended_;
  std::unique_ptr<OutputPipe> output_;
  std::unique_ptr<QmpClient> control_;
  std::unique_ptr<linux::ChildProcess> child_;
};

}  // namespace parlen::qemu
