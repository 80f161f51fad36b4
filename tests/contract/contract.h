#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "contract/host_under_test.h"
#include "support/machine_story.h"
#include "support/temporary_directory.h"

namespace parlen::test {

/// One guest's files and what was made of them.
struct Guest {
  std::string disk;
  std::string auxiliaryStorage;
  platform::MachineConfiguration configuration;
};

/// The tests that every host passes run on one host each.
class Contract : public testing::TestWithParam<HostMaker> {
 protected:
  void SetUp() override;

  platform::Host& host() { return host_->host(); }
  platform::Files& files() { return host_->system().files(); }
  platform::EventLoop& loop() { return host_->system().loop(); }
  HostUnderTest& underTest() { return *host_; }

  /// Runs the main queue until `condition` holds; the test fails if that takes too long.
  void runUntil(const std::function<bool()>& condition, const char* what);
  /// Runs what is queued now and what that queues: whatever could still be called has been.
  void runAWhile();

  std::string path(const std::string& name) const { return directory_ / name; }
  /// Writes the small image and returns its path.
  std::string smallRestoreImage();

  using Loaded = platform::Result<std::shared_ptr<const platform::RestoreImage>>;
  Loaded load(const std::string& image);
  /// A model that this host can run.
  std::shared_ptr<const platform::HardwareModel> hardwareModel();
  /// The files of a guest that has no system yet, with a disk of this length.
  Guest emptyGuest(const std::string& name, std::uint64_t diskLength);
  platform::Result<> install(const Guest& guest, const std::string& image);
  /// A guest with the small image installed, or the prepared one.
  Guest installedGuest(const std::string& name);

  std::unique_ptr<platform::VirtualMachine> machineOf(const Guest& guest, MachineStory& story);
  /// A machine of the guest that runs.
  std::unique_ptr<platform::VirtualMachine> runningMachine(const Guest& guest, MachineStory& story);

  static constexpr std::uint64_t smallDisk = 4UL * 1024UL * 1024UL;

 private:
  Guest copyOf(const std::string& bundle, const std::string& name);
  void describe(Guest& guest);

  TemporaryDirectory directory_;
  std::unique_ptr<HostUnderTest> host_;
};

std::int64_t raw(platform::MachineState state);

/// Every host that this machine may have, and how a test on one is named.
std::vector<HostMaker> allHosts();
std::string nameOf(const testing::TestParamInfo<HostMaker>& info);

}  // namespace parlen::test
