#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/host.h"
#include "platform/linux/loop.h"
#include "platform/qemu/convert_progress.h"
#include "platform/qemu/restore_image.h"
#include "platform/qemu/storage.h"
#include "platform/qemu/tool_run.h"

namespace parlen::qemu {

/// Writes a restore image onto a guest's disk.
class Installer : public platform::Installer {
 public:
  /// What cannot be installed (`image` and `disk` may be errors) fails when it is asked for.
  Installer(linux::Loop& loop, platform::Result<std::shared_ptr<const RestoreImage>> image,
            platform::Result<std::shared_ptr<const DiskAttachment>> disk);

  double fractionCompleted() const override { return fraction_; }
  std::unique_ptr<platform::ProgressObservation> observeProgress(
      std::function<void()> changed) override;
  void install(platform::Completion done) override;

 private:
  platform::Result<> startConversion();
  void progressed(std::string_view output);
  void reached(double fraction);
  void finished(const ToolResult& result);

  linux::Loop& loop_;
  platform::Result<std::shared_ptr<const RestoreImage>> image_;
  platform::Result<std::shared_ptr<const DiskAttachment>> disk_;
  double fraction_ = 0;
  std::vector<std::weak_ptr<const std::function<void()>>> observers_;
  ConvertProgress progress_;
  platform::Completion done_;
  std::unique_ptr<ToolRun> run_;
};

}  // namespace parlen::qemu
