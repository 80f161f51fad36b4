#import <Foundation/Foundation.h>

#include <cstdlib>

#include "contract/host_under_test.h"
#include "platform/native.h"

namespace parlen::test {
namespace {

/// The virtualization framework, on copies of a guest that a person has installed:
/// PARLEN_MAC_BUNDLE names its bundle.
class MacHost final : public HostUnderTest {
 public:
  platform::System& system() override { return platform_->system(); }
  platform::Host& host() override { return *host_; }
  std::string smallRestoreImage() override { return {}; }
  bool isInstalled(std::string_view) override { return false; }
  /// Nobody is logged in to a fresh guest who could answer the question whether to shut down.
  std::optional<std::string> obedientRestoreImage(const std::string&) override {
    return std::nullopt;
  }
  std::optional<std::string> preparedBundle() override { return std::getenv("PARLEN_MAC_BUNDLE"); }
  bool keepsMachinesApart() const override { return true; }

  /// In slices: nothing can be thrown through the main queue's frames to leave its loop.
  bool runUntil(const std::function<bool()>& condition) override {
    constexpr NSTimeInterval patience = 120;
    constexpr NSTimeInterval slice = 0.01;
    NSDate* deadline = [NSDate dateWithTimeIntervalSinceNow:patience];
    while (!condition()) {
      if (deadline.timeIntervalSinceNow < 0) return false;
      [NSRunLoop.mainRunLoop runMode:NSDefaultRunLoopMode
                          beforeDate:[NSDate dateWithTimeIntervalSinceNow:slice]];
    }
    return true;
  }

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
