#include "platform/gtk/desktop.h"

#include <glib.h>
#include <poll.h>

#include <chrono>
#include <cstddef>
#include <span>
#include <vector>

#include "platform/gtk/key_event.h"
#include "platform/gtk/picture.h"
#include "platform/gtk/reference.h"
#include "platform/gtk/screen.h"
#include "platform/gtk/view.h"

namespace parlen::gtk {
namespace {

constexpr int iconSide = 128;  // pixels

/// Runs GLib's default main context inside the program's loop; GLib's own loop must not run.
/// Source of the order of calls: GLib reference, g_main_context_prepare and its neighbours.
class GlibLoop final : public linux::ForeignLoop {
 public:
  // This thread keeps the context: then a source that another thread adds ends the wait.
  GlibLoop(linux::EventLoop& loop, Connection& connection) : loop_(loop), connection_(connection) {
    g_main_context_acquire(context_);
    loop_.serve(this);
  }

  ~GlibLoop() override {
    loop_.serve(nullptr);
    g_main_context_release(context_);
  }

  std::chrono::nanoseconds prepare(std::vector<pollfd>& polled) override {
    int timeout = -1;  // ms; negative: none
    int count = 0;
    connection_.use([&] {
      g_main_context_prepare(context_, &priority_);
      count = query(timeout);
    });
    // GPollFD's events have the values of poll(2)'s.
    for (const GPollFD& entry : std::span(entries_).first(static_cast<std::size_t>(count))) {
      polled.push_back({entry.fd, static_cast<short>(entry.events), 0});
    }
    if (timeout < 0) return std::chrono::nanoseconds::max();
    return std::chrono::milliseconds(timeout);
  }

  void dispatch(std::span<const pollfd> polled) override {
    for (std::size_t i = 0; i < polled.size(); ++i) {
      entries_[i].revents = static_cast<gushort>(polled[i].revents);
    }
    const int count = static_cast<int>(polled.size());
    connection_.use([&] {
      if (g_main_context_check(context_, priority_, entries_.data(), count)) {
        g_main_context_dispatch(context_);
      }
    });
  }

 private:
  /// Puts what is to be polled into the entries and returns their number.
  int query(int& timeout) {
    for (;;) {
      const int room = static_cast<int>(entries_.size());
      const int count = g_main_context_query(context_, priority_, &timeout, entries_.data(), room);
      if (count <= room) return count;
      entries_.resize(static_cast<std::size_t>(count));
    }
  }

  linux::EventLoop& loop_;
  Connection& connection_;
  GMainContext* context_ = g_main_context_default();
  int priority_ = 0;                 // sources below the last prepared priority are not checked
  std::vector<GPollFD> entries_{8};  // what the context polls
};

}  // namespace

Desktop::Desktop(const ModuleContext& context, Connection& connection)
    : context_(context),
      glibLoop_(std::make_unique<GlibLoop>(context.loop, connection)),
      state_(std::make_shared<DesktopState>(connection)) {
  connection.setHandler([this] { context_.loop.post([this] { lose(); }); });
  const Reference<GdkPixbuf> icon(makeIcon(iconSide));
  connection.use([&] {
    labels_ = Labels::make();
    gtk_window_set_default_icon(icon.get());
  });
}

void Desktop::lose() {
  glibLoop_.reset();
  context_.warn("the display is gone: the guest runs on without a window");
}

void Desktop::activate(platform::OtherApps otherApps) {
  if (otherApps == platform::OtherApps::respect || state_->keyWindow == nullptr) return;
  state_->keyWindow->makeKeyAndOrderFront();
}

std::optional<platform::Rect> Desktop::mainScreenVisibleFrame() const {
  std::optional<platform::Rect> frame;
  state_->connection.use([&] { frame = mainVisibleFrame(); });
  return frame;
}

std::shared_ptr<platform::MachineView> Desktop::makeMachineView(
    const platform::Rect&, platform::VirtualMachine& machine,
    const platform::MachineViewOptions& options) {
  return makeView(state_->connection, context_.connectDisplay, machine, options);
}

std::unique_ptr<platform::Window> Desktop::makeWindow(const platform::WindowOptions& options) {
  return std::make_unique<Window>(++lastWindowNumber_, options, labels_, state_);
}

void Desktop::setLabelText(platform::BarLabel label, const std::string& text) {
  const std::string shown = shownText(text);
  state_->connection.use([&] { labels_.setText(label, shown); });
}

std::unique_ptr<platform::KeyEvent> Desktop::keyEvent(const platform::KeyEventDetails& details) {
  return KeyEvent::make(details);
}

/// Delivers to the view itself: GTK's own dispatch would ask the display server which window has
/// the keyboard, and might reach a button.
void Desktop::sendEvent(const platform::KeyEvent& event) {
  if (state_->keyWindow == nullptr) return;
  state_->connection.use([&] {
    MachineView* view = state_->keyWindow->responder();
    if (view != nullptr) static_cast<const KeyEvent&>(event).deliverTo(view->widget());
  });
}

}  // namespace parlen::gtk
