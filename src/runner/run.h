#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/process.h"
#include "runner/vm_runner.h"

namespace parlen {

/// The options of `run`, paths as typed.
struct RunOptions {
  std::string bundlePath;
  std::optional<std::string> shareDirectory;
  std::optional<std::string> logsShare;
  bool gui = false;
};

/// The sources of the signals that end a run, kept until the process ends.
extern std::vector<std::unique_ptr<platform::SignalSource>> terminationSources;

/// Starts reading the parent's commands to `runner`. They arrive on the main queue.
using CommandReader = std::function<platform::Result<>(const std::shared_ptr<VMRunner>& runner)>;

/// Runs the bundle's guest until it has ended, then ends the process. `readCommands` is called
/// before the machine starts.
[[noreturn]] void runVM(const RunOptions& options, const CommandReader& readCommands);

}  // namespace parlen
