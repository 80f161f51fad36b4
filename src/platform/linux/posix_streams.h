#pragma once

#include <memory>
#include <string_view>

#include "platform/event_loop.h"
#include "platform/linux/descriptor.h"
#include "platform/linux/input_reader.h"
#include "platform/streams.h"

namespace parlen::linux {

/// The descriptors that serve as standard streams.
struct StreamDescriptors {
  int input = 0;
  int output = 1;
  int error = 2;
};

/// The standard streams. The descriptors are borrowed, and their flags are left as they are: they
/// may be shared with the parent, and may be non-blocking. The broken-pipe signal is left alone.
class PosixStreams final : public platform::StandardStreams {
 public:
  PosixStreams(StreamDescriptors descriptors, platform::EventLoop& loop)
      : descriptors_(descriptors), loop_(loop) {}

  void writeOutput(std::string_view bytes) override;
  void writeError(std::string_view bytes) override;
  void readInput(InputHandler handler) override;

  /// From the call on nobody else writes to the output: its number becomes another one for standard
  /// error, so that what a library prints reaches no reader of events. Main thread.
  void reserveOutput();

 private:
  void write(int descriptor, std::string_view bytes);

  StreamDescriptors descriptors_;
  Descriptor reserved_;  // the output, once it is this object's alone
  platform::EventLoop& loop_;
  WriteActivity writes_;
  std::unique_ptr<InputReader> reader_;
};

}  // namespace parlen::linux
