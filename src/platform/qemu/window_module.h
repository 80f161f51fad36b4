#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/error.h"
#include "platform/gtk/module.h"

namespace parlen::qemu {

/// The environment's say about displays.
struct DisplayNames {
  std::string x11;      // DISPLAY
  std::string wayland;  // WAYLAND_DISPLAY
};

/// Loads the window module and has it open the desktop. The error says what is missing: a display,
/// the module, or a library that the module needs.
platform::Result<std::unique_ptr<gtk::WindowSystem>> openDesktop(const DisplayNames& displays,
                                                                 const gtk::ModuleContext& context);

/// Of this process's environment; an unset name is empty.
DisplayNames readDisplayNames();

/// Where the module may be, the likeliest place first: beside the program, as a build leaves it,
/// and where an installation puts it, seen from the program's folder.
std::vector<std::string> windowModulePaths(std::string_view executablePath);

/// The module at the first of `paths` that is there.
platform::Result<gtk::OpenDesktop*> loadWindowModule(const std::vector<std::string>& paths);

}  // namespace parlen::qemu
