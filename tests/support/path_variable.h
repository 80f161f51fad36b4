#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace parlen::test {

/// Sets PATH, or unsets it for no value, until the end of its scope.
class PathVariable {
 public:
  explicit PathVariable(const std::optional<std::string>& value) {
    if (const char* before = std::getenv("PATH")) before_ = before;
    set(value);
  }
  ~PathVariable() { set(before_); }
  PathVariable(const PathVariable&) = delete;
  PathVariable& operator=(const PathVariable&) = delete;

 private:
  static void set(const std::optional<std::string>& value) {
    if (value) {
      setenv("PATH", value->c_str(), 1);
    } else {
      unsetenv("PATH");
    }
  }

  std::optional<std::string> before_;
};

}  // namespace parlen::test
