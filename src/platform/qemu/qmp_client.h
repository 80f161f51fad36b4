#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "platform/error.h"
#include "platform/linux/descriptor.h"
#include "platform/linux/loop.h"
#include "platform/qemu/qmp_parser.h"

namespace parlen::qemu {

/// Steers QEMU over its control socket. Everything arrives on the main queue, never from inside a
/// call, except `drain`. The handlers must not destroy the client.
class QmpClient {
 public:
  struct Handlers {
    platform::Work ready;  // QEMU has opened its devices and takes commands
    std::function<void(const QmpEvent&)> event;
  };
  using Replied = std::function<void(platform::Result<>)>;

  QmpClient(linux::Loop& loop, linux::Descriptor socket, Handlers handlers);

  /// Sends a command without arguments. `replied` runs when QEMU has answered, or never if QEMU
  /// ends before that.
  void execute(std::string_view command, Replied replied);

  /// Makes `socket` a viewer of the guest's display; one may be connected at any time. `replied`
  /// runs as with `execute`.
  void addViewer(linux::Descriptor socket, Replied replied);

  /// Whether QEMU can still hear and answer.
  bool isOpen() const { return reading_ != nullptr; }

  /// Handles what QEMU has sent and has not been handled yet: to be called when QEMU is gone.
  void drain();

 private:
  void handle(const QmpMessage& message);
  void reply(const QmpReply& reply);
  void append(std::string_view command, std::string_view arguments, Replied replied);
  ssize_t sendSome();
  void forget(std::size_t sent);
  void flush();
  void close();

  linux::Loop& loop_;
  linux::Descriptor socket_;
  Handlers handlers_;
  QmpParser parser_;
  std::unique_ptr<linux::DescriptorWatch> reading_;
  std::unique_ptr<linux::DescriptorWatch> writing_;
  // A descriptor travels with the first byte of the command that needs it.
  struct Passenger {
    std::size_t offset;  // of that byte in `unsent_`
    linux::Descriptor descriptor;
  };

  std::string unsent_;
  std::deque<Passenger> passengers_;
  std::int64_t nextId_ = 1;
  std::map<std::int64_t, Replied> waiting_;
};

}  // namespace parlen::qemu
