#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/host.h"
#include "platform/simulated/world.h"

namespace parlen::simulated {

/// The content of a restore image of this host.
struct RestoreImageContent {
  std::optional<std::string> hardwareModel;
  std::int64_t minimumCPUCount = 1;
  std::uint64_t minimumMemorySize = 0;  // bytes
  friend bool operator==(const RestoreImageContent&, const RestoreImageContent&) = default;
};

/// In bytes; a longer file is not a restore image.
inline constexpr std::size_t maxRestoreImageSize = 65536;

/// Parses a restore image. The error says what is wrong with it.
std::expected<RestoreImageContent, std::string> parseRestoreImage(std::string_view bytes);

/// A restore image that has been loaded. Without `content` it supports no configuration, which an
/// installer does not mind: it asks for the path alone.
class RestoreImage final : public platform::RestoreImage {
 public:
  RestoreImage(std::shared_ptr<const World> world, std::string path,
               RestoreImageContent content = {})
      : world_(std::move(world)), path_(std::move(path)), content_(std::move(content)) {}

  std::string path() const override { return path_; }
  std::optional<platform::ConfigurationRequirements> mostFeaturefulSupportedConfiguration()
      const override;

 private:
  std::shared_ptr<const World> world_;
  std::string path_;
  RestoreImageContent content_;
};

/// Loads restore images and makes installers for them, as slow and as faulty as the scenario says.
class Restoration : public platform::Restoration {
 public:
  explicit Restoration(std::shared_ptr<World> world) : world_(std::move(world)) {}

  void loadRestoreImage(const std::string& path, Loaded done) override;
  std::unique_ptr<platform::Installer> createInstaller(
      platform::VirtualMachine& machine, const platform::RestoreImage& image) override;

 private:
  std::shared_ptr<World> world_;
};

}  // namespace parlen::simulated
