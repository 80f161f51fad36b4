#include "platform/gtk/glib_loop.h"

namespace parlen::gtk {

// The context is this thread's for good: a source that another thread adds then wakes the wait.
GlibLoop::GlibLoop(linux::Loop& loop) : loop_(loop) {
  g_main_context_acquire(context_);
  loop_.serve(this);
}

GlibLoop::~GlibLoop() {
  loop_.serve(nullptr);
  g_main_context_release(context_);
}

std::chrono::nanoseconds GlibLoop::prepare(std::vector<pollfd>& polled) {
  g_main_context_prepare(context_, &priority_);
  int timeout = -1;
  int count = 0;
  for (;;) {
    const int room = static_cast<int>(wanted_.size());
    count = g_main_context_query(context_, priority_, &timeout, wanted_.data(), room);
    if (count <= room) break;
    wanted_.resize(static_cast<std::size_t>(count));
  }
  // GLib's record of a poll is the system's own, in other words.
  for (const GPollFD& entry : std::span(wanted_).first(static_cast<std::size_t>(count))) {
    polled.push_back({entry.fd, static_cast<short>(entry.events), 0});
  }
  if (timeout < 0) return std::chrono::nanoseconds::max();
  return std::chrono::milliseconds(timeout);
}

void GlibLoop::dispatch(std::span<const pollfd> polled) {
  for (std::size_t i = 0; i < polled.size(); ++i) {
    wanted_[i].revents = static_cast<gushort>(polled[i].revents);
  }
  const int count = static_cast<int>(polled.size());
  if (g_main_context_check(context_, priority_, wanted_.data(), count)) {
    g_main_context_dispatch(context_);
  }
}

}  // namespace parlen::gtk
