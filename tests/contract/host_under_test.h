#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "platform/host.h"
#include "platform/platform.h"
#include "support/run_until.h"

namespace parlen::test {

/// One of the hosts that keep the contract, with what the tests need to know of it: only its own
/// bytes. All that it does is asked through the promises.
class HostUnderTest {
 public:
  virtual ~HostUnderTest() = default;
  virtual platform::System& system() = 0;
  virtual platform::Host& host() = 0;

  /// The bytes of a small restore image. Its guest need not shut down when it is asked to.
  virtual std::string smallRestoreImage() = 0;
  /// Whether `disk` begins with what an installation of the small image leaves.
  virtual bool isInstalled(std::string_view disk) = 0;
  /// The path of a restore image whose guest shuts down when it is asked to; nothing if this
  /// machine has none. Made in `directory` if it must be made.
  virtual std::optional<std::string> obedientRestoreImage(const std::string& directory) = 0;
  /// A bundle with an installed guest. Where there is one, installing takes too long for a test,
  /// and copies of it serve instead.
  virtual std::optional<std::string> preparedBundle() { return std::nullopt; }
  /// Serves the main queue until `condition` holds; false if that takes longer than two minutes.
  virtual bool runUntil(const std::function<bool()>& condition) {
    return test::runUntil(system().loop(), condition);
  }
  /// Whether the host keeps two machines from using one disk.
  virtual bool keepsMachinesApart() const = 0;
};

/// How to make one. The name becomes part of the tests' names.
struct HostMaker {
  std::string name;
  std::function<std::unique_ptr<HostUnderTest>()> make;

  friend void PrintTo(const HostMaker& maker, std::ostream* out) { *out << maker.name; }
};

/// The hosts that run real guests on this operating system.
std::vector<HostMaker> nativeHosts();
HostMaker simulatedHost();

}  // namespace parlen::test
