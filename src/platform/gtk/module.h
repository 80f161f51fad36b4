#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/error.h"
#include "platform/linux/descriptor.h"
#include "platform/linux/loop.h"
#include "platform/virtual_machine.h"
#include "platform/window_system.h"

/// What the program and its window module, a shared object, say to each other.
///
/// The promises themselves cross the border, with the standard library's types in them. That is
/// sound although each side may have a copy of that library of its own, because
///  - both are built together, by one compiler, against one library (`buildName` is compared before
///    anything else is called), so that every type has one layout;
///  - both allocate with the C library's one heap, so that either may free what the other made;
///  - the module stays loaded until the process ends, so that no function outlives its code;
///  - no exception leaves either side, and neither asks for the dynamic type of an object that the
///    other has made.
namespace parlen::gtk {

/// What both sides must have in common.
inline constexpr const char* buildName = PARLEN_VERSION " " __VERSION__;

/// The domain of the errors that windows have.
inline constexpr std::string_view errorDomain = "ParlenWindowErrorDomain";

/// A socket to a machine's display, which speaks the RFB protocol and has to be authenticated
/// nowhere; none that is open if that cannot be had. Nothing for a machine without a display: its
/// view shows a test picture. Main thread.
using ConnectDisplay =
    std::function<std::optional<linux::Descriptor>(platform::VirtualMachine& machine)>;

/// What the module works with; all of it lives until the process ends.
struct Surroundings {
  linux::Loop& loop;
  platform::WarningSink warn;
  ConnectDisplay connectDisplay;
};

/// The desktop that the module has opened.
class Desktop : public platform::WindowSystem {
 public:
  /// Whether the display server has gone. Every call is harmless then, and without an effect.
  virtual bool isLost() const = 0;
};

// The module's two functions, under the names that they are looked up by.
inline constexpr const char* buildNameSymbol = "parlenWindowModuleBuildName";
using BuildName = const char*();
inline constexpr const char* openDesktopSymbol = "parlenWindowModuleOpenDesktop";
/// Opens the default display, once; the error says what is missing, and the call may be repeated.
using OpenDesktop = void(const Surroundings& surroundings,
                         platform::Result<std::unique_ptr<Desktop>>& result);

}  // namespace parlen::gtk
