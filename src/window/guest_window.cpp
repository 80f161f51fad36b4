#include "window/guest_window.h"

#include <optional>

#include "input/gui_input_driver.h"
#include "platform/machine_configuration.h"
#include "platform/platform.h"
#include "window/geometry.h"

namespace parlen {
namespace {

constexpr platform::Size naturalSize{vmDisplayWidth, vmDisplayHeight};
constexpr platform::Rect naturalFrame{0, 0, naturalSize.width, naturalSize.height};

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

void placeGuestWindow(platform::Window& window, const platform::WindowSystem& windows) {
  std::optional<platform::Rect> visible = window.screenVisibleFrame();
  if (!visible) visible = windows.mainScreenVisibleFrame();
  if (visible) {
    const platform::Rect frame = window.frame();
    const double chrome = frame.height - window.contentRectForFrameRect(frame).height;
    window.setFrame(guestWindowFrame(naturalSize, 1, *visible, chrome).frame,
                    platform::Redraw::atOnce);
  } else {
    window.setContentSize(naturalSize);
  }
  window.setContentAspectRatio(naturalSize);
}

std::unique_ptr<platform::Window> presentWindow(platform::WindowSystem& windows,
                                                platform::VirtualMachine& machine,
                                                const std::string& title) {
  platform::host().application().setActivationPolicy(platform::ActivationPolicy::regular);
  const auto view = makeGuestView(windows, machine);
  auto window = makeGuestWindow(windows);
  window->setTitle(title);
  window->setContentView(view);
  placeGuestWindow(*window, windows);
  window->makeKeyAndOrderFront();
  windows.activate(platform::OtherApps::ignore);
  inputDriver = std::make_shared<GuiInputDriver>(view, windows);
  return window;
}

}  // namespace parlen
