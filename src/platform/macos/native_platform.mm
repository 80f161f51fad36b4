#include "platform/native.h"

#include <utility>

#import "platform/macos/host.h"
#import "platform/macos/system.h"

namespace parlen::platform {
namespace {

class MacPlatform final : public NativePlatform {
 public:
  System& system() override { return *system_; }
  std::string_view hostName() const override { return "macos"; }
  std::unique_ptr<Host> makeHost(WarningSink warn) override {
    return std::make_unique<macos::MacHost>(std::move(warn));
  }

 private:
  std::unique_ptr<System> system_ = macos::makeSystem();
};

}  // namespace

std::unique_ptr<NativePlatform> makeNativePlatform() { return std::make_unique<MacPlatform>(); }

}  // namespace parlen::platform
