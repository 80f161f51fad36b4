#pragma once

#include "text/json_value.h"

namespace parlen {

/// Shows the headless guest in its window under the command's "title" and "detail" if its "show" is
/// true, and hides it in every other case.
void moveWindow(const text::JsonValue& message);

}  // namespace parlen
