#pragma once

#include <chrono>
#include <memory>
#include <string_view>

#include "platform/event_loop.h"
#include "platform/files.h"
#include "platform/simulated/json_members.h"

namespace parlen::simulated {

/// Tells an observer which calls the program made, one JSON line each, at the moment of the call.
class Trace {
 public:
  /// `file` may be null: no trace. Times count from `start` on the loop's clock.
  Trace(platform::EventLoop& loop, std::chrono::nanoseconds start,
        std::unique_ptr<platform::AppendingFile> file);

  /// Appends the call's line: the time, its name, then its own members.
  void record(std::string_view call, const JsonMembers& members = {});

 private:
  platform::EventLoop& loop_;
  std::chrono::nanoseconds start_;
  std::unique_ptr<platform::AppendingFile> file_;
};

}  // namespace parlen::simulated
