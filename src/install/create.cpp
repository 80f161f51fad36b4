#include "install/create.h"

#include <memory>
#include <utility>

#include "bundle/vm_bundle.h"
#include "events/error_code.h"
#include "events/event_stream.h"
#include "install/installation.h"
#include "platform/platform.h"

namespace parlen {
namespace {

using LoadedImage = platform::Result<std::shared_ptr<const platform::RestoreImage>>;

/// What the completion of the load needs, in one piece.
struct Order {
  std::string ipswPath;
  VMBundle bundle;
  std::int64_t diskGb = 0;
};

void continueWith(const LoadedImage& image, const Order& order, Installation& installation) {
  if (!image) die(errorCode::ipswUnreadable, image.error().description);
  const auto requirements = (*image)->mostFeaturefulSupportedConfiguration();
  if (!requirements) {
    die(errorCode::ipswUnsupported, "this host cannot run any configuration in " + order.ipswPath);
  }
  installation.install(**image, *requirements, order.bundle, order.diskGb);
}

}  // namespace

void createVM(const std::string& ipswPath, const std::string& bundlePath, std::int64_t diskGb) {
  platform::System& system = platform::system();
  emitReady();
  const VMBundle bundle(bundlePath);
  if (bundle.exists()) {
    die(errorCode::bundleExists, bundlePath + " already exists — VMs are pets, not cattle");
  }
  const std::string image = absolutePath(ipswPath);
  if (!system.files().exists(image)) {
    die(errorCode::ipswMissing, "no restore image at " + ipswPath);
  }

  // Lives until the process ends: this function never returns.
  Installation installation;
  const Order order{ipswPath, bundle, diskGb};
  platform::host().restoration().loadRestoreImage(
      image, [&system, &order, &installation](LoadedImage loaded) {
        system.loop().post([&order, &installation, loaded = std::move(loaded)] {
          continueWith(loaded, order, installation);
        });
      });
  system.loop().run();
  system.process().exit(0);
}

}  // namespace parlen
