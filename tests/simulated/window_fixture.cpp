#include "simulated/window_fixture.h"

#include <utility>

namespace parlen::test {

std::shared_ptr<platform::MachineView> SimulatedWindowTest::makeView() {
  if (!machine_) use(installedGuest());
  return windows().makeMachineView({0, 0, 640, 400}, *machine_, {});
}

std::unique_ptr<platform::Window> SimulatedWindowTest::makeWindow(std::uint64_t styleMask) {
  return windows().makeWindow({.contentRect = {100, 50, 640, 400}, .styleMask = styleMask});
}

std::unique_ptr<platform::Window> SimulatedWindowTest::makeWindowWith(
    const std::shared_ptr<platform::MachineView>& view) {
  auto window = makeWindow();
  window->setContentView(view);
  return window;
}

std::vector<std::string> SimulatedWindowTest::newCalls() {
  constexpr std::string_view beforeName = "\"call\":\"";
  const std::string all = trace();
  std::vector<std::string> calls;
  while (seen_ < all.size()) {
    const std::size_t end = all.find('\n', seen_);
    const std::size_t name = all.find(beforeName, seen_) + beforeName.size();
    calls.push_back(all.substr(name, end - 1 - name));
    calls.back().erase(calls.back().find('"'), 1);
    seen_ = end + 1;
  }
  return calls;
}

platform::TitlebarAccessory barOf(std::vector<platform::BarView> views) {
  platform::TitlebarAccessory accessory;
  accessory.bar.views = std::move(views);
  return accessory;
}

}  // namespace parlen::test
