#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/event_loop.h"
#include "platform/process.h"

namespace parlen::test {

/// Thrown instead of ending the test's own process.
struct ProcessEnded {
  int status = 0;
};
struct ProcessTrapped {};

/// A process whose ends and signals are the test's. Programs that it is told to run are the real
/// process's.
class TestProcess : public platform::Process {
 public:
  TestProcess(platform::EventLoop& loop, platform::Process& real) : loop_(loop), real_(real) {}

  std::unique_ptr<platform::SignalSource> watchSignal(platform::TerminationSignal signal,
                                                      platform::Work handler) override;
  platform::Result<int> runAndWait(const std::string& program,
                                   const std::vector<std::string>& arguments) override;

  /// Delivers a signal, on the main queue; false if nobody watches it (the default action applies).
  bool raise(platform::TerminationSignal signal);

  /// The order in which signals came to be watched, and what was run.
  std::vector<platform::TerminationSignal> watched;
  std::vector<std::pair<std::string, std::vector<std::string>>> programsRun;
  /// Stands in for the next program's start.
  bool programsCannotStart = false;

 private:
  [[noreturn]] void endWith(int status) override { throw ProcessEnded{status}; }
  [[noreturn]] void endInTrap() override { throw ProcessTrapped{}; }

  class Source;

  platform::EventLoop& loop_;
  platform::Process& real_;
  std::map<platform::TerminationSignal, platform::Work> handlers_;
};

}  // namespace parlen::test
