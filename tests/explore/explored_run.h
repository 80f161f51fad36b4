#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "machine_under_test.h"
#include "platform/platform.h"

namespace parlen::explore {

/// A step of a story. `before` is the Moment::objects that it was taken at; 0 if that is not known.
struct Step {
  std::string name;
  std::size_t before = 0;
};

/// A state that a story has led to.
struct Moment {
  std::string fingerprint;  // equal for equal states
  std::size_t objects = 0;  // a hash of it without the queued work
  Story choices;            // what may happen next; "work" is the first, if any is queued
};

/// What a story has come to.
struct Played {
  std::vector<std::string> lines;  // that the parent has read
  std::optional<int> status;       // set if the process has ended
  std::string violation;           // the first one; empty if there is none
  std::vector<Step> taken;         // the steps of the story, with what they were taken at
  Story left;                      // those that were not possible when their time came
  /// After the story, then after each piece of queued work that was run behind it. An end or a
  /// violation adds none.
  std::vector<Moment> moments;
};

/// Plays a story from the beginning: `run` of the bundle, headless, with the given machine, as the
/// program wires it. The parent's steps are "stop", "pause", "resume" and "end of input", the
/// signals "SIGTERM" and "SIGINT"; "work" runs what is first in the main queue; all others are the
/// machine's. A step that is not possible is left out, so that a story that was found in defective
/// code can be played on mended code. Behind the story queued work runs as long as `goesOn` says.
class Player {
 public:
  /// `system` serves for its files. `maxWaiting` is how many commands, signals and pieces of
  /// delayed work may wait in the main queue at once.
  Player(const MachineKind& kind, platform::System& system, std::string bundle, int maxWaiting)
      : kind_(kind), system_(system), bundle_(std::move(bundle)), maxWaiting_(maxWaiting) {}

  Played play(const std::vector<Step>& steps,
              const std::function<bool(const Moment&)>& goesOn) const;
  Played play(const Story& story) const;

 private:
  const MachineKind& kind_;
  platform::System& system_;
  std::string bundle_;
  int maxWaiting_;
};

/// `{"pause", "work", "event STOP"}`, as it is pasted into a test.
std::string pasted(const Story& story);

}  // namespace parlen::explore
