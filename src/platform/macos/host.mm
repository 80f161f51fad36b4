#import "platform/macos/host.h"

#import "platform/macos/window_system.h"

namespace parlen::macos {

platform::Result<platform::WindowSystem*> MacHost::windowSystem() {
  if (!windowSystem_) windowSystem_ = makeWindowSystem();
  return windowSystem_.get();
}

}  // namespace parlen::macos
