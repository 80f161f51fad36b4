#include "window/guest_view.h"

#include "platform/machine_configuration.h"

namespace parlen {
namespace {

constexpr platform::Rect naturalFrame{0, 0, vmDisplayWidth, vmDisplayHeight};

}  // namespace

std::shared_ptr<platform::MachineView> makeGuestView(platform::WindowSystem& windows,
                                                     platform::VirtualMachine& machine) {
  return windows.makeMachineView(
      naturalFrame, machine,
      {.capturesSystemKeys = true, .automaticallyReconfiguresDisplay = false});
}

std::unique_ptr<platform::Window> makeGuestWindow(platform::WindowSystem& windows) {
  return windows.makeWindow({.contentRect = naturalFrame,
                             .styleMask = platform::windowTitled | platform::windowClosable |
                                          platform::windowMiniaturizable |
                                          platform::windowResizable,
                             .backing = platform::Backing::buffered,
                             .defer = false});
}

}  // namespace parlen
