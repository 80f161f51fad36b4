#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "explored_loop.h"
#include "platform/platform.h"
#include "platform/virtual_machine.h"

namespace parlen::explore {

/// What happens, in order: a list that can be read, and pasted into a test.
using Story = std::vector<std::string>;

inline Story behind(Story story, const Story& more) {
  story.insert(story.end(), more.begin(), more.end());
  return story;
}

/// A call of `start`, `pause`, `resume` or `stop`.
struct Call {
  std::string verb;
  std::optional<platform::Result<>> result = std::nullopt;  // set when it has completed
};

/// A machine and all that is outside of it: a host adds its machine to the exploration by
/// implementing this. Everything must be deterministic.
class MachineUnderTest {
 public:
  virtual ~MachineUnderTest() = default;

  /// Called once.
  virtual std::unique_ptr<platform::VirtualMachine> make(
      const platform::MachineConfiguration& configuration) = 0;

  /// What may happen outside of the machine next, delayed work that falls due included; unless
  /// `mayQueue`, only what queues no delayed work.
  virtual Story choices(bool mayQueue) const = 0;
  /// What the work that a choice queues depends on beside the machine's state and pending calls;
  /// nothing: on everything.
  virtual std::optional<std::string> dependence(const std::string& choice) const {
    (void)choice;
    return std::nullopt;
  }
  /// Lets one of the choices happen.
  virtual void perform(const std::string& choice) = 0;

  /// What tells two states apart that is not seen in the machine's state, its pending calls and
  /// the queued work: whatever the machine may have stored of what it was told, and what the
  /// outside has left to say. The delayed work belongs to it.
  virtual std::string fingerprint() const = 0;

  /// The machine has been called; `call` is the `number`th call.
  virtual void called(const Call& call, std::size_t number) = 0;
  /// After each step.
  virtual void afterStep() {}
  /// Why `result` is not the outcome of that call; empty if it is.
  virtual std::string disproof(const Call& call, std::size_t number,
                               const platform::Result<>& result) const = 0;

  // Asked when nothing is queued.

  /// Whether every call but `stop` should have completed.
  virtual bool owesNothing() const = 0;
  /// Whether something is under way that ends the machine.
  virtual bool isEnding() const = 0;
  /// What is wrong with a machine that is in `state`; empty if nothing is.
  virtual std::string complaint(platform::MachineState state) const = 0;
};

/// A machine that can be explored.
struct MachineKind {
  std::string name;
  std::function<std::unique_ptr<MachineUnderTest>(platform::System&, ExploredLoop&)> make;
  /// Where the exploration starts: the ends of these stories, which cost no depth.
  std::vector<Story> starts;

  friend void PrintTo(const MachineKind& kind, std::ostream* out) { *out << kind.name; }
};

MachineKind simulatedMachine();
/// Those of this system's own host.
std::vector<MachineKind> nativeMachines();

}  // namespace parlen::explore
