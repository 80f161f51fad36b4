// Stands for <os/availability.h> of a Mac's SDK: everything is available. What is newer than the
// deployment target is found by scripts/check-macos.
#pragma once

#define API_AVAILABLE(...)
#define API_UNAVAILABLE(...)
#define API_DEPRECATED(...)
#define API_DEPRECATED_WITH_REPLACEMENT(...)
