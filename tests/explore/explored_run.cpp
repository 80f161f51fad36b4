#include "explored_run.h"

#include <algorithm>
#include <array>
#include <exception>
#include <string_view>
#include <utility>

#include "app/dispatch.h"
#include "control/command_reader.h"
#include "observed_machine.h"
#include "parent_view.h"
#include "platform/simulated/host.h"
#include "runner/run.h"
#include "support/test_system.h"

namespace parlen::explore {
namespace {

/// Real files, the test's order of work, and ends that throw.
class ExploredSystem final : public platform::System {
 public:
  explicit ExploredSystem(platform::System& real) : real_(real), process_(loop_, real.process()) {}

  platform::Files& files() override { return real_.files(); }
  test::CapturedStreams& streams() override { return streams_; }
  ExploredLoop& loop() override { return loop_; }
  test::TestProcess& process() override { return process_; }
  std::unique_ptr<platform::SerialQueue> makeSerialQueue(std::string_view label) override {
    return real_.makeSerialQueue(label);
  }

 private:
  platform::System& real_;
  ExploredLoop loop_;
  test::CapturedStreams streams_{loop_};
  test::TestProcess process_;
};

/// The simulated host, but for the machines that it makes.
class ExploredHost final : public platform::Host {
 public:
  ExploredHost(platform::System& system, MachineUnderTest& outside, Findings& findings)
      : host_(*simulated::makeHost(system, {})), machines_(host_->machines(), outside, findings) {}

  platform::HostCapabilities& capabilities() override { return host_->capabilities(); }
  platform::GuestIdentities& identities() override { return host_->identities(); }
  platform::MachineFactory& machines() override { return machines_; }
  platform::Restoration& restoration() override { return host_->restoration(); }
  platform::Application& application() override { return host_->application(); }
  platform::Result<platform::WindowSystem*> windowSystem() override {
    return host_->windowSystem();
  }

  /// The one that was made; owned by its runner.
  ObservedMachine& machine() { return *machines_.made; }

 private:
  class Machines final : public platform::MachineFactory {
   public:
    Machines(platform::MachineFactory& others, MachineUnderTest& outside, Findings& findings)
        : others_(others), outside_(outside), findings_(findings) {}

    std::shared_ptr<const platform::AuxiliaryStorage> openAuxiliaryStorage(
        const std::string& path) override {
      return others_.openAuxiliaryStorage(path);
    }
    platform::Result<std::shared_ptr<const platform::AuxiliaryStorage>> createAuxiliaryStorage(
        const std::string& path, const platform::HardwareModel& model) override {
      return others_.createAuxiliaryStorage(path, model);
    }
    platform::Result<std::shared_ptr<const platform::DiskAttachment>> attachDisk(
        const std::string& path, bool readOnly) override {
      return others_.attachDisk(path, readOnly);
    }
    std::string automountTag() override { return others_.automountTag(); }
    platform::Result<> validate(const platform::MachineConfiguration&) override { return {}; }
    std::unique_ptr<platform::VirtualMachine> createMachine(
        const platform::MachineConfiguration& configuration) override {
      auto observed =
          std::make_unique<ObservedMachine>(outside_.make(configuration), outside_, findings_);
      made = observed.get();
      return observed;
    }

    ObservedMachine* made = nullptr;

   private:
    platform::MachineFactory& others_;
    MachineUnderTest& outside_;
    Findings& findings_;
  };

  std::unique_ptr<platform::Host> host_;
  Machines machines_;
};

struct StoryIsOver {};

/// One run of the program.
class Run {
 public:
  Run(const MachineKind& kind, platform::System& files, int maxWaiting)
      : maxWaiting_(maxWaiting),
        system_(files),
        outside_(kind.make(system_, system_.loop())),
        host_(system_, *outside_, findings_),
        parent_(findings_) {
    platform::usePlatform(&system_, &host_);
    startUp({});
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;
  ~Run() {
    startUp({});  // what the run has left in the process-wide variables refers to this object
    platform::usePlatform(nullptr, nullptr);
  }

  Played play(const std::string& bundle, const std::vector<Step>& steps,
              const std::function<bool(const Moment&)>& goesOn) {
    ExploredLoop& loop = system_.loop();
    loop.setCause("start");
    loop.onRun = [&, this] {
      follow();
      for (const Step& step : steps) take(step);
      check();
      while (!isOver() && look(goesOn)) {
        take({.name = "work", .before = played_.moments.back().objects});
        check();
      }
      throw StoryIsOver();
    };
    try {
      runVM({.bundlePath = bundle, .shareDirectory = {}, .logsShare = {}}, readCommands);
    } catch (const StoryIsOver&) {
    } catch (const test::ProcessTrapped&) {
      findings_.emplace_back("the process has trapped");
    }
    played_.lines = system_.streams().lines();
    if (!findings_.empty()) played_.violation = findings_.front();
    return std::move(played_);
  }

 private:
  bool isOver() const { return played_.status.has_value() || !findings_.empty(); }

  void take(const Step& step) {
    if (isOver() || !isPossible(step)) return played_.left.push_back(step.name);
    const std::size_t before = step.before != 0 ? step.before : hashOf(objects());
    played_.taken.push_back({.name = step.name, .before = before});
    try {
      perform(step.name, before);
    } catch (const test::ProcessEnded& end) {
      played_.status = end.status;
    } catch (const std::exception& thrown) {
      findings_.push_back(std::string("the run has thrown ") + thrown.what());
      return;
    }
    follow();
    if (played_.status) finishMachine();
    if (step.before == 0) check();
  }

  /// What the machine has queued when the process ends must not report a second end either.
  void finishMachine() {
    host_.machine().detach();
    while (!system_.loop().queued().empty()) {
      try {
        system_.loop().runNext();
      } catch (const test::ProcessEnded&) {
      }
    }
  }

  /// A step whose state is known has been found in that state's choices.
  bool isPossible(const Step& step) {
    if (step.before != 0) return true;
    const Story possible = choices();
    return std::ranges::find(possible, step.name) != possible.end();
  }

  void perform(const std::string& name, std::size_t before) {
    ExploredLoop& loop = system_.loop();
    loop.setCause(causeOf(name, before));
    if (name == "work") {
      parent_.beforeWork(loop.queued().front().label, host_.machine());
      loop.runNext();
    } else if (name == "end of input") {
      inputHasEnded_ = true;
      system_.streams().closeInput();
    } else if (name == "SIGTERM") {
      raise(platform::TerminationSignal::terminate);
    } else if (name == "SIGINT") {
      raise(platform::TerminationSignal::interrupt);
    } else if (isFromOutside(name)) {
      system_.streams().send("{\"type\":\"" + name + "\"}\n");
    } else {
      outside_->perform(name);
    }
  }

  void raise(platform::TerminationSignal signal) {
    hasBeenSignalled_ = true;
    if (!system_.process().raise(signal)) findings_.emplace_back("nobody watches the signal");
  }

  /// What is queued by a step is told by the step and by the objects that it was taken at, and if
  /// the step was queued work, by that. What a command or a signal queues does not depend on any.
  std::string causeOf(const std::string& name, std::size_t before) {
    if (isFromOutside(name)) return name;
    if (const auto dependence = outside_->dependence(name)) {
      return name + "@" + *dependence + host_.machine().fingerprint();
    }
    const std::string& queued = name == "work" ? system_.loop().queued().front().label : name;
    return name + "@" + std::to_string(hashOf(queued + std::to_string(before)));
  }

  /// After each step.
  void follow() {
    outside_->afterStep();
    std::vector<std::string> lines;
    const std::string& output = system_.streams().output;
    for (std::size_t end; (end = output.find('\n', outputRead_)) != std::string::npos;) {
      lines.push_back(output.substr(outputRead_, end - outputRead_));
      outputRead_ = end + 1;
    }
    parent_.afterStep(lines, played_.status, host_.machine());
    if (!played_.status) host_.machine().checkState();
  }

  /// After each step that is taken for the first time.
  void check() {
    if (!isOver() && system_.loop().queued().empty()) parent_.whenIdle(host_.machine(), *outside_);
  }

  Story choices() {
    Story all;
    if (!system_.loop().queued().empty()) all.emplace_back("work");
    const bool mayQueue = waiting() < maxWaiting_;
    if (mayQueue) {
      if (!inputHasEnded_) all.insert(all.end(), commands.begin(), commands.end());
      // One signal is like the other; the second is the other one.
      all.emplace_back(hasBeenSignalled_ ? "SIGINT" : "SIGTERM");
    }
    const Story others = outside_->choices(mayQueue);
    all.insert(all.end(), others.begin(), others.end());
    return all;
  }

  /// Returns whether queued work is to be run behind it.
  bool look(const std::function<bool(const Moment&)>& goesOn) {
    const std::string state = objects();
    Moment moment{.fingerprint = state, .objects = hashOf(state), .choices = choices()};
    for (const auto& work : system_.loop().queued()) moment.fingerprint += "|" + work.label;
    played_.moments.push_back(std::move(moment));
    return !system_.loop().queued().empty() && goesOn(played_.moments.back());
  }

  std::string objects();
  static std::size_t hashOf(const std::string& text) { return std::hash<std::string>()(text); }

  int waiting() {
    return static_cast<int>(
        std::ranges::count_if(system_.loop().queued(), [](const ExploredLoop::Queued& work) {
          return isOfDelayedWork(work.label) ||
                 isFromOutside(std::string_view(work.label).substr(0, work.label.find('#')));
        }));
  }

  static bool isFromOutside(std::string_view name) {
    return name == "SIGTERM" || name == "SIGINT" ||
           std::ranges::find(commands, name) != commands.end();
  }

  static constexpr std::array<std::string_view, 4> commands = {"stop", "pause", "resume",
                                                               "end of input"};

  int maxWaiting_;
  Findings findings_;
  ExploredSystem system_;
  std::unique_ptr<MachineUnderTest> outside_;
  ExploredHost host_;
  ParentView parent_;
  bool inputHasEnded_ = false;
  bool hasBeenSignalled_ = false;
  std::size_t outputRead_ = 0;
  Played played_;
};

/// All that the rest of a story depends on, but for the queued work.
///
/// Why equal texts are equal states: the program is deterministic, so a state is what its objects
/// hold. Of the runner that is whether a stop was asked for and whether the start has completed,
/// which follow from what it was told and has said (`parent_`); when it was made does not matter,
/// since nothing is decided by the clock. Of the reader of commands it is nothing, since only
/// complete lines are sent. Of the machine it is its state and the completions that it holds
/// (ObservedMachine), and what it remembers of what it was told (`outside_`, whose comments name
/// the members). The main queue adds the work in it. That cannot be looked into, but it was made by
/// deterministic code, so it is told by what made it (`causeOf`) and its number among what that
/// has queued. IsTheSameFromEqualStates in explore_test.cpp holds states that were taken for equal
/// against each other.
std::string Run::objects() {
  return parent_.fingerprint(host_.machine()) + "|" + host_.machine().fingerprint() + "|" +
         outside_->fingerprint() + (inputHasEnded_ ? "|ended" : "|") +
         (hasBeenSignalled_ ? "|signalled" : "|");
}

}  // namespace

Played Player::play(const std::vector<Step>& steps,
                    const std::function<bool(const Moment&)>& goesOn) const {
  return Run(kind_, system_, maxWaiting_).play(bundle_, steps, goesOn);
}

Played Player::play(const Story& story) const {
  std::vector<Step> steps;
  for (const std::string& name : story) steps.push_back({name});
  return play(steps, [](const Moment&) { return false; });
}

std::string pasted(const Story& story) {
  std::string text;
  for (const std::string& step : story) text += (text.empty() ? "{\"" : ", \"") + step + "\"";
  return text.empty() ? "{}" : text + "}";
}

}  // namespace parlen::explore
