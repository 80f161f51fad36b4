#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/event_loop.h"
#include "platform/host.h"

namespace parlen::test {

/// What was asked of a desktop, one text for each call: the milliseconds since the recording began,
/// the call, its arguments.
class Recording {
 public:
  explicit Recording(const platform::EventLoop& loop) : loop_(loop), start_(loop.now()) {}

  void add(const std::string& call);
  /// What was recorded since the last time.
  std::vector<std::string> take() { return std::exchange(calls_, {}); }

 private:
  const platform::EventLoop& loop_;
  std::chrono::nanoseconds start_;
  std::vector<std::string> calls_;
};

/// A view inside of a machine view.
class RecordingView : public platform::View {
 public:
  explicit RecordingView(std::string viewName, bool acceptsKeys = true,
                         std::vector<std::shared_ptr<platform::View>> views = {})
      : name(std::move(viewName)), accepts(acceptsKeys), children(std::move(views)) {}
  bool acceptsFirstResponder() const override { return accepts; }
  std::vector<std::shared_ptr<platform::View>> subviews() const override { return children; }

  std::string name;
  bool accepts;
  std::vector<std::shared_ptr<platform::View>> children;
};

class RecordingMachineView : public platform::MachineView {
 public:
  bool acceptsFirstResponder() const override { return accepts; }
  std::vector<std::shared_ptr<platform::View>> subviews() const override { return children; }
  platform::Window* window() const override { return holder; }

  bool accepts = true;
  std::vector<std::shared_ptr<platform::View>> children;
  platform::Window* holder = nullptr;
};

/// A window of number 7 whose title bar is 30 points high.
class RecordingWindow : public platform::Window {
 public:
  explicit RecordingWindow(Recording& recording) : recording_(recording) {}

  std::int64_t windowNumber() const override { return 7; }
  void setTitle(const std::string& title) override;
  void setReleasedWhenClosed(platform::ReleasedWhenClosed released) override;
  void setDelegate(platform::WindowDelegate* delegate) override;
  void setContentView(const std::shared_ptr<platform::MachineView>& view) override;
  void setInitialFirstResponder(const std::shared_ptr<platform::MachineView>& view) override;
  void addTitlebarAccessory(const platform::TitlebarAccessory& added) override;
  bool isVisible() const override { return visible; }
  std::optional<platform::Rect> screenVisibleFrame() const override { return screen; }
  platform::Rect frame() const override { return place; }
  platform::Rect contentRectForFrameRect(const platform::Rect& frame) const override;
  void setFrame(const platform::Rect& frame, platform::Redraw redraw) override;
  void setContentSize(const platform::Size& size) override;
  void setContentAspectRatio(const platform::Size& ratio) override;
  void makeKeyAndOrderFront() override;
  void orderOut() override;
  bool firstResponderIsMachineView() const override;
  bool isFirstResponder(const platform::View& view) const override;
  void makeFirstResponder(const std::shared_ptr<platform::View>& view) override;
  std::string firstResponderDescription() const override;

  platform::Rect place{0, 0, 1920, 1230};
  bool visible = false;
  std::optional<platform::Rect> screen;
  std::shared_ptr<platform::View> firstResponder;
  platform::WindowDelegate* windowDelegate = nullptr;
  std::optional<platform::TitlebarAccessory> accessory;

 private:
  Recording& recording_;
};

/// A desktop without pixels. Its members say how it answers.
class RecordingDesktop : public platform::WindowSystem {
 public:
  explicit RecordingDesktop(Recording& recording) : recording_(recording) {}

  bool hasMainMenu() const override { return menu; }
  void setMainMenu(const platform::MenuBar& bar) override;
  void activate(platform::OtherApps otherApps) override;
  std::optional<platform::Rect> mainScreenVisibleFrame() const override { return mainScreen; }
  std::shared_ptr<platform::MachineView> makeMachineView(
      const platform::Rect& frame, platform::VirtualMachine& machine,
      const platform::MachineViewOptions& options) override;
  std::unique_ptr<platform::Window> makeWindow(const platform::WindowOptions& options) override;
  void setLabelText(platform::BarLabel label, const std::string& text) override;
  std::unique_ptr<platform::KeyEvent> keyEvent(const platform::KeyEventDetails& details) override;
  void sendEvent(const platform::KeyEvent& event) override;

  bool menu = false;
  std::optional<platform::Rect> mainScreen = platform::Rect{0, 0, 1440, 875};
  std::vector<std::uint16_t> unbuildableKeyCodes;

  /// The last ones made, and all events that were sent.
  RecordingWindow* window = nullptr;
  std::shared_ptr<RecordingMachineView> view;
  platform::VirtualMachine* shownMachine = nullptr;
  std::vector<platform::KeyEventDetails> sent;

 private:
  Recording& recording_;
};

/// A host that has a desktop, or an error instead of one, and nothing else.
class RecordingHost : public platform::Host {
 public:
  RecordingHost(Recording& recording, platform::Result<platform::WindowSystem*> desktop)
      : application_(recording), desktop_(std::move(desktop)) {}

  platform::HostCapabilities& capabilities() override;
  platform::GuestIdentities& identities() override;
  platform::MachineFactory& machines() override;
  platform::Restoration& restoration() override;
  platform::Application& application() override { return application_; }
  platform::Result<platform::WindowSystem*> windowSystem() override { return desktop_; }

 private:
  class Application : public platform::Application {
   public:
    explicit Application(Recording& recording) : recording_(recording) {}
    void setActivationPolicy(platform::ActivationPolicy policy) override;
    void disableAutomaticTermination(std::string_view reason) override;
    void setQuitHandler(platform::Work) override {}
    platform::Result<> run() override;

   private:
    Recording& recording_;
  };

  Application application_;
  platform::Result<platform::WindowSystem*> desktop_;
};

}  // namespace parlen::test
