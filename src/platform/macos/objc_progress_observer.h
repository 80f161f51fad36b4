#pragma once

#import <Foundation/Foundation.h>

#include <functional>

/// Calls a function at each change of a progress, one call at a time, on whichever thread changes
/// it. The first call comes from inside the initialiser.
@interface ParlenProgressObserver : NSObject
- (instancetype)initWithProgress:(NSProgress*)progress changed:(std::function<void()>)changed;
/// Ends the calls, after one that is under way on another thread.
- (void)end;
@end
