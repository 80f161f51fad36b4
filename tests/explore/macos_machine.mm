#import <Virtualization/Virtualization.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "machine_under_test.h"
#import "platform/macos/machine.h"

namespace parlen::explore {
class ScriptedFramework;
}

/// Stands for a VZVirtualMachine. Not a subclass, which would come with a machine of its own.
@interface ParlenScriptedMachine : NSObject
- (instancetype)initWithFramework:(parlen::explore::ScriptedFramework*)framework;
@property VZVirtualMachineState state;
@property(weak) id<VZVirtualMachineDelegate> delegate;
@end

namespace parlen::explore {
namespace {

using platform::Completion;
using platform::Result;
using Handler = void (^)(NSError*);

/// Passes a machine's callbacks on when the framework's block has returned: the end of the process
/// is an exception here, and none may pass through the framework.
class Unwound final : public platform::VirtualMachine, private platform::VirtualMachineDelegate {
 public:
  Unwound(ExploredLoop& loop, VZVirtualMachine* machine) : loop_(loop), machine_(machine, {}) {
    machine_.setDelegate(this);
  }

  void setDelegate(platform::VirtualMachineDelegate* delegate) override { delegate_ = delegate; }
  std::int64_t state() const override { return machine_.state(); }
  void start(Completion done) override { machine_.start(later(std::move(done))); }
  bool canRequestStop() const override { return machine_.canRequestStop(); }
  Result<> requestStop() override { return machine_.requestStop(); }
  void stop(Completion done) override { machine_.stop(later(std::move(done))); }
  bool canPause() const override { return machine_.canPause(); }
  void pause(Completion done) override { machine_.pause(later(std::move(done))); }
  bool canResume() const override { return machine_.canResume(); }
  void resume(Completion done) override { machine_.resume(later(std::move(done))); }

  /// Makes the callbacks that are due. What one that throws leaves is queued.
  void deliver() {
    while (!due_.empty()) {
      const platform::Work next = std::move(due_.front());
      due_.pop_front();
      try {
        next();
      } catch (...) {
        loop_.post([this] { deliver(); });
        throw;
      }
    }
  }

 private:
  Completion later(Completion done) {
    return [this, done = std::move(done)](const Result<>& result) {
      due_.push_back([done, result] { done(result); });
    };
  }
  void guestDidStop() override {
    due_.push_back([this] { delegate_->guestDidStop(); });
  }
  void didStopWithError(const platform::PlatformError& error) override {
    due_.push_back([this, error] { delegate_->didStopWithError(error); });
  }
  void networkAttachmentDisconnected(const platform::PlatformError& error) override {
    due_.push_back([this, error] { delegate_->networkAttachmentDisconnected(error); });
  }

  ExploredLoop& loop_;
  std::deque<platform::Work> due_;
  platform::VirtualMachineDelegate* delegate_ = nullptr;
  macos::Machine machine_;
};

enum class Outcome { succeeds, fails };

/// Whether the delegate is told of an end that a hard stop reports as well.
enum class Told { no, before, after };

/// A call that the framework has not answered.
struct Unanswered {
  std::size_t number = 0;  // among all calls
  std::string verb;
  VZVirtualMachineState through;
  Handler handler;
};

constexpr const char* requestsFail = "orderly stops fail from now on";
constexpr const char* requestsImpossible = "orderly stops are impossible from now on";

NSError* errorThatSays(const std::string& sentence) {
  return [NSError errorWithDomain:VZErrorDomain
                             code:VZErrorInternal
                         userInfo:@{
                           NSLocalizedDescriptionKey : @(sentence.c_str())
                         }];
}

}  // namespace

/// The real machine over a framework that does what the story says.
///
/// It is the Virtualization framework in that everything happens in blocks on the machine's queue,
/// that a call changes the state at once, and that each handler is called once. What Apple's pages
/// leave open happens in every way or in the awkward one: what is under way while the machine stops
/// completes or fails before the stop, an end fails what is still under way, and the delegate is
/// told of a hard stop before it completes, afterwards or not at all.
class ScriptedFramework final : public MachineUnderTest {
 public:
  explicit ScriptedFramework(ExploredLoop& loop) : loop_(loop) {}
  ScriptedFramework(const ScriptedFramework&) = delete;
  ScriptedFramework& operator=(const ScriptedFramework&) = delete;
  ~ScriptedFramework() override;

  std::unique_ptr<platform::VirtualMachine> make(const platform::MachineConfiguration&) override;
  Story choices(bool mayQueue) const override;
  void perform(const std::string& choice) override;
  std::string fingerprint() const override;
  void called(const Call&, std::size_t) override {}
  std::string disproof(const Call& call, std::size_t number, const Result<>& result) const override;
  bool owesNothing() const override { return unanswered_.empty(); }
  bool isEnding() const override { return isUnanswered("stop"); }
  std::string complaint(platform::MachineState) const override {
    return isOver_ ? "the framework's machine has ended, and the run goes on" : "";
  }

  // What the machine is asked. A call that is not `possible` fails later.

  void call(std::string verb, bool possible, VZVirtualMachineState through, Handler handler);
  bool canStop() const { return calls_ > 0 && !isOver_; }
  bool canRequestStop() const {
    return !requestsAreImpossible_ && isIn(VZVirtualMachineStateRunning);
  }
  bool takesRequests() const { return !requestsFail_; }

 private:
  struct Block;
  static const std::array<Block, 13> blocks;

  bool isIn(VZVirtualMachineState state) const { return scripted_.state == state; }
  bool isUnanswered(std::string_view verb) const {
    return std::ranges::find(unanswered_, verb, &Unanswered::verb) != unanswered_.end();
  }
  void inBlock(const platform::Work& work);
  void finish(std::string_view verb, Outcome outcome, VZVirtualMachineState to);
  void stopHard(Told told);
  void failToStop();
  void shutDown();
  void breakDown();
  void loseNetwork();

  void end(VZVirtualMachineState state);
  void answer(const Unanswered& call, Outcome outcome);
  void answerStops(Outcome outcome);
  void failOthers();
  void tellOfShutdown() { [scripted_.delegate guestDidStopVirtualMachine:machine()]; }
  VZVirtualMachine* machine() const {
    return static_cast<VZVirtualMachine*>(static_cast<id>(scripted_));
  }

  ExploredLoop& loop_;
  ParlenScriptedMachine* scripted_ = [[ParlenScriptedMachine alloc] initWithFramework:this];
  Unwound* made_ = nullptr;  // owned by its runner
  std::size_t calls_ = 0;
  std::vector<Unanswered> unanswered_;
  std::map<std::size_t, std::string> said_;  // by the call's number: an error's sentence, or ""
  bool requestsFail_ = false;
  bool requestsAreImpossible_ = false;
  bool isOver_ = false;
};

// --- What it may do ---

/// What the framework does of itself in one block; it waits for a call of `verb`, if any.
struct ScriptedFramework::Block {
  std::string_view name;
  std::string_view verb;
  void (*run)(ScriptedFramework&);
};

using Framework = ScriptedFramework;
using enum Outcome;

const std::array<Framework::Block, 13> Framework::blocks = {{
    {"start completes", "start",
     [](Framework& it) { it.finish("start", succeeds, VZVirtualMachineStateRunning); }},
    {"start fails", "start",
     [](Framework& it) { it.finish("start", fails, VZVirtualMachineStateError); }},
    {"pause completes", "pause",
     [](Framework& it) { it.finish("pause", succeeds, VZVirtualMachineStatePaused); }},
    {"pause fails", "pause",
     [](Framework& it) { it.finish("pause", fails, VZVirtualMachineStateRunning); }},
    {"resume completes", "resume",
     [](Framework& it) { it.finish("resume", succeeds, VZVirtualMachineStateRunning); }},
    {"resume fails", "resume",
     [](Framework& it) { it.finish("resume", fails, VZVirtualMachineStatePaused); }},
    {"hard stop completes", "stop", [](Framework& it) { it.stopHard(Told::no); }},
    {"hard stop is told and completes", "stop", [](Framework& it) { it.stopHard(Told::before); }},
    {"hard stop completes and is told", "stop", [](Framework& it) { it.stopHard(Told::after); }},
    {"hard stop fails", "stop", [](Framework& it) { it.failToStop(); }},
    {"guest stops", "", [](Framework& it) { it.shutDown(); }},
    {"stops with an error", "", [](Framework& it) { it.breakDown(); }},
    {"network disconnects", "", [](Framework& it) { it.loseNetwork(); }},
}};

Story ScriptedFramework::choices(bool mayQueue) const {
  Story all;
  for (const Block& block : blocks) {
    const bool isPossible = !isOver_ && (block.verb.empty() || isUnanswered(block.verb));
    if (mayQueue && isPossible) all.emplace_back(block.name);
  }
  if (!requestsFail_) all.emplace_back(requestsFail);
  if (!requestsAreImpossible_) all.emplace_back(requestsImpossible);
  return all;
}

/// A block is delayed work with a delay of its own, which tells it in the main queue; the delay is
/// over when the story says so.
void ScriptedFramework::perform(const std::string& choice) {
  if (choice == requestsFail) requestsFail_ = true;
  if (choice == requestsImpossible) requestsAreImpossible_ = true;
  const auto* const block = std::ranges::find(blocks, choice, &Block::name);
  if (block == blocks.end()) return;
  loop_.postDelayed(std::chrono::milliseconds(1 + (block - blocks.begin())), [this, block] {
    // What it waits for may have been answered since.
    if (isOver_ || (!block->verb.empty() && !isUnanswered(block->verb))) return;
    inBlock([&] { block->run(*this); });
  });
  loop_.expire(0);
}

void ScriptedFramework::inBlock(const platform::Work& work) {
  @autoreleasepool {
    work();
  }
  if (made_ != nullptr) made_->deliver();
}

void ScriptedFramework::finish(std::string_view verb, Outcome outcome, VZVirtualMachineState to) {
  const auto found = std::ranges::find(unanswered_, verb, &Unanswered::verb);
  const Unanswered call = *found;
  unanswered_.erase(found);
  // A machine that stops meanwhile goes on to stop.
  if (isIn(call.through)) scripted_.state = to;
  isOver_ = isIn(VZVirtualMachineStateError);
  answer(call, outcome);
}

void ScriptedFramework::stopHard(Told told) {
  failOthers();
  end(VZVirtualMachineStateStopped);
  if (told == Told::before) tellOfShutdown();
  answerStops(succeeds);
  if (told == Told::after) tellOfShutdown();
}

void ScriptedFramework::failToStop() {
  failOthers();
  end(VZVirtualMachineStateError);
  answerStops(fails);
}

void ScriptedFramework::shutDown() {
  failOthers();
  end(VZVirtualMachineStateStopped);
  tellOfShutdown();
  answerStops(fails);
}

void ScriptedFramework::breakDown() {
  end(VZVirtualMachineStateError);
  [scripted_.delegate virtualMachine:machine() didStopWithError:errorThatSays("it broke down")];
  failOthers();
  answerStops(fails);
}

void ScriptedFramework::loseNetwork() {
  const id device = [[NSObject alloc] init];
  [scripted_.delegate virtualMachine:machine()
                           networkDevice:device
      attachmentWasDisconnectedWithError:errorThatSays("no network")];
}

void ScriptedFramework::end(VZVirtualMachineState state) {
  scripted_.state = state;
  isOver_ = true;
}

void ScriptedFramework::answer(const Unanswered& call, Outcome outcome) {
  const std::string sentence = call.verb + " failed";
  said_[call.number] = outcome == fails ? sentence : "";
  call.handler(outcome == fails ? errorThatSays(sentence) : nil);
}

void ScriptedFramework::answerStops(Outcome outcome) {
  for (const Unanswered& call : std::exchange(unanswered_, {})) answer(call, outcome);
}

void ScriptedFramework::failOthers() {
  std::vector<Unanswered> others;
  std::ranges::partition_copy(std::exchange(unanswered_, {}), std::back_inserter(unanswered_),
                              std::back_inserter(others),
                              [](const Unanswered& call) { return call.verb == "stop"; });
  for (const Unanswered& call : others) answer(call, fails);
}

// --- What it is asked ---

std::unique_ptr<platform::VirtualMachine> ScriptedFramework::make(
    const platform::MachineConfiguration&) {
  auto made = std::make_unique<Unwound>(loop_, machine());
  made_ = made.get();
  return made;
}

void ScriptedFramework::call(std::string verb, bool possible, VZVirtualMachineState through,
                             Handler handler) {
  const Unanswered call{calls_++, std::move(verb), through, handler};
  if (possible) {
    scripted_.state = through;
    unanswered_.push_back(call);
  } else {
    loop_.post([this, call] { inBlock([&] { answer(call, fails); }); });
  }
}

/// The process has ended: what the framework still has to say reaches nobody.
ScriptedFramework::~ScriptedFramework() {
  made_ = nullptr;
  inBlock([this] {
    if (!isOver_) stopHard(Told::before);
  });
}

// --- What must hold ---

std::string ScriptedFramework::disproof(const Call&, std::size_t number,
                                        const Result<>& result) const {
  const auto said = said_.find(number);
  if (said == said_.end()) return "the framework has not answered";
  const std::string seen = result ? "" : result.error().description;
  return seen == said->second ? "" : "the framework has said otherwise: " + said->second;
}

/// The machine's members beside its state and completions: whether its end has been reported is
/// known of what it has reported, and the hard stops under way are among the unanswered calls.
std::string ScriptedFramework::fingerprint() const {
  std::string text = isOver_ ? "over" : "";
  for (const Unanswered& call : unanswered_) text += " " + call.verb;
  text += requestsFail_ ? " fail" : "";
  return text + (requestsAreImpossible_ ? " impossible" : "");
}

/// One start for each state of the machine; `stopping` is one step from any.
std::vector<MachineKind> nativeMachines() {
  const Story starting;
  const Story running = {"start completes", "work", "work"};
  const Story pausing = behind(running, {"pause", "work"});
  const Story paused = behind(pausing, {"pause completes", "work", "work"});
  const Story resuming = behind(paused, {"resume", "work"});
  return {{.name = "macos",
           .make = [](platform::System&,
                      ExploredLoop& loop) { return std::make_unique<ScriptedFramework>(loop); },
           .starts = {starting, running, pausing, paused, resuming}}};
}

}  // namespace parlen::explore

@implementation ParlenScriptedMachine {
  parlen::explore::ScriptedFramework* _framework;
}

- (instancetype)initWithFramework:(parlen::explore::ScriptedFramework*)framework {
  self = [super init];
  _framework = framework;
  return self;
}

- (BOOL)canPause {
  return self.state == VZVirtualMachineStateRunning;
}
- (BOOL)canResume {
  return self.state == VZVirtualMachineStatePaused;
}
- (BOOL)canRequestStop {
  return _framework->canRequestStop();
}

- (void)startWithCompletionHandler:(void (^)(NSError*))handler {
  _framework->call("start", true, VZVirtualMachineStateStarting, handler);
}
- (void)pauseWithCompletionHandler:(void (^)(NSError*))handler {
  _framework->call("pause", self.canPause, VZVirtualMachineStatePausing, handler);
}
- (void)resumeWithCompletionHandler:(void (^)(NSError*))handler {
  _framework->call("resume", self.canResume, VZVirtualMachineStateResuming, handler);
}
- (void)stopWithCompletionHandler:(void (^)(NSError*))handler {
  _framework->call("stop", _framework->canStop(), VZVirtualMachineStateStopping, handler);
}
- (BOOL)requestStopWithError:(NSError**)error {
  if (_framework->takesRequests()) return YES;
  *error = parlen::explore::errorThatSays("not now");
  return NO;
}

@end
