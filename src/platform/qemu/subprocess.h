#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/error.h"
#include "platform/linux/child_process.h"
#include "platform/linux/event_loop.h"

namespace parlen::qemu {

/// Keeps the last message that a program wrote to its standard error.
class LastMessage {
 public:
  /// `program` is the name that begins each of the program's own lines: "qemu-img".
  explicit LastMessage(std::string_view program) : prefix_(std::string(program) + ": ") {}

  /// Takes bytes in pieces of any length.
  void add(std::string_view bytes);

  /// The last line, without the program's name. If that line only explains the line before (a hint,
  /// which does not begin with the program's name), both, with a space between. Empty if there is
  /// no line.
  std::string text() const;

 private:
  void endLine();

  std::string prefix_;
  std::string line_;      // the beginning of a line whose end has not arrived
  std::string last_;      // the last complete line
  std::string previous_;  // the one before
};

/// How a subprocess ended, and its last message.
struct SubprocessExit {
  linux::ChildExit exit;
  std::string lastMessage;

  bool succeeded() const { return exit.status == 0; }
  /// Whether it failed because another process uses one of its images.
  bool foundImageInUse() const;
  /// The last message, or a plain sentence instead; without one, how the subprocess ended.
  std::string reason() const;
};

/// "has ended with status 1", "was ended by signal 9 (Killed)".
std::string describe(const linux::ChildExit& exit);

/// A running program: QEMU or one of its tools. It has a session of its own, so that a terminal's
/// signals do not reach it, and the kernel kills it when this process ends. Destroying the object
/// kills and reaps a program that still runs and calls no handler. Main thread.
class Subprocess {
 public:
  using OutputHandler = std::function<void(std::string_view)>;
  using ExitHandler = std::function<void(const SubprocessExit&)>;

  struct Options {
    std::string program;  // a path
    std::vector<std::string> arguments;
    /// Gets standard output as it arrives. Without it, standard output goes where standard error
    /// goes: into the last message.
    OutputHandler onOutput;
    /// {descriptor in the child, descriptor here} beyond the standard streams.
    std::vector<std::pair<int, int>> descriptors;
  };

  /// `onExit` runs once, on the main queue, when the program has been reaped and all of its output
  /// has been handled. It may destroy this object. The error is a failure to start.
  static platform::Result<std::unique_ptr<Subprocess>> start(linux::EventLoop& loop,
                                                             Options options, ExitHandler onExit);
  ~Subprocess();

  /// Kills the program. The kernel keeps what it has written.
  void kill();

 private:
  class OutputPipe;

  Subprocess(std::string_view program, ExitHandler onExit);
  platform::Result<> spawn(linux::EventLoop& loop, Options options);
  void finish(const linux::ChildExit& exit);

  LastMessage messages_;
  ExitHandler onExit_;
  std::unique_ptr<OutputPipe> output_;  // null if standard output goes to the messages
  std::unique_ptr<OutputPipe> errors_;
  std::unique_ptr<linux::ChildProcess> child_;
};

}  // namespace parlen::qemu
