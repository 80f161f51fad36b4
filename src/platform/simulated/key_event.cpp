#include "platform/simulated/key_event.h"

#include "platform/simulated/geometry_trace.h"

namespace parlen::simulated {

JsonMembers describe(const platform::KeyEventDetails& details) {
  return JsonMembers()
      .addInteger("type", static_cast<int>(details.type))
      .addInteger("keyCode", details.keyCode)
      .addInteger("modifierFlags", details.modifierFlags)
      .addText("characters", details.characters)
      .addText("charactersIgnoringModifiers", details.charactersIgnoringModifiers)
      .add("location", list(details.location))
      .addNumber("timestamp", details.timestamp)
      .addInteger("windowNumber", details.windowNumber)
      .addBoolean("isARepeat", details.isARepeat);
}

}  // namespace parlen::simulated
