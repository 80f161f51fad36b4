#pragma once

#include <utility>

namespace parlen::macos {

/// Calls `function` from a framework's own frame: a block, a delegate's method, an observer. The
/// frameworks are not built to be unwound, so an exception of either language ends the process
/// here. The pool is of its own because the main queue's drains only when a window event arrives.
template <class Function, class... Arguments>
void callBack(const Function& function, Arguments&&... arguments) noexcept {
  @autoreleasepool {
    function(std::forward<Arguments>(arguments)...);
  }
}

}  // namespace parlen::macos
