// Stands for <objc/NSObjCRuntime.h> of a Mac's SDK, as far as the stand-in headers need it.
#pragma once

#include <limits.h>

typedef long NSInteger;
typedef unsigned long NSUInteger;
#define NSIntegerMax LONG_MAX
#define NSIntegerMin LONG_MIN
#define NSUIntegerMax ULONG_MAX
#define NS_DESIGNATED_INITIALIZER __attribute__((objc_designated_initializer))
