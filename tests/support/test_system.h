#pragma once

#include <memory>
#include <string_view>

#include "platform/platform.h"
#include "support/captured_streams.h"
#include "support/test_process.h"
#include "support/virtual_loop.h"

namespace parlen::test {

/// The system of an in-process test: real files, virtual time, captured streams, ends that throw.
class TestSystem : public platform::System {
 public:
  TestSystem();
  ~TestSystem() override;

  platform::Files& files() override { return real_->files(); }
  CapturedStreams& streams() override { return streams_; }
  VirtualLoop& loop() override { return loop_; }
  TestProcess& process() override { return process_; }
  std::unique_ptr<platform::SerialQueue> makeSerialQueue(std::string_view label) override {
    return real_->makeSerialQueue(label);
  }

 private:
  std::unique_ptr<platform::System> real_;
  VirtualLoop loop_;
  CapturedStreams streams_{loop_};
  TestProcess process_;
};

}  // namespace parlen::test
