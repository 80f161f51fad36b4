// Type-checking stand-in for <CoreGraphics/CoreGraphics.h>.
//
// Written by hand from publicly documented facts; it is NOT Apple's header, declares only what this
// program calls (see README.md), and must never be on the include path of a build made on a Mac.
#pragma once

#import <Foundation/Foundation.h>

#define CG_EXTERN FOUNDATION_EXPORT

typedef const struct __CFDictionary *CFDictionaryRef;

CG_EXTERN CFDictionaryRef _Nullable CGSessionCopyCurrentDictionary(void) API_AVAILABLE(macos(10.3));
