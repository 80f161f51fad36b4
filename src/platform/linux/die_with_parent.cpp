#include "platform/linux/die_with_parent.h"

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace parlen::qemu {
namespace {

// Set at its first use, which is before the fork: the child sees its parent's number.
pid_t parent() {
  static const pid_t pid = ::getpid();
  return pid;
}

}  // namespace

void rememberParent() { parent(); }

void dieWithParent() {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  // A parent that ended before the call above does not count for it.
  if (::getppid() != parent()) ::_exit(1);
}

}  // namespace parlen::qemu
