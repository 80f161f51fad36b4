#include <dlfcn.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cstddef>
#include <cstdlib>
#include <memory>

#include "platform/gtk/module.h"
#include "platform/linux/event_loop.h"
#include "platform/qemu/window_module.h"

namespace parlen::gtk {
namespace {

/// A function of the libraries that the module has loaded.
template <class Function>
Function* loaded(const char* library, const char* name) {
  void* handle = ::dlopen(library, RTLD_LAZY | RTLD_NOLOAD);
  return handle == nullptr ? nullptr : reinterpret_cast<Function*>(::dlsym(handle, name));
}

// GLib's socket class has SIGPIPE ignored when it is first used, which may be long after the
// desktop was opened: when an input method or a portal is asked for, say.
TEST(WindowModule, KeepsTheActionOfABrokenPipeWhenGlibOpensItsFirstSocketLater) {
  ::setenv("DISPLAY", ":4242", 1);  // there is none: what is asked for here needs no windows
  ::unsetenv("WAYLAND_DISPLAY");
  ::signal(SIGPIPE, SIG_DFL);
  const auto open = qemu::loadWindowModule({PARLEN_WINDOW_MODULE});
  ASSERT_TRUE(open) << open.error().description;
  linux::EventLoop loop;
  platform::Result<std::unique_ptr<WindowSystem>> desktop;
  (*open)({.loop = loop, .warn = [](const auto&...) {}, .connectDisplay = nullptr}, desktop);
  EXPECT_FALSE(desktop);

  const auto socketType = loaded<std::size_t()>("libgio-2.0.so.0", "g_socket_get_type");
  const auto useClass = loaded<void*(std::size_t)>("libgobject-2.0.so.0", "g_type_class_ref");
  ASSERT_TRUE(socketType != nullptr && useClass != nullptr);
  useClass(socketType());

  struct sigaction action{};
  ::sigaction(SIGPIPE, nullptr, &action);
  EXPECT_EQ(action.sa_handler, SIG_DFL);
}

}  // namespace
}  // namespace parlen::gtk
