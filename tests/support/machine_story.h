#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "platform/virtual_machine.h"

namespace parlen::test {

/// What happened to a machine, in order: its completions by name, and the delegate's calls.
class MachineStory : public platform::VirtualMachineDelegate {
 public:
  std::vector<std::string> happened;
  std::string lastError;

  /// A completion that adds "<what>" or "<what> failed".
  platform::Completion tell(const std::string& what) {
    return [this, what, thread = std::this_thread::get_id()](const platform::Result<>& result) {
      EXPECT_EQ(std::this_thread::get_id(), thread);
      happened.push_back(result ? what : what + " failed");
      if (!result) lastError = result.error().description;
    };
  }

  bool has(const std::string& what) const {
    return std::ranges::find(happened, what) != happened.end();
  }

  void guestDidStop() override { happened.emplace_back("guest stopped"); }
  void didStopWithError(const platform::PlatformError& error) override {
    happened.emplace_back("stopped with an error");
    lastError = error.description;
  }
  void networkAttachmentDisconnected(const platform::PlatformError& error) override {
    happened.emplace_back("network disconnected");
    lastError = error.description;
  }
};

}  // namespace parlen::test
