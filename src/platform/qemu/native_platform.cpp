#include "platform/native.h"

#include <utility>

#include "platform/linux/system.h"
#include "platform/qemu/host.h"

namespace parlen::platform {
namespace {

class LinuxPlatform final : public NativePlatform {
 public:
  System& system() override { return *system_; }
  std::string_view hostName() const override { return "qemu"; }
  bool showsForeignMachines() const override { return true; }  // a test picture
  std::unique_ptr<Host> makeHost(WarningSink warn) override {
    return std::make_unique<qemu::Host>(system_->posixLoop(), std::move(warn),
                                        [this] { system_->reserveOutput(); });
  }

 private:
  std::unique_ptr<linux::PosixSystem> system_ = linux::makePosixSystem();
};

}  // namespace

std::unique_ptr<NativePlatform> makeNativePlatform() { return std::make_unique<LinuxPlatform>(); }

}  // namespace parlen::platform
