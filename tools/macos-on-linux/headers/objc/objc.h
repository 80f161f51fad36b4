// Stands for <objc/objc.h> of a Mac's SDK. BOOL is what GCC's runtime has; on Apple silicon it is
// bool, so that a BOOL other than 0 and 1 does not show here.
#pragma once

typedef unsigned char BOOL;
typedef struct objc_class* Class;
typedef const struct objc_selector* SEL;
#define YES ((BOOL)1)
#define NO ((BOOL)0)
#define nil __null
#define Nil __null
