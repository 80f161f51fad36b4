#include "support/test_system.h"

#include <algorithm>

#include "support/real_system.h"

namespace parlen::test {

// ---- The loop ----

void VirtualLoop::post(platform::Work work) {
  const std::lock_guard lock(mutex_);
  posted_.push_back(std::move(work));
}

void VirtualLoop::postDelayed(std::chrono::milliseconds delay, platform::Work work) {
  if (delay.count() <= 0) return post(std::move(work));
  delayed_.emplace(now_ + delay, std::move(work));
}

bool VirtualLoop::takePosted(platform::Work& work) {
  const std::lock_guard lock(mutex_);
  if (posted_.empty()) return false;
  work = std::move(posted_.front());
  posted_.pop_front();
  return true;
}

bool VirtualLoop::runOne() {
  platform::Work work;
  if (!takePosted(work)) {
    if (delayed_.empty()) return false;
    auto next = delayed_.extract(delayed_.begin());
    now_ = std::max(now_, next.key());
    work = std::move(next.mapped());
  }
  work();
  return true;
}

void VirtualLoop::runUntilIdle() {
  while (runOne()) {
  }
}

platform::Result<> VirtualLoop::run() {
  if (outcome) return *outcome;
  runUntilIdle();
  if (!returnsWhenIdle) throw LoopIdle{};
  return {};
}

void VirtualLoop::advance(std::chrono::milliseconds duration) {
  const auto end = now_ + duration;
  for (platform::Work work;;) {
    if (takePosted(work)) {
      work();
    } else if (!delayed_.empty() && delayed_.begin()->first <= end) {
      runOne();
    } else {
      break;
    }
  }
  now_ = std::max(now_, end);
}

// ---- The streams ----

bool CapturedStreams::writeOutput(std::string_view bytes) {
  if (outputFails) return false;
  output += bytes;
  ++outputWrites;
  if (recorder) recorder(bytes.substr(0, bytes.find('\n')));
  return true;
}

platform::Result<> CapturedStreams::readInput(InputHandler handler) {
  if (inputFails) return platform::error("test", 1, "could not read standard input: no thread");
  handler_ = std::move(handler);
  if (recorder) recorder("reads input");
  return {};
}

void CapturedStreams::send(std::string_view chunk) {
  loop_.post([this, bytes = std::string(chunk)] { handler_(bytes); });
}

std::vector<std::string> CapturedStreams::lines() const {
  std::vector<std::string> all;
  std::size_t start = 0;
  for (std::size_t end; (end = output.find('\n', start)) != std::string::npos; start = end + 1) {
    all.push_back(output.substr(start, end - start));
  }
  return all;
}

// ---- The process ----

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

platform::Result<std::unique_ptr<platform::SignalSource>> TestProcess::watchSignal(
    platform::TerminationSignal signal, platform::Work handler) {
  if (signalsCannotBeWatched) return platform::error("test", 1, "could not watch for signals");
  watched.push_back(signal);
  handlers_[signal] = std::move(handler);
  if (recorder) recorder("watches a signal");
  return std::make_unique<Source>(*this, signal);
}

platform::Result<int> TestProcess::runAndWait(const std::string& program,
                                              const std::vector<std::string>& arguments) {
  beforeProgram();
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

// ---- The system ----

TestSystem::TestSystem()
    : real_(makeRealSystem()), files_(real_->files()), process_(loop_, real_->process()) {}

TestSystem::~TestSystem() = default;

}  // namespace parlen::test
