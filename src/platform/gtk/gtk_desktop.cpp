#include "platform/gtk/gtk_desktop.h"

#include <X11/Xlib.h>
#include <gdk/gdkx.h>

#include "platform/gtk/key_event.h"
#include "platform/gtk/picture.h"
#include "platform/gtk/screen.h"
#include "platform/gtk/view.h"

namespace parlen::gtk {
namespace {

constexpr int iconSide = 128;

int ignoreBrokenConnection(Display*) { return 0; }

void connectionBroke(Display*, void* desktop) { static_cast<GtkDesktop*>(desktop)->lose(); }

/// Left alone, toolkit and library would end the process, and the guest with it.
void surviveBrokenConnection(GtkDesktop* desktop) {
  GdkDisplay* display = gdk_display_get_default();
  if (!GDK_IS_X11_DISPLAY(display)) return;
  XSetIOErrorHandler(ignoreBrokenConnection);
  XSetIOErrorExitHandler(gdk_x11_display_get_xdisplay(display), connectionBroke, desktop);
}

}  // namespace

GtkDesktop::GtkDesktop(const Surroundings& surroundings)
    : surroundings_(surroundings), loop_(std::make_unique<GlibLoop>(surroundings.loop)) {
  const Reference<GdkPixbuf> icon(makeIcon(iconSide));
  gtk_window_set_default_icon(icon.get());
  surviveBrokenConnection(this);
}

/// Called from inside the library that reads from the display: nothing more than a note is safe.
void GtkDesktop::lose() {
  if (state_->lost) return;
  state_->lost = true;
  surroundings_.loop.post([this] {
    loop_.reset();
    surroundings_.warn("the display is gone: the guest runs on without a window");
  });
}

void GtkDesktop::activate(platform::OtherApps otherApps) {
  if (otherApps == platform::OtherApps::respect || state_->keyWindow == nullptr) return;
  state_->keyWindow->makeKeyAndOrderFront();
}

std::optional<platform::Rect> GtkDesktop::mainScreenVisibleFrame() const {
  if (state_->lost) return std::nullopt;
  return mainVisibleFrame();
}

std::shared_ptr<platform::MachineView> GtkDesktop::makeMachineView(
    const platform::Rect&, platform::VirtualMachine& machine,
    const platform::MachineViewOptions& options) {
  // The frame is the window's matter from the moment the view is its content.
  return makeView(surroundings_.connectDisplay, machine, options);
}

std::unique_ptr<platform::Window> GtkDesktop::makeWindow(const platform::WindowOptions& options) {
  return std::make_unique<Window>(++lastWindowNumber_, options, labels_, state_);
}

void GtkDesktop::setLabelText(platform::BarLabel label, const std::string& text) {
  labels_.setText(label, text);
}

std::unique_ptr<platform::KeyEvent> GtkDesktop::keyEvent(const platform::KeyEventDetails& details) {
  return GtkKeyEvent::make(details);
}

/// Straight to the view: the toolkit's own way would ask the display server who has the keyboard,
/// and might find a button.
void GtkDesktop::sendEvent(const platform::KeyEvent& event) {
  if (state_->lost || state_->keyWindow == nullptr) return;
  MachineView* view = state_->keyWindow->responder();
  if (view != nullptr) static_cast<const GtkKeyEvent&>(event).deliverTo(view->widget());
}

}  // namespace parlen::gtk
