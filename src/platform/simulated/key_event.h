#pragma once

#include <utility>

#include "platform/key_event.h"
#include "platform/simulated/json_members.h"

namespace parlen::simulated {

/// A key event that is what was asked for.
class KeyEvent : public platform::KeyEvent {
 public:
  explicit KeyEvent(platform::KeyEventDetails details) : details_(std::move(details)) {}

  const platform::KeyEventDetails& details() const { return details_; }

 private:
  platform::KeyEventDetails details_;
};

/// Everything that the program said about the event.
JsonMembers describe(const platform::KeyEventDetails& details);

}  // namespace parlen::simulated
