#pragma once

#include "text/json_value.h"

namespace parlen {

/// Types the command's "text", or presses its "key" chord, into the guest's window, with pauses of
/// its "delayMs". Returns once that is queued; whatever is wrong is answered with one `error`
/// event, and then nothing is typed.
void typeText(const text::JsonValue& message);
void pressKey(const text::JsonValue& message);

}  // namespace parlen
