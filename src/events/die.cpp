#include "events/die.h"

#include "events/event_stream.h"
#include "platform/platform.h"

namespace parlen {

void die(std::string_view code, std::string_view message) {
  emitError(code, message);
  platform::system().process().exit(1);
}

}  // namespace parlen
