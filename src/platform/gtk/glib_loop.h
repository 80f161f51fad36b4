#pragma once

#include <glib.h>

#include <vector>

#include "platform/linux/loop.h"

namespace parlen::gtk {

/// GLib's default main context, served by the program's own loop. The program must not run GLib's
/// loop itself.
class GlibLoop final : public linux::ForeignLoop {
 public:
  explicit GlibLoop(linux::Loop& loop);
  ~GlibLoop() override;
  GlibLoop(const GlibLoop&) = delete;
  GlibLoop& operator=(const GlibLoop&) = delete;

  std::chrono::nanoseconds prepare(std::vector<pollfd>& polled) override;
  void dispatch(std::span<const pollfd> polled) override;

 private:
  linux::Loop& loop_;
  GMainContext* context_ = g_main_context_default();
  int priority_ = 0;                // the last wait's: less urgent sources are not looked at
  std::vector<GPollFD> wanted_{8};  // room for what the context wants to poll
};

}  // namespace parlen::gtk
