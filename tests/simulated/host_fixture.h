#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/host.h"
#include "support/temporary_directory.h"
#include "support/test_system.h"

namespace parlen::test {

/// A simulated host on virtual time, with a directory for its files.
class SimulatedHostTest : public ::testing::Test {
 protected:
  /// Makes the host; the scenario is written to a file first. A trace is always kept.
  void useScenario(const std::string& json);
  platform::Host& host();

  /// A machine whose files are those of an installed guest.
  platform::MachineConfiguration installedGuest();
  /// The same, with a disk of `length` zero bytes.
  platform::MachineConfiguration emptyGuest(std::uint64_t length = 1024);

  void write(const std::string& name, const std::string& bytes);
  std::string read(const std::string& name);
  std::string path(const std::string& name) { return directory_ / name; }
  /// All that was traced so far.
  std::string trace() { return read("trace"); }
  long long milliseconds();

  TestSystem system_;

 private:
  TemporaryDirectory directory_;
  std::unique_ptr<platform::Host> host_;
  std::chrono::nanoseconds start_ = system_.loop().now();
};

}  // namespace parlen::test
