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

namespace parlen::test {

/// A host that the contract suite runs on, with the facts about it that the tests need. Everything
/// else is asked through the interfaces.
class HostUnderTest {
 public:
  virtual ~HostUnderTest() = default;
  virtual platform::System& system() = 0;
  virtual platform::Host& host() = 0;

  /// The bytes of a small restore image. Its guest may ignore a request to shut down.
  virtual std::string smallRestoreImage() = 0;
  /// Whether the small image has been installed on `disk`, the bytes of a disk.
  virtual bool isInstalled(std::string_view disk) = 0;
  /// The path of a restore image whose guest shuts down when asked to; nothing if this machine has
  /// none. It may be written to `directory`.
  virtual std::optional<std::string> obedientRestoreImage(const std::string& directory) = 0;
  /// The path of a bundle with an installed guest, on hosts where an installation takes too long
  /// for a test. The tests then use copies of it.
  virtual std::optional<std::string> preparedBundle() { return std::nullopt; }
  /// Whether the sentence of a start that failed is the host's own; it then names the file.
  virtual bool explainsFailedStarts() const { return true; }
  /// Whether the host prevents two machines from using the same disk.
  virtual bool keepsMachinesApart() const = 0;
};

/// Makes a host under test. The name becomes part of the tests' names.
struct HostMaker {
  std::string name;
  std::function<std::unique_ptr<HostUnderTest>()> make;

  friend void PrintTo(const HostMaker& maker, std::ostream* out) { *out << maker.name; }
};

/// The hosts that run real guests on this operating system.
std::vector<HostMaker> nativeHosts();
HostMaker simulatedHost();

}  // namespace parlen::test
