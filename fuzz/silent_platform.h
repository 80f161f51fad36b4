#pragma once

#include <cstdlib>
#include <deque>
#include <memory>
#include <string>
#include <utility>

#include "platform/platform.h"

/// A platform whose calls do next to nothing, for code that a fuzzer calls thousands of times a
/// second.
namespace parlen::fuzz {

/// Keeps the output, drops the errors, never has input.
class SilentStreams : public platform::StandardStreams {
 public:
  bool writeOutput(std::string_view bytes) override {
    output += bytes;
    return true;
  }
  void writeError(std::string_view) override {}
  platform::Result<> readInput(InputHandler) override { return {}; }
  std::string output;
};

/// Runs all work in the order in which it was posted, whatever its delay. The clock stands still.
class ImmediateLoop : public platform::EventLoop {
 public:
  void post(platform::Work work) override { queue_.push_back(std::move(work)); }
  void postDelayed(std::chrono::milliseconds, platform::Work work) override {
    post(std::move(work));
  }
  platform::Result<> run() override {
    for (; !queue_.empty(); queue_.pop_front()) queue_.front()();
    return {};
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
  ImmediateLoop& loop() override { return loop_; }
  platform::Process& process() override { std::abort(); }
  std::unique_ptr<platform::SerialQueue> makeSerialQueue(std::string_view) override {
    return std::make_unique<DirectQueue>();
  }

 private:
  SilentStreams streams_;
  ImmediateLoop loop_;
};

/// A machine that is always running: no stop completes.
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

/// A view in no window: an input driver then uses the window system for key events only.
class DetachedView : public platform::MachineView {
 public:
  bool acceptsFirstResponder() const override { return true; }
  std::vector<std::shared_ptr<platform::View>> subviews() const override { return {}; }
  platform::Window* window() const override { return nullptr; }
};

/// Makes key events and drops them; it has no screen.
class SilentWindowSystem : public platform::WindowSystem {
 public:
  bool hasMainMenu() const override { return true; }
  void setMainMenu(const platform::MenuBar&) override {}
  void activate(platform::OtherApps) override {}
  std::optional<platform::Rect> mainScreenVisibleFrame() const override { return std::nullopt; }
  std::shared_ptr<platform::MachineView> makeMachineView(
      const platform::Rect&, platform::VirtualMachine&,
      const platform::MachineViewOptions&) override {
    return std::make_shared<DetachedView>();
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

/// A host without a window system. Commands use nothing else of a host.
class SilentHost : public platform::Host, private platform::Application {
 public:
  platform::HostCapabilities& capabilities() override { std::abort(); }
  platform::GuestIdentities& identities() override { std::abort(); }
  platform::MachineFactory& machines() override { std::abort(); }
  platform::Restoration& restoration() override { std::abort(); }
  platform::Application& application() override { return *this; }
  platform::Result<platform::WindowSystem*> windowSystem() override {
    return platform::error("", 1, "no window system");
  }

 private:
  void setActivationPolicy(platform::ActivationPolicy) override {}
  void disableAutomaticTermination(std::string_view) override {}
  void setQuitHandler(platform::Work) override {}
  platform::Result<> run() override { return {}; }
};

}  // namespace parlen::fuzz
