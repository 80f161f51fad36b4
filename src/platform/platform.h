#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/error.h"
#include "platform/event_loop.h"
#include "platform/files.h"
#include "platform/host.h"
#include "platform/process.h"
#include "platform/streams.h"

namespace parlen::platform {

/// The services of the operating system, the same for every host. Owns all that it returns a
/// reference to.
class System {
 public:
  virtual ~System() = default;
  virtual Files& files() = 0;
  virtual StandardStreams& streams() = 0;
  virtual EventLoop& loop() = 0;
  virtual Process& process() = 0;
  /// Makes a queue; debuggers show it under `label`.
  virtual std::unique_ptr<SerialQueue> makeSerialQueue(std::string_view label) = 0;
};

/// The operating system that the program was built for. Exactly one folder that implements it is
/// linked.
class NativePlatform {
 public:
  virtual ~NativePlatform() = default;
  virtual System& system() = 0;
  /// The name of this system's host in the environment: "qemu" or "macos".
  virtual std::string_view hostName() const = 0;
  /// Makes the host that runs real guests. Nothing is probed before it is asked for. The host calls
  /// `warn` on the main thread.
  virtual std::unique_ptr<Host> makeHost(WarningSink warn) = 0;
  /// Creates or truncates the file at `path`, to which the first serial port of the guests of a
  /// host that is made later writes. Has no effect where guests have no serial port.
  virtual Result<> openConsole(const std::string& path) {
    (void)path;
    return {};
  }
  /// Whether that host's windows can show a machine that another host has made.
  virtual bool showsForeignMachines() const { return false; }
};

/// Makes the platform; called once, as the first call in `main`.
std::unique_ptr<NativePlatform> makeNativePlatform();

/// Sets the platform that `system` and `host` return. `main` calls it before any other code runs,
/// and each test's fixture. Nothing is owned. Main thread.
void usePlatform(System* system, Host* host);

/// The services of the operating system. They must have been set. Any thread.
System& system();
/// The host. It must have been set, which it is not yet during start-up. Main thread.
Host& host();

}  // namespace parlen::platform
