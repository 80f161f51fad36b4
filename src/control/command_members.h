#pragma once

#include <string>
#include <string_view>

#include "text/json_value.h"

namespace parlen {

/// The string member `name` of a command, or null if there is none or it is of another type.
inline const std::string* stringMember(const text::JsonValue& message, std::string_view name) {
  const text::JsonValue* member = message.find(name);
  return member ? member->asString() : nullptr;
}

}  // namespace parlen
