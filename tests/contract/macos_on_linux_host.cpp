#include <memory>
#include <string_view>
#include <vector>

#include "contract/made_up_guests.h"
#include "platform/platform.h"

namespace parlen::test {
namespace {

/// The macOS host on what stands for its frameworks on Linux.
class MacOnLinuxHost final : public MadeUpGuests {
 public:
  platform::System& system() override { return platform_->system(); }
  platform::Host& host() override { return *host_; }
  bool explainsFailedStarts() const override { return false; }  // the framework's sentences
  bool keepsMachinesApart() const override { return true; }

 private:
  std::unique_ptr<platform::NativePlatform> platform_ = platform::makeNativePlatform();
  std::unique_ptr<platform::Host> host_ = platform_->makeHost([](std::string_view) {});
};

}  // namespace

std::vector<HostMaker> nativeHosts() {
  return {{.name = "MacOnLinux", .make = [] { return std::make_unique<MacOnLinuxHost>(); }}};
}

}  // namespace parlen::test
