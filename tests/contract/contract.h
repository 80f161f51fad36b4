#pragma once

#include <gmock/gmock.h>
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

/// A guest's files and a configuration that uses them.
struct Guest {
  std::string disk;
  std::string auxiliaryStorage;
  platform::MachineConfiguration configuration;
};

/// Runs a test of the contract on one host.
class Contract : public testing::TestWithParam<HostMaker> {
 protected:
  void SetUp() override;

  platform::Host& host() { return host_->host(); }
  platform::Files& files() { return host_->system().files(); }
  platform::EventLoop& loop() { return host_->system().loop(); }
  HostUnderTest& underTest() { return *host_; }

  /// Runs the main queue until `condition` is true; the test fails at the timeout. `what` says what
  /// was waited for.
  void runUntil(const std::function<bool()>& condition, const char* what);
  /// Runs 20 iterations of the main loop, so that a callback that should not come would have come.
  void runAWhile();

  std::string path(const std::string& name) const { return directory_ / name; }
  /// Writes the small image and returns its path.
  std::string smallRestoreImage();

  using Loaded = platform::Result<std::shared_ptr<const platform::RestoreImage>>;
  Loaded load(const std::string& image);
  /// A hardware model that this host supports.
  std::shared_ptr<const platform::HardwareModel> hardwareModel();
  /// A guest without an operating system; `diskLength` is in bytes.
  Guest emptyGuest(const std::string& name, std::uint64_t diskLength);
  /// Loads the image at this path and installs it.
  platform::Result<> install(const Guest& guest, const std::string& image);
  /// A guest with the small image installed, or a copy of the prepared one.
  Guest installedGuest(const std::string& name);

  std::unique_ptr<platform::VirtualMachine> machineOf(const Guest& guest, MachineStory& story);
  /// A machine of the guest, already running.
  std::unique_ptr<platform::VirtualMachine> runningMachine(const Guest& guest, MachineStory& story);

  /// A start has failed because of the file at `path`: the error has a sentence, which names the
  /// file where the host writes it.
  void expectReason(const std::string& error, const std::string& path);

  static constexpr std::uint64_t smallDisk = 4UL * 1024UL * 1024UL;

 private:
  Guest copyOf(const std::string& bundle, const std::string& name);
  void describe(Guest& guest);

  TemporaryDirectory directory_;
  std::unique_ptr<HostUnderTest> host_;
};

/// A sentence that names the file at `path`, at least by the last component.
inline auto NamesFile(const std::string& path) {
  return testing::HasSubstr(path.substr(path.rfind('/') + 1));
}

/// The number that VirtualMachine::state reports for `state`.
std::int64_t raw(platform::MachineState state);

/// The native hosts of this machine and the simulated one.
std::vector<HostMaker> allHosts();
/// The suffix of a test's name on that host.
std::string nameOf(const testing::TestParamInfo<HostMaker>& info);

}  // namespace parlen::test
