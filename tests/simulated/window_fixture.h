#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/window_system.h"
#include "simulated/machine_story.h"

namespace parlen::test {

/// A desktop with windows on it, and what was traced of them.
class SimulatedWindowTest : public MachineStoryTest {
 protected:
  platform::WindowSystem& windows() { return *host().windowSystem().value(); }

  /// The view of a machine, which is made for it.
  std::shared_ptr<platform::MachineView> makeView();
  /// A window of a title and all controls, whose content begins at (100, 50) and measures 640 by
  /// 400.
  std::unique_ptr<platform::Window> makeWindow(std::uint64_t styleMask = platform::windowTitled |
                                                                         platform::windowClosable);
  /// The same, with a view for its content.
  std::unique_ptr<platform::Window> makeWindowWith(
      const std::shared_ptr<platform::MachineView>& view);

  /// The calls traced since the last look, each a line without its time: "window.orderOut" and its
  /// members.
  std::vector<std::string> newCalls();
  void forgetCalls() { newCalls(); }

 private:
  std::size_t seen_ = 0;
};

/// The bar's stack around these views.
platform::TitlebarAccessory barOf(std::vector<platform::BarView> views);

}  // namespace parlen::test
