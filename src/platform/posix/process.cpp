#include "platform/posix/process.h"

#include <signal.h>
#include <unistd.h>

#include <cstdlib>

namespace parlen::posix {

// Not std::exit: nothing is buffered, and destructors would wait for threads.
void Process::endWith(int status) { _exit(status); }

void Process::endInTrap() { std::abort(); }

void resetSignals() {
  struct sigaction action{};
  action.sa_handler = SIG_DFL;
  for (int signal = 1; signal < NSIG; ++signal) sigaction(signal, &action, nullptr);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

}  // namespace parlen::posix
