#include "window/present_window.h"

#include "input/gui_input_driver.h"
#include "platform/platform.h"
#include "window/guest_view.h"
#include "window/placement.h"

namespace parlen {

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
