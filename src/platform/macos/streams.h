#pragma once

#include "platform/streams.h"

namespace parlen::macos {

/// The standard streams through file handles. The broken-pipe signal is left alone.
class Streams final : public platform::StandardStreams {
 public:
  void writeOutput(std::string_view bytes) override;
  void writeError(std::string_view bytes) override;
  void readInput(InputHandler handler) override;
};

}  // namespace parlen::macos
