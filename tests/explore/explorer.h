#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "explored_run.h"
#include "support/tool.h"

namespace parlen::explore {

/// What an exploration has seen.
struct Report {
  std::size_t states = 0;
  std::size_t steps = 0;  // taken from one state to another, most in a run of their own
  double orders = 0;      // different stories that these steps make up
  Story violating;        // the shortest story with a violation; empty if there is none
  std::string violation;
};

/// Explores one machine: every story up to a depth, states that are equal visited once. The depth
/// is the number of steps behind a start; running queued work is free. Shorter stories come first,
/// so each state is entered by the shortest one, and so is the first violation.
class Explorer {
 public:
  struct Limits {
    int depth = 0;
    int waiting = 1;  // see Player
  };

  Explorer(const MachineKind& kind, Limits limits)
      : kind_(kind),
        limits_(limits),
        player_(kind, tool_.system(), tool_.makeBundle("vm1"), limits.waiting) {}

  /// Stops at the first violation. Called once.
  Report explore();

  /// After an exploration: takes the same step from two stories that it took for equal, and
  /// returns both if the step does not lead to equal states; empty if it always does.
  std::string differenceOfEqualStates();

 private:
  static constexpr std::size_t none = static_cast<std::size_t>(-1);
  static constexpr std::size_t end = static_cast<std::size_t>(-2);

  /// How a state is entered: by a choice in another state, or by a start.
  struct Entry {
    std::size_t from = none;
    std::size_t choice = none;  // its index in `from`, or that of the start
  };
  struct State {
    Entry shortest;
    Entry other;                       // another one, if there is any
    int cost = 0;                      // the length of the shortest story
    std::size_t objects = 0;           // Moment::objects
    std::vector<std::size_t> choices;  // indexes in `names_`
    std::vector<std::size_t> next;     // behind each choice: a state, `end`, or `none` yet
  };

  void begin(const Story& start);
  void expand(std::size_t index);
  std::size_t tryStory(const std::vector<Step>& story, Entry entry, int cost);
  std::size_t enter(const Moment& moment, Entry entry, int cost);
  double orders(std::size_t index, int depth);

  std::vector<Step> storyOf(Entry entry) const;
  Story namesOf(Entry entry) const;
  int costOf(std::size_t name) const { return names_[name] == "work" ? 0 : 1; }
  std::size_t indexOf(const std::string& name);

  const MachineKind& kind_;
  Limits limits_;
  test::Tool tool_;  // for its bundle
  Player player_;
  Report report_;
  std::vector<std::vector<Step>> starts_;
  std::vector<std::size_t> startStates_;
  std::vector<State> states_;       // in the order of their costs
  std::vector<std::string> names_;  // of all steps
  std::unordered_map<std::string, std::size_t> byFingerprint_;
  std::map<std::pair<std::size_t, int>, double> counted_;  // orders() by its arguments
};

}  // namespace parlen::explore
