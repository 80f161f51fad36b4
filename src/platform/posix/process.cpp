#include "platform/posix/process.h"

#include <signal.h>
#include <unistd.h>

#include <cstdlib>

namespace parlen::posix {

// Not std::exit: nothing is buffered, and destructors would wait for threads.
void Process::endWith(int status) { _exit(status); }

void Process::endInTrap() { std::abort(); }

// A handler rather than "ignore", which children would inherit. The write returns EFBIG.
void Process::failTooLongWrites() {
  struct sigaction action{};
  action.sa_handler = [](int) {};
  action.sa_flags = SA_RESTART;
  sigaction(SIGXFSZ, &action, nullptr);
}

void keepExitStatuses() {
  struct sigaction action{};
  sigaction(SIGCHLD, nullptr, &action);
  if (action.sa_handler != SIG_IGN && (action.sa_flags & SA_NOCLDWAIT) == 0) return;
  action = {};
  action.sa_handler = SIG_DFL;
  sigaction(SIGCHLD, &action, nullptr);
}

void resetSignals() {
  struct sigaction action{};
  action.sa_handler = SIG_DFL;
  for (int signal = 1; signal < NSIG; ++signal) sigaction(signal, &action, nullptr);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

}  // namespace parlen::posix
