#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/error.h"
#include "platform/linux/event_loop.h"
#include "platform/posix/descriptor.h"
#include "platform/qemu/qmp_parser.h"
#include "platform/qemu/subprocess.h"

namespace parlen::qemu {

/// Controls QEMU over its monitor socket with the QEMU Machine Protocol (QEMU docs/interop/
/// qmp-spec.txt). All handlers run on the main queue and never from inside a call, except `drain`.
/// They must not destroy the client. Main thread.
class QmpClient {
 public:
  using ReplyHandler = std::function<void(platform::Result<>)>;
  struct Handlers {
    /// QEMU has opened its devices and accepts commands, or has refused to be controlled.
    ReplyHandler onReady;
    std::function<void(const QmpEvent&)> onEvent;
    platform::Work onClosed = nullptr;  // QEMU will neither receive nor reply; it may still run
  };

  QmpClient(linux::EventLoop& loop, posix::Descriptor socket, Handlers handlers);

  /// Sends a command without arguments. `onReply` runs when QEMU has replied, or never if QEMU ends
  /// before that.
  void execute(std::string_view command, ReplyHandler onReply);

  /// Connects `socket` to the guest's display as an RFB client, at any time. `onReply` as with
  /// `execute`.
  void addViewer(posix::Descriptor socket, ReplyHandler onReply);

  /// Shows the guest that the cable of a network device is out. `name` is that of QEMU's -netdev;
  /// `onReply` as with `execute`.
  void unplugNetwork(std::string_view name, ReplyHandler onReply);

  /// Whether QEMU can still receive and reply.
  bool isOpen() const { return reading_ != nullptr; }

  /// Handles all that QEMU has sent so far: to be called when QEMU has ended.
  void drain();

 private:
  std::size_t receive();
  void handle(const QmpMessage& message);
  void reply(const QmpReply& reply);
  void append(std::string_view command, std::string_view arguments, ReplyHandler onReply);
  void flush();
  ssize_t sendSome();
  void markSent(std::size_t count);
  void close();

  /// A descriptor to be sent with the first byte of the command that names it.
  struct PendingDescriptor {
    std::size_t offset;  // of that byte in `unsent_`
    posix::Descriptor descriptor;
  };

  linux::EventLoop& loop_;
  posix::Descriptor socket_;
  Handlers handlers_;
  QmpParser parser_;
  std::unique_ptr<linux::DescriptorWatch> reading_;  // null: closed
  std::unique_ptr<linux::DescriptorWatch> writing_;  // while the socket is full
  std::string unsent_;
  std::deque<PendingDescriptor> pendingDescriptors_;
  std::int64_t nextId_ = 1;
  std::map<std::int64_t, ReplyHandler> waiting_;  // by the command's id
};

/// A running QEMU: the process, and the client of its monitor socket, which is the process's
/// descriptor `monitorDescriptor`. Destroying the object kills a process that still runs and calls
/// no handler. Main thread.
class QemuProcess {
 public:
  struct Handlers {
    QmpClient::Handlers monitor;
    /// As a Subprocess's; everything that QEMU sent has been handled before. May destroy this
    /// object.
    Subprocess::ExitHandler onExit;
    /// A network device has lost its connection to the host's network; QEMU runs on.
    std::function<void(const platform::PlatformError&)> onNetworkLost = nullptr;
  };

  struct Command {
    std::string program;  // a path
    std::vector<std::string> arguments;
    /// Become QEMU's descriptors from `networkDescriptor` on.
    std::vector<int> networkSockets;
    /// Becomes QEMU's `consoleDescriptor`.
    std::optional<int> console = std::nullopt;
  };

  static platform::Result<std::unique_ptr<QemuProcess>> start(linux::EventLoop& loop,
                                                              Command command, Handlers handlers);
  virtual ~QemuProcess() = default;

  virtual QmpClient& monitor() = 0;
  /// Kills QEMU. The kernel keeps what it has written.
  virtual void kill() = 0;
};

}  // namespace parlen::qemu
