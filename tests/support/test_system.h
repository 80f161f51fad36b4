#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/platform.h"
#include "support/watched_files.h"

namespace parlen::test {

/// Thrown by a loop that has nothing left to run: what the code waits for would never come.
struct LoopIdle {};

/// A main queue on a clock that only moves when a test moves it: a minute costs nothing.
class VirtualLoop : public platform::EventLoop {
 public:
  void post(platform::Work work) override;
  void postDelayed(std::chrono::milliseconds delay, platform::Work work) override;
  /// Runs until nothing is queued, then throws LoopIdle, or returns if it was told to.
  platform::Result<> run() override;
  std::chrono::nanoseconds now() const override { return now_; }
  std::chrono::nanoseconds systemUptime() const override { return now_; }

  /// Runs the next piece of work that is due, moving the clock to it; false if nothing is queued.
  bool runOne();
  void runUntilIdle();
  /// Runs everything that falls due within `duration` and leaves the clock at its end.
  void advance(std::chrono::milliseconds duration);
  /// Moves the clock, past whatever is due: time that passes while the main thread is busy.
  void skip(std::chrono::nanoseconds duration) { now_ += duration; }

  bool returnsWhenIdle = false;
  std::optional<platform::Result<>> outcome;  // what `run` returns at once

 private:
  bool takePosted(platform::Work& work);

  std::mutex mutex_;  // posting is allowed on any thread
  std::deque<platform::Work> posted_;
  std::multimap<std::chrono::nanoseconds, platform::Work> delayed_;  // equal keys keep their order
  std::chrono::nanoseconds now_ = std::chrono::hours(1);
};

/// Is told what the program does to its surroundings, at the moment that it does: each event line,
/// "reads input", "watches a signal".
using Recorder = std::function<void(std::string_view what)>;

/// Standard streams whose other ends are the test's.
class CapturedStreams : public platform::StandardStreams {
 public:
  explicit CapturedStreams(platform::EventLoop& loop) : loop_(loop) {}

  bool writeOutput(std::string_view bytes) override;
  void writeError(std::string_view line) override { error += line; }
  platform::Result<> readInput(InputHandler handler) override;

  /// Delivers a chunk to the reader in a later loop iteration, as the real streams do.
  void send(std::string_view chunk);
  void closeInput() { send(""); }
  bool isRead() const { return handler_ != nullptr; }

  /// What was written so far, cut at the line feeds.
  std::vector<std::string> lines() const;

  std::string output;
  std::string error;
  int outputWrites = 0;
  /// Stand in for a full device, and for a system without a free thread.
  bool outputFails = false;
  bool inputFails = false;
  Recorder recorder;  // may be null

 private:
  platform::EventLoop& loop_;
  InputHandler handler_;
};

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

  platform::Result<std::unique_ptr<platform::SignalSource>> watchSignal(
      platform::TerminationSignal signal, platform::Work handler) override;
  void failTooLongWrites() override {}
  platform::Result<int> runAndWait(const std::string& program,
                                   const std::vector<std::string>& arguments) override;

  /// Delivers a signal, on the main queue; false if nobody watches it (the default action applies).
  bool raise(platform::TerminationSignal signal);

  /// The order in which signals came to be watched, and what was run.
  std::vector<platform::TerminationSignal> watched;
  std::vector<std::pair<std::string, std::vector<std::string>>> programsRun;
  /// Stands in for the next program's start.
  bool programsCannotStart = false;
  /// Stands in for a process without a free descriptor.
  bool signalsCannotBeWatched = false;
  /// Called before each program is run.
  std::function<void()> beforeProgram = [] {};
  Recorder recorder;  // may be null

 private:
  [[noreturn]] void endWith(int status) override { throw ProcessEnded{status}; }
  [[noreturn]] void endInTrap() override { throw ProcessTrapped{}; }

  class Source;

  platform::EventLoop& loop_;
  platform::Process& real_;
  std::map<platform::TerminationSignal, platform::Work> handlers_;
};

/// The system of an in-process test: real files, virtual time, captured streams, ends that throw.
class TestSystem : public platform::System {
 public:
  TestSystem();
  ~TestSystem() override;

  WatchedFiles& files() override { return files_; }
  /// Calls on these are not watched.
  platform::Files& realFiles() { return real_->files(); }
  CapturedStreams& streams() override { return streams_; }
  VirtualLoop& loop() override { return loop_; }
  TestProcess& process() override { return process_; }
  std::unique_ptr<platform::SerialQueue> makeSerialQueue(std::string_view label) override {
    return real_->makeSerialQueue(label);
  }

 private:
  std::unique_ptr<platform::System> real_;
  WatchedFiles files_;
  VirtualLoop loop_;
  CapturedStreams streams_{loop_};
  TestProcess process_;
};

}  // namespace parlen::test
