#pragma once

#include "platform/files.h"

namespace parlen::macos {

/// The file system through Foundation, whose localized descriptions become the error sentences.
/// Stateless; any thread.
class Files final : public platform::Files {
 public:
  std::string currentDirectory() const override;
  bool exists(const std::string& path) const override;
  bool isDirectory(const std::string& path) const override;
  bool isSymbolicLink(const std::string& path) const override;
  std::optional<std::string> canonicalPath(const std::string& path) const override;
  platform::Result<std::uint64_t> length(const std::string& path) const override;
  platform::Result<std::string> read(const std::string& path) const override;
  platform::Result<std::string> readStart(const std::string& path, std::size_t max) const override;
  platform::Result<> create(const std::string& path, std::string_view bytes) override;
  platform::Result<> replace(const std::string& path, std::string_view bytes) override;
  platform::Result<> writeStart(const std::string& path, std::string_view bytes) override;
  platform::Result<std::unique_ptr<platform::AppendingFile>> createForAppending(
      const std::string& path) override;
  platform::Result<> createDirectories(const std::string& path) override;
  platform::Result<> createDirectory(const std::string& path) override;
  platform::Result<std::unique_ptr<platform::DirectoryLock>> lockDirectory(
      const std::string& path, platform::LockKind kind) override;
  platform::Result<> setLength(const std::string& path, std::uint64_t length) override;
  platform::Result<> copyDirectory(const std::string& from, const std::string& to,
                                   std::span<const std::string_view> last) override;
  platform::Result<> remove(const std::string& path) override;
};

}  // namespace parlen::macos
