#pragma once

#include "platform/error.h"

namespace parlen::gtk {

/// From now on what the toolkit's libraries log goes to `warn`, a line at a time, if it is a
/// warning or worse. For the rest of the process; later calls change nothing.
void redirectMessages(const platform::WarningSink& warn);

}  // namespace parlen::gtk
