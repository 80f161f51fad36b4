#include "platform/qemu/window_module.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace parlen::qemu {
namespace {

using platform::Result;

std::unexpected<platform::PlatformError> windowError(std::string sentence) {
  return platform::error(gtk::errorDomain, 1, std::move(sentence));
}

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string executablePath() {
  std::array<char, 4096> path{};
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
  return {path.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

std::string lastLoadError() {
  const char* reason = ::dlerror();
  return reason != nullptr ? reason : "unknown error";
}

template <class Function>
Function* find(void* module, const char* name) {
  return reinterpret_cast<Function*>(::dlsym(module, name));
}

}  // namespace

DisplayNames readDisplayNames() { return {variable("DISPLAY"), variable("WAYLAND_DISPLAY")}; }

std::vector<std::string> windowModulePaths(std::string_view executable) {
  const std::string folder(executable.substr(0, executable.rfind('/') + 1));
  constexpr std::string_view file = "parlen-mac-vm-gtk.so";
  return {folder + std::string(file), folder + PARLEN_MODULE_FOLDER "/" + std::string(file)};
}

Result<gtk::OpenDesktop*> loadWindowModule(const std::vector<std::string>& paths) {
  const auto path = std::ranges::find_if(
      paths, [](const std::string& candidate) { return ::access(candidate.c_str(), F_OK) == 0; });
  if (path == paths.end()) {
    std::string places;
    for (const std::string& candidate : paths) {
      places.append(places.empty() ? "" : " nor at ").append(candidate);
    }
    return windowError("the window module is missing: it is neither at " + places);
  }
  // Never closed: its objects may be called until the process ends.
  void* module = ::dlopen(path->c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (module == nullptr) {
    return windowError("could not load the window module " + *path + ": " + lastLoadError());
  }
  const auto buildName = find<gtk::BuildName>(module, gtk::buildNameSymbol);
  const auto open = find<gtk::OpenDesktop>(module, gtk::openDesktopSymbol);
  if (buildName == nullptr || open == nullptr || std::strcmp(buildName(), gtk::buildName) != 0) {
    return windowError("the window module " + *path + " belongs to another build of this tool");
  }
  return open;
}

Result<std::unique_ptr<gtk::WindowSystem>> openDesktop(const DisplayNames& displays,
                                                       const gtk::ModuleContext& context) {
  if (displays.x11.empty() && displays.wayland.empty()) {
    return windowError("there is no display: neither DISPLAY nor WAYLAND_DISPLAY is set");
  }
  const auto open = loadWindowModule(windowModulePaths(executablePath()));
  if (!open) return std::unexpected(open.error());
  Result<std::unique_ptr<gtk::WindowSystem>> desktop;
  (*open)(context, desktop);
  return desktop;
}

}  // namespace parlen::qemu
