#include <gmock/gmock.h>

#include <memory>

#include "contract/contract.h"

namespace parlen::test {
namespace {

/// On the hosts that have a desktop here. No window is shown.
class WindowContract : public Contract {
 protected:
  void SetUp() override {
    Contract::SetUp();
    if (IsSkipped()) return;
    const auto opened = host().windowSystem();
    if (!opened) GTEST_SKIP() << opened.error().description;
    windows_ = *opened;
    host().application().setActivationPolicy(platform::ActivationPolicy::regular);
    machine_ = host().machines().createMachine(emptyGuest("guest", smallDisk).configuration);
  }

  std::shared_ptr<platform::MachineView> makeView() {
    return windows_->makeMachineView({0, 0, 640, 400}, *machine_, {});
  }
  std::unique_ptr<platform::Window> makeWindow() {
    return windows_->makeWindow(
        {.contentRect = {0, 0, 640, 400}, .styleMask = platform::windowTitled});
  }

 private:
  std::unique_ptr<platform::VirtualMachine> machine_;
  platform::WindowSystem* windows_ = nullptr;
};
INSTANTIATE_TEST_SUITE_P(Hosts, WindowContract, testing::ValuesIn(allHosts()), nameOf);

TEST_P(WindowContract, HoldsAViewUntilAnotherWindowTakesIt) {
  const auto view = makeView();
  EXPECT_EQ(view->window(), nullptr);
  auto first = makeWindow();
  auto second = makeWindow();

  first->setContentView(view);
  EXPECT_EQ(view->window(), first.get());
  second->setContentView(view);
  EXPECT_EQ(view->window(), second.get());
  first.reset();
  EXPECT_EQ(view->window(), second.get());
  second.reset();
  EXPECT_EQ(view->window(), nullptr);
}

TEST_P(WindowContract, KeepsItsViewWhenItIsGivenAgain) {
  const auto view = makeView();
  const auto window = makeWindow();

  window->setContentView(view);
  window->setContentView(view);

  EXPECT_EQ(view->window(), window.get());
  EXPECT_FALSE(window->isVisible());
}

}  // namespace
}  // namespace parlen::test
