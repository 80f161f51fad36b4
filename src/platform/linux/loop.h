#pragma once

#include <poll.h>

#include <chrono>
#include <memory>
#include <span>
#include <vector>

#include "platform/event_loop.h"

namespace parlen::linux {

/// Keeps a watch on a descriptor; destroying it ends the watch (never the descriptor). May be
/// destroyed from inside any handler, its own included.
class DescriptorWatch {
 public:
  virtual ~DescriptorWatch() = default;
};

enum class Readiness { readable, writable };

/// The event loop of another library, which is served by each turn of this one. Main thread.
class ForeignLoop {
 public:
  virtual ~ForeignLoop() = default;
  /// Before each wait: adds what is to be polled behind what `polled` holds already, and returns
  /// how long the wait may last at the most.
  virtual std::chrono::nanoseconds prepare(std::vector<pollfd>& polled) = 0;
  /// After each wait, and after the turn's own work: is handed back what it has added.
  virtual void dispatch(std::span<const pollfd> polled) = 0;
};

/// The main queue over poll(2). `post` may be called on any thread, all else on the loop's.
class Loop : public platform::EventLoop {
 public:
  /// Runs `ready` in every turn in which the descriptor is ready (an end or an error is readiness).
  virtual std::unique_ptr<DescriptorWatch> watch(int descriptor, Readiness readiness,
                                                 platform::Work ready) = 0;

  /// From its next turn on the loop serves this one too, which is not owned; null ends that. There
  /// is at most one.
  virtual void serve(ForeignLoop* foreign) = 0;
};

}  // namespace parlen::linux
