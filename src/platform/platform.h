#pragma once

#include <memory>
#include <string_view>

#include "platform/event_loop.h"
#include "platform/files.h"
#include "platform/host.h"
#include "platform/process.h"
#include "platform/streams.h"

namespace parlen::platform {

/// The operating system's own services, which every host shares.
class System {
 public:
  virtual ~System() = default;
  virtual Files& files() = 0;
  virtual StandardStreams& streams() = 0;
  virtual EventLoop& loop() = 0;
  virtual Process& process() = 0;
  /// `label` names the queue to debuggers.
  virtual std::unique_ptr<SerialQueue> makeSerialQueue(std::string_view label) = 0;
};

/// The platform that this process runs on: set once by `main` before any other code runs (in tests
/// by each fixture), read everywhere. Nothing is owned.
void usePlatform(System* system, Host* host);

System& system();
/// The host must have been set: during start-up it is not yet.
Host& host();

}  // namespace parlen::platform
