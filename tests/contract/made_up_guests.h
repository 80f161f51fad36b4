#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "contract/host_under_test.h"

namespace parlen::test {

/// A host under test whose guests are made up: an installation is done at once, and each guest
/// shuts down when asked to.
class MadeUpGuests : public HostUnderTest {
 public:
  std::string smallRestoreImage() override {
    return R"({"simulatedRestoreImage":1,"hardwareModel":"sim-1"})";
  }
  bool isInstalled(std::string_view disk) override {
    return disk.starts_with("parlen-simulated-guest");
  }
  std::optional<std::string> obedientRestoreImage(const std::string& directory) override {
    std::string path = directory + "/obedient";
    if (!system().files().replace(path, smallRestoreImage())) return std::nullopt;
    return path;
  }
};

}  // namespace parlen::test
