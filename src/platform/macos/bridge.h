#pragma once

#import <Foundation/Foundation.h>

#include <expected>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "platform/error.h"
#include "platform/geometry.h"

/// Conversions between the program's values and the frameworks', and how the frameworks call back.
/// Any thread unless a declaration says otherwise.
namespace parlen::macos {

// Text, paths and bytes.

/// `text` is UTF-8. Bytes that are not valid UTF-8 are read as Latin-1, so that none are lost.
NSString* toText(std::string_view text);

/// A path that is not valid UTF-8 names no file on this system. It becomes one at which nothing
/// exists or can be created, with the same last component for errors to name.
NSString* toPath(const std::string& path);
NSURL* toFileUrl(const std::string& path);

NSData* toData(std::string_view bytes);

/// UTF-8; empty for nil.
std::string fromText(NSString* text);
std::string fromData(NSData* data);

// Geometry. Both sides use points, y upward, with the origin at the main screen's bottom-left
// corner.

inline NSRect toNsRect(const platform::Rect& rect) {
  return NSMakeRect(rect.x, rect.y, rect.width, rect.height);
}

inline NSSize toNsSize(const platform::Size& size) { return NSMakeSize(size.width, size.height); }

inline platform::Rect fromNsRect(NSRect rect) {
  return {
      .x = rect.origin.x, .y = rect.origin.y, .width = rect.size.width, .height = rect.size.height};
}

// Errors.

/// The framework's error to return: domain, code and localized description, each unchanged. Each
/// underlying error goes to `warn` as a line of its own. Nil, from a framework that failed without
/// an error, becomes an error without a domain. Main thread if `warn` is given.
std::unexpected<platform::PlatformError> error(NSError* error,
                                               const platform::WarningSink& warn = {});

/// This host's own error to return: `code` is an errno value, the domain NSPOSIXErrorDomain.
std::unexpected<platform::PlatformError> error(int code, std::string sentence);

// Callbacks.

/// Calls `function` from a framework's stack frame: a block, a delegate method, an observer. The
/// frameworks cannot be unwound, so an exception of either language ends the process here. The
/// autorelease pool is needed because the main queue's own drains only when a window event arrives.
template <class Function, class... Arguments>
void callBack(const Function& function, Arguments&&... arguments) noexcept {
  @autoreleasepool {
    function(std::forward<Arguments>(arguments)...);
  }
}

/// What the framework calls, exactly once, with an error or with nil for success.
using CompletionHandler = void (^)(NSError*);

/// A handler that calls `done`; underlying errors go to `warn`. It must be called on the main
/// thread.
CompletionHandler toHandler(platform::Completion done, platform::WarningSink warn);

/// Every call into AppKit goes through one. AppKit raises where it cannot carry something out, a
/// window server that refuses a window included; that becomes a warning, because no window is worth
/// a guest. Main thread.
class Guard {
 public:
  explicit Guard(platform::WarningSink warn) : warn_(std::move(warn)) {}

  template <class Function>
  void operator()(const Function& function) const {
    @try {
      function();
    } @catch (NSException* exception) {
      warnOf(exception);
    }
  }

  /// What `function` returns; `otherwise` if AppKit raises.
  template <class Function, class Value = std::invoke_result_t<Function>>
  Value ask(const Function& function, Value otherwise = {}) const {
    (*this)([&] { otherwise = function(); });
    return otherwise;
  }

 private:
  void warnOf(NSException* exception) const;

  platform::WarningSink warn_;
};

}  // namespace parlen::macos
