#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "events/event_stream.h"
#include "platform/platform.h"
#include "support/recording_desktop.h"
#include "support/test_system.h"

namespace parlen::test {

using Calls = std::vector<std::string>;

/// A machine that fails the test when it is called: window code only passes it on.
class UntouchedMachine : public platform::VirtualMachine {
 public:
  void setDelegate(platform::VirtualMachineDelegate*) override { ADD_FAILURE(); }
  std::int64_t state() const override { return touched<std::int64_t>(); }
  void start(platform::Completion) override { ADD_FAILURE(); }
  bool canRequestStop() const override { return touched<bool>(); }
  platform::Result<> requestStop() override { return touched<platform::Result<>>(); }
  void stop(platform::Completion) override { ADD_FAILURE(); }
  bool canPause() const override { return touched<bool>(); }
  void pause(platform::Completion) override { ADD_FAILURE(); }
  bool canResume() const override { return touched<bool>(); }
  void resume(platform::Completion) override { ADD_FAILURE(); }

 private:
  template <class Value>
  static Value touched() {
    ADD_FAILURE();
    return {};
  }
};

/// A recording desktop without a window, and a machine.
class WindowFixture : public testing::Test {
 protected:
  WindowFixture() {
    platform::usePlatform(&system_, &host_);
    outputQueue = system_.makeSerialQueue("test");
  }
  ~WindowFixture() override {
    outputQueue.reset();
    platform::usePlatform(nullptr, nullptr);
  }

  TestSystem system_;
  Recording recording_{system_.loop()};
  RecordingDesktop desktop_{recording_};
  RecordingHost host_{recording_, &desktop_};
  UntouchedMachine machine_;
};

}  // namespace parlen::test
