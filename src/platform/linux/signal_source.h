#pragma once

#include <memory>

#include "platform/linux/loop.h"
#include "platform/process.h"

namespace parlen::linux {

/// Takes over a termination signal: each delivery runs `handler` on the loop. The newest source of
/// a signal hears it. When the source is gone the signal stays caught, without effect; a program
/// that is executed gets the default action back.
std::unique_ptr<platform::SignalSource> watchSignal(Loop& loop, platform::TerminationSignal signal,
                                                    platform::Work handler);

}  // namespace parlen::linux
