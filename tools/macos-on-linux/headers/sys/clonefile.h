// Stands for <sys/clonefile.h> of macOS. As on a volume that is not APFS: ENOTSUP.
#pragma once

#include <stdint.h>

#define CLONE_NOFOLLOW 0x0001

#ifdef __cplusplus
extern "C"
#endif
    int
    clonefile(const char* from, const char* to, uint32_t flags);
