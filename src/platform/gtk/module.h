#pragma once

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/error.h"
#include "platform/linux/event_loop.h"
#include "platform/posix/descriptor.h"
#include "platform/virtual_machine.h"
#include "platform/window_system.h"

/// The interface between the program and its window module, which is a shared object.
///
/// The platform's own interfaces cross this boundary, with types of the standard library in them.
/// That is sound although each side may have its own copy of that library, because
///  - both are built together, by one compiler, against one library (`buildName` is compared before
///    anything else is called), so every type has one layout;
///  - both allocate from the C library's one heap, so either may free what the other allocated;
///  - the module stays loaded until the process ends, so no function outlives its code;
///  - no exception leaves either side, and neither uses the dynamic type of an object that the
///    other made.
namespace parlen::gtk {

/// What both sides must have in common.
inline constexpr const char* buildName = PARLEN_VERSION " " __VERSION__;

/// The domain of every error about windows; the code is always 1.
inline constexpr std::string_view errorDomain = "ParlenWindowErrorDomain";

inline std::unexpected<platform::PlatformError> error(std::string sentence) {
  return platform::error(errorDomain, 1, std::move(sentence));
}

/// Connects to a machine's display: a socket on which it speaks RFB (RFC 6143) without
/// authentication. An empty descriptor if that failed; nothing for a machine without a display,
/// whose view shows a test picture. Main thread.
using ConnectDisplay =
    std::function<std::optional<posix::Descriptor>(platform::VirtualMachine& machine)>;

/// What the program gives to the module. `loop` must live until the process ends; the rest is
/// copied.
struct ModuleContext {
  linux::EventLoop& loop;
  platform::WarningSink warn;
  ConnectDisplay connectDisplay;
};

/// The desktop that the module has opened.
class WindowSystem : public platform::WindowSystem {
 public:
  /// Whether the display server has gone. From then on every call is safe and has no effect.
  virtual bool isLost() const = 0;
};

// The module's two functions, and the names that they are exported under.
inline constexpr const char* buildNameSymbol = "parlenWindowModuleBuildName";
using BuildName = const char*();
inline constexpr const char* openDesktopSymbol = "parlenWindowModuleOpenDesktop";
/// Opens the default display. After an error, which says what is missing, it may be called again;
/// after a success it must not.
using OpenDesktop = void(const ModuleContext& context,
                         platform::Result<std::unique_ptr<WindowSystem>>& result);

}  // namespace parlen::gtk
