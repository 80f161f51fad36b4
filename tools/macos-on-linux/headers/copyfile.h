// Stands for <copyfile.h> of macOS: copyfile(3), with the values of its flags there. A copy of data
// keeps the holes; on a Mac a clone, or COPYFILE_DATA_SPARSE, would.
#pragma once

#include <stdint.h>

#define COPYFILE_ACL (1 << 0)
#define COPYFILE_STAT (1 << 1)
#define COPYFILE_XATTR (1 << 2)
#define COPYFILE_DATA (1 << 3)
#define COPYFILE_SECURITY (COPYFILE_STAT | COPYFILE_ACL)
#define COPYFILE_METADATA (COPYFILE_SECURITY | COPYFILE_XATTR)
#define COPYFILE_ALL (COPYFILE_METADATA | COPYFILE_DATA)
#define COPYFILE_EXCL (1 << 17)
#define COPYFILE_NOFOLLOW_SRC (1 << 18)
#define COPYFILE_NOFOLLOW_DST (1 << 19)
#define COPYFILE_NOFOLLOW (COPYFILE_NOFOLLOW_SRC | COPYFILE_NOFOLLOW_DST)
#define COPYFILE_CLONE (1 << 24)
#define COPYFILE_CLONE_FORCE (1 << 25)
#define COPYFILE_DATA_SPARSE (1 << 27)

typedef struct _copyfile_state* copyfile_state_t;
typedef uint32_t copyfile_flags_t;

#ifdef __cplusplus
extern "C"
#endif
    int
    copyfile(const char* from, const char* to, copyfile_state_t state, copyfile_flags_t flags);
