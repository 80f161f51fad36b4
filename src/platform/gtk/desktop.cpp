#include "platform/gtk/desktop.h"

#include <X11/Xlib.h>
#include <gdk/gdkx.h>
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
  explicit GlibLoop(linux::EventLoop& loop) : loop_(loop) {
    g_main_context_acquire(context_);
    loop_.serve(this);
  }

  ~GlibLoop() override {
    loop_.serve(nullptr);
    g_main_context_release(context_);
  }

  std::chrono::nanoseconds prepare(std::vector<pollfd>& polled) override {
    g_main_context_prepare(context_, &priority_);
    int timeout = -1;  // ms; negative: none
    int count = 0;
    for (;;) {
      const int room = static_cast<int>(entries_.size());
      count = g_main_context_query(context_, priority_, &timeout, entries_.data(), room);
      if (count <= room) break;
      entries_.resize(static_cast<std::size_t>(count));
    }
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
    if (g_main_context_check(context_, priority_, entries_.data(), count)) {
      g_main_context_dispatch(context_);
    }
  }

 private:
  linux::EventLoop& loop_;
  GMainContext* context_ = g_main_context_default();
  int priority_ = 0;                 // sources below the last prepared priority are not checked
  std::vector<GPollFD> entries_{8};  // what the context polls
};

int ignoreBrokenConnection(Display*) { return 0; }

void onBrokenConnection(Display*, void* desktop) { static_cast<Desktop*>(desktop)->lose(); }

/// By default GTK and Xlib exit when the connection breaks, and the guest would end with the
/// process.
void surviveBrokenConnection(Desktop* desktop) {
  GdkDisplay* display = gdk_display_get_default();
  if (!GDK_IS_X11_DISPLAY(display)) return;
  XSetIOErrorHandler(ignoreBrokenConnection);
  XSetIOErrorExitHandler(gdk_x11_display_get_xdisplay(display), onBrokenConnection, desktop);
}

}  // namespace

Desktop::Desktop(const ModuleContext& context)
    : context_(context), glibLoop_(std::make_unique<GlibLoop>(context.loop)) {
  const Reference<GdkPixbuf> icon(makeIcon(iconSide));
  gtk_window_set_default_icon(icon.get());
  surviveBrokenConnection(this);
}

/// Xlib calls this while it reads from the display, so the rest waits for the next loop iteration.
void Desktop::lose() {
  if (state_->lost) return;
  state_->lost = true;
  context_.loop.post([this] {
    glibLoop_.reset();
    context_.warn("the display is gone: the guest runs on without a window");
  });
}

void Desktop::activate(platform::OtherApps otherApps) {
  if (otherApps == platform::OtherApps::respect || state_->keyWindow == nullptr) return;
  state_->keyWindow->makeKeyAndOrderFront();
}

std::optional<platform::Rect> Desktop::mainScreenVisibleFrame() const {
  if (state_->lost) return std::nullopt;
  return mainVisibleFrame();
}

std::shared_ptr<platform::MachineView> Desktop::makeMachineView(
    const platform::Rect&, platform::VirtualMachine& machine,
    const platform::MachineViewOptions& options) {
  return makeView(context_.connectDisplay, machine, options);
}

std::unique_ptr<platform::Window> Desktop::makeWindow(const platform::WindowOptions& options) {
  return std::make_unique<Window>(++lastWindowNumber_, options, labels_, state_);
}

void Desktop::setLabelText(platform::BarLabel label, const std::string& text) {
  labels_.setText(label, text);
}

std::unique_ptr<platform::KeyEvent> Desktop::keyEvent(const platform::KeyEventDetails& details) {
  return KeyEvent::make(details);
}

/// Delivers to the view itself: GTK's own dispatch would ask the display server which window has
/// the keyboard, and might reach a button.
void Desktop::sendEvent(const platform::KeyEvent& event) {
  if (state_->lost || state_->keyWindow == nullptr) return;
  MachineView* view = state_->keyWindow->responder();
  if (view != nullptr) static_cast<const KeyEvent&>(event).deliverTo(view->widget());
}

}  // namespace parlen::gtk
