#include "support/test_process.h"

namespace parlen::test {

class TestProcess::Source : public platform::SignalSource {
 public:
  Source(TestProcess& process, platform::TerminationSignal signal)
      : process_(process), signal_(signal) {}
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  ~Source() override { process_.handlers_.erase(signal_); }

 private:
  TestProcess& process_;
  platform::TerminationSignal signal_;
};

std::unique_ptr<platform::SignalSource> TestProcess::watchSignal(platform::TerminationSignal signal,
                                                                 platform::Work handler) {
  watched.push_back(signal);
  handlers_[signal] = std::move(handler);
  return std::make_unique<Source>(*this, signal);
}

platform::Result<int> TestProcess::runAndWait(const std::string& program,
                                              const std::vector<std::string>& arguments) {
  programsRun.emplace_back(program, arguments);
  if (programsCannotStart) {
    return std::unexpected(platform::PlatformError{"test", 2, "could not start " + program});
  }
  return real_.runAndWait(program, arguments);
}

bool TestProcess::raise(platform::TerminationSignal signal) {
  if (!handlers_.contains(signal)) return false;
  loop_.post([this, signal] {
    if (const auto found = handlers_.find(signal); found != handlers_.end()) found->second();
  });
  return true;
}

}  // namespace parlen::test
