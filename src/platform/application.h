#pragma once

#include <string_view>

namespace parlen::platform {

/// How the process shows on the host's desktop; the raw values are the window system's own.
enum class ActivationPolicy {
  regular = 0,     // an icon and a menu bar, may have windows
  prohibited = 2,  // no icon, no menu bar, never active
};

/// The process as its host's desktop sees it. Main thread.
class Application {
 public:
  virtual ~Application() = default;

  virtual void setActivationPolicy(ActivationPolicy policy) = 0;

  /// Keeps the host from ending a background process that looks idle.
  virtual void disableAutomaticTermination(std::string_view reason) = 0;

  /// Serves the main queue and the window system. The process ends from inside a piece of work.
  virtual void run() = 0;
};

}  // namespace parlen::platform
