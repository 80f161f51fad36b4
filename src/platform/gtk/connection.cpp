#include "platform/gtk/connection.h"

#include <X11/Xlib.h>
#include <gdk/gdkx.h>

#include <cstdlib>

namespace parlen::gtk {

struct BrokenConnectionHandler {
  // Global, because the handler is given nothing but Xlib's display, which nobody here knows while
  // it is being opened.
  static inline constinit Connection* connection = nullptr;

  /// If it returned, Xlib would end the process. Source: Xlib manual, XSetIOErrorHandler.
  static int onBroken(Display*) {
    if (connection->leave_ == nullptr) std::abort();  // GTK was called past `use`
    connection->leave();
  }
};

/// GDK sets a handler of its own when it first uses the class.
Connection::Connection() {
  g_type_class_ref(GDK_TYPE_X11_DISPLAY);  // never given back: the class is not initialized again
  BrokenConnectionHandler::connection = this;
  XSetIOErrorHandler(BrokenConnectionHandler::onBroken);
}

bool Connection::run(void (*call)(void*), void* target) {
  std::jmp_buf here;
  leave_ = &here;
  if (setjmp(here) == 0) {
    call(target);
    leave_ = nullptr;
    return true;
  }
  leave_ = nullptr;
  if (!std::exchange(broken_, true) && onBroken_) onBroken_();
  return false;
}

void Connection::leave() { std::longjmp(*leave_, 1); }

}  // namespace parlen::gtk
