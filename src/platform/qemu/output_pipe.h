#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "platform/error.h"
#include "platform/linux/descriptor.h"
#include "platform/linux/loop.h"

namespace parlen::qemu {

/// A pipe into which a child writes and whose bytes arrive on the main queue.
class OutputPipe {
 public:
  using Sink = std::function<void(std::string_view)>;

  static platform::Result<std::unique_ptr<OutputPipe>> open(linux::Loop& loop, Sink sink);

  /// What the child is to be given.
  int childEnd() const { return childEnd_.get(); }
  /// To be called once the child has it: then the pipe ends when the child does.
  void closeChildEnd() { childEnd_.close(); }

  /// Hands on what has been written so far and not arrived yet: to be called when the child is
  /// gone.
  void drain();

 private:
  OutputPipe(linux::Descriptor ownEnd, linux::Descriptor childEnd, Sink sink);

  linux::Descriptor ownEnd_;
  linux::Descriptor childEnd_;
  Sink sink_;
  std::unique_ptr<linux::DescriptorWatch> watch_;
};

}  // namespace parlen::qemu
