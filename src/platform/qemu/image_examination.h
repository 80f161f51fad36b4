#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/loop.h"
#include "platform/qemu/restore_image.h"
#include "platform/qemu/tool_run.h"

namespace parlen::qemu {

/// Finds out whether a file is a disk image that may be put onto a guest's disk: complete in itself
/// (whoever made it must not get at other files of this host), whole, and a disk at all.
class ImageExamination {
 public:
  using Found = platform::Result<std::shared_ptr<const RestoreImage>>;

  ImageExamination(linux::Loop& loop, std::string path, std::function<void(Found)> done);

  /// Called once. `done` runs on the main queue in a later turn, exactly once.
  void start();

 private:
  void askForFormat();
  void formatKnown(const ToolResult& result);
  void askWhetherWhole();
  void checked(const ToolResult& result);
  void askWhereDataEnds();
  void mapped(const ToolResult& result);
  void ask(const std::vector<std::string>& arguments,
           std::function<void(const ToolResult&)> answered);
  void accept();
  void refuse(const std::string& why);  // a sentence's end, whose beginning is the path
  void finish(Found found);

  linux::Loop& loop_;
  std::string path_;
  std::function<void(Found)> done_;
  ImageFront front_;
  std::string format_;
  std::string output_;
  std::unique_ptr<ToolRun> run_;
};

}  // namespace parlen::qemu
