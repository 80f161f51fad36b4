#include <cstdlib>

#include "contract/host_under_test.h"
#include "platform/platform.h"

namespace parlen::test {
namespace {

/// The virtualization framework, on copies of an installed guest. The environment variable
/// PARLEN_MAC_BUNDLE is the path of its bundle.
class MacHost final : public HostUnderTest {
 public:
  platform::System& system() override { return platform_->system(); }
  platform::Host& host() override { return *host_; }
  std::string smallRestoreImage() override { return {}; }
  bool isInstalled(std::string_view) override { return false; }
  /// macOS asks the user whether to shut down, and nobody is logged in to the guest.
  std::optional<std::string> obedientRestoreImage(const std::string&) override {
    return std::nullopt;
  }
  std::optional<std::string> preparedBundle() override { return std::getenv("PARLEN_MAC_BUNDLE"); }
  bool explainsFailedStarts() const override { return false; }  // the framework's sentences
  bool keepsMachinesApart() const override { return true; }

 private:
  std::unique_ptr<platform::NativePlatform> platform_ = platform::makeNativePlatform();
  std::unique_ptr<platform::Host> host_ = platform_->makeHost([](std::string_view) {});
};

}  // namespace

std::vector<HostMaker> nativeHosts() {
  if (std::getenv("PARLEN_MAC_BUNDLE") == nullptr) return {};
  return {{.name = "Mac", .make = [] { return std::make_unique<MacHost>(); }}};
}

}  // namespace parlen::test
