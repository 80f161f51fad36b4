#include "platform/gtk/display_probe.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <wayland-client.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <utility>

namespace parlen::gtk {
namespace {

using SharedDescriptor = std::shared_ptr<const posix::Descriptor>;

/// Completes a handshake with the X server that DISPLAY names.
bool reachX() {
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  const bool reached = xcb_connection_has_error(connection) == 0;
  xcb_disconnect(connection);
  return reached;
}

/// Waits for one answer of the compositor that WAYLAND_DISPLAY names, or of the default one.
void reachWayland() {
  // There is nowhere to look, and the library would complain of that on standard error.
  if (std::getenv("XDG_RUNTIME_DIR") == nullptr && std::getenv("WAYLAND_DISPLAY") == nullptr)
    return;
  wl_display* display = wl_display_connect(nullptr);
  if (display == nullptr) return;
  wl_display_roundtrip(display);
  wl_display_disconnect(display);
}

/// In the order in which GTK tries them.
void* reachDisplay(void* argument) {
  const std::unique_ptr<SharedDescriptor> result(static_cast<SharedDescriptor*>(argument));
  if (!reachX()) reachWayland();
  eventfd_write((*result)->get(), 1);
  return nullptr;
}

/// False if there can be no more threads. Signals stay the main thread's.
bool startThread(SharedDescriptor result) {
  auto argument = std::make_unique<SharedDescriptor>(std::move(result));
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);  // a thread inherits it from its creator
  pthread_t thread{};
  const bool started = pthread_create(&thread, nullptr, reachDisplay, argument.get()) == 0;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (!started) return false;
  static_cast<void>(argument.release());  // the thread's
  pthread_detach(thread);
  return true;
}

}  // namespace

DisplayProbe::DisplayProbe()
    : result_(std::make_shared<posix::Descriptor>(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))) {
  if (!*result_ || !startThread(result_)) result_.reset();
}

bool DisplayProbe::hasResult(std::chrono::milliseconds timeout) const {
  if (!result_) return true;
  pollfd result{result_->get(), POLLIN, 0};
  return poll(&result, 1, static_cast<int>(timeout.count())) > 0;
}

}  // namespace parlen::gtk
