#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/error.h"
#include "platform/gtk/module.h"

namespace parlen::qemu {

/// The environment's variables that name displays.
struct DisplayNames {
  std::string x11;      // DISPLAY
  std::string wayland;  // WAYLAND_DISPLAY
};

/// Loads the window module and opens the desktop with it. The error says what is missing: a
/// display, the module, or a library that the module needs.
platform::Result<std::unique_ptr<gtk::WindowSystem>> openDesktop(const DisplayNames& displays,
                                                                 const gtk::ModuleContext& context);

/// Reads this process's environment; an unset variable is empty.
DisplayNames readDisplayNames();

/// Where to look for the module, in this order: beside the program (a build tree), then where an
/// installation puts it, relative to the program's folder.
std::vector<std::string> windowModulePaths(std::string_view executablePath);

/// Loads the module from the first of `paths` that exists. It is never unloaded.
platform::Result<gtk::OpenDesktop*> loadWindowModule(const std::vector<std::string>& paths);

}  // namespace parlen::qemu
