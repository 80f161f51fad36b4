#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"

namespace parlen::test {

/// The real file system, with a test that is told of each call before it changes something.
class WatchedFiles final : public platform::Files {
 public:
  explicit WatchedFiles(platform::Files& real) : real_(real) {}

  /// Called with the name of the call and its path.
  std::function<void(std::string_view call, const std::string& path)> before =
      [](std::string_view, const std::string&) {};

  /// The names that the latest copy of a directory was to copy last.
  std::vector<std::string> copiedLast;

  std::string currentDirectory() const override { return real_.currentDirectory(); }
  bool exists(const std::string& path) const override { return real_.exists(path); }
  bool isDirectory(const std::string& path) const override { return real_.isDirectory(path); }
  bool isSymbolicLink(const std::string& path) const override { return real_.isSymbolicLink(path); }
  std::optional<std::string> canonicalPath(const std::string& path) const override {
    return real_.canonicalPath(path);
  }
  platform::Result<std::uint64_t> length(const std::string& path) const override {
    return real_.length(path);
  }
  platform::Result<std::string> read(const std::string& path) const override {
    return real_.read(path);
  }
  platform::Result<std::string> readStart(const std::string& path,
                                          std::size_t maxBytes) const override {
    return real_.readStart(path, maxBytes);
  }
  platform::Result<> create(const std::string& path, std::string_view bytes) override {
    before("create", path);
    return real_.create(path, bytes);
  }
  platform::Result<> replace(const std::string& path, std::string_view bytes) override {
    before("replace", path);
    return real_.replace(path, bytes);
  }
  platform::Result<> writeStart(const std::string& path, std::string_view bytes) override {
    before("writeStart", path);
    return real_.writeStart(path, bytes);
  }
  platform::Result<std::unique_ptr<platform::AppendingFile>> createForAppending(
      const std::string& path) override {
    before("createForAppending", path);
    return real_.createForAppending(path);
  }
  platform::Result<> createDirectories(const std::string& path) override {
    before("createDirectories", path);
    return real_.createDirectories(path);
  }
  platform::Result<> createDirectory(const std::string& path) override {
    before("createDirectory", path);
    return real_.createDirectory(path);
  }
  platform::Result<std::unique_ptr<platform::DirectoryLock>> lockDirectory(
      const std::string& path, platform::LockKind kind) override {
    before("lockDirectory", path);
    return real_.lockDirectory(path, kind);
  }
  platform::Result<> setLength(const std::string& path, std::uint64_t length) override {
    before("setLength", path);
    return real_.setLength(path, length);
  }
  platform::Result<> copyDirectory(const std::string& from, const std::string& to,
                                   std::span<const std::string_view> last) override {
    before("copyDirectory", to);
    copiedLast.assign(last.begin(), last.end());
    return real_.copyDirectory(from, to, last);
  }
  platform::Result<> remove(const std::string& path) override {
    before("remove", path);
    return real_.remove(path);
  }

 private:
  platform::Files& real_;
};

}  // namespace parlen::test
