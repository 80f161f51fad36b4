#include "platform/qemu/die_with_parent.h"

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace parlen::qemu {

void dieWithParent(int parent) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  // A parent that ended before the call above does not count for it.
  if (::getppid() != parent) ::_exit(1);
}

}  // namespace parlen::qemu
