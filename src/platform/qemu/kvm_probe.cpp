#include "platform/qemu/kvm_probe.h"

#include <algorithm>
#include <cstddef>

#include "platform/linux/child_process.h"

namespace parlen::qemu {
namespace {

bool containsWord(std::string_view words, std::string_view word) {
  for (std::size_t at = words.find(word); at != std::string_view::npos;
       at = words.find(word, at + 1)) {
    const std::size_t end = at + word.size();
    const bool begins = at == 0 || words[at - 1] == ' ' || words[at - 1] == '\t';
    if (begins && (end == words.size() || words[end] == ' ')) return true;
  }
  return false;
}

}  // namespace

bool kvmWorks(std::string_view processorInformation, bool (*runsCode)(),
              std::chrono::milliseconds limit) {
  return hasVirtualizationFlag(processorInformation) && linux::holdsInChild(runsCode, limit);
}

bool hasVirtualizationFlag(std::string_view processorInformation) {
  while (!processorInformation.empty()) {
    const std::size_t end = std::min(processorInformation.find('\n'), processorInformation.size());
    const std::string_view line = processorInformation.substr(0, end);
    processorInformation.remove_prefix(std::min(end + 1, processorInformation.size()));
    if (!line.starts_with("flags")) continue;
    const std::string_view flags = line.substr(std::min(line.find(':') + 1, line.size()));
    if (containsWord(flags, "vmx") || containsWord(flags, "svm")) return true;
  }
  return false;
}

}  // namespace parlen::qemu
