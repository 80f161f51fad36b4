// Stands for <dispatch/dispatch.h> of a Mac's SDK: the calls of libdispatch that the program uses.
#pragma once

#include <objc/NSObject.h>
#include <stdint.h>
#include <time.h>

#ifdef __cplusplus
#define DISPATCH_CALL extern "C"
#else
#define DISPATCH_CALL extern
#endif
#define DISPATCH_OWNED __attribute__((ns_returns_retained))

@protocol OS_dispatch_queue <NSObject>
@end
@protocol OS_dispatch_source <NSObject>
@end
typedef NSObject<OS_dispatch_queue>* dispatch_queue_t;
typedef NSObject<OS_dispatch_source>* dispatch_source_t;
typedef NSObject* dispatch_queue_attr_t;
typedef NSObject* dispatch_object_t;
typedef const struct dispatch_source_type_s* dispatch_source_type_t;
typedef uint64_t dispatch_time_t;
typedef void (^dispatch_block_t)(void);

#define DISPATCH_TIME_NOW (0ull)
#define DISPATCH_QUEUE_SERIAL ((dispatch_queue_attr_t)nil)
struct dispatch_source_type_s {
  int kind;
};
DISPATCH_CALL const struct dispatch_source_type_s _dispatch_source_type_signal;
#define DISPATCH_SOURCE_TYPE_SIGNAL (&_dispatch_source_type_signal)

DISPATCH_CALL dispatch_queue_t dispatch_get_main_queue(void);
DISPATCH_CALL DISPATCH_OWNED dispatch_queue_t
dispatch_queue_create(const char* label, dispatch_queue_attr_t attributes);
DISPATCH_CALL void dispatch_sync(dispatch_queue_t queue, dispatch_block_t block);
DISPATCH_CALL void dispatch_async(dispatch_queue_t queue, dispatch_block_t block);
DISPATCH_CALL dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta);
DISPATCH_CALL void dispatch_after(dispatch_time_t when, dispatch_queue_t queue,
                                  dispatch_block_t block);
DISPATCH_CALL DISPATCH_OWNED dispatch_source_t dispatch_source_create(dispatch_source_type_t type,
                                                                      uintptr_t handle,
                                                                      uintptr_t mask,
                                                                      dispatch_queue_t queue);
DISPATCH_CALL void dispatch_source_set_event_handler(dispatch_source_t source,
                                                     dispatch_block_t handler);
DISPATCH_CALL void dispatch_source_cancel(dispatch_source_t source);
DISPATCH_CALL void dispatch_resume(dispatch_object_t object);

// <time.h> has it there.
static inline uint64_t clock_gettime_nsec_np(clockid_t clock) {
  struct timespec time;
  clock_gettime(clock, &time);
  return (uint64_t)time.tv_sec * 1000000000u + (uint64_t)time.tv_nsec;
}
