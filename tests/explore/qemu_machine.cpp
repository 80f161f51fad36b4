#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

#include "events/event_stream.h"
#include "machine_under_test.h"
#include "platform/linux/event_loop.h"
#include "platform/linux/socket_pair.h"
#include "platform/posix/descriptor.h"
#include "platform/qemu/machine.h"
#include "text/json_reader.h"

namespace parlen::explore {
namespace {

using platform::MachineState;
using platform::Result;

/// The explored loop for code that waits for descriptors: `serve` stands for the wait.
class WatchingLoop final : public linux::EventLoop {
 public:
  explicit WatchingLoop(ExploredLoop& loop) : loop_(loop) {}

  void post(platform::Work work) override { loop_.post(std::move(work)); }
  void postDelayed(std::chrono::milliseconds delay, platform::Work work) override {
    loop_.postDelayed(delay, std::move(work));
  }
  platform::Result<> run() override { return loop_.run(); }
  std::chrono::nanoseconds now() const override { return loop_.now(); }
  std::chrono::nanoseconds systemUptime() const override { return loop_.now(); }
  std::unique_ptr<linux::DescriptorWatch> watch(int descriptor, linux::Readiness readiness,
                                                platform::Work onReady) override {
    const short events = readiness == linux::Readiness::readable ? POLLIN : POLLOUT;
    return std::make_unique<Watch>(watched_, Watched{descriptor, events, std::move(onReady)});
  }
  void serve(linux::ForeignLoop*) override {}

  /// Runs the handlers of ready descriptors until none is ready.
  void runReady() {
    while (runOneReady()) {
    }
  }

 private:
  struct Watched {
    int descriptor;
    short events;
    platform::Work onReady;
  };
  using All = std::map<int, Watched>;

  class Watch final : public linux::DescriptorWatch {
   public:
    Watch(All& all, Watched watched) : all_(all), key_(all.empty() ? 0 : all.rbegin()->first + 1) {
      all_.emplace(key_, std::move(watched));
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() override { all_.erase(key_); }

   private:
    All& all_;
    int key_;
  };

  bool runOneReady() {
    for (const auto& [key, watched] : watched_) {
      pollfd polled{.fd = watched.descriptor, .events = watched.events, .revents = 0};
      if (::poll(&polled, 1, 0) <= 0) continue;
      const platform::Work onReady = watched.onReady;  // it may end the watch
      onReady();
      return true;
    }
    return false;
  }

  ExploredLoop& loop_;
  All watched_;
};

/// The reasons that an end can have, one of each kind that a run tells apart.
constexpr std::array shutdownReasons = {"guest-shutdown", "guest-panic", "host-qmp-quit",
                                        "host-signal"};

struct Exit {
  std::string_view choice;
  linux::ChildExit exit;
};
constexpr std::array<Exit, 3> exits = {Exit{"exits with 0", {.status = 0, .signal = 0}},
                                       Exit{"exits with 1", {.status = 1, .signal = 0}},
                                       Exit{"is killed", {.status = std::nullopt, .signal = 9}}};

// Of the machine.
constexpr std::chrono::milliseconds powerButtonInterval(1000);
constexpr std::chrono::milliseconds closedMonitorTimeout(5000);

/// The real machine over a QEMU that says what the story says: the monitor's socket is real, the
/// process is not there.
///
/// It is a QEMU in that it answers its commands in their order, says nothing but its greeting
/// before it takes them, sends STOP and RESUME alternately, resumes only what it was told to
/// continue, announces a quit only if it was told to, and exits with status 1 only while it starts.
/// It may send an event before or after the reply to the command that causes it, refuse any
/// command, close its monitor and end at any time.
class ScriptedQemu final : public MachineUnderTest {
 public:
  explicit ScriptedQemu(ExploredLoop& loop) : loop_(loop), watching_(loop) {}

  std::unique_ptr<platform::VirtualMachine> make(
      const platform::MachineConfiguration& configuration) override {
    return std::make_unique<qemu::Machine>(
        loop_, warn, configuration,
        [this](const platform::MachineConfiguration&, qemu::QemuProcess::Handlers handlers) {
          return launch(std::move(handlers));
        });
  }

  Story choices(bool mayQueue) const override;
  std::optional<std::string> dependence(const std::string& choice) const override;
  void perform(const std::string& choice) override;
  std::string fingerprint() const override;
  void called(const Call& call, std::size_t number) override;
  void afterStep() override { readCommands(); }
  std::string disproof(const Call& call, std::size_t number, const Result<>& result) const override;
  /// What a QEMU that has closed its monitor has not answered completes when it ends.
  bool owesNothing() const override { return isUp() && unanswered_.empty(); }
  bool isEnding() const override;
  std::string complaint(MachineState state) const override;

 private:
  class Process;

  struct Command {
    std::string name;
    std::int64_t id = 0;
    bool hasHadEffect = false;  // its event has been sent
  };

  Result<std::unique_ptr<qemu::QemuProcess>> launch(qemu::QemuProcess::Handlers handlers);
  void addMessages(Story& all) const;
  void readCommands();
  void readCommand(std::string_view line);
  void say(const std::string& line);
  void sayEvent(const std::string& name, const std::string& data);
  void reply(bool succeeds);
  void closeMonitor();
  void exit(const linux::ChildExit& exit);

  bool mayResume() const;
  bool isAbandoned() const;
  /// Has taken commands, and nothing is on its way to an end.
  bool isUp() const { return isReady_ && !isKilled_ && shutdowns_ == 0 && !wasToldToQuit_; }
  bool isWaitingFor(std::string_view name) const {
    return std::ranges::find(unanswered_, name, &Command::name) != unanswered_.end();
  }

  ExploredLoop& loop_;
  WatchingLoop watching_;
  posix::Descriptor peer_;  // QEMU's end of the monitor
  Process* process_ = nullptr;
  std::string received_;

  std::deque<Command> unanswered_;
  std::map<std::int64_t, bool> replies_;           // by the command's id
  std::map<std::size_t, std::int64_t> commandOf_;  // the command of a pause or a resumption
  std::int64_t lastPowerCommand_ = 0;
  std::int64_t startCommand_ = 0;
  bool hasGreeted_ = false;
  bool isReady_ = false;
  bool runs_ = false;       // by the last STOP or RESUME
  bool owesEvent_ = false;  // the reply came first
  bool isClosed_ = false;
  bool isKilled_ = false;
  bool hasExited_ = false;
  bool wasToldToQuit_ = false;
  bool startWasRefused_ = false;
  bool diskErrorSaid_ = false;  // since the last RESUME
  int shutdowns_ = 0;
  std::string shutdownReason_;  // the first
  Story saidDuringChange_;      // since the call of the pause or resumption under way
};

class ScriptedQemu::Process final : public qemu::QemuProcess {
 public:
  Process(ScriptedQemu& owner, posix::Descriptor socket, Handlers handlers)
      : owner_(owner),
        monitor_(owner.watching_, std::move(socket), std::move(handlers.monitor)),
        onExit_(std::move(handlers.onExit)) {}
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process() override { owner_.process_ = nullptr; }

  qemu::QmpClient& monitor() override { return monitor_; }
  void kill() override { owner_.isKilled_ = true; }

  /// May destroy this object.
  void finish(const linux::ChildExit& exit) {
    monitor_.drain();
    const auto onExit = std::move(onExit_);
    onExit({.exit = exit, .lastMessage = ""});
  }

 private:
  ScriptedQemu& owner_;
  qemu::QmpClient monitor_;
  qemu::Subprocess::ExitHandler onExit_;
};

Result<std::unique_ptr<qemu::QemuProcess>> ScriptedQemu::launch(
    qemu::QemuProcess::Handlers handlers) {
  auto sockets = linux::makeSocketPair();
  peer_ = std::move(sockets->theirs);
  auto process = std::make_unique<Process>(*this, std::move(sockets->ours), std::move(handlers));
  process_ = process.get();
  return process;
}

// --- What it may do ---

bool ScriptedQemu::mayResume() const {
  if (runs_) return false;
  if (owesEvent_) return true;
  return !unanswered_.empty() && unanswered_.front().name == "cont" &&
         !unanswered_.front().hasHadEffect;
}

Story ScriptedQemu::choices(bool mayQueue) const {
  Story all;
  if (hasExited_) return all;
  if (mayQueue && !loop_.delayed().empty()) all.emplace_back("time passes");
  if (!isClosed_) addMessages(all);
  for (const Exit& exit : exits) {
    if (exit.exit.status != 1 || !isReady_) all.emplace_back(exit.choice);
  }
  return all;
}

void ScriptedQemu::addMessages(Story& all) const {
  all.emplace_back("monitor closes");
  if (!hasGreeted_) all.emplace_back("greeting");
  if (!unanswered_.empty()) all.push_back("reply to " + unanswered_.front().name);
  if (!unanswered_.empty()) all.push_back("error to " + unanswered_.front().name);
  if (!isReady_) return;
  if (runs_) all.emplace_back("event STOP");
  if (mayResume()) all.emplace_back("event RESUME");
  all.emplace_back("event BLOCK_IO_ERROR");
  for (const std::string_view reason : shutdownReasons) {
    const bool isPossible = reason != "host-qmp-quit" || wasToldToQuit_;
    if (shutdowns_ == 0 && isPossible) all.push_back("event SHUTDOWN " + std::string(reason));
  }
  // The power-off after a panic.
  if (shutdowns_ == 1 && shutdownReason_ == "guest-panic") {
    all.emplace_back("event SHUTDOWN guest-shutdown");
  }
}

/// The machine has killed a QEMU that had closed its monitor.
bool ScriptedQemu::isAbandoned() const {
  const auto isDelayed = std::ranges::find(loop_.delayed(), closedMonitorTimeout,
                                           &ExploredLoop::Delayed::delay) != loop_.delayed().end();
  const auto isQueued = std::ranges::find(loop_.queued(), labelOf(closedMonitorTimeout),
                                          &ExploredLoop::Queued::label) != loop_.queued().end();
  return isClosed_ && !isDelayed && !isQueued;
}

/// An exit's result is told by what QEMU announced, by why it did not start, or by why it was
/// killed.
std::optional<std::string> ScriptedQemu::dependence(const std::string& choice) const {
  const bool isExit = std::ranges::find(exits, choice, &Exit::choice) != exits.end();
  if (!isExit) return std::nullopt;
  return (shutdowns_ > 0 ? "announced " + shutdownReason_ : "") +
         (startWasRefused_ ? "refused" : "") + (isAbandoned() ? "abandoned" : "");
}

void ScriptedQemu::perform(const std::string& choice) {
  if (choice == "time passes") return loop_.expire(0);
  for (const Exit& known : exits) {
    if (choice == known.choice) return exit(known.exit);
  }
  saidDuringChange_.push_back(choice);
  constexpr std::string_view event = "event ";
  constexpr std::string_view shutdown = "event SHUTDOWN ";
  if (choice == "greeting") {
    hasGreeted_ = true;
    say(R"({"QMP": {}})");
  } else if (choice == "monitor closes") {
    closeMonitor();
  } else if (choice.starts_with(shutdown)) {
    const std::string reason = choice.substr(shutdown.size());
    if (shutdowns_++ == 0) shutdownReason_ = reason;
    sayEvent("SHUTDOWN", R"({"reason": ")" + reason + "\"}");
  } else if (choice.starts_with(event)) {
    const std::string name = choice.substr(event.size());
    sayEvent(name, name == "BLOCK_IO_ERROR" ? R"({"action": "stop", "reason": "full"})" : "{}");
  } else {
    reply(choice.starts_with("reply"));
  }
}

void ScriptedQemu::sayEvent(const std::string& name, const std::string& data) {
  if (name == "BLOCK_IO_ERROR") diskErrorSaid_ = true;
  if (name == "RESUME") diskErrorSaid_ = false;
  if (name == "STOP" || name == "RESUME") {
    runs_ = name == "RESUME";
    const auto causes = name == "STOP" ? "stop" : "cont";
    // An event that was owed belongs to a command that has its reply.
    const bool isOwed = std::exchange(owesEvent_, false);
    if (!isOwed && !unanswered_.empty() && unanswered_.front().name == causes) {
      unanswered_.front().hasHadEffect = true;
    }
  }
  say(R"({"event": ")" + name + R"(", "data": )" + data + "}");
}

void ScriptedQemu::reply(bool succeeds) {
  const Command command = unanswered_.front();
  unanswered_.pop_front();
  replies_[command.id] = succeeds;
  if (command.name == "qmp_capabilities") isReady_ = succeeds;
  if (succeeds && !command.hasHadEffect) {
    if (command.name == "stop") owesEvent_ = runs_;
    if (command.name == "cont") owesEvent_ = !runs_;
  }
  const bool starts = command.name == "qmp_capabilities" || command.id == startCommand_;
  if (!succeeds && starts) startWasRefused_ = true;
  say((succeeds ? R"({"return": {})" : R"({"error": {"desc": "not now"})") +
      std::string(R"(, "id": )") + std::to_string(command.id) + "}");
}

void ScriptedQemu::say(const std::string& line) {
  const std::string bytes = line + "\r\n";
  (void)::send(peer_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
  watching_.runReady();
}

void ScriptedQemu::closeMonitor() {
  readCommands();
  isClosed_ = true;
  peer_ = posix::Descriptor();
  watching_.runReady();
}

void ScriptedQemu::exit(const linux::ChildExit& exit) {
  readCommands();
  hasExited_ = true;
  peer_ = posix::Descriptor();
  process_->finish(exit);
}

// --- What it is told ---

void ScriptedQemu::readCommands() {
  std::array<char, 4096> buffer;
  while (peer_) {
    const ssize_t count = ::recv(peer_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (count <= 0) break;
    received_.append(buffer.data(), static_cast<std::size_t>(count));
  }
  for (std::size_t end; (end = received_.find('\n')) != std::string::npos;) {
    readCommand(std::string_view(received_).substr(0, end));
    received_.erase(0, end + 1);
  }
}

void ScriptedQemu::readCommand(std::string_view line) {
  const auto message = text::parseJson(line);
  const Command command{.name = std::string(message->text("execute").value_or("")),
                        .id = message->integer("id").value_or(0)};
  if (command.name == "quit") wasToldToQuit_ = true;
  if (command.name == "stop" || command.name == "cont") lastPowerCommand_ = command.id;
  if (startCommand_ == 0 && command.name == "cont") startCommand_ = command.id;
  unanswered_.push_back(command);
}

void ScriptedQemu::called(const Call& call, std::size_t number) {
  const std::int64_t before = lastPowerCommand_;
  readCommands();
  if (call.verb != "pause" && call.verb != "resume") return;
  if (lastPowerCommand_ != before) commandOf_[number] = lastPowerCommand_;
  saidDuringChange_.clear();
}

// --- What must hold ---

std::string ScriptedQemu::disproof(const Call& call, std::size_t number,
                                   const Result<>& result) const {
  if (call.verb == "stop") return !result || hasExited_ ? "" : "QEMU still runs";
  std::int64_t id = startCommand_;
  if (call.verb != "start") {
    const auto command = commandOf_.find(number);
    if (command == commandOf_.end()) return result || !isClosed_ ? "QEMU was not told" : "";
    id = command->second;
  }
  const auto replied = replies_.find(id);
  if (result) {
    return replied != replies_.end() && replied->second ? "" : "QEMU has not said that it is done";
  }
  if (hasExited_) return "";
  const bool refused = call.verb != "start" && replied != replies_.end() && !replied->second;
  return refused ? "" : "QEMU has not refused it";
}

bool ScriptedQemu::isEnding() const {
  return isKilled_ || std::ranges::any_of(loop_.delayed(), [](const auto& work) {
           return work.delay != powerButtonInterval;
         });
}

std::string ScriptedQemu::complaint(MachineState state) const {
  if (hasExited_) return "QEMU has ended, and the run goes on";
  if (!isUp() || isClosed_ || owesEvent_) return "";
  if (state == MachineState::pausing && !isWaitingFor("stop")) return "it is pausing for ever";
  if (state == MachineState::resuming && !isWaitingFor("cont")) return "it is resuming for ever";
  if (isWaitingFor("stop") || isWaitingFor("cont")) return "";
  const bool agree = state == (runs_ ? MachineState::running : MachineState::paused);
  return agree ? ""
               : std::string("QEMU's guest ") + (runs_ ? "runs" : "is paused") +
                     ", and the machine's state says otherwise";
}

/// The machine's members beside its state and completions, and what they follow from:
/// powerButtonHeld_ from the unanswered commands; diskErrorReported_ from the disk errors since the
/// last RESUME; shutdownReason_ from the first SHUTDOWN; takesCommands_ from the handshake;
/// startError_ from the refused start; abandoned_ from isAbandoned(). The monitor's client holds a
/// handler for each unanswered command. While a pause or a resumption is under way everything that
/// QEMU has said since counts, in its order. Delayed work is told by its delay, of which each kind
/// has one of its own, and by how long it has left. Once QEMU has exited, nothing of this is used
/// any more.
std::string ScriptedQemu::fingerprint() const {
  if (hasExited_) return "exited";
  std::string text;
  const std::array flags = {hasGreeted_,    isReady_,        runs_,      owesEvent_,
                            isClosed_,      isKilled_,       hasExited_, wasToldToQuit_,
                            diskErrorSaid_, startWasRefused_};
  for (const bool flag : flags) text += flag ? '1' : '0';
  text += std::to_string(shutdowns_) + shutdownReason_;
  for (const Command& command : unanswered_) {
    text += " " + command.name + (command.hasHadEffect ? "!" : "");
  }
  if (isWaitingFor("stop") || isWaitingFor("cont")) {
    for (const std::string& said : saidDuringChange_) text += " " + said;
  }
  for (const ExploredLoop::Delayed& work : loop_.delayed()) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(work.due - loop_.now());
    text += " " + labelOf(work.delay) + " in " + std::to_string(left.count());
  }
  return text;
}

/// One start for each state of the machine, and one for a QEMU that takes commands while it starts;
/// `stopping` is one step from any.
MachineKind qemuMachine() {
  const Story starting;
  const Story ready = {"greeting", "reply to qmp_capabilities"};
  const Story running = behind(ready, {"event RESUME", "reply to cont", "work", "work"});
  const Story pausing = behind(running, {"pause", "work"});
  const Story paused = behind(pausing, {"event STOP", "reply to stop", "work", "work"});
  const Story resuming = behind(paused, {"resume", "work"});
  return {.name = "qemu",
          .make = [](platform::System&,
                     ExploredLoop& loop) { return std::make_unique<ScriptedQemu>(loop); },
          .starts = {starting, ready, running, pausing, paused, resuming}};
}

}  // namespace

std::vector<MachineKind> nativeMachines() { return {qemuMachine()}; }

}  // namespace parlen::explore
