#include "explorer.h"

#include <algorithm>
#include <utility>

namespace parlen::explore {
namespace {

std::string describe(const Played& played) {
  if (!played.violation.empty()) return played.violation;
  if (played.status) return "an end with status " + std::to_string(*played.status);
  return played.moments.front().fingerprint;
}

}  // namespace

Report Explorer::explore() {
  for (const Story& start : kind_.starts) begin(start);
  for (std::size_t index = 0; index < states_.size() && report_.violation.empty(); ++index) {
    if (states_[index].cost < limits_.depth) expand(index);
  }
  report_.states = states_.size();
  if (report_.violation.empty()) {
    for (const std::size_t start : startStates_) report_.orders += orders(start, limits_.depth);
  }
  return report_;
}

void Explorer::begin(const Story& start) {
  if (!report_.violation.empty()) return;
  const Played played = player_.play(start);
  if (played.violation.empty() && !played.left.empty()) {
    report_.violation = "in a start this is not possible: " + played.left.front();
    report_.violating = start;
    return;
  }
  starts_.push_back(played.taken);
  startStates_.push_back(tryStory(played.taken, {.from = none, .choice = starts_.size() - 1}, 0));
}

/// Plays a story whose last step is new, and the queued work behind it as far as that leads to new
/// states. Returns the state that the story itself leads to.
std::size_t Explorer::tryStory(const std::vector<Step>& story, Entry entry, int cost) {
  const Played played = player_.play(
      story, [this](const Moment& moment) { return !byFingerprint_.contains(moment.fingerprint); });
  std::size_t first = end;
  for (std::size_t i = 0; i < played.moments.size(); ++i) {
    const std::size_t index = enter(played.moments[i], entry, cost);
    if (i == 0) first = index;
    if (i > 0) states_[entry.from].next[entry.choice] = index;
    const bool hasMore =
        i + 1 < played.moments.size() || played.status || !played.violation.empty();
    if (!hasMore) break;
    entry = {.from = index, .choice = 0};  // "work" is the first choice
    states_[index].next.front() = end;
    ++report_.steps;
  }
  report_.violation = played.violation;
  if (!report_.violation.empty()) report_.violating = namesOf(entry);
  return first;
}

std::size_t Explorer::enter(const Moment& moment, Entry entry, int cost) {
  const auto [known, isNew] = byFingerprint_.try_emplace(moment.fingerprint, states_.size());
  const std::size_t index = known->second;
  if (isNew) {
    states_.push_back({.shortest = entry,
                       .other = {},
                       .cost = cost,
                       .objects = moment.objects,
                       .choices = {},
                       .next = std::vector(moment.choices.size(), none)});
    for (const std::string& name : moment.choices) states_.back().choices.push_back(indexOf(name));
  } else {
    states_[index].other = entry;
  }
  return index;
}

/// Takes each step from a state but queued work, which was run when the state was entered. So each
/// step costs one, and what it leads to is entered at the least cost.
void Explorer::expand(std::size_t index) {
  for (std::size_t i = 0; i < states_[index].choices.size() && report_.violation.empty(); ++i) {
    if (states_[index].next[i] != none) continue;
    ++report_.steps;
    const Entry entry{.from = index, .choice = i};
    const std::size_t next = tryStory(storyOf(entry), entry, states_[index].cost + 1);
    states_[index].next[i] = next;
  }
}

/// How many stories go on from a state, up to a depth.
double Explorer::orders(std::size_t index, int depth) {
  if (index == end) return 1;
  const auto [known, isNew] = counted_.try_emplace({index, depth}, 0);
  if (!isNew) return known->second;
  const State& state = states_[index];
  double count = 0;
  for (std::size_t i = 0; i < state.next.size(); ++i) {
    const int rest = depth - costOf(state.choices[i]);
    if (rest >= 0) count += orders(state.next[i], rest);
  }
  return counted_[{index, depth}] = std::max(count, 1.0);
}

std::vector<Step> Explorer::storyOf(Entry entry) const {
  std::vector<Step> reversed;
  for (; entry.from != none; entry = states_[entry.from].shortest) {
    const State& from = states_[entry.from];
    reversed.push_back({.name = names_[from.choices[entry.choice]], .before = from.objects});
  }
  std::vector<Step> story = starts_[entry.choice];
  story.insert(story.end(), reversed.rbegin(), reversed.rend());
  return story;
}

Story Explorer::namesOf(Entry entry) const {
  Story names;
  for (const Step& step : storyOf(entry)) names.push_back(step.name);
  return names;
}

std::size_t Explorer::indexOf(const std::string& name) {
  const auto found = std::ranges::find(names_, name);
  if (found == names_.end()) names_.push_back(name);
  return static_cast<std::size_t>(std::ranges::find(names_, name) - names_.begin());
}

std::string Explorer::differenceOfEqualStates() {
  const auto once = [](const Moment&) { return false; };
  for (std::size_t index = 0; index < states_.size(); ++index) {
    const State& state = states_[index];
    if (state.other.choice == none) continue;
    for (const std::size_t name : state.choices) {
      const Step step{.name = names_[name], .before = state.objects};
      std::vector<Step> story = storyOf(state.shortest);
      std::vector<Step> other = storyOf(state.other);
      story.push_back(step);
      other.push_back(step);
      const std::string first = describe(player_.play(story, once));
      const std::string second = describe(player_.play(other, once));
      if (first == second) continue;
      return step.name + " behind\n" + pasted(namesOf(state.shortest)) + "\n" + first + "\n" +
             pasted(namesOf(state.other)) + "\n" + second;
    }
  }
  return "";
}

}  // namespace parlen::explore
