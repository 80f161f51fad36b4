#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

namespace parlen::test {

/// Sets a variable of the environment, or unsets it for no value, until the end of its scope.
class EnvironmentVariable {
 public:
  EnvironmentVariable(std::string name, const std::optional<std::string>& value)
      : name_(std::move(name)) {
    if (const char* before = std::getenv(name_.c_str())) before_ = before;
    set(value);
  }
  ~EnvironmentVariable() { set(before_); }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

 private:
  void set(const std::optional<std::string>& value) const {
    if (value) {
      setenv(name_.c_str(), value->c_str(), 1);
    } else {
      unsetenv(name_.c_str());
    }
  }

  std::string name_;
  std::optional<std::string> before_;
};

class PathVariable : public EnvironmentVariable {
 public:
  explicit PathVariable(const std::optional<std::string>& value)
      : EnvironmentVariable("PATH", value) {}
};

}  // namespace parlen::test
