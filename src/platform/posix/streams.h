#pragma once

#include <memory>
#include <string_view>

#include "platform/event_loop.h"
#include "platform/posix/descriptor.h"
#include "platform/posix/error_stream.h"
#include "platform/posix/input_reader.h"
#include "platform/streams.h"

namespace parlen::posix {

/// The descriptors that serve as standard streams.
struct StreamDescriptors {
  int input = 0;
  int output = 1;
  int error = 2;
};

/// Makes sure that descriptors 0, 1 and 2 are open (on /dev/null if they were not), so that no file
/// that is opened later is ever taken for a standard stream.
void openStandardDescriptors();

/// The standard streams. The descriptors are borrowed, and their flags are left as they are: they
/// may be shared with the parent, and may be non-blocking. The broken-pipe signal is left alone.
class Streams final : public platform::StandardStreams {
 public:
  Streams(StreamDescriptors descriptors, platform::EventLoop& loop)
      : descriptors_(descriptors), error_(descriptors.error), loop_(loop) {}

  bool writeOutput(std::string_view bytes) override;
  void writeError(std::string_view line) override;
  platform::Result<> readInput(InputHandler handler) override;

  /// From the call on nobody else writes to the output: its number becomes another one for standard
  /// error, so that what a library prints reaches no reader of events. Main thread.
  void reserveOutput();

 private:
  StreamDescriptors descriptors_;
  Descriptor reserved_;  // the output, once it is this object's alone
  ErrorStream error_;
  platform::EventLoop& loop_;
  WriteActivity writes_;
  std::unique_ptr<InputReader> reader_;
};

}  // namespace parlen::posix
