#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/child_process.h"
#include "platform/qemu/last_message.h"
#include "platform/qemu/output_pipe.h"

namespace parlen::qemu {

/// How a tool ended, and the last thing that it said on its standard error.
struct ToolResult {
  linux::ChildExit exit;
  std::string lastMessage;

  bool succeeded() const { return exit.status == 0; }
  /// The last message; without one, how the tool ended.
  std::string reason() const;
};

/// A program of QEMU's that runs beside the loop without a shell and dies with this process.
class ToolRun {
 public:
  struct Handlers {
    OutputPipe::Sink output;  // what it writes to its standard output
    /// The tool has ended and all of its output has arrived. May destroy the run.
    std::function<void(const ToolResult&)> ended;
  };

  /// `program` is looked up in PATH.
  static platform::Result<std::unique_ptr<ToolRun>> start(linux::Loop& loop,
                                                          std::string_view program,
                                                          std::vector<std::string> arguments,
                                                          Handlers handlers);

 private:
  ToolRun(std::string_view program, std::function<void(const ToolResult&)> ended);
  platform::Result<> spawn(linux::Loop& loop, std::string_view program,
                           std::vector<std::string> arguments, OutputPipe::Sink output);
  void finish(const linux::ChildExit& exit);

  LastMessage messages_;
  std::function<void(const ToolResult&)> ended_;
  std::unique_ptr<OutputPipe> output_;
  std::unique_ptr<OutputPipe> errors_;
  std::unique_ptr<linux::ChildProcess> child_;
};

}  // namespace parlen::qemu
