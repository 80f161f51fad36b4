#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/event_loop.h"
#include "platform/streams.h"

namespace parlen::test {

/// Standard streams whose other ends the test holds.
class CapturedStreams : public platform::StandardStreams {
 public:
  explicit CapturedStreams(platform::EventLoop& loop) : loop_(loop) {}

  void writeOutput(std::string_view bytes) override;
  void writeError(std::string_view bytes) override { error += bytes; }
  void readInput(InputHandler handler) override { handler_ = std::move(handler); }

  /// Delivers a chunk to the reader, in a later turn as the real streams do.
  void send(std::string_view chunk);
  void closeInput() { send(""); }
  bool isRead() const { return handler_ != nullptr; }

  /// What was written so far, cut at the line feeds.
  std::vector<std::string> lines() const;

  std::string output;
  std::string error;
  int outputWrites = 0;

 private:
  platform::EventLoop& loop_;
  InputHandler handler_;
};

}  // namespace parlen::test
