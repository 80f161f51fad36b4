#pragma once

#import <Foundation/Foundation.h>

#include <functional>

/// Calls a function for each press of a button.
@interface ParlenButtonTarget : NSObject
- (instancetype)initWithPressed:(std::function<void()>)pressed;
- (void)clicked:(id)sender;
@end
