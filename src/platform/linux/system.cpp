#include "platform/linux/system.h"

#include "platform/linux/ticket_queue.h"

namespace parlen::linux {

System::System() { posix::openStandardDescriptors(); }

std::unique_ptr<platform::SerialQueue> System::makeSerialQueue(std::string_view label) {
  return std::make_unique<TicketQueue>(label);
}

}  // namespace parlen::linux
