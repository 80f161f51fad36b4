#include <cstdlib>

#include "contract/host_under_test.h"
#include "platform/platform.h"

namespace parlen::test {
namespace {

class QemuHost final : public HostUnderTest {
 public:
  platform::System& system() override { return platform_->system(); }
  platform::Host& host() override { return *host_; }

  /// A boot sector without a program: the firmware finds nothing to start and waits.
  std::string smallRestoreImage() override {
    constexpr std::size_t length = 1024UL * 1024UL;
    constexpr std::size_t signatureOffset = 510;
    std::string image(length, '\0');
    image.replace(0, mark.size(), mark);
    image.replace(signatureOffset, 2, "\x55\xaa");
    return image;
  }
  bool isInstalled(std::string_view disk) override {
    return disk.starts_with(mark) && disk.substr(510, 2) == "\x55\xaa";
  }
  std::optional<std::string> obedientRestoreImage(const std::string&) override {
    const char* chosen = std::getenv("PARLEN_GUEST_IMAGE");
    std::string path = chosen != nullptr ? chosen : PARLEN_GUEST_IMAGE;
    if (!system().files().exists(path)) return std::nullopt;
    return path;
  }
  bool keepsMachinesApart() const override { return true; }

 private:
  static constexpr std::string_view mark = "a disk for the contract";

  std::unique_ptr<platform::NativePlatform> platform_ = platform::makeNativePlatform();
  std::unique_ptr<platform::Host> host_ = platform_->makeHost([](std::string_view) {});
};

}  // namespace

std::vector<HostMaker> nativeHosts() {
  return {{.name = "Qemu", .make = [] { return std::make_unique<QemuHost>(); }}};
}

}  // namespace parlen::test
