#pragma once

#include <functional>
#include <memory>

#include "platform/event_loop.h"

namespace parlen::posix {

/// Keeps a watch on a descriptor; destroying it ends the watch (never the descriptor). May be
/// destroyed from inside any handler, its own included.
class DescriptorWatch {
 public:
  virtual ~DescriptorWatch() = default;
};

enum class Readiness { readable, writable };

/// The main queue over poll(2). `post` may be called on any thread, all else on the loop's.
class Loop : public platform::EventLoop {
 public:
  /// Runs `ready` in every turn in which the descriptor is ready (an end or an error is readiness).
  virtual std::unique_ptr<DescriptorWatch> watch(int descriptor, Readiness readiness,
                                                 platform::Work ready) = 0;
};

}  // namespace parlen::posix
