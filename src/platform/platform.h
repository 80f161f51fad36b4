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

/// The operating system that the program was built for. The folder of exactly one of them is
/// linked.
class NativePlatform {
 public:
  virtual ~NativePlatform() = default;
  virtual System& system() = 0;
  /// The word that names this system's host in the environment: "qemu", "macos".
  virtual std::string_view hostName() const = 0;
  /// The host that runs real guests. Cheap: nothing is probed before it is asked for. What it has
  /// to say beside its results goes to `warn`, on the main thread.
  virtual std::unique_ptr<Host> makeHost(WarningSink warn) = 0;
  /// Whether that host's windows have a picture also for a machine that another host has made.
  virtual bool showsForeignMachines() const { return false; }
};

/// Called once, first thing in `main`.
std::unique_ptr<NativePlatform> makeNativePlatform();

/// The platform that this process runs on: set once by `main` before any other code runs (in tests
/// by each fixture), read everywhere. Nothing is owned.
void usePlatform(System* system, Host* host);

System& system();
/// The host must have been set: during start-up it is not yet.
Host& host();

}  // namespace parlen::platform
