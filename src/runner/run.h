#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "runner/vm_runner.h"

namespace parlen {

/// What `run` was told, as typed.
struct RunOptions {
  std::string bundlePath;
  std::optional<std::string> shareDirectory;
  std::optional<std::string> logsShare;
  bool gui = false;
};

/// Starts the reading of the parent's commands to `runner`. They arrive on the main queue.
using CommandReader = std::function<void(const std::shared_ptr<VMRunner>& runner)>;

/// Runs the bundle's guest until it has ended, then ends the process. `readCommands` is called
/// before the machine starts.
[[noreturn]] void runVM(const RunOptions& options, const CommandReader& readCommands);

}  // namespace parlen
