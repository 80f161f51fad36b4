#include "platform/qemu/child_end.h"

#include <string.h>

namespace parlen::qemu {

std::string describe(const linux::ChildExit& exit) {
  if (exit.status) return "has ended with status " + std::to_string(*exit.status);
  std::string text = "was ended by signal " + std::to_string(exit.signal);
  const char* name = sigdescr_np(exit.signal);
  if (name != nullptr) text.append(" (").append(name).append(")");
  return text;
}

}  // namespace parlen::qemu
