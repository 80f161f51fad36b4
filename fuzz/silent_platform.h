#pragma once

#include <cstdlib>
#include <deque>
#include <memory>
#include <string>
#include <utility>

#include "platform/platform.h"

/// A platform without a world around it, for code that a fuzzer calls thousands of times a second.
namespace parlen::fuzz {

class SilentStreams : public platform::StandardStreams {
 public:
  void writeOutput(std::string_view bytes) override { output += bytes; }
  void writeError(std::string_view) override {}
  void readInput(InputHandler) override {}
  std::string output;
};

/// Delayed work runs at once when asked for: the clock goes by as it likes.
class HastyLoop : public platform::EventLoop {
 public:
  void post(platform::Work work) override { queue_.push_back(std::move(work)); }
  void postDelayed(std::chrono::milliseconds, platform::Work work) override {
    post(std::move(work));
  }
  void run() override {
    for (; !queue_.empty(); queue_.pop_front()) queue_.front()();
  }
  std::chrono::nanoseconds now() const override { return {}; }
  std::chrono::nanoseconds systemUptime() const override { return {}; }

 private:
  std::deque<platform::Work> queue_;
};

class DirectQueue : public platform::SerialQueue {
 public:
  void sync(const platform::Work& work) override { work(); }
};

class SilentSystem : public platform::System {
 public:
  platform::Files& files() override { std::abort(); }
  SilentStreams& streams() override { return streams_; }
  HastyLoop& loop() override { return loop_; }
  platform::Process& process() override { std::abort(); }
  std::unique_ptr<platform::SerialQueue> makeSerialQueue(std::string_view) override {
    return std::make_unique<DirectQueue>();
  }

 private:
  SilentStreams streams_;
  HastyLoop loop_;
};

/// Runs for ever, whatever it is asked.
class EndlessMachine : public platform::VirtualMachine {
 public:
  void setDelegate(platform::VirtualMachineDelegate*) override {}
  std::int64_t state() const override { return 1; }
  void start(platform::Completion) override {}
  bool canRequestStop() const override { return true; }
  platform::Result<> requestStop() override { return {}; }
  void stop(platform::Completion) override {}
  bool canPause() const override { return true; }
  void pause(platform::Completion done) override { done({}); }
  bool canResume() const override { return false; }
  void resume(platform::Completion) override {}
};

/// In no window, so that its driver asks nothing of a desktop but events.
class LooseView : public platform::MachineView {
 public:
  bool acceptsFirstResponder() const override { return true; }
  std::vector<std::shared_ptr<platform::View>> subviews() const override { return {}; }
  platform::Window* window() const override { return nullptr; }
};

class BlankDesktop : public platform::WindowSystem {
 public:
  bool hasMainMenu() const override { return true; }
  void setMainMenu(const platform::MenuBar&) override {}
  void activate(platform::OtherApps) override {}
  std::optional<platform::Rect> mainScreenVisibleFrame() const override { return std::nullopt; }
  std::shared_ptr<platform::MachineView> makeMachineView(
      const platform::Rect&, platform::VirtualMachine&,
      const platform::MachineViewOptions&) override {
    return std::make_shared<LooseView>();
  }
  std::unique_ptr<platform::Window> makeWindow(const platform::WindowOptions&) override {
    std::abort();
  }
  void setLabelText(platform::BarLabel, const std::string&) override {}
  std::unique_ptr<platform::KeyEvent> keyEvent(const platform::KeyEventDetails&) override {
    return std::make_unique<platform::KeyEvent>();
  }
  void sendEvent(const platform::KeyEvent&) override {}
};

/// Has no desktop to show a window on, and is asked for nothing but that.
class BareHost : public platform::Host, private platform::Application {
 public:
  platform::HostCapabilities& capabilities() override { std::abort(); }
  platform::GuestIdentities& identities() override { std::abort(); }
  platform::MachineFactory& machines() override { std::abort(); }
  platform::Restoration& restoration() override { std::abort(); }
  platform::Application& application() override { return *this; }
  platform::Result<platform::WindowSystem*> windowSystem() override {
    return std::unexpected(platform::PlatformError{"", 1, "no desktop"});
  }

 private:
  void setActivationPolicy(platform::ActivationPolicy) override {}
  void disableAutomaticTermination(std::string_view) override {}
  void run() override {}
};

}  // namespace parlen::fuzz
