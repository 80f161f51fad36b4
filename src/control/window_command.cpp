#include "control/window_command.h"

#include <string>
#include <string_view>

#include "control/command_members.h"
#include "window/guest_window_controller.h"

namespace parlen {
namespace {

std::string textOrEmpty(const text::JsonValue& message, std::string_view name) {
  const std::string* text = stringMember(message, name);
  return text == nullptr ? std::string() : *text;
}

}  // namespace

void moveWindow(const text::JsonValue& message) {
  const text::JsonValue* show = message.find("show");
  if (show == nullptr || !show->asBoolean().value_or(false)) return guestWindow->hide();
  guestWindow->show(textOrEmpty(message, "title"), textOrEmpty(message, "detail"));
}

}  // namespace parlen
